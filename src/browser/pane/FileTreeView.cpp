#include "browser/pane/FileTreeView.h"

#include "core/Preferences.h"
#include "files/FileColumn.h"

#include <QApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QPainter>
#include <QStyledItemDelegate>
#include <cmath>
#include <numeric>

namespace {

constexpr double kPaleAlpha = 0.22;
constexpr qreal kInsetX = 4;
constexpr qreal kInsetY = 1;
constexpr qreal kRadius = 5;

// The columns without a delegate of their own.
class CellDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        FileTreeView::prepareCell(*option);
    }
};

int columnMinimum(int column)
{
    return column < int(kFileColumns.size()) ? kFileColumns[size_t(column)].minimumWidth : 50;
}

// Takes up to `excess` pixels from the columns but `skip`, each giving in proportion
// to its width above its minimum; returns what they could not give.
int narrow(std::vector<int>& widths, const std::vector<int>& minimums, int excess, int skip)
{
    int slack = 0;
    for (size_t i = 0; i < widths.size(); ++i) {
        if (int(i) != skip)
            slack += widths[i] - minimums[i];
    }
    if (excess <= 0 || slack <= 0)
        return excess;
    const int taken = std::min(excess, slack);
    int left = taken;
    for (size_t i = 0; i < widths.size() && left > 0; ++i) {
        if (int(i) == skip)
            continue;
        const double share = double(widths[i] - minimums[i]) * taken / slack;
        const int given = std::min(left, int(std::ceil(share)));
        widths[i] -= given;
        left -= given;
    }
    return excess - taken;
}

} // namespace

FileTreeView::FileTreeView(ListKeyTarget& target, QWidget* parent)
    : QTreeView(parent)
    , m_target(target)
{
    // Uniform rows let the view lay out 100,000 rows without asking each one.
    setUniformRowHeights(true);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setExpandsOnDoubleClick(false);
    // The selected row's fill marks where the keys act; no focus frame on top of it.
    setAllColumnsShowFocus(false);
    setItemDelegate(new CellDelegate(this));
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setAlternatingRowColors(true);
    setSortingEnabled(false);
    setTextElideMode(Qt::ElideRight);
    setDragDropMode(QAbstractItemView::DragDrop);
    setDefaultDropAction(Qt::CopyAction);
    setDropIndicatorShown(true);
    header()->setSectionsClickable(true);
    header()->setSortIndicatorShown(true);
    header()->setStretchLastSection(false);
    for (const FileColumn& column : kFileColumns)
        m_columnWidths.push_back(column.initialWidth);
    header()->viewport()->installEventFilter(this);
    connect(header(), &QHeaderView::sectionResized, this, &FileTreeView::columnResized);
    connect(header(), &QHeaderView::sectionCountChanged, this, [this] { fitColumns(); });
}

void FileTreeView::resizeEvent(QResizeEvent* event)
{
    QTreeView::resizeEvent(event);
    fitColumns();
}

bool FileTreeView::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == header()->viewport()) {
        const QEvent::Type type = event->type();
        if (type == QEvent::MouseButtonPress || type == QEvent::MouseButtonDblClick)
            m_headerPressed = true;
        else if (type == QEvent::MouseButtonRelease)
            m_headerPressed = false;
    }
    return QTreeView::eventFilter(watched, event);
}

void FileTreeView::columnResized(int column, int oldWidth, int newWidth)
{
    if (m_fitting)
        return;
    QHeaderView* columns = header();
    // A drag keeps what the user sees: every column stays as wide as it is shown.
    if (m_headerPressed) {
        for (int i = 1; i < int(m_columnWidths.size()) && i < columns->count(); ++i) {
            if (!columns->isSectionHidden(i))
                m_columnWidths[size_t(i)] = columns->sectionSize(i);
        }
    }
    if (column != 0) {
        if (column < int(m_columnWidths.size()))
            m_columnWidths[size_t(column)] = newWidth;
        fitColumns(column);
        return;
    }
    // The name's own width is what is left; dragging its edge moves the border with
    // the column after it, which gives or takes the difference.
    int next = -1;
    for (int visual = columns->visualIndex(0) + 1; visual < columns->count() && next < 0;
         ++visual) {
        const int logical = columns->logicalIndex(visual);
        if (!columns->isSectionHidden(logical))
            next = logical;
    }
    if (m_headerPressed && next > 0 && next < int(m_columnWidths.size()))
        m_columnWidths[size_t(next)] =
            std::max(columnMinimum(next), m_columnWidths[size_t(next)] - (newWidth - oldWidth));
    fitColumns(next);
}

