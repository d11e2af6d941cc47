#include "tags/TagStore.h"

#include "core/Preferences.h"
#include "support/Lists.h"
#include "support/TempDir.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTest>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

QStringList names(const QList<Tag>& tags)
{
    return textsOf(tags, &Tag::name);
}

QJsonObject savedJson(TagStore& store)
{
    store.waitForSaved();
    return QJsonDocument::fromJson(QByteArray::fromStdString(readFile(store.fileURL()))).object();
}

class TagStoreTest : public ::testing::Test {
protected:
    TempDir dir;
    fs::path file = dir / "data" / "tags.json";
};

TEST_F(TagStoreTest, NamesAreNormalizedAndEmptyNamesRefused)
{
    const struct {
        const char* typed;
        const char* stored; // "" = refused
    } cases[] = {
        {"a//b/", "a/b"}, {" a / b ", "a/b"}, {"///", ""}, {" / \t/ ", ""}, {"Work", "Work"},
    };
    TagStore store(file);
    for (const auto& c : cases) {
        const auto tag = store.createTag(QString::fromUtf8(c.typed));
        if (*c.stored == 0)
            EXPECT_FALSE(tag) << c.typed;
        else
            EXPECT_EQ(tag->name, QString::fromUtf8(c.stored)) << c.typed;
    }
}

TEST_F(TagStoreTest, CreateMakesMissingAncestorsAndReusesExistingNames)
{
    TagStore store(file);
    const Tag z = *store.createTag(QStringLiteral("x/y/z"), QStringLiteral("#00ff00"));
    for (const char* name : {"x", "x/y", "x/y/z"}) {
        const auto tag = store.tagNamed(QString::fromUtf8(name));
        ASSERT_TRUE(tag) << name;
        EXPECT_EQ(tag->color, QStringLiteral("#00FF00"));
    }
    EXPECT_EQ(z.leafName(), QStringLiteral("z"));
    EXPECT_EQ(z.parentName(), QStringLiteral("x/y"));

    const Tag work = *store.createTag(QStringLiteral("work"));
    EXPECT_EQ(store.createTag(QStringLiteral("Work"))->id, work.id);
    // A new child lands under the existing spelling.
    EXPECT_EQ(store.createTag(QStringLiteral("WORK/a"))->name, QStringLiteral("work/a"));
}

TEST_F(TagStoreTest, RenameCarriesDescendantsButNotLookalikes)
{
    TagStore store(file);
    const Tag a = *store.createTag(QStringLiteral("a"));
    const Tag ac = *store.createTag(QStringLiteral("a/c"));
    const Tag ab = *store.createTag(QStringLiteral("ab"));
    const fs::path item = dir.file("f.txt");
    store.assign(ac.id, {item});

    EXPECT_TRUE(store.renameTag(a.id, QStringLiteral("b")));
    EXPECT_EQ(store.tag(ac.id)->name, QStringLiteral("b/c"));
    EXPECT_EQ(store.tag(ab.id)->name, QStringLiteral("ab"));
    EXPECT_EQ(names(store.explicitTags(item)), QStringList{QStringLiteral("b/c")});

    EXPECT_FALSE(store.renameTag(a.id, QStringLiteral("AB"))); // taken, any case
    EXPECT_FALSE(store.renameTag(a.id, QStringLiteral(" / ")));
    EXPECT_TRUE(store.renameTag(a.id, QStringLiteral("p/q"))); // makes the parent
    EXPECT_TRUE(store.tagNamed(QStringLiteral("p")));
    EXPECT_EQ(store.tag(ac.id)->name, QStringLiteral("p/q/c"));
}

TEST_F(TagStoreTest, DeleteStripsSubtreeAndDropsEmptiedItems)
{
    TagStore store(file);
    const Tag a = *store.createTag(QStringLiteral("a"));
    const Tag ac = *store.createTag(QStringLiteral("a/c"));
    const Tag keep = *store.createTag(QStringLiteral("keep"));
    const fs::path onlyA = dir.file("one"), both = dir.file("two");
    store.assign(ac.id, {onlyA, both});
    store.assign(keep.id, {both});

    store.deleteTag(a.id);
    EXPECT_FALSE(store.tag(ac.id));
    EXPECT_TRUE(store.explicitTags(onlyA).isEmpty());
    EXPECT_EQ(names(store.explicitTags(both)), QStringList{QStringLiteral("keep")});
    const QJsonObject json = savedJson(store);
    EXPECT_EQ(json.value(QLatin1String("items")).toArray().size(), 1);
}

