#include "browser/PaneTesting.h"
#include "browser/pane/FilterBar.h"

#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QSignalSpy>
#include <algorithm>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace testing_pane;

namespace {

class PaneViewTest : public PaneTest {
protected:
    // Whether the message is shown in place of the list.
    static bool showsMessage(const PaneView& pane, const QString& message)
    {
        const auto labels = pane.findChildren<QLabel*>();
        return std::any_of(labels.begin(), labels.end(), [&](const QLabel* label) {
            return label->isVisible() && label->text() == message;
        });
    }
    // Typed key by key, so that the field reports user edits; keyClicks only knows ASCII.
    static void type(QLineEdit* field, const QString& text)
    {
        for (const QChar c : text)
            QTest::sendKeyEvent(QTest::Click, field, Qt::Key_unknown, QString(c), Qt::NoModifier);
    }
};

TEST_F(PaneViewTest, HistoryMovesSelectTheFolderLeftOnlyWhenGoingUp)
{
    dir.file("a/b/f.txt");
    dir.file("a/c.txt");
    dir.folder("x/a"); // same name as the folder left, in an unrelated place
    auto pane = openPane(dir / "a");
    go(*pane, dir / "a/b");

    struct Step {
        void (PaneView::*move)();
        const char* location;
        QStringList selected;
    };
    const Step steps[] = {
        {&PaneView::goBack, "a", {"b"}},
        {&PaneView::goForward, "a/b", {}},
        {&PaneView::goToParent, "a", {"b"}},
    };
    for (const Step& step : steps) {
        (pane.get()->*step.move)();
        ASSERT_TRUE(waitForListing(*pane));
        EXPECT_EQ(pane->location(), Location::folder(dir / step.location));
        EXPECT_EQ(selectedNames(*pane), step.selected) << step.location;
        EXPECT_EQ(pane->state().selectedCount(), step.selected.size());
    }
    EXPECT_EQ(pane->state().history().backStack.back(), Location::folder(dir / "a/b"));

    auto other = openPane(dir / "x");
    go(*other, dir / "a");
    other->goBack();
    ASSERT_TRUE(waitForListing(*other));
    EXPECT_TRUE(selectedNames(*other).isEmpty());

    EXPECT_FALSE(PaneView(Location::folder("/")).canGoToParent());
    EXPECT_FALSE(PaneView(Location::tag(QUuid::createUuid())).canGoToParent());
}

TEST_F(PaneViewTest, ReloadAfterARenameKeepsExpansionAndSelection)
{
    dir.file("keep.txt");
    dir.file("old.txt");
    dir.file("sub/inner.txt");
    dir.folder("sub/deep");
    auto pane = openPane(dir.path());
    ModelTesterLog log;
    QAbstractItemModelTester tester(pane->model(),
                                    QAbstractItemModelTester::FailureReportingMode::Warning);
    expandAndWait(*pane, dir / "sub");
    select(*pane, dir / "keep.txt");

    fs::rename(dir / "old.txt", dir / "new.txt");
    pane->reload();
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return rowNames(*pane->model()).contains("new.txt"); }, kTimeoutMs));
    ASSERT_TRUE(settle());
    const QModelIndex sub = indexOfPath(*pane->model(), dir / "sub");
    EXPECT_EQ(rowNames(*pane->model()), (QStringList{"keep.txt", "new.txt", "sub"}));
    EXPECT_TRUE(pane->listView()->isExpanded(sub));
    EXPECT_EQ(rowNames(*pane->model(), sub), (QStringList{"deep", "inner.txt"}));
    EXPECT_EQ(selectedNames(*pane), QStringList{"keep.txt"});
    EXPECT_EQ(pane->state().itemCount(), 3);
    EXPECT_TRUE(log.messages().isEmpty()) << log.messages().join('\n').toStdString();
}

TEST_F(PaneViewTest, AReadingOfAnEarlierNavigationNeverShows)
{
    for (int i = 0; i < 200; ++i)
        dir.file("a/" + std::to_string(i) + ".txt");
    dir.file("b/only.txt");
    auto pane = openPane(dir.path());
    pane->navigate(Location::folder(dir / "a"));
    pane->navigate(Location::folder(dir / "b"));
    ASSERT_TRUE(waitForListing(*pane));
    ASSERT_TRUE(settle());
    EXPECT_EQ(rowNames(*pane->model()), QStringList{"only.txt"});
    EXPECT_EQ(pane->state().itemCount(), 1);
    // A folder changed just before its watch began is read once more.
    EXPECT_TRUE(QTest::qWaitFor([&] { return !pane->state().isLoading(); }, kTimeoutMs));
    EXPECT_EQ(rowNames(*pane->model()), QStringList{"only.txt"});
}

TEST_F(PaneViewTest, LeavingForATagWhileReadingLeavesNoLoadingMark)
{
    // Enough entries that the reading is still under way when the pane leaves; a
    // small folder can be read before the pane even looks at the result.
    for (int i = 0; i < 500; ++i)
        dir.file(std::to_string(i) + ".txt");
    PaneView pane(Location::folder(dir.path()));
    pane.navigate(Location::tag(QUuid::createUuid()));
    ASSERT_TRUE(settle());
    EXPECT_FALSE(pane.state().isLoading());
    EXPECT_EQ(pane.model()->rowCount(), 0);
    EXPECT_EQ(pane.state().availableCapacity(), std::nullopt);
}