void FileTreeView::fitColumns(int pinned)
{
    QHeaderView* columns = header();
    const int count = columns->count();
    if (m_fitting || count == 0)
        return;
    while (int(m_columnWidths.size()) < count)
        m_columnWidths.push_back(columns->sectionSize(int(m_columnWidths.size())));
    std::vector<int> widths(size_t(count), 0);
    std::vector<int> minimums(size_t(count), 0);
    int others = 0;
    for (int i = 1; i < count; ++i) {
        if (columns->isSectionHidden(i))
            continue;
        widths[size_t(i)] = m_columnWidths[size_t(i)];
        minimums[size_t(i)] = std::min(widths[size_t(i)], columnMinimum(i));
        others += widths[size_t(i)];
    }
    const int available = viewport()->width();
    const int excess = narrow(widths, minimums, others + columnMinimum(0) - available, pinned);
    narrow(widths, minimums, excess, -1);
    widths[0] = std::max(columnMinimum(0),
                         available - std::accumulate(widths.begin() + 1, widths.end(), 0));
    m_fitting = true;
    for (int i = 0; i < count; ++i) {
        if (!columns->isSectionHidden(i))
            columns->resizeSection(i, widths[size_t(i)]);
    }
    m_fitting = false;
}

void FileTreeView::keyPressEvent(QKeyEvent* event)
{
    // Return that commits an inline rename travels on from the editor to the list;
    // it must not open the item as well.
    if (state() == QAbstractItemView::EditingState) {
        event->ignore();
        return;
    }
    if (handleListKey(event))
        return;
    const bool plain = !(event->modifiers() & (Qt::ControlModifier | Qt::AltModifier |
                                               Qt::MetaModifier | Qt::ShiftModifier));
    if (plain && (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)) {
        m_target.openSelection();
        return;
    }
    QTreeView::keyPressEvent(event);
}

bool FileTreeView::focusNextPrevChild(bool)
{
    // Tab moves between panes, not through the window's widgets.
    m_target.switchPane();
    return true;
}

void FileTreeView::focusInEvent(QFocusEvent* event)
{
    QTreeView::focusInEvent(event);
    viewport()->update(); // the selection turns strong
}

void FileTreeView::focusOutEvent(QFocusEvent* event)
{
    QTreeView::focusOutEvent(event);
    viewport()->update(); // the selection turns pale
}

bool FileTreeView::isEmphasized() const
{
    return hasFocus() && window()->isActiveWindow();
}

QColor FileTreeView::selectionFill() const
{
    QColor fill = palette().color(QPalette::Active, QPalette::Highlight);
    if (!isEmphasized())
        fill.setAlphaF(kPaleAlpha);
    return fill;
}

void FileTreeView::drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                           const QModelIndex& index) const
{
    if (!selectionModel() || !selectionModel()->isSelected(index)) {
        QTreeView::drawRow(painter, option, index);
        return;
    }
    const QRect rect = option.rect;
    const int row = (rect.top() + verticalOffset()) / uniformRowHeight();
    if (alternatingRowColors() && row % 2 == 1)
        painter->fillRect(rect, option.palette.brush(QPalette::AlternateBase));
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    painter->setBrush(selectionFill());
    painter->drawRoundedRect(QRectF(rect).adjusted(kInsetX, kInsetY, -kInsetX, -kInsetY), kRadius,
                             kRadius);
    painter->restore();
    // The tree view fills the branch area with Highlight and every cell with
    // AlternateBase; both would cover the rounded fill.
    QStyleOptionViewItem cells = option;
    const QColor text = palette().color(QPalette::Active, isEmphasized() ? QPalette::HighlightedText
                                                                         : QPalette::Text);
    for (const auto group : {QPalette::Active, QPalette::Inactive}) {
        cells.palette.setColor(group, QPalette::Highlight, Qt::transparent);
        cells.palette.setColor(group, QPalette::AlternateBase, Qt::transparent);
        cells.palette.setColor(group, QPalette::HighlightedText, text);
    }
    QTreeView::drawRow(painter, cells, index);
}

void FileTreeView::showSort(const FileSort& sort)
{
    for (size_t i = 0; i < kFileColumns.size(); ++i) {
        if (kFileColumns[i].key == sort.key)
            header()->setSortIndicator(int(i),
                                       sort.ascending ? Qt::AscendingOrder : Qt::DescendingOrder);
    }
}

void FileTreeView::prepareCell(QStyleOptionViewItem& option)
{
    if (!qobject_cast<const FileTreeView*>(option.widget))
        return;
    option.state &= ~QStyle::State_HasFocus;
    if (!(option.state & QStyle::State_Selected))
        return;
    // Unselected, the style draws no background and leaves icons untinted.
    option.state &= ~QStyle::State_Selected;
    for (const auto group : {QPalette::Active, QPalette::Inactive})
        option.palette.setColor(group, QPalette::Text,
                                option.palette.color(group, QPalette::HighlightedText));
}

