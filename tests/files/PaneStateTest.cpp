#include "files/PaneState.h"

#include "files/WindowModel.h"

#include <QSignalSpy>
#include <functional>
#include <gtest/gtest.h>

namespace {

TEST(PaneStateTest, SettersNotifyOnlyOnRealChanges)
{
    using Set = std::function<void(PaneState&)>;
    struct Case {
        const char* signal;
        Set keep;   // the value it already holds
        Set change; // a different one
    };
    NavigationHistory moved(Location::folder("/start"));
    moved.visit(Location::folder("/elsewhere"));
    const PaneError failure{QStringLiteral("「x」が見つかりません。"), false};
    const Case cases[] = {
        {SIGNAL(historyChanged()),
         [](PaneState& s) { s.setHistory(NavigationHistory(Location::folder("/start/"))); },
         [&](PaneState& s) { s.setHistory(moved); }},
        {SIGNAL(itemCountChanged()), [](PaneState& s) { s.setItemCount(0); },
         [](PaneState& s) { s.setItemCount(3); }},
        {SIGNAL(selectedCountChanged()), [](PaneState& s) { s.setSelectedCount(0); },
         [](PaneState& s) { s.setSelectedCount(1); }},
        {SIGNAL(availableCapacityChanged()), [](PaneState& s) { s.setAvailableCapacity({}); },
         [](PaneState& s) { s.setAvailableCapacity(0); }},
        {SIGNAL(isLoadingChanged()), [](PaneState& s) { s.setLoading(false); },
         [](PaneState& s) { s.setLoading(true); }},
        {SIGNAL(isEditingPathChanged()), [](PaneState& s) { s.setEditingPath(false); },
         [](PaneState& s) { s.setEditingPath(true); }},
        {SIGNAL(errorChanged()), [](PaneState& s) { s.setError({}); },
         [&](PaneState& s) { s.setError(failure); }},
        {SIGNAL(isActiveChanged()), [](PaneState& s) { s.setActive(true); },
         [](PaneState& s) { s.setActive(false); }},
        {SIGNAL(isInSplitChanged()), [](PaneState& s) { s.setInSplit(false); },
         [](PaneState& s) { s.setInSplit(true); }},
        {SIGNAL(gitBranchChanged()), [](PaneState& s) { s.setGitBranch({}); },
         [](PaneState& s) { s.setGitBranch(QString()); }},
        {SIGNAL(gitChangeCountChanged()), [](PaneState& s) { s.setGitChangeCount(0); },
         [](PaneState& s) { s.setGitChangeCount(2); }},
        {SIGNAL(isFilteringChanged()), [](PaneState& s) { s.setFiltering(false); },
         [](PaneState& s) { s.setFiltering(true); }},
        {SIGNAL(filterTextChanged()), [](PaneState& s) { s.setFilterText(QString()); },
         [](PaneState& s) { s.setFilterText(QStringLiteral("ａｂ")); }},
        {SIGNAL(visibleCountChanged()), [](PaneState& s) { s.setVisibleCount(0); },
         [](PaneState& s) { s.setVisibleCount(5); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.signal);
        PaneState state(Location::folder("/start"));
        QSignalSpy spy(&state, c.signal);
        ASSERT_TRUE(spy.isValid());
        c.keep(state);
        EXPECT_EQ(spy.count(), 0);
        c.change(state);
        EXPECT_EQ(spy.count(), 1);
        c.change(state);
        EXPECT_EQ(spy.count(), 1);
        c.keep(state);
        EXPECT_EQ(spy.count(), 2);
    }
}

TEST(PaneStateTest, LocationFollowsTheHistory)
{
    PaneState state(Location::fromText("/a/./"));
    EXPECT_EQ(state.location(), Location::folder("/a"));
    NavigationHistory history = state.history();
    history.visit(Location::folder("/b"));
    state.setHistory(history);
    EXPECT_EQ(state.location(), Location::folder("/b"));
    EXPECT_EQ(state.history().backStack.size(), 1u);
}

TEST(WindowModelTest, NotifiesOnlyWhenTheActivePaneChanges)
{
    PaneState left(Location::folder("/l"));
    PaneState right(Location::folder("/r"));
    WindowModel window(&left);
    QSignalSpy spy(&window, &WindowModel::activePaneChanged);
    window.setActivePane(&left);
    EXPECT_EQ(spy.count(), 0);
    window.setActivePane(&right);
    ASSERT_EQ(spy.count(), 1);
    EXPECT_EQ(spy.at(0).at(0).value<PaneState*>(), &right);
    EXPECT_EQ(window.activePane(), &right);
}

} // namespace