TEST_F(PaneViewTest, AFolderThatCannotBeReadShowsItsMessageInPlaceOfTheList)
{
    dir.folder("locked");
    ::chmod((dir / "locked").c_str(), 0);
    const std::pair<const char*, QString> cases[] = {
        {"gone", "「gone」が見つかりません。"},
        {"locked", "「locked」を開くアクセス権がありません。\n"
                   "このフォルダは所有者以外が読めない設定になっています。"},
    };
    for (const auto& [name, message] : cases) {
        if (name == std::string("locked") && ::geteuid() == 0)
            continue; // root reads through mode bits
        auto pane = openPane(dir / name);
        ASSERT_TRUE(pane->state().error().has_value()) << name;
        EXPECT_EQ(pane->state().error()->message, message);
        EXPECT_TRUE(showsMessage(*pane, message));
        EXPECT_FALSE(pane->listView()->isVisible());

        go(*pane, dir.path());
        EXPECT_FALSE(pane->state().error().has_value());
        EXPECT_TRUE(pane->listView()->isVisible());
    }
}

TEST_F(PaneViewTest, FilterNarrowsTheListAndEndsWithTheEarlierSelection)
{
    for (const char* name : {"Report.txt", "report-2.md", "other.txt"})
        dir.file(name);
    dir.folder("sub");
    auto pane = openPane(dir.path());
    auto* bar = pane->findChild<FilterBar*>();
    auto* field = bar->findChild<QLineEdit*>();
    select(*pane, dir / "other.txt");

    pane->beginFilter();
    EXPECT_TRUE(pane->state().isFiltering());
    EXPECT_TRUE(bar->isVisible());
    type(field, "ＲＥＰ");
    EXPECT_EQ(pane->state().filterText(), "ＲＥＰ");
    EXPECT_EQ(pane->state().visibleCount(), 2);
    EXPECT_EQ(selectedNames(*pane), QStringList{rowNames(*pane->model()).first()});

    pane->endFilter(true);
    EXPECT_FALSE(pane->state().isFiltering());
    EXPECT_TRUE(pane->state().filterText().isEmpty());
    EXPECT_EQ(pane->state().visibleCount(), 4);
    EXPECT_FALSE(bar->isVisible());
    EXPECT_EQ(selectedNames(*pane), QStringList{"other.txt"});

    // Escape in the field closes it too.
    pane->beginFilter();
    type(field, "o");
    QTest::keyClick(field, Qt::Key_Escape);
    EXPECT_FALSE(pane->state().isFiltering());
    EXPECT_EQ(pane->model()->rowCount(), 4);

    // Navigating closes the filter and forgets its text.
    pane->beginFilter();
    type(field, "rep");
    go(*pane, dir / "sub");
    EXPECT_FALSE(pane->state().isFiltering());
    EXPECT_TRUE(field->text().isEmpty());
    EXPECT_FALSE(bar->isVisible());
    go(*pane, dir.path());
    EXPECT_EQ(pane->model()->rowCount(), 4);
}

TEST_F(PaneViewTest, HiddenFilesFollowTheSetting)
{
    dir.file(".secret");
    dir.file("shown.txt");
    auto pane = openPane(dir.path());
    EXPECT_EQ(rowNames(*pane->model()), QStringList{"shown.txt"});

    Preferences::shared().setShowHiddenFiles(true);
    ASSERT_TRUE(QTest::qWaitFor([&] { return pane->model()->rowCount() == 2; }, kTimeoutMs));
    ASSERT_TRUE(waitForListing(*pane));
    EXPECT_EQ(pane->state().itemCount(), 2);

    Preferences::shared().setShowHiddenFiles(false);
    ASSERT_TRUE(QTest::qWaitFor([&] { return pane->model()->rowCount() == 1; }, kTimeoutMs));
}

TEST_F(PaneViewTest, HeaderClickSortsThroughThePreferencesInPlace)
{
    dir.file("small.txt", "1");
    dir.file("big.txt", std::string(300, 'x'));
    dir.file("mid.txt", std::string(20, 'x'));
    auto pane = openPane(dir.path());
    select(*pane, dir / "mid.txt");
    QSignalSpy resets(pane->model(), &QAbstractItemModel::modelReset);
    QHeaderView* header = pane->listView()->header();
    const int sizeColumn = 2;
    for (const bool ascending : {true, false}) {
        const QPoint sizeHeader(header->sectionViewportPosition(sizeColumn) +
                                    header->sectionSize(sizeColumn) / 2,
                                header->height() / 2);
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, sizeHeader);
        QStringList rows = {"small.txt", "mid.txt", "big.txt"};
        if (!ascending)
            std::reverse(rows.begin(), rows.end());
        EXPECT_EQ(Preferences::shared().sort(), (FileSort{FileSortKey::size, ascending}));
        EXPECT_EQ(rowNames(*pane->model()), rows);
        EXPECT_EQ(header->sortIndicatorSection(), sizeColumn);
        EXPECT_EQ(header->sortIndicatorOrder(),
                  ascending ? Qt::AscendingOrder : Qt::DescendingOrder);
        EXPECT_EQ(selectedNames(*pane), QStringList{"mid.txt"});
    }
    EXPECT_EQ(resets.count(), 0);
}

} // namespace
