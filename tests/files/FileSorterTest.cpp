#include "files/FileSorter.h"

#include "files/FileNode.h"

#include <QStringList>
#include <gtest/gtest.h>

namespace {

// Entries are made by hand: sorting never looks at the file system.
FileEntry make(const char* name, std::optional<int64_t> size = std::nullopt,
               std::optional<int64_t> date = std::nullopt, const char* kind = "",
               std::optional<QString> tag = std::nullopt)
{
    FileEntry e;
    e.name = QString::fromUtf8(name);
    e.path = std::filesystem::path("/x") / name;
    e.isFolder = !size;
    e.size = size;
    e.dateModified = date;
    e.kind = QString::fromUtf8(kind);
    e.tagSortKey = tag;
    return e;
}

QStringList namesOf(const std::vector<FileEntry>& entries)
{
    QStringList names;
    for (const auto& e : entries)
        names << e.name;
    return names;
}

QStringList sortedNames(std::vector<FileEntry> entries, FileSortKey key, bool ascending)
{
    return namesOf(FileSorter(FileSort{key, ascending}).sorted(std::move(entries)));
}

QStringList list(std::initializer_list<const char*> names)
{
    QStringList out;
    for (const char* n : names)
        out << QString::fromUtf8(n);
    return out;
}

} // namespace

TEST(FileSorterTest, NamesAreNumericAndCaseInsensitive)
{
    const std::vector<FileEntry> entries = {make("file10", 1), make("File3", 1), make("file2", 1),
                                            make("b", 1),      make("A", 1),     make("a10b", 1),
                                            make("a9b", 1)};
    EXPECT_EQ(sortedNames(entries, FileSortKey::name, true),
              list({"A", "a9b", "a10b", "b", "file2", "File3", "file10"}));
    EXPECT_EQ(sortedNames(entries, FileSortKey::name, false),
              list({"file10", "File3", "file2", "b", "a10b", "a9b", "A"}));
    EXPECT_LT(FileSorter::localizedCompare(QStringLiteral("file2"), QStringLiteral("file10")), 0);
    EXPECT_EQ(FileSorter::localizedCompare(QStringLiteral("ABC"), QStringLiteral("abc")), 0);
    // Composed and decomposed spellings of the same name are the same name.
    EXPECT_EQ(FileSorter::localizedCompare(QStringLiteral("が"), QStringLiteral("か\u3099")), 0);
}

TEST(FileSorterTest, KeyEdgeCases)
{
    struct Case {
        const char* what;
        std::vector<FileEntry> entries;
        FileSortKey key;
        QStringList ascending;
        QStringList descending;
    };
    const std::vector<Case> cases = {
        {"folders have no size and come before empty files",
         {make("empty", 0), make("folder"), make("big", 100), make("alsoEmpty", 0)},
         FileSortKey::size,
         list({"folder", "alsoEmpty", "empty", "big"}),
         list({"big", "alsoEmpty", "empty", "folder"})},
        {"a missing date is the oldest",
         {make("new", 1, 2000), make("none", 1), make("old", 1, -5)},
         FileSortKey::dateModified,
         list({"none", "old", "new"}),
         list({"new", "old", "none"})},
        {"equal keys fall back to the name, ascending in both directions",
         {make("c", 7), make("a", 7), make("b", 7), make("d", 1)},
         FileSortKey::size,
         list({"d", "a", "b", "c"}),
         list({"a", "b", "c", "d"})},
        {"kinds compare like names",
         {make("x", 1, {}, "PNG 画像"), make("y", 1, {}, "フォルダー"), make("z", 1, {}, ""),
          make("w", 1, {}, "png 画像")},
         FileSortKey::kind,
         list({"z", "w", "x", "y"}),
         list({"y", "w", "x", "z"})},
        {"tagged items lead whatever the direction; untagged ones by name",
         {make("u2", 1), make("t10", 1, {}, "", QStringLiteral("00010")), make("u1", 1),
          make("t2", 1, {}, "", QStringLiteral("00002")),
          make("t2b", 1, {}, "", QStringLiteral("00002"))},
         FileSortKey::tags,
         list({"t2", "t2b", "t10", "u1", "u2"}),
         list({"t10", "t2", "t2b", "u1", "u2"})},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(sortedNames(c.entries, c.key, true), c.ascending) << c.what;
        EXPECT_EQ(sortedNames(c.entries, c.key, false), c.descending) << c.what;
    }
}

