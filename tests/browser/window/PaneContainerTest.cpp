#include "browser/window/PaneContainer.h"

#include "browser/PaneTesting.h"
#include "files/WindowModel.h"

#include <cmath>

namespace fs = std::filesystem;
using namespace testing_pane;

namespace {

// The arrangement without paths: "V[...]" side by side, "S[...]" stacked, "p" a pane.
QString shape(const PaneTreeLayout& tree)
{
    if (tree.isPane())
        return "p";
    QStringList children;
    for (const PaneTreeLayout& child : tree.children)
        children << shape(child);
    return QString(tree.vertical ? "V[" : "S[") + children.join(',') + "]";
}

// Whether the group's fractions are these, give or take a little.
bool fractionsNear(const PaneTreeLayout& group, const std::vector<double>& expected)
{
    const auto fractions = group.fractions.value_or(std::vector<double>{});
    return fractions.size() == expected.size() &&
           std::equal(fractions.begin(), fractions.end(), expected.begin(),
                      [](double a, double b) { return std::abs(a - b) < 0.02; });
}

// Whether the top group's fractions (and its second child's) settle to these.
bool settlesTo(const PaneContainer& container, const std::vector<double>& top,
               const std::vector<double>& second = {})
{
    return QTest::qWaitFor(
        [&] {
            const PaneTreeLayout tree = container.tree();
            return fractionsNear(tree, top) &&
                   (second.empty() || fractionsNear(tree.children[1], second));
        },
        kTimeoutMs);
}

class PaneContainerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        for (const char* name : {"left", "right", "third"})
            dir.folder(name);
    }
    QString text(const char* name) const { return Location::folder(dir / name).toText(); }
    PaneLayout twoPanes(int activeIndex = 0) const
    {
        PaneLayout layout;
        layout.paths = {text("left"), text("right")};
        layout.activeIndex = activeIndex;
        return layout;
    }
    static void show(PaneContainer& container, int width = 1000)
    {
        container.resize(width, 800);
        container.show();
    }
    static int activeIndex(const PaneContainer& container)
    {
        const auto panes = container.panes();
        return int(std::find(panes.begin(), panes.end(), container.activePane()) - panes.begin());
    }
    static bool allVisible(const PaneContainer& container)
    {
        const auto panes = container.panes();
        return std::all_of(panes.begin(), panes.end(), [](PaneView* p) { return p->isVisible(); });
    }

    TempDir dir;
};

TEST_F(PaneContainerTest, SplitsNestAndAreEqualized)
{
    PaneContainer container(PaneLayout::onePane(text("left")));
    show(container);
    container.split(Qt::Horizontal);
    EXPECT_EQ(shape(container.tree()), "V[p,p]");
    EXPECT_EQ(activeIndex(container), 1);
    EXPECT_EQ(container.activePane()->location(), Location::folder(dir / "left"));

    container.split(Qt::Vertical);
    EXPECT_EQ(shape(container.tree()), "V[p,S[p,p]]");
    EXPECT_EQ(activeIndex(container), 2);
    EXPECT_TRUE(allVisible(container));
    for (PaneView* pane : container.panes())
        EXPECT_TRUE(pane->state().isInSplit());
    EXPECT_EQ(container.windowModel().activePane(), &container.activePane()->state());
    EXPECT_TRUE(settlesTo(container, {0.5, 0.5}, {0.5, 0.5}));

    // Splitting along a group's own axis adds a third child and shares the space anew.
    PaneContainer row(PaneLayout::onePane(text("left")));
    show(row);
    row.split(Qt::Horizontal);
    row.split(Qt::Horizontal);
    EXPECT_EQ(shape(row.tree()), "V[p,p,p]");
    EXPECT_TRUE(settlesTo(row, {1.0 / 3, 1.0 / 3, 1.0 / 3}));
}

