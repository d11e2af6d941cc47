#include "files/FileSorter.h"

#include <QStringList>
#include <gtest/gtest.h>

namespace {

// Entries are made by hand: sorting never looks at the file system. No size: a folder.
FileEntry make(const char* name, std::optional<int64_t> size = std::nullopt,
               std::optional<int64_t> date = std::nullopt, const char* kind = "",
               std::optional<QString> tag = std::nullopt)
{
    FileEntry e;
    e.setName(QString::fromUtf8(name));
    e.setPath(std::filesystem::path("/x") / name);
    e.isFolder = !size;
    e.size = size;
    e.dateModified = date;
    e.setKind(KindCache::intern(QString::fromUtf8(kind), QString()));
    e.tagSortKey = tag;
    return e;
}

FileEntry tagged(const char* name, const char* tag)
{
    return make(name, 1, {}, "", QString::fromUtf8(tag));
}

QStringList sortedNames(std::vector<FileEntry> entries, FileSortKey key, bool ascending)
{
    QStringList names;
    for (const auto& e : FileSorter(FileSort{key, ascending}).sorted(std::move(entries)))
        names << e.name();
    return names;
}

} // namespace

TEST(FileSorterTest, OrderByKeyInBothDirections)
{
    struct Case {
        const char* what;
        std::vector<FileEntry> entries;
        FileSortKey key;
        QStringList ascending;
        QStringList descending;
    };
    const std::vector<Case> cases = {
        {"names are numeric and case-insensitive",
         {make("file10", 1), make("File3", 1), make("file2", 1), make("b", 1), make("A", 1),
          make("a10b", 1), make("a9b", 1)},
         FileSortKey::name,
         {"A", "a9b", "a10b", "b", "file2", "File3", "file10"},
         {"file10", "File3", "file2", "b", "a10b", "a9b", "A"}},
        {"folders have no size and come before empty files",
         {make("empty", 0), make("folder"), make("big", 100), make("alsoEmpty", 0)},
         FileSortKey::size,
         {"folder", "alsoEmpty", "empty", "big"},
         {"big", "alsoEmpty", "empty", "folder"}},
        {"a missing date is the oldest",
         {make("new", 1, 2000), make("none", 1), make("old", 1, -5)},
         FileSortKey::dateModified,
         {"none", "old", "new"},
         {"new", "old", "none"}},
        {"equal keys fall back to the name, ascending in both directions",
         {make("c", 7), make("a", 7), make("b", 7), make("d", 1)},
         FileSortKey::size,
         {"d", "a", "b", "c"},
         {"a", "b", "c", "d"}},
        {"kinds compare like names",
         {make("x", 1, {}, "PNG 画像"), make("y", 1, {}, "フォルダー"), make("z", 1, {}, ""),
          make("w", 1, {}, "png 画像")},
         FileSortKey::kind,
         {"z", "w", "x", "y"},
         {"y", "w", "x", "z"}},
        {"tagged items (an empty tag too) lead whatever the direction; untagged ones by name",
         {make("u2", 1), tagged("t10", "00010"), make("u1", 1), tagged("t2", "00002"),
          tagged("t2b", "00002"), tagged("empty", "")},
         FileSortKey::tags,
         {"empty", "t2", "t2b", "t10", "u1", "u2"},
         {"t10", "t2", "t2b", "empty", "u1", "u2"}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(sortedNames(c.entries, c.key, true), c.ascending) << c.what;
        EXPECT_EQ(sortedNames(c.entries, c.key, false), c.descending) << c.what;
    }
    // Composed and decomposed spellings of the same name are the same name.
    EXPECT_EQ(FileSorter::localizedCompare(QStringLiteral("が"), QStringLiteral("か\u3099")), 0);
}

TEST(FileSorterTest, EqualEntriesKeepTheirOrder)
{
    // Same key and a name equal under collation: only stability decides.
    std::vector<FileEntry> entries = {make("Same", 3), make("same", 3), make("SAME", 3)};
    for (FileSortKey key : kAllFileSortKeys) {
        for (bool ascending : {true, false})
            EXPECT_EQ(sortedNames(entries, key, ascending), QStringList({"Same", "same", "SAME"}));
    }
    const FileSorter bySize(FileSort{FileSortKey::size, true});
    EXPECT_EQ(bySize.compare(entries[0], entries[1]), 0);
    EXPECT_FALSE(bySize.areInIncreasingOrder(entries[0], entries[1]));
    EXPECT_FALSE(bySize.areInIncreasingOrder(entries[1], entries[0]));
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
