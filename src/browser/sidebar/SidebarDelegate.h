#pragma once

#include <QStyledItemDelegate>

class SidebarView;

// Draws the sidebar's rows: section headers as small bold captions with a fold
// arrow, items with their icon (greyed when the folder is missing) and, for a
// removable volume, an eject button at the right edge.
class SidebarDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    explicit SidebarDelegate(SidebarView& view);

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

    static constexpr int kEjectSize = 16;
    static constexpr int kEjectMargin = 8;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;

private:
    void paintHeader(QPainter* painter, const QStyleOptionViewItem& option,
                     const QModelIndex& index) const;
    void paintEject(QPainter* painter, const QStyleOptionViewItem& option,
                    const QModelIndex& index) const;

    SidebarView& m_view;
};