TEST_F(TagStoreTest, QueriesFollowTheHierarchy)
{
    TagStore store(file);
    const Tag ab = *store.createTag(QStringLiteral("a/b"));
    const Tag a = *store.tagNamed(QStringLiteral("a"));
    const Tag other = *store.createTag(QStringLiteral("other"));
    const fs::path item = dir.file("item");
    store.assign(ab.id, {item});

    EXPECT_EQ(names(store.explicitTags(item)), QStringList{QStringLiteral("a/b")});
    EXPECT_EQ(names(store.tags(item)), (QStringList{QStringLiteral("a"), QStringLiteral("a/b")}));
    EXPECT_TRUE(store.hasTag(a.id, item));
    EXPECT_TRUE(store.hasTag(ab.id, item));
    EXPECT_FALSE(store.hasTag(other.id, item));
    EXPECT_EQ(store.urls(a.id, true), std::vector<fs::path>{item});
    EXPECT_TRUE(store.urls(a.id, false).empty());
    EXPECT_EQ(store.selfAndDescendantIDs(a.id), (QSet<QUuid>{a.id, ab.id}));
}

TEST_F(TagStoreTest, SortedTagsWalkDepthFirstWithOrphansLast)
{
    const QByteArray json = R"({"items": [], "manualOrder": true, "tags": [
        {"color": "#111111", "id": "6A1C2D3E-0000-4000-8000-000000000001", "name": "b"},
        {"color": "#111111", "id": "6A1C2D3E-0000-4000-8000-000000000002", "name": "lost/x"},
        {"color": "#111111", "id": "6A1C2D3E-0000-4000-8000-000000000003", "name": "a/z"},
        {"color": "#111111", "id": "6A1C2D3E-0000-4000-8000-000000000004", "name": "a"},
        {"color": "#111111", "id": "6A1C2D3E-0000-4000-8000-000000000005", "name": "b/c"}]})";
    dir.file("data/tags.json", json.toStdString());
    TagStore store(file);
    EXPECT_EQ(names(store.sortedTags()),
              (QStringList{"b", "b/c", "a", "a/z", "お気に入り", "lost/x"}));
    EXPECT_EQ(names(store.rootTags()), (QStringList{"b", "a", "お気に入り"}));
}

TEST_F(TagStoreTest, TagSortKeyIsThePositionOfTheFirstExplicitTag)
{
    TagStore store(file); // お気に入り is the only tag
    const Tag a = *store.createTag(QStringLiteral("a"));
    const Tag b = *store.createTag(QStringLiteral("b"));
    const fs::path item = dir.file("i"), plain = dir.file("p");
    store.assign(b.id, {item});
    // a, b, お気に入り in name order: b is the second.
    EXPECT_EQ(store.tagSortKey(item), QStringLiteral("00001"));
    store.assign(a.id, {item});
    EXPECT_EQ(store.tagSortKey(item), QStringLiteral("00000"));
    EXPECT_FALSE(store.tagSortKey(plain));
}

TEST_F(TagStoreTest, FolderColorSkipsFavoritesAndFollowsThePreference)
{
    ScratchSettings settings;
    TagStore store(file);
    const Tag red = *store.createTag(QStringLiteral("red"), QStringLiteral("#FF0000"));
    const fs::path favorite = dir.folder("fav"), tinted = dir.folder("tint");
    store.assign(TagStore::favoritesID, {favorite, tinted});
    store.assign(red.id, {tinted});
    Preferences::shared().setColorFoldersByTag(true);
    EXPECT_FALSE(store.folderColor(favorite));
    EXPECT_EQ(store.folderColor(tinted), QStringLiteral("#FF0000"));
    Preferences::shared().setColorFoldersByTag(false);
    EXPECT_FALSE(store.folderColor(tinted));
}

TEST_F(TagStoreTest, DecomposedPathFindsComposedRecord)
{
    TagStore store(file);
    const Tag t = *store.createTag(QStringLiteral("t"));
    const fs::path composed = dir / "caf\xC3\xA9";    // é as one code point
    const fs::path decomposed = dir / "cafe\xCC\x81"; // e + combining acute
    store.assign(t.id, {composed});
    EXPECT_EQ(store.explicitTags(decomposed).size(), 1);
    EXPECT_EQ(store.itemsByPath().size(), 1);
    EXPECT_EQ(store.itemsByPath().begin()->path, TagStore::key(composed));
}

TEST_F(TagStoreTest, NamesThatAreNotUtf8AreRefusedWithoutHarmingTheFile)
{
    TagStore store(file);
    const Tag t = *store.createTag(QStringLiteral("t"));
    const fs::path bad = dir.file("bad\xFF\xFEname");
    const fs::path good = dir.file("good");
    EXPECT_FALSE(TagStore::canTag(bad));
    store.assign(t.id, {bad, good});
    EXPECT_TRUE(store.explicitTags(bad).isEmpty());
    EXPECT_EQ(store.explicitTags(good).size(), 1);
    store.waitForSaved();
    TagStore again(file);
    EXPECT_EQ(again.itemsByPath().size(), 1);
}

