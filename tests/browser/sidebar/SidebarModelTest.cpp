#include "browser/sidebar/SidebarModel.h"

#include "browser/PaneTesting.h"
#include "browser/sidebar/SidebarDrag.h"
#include "core/PathText.h"
#include "operations/FileClipboard.h"
#include "support/FakeVolumes.h"
#include "support/Lists.h"
#include "tags/SidebarStore.h"
#include "tags/TagStore.h"

#include <QAbstractItemModelTester>
#include <QIcon>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>
#include <gtest/gtest.h>
#include <memory>

namespace fs = std::filesystem;
using namespace testing_pane;

namespace {

class SidebarModelTest : public ::testing::Test {
protected:
    SidebarModelTest()
        : settings(QString::fromStdString((dir / "sidebar.conf").string()), QSettings::IniFormat)
        , tags(dir / "tags.json")
    {
        auto source = std::make_unique<FakeVolumes>();
        volumes = source.get();
        volumes->list = {
            MountedVolume{"/media/stick", "STICK", "drive-removable-media", true, true, {}},
            MountedVolume{"/mnt/data", "data", {}, false, false, {}}};
        store = std::make_unique<SidebarStore>(settings, tags, true, std::move(source));
        model = std::make_unique<SidebarModel>(*store, tags);
    }

    QModelIndex header(const QString& title) const { return rowTitled(*model, title); }
    QStringList children(const QString& title) const { return rowNames(*model, header(title)); }
    QModelIndex child(const QString& title, int row) const
    {
        return model->index(row, 0, header(title));
    }
    // Drops as the view hands them on: onto a row (row -1) or between its children.
    bool drop(QMimeData* data, int row, const QModelIndex& parent)
    {
        std::unique_ptr<QMimeData> owned(data);
        return model->dropMimeData(data, Qt::CopyAction, row, 0, parent);
    }
    QMimeData* files(const std::vector<fs::path>& paths)
    {
        return FileClipboard::makeMimeData(paths, false).release();
    }

