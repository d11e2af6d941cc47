#pragma once

#include <QPersistentModelIndex>
#include <QStyledItemDelegate>

// The name column: draws the row's Git mark at the right edge, and edits names
// inline. The editor starts with the base name selected, so typing keeps the
// extension; the new name goes to the pane, never into the model.
class NameDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    void setEditorData(QWidget* editor, const QModelIndex& index) const override;
    void setModelData(QWidget* editor, QAbstractItemModel* model,
                      const QModelIndex& index) const override;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;

Q_SIGNALS:
    void renameRequested(const QPersistentModelIndex& index, const QString& newName) const;
};
