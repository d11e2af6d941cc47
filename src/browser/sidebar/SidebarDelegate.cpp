#include "browser/sidebar/SidebarDelegate.h"

#include "browser/sidebar/SidebarModel.h"
#include "browser/sidebar/SidebarView.h"

#include <QPainter>

namespace {

constexpr int kItemHeight = 24;
constexpr int kHeaderHeight = 30;
constexpr int kHeaderTextIndent = 8;

bool isHeader(const QModelIndex& index)
{
    return index.data(SidebarModel::KindRole).toInt() == int(SidebarModel::RowKind::section);
}

QFont headerFont(const QFont& base)
{
    QFont font = base;
    font.setBold(true);
    font.setPointSizeF(base.pointSizeF() * 0.85);
    return font;
}

} // namespace

SidebarDelegate::SidebarDelegate(SidebarView& view)
    : QStyledItemDelegate(&view)
    , m_view(view)
{
}

QSize SidebarDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QSize size = QStyledItemDelegate::sizeHint(option, index);
    // The first header sits at the top; the others keep some air above them.
    const int header = index.row() == 0 ? kHeaderHeight - 6 : kHeaderHeight;
    size.setHeight(std::max(size.height(), isHeader(index) ? header : kItemHeight));
    return size;
}

void SidebarDelegate::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const
{
    QStyledItemDelegate::initStyleOption(option, index);
    option->state &= ~QStyle::State_HasFocus;
    if (index.data(SidebarModel::MissingRole).toBool())
        option->state &= ~QStyle::State_Enabled; // grey text and icon
    if (option->state & QStyle::State_Selected) {
        // The view has drawn the rounded fill; the cell only picks a readable text colour.
        option->state &= ~QStyle::State_Selected;
        const bool strong = m_view.hasFocus() && m_view.window()->isActiveWindow();
        const QColor text = option->palette.color(
            QPalette::Active, strong ? QPalette::HighlightedText : QPalette::Text);
        for (const auto group : {QPalette::Active, QPalette::Inactive})
            option->palette.setColor(group, QPalette::Text, text);
    }
    if (index.data(SidebarModel::EjectableRole).toBool())
        option->rect.setRight(option->rect.right() - kEjectSize - kEjectMargin);
}

void SidebarDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                            const QModelIndex& index) const
{
    if (isHeader(index)) {
        paintHeader(painter, option, index);
        return;
    }
    QStyledItemDelegate::paint(painter, option, index);
    if (index.data(SidebarModel::EjectableRole).toBool())
        paintEject(painter, option, index);
}

// Drawn rather than taken from the icon theme, so that it reads in light and dark
// alike and on the selection fill.
void SidebarDelegate::paintEject(QPainter* painter, const QStyleOptionViewItem& option,
                                 const QModelIndex& index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    const QRectF box = QRectF(m_view.ejectRect(index)).adjusted(2.5, 2.5, -2.5, -2.5);
    QColor color = opt.palette.color(QPalette::Text);
    color.setAlphaF(0.75);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    painter->setBrush(color);
    const qreal barHeight = box.height() * 0.18;
    const qreal triangleBottom = box.bottom() - barHeight * 2;
    const QPointF triangle[] = {
        {box.center().x(), box.top()}, {box.right(), triangleBottom}, {box.left(), triangleBottom}};
    painter->drawPolygon(triangle, 3);
    painter->drawRect(QRectF(box.left(), box.bottom() - barHeight, box.width(), barHeight));
    painter->restore();
}

void SidebarDelegate::paintHeader(QPainter* painter, const QStyleOptionViewItem& option,
                                  const QModelIndex& index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    painter->save();
    const bool selected = option.state & QStyle::State_Selected;
    QColor color = opt.palette.color(QPalette::Text);
    if (!selected)
        color.setAlphaF(0.6);
    painter->setPen(color);
    painter->setFont(headerFont(opt.font));
    const QRect text = opt.rect.adjusted(kHeaderTextIndent, 0, -24, -3);
    painter->drawText(text, Qt::AlignLeft | Qt::AlignBottom,
                      painter->fontMetrics().elidedText(opt.text, Qt::ElideRight, text.width()));
    if (index.model()->hasChildren(index)) {
        QStyleOption arrow;
        arrow.rect = QRect(opt.rect.right() - 18, opt.rect.bottom() - 15, 10, 10);
        arrow.palette = opt.palette;
        arrow.palette.setColor(QPalette::ButtonText, color);
        arrow.palette.setColor(QPalette::WindowText, color);
        arrow.palette.setColor(QPalette::Text, color);
        const auto element = m_view.isExpanded(index) ? QStyle::PE_IndicatorArrowDown
                                                      : QStyle::PE_IndicatorArrowRight;
        m_view.style()->drawPrimitive(element, &arrow, painter, &m_view);
    }
    painter->restore();
}