TEST_F(PaneContainerTest, ClosingAPaneCollapsesAGroupLeftWithOneChild)
{
    PaneContainer container(PaneLayout::onePane(text("left")));
    show(container);
    container.split(Qt::Horizontal);
    container.split(Qt::Vertical);
    PaneView* upperRight = container.panes()[1];

    container.closeActivePane();
    EXPECT_EQ(shape(container.tree()), "V[p,p]");
    EXPECT_EQ(container.activePane(), upperRight);
    EXPECT_TRUE(allVisible(container));

    container.closeActivePane();
    EXPECT_EQ(shape(container.tree()), "p");
    EXPECT_FALSE(container.activePane()->state().isInSplit());
    EXPECT_TRUE(allVisible(container));

    container.closeActivePane(); // the last pane stays
    EXPECT_EQ(container.panes().size(), 1u);
}

TEST_F(PaneContainerTest, LayoutRebuildsTheSameTreeAndFractions)
{
    PaneContainer first(PaneLayout::onePane(text("left")));
    first.split(Qt::Horizontal);
    first.activePane()->navigate(Location::folder(dir / "right"));
    first.split(Qt::Vertical);
    first.activePane()->navigate(Location::folder(dir / "third"));
    first.setActivePane(first.panes()[1]);

    const PaneLayout layout = first.layout();
    EXPECT_EQ(layout.paths, (QStringList{text("left"), text("right"), text("third")}));
    EXPECT_EQ(layout.activeIndex, 1);
    PaneContainer second(layout);
    EXPECT_EQ(second.tree(), first.tree());
    EXPECT_EQ(second.layout(), layout);

    // Stored fractions survive until the first layout; wide enough for the smaller pane.
    PaneLayout stored = twoPanes();
    stored.tree = PaneTreeLayout::group(
        true, {PaneTreeLayout::pane(text("left")), PaneTreeLayout::pane(text("right"))},
        std::vector{0.25, 0.75});
    PaneContainer third(stored);
    EXPECT_EQ(third.tree(), *stored.tree);
    show(third, 2000);
    EXPECT_TRUE(settlesTo(third, {0.25, 0.75}));
}

TEST_F(PaneContainerTest, ActiveIndexFallsBackToTheFirstAndSwapAndSyncMoveTheOther)
{
    for (const int index : {-1, 2, 99}) {
        PaneContainer container(twoPanes(index));
        EXPECT_EQ(activeIndex(container), 0) << index;
        EXPECT_FALSE(container.panes()[1]->state().isActive()) << index;
        EXPECT_EQ(container.windowModel().activePane(), &container.panes()[0]->state());
    }

    PaneContainer container(twoPanes());
    PaneView* active = container.panes()[0];
    PaneView* other = container.panes()[1];
    container.swapPanes();
    EXPECT_EQ(active->location(), Location::folder(dir / "right"));
    EXPECT_EQ(other->location(), Location::folder(dir / "left"));
    EXPECT_EQ(container.activePane(), active);
    container.syncOtherPane();
    EXPECT_EQ(other->location(), Location::folder(dir / "right"));
    EXPECT_TRUE(other->state().history().canGoBack());
}

TEST_F(PaneContainerTest, TabSwitchesPanesAndToggleSplitKeepsTheActivePane)
{
    PaneContainer container(PaneLayout::onePane(text("left")));
    show(container);
    container.toggleSplit();
    ASSERT_EQ(container.panes().size(), 2u);
    PaneView* added = container.activePane();
    QTest::keyClick(added->listView(), Qt::Key_Tab);
    EXPECT_EQ(activeIndex(container), 0);
    container.switchPane();
    EXPECT_EQ(container.activePane(), added);

    added->navigate(Location::folder(dir / "third"));
    container.toggleSplit();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    ASSERT_EQ(container.panes().size(), 1u);
    EXPECT_EQ(container.tree(), PaneTreeLayout::pane(text("third")));
    EXPECT_TRUE(added->isVisible());
    EXPECT_FALSE(added->state().isInSplit());
}

} // namespace
