#include "browser/palette/PaletteDelegate.h"

#include "browser/palette/PaletteListModel.h"

#include <QApplication>
#include <QPainter>
#include <QTextBoundaryFinder>
#include <QTextLayout>

namespace {

constexpr int kIconSize = 20;
constexpr int kMargin = 8;

void drawTitle(QPainter* painter, const QRect& rect, const QString& title,
               const QList<int>& highlights, const QStyleOptionViewItem& option,
               const QColor& accent)
{
    QTextLayout layout(title, option.font);
    QList<QTextLayout::FormatRange> formats;
    for (const auto& [start, length] : PaletteDelegate::ranges(title, highlights)) {
        QTextCharFormat format;
        format.setFontWeight(QFont::Bold);
        format.setForeground(accent);
        formats.append({start, length, format});
    }
    layout.setFormats(formats);
    layout.beginLayout();
    QTextLine line = layout.createLine();
    line.setLineWidth(1e6);
    layout.endLayout();
    painter->save();
    painter->setClipRect(rect);
    const qreal y = rect.top() + (rect.height() - line.height()) / 2.0;
    layout.draw(painter, QPointF(rect.left(), y));
    painter->restore();
}

} // namespace

QList<QPair<int, int>> PaletteDelegate::ranges(const QString& title, const QList<int>& graphemes)
{
    QList<QPair<int, int>> result;
    if (graphemes.isEmpty())
        return result;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, title);
    int index = 0;
    int start = 0;
    int next = 0;
    qsizetype wanted = 0;
    while (wanted < graphemes.size() && (next = int(finder.toNextBoundary())) > 0) {
        if (graphemes[wanted] == index) {
            if (!result.isEmpty() && result.last().first + result.last().second == start)
                result.last().second += next - start;
            else
                result.append({start, next - start});
            ++wanted;
        }
        ++index;
        start = next;
    }
    return result;
}

QSize PaletteDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const QFontMetrics metrics(option.font);
    const bool twoLines = !index.data(PaletteListModel::SubtitleRole).toString().isEmpty();
    return {200, metrics.height() * (twoLines ? 2 : 1) + 12};
}

void PaletteDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                            const QModelIndex& index) const
{
    QStyleOptionViewItem base = option;
    initStyleOption(&base, index);
    base.text.clear();
    base.icon = QIcon();
    const QWidget* widget = option.widget;
    QStyle* style = widget ? widget->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &base, painter, widget);

    const bool selected = option.state & QStyle::State_Selected;
    const QPalette& palette = option.palette;
    const QColor text = palette.color(selected ? QPalette::HighlightedText : QPalette::Text);
    QColor quiet = text;
    quiet.setAlphaF(0.6);
    const QColor accent = selected ? text : palette.color(QPalette::Link);

    QRect rect = option.rect.adjusted(kMargin, 0, -kMargin, 0);
    const auto icon = index.data(Qt::DecorationRole).value<QIcon>();
    icon.paint(painter,
               QRect(rect.left(), rect.center().y() - kIconSize / 2, kIconSize, kIconSize));
    rect.setLeft(rect.left() + kIconSize + kMargin);

    const QString detail = index.data(PaletteListModel::DetailRole).toString();
    painter->setPen(quiet);
    if (!detail.isEmpty()) {
        const int width = option.fontMetrics.horizontalAdvance(detail);
        painter->drawText(rect, Qt::AlignRight | Qt::AlignVCenter, detail);
        rect.setRight(rect.right() - width - kMargin);
    }
    const QString subtitle = index.data(PaletteListModel::SubtitleRole).toString();
    QRect titleRect = rect;
    if (!subtitle.isEmpty()) {
        titleRect.setBottom(rect.center().y());
        QRect subRect = rect;
        subRect.setTop(rect.center().y());
        QFont small = option.font;
        small.setPointSizeF(small.pointSizeF() * 0.85);
        painter->setFont(small);
        painter->drawText(
            subRect, Qt::AlignLeft | Qt::AlignTop,
            QFontMetrics(small).elidedText(subtitle, Qt::ElideMiddle, subRect.width()));
        painter->setFont(option.font);
    }
    painter->setPen(text);
    drawTitle(painter, titleRect, index.data(Qt::DisplayRole).toString(),
              index.data(PaletteListModel::HighlightsRole).value<QList<int>>(), option, accent);
}
