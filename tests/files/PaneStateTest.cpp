#include "files/PaneState.h"

#include "files/WindowModel.h"

#include <QSignalSpy>
#include <functional>
#include <gtest/gtest.h>

namespace {

TEST(PaneStateTest, SettersNotifyOnlyOnRealChanges)
{
    struct Case {
        const char* signal;
        std::function<void(PaneState&)> keep;   // sets the value it already holds
        std::function<void(PaneState&)> change; // sets a different one
    };
#define SETTER(signal, keep, change)                                                               \
    Case                                                                                           \
    {                                                                                              \
        SIGNAL(signal()), [&](PaneState& s) { s.keep; }, [&](PaneState& s) { s.change; }           \
    }
    NavigationHistory moved(Location::folder("/start"));
    moved.visit(Location::folder("/elsewhere"));
    const PaneError failure{QStringLiteral("「x」が見つかりません。"), false};
    const Case cases[] = {
        SETTER(historyChanged, setHistory(NavigationHistory(Location::folder("/start/"))),
               setHistory(moved)),
        SETTER(itemCountChanged, setItemCount(0), setItemCount(3)),
        SETTER(selectedCountChanged, setSelectedCount(0), setSelectedCount(1)),
        SETTER(availableCapacityChanged, setAvailableCapacity({}), setAvailableCapacity(0)),
        SETTER(isLoadingChanged, setLoading(false), setLoading(true)),
        SETTER(isEditingPathChanged, setEditingPath(false), setEditingPath(true)),
        SETTER(errorChanged, setError({}), setError(failure)),
        SETTER(isActiveChanged, setActive(true), setActive(false)),
        SETTER(isInSplitChanged, setInSplit(false), setInSplit(true)),
        SETTER(gitBranchChanged, setGitBranch({}), setGitBranch(QString())),
        SETTER(gitChangeCountChanged, setGitChangeCount(0), setGitChangeCount(2)),
        SETTER(isFilteringChanged, setFiltering(false), setFiltering(true)),
        SETTER(filterTextChanged, setFilterText(QString()), setFilterText(QStringLiteral("ａｂ"))),
        SETTER(visibleCountChanged, setVisibleCount(0), setVisibleCount(5)),
    };
#undef SETTER
    for (const Case& c : cases) {
        SCOPED_TRACE(c.signal);
        PaneState state(Location::folder("/start"));
        QSignalSpy spy(&state, c.signal);
        ASSERT_TRUE(spy.isValid());
        c.keep(state);
        EXPECT_EQ(spy.count(), 0);
        c.change(state);
        c.change(state);
        EXPECT_EQ(spy.count(), 1);
        c.keep(state);
        EXPECT_EQ(spy.count(), 2);
    }
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
