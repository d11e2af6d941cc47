#pragma once

#include <QPdfSelection>
#include <QPdfView>
#include <optional>
#include <vector>

// QPdfView with text selection: dragging over a page selects its text, drawn as a
// translucent highlight; Ctrl+C and the context menu copy it. Pages are laid out as
// QPdfView lays them out in multi-page mode at a custom zoom, the only mode used.
class PdfSelectionView : public QPdfView {
    Q_OBJECT
public:
    explicit PdfSelectionView(QWidget* parent = nullptr);

    // The page's rectangle in viewport coordinates.
    QRect pageRect(int page) const;
    // The page under a viewport point and the point in page coordinates (points).
    std::optional<std::pair<int, QPointF>> pageAt(QPoint viewportPoint) const;

    // The last page beginning at or above a viewport height (0 above the first).
    int pageAtHeight(int y) const;

    QString selectedText() const;
    void clearSelection();
    // Every page's text, pages separated by a blank line.
    QString allText() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    // What the page layout depends on; it is made again when any of it changes.
    struct LayoutKey {
        const QPdfDocument* document = nullptr;
        qreal zoom = 0;
        int width = 0;
        int spacing = 0;
        QMargins margins;
        bool operator==(const LayoutKey&) const = default;
    };

    // Every page's rectangle in document coordinates (before scrolling).
    const std::vector<QRect>& layout() const;
    qreal pixelsPerPoint() const;
    // The point moved onto the nearest line of text of the anchor page.
    QPointF onText(QPointF point) const;
    void copy(const QString& text) const;

    int m_anchorPage = -1;
    QPointF m_anchor;
    std::vector<QRectF> m_lines; // the anchor page's lines of text, in points
    int m_selectionPage = -1;
    std::optional<QPdfSelection> m_selection;
    mutable LayoutKey m_layoutKey;
    mutable std::vector<QRect> m_layout;
};