TEST(FileSorterTest, EqualEntriesKeepTheirOrder)
{
    // Same key and a name equal under collation: only stability decides.
    std::vector<FileEntry> entries = {make("Same", 3), make("same", 3), make("SAME", 3)};
    entries[0].path = "/x/1";
    entries[1].path = "/x/2";
    entries[2].path = "/x/3";
    for (FileSortKey key : kAllFileSortKeys) {
        for (bool ascending : {true, false}) {
            const auto out = FileSorter(FileSort{key, ascending}).sorted(entries);
            EXPECT_EQ(out[0].path, "/x/1");
            EXPECT_EQ(out[1].path, "/x/2");
            EXPECT_EQ(out[2].path, "/x/3");
        }
    }
}

TEST(FileSorterTest, SortAgreesWithThePairwiseOrder)
{
    std::vector<FileEntry> entries;
    const char* kinds[] = {"PNG 画像", "平文テキストドキュメント", "", "フォルダー"};
    for (int i = 0; i < 60; ++i) {
        const std::string name = (i % 3 ? "item" : "Item") + std::to_string((i * 37) % 23);
        std::optional<int64_t> size = i % 5 ? std::optional<int64_t>((i * 13) % 7) : std::nullopt;
        std::optional<int64_t> date = i % 4 ? std::optional<int64_t>((i * 7) % 5) : std::nullopt;
        std::optional<QString> tag =
            i % 3 ? std::optional(QStringLiteral("%1").arg(i % 4, 5, 10, QLatin1Char('0')))
                  : std::nullopt;
        entries.push_back(make(name.c_str(), size, date, kinds[i % 4], tag));
    }
    for (FileSortKey key : kAllFileSortKeys) {
        for (bool ascending : {true, false}) {
            const FileSorter sorter(FileSort{key, ascending});
            const auto out = sorter.sorted(entries);
            ASSERT_EQ(out.size(), entries.size());
            for (size_t i = 1; i < out.size(); ++i) {
                EXPECT_FALSE(sorter.areInIncreasingOrder(out[i], out[i - 1]))
                    << rawValue(key).toStdString() << " " << ascending << " at " << i;
            }
        }
    }
}

TEST(FileSorterTest, CompareUsesTheKeyOnly)
{
    const FileSorter bySize(FileSort{FileSortKey::size, true});
    EXPECT_EQ(bySize.compare(make("a", 5), make("b", 5)), 0);
    EXPECT_EQ(bySize.compare(make("a"), make("b", 0)), -1);
    EXPECT_TRUE(bySize.areInIncreasingOrder(make("a", 5), make("b", 5)));
    EXPECT_FALSE(bySize.areInIncreasingOrder(make("b", 5), make("a", 5)));

    const FileSorter byTags(FileSort{FileSortKey::tags, false});
    EXPECT_EQ(byTags.compare(make("a", 1), make("b", 1, {}, "", QString())), 0);
    EXPECT_TRUE(byTags.areInIncreasingOrder(make("b", 1, {}, "", QString()), make("a", 1)));
}

TEST(FileSorterTest, SortsNodesLikeEntries)
{
    const std::vector<FileEntry> entries = {make("b10", 2), make("B2", 2), make("a", 9),
                                            make("dir")};
    std::vector<std::unique_ptr<FileNode>> nodes;
    for (const auto& e : entries)
        nodes.push_back(std::make_unique<FileNode>(e));
    FileSorter(FileSort{FileSortKey::size, false}).sort(nodes);
    QStringList names;
    for (const auto& node : nodes)
        names << node->entry.name;
    EXPECT_EQ(names, sortedNames(entries, FileSortKey::size, false));
    EXPECT_EQ(names, list({"a", "B2", "b10", "dir"}));
}
