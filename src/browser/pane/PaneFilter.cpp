#include "browser/pane/PaneFilter.h"

#include "browser/pane/FileListModel.h"
#include "browser/pane/FilterBar.h"
#include "browser/pane/PaneView.h"
#include "files/PaneState.h"

PaneFilter::PaneFilter(PaneView& pane)
    : QObject(&pane)
    , m_pane(pane)
    , m_bar(new FilterBar(&pane))
{
    connect(m_bar, &FilterBar::textEdited, this, &PaneFilter::apply);
    connect(m_bar, &FilterBar::escapePressed, this, [this] { end(true); });
    connect(m_bar, &FilterBar::returnPressed, &pane, &PaneView::focusList);
    connect(m_bar, &FilterBar::downPressed, &pane, &PaneView::focusList);
}

bool PaneFilter::isOpen() const
{
    return m_pane.state().isFiltering();
}

void PaneFilter::begin()
{
    if (!isOpen()) {
        m_selectionBefore = m_pane.selectedPaths();
        m_pane.state().setFiltering(true);
    }
    m_bar->open();
}

void PaneFilter::end(bool focusList)
{
    if (!isOpen())
        return;
    PaneState& state = m_pane.state();
    m_bar->close();
    state.setFilterText(QString());
    state.setFiltering(false);
    m_pane.model()->setFilterText(QString());
    state.setVisibleCount(m_pane.model()->visibleTopLevelCount());
    m_pane.selectPaths(m_selectionBefore);
    m_selectionBefore.clear();
    if (focusList)
        m_pane.focusList();
}

void PaneFilter::apply(const QString& text)
{
    m_pane.state().setFilterText(text);
    m_pane.model()->setFilterText(text);
    m_pane.state().setVisibleCount(m_pane.model()->visibleTopLevelCount());
    if (m_pane.model()->rowCount() > 0)
        m_pane.listView()->selectRow(0);
}
