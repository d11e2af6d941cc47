#include "browser/preview/PdfSelectionView.h"

#include <QClipboard>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QPdfDocument>
#include <QScreen>
#include <QScrollBar>

PdfSelectionView::PdfSelectionView(QWidget* parent)
    : QPdfView(parent)
{
    setPageMode(PageMode::MultiPage);
    setZoomMode(ZoomMode::Custom);
    viewport()->setCursor(Qt::IBeamCursor);
    setFocusPolicy(Qt::StrongFocus);
}

qreal PdfSelectionView::pixelsPerPoint() const
{
    // QPdfView's own scale: the primary screen's logical resolution over 72 points.
    const QScreen* screen = QGuiApplication::primaryScreen();
    return (screen ? screen->logicalDotsPerInch() : 96.0) / 72.0 * zoomFactor();
}

const std::vector<QRect>& PdfSelectionView::layout() const
{
    QPdfDocument* pdf = document();
    const bool ready = pdf && pdf->status() == QPdfDocument::Status::Ready;
    const LayoutKey key{ready ? pdf : nullptr, zoomFactor(), viewport()->width(), pageSpacing(),
                        documentMargins()};
    if (key == m_layoutKey)
        return m_layout;
    m_layoutKey = key;
    m_layout.clear();
    if (!key.document)
        return m_layout;
    const qreal scale = pixelsPerPoint();
    const QMargins margins = documentMargins();
    std::vector<QSize> sizes;
    int widest = 0;
    for (int page = 0; page < pdf->pageCount(); ++page) {
        sizes.push_back((pdf->pagePointSize(page) * scale).toSize());
        widest = std::max(widest, sizes.back().width());
    }
    // Pages are centred across the document's width, one below the other.
    const int total = std::max(widest + margins.left() + margins.right(), viewport()->width());
    int top = margins.top();
    for (const QSize& size : sizes) {
        m_layout.emplace_back(QPoint((total - size.width()) / 2, top), size);
        top += size.height() + pageSpacing();
    }
    return m_layout;
}

QRect PdfSelectionView::pageRect(int page) const
{
    const auto& pages = layout();
    if (page < 0 || size_t(page) >= pages.size())
        return {};
    return pages[size_t(page)].translated(-horizontalScrollBar()->value(),
                                          -verticalScrollBar()->value());
}

int PdfSelectionView::pageAtHeight(int y) const
{
    const auto& pages = layout();
    const int top = y + verticalScrollBar()->value();
    const auto after =
        std::upper_bound(pages.begin(), pages.end(), top,
                         [](int value, const QRect& page) { return value < page.top(); });
    return std::max(int(after - pages.begin()) - 1, 0);
}

std::optional<std::pair<int, QPointF>> PdfSelectionView::pageAt(QPoint point) const
{
    const int page = pageAtHeight(point.y());
    const QRect rect = pageRect(page);
    if (!rect.contains(point))
        return std::nullopt;
    return std::pair{page, QPointF(point - rect.topLeft()) / pixelsPerPoint()};
}

QString PdfSelectionView::selectedText() const
{
    return m_selection ? m_selection->text() : QString();
}

void PdfSelectionView::clearSelection()
{
    m_anchorPage = -1;
    m_lines.clear();
    m_selectionPage = -1;
    m_selection.reset();
    viewport()->update();
}

QString PdfSelectionView::allText() const
{
    QPdfDocument* pdf = document();
    if (!pdf)
        return {};
    QStringList pages;
    for (int page = 0; page < pdf->pageCount(); ++page)
        pages << pdf->getAllText(page).text();
    return pages.join(QStringLiteral("\n\n"));
}

void PdfSelectionView::paintEvent(QPaintEvent* event)
{
    QPdfView::paintEvent(event);
    if (!m_selection || !m_selection->isValid())
        return;
    const QRect page = pageRect(m_selectionPage);
    const qreal scale = pixelsPerPoint();
    QPainter painter(viewport());
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    QColor highlight = palette().color(QPalette::Highlight);
    highlight.setAlpha(90);
    painter.setBrush(highlight);
    painter.translate(page.topLeft());
    painter.scale(scale, scale);
    for (const QPolygonF& bounds : m_selection->bounds())
        painter.drawPolygon(bounds);
}

QPointF PdfSelectionView::onText(QPointF point) const
{
    // Text is found only under the pointer; a drag begun in a margin or between lines
    // starts at the nearest line instead, as readers expect.
    const QRectF* nearest = nullptr;
    qreal best = 0;
    for (const QRectF& line : m_lines) {
        if (line.contains(point))
            return point;
        const qreal dx = std::max({line.left() - point.x(), 0.0, point.x() - line.right()});
        const qreal dy = std::max({line.top() - point.y(), 0.0, point.y() - line.bottom()});
        const qreal distance = dx * dx + dy * dy;
        if (!nearest || distance < best) {
            nearest = &line;
            best = distance;
        }
    }
    if (!nearest)
        return point;
    const QRectF inner = nearest->adjusted(0.5, 0.5, -0.5, -0.5);
    return {std::clamp(point.x(), inner.left(), std::max(inner.left(), inner.right())),
            point.y() >= nearest->top() && point.y() <= nearest->bottom() ? point.y()
                                                                          : nearest->center().y()};
}

void PdfSelectionView::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton) {
        QPdfView::mousePressEvent(event);
        return;
    }
    clearSelection();
    const auto hit = pageAt(event->position().toPoint());
    if (!hit)
        return;
    m_anchorPage = hit->first;
    m_lines.clear();
    for (const QPolygonF& line : document()->getAllText(m_anchorPage).bounds())
        m_lines.push_back(line.boundingRect());
    m_anchor = onText(hit->second);
}

void PdfSelectionView::mouseMoveEvent(QMouseEvent* event)
{
    if (!(event->buttons() & Qt::LeftButton) || m_anchorPage < 0 || !document()) {
        QPdfView::mouseMoveEvent(event);
        return;
    }
    // A drag selects on the page where it began.
    const QRect page = pageRect(m_anchorPage);
    const QPointF end = onText(QPointF(event->position() - page.topLeft()) / pixelsPerPoint());
    m_selection = document()->getSelection(m_anchorPage, m_anchor, end);
    m_selectionPage = m_anchorPage;
    viewport()->update();
}

void PdfSelectionView::keyPressEvent(QKeyEvent* event)
{
    if (event->matches(QKeySequence::Copy) && !selectedText().isEmpty()) {
        copy(selectedText());
        return;
    }
    QPdfView::keyPressEvent(event);
}

void PdfSelectionView::contextMenuEvent(QContextMenuEvent* event)
{
    QMenu menu(this);
    QAction* copySelection = menu.addAction(QStringLiteral("コピー"));
    copySelection->setShortcut(QKeySequence::Copy);
    copySelection->setEnabled(!selectedText().isEmpty());
    QAction* copyAll = menu.addAction(QStringLiteral("すべてのテキストをコピー"));
    copyAll->setEnabled(document() && document()->pageCount() > 0);
    QAction* chosen = menu.exec(event->globalPos());
    if (chosen == copySelection)
        copy(selectedText());
    else if (chosen == copyAll)
        copy(allText());
}

void PdfSelectionView::copy(const QString& text) const
{
    QGuiApplication::clipboard()->setText(text);
}
