#pragma once

#include <QStyledItemDelegate>

// The tags column: each explicit tag as a coloured dot followed by its name,
// elided at the cell's right edge.
class TagsDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;
};
