#include "browser/PaneTesting.h"
#include "browser/pane/IconCache.h"
#include "browser/tags/TagIntegration.h"
#include "operations/FileClipboard.h"
#include "operations/FileOperationManager.h"
#include "platform/FileCopier.h"
#include "tags/TagStore.h"

#include <QLabel>
#include <QMimeData>
#include <QTimer>
#include <QUndoStack>

namespace fs = std::filesystem;
using namespace testing_pane;

namespace {

// Answers every question with its default button.
class DefaultAnswers : public Prompter {
public:
    void present(const Alert& alert, std::function<void(Alert::Response)> done) override
    {
        QTimer::singleShot(0, [done, answer = Alert::Response{alert.defaultButton, false}] {
            if (done)
                done(answer);
        });
    }
};

// Panes read the shared tag store; each case starts from an empty library.
class PaneTagsTest : public PaneTest {
protected:
    void SetUp() override
    {
        PaneTest::SetUp();
        TagIntegration::install(store());
        clearTags();
    }
    void TearDown() override
    {
        clearTags();
        PaneTest::TearDown();
    }
    static TagStore& store() { return TagStore::shared(); }
    static void clearTags()
    {
        for (const Tag& tag : store().tags())
            store().deleteTag(tag.id);
        QCoreApplication::processEvents();
    }
    static bool wait(const std::function<bool()>& done)
    {
        return QTest::qWaitFor(done, kTimeoutMs);
    }
    std::shared_ptr<Prompter> answers = std::make_shared<DefaultAnswers>();
};

TEST_F(PaneTagsTest, TagLocationListsTheTaggedItemsOfTheTagAndItsDescendants)
{
    const Tag work = *store().createTag(QStringLiteral("Work"));
    const Tag client = *store().createTag(QStringLiteral("Work/Client"));
    store().assign(work.id, {dir.file("a/report.txt")});
    store().assign(client.id, {dir.folder("b/Client folder")});
    store().assign(work.id, {dir / "vanished.txt"}); // never listed
    dir.file("b/Client folder/inside.txt");
    auto pane = std::make_unique<PaneView>(Location::tag(work.id));
    pane->show();
    ASSERT_TRUE(waitForListing(*pane));
    EXPECT_EQ(rowNames(*pane->model()), (QStringList{"Client folder", "report.txt"}));
    EXPECT_FALSE(pane->canGoToParent());
    EXPECT_EQ(pane->state().availableCapacity(), std::nullopt);
    EXPECT_EQ(pane->location().displayName(), QStringLiteral("Work"));
    // Folders in a tag location expand like anywhere else.
    expandAndWait(*pane, dir / "b/Client folder");
    EXPECT_EQ(rowNames(*pane->model(), indexOfPath(*pane->model(), dir / "b/Client folder")),
              QStringList{"inside.txt"});

    // Tagging another item shows it without a navigation.
    store().assign(client.id, {dir.file("c.txt")});
    EXPECT_TRUE(wait([&] { return rowNames(*pane->model()).contains("c.txt"); }));
    // Files dropped on the tag location itself get the tag and stay where they are.
    const fs::path dropped = dir.file("elsewhere/d.txt");
    const std::unique_ptr<QMimeData> mime = FileClipboard::makeMimeData({dropped}, false);
    pane->model()->dropMimeData(mime.get(), Qt::CopyAction, -1, -1, QModelIndex());
    EXPECT_TRUE(store().hasTag(work.id, dropped));
    EXPECT_TRUE(wait([&] { return rowNames(*pane->model()).contains("d.txt"); }));
    EXPECT_TRUE(fs::exists(dropped));

    store().deleteTag(work.id);
    EXPECT_TRUE(wait([&] { return pane->state().error().has_value(); }));
    EXPECT_EQ(pane->state().error()->message, QStringLiteral("このタグは削除されました。"));
}

TEST_F(PaneTagsTest, SortingByTagsPutsTaggedItemsFirstInTagOrder)
{
    const Tag a = *store().createTag(QStringLiteral("a"));
    const Tag b = *store().createTag(QStringLiteral("b"));
    store().assign(b.id, {dir.file("1.txt")});
    store().assign(a.id, {dir.file("2.txt")});
    dir.file("0.txt");
    Preferences::shared().setSort(FileSort{FileSortKey::tags, true});
    auto pane = openPane(dir.path());
    EXPECT_EQ(rowNames(*pane->model()), (QStringList{"2.txt", "1.txt", "0.txt"}));
    // Reordering the tags re-sorts the open pane.
    store().moveTag(b.id, std::nullopt, 0);
    EXPECT_TRUE(wait([&] { return rowNames(*pane->model()).first() == "1.txt"; }));
}

TEST_F(PaneTagsTest, TagsColumnAndFolderTintFollowTheStore)
{
    const Tag red = *store().createTag(QStringLiteral("Colour/Red"), QStringLiteral("#FF0000"));
    const fs::path folder = dir.folder("tinted");
    auto pane = openPane(dir.path());
    const QModelIndex row = indexOfPath(*pane->model(), folder);
    const int tagsColumn = int(FileSortKey::tags);
    EXPECT_TRUE(row.siblingAtColumn(tagsColumn).data(FileListModel::TagsRole).isNull());
    const qint64 plainIcon = row.data(Qt::DecorationRole).value<QIcon>().cacheKey();

    Preferences::shared().setColorFoldersByTag(true);
    store().assign(red.id, {folder});
    const QVariantList tags =
        row.siblingAtColumn(tagsColumn).data(FileListModel::TagsRole).toList();
    ASSERT_EQ(tags.size(), 1);
    EXPECT_EQ(tags.front().toStringList(), (QStringList{"Red", "#FF0000"}));
    EXPECT_EQ(row.siblingAtColumn(tagsColumn).data(Qt::ToolTipRole).toString(), "Colour/Red");
    const QIcon tinted = row.data(Qt::DecorationRole).value<QIcon>();
    EXPECT_NE(tinted.cacheKey(), plainIcon);
    EXPECT_EQ(tinted.cacheKey(), IconCache::tinted("folder", "#FF0000").cacheKey()); // made once
    Preferences::shared().setColorFoldersByTag(false);
    EXPECT_EQ(row.data(Qt::DecorationRole).value<QIcon>().cacheKey(), plainIcon);
}

TEST_F(PaneTagsTest, TintKeepsLightnessAndTransparency)
{
    QImage icon(2, 1, QImage::Format_ARGB32);
    icon.setPixel(0, 0, qRgba(40, 40, 40, 255));
    icon.setPixel(1, 0, qRgba(200, 200, 200, 0));
    const QImage tinted = IconCache::tintedImage(icon, QColor(0, 0, 255));
    const QColor dark = tinted.pixelColor(0, 0);
    EXPECT_NEAR(dark.lightnessF(), QColor(40, 40, 40).lightnessF(), 0.01);
    EXPECT_NEAR(dark.hslHueF(), QColor(0, 0, 255).hslHueF(), 0.01);
    EXPECT_EQ(tinted.pixelColor(1, 0).alpha(), 0);
}

TEST_F(PaneTagsTest, TagsFollowRenamesAndMovesAndTheirUndo)
{
    const Tag t = *store().createTag(QStringLiteral("t"));
    const fs::path file = dir.file("a/old.txt", "x");
    const fs::path folder = dir.folder("a/sub");
    const fs::path inside = dir.file("a/sub/deep.txt");
    dir.folder("b");
    store().assign(t.id, {file, folder, inside});
    FileOperationManager& manager = FileOperationManager::shared();
    manager.setFallbackPrompter(answers);
    auto tagged = [&](const fs::path& p) { return store().hasTag(t.id, p); };

    manager.rename({file, FileCopier::identity(file)}, QStringLiteral("new.txt"), answers);
    ASSERT_TRUE(wait([&] { return tagged(dir / "a/new.txt"); }));
    EXPECT_FALSE(tagged(file));

    manager.transfer({{folder, FileCopier::identity(folder)}}, dir / "b", TransferMode::move,
                     answers);
    ASSERT_TRUE(wait([&] { return tagged(dir / "b/sub/deep.txt"); }));
    EXPECT_TRUE(tagged(dir / "b/sub"));
    EXPECT_FALSE(tagged(inside));

    manager.undoStack().undo(); // the move
    ASSERT_TRUE(wait([&] { return tagged(inside); }));
    EXPECT_TRUE(tagged(folder));
    manager.undoStack().undo(); // the rename
    ASSERT_TRUE(wait([&] { return tagged(file); }));
    manager.undoStack().redo();
    ASSERT_TRUE(wait([&] { return tagged(dir / "a/new.txt"); }));
    manager.undoStack().clear();
}

} // namespace
