#pragma once

#include <QPersistentModelIndex>
#include <QStyledItemDelegate>

// Inline rename in the list. The editor starts with the base name selected, so
// typing keeps the extension; the new name goes to the pane, never into the model.
class RenameDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void setEditorData(QWidget* editor, const QModelIndex& index) const override;
    void setModelData(QWidget* editor, QAbstractItemModel* model,
                      const QModelIndex& index) const override;

Q_SIGNALS:
    void renameRequested(const QPersistentModelIndex& index, const QString& newName) const;
};