TEST_F(TagStoreTest, MovingATagRefusesItsOwnSubtreeAndTakenNames)
{
    TagStore store(file);
    const Tag a = *store.createTag(QStringLiteral("a"));
    const Tag ab = *store.createTag(QStringLiteral("a/b"));
    const Tag x = *store.createTag(QStringLiteral("x"));
    store.createTag(QStringLiteral("x/b"));
    EXPECT_FALSE(store.canMoveTag(a.id, ab.id));
    EXPECT_FALSE(store.canMoveTag(a.id, a.id));
    EXPECT_FALSE(store.canMoveTag(ab.id, x.id)); // x/b exists
    EXPECT_FALSE(store.moveTag(a.id, ab.id));
    EXPECT_TRUE(store.moveTag(x.id, a.id, 0));
    EXPECT_EQ(store.tag(x.id)->name, QStringLiteral("a/x"));
    EXPECT_EQ(names(store.children(a.id)), (QStringList{"a/x", "a/b"}));
    EXPECT_EQ(store.tagNamed(QStringLiteral("a/x/b"))->leafName(), QStringLiteral("b"));
    EXPECT_TRUE(store.moveTag(x.id, std::nullopt));
    EXPECT_EQ(store.tag(x.id)->name, QStringLiteral("x"));
}

TEST_F(TagStoreTest, ReorderMovesTheSubtreeAndMarksManualOrder)
{
    TagStore store(file);
    const Tag a = *store.createTag(QStringLiteral("a"));
    store.createTag(QStringLiteral("a/1"));
    const Tag b = *store.createTag(QStringLiteral("b"));
    EXPECT_TRUE(store.moveTag(b.id, std::nullopt, 0));
    EXPECT_EQ(names(store.sortedTags()), (QStringList{"b", "a", "a/1", "お気に入り"}));
    EXPECT_TRUE(store.moveTag(a.id, std::nullopt, 3)); // after お気に入り, counting itself
    EXPECT_EQ(names(store.sortedTags()), (QStringList{"b", "お気に入り", "a", "a/1"}));
    EXPECT_TRUE(savedJson(store).value(QLatin1String("manualOrder")).toBool());
    TagStore reread(file);
    EXPECT_EQ(names(reread.sortedTags()), names(store.sortedTags()));
}

TEST_F(TagStoreTest, FileIsPrettySortedAndRoundTrips)
{
    TagStore store(file);
    const Tag t = *store.createTag(QStringLiteral("t"), QStringLiteral("#123456"));
    const fs::path b = dir.file("b"), a = dir.file("a"), emoji = dir.file("\xF0\x9F\x98\x80");
    const fs::path pua = dir.file("\xEE\x80\x80"); // U+E000 sorts before U+1F600
    const fs::path ab = dir.file("ab");            // a prefix sorts first
    store.assign(t.id, {b, emoji, ab, a, pua});
    store.waitForSaved();
    const std::string text = readFile(file);
    EXPECT_NE(text.find("\n    \"items\": ["), std::string::npos);
    const QJsonArray items = savedJson(store).value(QLatin1String("items")).toArray();
    EXPECT_EQ(textsOf(items, [](const QJsonValue& v) { return v["path"].toString(); }),
              (QStringList{TagStore::key(a), TagStore::key(ab), TagStore::key(b),
                           TagStore::key(pua), TagStore::key(emoji)}));
    TagStore reread(file);
    EXPECT_EQ(reread.tags(), store.tags());
    EXPECT_EQ(reread.explicitTags(emoji).size(), 1);
    EXPECT_EQ(reread.tag(t.id)->color, QStringLiteral("#123456"));
}

