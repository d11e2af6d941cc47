#include "files/PaneState.h"

#include "core/MainThread.h"

namespace {

// Views redraw on every notification, so equal values must not notify.
template <typename T, typename V>
bool assign(T& field, V&& value)
{
    QUILLO_ASSERT_MAIN_THREAD();
    if (field == value)
        return false;
    field = std::forward<V>(value);
    return true;
}

} // namespace

PaneState::PaneState(const Location& start, QObject* parent)
    : QObject(parent)
    , m_history(start)
{
}

void PaneState::setHistory(const NavigationHistory& history)
{
    if (assign(m_history, history))
        Q_EMIT historyChanged();
}

void PaneState::setItemCount(int count)
{
    if (assign(m_itemCount, count))
        Q_EMIT itemCountChanged();
}

void PaneState::setSelectedCount(int count)
{
    if (assign(m_selectedCount, count))
        Q_EMIT selectedCountChanged();
}

void PaneState::setAvailableCapacity(std::optional<int64_t> bytes)
{
    if (assign(m_availableCapacity, bytes))
        Q_EMIT availableCapacityChanged();
}

void PaneState::setLoading(bool loading)
{
    if (assign(m_isLoading, loading))
        Q_EMIT isLoadingChanged();
}

void PaneState::setEditingPath(bool editing)
{
    if (assign(m_isEditingPath, editing))
        Q_EMIT isEditingPathChanged();
}

void PaneState::setError(const std::optional<PaneError>& error)
{
    if (assign(m_error, error))
        Q_EMIT errorChanged();
}

void PaneState::setActive(bool active)
{
    if (assign(m_isActive, active))
        Q_EMIT isActiveChanged();
}

void PaneState::setInSplit(bool inSplit)
{
    if (assign(m_isInSplit, inSplit))
        Q_EMIT isInSplitChanged();
}

void PaneState::setGitBranch(const std::optional<QString>& branch)
{
    if (assign(m_gitBranch, branch))
        Q_EMIT gitBranchChanged();
}

void PaneState::setGitChangeCount(int count)
{
    if (assign(m_gitChangeCount, count))
        Q_EMIT gitChangeCountChanged();
}

void PaneState::setFiltering(bool filtering)
{
    if (assign(m_isFiltering, filtering))
        Q_EMIT isFilteringChanged();
}

void PaneState::setFilterText(const QString& text)
{
    if (assign(m_filterText, text))
        Q_EMIT filterTextChanged();
}

void PaneState::setVisibleCount(int count)
{
    if (assign(m_visibleCount, count))
        Q_EMIT visibleCountChanged();
}
