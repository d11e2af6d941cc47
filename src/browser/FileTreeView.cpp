#include "browser/FileTreeView.h"

#include "core/Preferences.h"

#include <QHeaderView>
#include <QKeyEvent>

FileTreeView::FileTreeView(ListKeyTarget& target, QWidget* parent)
    : QTreeView(parent)
    , m_target(target)
{
    // Uniform rows let the view lay out 100,000 rows without asking each one.
    setUniformRowHeights(true);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setExpandsOnDoubleClick(false);
    setAllColumnsShowFocus(true);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setAlternatingRowColors(true);
    setSortingEnabled(false);
    setTextElideMode(Qt::ElideRight);
    setDragDropMode(QAbstractItemView::DragDrop);
    setDefaultDropAction(Qt::CopyAction);
    setDropIndicatorShown(true);
    header()->setSectionsClickable(true);
    header()->setSortIndicatorShown(true);
    header()->setStretchLastSection(true);
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
    const QString text = event->text();
    if (text == QStringLiteral("/")) {
        m_target.beginFilter();
        return true;
    }
    if (!Preferences::shared().vimKeyBindings())
        return false;
    return handleVimKey(text);
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
