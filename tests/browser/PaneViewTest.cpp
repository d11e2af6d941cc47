#include "PaneTesting.h"
#include "browser/FilterBar.h"
#include "support/TempDir.h"

#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QSignalSpy>
#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace testing_pane;

namespace {

class PaneViewTest : public ::testing::Test {
protected:
    void SetUp() override { resetPreferences(); }
    void TearDown() override { resetPreferences(); }

    // A shown pane whose first listing has arrived.
    std::unique_ptr<PaneView> open(const fs::path& folder)
    {
        auto pane = std::make_unique<PaneView>(Location::folder(folder));
        pane->resize(900, 600);
        pane->show();
        EXPECT_TRUE(waitForListing(*pane));
        return pane;
    }
    void go(PaneView& pane, const fs::path& folder)
    {
        pane.navigate(Location::folder(folder));
        EXPECT_TRUE(waitForListing(pane));
    }
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

    TempDir dir;
};

TEST_F(PaneViewTest, HistoryMovesSelectTheFolderLeftOnlyWhenGoingUp)
{
    dir.file("a/b/f.txt");
    dir.file("a/c.txt");
    dir.folder("x/a"); // same name as the folder left, in an unrelated place
    auto pane = open(dir / "a");

    go(*pane, dir / "a/b");
    pane->goBack();
    ASSERT_TRUE(waitForListing(*pane));
    EXPECT_EQ(pane->location(), Location::folder(dir / "a"));
    EXPECT_EQ(selectedNames(*pane), QStringList{"b"});
    EXPECT_EQ(pane->state().selectedCount(), 1);

    pane->goForward();
    ASSERT_TRUE(waitForListing(*pane));
    EXPECT_EQ(pane->location(), Location::folder(dir / "a/b"));
    EXPECT_TRUE(selectedNames(*pane).isEmpty());

    pane->goToParent();
    ASSERT_TRUE(waitForListing(*pane));
    EXPECT_EQ(pane->location(), Location::folder(dir / "a"));
    EXPECT_EQ(selectedNames(*pane), QStringList{"b"});
    EXPECT_EQ(pane->state().history().backStack.back(), Location::folder(dir / "a/b"));

    auto other = open(dir / "x");
    go(*other, dir / "a");
    other->goBack();
    ASSERT_TRUE(waitForListing(*other));
    EXPECT_EQ(other->location(), Location::folder(dir / "x"));
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
    auto pane = open(dir.path());
    ModelTesterLog log;
    QAbstractItemModelTester tester(pane->model(),
                                    QAbstractItemModelTester::FailureReportingMode::Warning);
    FileTreeView* view = pane->listView();
    view->expand(indexOfPath(*pane->model(), dir / "sub"));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return pane->model()->root()->findByPath(dir / "sub")->childrenLoaded(); },
        kTimeoutMs));
    select(*pane, dir / "keep.txt");

    fs::rename(dir / "old.txt", dir / "new.txt");
    pane->reload();
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return rowNames(*pane->model()).contains("new.txt"); }, kTimeoutMs));
    ASSERT_TRUE(settle());
    EXPECT_EQ(rowNames(*pane->model()), (QStringList{"keep.txt", "new.txt", "sub"}));
    EXPECT_TRUE(view->isExpanded(indexOfPath(*pane->model(), dir / "sub")));
    EXPECT_EQ(rowNames(*pane->model(), indexOfPath(*pane->model(), dir / "sub")),
              (QStringList{"deep", "inner.txt"}));
    EXPECT_EQ(selectedNames(*pane), QStringList{"keep.txt"});
    EXPECT_EQ(pane->state().itemCount(), 3);
    EXPECT_TRUE(log.messages().isEmpty()) << log.messages().join('\n').toStdString();
}

TEST_F(PaneViewTest, AReadingOfAnEarlierNavigationNeverShows)
{
    for (int i = 0; i < 200; ++i)
        dir.file("a/" + std::to_string(i) + ".txt");
    dir.file("b/only.txt");
    auto pane = open(dir.path());
    pane->navigate(Location::folder(dir / "a"));
    pane->navigate(Location::folder(dir / "b"));
    ASSERT_TRUE(waitForListing(*pane));
    ASSERT_TRUE(settle());
    EXPECT_EQ(pane->location(), Location::folder(dir / "b"));
    EXPECT_EQ(rowNames(*pane->model()), QStringList{"only.txt"});
    EXPECT_EQ(pane->state().itemCount(), 1);
    EXPECT_FALSE(pane->state().isLoading());
}

TEST_F(PaneViewTest, LeavingForATagWhileReadingLeavesNoLoadingMark)
{
    dir.file("a.txt");
    PaneView pane(Location::folder(dir.path()));
    ASSERT_TRUE(pane.state().isLoading());
    pane.navigate(Location::tag(QUuid::createUuid()));
    ASSERT_TRUE(settle());
    EXPECT_FALSE(pane.state().isLoading());
    EXPECT_EQ(pane.model()->rowCount(), 0);
    EXPECT_EQ(pane.state().availableCapacity(), std::nullopt);
}

