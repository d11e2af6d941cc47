#include "browser/PaneTesting.h"
#include "browser/pane/PaneStatusBar.h"
#include "support/ToolRun.h"

#include <QLocale>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace testing_pane;

namespace {

QString sizeText(const PaneView& pane, const fs::path& path)
{
    return indexOfPath(*pane.model(), path)
        .siblingAtColumn(int(FileSortKey::size))
        .data()
        .toString();
}

QString shownSize(int64_t bytes)
{
    return QLocale().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

} // namespace

TEST_F(PaneTest, FollowsTheDiskKeepingExpansionAndSelection)
{
    dir.file("keep.txt");
    dir.file("sub/inner.txt");
    auto pane = openPane(dir.path());
    expandAndWait(*pane, dir / "sub");
    select(*pane, dir / "keep.txt");

    dir.file("new.txt", "x"); // another program changing the disk
    dir.file("sub/deep.txt", "y");
    ::unlink((dir / "sub/inner.txt").c_str());
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            const QModelIndex sub = indexOfPath(*pane->model(), dir / "sub");
            return rowNames(*pane->model()) == QStringList({"keep.txt", "new.txt", "sub"}) &&
                   rowNames(*pane->model(), sub) == QStringList({"deep.txt"});
        },
        kTimeoutMs))
        << rowNames(*pane->model()).join(',').toStdString();
    EXPECT_TRUE(pane->listView()->isExpanded(indexOfPath(*pane->model(), dir / "sub")));
    EXPECT_EQ(selectedNames(*pane), QStringList({"keep.txt"}));
}

TEST_F(PaneTest, ShownFolderRemovedFromDiskMovesToNearestExistingAncestor)
{
    dir.file("a/b/c/f.txt");
    auto pane = openPane(dir / "a");
    go(*pane, dir / "a/b/c");
    const auto backBefore = pane->state().history().backStack;

    fs::remove_all(dir / "a/b");
    ASSERT_TRUE(QTest::qWaitFor([&] { return pane->location().path() == dir / "a"; }, kTimeoutMs));
    EXPECT_EQ(pane->state().history().current, Location::folder(dir / "a"));
    EXPECT_EQ(pane->state().history().backStack, backBefore) << "nothing pushed";
    EXPECT_TRUE(waitForListing(*pane));
    EXPECT_TRUE(pane->selectedPaths().empty());
}

TEST_F(PaneTest, FolderSizesArriveAndFollowChangesBelow)
{
    dir.file("box/one.bin", std::string(1500, 'x'));
    dir.file("box/deeper/two.bin", std::string(500, 'y'));
    auto pane = openPane(dir.path());
    ASSERT_TRUE(QTest::qWaitFor([&] { return sizeText(*pane, dir / "box") == shownSize(2000); },
                                kTimeoutMs))
        << sizeText(*pane, dir / "box").toStdString();

    dir.file("box/deeper/three.bin", std::string(3000, 'z'));
    EXPECT_TRUE(QTest::qWaitFor([&] { return sizeText(*pane, dir / "box") == shownSize(5000); },
                                kTimeoutMs));

    Preferences::shared().setCalculateFolderSizes(false);
    EXPECT_TRUE(QTest::qWaitFor([&] { return sizeText(*pane, dir / "box") == "--"; }, kTimeoutMs));
    Preferences::shared().setCalculateFolderSizes(true);
}

TEST_F(PaneTest, ArrivingFolderSizesKeepTheSortInForce)
{
    dir.file("a-small/x", std::string(10, 'x'));
    dir.file("b-big/x", std::string(5000, 'x'));
    Preferences::shared().setSort(FileSort{FileSortKey::size, false});
    auto pane = openPane(dir.path());
    // Sizes come in batches, well after the listing: this change comes first.
    Preferences::shared().setSort(FileSort{FileSortKey::name, true});
    ASSERT_TRUE(QTest::qWaitFor([&] { return sizeText(*pane, dir / "b-big") == shownSize(5000); },
                                kTimeoutMs));
    EXPECT_EQ(rowNames(*pane->model()), QStringList({"a-small", "b-big"}));
}

TEST_F(PaneTest, GitWorkingTreeShowsStatesAndBranch)
{
    const fs::path repo = dir.folder("repo");
    ASSERT_EQ(runGit(repo, {"init", "-q", "-b", "trunk"}), 0);
    dir.file("repo/tracked.txt", "1");
    ASSERT_EQ(runGit(repo, {"add", "tracked.txt"}), 0);
    ASSERT_EQ(runGit(repo, {"commit", "-q", "-m", "first"}), 0);
    dir.file("repo/tracked.txt", "2");
    dir.file("repo/fresh.txt");
    dir.file("repo/src/changed.txt", "a");
    ASSERT_EQ(runGit(repo, {"add", "src/changed.txt"}), 0);

    auto pane = openPane(repo);
    ASSERT_TRUE(QTest::qWaitFor([&] { return pane->state().gitBranch().has_value(); }, kTimeoutMs));
    EXPECT_EQ(*pane->state().gitBranch(), "trunk");
    EXPECT_EQ(pane->state().gitChangeCount(), 3);
    EXPECT_TRUE(pane->statusBar()->text().contains("trunk"));
    const auto tip = [&](const char* name) {
        return indexOfPath(*pane->model(), repo / name).data(Qt::ToolTipRole).toString();
    };
    EXPECT_EQ(tip("fresh.txt"), "Git で管理していないファイル");
    EXPECT_EQ(tip("src"), "中に変更があります");
    EXPECT_FALSE(tip("tracked.txt").isEmpty());

    // Outside the working tree nothing of it stays.
    go(*pane, dir.path());
    EXPECT_TRUE(QTest::qWaitFor([&] { return !pane->state().gitBranch(); }, kTimeoutMs));
    EXPECT_FALSE(indexOfPath(*pane->model(), repo).data(FileListModel::GitStatusRole).isValid());
}
