#include "browser/PaneTesting.h"
#include "files/DirectoryReader.h"

#include <QLocale>
#include <QSignalSpy>
#include <algorithm>

namespace fs = std::filesystem;
using namespace testing_pane;

namespace {

// The model fed by hand, without a pane, under the model tester's eye.
class FileListModelTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        dir.file("keep.txt", "k");
        dir.file("old.txt");
        dir.file("sub/inner.txt");
        dir.file("sub/deep/x.txt");
        dir.folder("empty");
    }
    void TearDown() override
    {
        EXPECT_TRUE(log.messages().isEmpty()) << log.messages().join('\n').toStdString();
    }

    void load()
    {
        model.setRoot(DirectoryReader::entry(dir.path()));
        readInto(model.root());
        readInto(node("sub"));
    }
    void readInto(FileNode* folder)
    {
        auto entries = DirectoryReader::read(folder->entry.path(), false);
        ASSERT_TRUE(entries.has_value());
        model.applyReading(folder, DirectoryReader::Listing(std::move(*entries)).nodes, FileSort{});
    }
    FileNode* node(std::string_view relative) { return model.root()->findByPath(dir / relative); }
    QModelIndex indexOf(std::string_view relative) { return indexOfPath(model, dir / relative); }

    TempDir dir;
    ModelTesterLog log; // outlives the tester
    FileListModel model;
    QAbstractItemModelTester tester{&model,
                                    QAbstractItemModelTester::FailureReportingMode::Warning};
};

TEST_F(FileListModelTest, FirstListingResetsOnceAndFirstExpansionInsertsRows)
{
    model.setRoot(DirectoryReader::entry(dir.path()));
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    QSignalSpy inserts(&model, &QAbstractItemModel::rowsInserted);
    QSignalSpy requests(&model, &FileListModel::folderNeedsReading);
    readInto(model.root());
    EXPECT_EQ(resets.count(), 1);
    EXPECT_EQ(rowNames(model), (QStringList{"empty", "keep.txt", "old.txt", "sub"}));

    // Asked twice while the reading is under way, the folder is read once.
    model.fetchMore(indexOf("sub"));
    model.fetchMore(indexOf("sub"));
    EXPECT_FALSE(model.canFetchMore(indexOf("sub")));
    EXPECT_EQ(std::count_if(requests.begin(), requests.end(),
                            [&](const QList<QVariant>& args) {
                                return args[0].value<FileNode*>() == node("sub");
                            }),
              1);

    readInto(node("sub"));
    ASSERT_EQ(inserts.count(), 1);
    EXPECT_EQ(inserts[0][0].value<QModelIndex>(), indexOf("sub"));
    EXPECT_EQ(inserts[0][2].toInt(), 1); // rows 0 to 1
    EXPECT_EQ(resets.count(), 1);
    EXPECT_EQ(rowNames(model, indexOf("sub")), (QStringList{"deep", "inner.txt"}));

    // An empty folder, once read, no longer offers an expansion arrow.
    EXPECT_TRUE(model.hasChildren(indexOf("empty")));
    readInto(node("empty"));
    EXPECT_FALSE(model.hasChildren(indexOf("empty")));
}

TEST_F(FileListModelTest, ReloadMovesPersistentIndexesToTheSamePaths)
{
    load();
    const QPersistentModelIndex keep = indexOf("keep.txt");
    const QPersistentModelIndex old = indexOf("old.txt");
    const QPersistentModelIndex inner = indexOf("sub/inner.txt");
    ASSERT_EQ(keep.row(), 1);

    fs::rename(dir / "old.txt", dir / "aardvark.txt"); // sorts first, so keep.txt moves down
    QSignalSpy layouts(&model, &QAbstractItemModel::layoutChanged);
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    readInto(model.root());
    EXPECT_EQ(layouts.count(), 1);
    EXPECT_EQ(resets.count(), 0);
    EXPECT_EQ(keep.row(), 2);
    EXPECT_EQ(keep.data().toString(), "keep.txt");
    EXPECT_FALSE(old.isValid());
    EXPECT_EQ(inner.parent(), indexOf("sub"));

    fs::remove(dir / "sub/inner.txt");
    readInto(node("sub"));
    EXPECT_FALSE(inner.isValid());
}

TEST_F(FileListModelTest, FilterMatchesTopLevelNamesIgnoringWidthAndCase)
{
    dir.file("Report.txt");
    dir.file("report-2.md");
    load();
    const QStringList all = rowNames(model);
    const std::pair<QString, QStringList> cases[] = {
        {"ＲＥＰ", {"report-2.md", "Report.txt"}},
        {"rEp", {"report-2.md", "Report.txt"}},
        {"．ＴＸＴ", {"keep.txt", "old.txt", "Report.txt"}},
        {"ｓｕｂ", {"sub"}},
        {"inner", {}}, // subfolders are not searched
        {"", all},
    };
    for (const auto& [filter, visible] : cases) {
        model.setFilterText(filter);
        QStringList rows = rowNames(model);
        rows.sort(Qt::CaseInsensitive);
        EXPECT_EQ(rows, visible) << filter.toStdString();
        EXPECT_EQ(model.visibleTopLevelCount(), visible.size()) << filter.toStdString();
    }
    EXPECT_FALSE(model.isFiltering());
}

TEST_F(FileListModelTest, ItemsInsideAFolderHiddenByTheFilterHaveNoIndex)
{
    dir.file("other/a.txt");
    load();
    model.fetchMore(indexOf("other"));
    const QPersistentModelIndex inner = indexOf("sub/inner.txt");

    model.setFilterText("keep");
    EXPECT_EQ(rowNames(model), QStringList{"keep.txt"});
    EXPECT_FALSE(inner.isValid());
    EXPECT_FALSE(model.indexForNode(node("sub/deep")).isValid());

    // A reading that arrives for a hidden folder adds no rows anywhere visible.
    QSignalSpy inserts(&model, &QAbstractItemModel::rowsInserted);
    readInto(node("other"));
    EXPECT_EQ(inserts.count(), 0);
    EXPECT_EQ(model.rowCount(), 1);

    model.setFilterText("");
    EXPECT_EQ(rowNames(model, indexOf("other")), QStringList{"a.txt"});
    EXPECT_EQ(rowNames(model, indexOf("sub")), (QStringList{"deep", "inner.txt"}));
}

} // namespace

TEST_F(FileListModelTest, IncompleteFolderSizeShowsAsALowerBoundWithTheReason)
{
    load();
    const QModelIndex size = indexOf("sub").siblingAtColumn(int(FileSortKey::size));
    const QString shown = QLocale().formattedDataSize(12'300'000, 1, QLocale::DataSizeSIFormat);
    const std::string key = (dir / "sub").native();
    model.setFolderSizes({{key, {12'300'000, false}}});
    EXPECT_EQ(size.data().toString(), "≥ " + shown);
    EXPECT_EQ(size.data(Qt::ToolTipRole).toString(),
              "読み取れないフォルダがあるため、実際より大きい可能性があります。");
    model.setFolderSizes({{key, {12'300'000, true}}});
    EXPECT_EQ(size.data().toString(), shown);
    EXPECT_FALSE(size.data(Qt::ToolTipRole).isValid());
}