    TempDir dir;
    QSettings settings;
    TagStore tags;
    FakeVolumes* volumes = nullptr;
    std::unique_ptr<SidebarStore> store;
    std::unique_ptr<SidebarModel> model;
};

TEST_F(SidebarModelTest, SectionsFollowTheStoreOrderAndLeaveHiddenOnesOut)
{
    EXPECT_EQ(rowNames(*model), (QStringList{"お気に入り", "タグ", "場所", "マイセクション"}));
    for (int row = 0; row < model->rowCount(); ++row)
        EXPECT_EQ(model->kindAt(model->index(row, 0)), SidebarModel::RowKind::section);
    store->setSection(SidebarSection::tags(), true);
    EXPECT_EQ(rowNames(*model), (QStringList{"お気に入り", "場所", "マイセクション"}));
    store->moveSections({2}, 0); // locations before favourites
    EXPECT_EQ(rowNames(*model), (QStringList{"場所", "お気に入り", "マイセクション"}));
    store->resetSections();
    EXPECT_EQ(rowNames(*model), (QStringList{"お気に入り", "タグ", "場所", "マイセクション"}));
}

TEST_F(SidebarModelTest, LocationsShowPlacesThenVolumesWithEjectableOnesMarked)
{
    const QStringList expected = textsOf(store->places(), &SidebarItem::displayName);
    ASSERT_TRUE(expected.contains("ルート"));
    EXPECT_EQ(children("場所"), expected + QStringList({"STICK", "data"}));
    const int stick = int(expected.size());
    EXPECT_TRUE(child("場所", stick).data(SidebarModel::EjectableRole).toBool());
    EXPECT_FALSE(child("場所", stick + 1).data(SidebarModel::EjectableRole).toBool());
    EXPECT_EQ(model->locationAt(child("場所", stick)), Location::folder("/media/stick"));

    volumes->set({});
    EXPECT_EQ(children("場所"), expected);
}

TEST_F(SidebarModelTest, TagTreeShowsRootsWithChildrenAndColouredDots)
{
    const Tag work = *tags.createTag("Work/Client", QStringLiteral("#FF0000"));
    const QModelIndex tagsHeader = header("タグ");
    const QStringList roots = textsOf(tags.rootTags(), &Tag::leafName);
    EXPECT_EQ(rowNames(*model, tagsHeader), roots);
    const QModelIndex workRow = model->index(int(roots.indexOf("Work")), 0, tagsHeader);
    EXPECT_EQ(rowNames(*model, workRow), QStringList{"Client"});
    const QModelIndex client = model->index(0, 0, workRow);
    EXPECT_EQ(model->tagAt(client)->id, work.id);
    EXPECT_EQ(model->locationAt(client), Location::tag(work.id));
    EXPECT_FALSE(client.data(Qt::DecorationRole).value<QIcon>().isNull());
    EXPECT_EQ(client.data(Qt::ToolTipRole).toString(), "Work/Client");
}

TEST_F(SidebarModelTest, FavouritesFollowAddAndRemoveWithoutResetsForNothing)
{
    const fs::path a = dir.folder("a");
    const fs::path b = dir.folder("b");
    QSignalSpy resets(model.get(), &QAbstractItemModel::modelReset);
    store->addFavorite(a);
    store->addFavorite(b);
    store->addFavorite(a); // already there
    EXPECT_EQ(children("お気に入り"), (QStringList{"a", "b"}));
    EXPECT_EQ(model->locationAt(child("お気に入り", 1)), Location::folder(b));
    EXPECT_EQ(model->indexOfLocation(Location::folder(b)), child("お気に入り", 1));
    EXPECT_EQ(resets.count(), 2);

    // A change of tags that shows nowhere in the sidebar leaves the rows alone.
    tags.assign(TagStore::favoritesID, {a});
    EXPECT_EQ(resets.count(), 2);

    store->removeFavorite(a);
    EXPECT_EQ(children("お気に入り"), QStringList{"b"});
}

TEST_F(SidebarModelTest, MissingFolderIsMarkedWithATooltip)
{
    const fs::path gone = dir / "gone";
    store->addFavorite(gone);
    store->refreshMissing();
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return child("お気に入り", 0).data(SidebarModel::MissingRole).toBool(); },
        kTimeoutMs));
    EXPECT_EQ(child("お気に入り", 0).data(Qt::ToolTipRole).toString(),
              "このフォルダは見つかりません");
    EXPECT_FALSE(model->flags(child("お気に入り", 0)) & Qt::ItemIsDropEnabled);

    // A placed tag that was deleted says so instead.
    const Tag tag = *tags.createTag("Old");
    store->placeTag(tag.id, SidebarSection::favorites());
    tags.deleteTag(tag.id);
    EXPECT_TRUE(child("お気に入り", 1).data(SidebarModel::MissingRole).toBool());
    EXPECT_EQ(child("お気に入り", 1).data(Qt::ToolTipRole).toString(),
              "このタグは削除されています");
}

TEST_F(SidebarModelTest, SubsectionsHoldTheirOwnItems)
{
    const QUuid mine = model->sectionAt(header("マイセクション"))->uuid();
    const QUuid sub = *store->createSubsection("Sub", mine);
    store->placeURL(dir.folder("inner"), SidebarSection::custom(sub));
    const QModelIndex subRow = child("マイセクション", 0);
    EXPECT_EQ(subRow.data().toString(), "Sub");
    EXPECT_EQ(model->sectionBehind(subRow), SidebarSection::custom(sub));
    EXPECT_EQ(rowNames(*model, subRow), QStringList{"inner"});
    EXPECT_EQ(model->containerOf(model->index(0, 0, subRow)), SidebarSection::custom(sub));
    EXPECT_FALSE(model->locationAt(subRow).has_value());
}

