#include "browser/pane/TagsDelegate.h"

#include "browser/pane/FileListModel.h"
#include "browser/pane/FileTreeView.h"

#include <QApplication>
#include <QPainter>

namespace {

constexpr int kDot = 8;
constexpr int kGap = 4;     // between a dot and its name
constexpr int kSpacing = 8; // between two tags

} // namespace

void TagsDelegate::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const
{
    QStyledItemDelegate::initStyleOption(option, index);
    FileTreeView::prepareCell(*option);
}

void TagsDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                         const QModelIndex& index) const
{
    const QVariantList tags = index.data(FileListModel::TagsRole).toList();
    QStyleOptionViewItem item = option;
    initStyleOption(&item, index);
    item.text.clear(); // drawn below, dot by dot
    const QStyle* style = item.widget ? item.widget->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &item, painter, item.widget);
    if (tags.isEmpty())
        return;
    const QRect area = style->subElementRect(QStyle::SE_ItemViewItemText, &item, item.widget);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setFont(item.font);
    const QColor text = item.palette.color(
        item.state & QStyle::State_Selected ? QPalette::HighlightedText : QPalette::Text);
    int x = area.left();
    for (const QVariant& tag : tags) {
        const QStringList pair = tag.toStringList();
        if (pair.size() != 2 || x + kDot > area.right())
            break;
        painter->setPen(Qt::NoPen);
        painter->setBrush(QColor::fromString(pair[1]));
        painter->drawEllipse(QRect(x, area.center().y() - kDot / 2, kDot, kDot));
        x += kDot + kGap;
        const QString name =
            item.fontMetrics.elidedText(pair[0], Qt::ElideRight, std::max(0, area.right() - x));
        painter->setPen(text);
        painter->drawText(QRect(x, area.top(), area.right() - x, area.height()),
                          Qt::AlignLeft | Qt::AlignVCenter, name);
        x += item.fontMetrics.horizontalAdvance(name) + kSpacing;
    }
    painter->restore();
}