TEST_F(TagStoreTest, UnreadableFileIsKeptAsideAndGivesFavoritesOnly)
{
    const struct {
        const char* name;
        std::string contents;
    } cases[] = {
        {"not json", "{\"tags\": [oops"},
        {"wrong root", "[1, 2, 3]"},
        {"no items", R"({"tags": []})"},
        {"binary", std::string("\0\xFF\x01", 3)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TempDir scratch;
        const fs::path path = scratch.file("tags.json", c.contents);
        {
            TagStore store(path);
            EXPECT_EQ(names(store.tags()), QStringList{QStringLiteral("お気に入り")});
            EXPECT_TRUE(store.createdFavoritesTag());
        }
        std::vector<std::string> kept;
        for (const auto& entry : fs::directory_iterator(scratch.path()))
            if (entry.path().filename().native().starts_with("tags.json.corrupt-"))
                kept.push_back(readFile(entry.path()));
        EXPECT_EQ(kept, std::vector<std::string>{c.contents});
        EXPECT_TRUE(TagStore(path).tag(TagStore::favoritesID));
    }
}

TEST_F(TagStoreTest, FavoritesTagIsAdoptedByName)
{
    const QByteArray json =
        R"({"items": [{"path": "/x", "tagIDs": ["11111111-2222-4333-8444-555555555555"]}],
        "tags": [{"color": "#FF0000", "id": "11111111-2222-4333-8444-555555555555", "name": "お気に入り"}]})";
    dir.file("data/tags.json", json.toStdString());
    TagStore store(file);
    EXPECT_FALSE(store.createdFavoritesTag());
    ASSERT_EQ(store.tags().size(), 1);
    EXPECT_EQ(store.tags().front().id, TagStore::favoritesID);
    EXPECT_EQ(store.tags().front().color, QStringLiteral("#FF0000"));
    EXPECT_TRUE(store.hasTag(TagStore::favoritesID, "/x"));
}

TEST_F(TagStoreTest, MovedItemsTakeContentsAlongButNotLookalikes)
{
    TagStore store(file);
    const Tag t = *store.createTag(QStringLiteral("t"));
    const fs::path folder = dir.folder("a"), inside = dir.file("a/in"), lookalike = dir.file("ab");
    std::vector<std::pair<fs::path, fs::path>> moves{{folder, dir / "z"}};
    std::vector<fs::path> items{folder, inside, lookalike};
    for (int i = 0; i < 20; ++i) { // many moves in one pass
        items.push_back(dir / ("f" + std::to_string(i)) / "x");
        moves.emplace_back(dir / ("f" + std::to_string(i)), dir / ("g" + std::to_string(i)));
    }
    store.assign(t.id, items);
    QSignalSpy changed(&store, &TagStore::tagsChanged);
    store.itemsMoved(moves);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_TRUE(store.hasTag(t.id, dir / "z"));
    EXPECT_TRUE(store.hasTag(t.id, dir / "z" / "in"));
    EXPECT_TRUE(store.hasTag(t.id, lookalike));
    EXPECT_FALSE(store.hasTag(t.id, inside));
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(store.hasTag(t.id, dir / ("g" + std::to_string(i)) / "x")) << i;
    store.itemMoved(dir / "z", folder);
    EXPECT_TRUE(store.hasTag(t.id, inside)) << "one move alone";
}

TEST_F(TagStoreTest, ItemsRenamedByAnotherProgramAreFoundAgainAtStart)
{
    const fs::path folder = dir.folder("docs");
    const fs::path inside = dir.file("docs/note.txt", "n");
    const fs::path file2 = dir.file("old.txt", "o");
    {
        TagStore store(file);
        const Tag t = *store.createTag(QStringLiteral("t"));
        store.assign(t.id, {folder, inside, file2});
        ASSERT_TRUE(QTest::qWaitFor([&] { return store.bookmarkRounds() > 0; }));
        store.waitForSaved();
    }
    fs::rename(file2, dir / "new.txt");
    fs::rename(folder, dir / "papers");
    TagStore store(file);
    int found = -1;
    store.resolveMovedItems([&](int count) { found = count; });
    ASSERT_TRUE(QTest::qWaitFor([&] { return found >= 0; }));
    EXPECT_EQ(found, 3);
    const QUuid t = store.tagNamed(QStringLiteral("t"))->id;
    EXPECT_TRUE(store.hasTag(t, dir / "new.txt"));
    EXPECT_TRUE(store.hasTag(t, dir / "papers"));
    EXPECT_TRUE(store.hasTag(t, dir / "papers" / "note.txt"));
    EXPECT_FALSE(store.hasTag(t, file2));
}

TEST_F(TagStoreTest, SaveFailureIsLoggedAndStateKept)
{
    // A file where the folder should be: no one can create the folder, not even root.
    const fs::path blocked = dir.file("blocked", "x") / "tags.json";
    static QStringList logged;
    logged.clear();
    const auto previous = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext&, const QString& text) { logged << text; });
    {
        TagStore store(blocked);
        QSignalSpy changed(&store, &TagStore::tagsChanged);
        EXPECT_TRUE(store.createTag(QStringLiteral("still here")));
        store.waitForSaved();
        EXPECT_EQ(changed.count(), 1);
        EXPECT_TRUE(store.tagNamed(QStringLiteral("still here")));
    }
    qInstallMessageHandler(previous);
    ASSERT_FALSE(logged.isEmpty());
    EXPECT_TRUE(logged.back().startsWith(QStringLiteral("タグを保存できませんでした: ")))
        << logged.back().toStdString();
}

} // namespace