TEST_F(SidebarModelTest, RowDropsReorderSectionsAndItemsAndPlaceTags)
{
    // A section header dragged between sections.
    QMimeData* section = model->mimeData({header("場所")});
    EXPECT_TRUE(drop(section, 0, {}));
    EXPECT_EQ(rowNames(*model), (QStringList{"場所", "お気に入り", "タグ", "マイセクション"}));

    // A favourite dragged to the top of its list.
    for (const char* name : {"a", "b", "c"})
        store->addFavorite(dir.folder(name));
    EXPECT_TRUE(drop(model->mimeData({child("お気に入り", 2)}), 0, header("お気に入り")));
    EXPECT_EQ(children("お気に入り"), (QStringList{"c", "a", "b"}));

    // A tag of the tag tree into a custom section, and a place into the favourites.
    const Tag tag = *tags.createTag("Ideas");
    const QModelIndex ideas = rowTitled(*model, "Ideas", header("タグ"));
    EXPECT_TRUE(drop(model->mimeData({ideas}), -1, header("マイセクション")));
    EXPECT_EQ(children("マイセクション"), QStringList{"Ideas"});
    EXPECT_EQ(model->locationAt(child("マイセクション", 0)), Location::tag(tag.id));

    // Nothing lands in a section that fills itself.
    EXPECT_FALSE(model->canDropMimeData(model->mimeData({child("お気に入り", 0)}), Qt::MoveAction,
                                        -1, 0, header("場所")));
}

TEST_F(SidebarModelTest, FileDropsAddFoldersCopyIntoFoldersAndTag)
{
    const fs::path folder = dir.folder("docs");
    const fs::path file = dir.file("note.txt", "x");
    // Onto the favourites: folders only; the test runs off the main thread.
    EXPECT_FALSE(drop(files({file, folder}), -1, header("お気に入り")));
    ASSERT_TRUE(QTest::qWaitFor([&] { return store->containsFavorite(folder); }, kTimeoutMs));
    settle();
    EXPECT_EQ(children("お気に入り"), QStringList{"docs"});
    EXPECT_FALSE(store->containsFavorite(file));

    // Onto a folder row: handed on for the operation manager.
    std::vector<fs::path> droppedInto;
    QObject::connect(model.get(), &SidebarModel::filesDropped,
                     [&](const QMimeData& data, const fs::path& into, Qt::DropAction) {
                         EXPECT_EQ(FileClipboard::pathsIn(data), std::vector<fs::path>{file});
                         droppedInto.push_back(into);
                     });
    drop(files({file}), -1, child("お気に入り", 0));
    EXPECT_EQ(droppedInto, std::vector<fs::path>{folder});

    // Onto a tag: the files get the tag.
    const Tag tag = *tags.createTag("Read");
    store->placeTag(tag.id, SidebarSection::favorites());
    drop(files({file}), -1, child("お気に入り", 1));
    EXPECT_TRUE(tags.hasTag(tag.id, file));

    // Not onto the places' header, nor with no files at all.
    EXPECT_FALSE(model->canDropMimeData(files({folder}), Qt::CopyAction, -1, 0, header("場所")));
    QMimeData text;
    text.setText("hello");
    EXPECT_FALSE(model->canDropMimeData(&text, Qt::CopyAction, -1, 0, header("お気に入り")));
}

TEST_F(SidebarModelTest, ModelTesterFindsNothingThroughChanges)
{
    ModelTesterLog log;
    QAbstractItemModelTester tester(model.get(),
                                    QAbstractItemModelTester::FailureReportingMode::Warning);
    store->addFavorite(dir.folder("a"));
    const Tag tag = *tags.createTag("Work/Deep/Er");
    store->addTagSection(tag.id);
    tags.assign(tag.id, {dir.folder("tagged")});
    const QUuid mine = model->sectionAt(header("マイセクション"))->uuid();
    store->createSubsection("Sub", mine);
    volumes->set({});
    store->setSection(SidebarSection::favorites(), true);
    tags.deleteTag(tag.id);
    EXPECT_EQ(log.messages(), QStringList{});
}

} // namespace