TEST_F(PaneViewTest, AFolderThatCannotBeReadShowsItsMessageInPlaceOfTheList)
{
    struct Case {
        const char* name;
        QString message;
        bool applies;
    };
    dir.folder("locked");
    ::chmod((dir / "locked").c_str(), 0);
    const Case cases[] = {
        {"gone", "「gone」が見つかりません。", true},
        // Root reads through mode bits.
        {"locked",
         "「locked」を開くアクセス権がありません。\n"
         "このフォルダは所有者以外が読めない設定になっています。",
         ::geteuid() != 0},
    };
    for (const Case& c : cases) {
        if (!c.applies)
            continue;
        auto pane = open(dir / c.name);
        ASSERT_TRUE(pane->state().error().has_value()) << c.name;
        EXPECT_EQ(pane->state().error()->message, c.message);
        EXPECT_TRUE(showsMessage(*pane, c.message));
        EXPECT_FALSE(pane->listView()->isVisible());

        go(*pane, dir.path());
        EXPECT_FALSE(pane->state().error().has_value());
        EXPECT_TRUE(pane->listView()->isVisible());
    }
}

TEST_F(PaneViewTest, FilterIgnoresWidthAndCaseAndEndsWithTheEarlierSelection)
{
    dir.file("Report.txt");
    dir.file("report-2.md");
    dir.file("other.txt");
    dir.folder("sub");
    auto pane = open(dir.path());
    auto* bar = pane->findChild<FilterBar*>();
    auto* field = bar->findChild<QLineEdit*>();
    select(*pane, dir / "other.txt");

    pane->beginFilter();
    EXPECT_TRUE(pane->state().isFiltering());
    EXPECT_TRUE(bar->isVisible());
    type(field, "ＲＥＰ");
    EXPECT_EQ(pane->state().filterText(), "ＲＥＰ");
    EXPECT_EQ(pane->state().visibleCount(), 2);
    EXPECT_EQ(pane->model()->rowCount(), 2);
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
    EXPECT_TRUE(pane->state().filterText().isEmpty());
    EXPECT_TRUE(field->text().isEmpty());
    EXPECT_FALSE(bar->isVisible());
    go(*pane, dir.path());
    EXPECT_EQ(pane->model()->rowCount(), 4);
}

TEST_F(PaneViewTest, HiddenFilesFollowTheSetting)
{
    dir.file(".secret");
    dir.file("shown.txt");
    auto pane = open(dir.path());
    EXPECT_EQ(rowNames(*pane->model()), QStringList{"shown.txt"});

    Preferences::shared().setShowHiddenFiles(true);
    ASSERT_TRUE(QTest::qWaitFor([&] { return pane->model()->rowCount() == 2; }, kTimeoutMs));
    ASSERT_TRUE(waitForListing(*pane));
    EXPECT_EQ(rowNames(*pane->model()), (QStringList{".secret", "shown.txt"}));
    EXPECT_EQ(pane->state().itemCount(), 2);

    Preferences::shared().setShowHiddenFiles(false);
    ASSERT_TRUE(QTest::qWaitFor([&] { return pane->model()->rowCount() == 1; }, kTimeoutMs));
}

TEST_F(PaneViewTest, HeaderClickSortsThroughThePreferencesInPlace)
{
    dir.file("small.txt", "1");
    dir.file("big.txt", std::string(300, 'x'));
    dir.file("mid.txt", std::string(20, 'x'));
    auto pane = open(dir.path());
    select(*pane, dir / "mid.txt");
    QSignalSpy resets(pane->model(), &QAbstractItemModel::modelReset);
    QHeaderView* header = pane->listView()->header();
    const int sizeColumn = 2;
    auto clickSize = [&] {
        const int x =
            header->sectionViewportPosition(sizeColumn) + header->sectionSize(sizeColumn) / 2;
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, QPoint(x, header->height() / 2));
    };

    struct Step {
        bool ascending;
        QStringList rows;
        Qt::SortOrder indicator;
    };
    const Step steps[] = {
        {true, {"small.txt", "mid.txt", "big.txt"}, Qt::AscendingOrder},
        {false, {"big.txt", "mid.txt", "small.txt"}, Qt::DescendingOrder},
    };
    for (const Step& step : steps) {
        clickSize();
        EXPECT_EQ(Preferences::shared().sort(), (FileSort{FileSortKey::size, step.ascending}));
        EXPECT_EQ(rowNames(*pane->model()), step.rows);
        EXPECT_EQ(header->sortIndicatorSection(), sizeColumn);
        EXPECT_EQ(header->sortIndicatorOrder(), step.indicator);
        EXPECT_EQ(selectedNames(*pane), QStringList{"mid.txt"});
    }
    EXPECT_EQ(resets.count(), 0);
}

} // namespace
