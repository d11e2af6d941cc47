#pragma once

#include <QStyledItemDelegate>

// A palette row: icon, the title with its matched characters in bold accent, the
// subtitle below in a quieter colour, and the detail (shortcut, "履歴", "タグ") at
// the right.
class PaletteDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

    // The title's text ranges (start, length in UTF-16) of these grapheme indices,
    // neighbours merged.
    static QList<QPair<int, int>> ranges(const QString& title, const QList<int>& graphemes);
};
