#include "files/FileNode.h"

#include "core/AppDefaults.h"
#include "core/PathText.h"
#include "files/DirectoryReader.h"
#include "files/FileSorter.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <map>

namespace fs = std::filesystem;

namespace {

FileEntry makeEntry(const std::string& path, bool folder = false,
                    std::optional<int64_t> size = std::nullopt)
{
    FileEntry e;
    e.setPath(path);
    e.isFolder = folder;
    e.size = folder ? size : size.value_or(0);
    const QByteArray key = FileSorter::collationKey(e.name());
    e.setNameKey({key.constData(), size_t(key.size())});
    return e;
}

FileEntry folder(const std::string& path)
{
    return makeEntry(path, true);
}

QStringList names(const FileNode& node)
{
    QStringList out;
    for (const auto& child : node.children())
        out << child->entry.name();
    return out;
}

// Settings in a scratch folder, and no lookups left over from another case.
class FileNodeTest : public ::testing::Test {
protected:
    void SetUp() override { FileNode::lookups() = {}; }
    void TearDown() override { FileNode::lookups() = {}; }

    ScratchSettings settings;
};

const FileSort kByName{FileSortKey::name, true};

TEST_F(FileNodeTest, ChildrenAreAbsentUntilReadAndSortedOnceRead)
{
    FileNode root(folder("/r"));
    EXPECT_FALSE(root.childrenLoaded());
    EXPECT_TRUE(root.loadedFolders().empty());
    root.setChildren({makeEntry("/r/file10"), folder("/r/b"), makeEntry("/r/A")}, kByName);
    EXPECT_EQ(names(root), QStringList({"A", "b", "file10"}));
    EXPECT_EQ(root.child(2)->row(), 2);
    EXPECT_EQ(root.child(2)->parent(), &root);
    EXPECT_EQ(root.child(3), nullptr);
    EXPECT_EQ(root.child(-1), nullptr);
}

// A listing keeps each name's bytes in one block with its collation key.
TEST_F(FileNodeTest, ListedNodesKeepNamesByteExact)
{
    const std::string longest(255, 'n');
    const std::string names[] = {longest, "\xff\xfe bad.txt", "line\nbreak", "報告書 2.md", ".dot",
                                 "x"};
    TempDir dir;
    TempDir empty;
    for (const std::string& name : names)
        dir.file(name);
    for (const auto& [folder, count] :
         {std::pair{dir.path(), std::size(names)}, {empty.path(), 0ul}}) {
        auto reading = DirectoryReader::readInBackground(folder, true);
        reading.waitForFinished();
        FileNode root(DirectoryReader::entry(folder));
        root.setChildren(std::move(reading.takeResult()->nodes), kByName);
        ASSERT_TRUE(root.childrenLoaded());
        ASSERT_EQ(root.children().size(), count);
        for (const auto& child : root.children()) {
            const FileEntry& e = child->entry;
            const std::string bytes(e.nameBytes());
            EXPECT_NE(std::find(std::begin(names), std::end(names), bytes), std::end(names));
            EXPECT_EQ(e.path(), folder / bytes);
            EXPECT_EQ(e.name(), QString::fromUtf8(bytes.data(), qsizetype(bytes.size())));
            const QByteArray key = FileSorter::collationKey(e.name());
            EXPECT_EQ(e.nameKey(), std::string_view(key.constData(), size_t(key.size())));
            const FileEntry copy = e;
            EXPECT_EQ(copy, e);
            EXPECT_EQ(copy.nameKey(), e.nameKey());
        }
    }
    // Names that are not the last bytes of the path are kept as given.
    EXPECT_EQ(DirectoryReader::entry("/").name(), "/");
    EXPECT_EQ(DirectoryReader::entry(dir.path().native() + "/").name(),
              PathText::displayName(dir.path()));
}

TEST_F(FileNodeTest, ReloadKeepsSurvivingNodesAndGivesRenamedItemANewNode)
{
    FileNode root(folder("/r"));
    root.setChildren({folder("/r/a"), folder("/r/b"), makeEntry("/r/c", false, 1)}, kByName);
    FileNode* a = root.child(0);
    FileNode* b = root.child(1);
    FileNode* c = root.child(2);
    a->setChildren({makeEntry("/r/a/x"), makeEntry("/r/a/y")}, kByName);
    b->setChildren({makeEntry("/r/b/z")}, kByName);
    FileNode* x = a->child(0);

    // b was renamed to "0b" (now first), c grew.
    root.setChildren({makeEntry("/r/c", false, 99), folder("/r/0b"), folder("/r/a")}, kByName);
    ASSERT_EQ(names(root), QStringList({"0b", "a", "c"}));
    EXPECT_NE(root.child(0), b);
    EXPECT_FALSE(root.child(0)->childrenLoaded());
    EXPECT_EQ(root.child(1), a);
    EXPECT_EQ(a->row(), 1);
    EXPECT_EQ(a->child(0), x);
    EXPECT_EQ(root.child(2), c);
    EXPECT_EQ(c->entry.size, 99);
}

TEST_F(FileNodeTest, LargeReloadReusesEveryNodeStillPresent)
{
    std::vector<FileEntry> first, second;
    for (int i = 0; i < 5000; ++i) {
        first.push_back(makeEntry("/big/item" + std::to_string(i)));
        if (i % 10 != 0)
            second.insert(second.begin(), first.back()); // reversed, every tenth gone
    }
    second.push_back(makeEntry("/big/new"));
    FileNode root(folder("/big"));
    root.setChildren(first, kByName);
    std::map<std::string, FileNode*> before;
    for (const auto& child : root.children())
        before[std::string(child->entry.pathBytes())] = child.get();

    root.setChildren(second, kByName);
    ASSERT_EQ(root.children().size(), 4501u);
    EXPECT_EQ(root.child(0)->entry.name(), "item1");
    EXPECT_EQ(root.child(4500)->entry.name(), "new");
    for (const auto& child : root.children()) {
        if (child->entry.name() != "new") {
            EXPECT_EQ(child.get(), before.at(std::string(child->entry.pathBytes())))
                << child->entry.path();
        }
    }
}

TEST_F(FileNodeTest, FolderSizesComeFromTheCacheOnlyWhenEnabled)
{
    const std::map<std::string, int64_t> cache = {
        {"/d/cached", 4096}, {"/d/other", 10}, {"/d/file", 1}, {"/d/sized", 2}};
    FileNode::lookups().cachedFolderSize = [&](const fs::path& p) -> std::optional<int64_t> {
        const auto it = cache.find(p.native());
        return it == cache.end() ? std::nullopt : std::optional(it->second);
    };
    for (const char* setting : {"missing", "true", "false"}) {
        SCOPED_TRACE(setting);
        AppDefaults::store().remove("calculateFolderSizes");
        if (setting != std::string("missing"))
            AppDefaults::store().setValue("calculateFolderSizes", QString(setting));
        const bool enabled = setting != std::string("false");
        FileNode root(folder("/d"));
        root.setChildren({folder("/d/cached"), folder("/d/sub/../other"), folder("/d/uncached"),
                          makeEntry("/d/file", false, 7), makeEntry("/d/sized", true, 5)},
                         kByName);
        const auto sizeOf = [&](const char* path) { return root.findByPath(path)->entry.size; };
        EXPECT_EQ(sizeOf("/d/cached"), enabled ? std::optional<int64_t>(4096) : std::nullopt);
        // The cache is keyed by standardized paths.
        EXPECT_EQ(sizeOf("/d/sub/../other"), enabled ? std::optional<int64_t>(10) : std::nullopt);
        EXPECT_EQ(sizeOf("/d/uncached"), std::nullopt);
        EXPECT_EQ(sizeOf("/d/file"), 7);
        EXPECT_EQ(sizeOf("/d/sized"), 5);
    }
}

TEST_F(FileNodeTest, TagKeysAreFilledOnlyWhenSortingByTags)
{
    std::map<std::string, QString> keys = {{"/t/beta", "00002"}, {"/t/gamma", "00000"}};
    int asked = 0;
    FileNode::lookups().tagSortKey = [&](const FileEntry& e) -> std::optional<QString> {
        ++asked;
        const auto it = keys.find(std::string(e.pathBytes()));
        return it == keys.end() ? std::nullopt : std::optional(it->second);
    };
    const std::vector<FileEntry> entries = {makeEntry("/t/delta"), makeEntry("/t/beta"),
                                            makeEntry("/t/alpha"), makeEntry("/t/gamma")};
    FileNode root(folder("/t"));
    root.setChildren(entries, kByName);
    EXPECT_EQ(asked, 0);
    EXPECT_EQ(root.child(1)->entry.tagSortKey, std::nullopt);

    root.setChildren(entries, {FileSortKey::tags, true});
    EXPECT_EQ(names(root), QStringList({"gamma", "beta", "alpha", "delta"}));
    EXPECT_EQ(root.child(1)->entry.tagSortKey, QString("00002"));

    // Untagged items stay last, by name ascending, also when descending.
    root.setChildren(entries, {FileSortKey::tags, false});
    EXPECT_EQ(names(root), QStringList({"beta", "gamma", "alpha", "delta"}));
}

TEST_F(FileNodeTest, ResortReordersEveryLoadedLevelAndRecomputesTagKeys)
{
    FileNode root(folder("/r"));
    root.setChildren({folder("/r/a"), folder("/r/b")}, kByName);
    FileNode* a = root.child(0);
    FileNode* b = root.child(1);
    a->setChildren({makeEntry("/r/a/x1"), makeEntry("/r/a/x2")}, kByName);
    FileNode* x1 = a->child(0);

    root.resort({FileSortKey::name, false});
    EXPECT_EQ(root.child(0), b);
    EXPECT_EQ(a->row(), 1);
    EXPECT_EQ(a->child(1), x1);
    EXPECT_EQ(x1->row(), 1);

    // Tags changed since the last reading: resort asks again.
    FileNode::lookups().tagSortKey = [](const FileEntry& e) -> std::optional<QString> {
        return e.name() == "x2" ? std::optional<QString>("00000") : std::nullopt;
    };
    root.resort({FileSortKey::tags, true});
    EXPECT_EQ(names(*a), QStringList({"x2", "x1"}));
    EXPECT_EQ(a->child(0)->entry.tagSortKey, QString("00000"));
}

TEST_F(FileNodeTest, LoadedFoldersAndFindByPathFollowLoadedLevels)
{
    FileNode root(folder("/r"));
    root.setChildren({folder("/r/a"), folder("/r/b"), folder("/r/c")}, kByName);
    FileNode* a = root.child(0);
    FileNode* c = root.child(2);
    a->setChildren({folder("/r/a/a1"), folder("/r/a/a2")}, kByName);
    a->child(0)->setChildren({makeEntry("/r/a/a1/deep")}, kByName);
    c->clearChildren();

    EXPECT_EQ(root.loadedFolders(),
              (std::vector<FileNode*>{&root, a, a->child(0), c})); // c: read, empty
    EXPECT_EQ(root.findByPath("/r"), &root);
    EXPECT_EQ(root.findByPath("/r/a/a1/deep"), a->child(0)->child(0));
    EXPECT_EQ(root.findByPath("/r/b"), root.child(1));
    EXPECT_EQ(root.findByPath("/r/b/never-read"), nullptr);
    EXPECT_EQ(root.findByPath("/r/a1"), nullptr);

    // A tag location can list a folder and, separately, an item inside it.
    FileNode tag(folder(""));
    tag.setChildren({folder("/p"), folder("/p/q")}, kByName);
    tag.child(0)->setChildren({folder("/p/q")}, kByName);
    tag.child(1)->setChildren({makeEntry("/p/q/z")}, kByName);
    EXPECT_EQ(tag.findByPath("/p/q/z"), tag.child(1)->child(0));
}

} // namespace