bool FileTreeView::handleListKey(QKeyEvent* event)
{
    if (event->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))
        return false;
    if (event->key() == Qt::Key_Escape) {
        if (!m_target.isFilterOpen())
            return false;
        m_target.endFilter(true);
        return true;
    }
    if (event->key() == Qt::Key_Space && !(event->modifiers() & Qt::ShiftModifier) &&
        !isTypingAhead()) {
        m_target.toggleQuickLook();
        return true;
    }
    const QString text = event->text();
    if (text == QStringLiteral("/")) {
        m_target.beginFilter();
        return true;
    }
    if (!Preferences::shared().vimKeyBindings())
        return false;
    return handleVimKey(text);
}

bool FileTreeView::isTypingAhead() const
{
    return m_typeAhead.isValid() && m_typeAhead.elapsed() < QApplication::keyboardInputInterval();
}

void FileTreeView::keyboardSearch(const QString& search)
{
    m_typeAhead.start();
    QTreeView::keyboardSearch(search);
}

bool FileTreeView::handleVimKey(const QString& text)
{
    const bool wasPendingG = m_pendingG;
    m_pendingG = false;
    if (text == QStringLiteral("j")) {
        const int last = lastSelectedRow();
        selectRow(last < 0 ? 0 : last + 1);
    } else if (text == QStringLiteral("k")) {
        const int last = lastSelectedRow();
        selectRow(last < 0 ? visibleRowCount() - 1 : last - 1);
    } else if (text == QStringLiteral("h")) {
        collapseOrGoUp();
    } else if (text == QStringLiteral("l")) {
        m_target.openSelection();
    } else if (text == QStringLiteral("G")) {
        selectRow(visibleRowCount() - 1);
    } else if (text == QStringLiteral("g")) {
        if (wasPendingG)
            selectRow(0);
        else
            m_pendingG = true;
    } else {
        return false;
    }
    return true;
}

void FileTreeView::selectRow(int row)
{
    const int count = visibleRowCount();
    if (count == 0)
        return;
    const QModelIndex index = visibleIndex(std::clamp(row, 0, count - 1));
    setCurrentIndex(index);
    selectionModel()->select(index,
                             QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    scrollTo(index);
}

void FileTreeView::collapseOrGoUp()
{
    const QModelIndexList selected = selectionModel()->selectedRows();
    if (selected.isEmpty()) {
        m_target.goToParent();
        return;
    }
    QModelIndex first = selected.first();
    for (const QModelIndex& index : selected) {
        if (visibleRowOf(index) < visibleRowOf(first))
            first = index;
    }
    if (isExpanded(first)) {
        collapse(first);
        return;
    }
    const QModelIndex parent = first.parent();
    if (parent.isValid()) {
        selectRow(visibleRowOf(parent));
        return;
    }
    m_target.goToParent();
}

// Rows are uniform, so a visible row number is a y coordinate divided by the row
// height; this stays cheap in lists of 100,000 rows.
int FileTreeView::uniformRowHeight() const
{
    const QModelIndex first = model() ? model()->index(0, 0, rootIndex()) : QModelIndex();
    return first.isValid() ? std::max(1, rowHeight(first)) : 1;
}

int FileTreeView::visibleRowCount() const
{
    if (!model())
        return 0;
    const int top = model()->rowCount(rootIndex());
    if (top == 0)
        return 0;
    QModelIndex last = model()->index(top - 1, 0, rootIndex());
    while (isExpanded(last) && model()->rowCount(last) > 0)
        last = model()->index(model()->rowCount(last) - 1, 0, last);
    return visibleRowOf(last) + 1;
}

QModelIndex FileTreeView::visibleIndex(int row) const
{
    const int y = row * uniformRowHeight() - verticalOffset() + uniformRowHeight() / 2;
    return indexAt(QPoint(1, y)).siblingAtColumn(0);
}

int FileTreeView::visibleRowOf(const QModelIndex& index) const
{
    const QRect rect = visualRect(index.siblingAtColumn(0));
    if (!rect.isValid())
        return -1;
    return (rect.top() + verticalOffset()) / uniformRowHeight();
}

int FileTreeView::lastSelectedRow() const
{
    int last = -1;
    for (const QItemSelectionRange& range : selectionModel()->selection())
        last = std::max(last, visibleRowOf(range.bottomRight()));
    return last;
}
