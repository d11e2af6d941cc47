#include "files/DirectoryReader.h"

#include "core/PathText.h"
#include "support/TempDir.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <map>

namespace {

std::map<QString, FileEntry> readByName(const std::filesystem::path& folder, bool includeHidden)
{
    auto entries = DirectoryReader::read(folder, includeHidden);
    EXPECT_TRUE(entries.has_value());
    std::map<QString, FileEntry> byName;
    for (auto& entry : entries.value_or(std::vector<FileEntry>{}))
        byName.emplace(entry.name(), entry);
    return byName;
}

} // namespace

TEST(DirectoryReaderTest, AwkwardNamesAreListedAndTheirPathsOpen)
{
    TempDir dir;
    const std::vector<std::string> names = {"bad\xff.txt",         "new\nline",  "tab\tname",
                                            std::string(255, 'z'), "日本語.txt", ".dot"};
    for (const auto& name : names)
        dir.file(name, "contents of " + name);
    auto entries = DirectoryReader::read(dir.path(), true);
    ASSERT_TRUE(entries);
    ASSERT_EQ(entries->size(), names.size()); // and no "." or ".."
    for (const FileEntry& entry : *entries) {
        const std::string bytes = entry.path().filename().native();
        EXPECT_EQ(entry.path(), dir.path() / bytes);
        EXPECT_EQ(readFile(entry.path()), "contents of " + bytes);
        EXPECT_EQ(entry.name(), PathText::displayName(entry.path()));
    }
    EXPECT_TRUE(readByName(dir.path(), false).contains(QStringLiteral("bad\uFFFD.txt")));
}

TEST(DirectoryReaderTest, FoldersFilesAndLinks)
{
    TempDir dir;
    dir.folder("sub");
    setModificationTime(dir.file("doc.txt", "hello"), 1'700'000'000);
    dir.link("toSub", "sub");
    dir.link("toDoc", "doc.txt");
    dir.link("dangling", "missing");
    dir.link("loopA", "loopB");
    dir.link("loopB", "loopA");
    const auto byName = readByName(dir.path(), false);
    ASSERT_EQ(byName.size(), 7u);

    struct Case {
        const char* name;
        bool folder;
        bool link;
        char letter;
    };
    for (const Case& c : {Case{"sub", true, false, 'd'}, Case{"doc.txt", false, false, 'f'},
                          Case{"toSub", true, true, 'L'}, Case{"toDoc", false, true, 'l'},
                          Case{"dangling", false, true, 'l'}, Case{"loopA", false, true, 'l'}}) {
        const FileEntry& e = byName.at(QString::fromUtf8(c.name));
        EXPECT_EQ(e.isFolder, c.folder) << c.name;
        EXPECT_EQ(e.isSymbolicLink, c.link) << c.name;
        EXPECT_EQ(e.typeLetter(), c.letter) << c.name;
        EXPECT_EQ(e.size.has_value(), !c.folder) << c.name;
        EXPECT_TRUE(e.dateModified) << c.name;
    }
    const FileEntry& doc = byName.at(QStringLiteral("doc.txt"));
    EXPECT_EQ(doc.size, 5);
    EXPECT_EQ(doc.dateModified, 1'700'000'000LL * 1'000'000'000);
    EXPECT_EQ(doc.iconName(), QStringLiteral("text-plain"));
    EXPECT_EQ(byName.at(QStringLiteral("sub")).kind(), byName.at(QStringLiteral("toSub")).kind());
    EXPECT_EQ(byName.at(QStringLiteral("sub")).iconName(), QStringLiteral("inode-directory"));
}

TEST(DirectoryReaderTest, KindsAreJapaneseAndFollowTheName)
{
    TempDir dir;
    const std::pair<const char*, const char*> cases[] = {
        {"doc.txt", "平文テキストドキュメント"},
        {"a.png", "PNG 画像"},
        {"B.PNG", "PNG 画像"},
        {"c.tar.gz", "Tar アーカイブ (gzip 圧縮)"},
        {"Makefile", "Makefile ビルドファイル"},
        {"README", "README ドキュメント"},
        {"a1b2c3", "不明"},
        {"x.q9z", "不明"},
    };
    for (const auto& [name, kind] : cases)
        dir.file(name);
    const auto byName = readByName(dir.path(), false);
    for (const auto& [name, kind] : cases)
        EXPECT_EQ(byName.at(QString::fromUtf8(name)).kind(), QString::fromUtf8(kind)) << name;
}

TEST(DirectoryReaderTest, HiddenItems)
{
    TempDir dir;
    for (const char* name : {".DS_Store", ".localized", ".profile", "shown", "listed", "also"})
        dir.file(name);
    dir.file(".hidden", "listed\r\nalso\nnot-there\n");

    const auto visible = readByName(dir.path(), false);
    ASSERT_EQ(visible.size(), 1u);
    EXPECT_TRUE(visible.contains(QStringLiteral("shown")));

    const auto all = readByName(dir.path(), true);
    EXPECT_EQ(all.size(), 5u); // never .DS_Store or .localized
    for (const char* name : {".profile", "listed", "also", ".hidden"})
        EXPECT_TRUE(all.at(QString::fromUtf8(name)).isHidden) << name;
    EXPECT_FALSE(all.at(QStringLiteral("shown")).isHidden);
}

TEST(DirectoryReaderTest, UnreadableFoldersFailAsAWhole)
{
    TempDir dir;
    const auto vanished = dir.folder("vanished"); // gone between navigation and reading
    std::filesystem::remove(vanished);
    const std::pair<std::filesystem::path, int> cases[] = {{vanished, ENOENT},
                                                           {dir.file("plain"), ENOTDIR}};
    for (const auto& [folder, code] : cases) {
        const auto result = DirectoryReader::read(folder, true);
        ASSERT_FALSE(result) << folder;
        EXPECT_EQ(result.error().code, code);
        EXPECT_EQ(result.error().path, folder);
    }
}

TEST(DirectoryReaderTest, BigFolderEntriesMatchTheirItems)
{
    TempDir dir;
    // Long names, so that the entries span several getdents64 calls, and enough of
    // them that the work is shared out in chunks.
    constexpr int kCount = 5000;
    const char* extensions[] = {".png", ".txt", ""};
    const std::string padding(200, 'x');
    for (int i = 0; i < kCount; ++i)
        std::filesystem::resize_file(dir.file(std::to_string(i) + padding + extensions[i % 3]),
                                     i % 37);
    auto entries = DirectoryReader::read(dir.path(), false);
    ASSERT_TRUE(entries);
    ASSERT_EQ(entries->size(), size_t(kCount));
    const QString kinds[] = {QStringLiteral("PNG 画像"), QStringLiteral("平文テキストドキュメント"),
                             QStringLiteral("不明")};
    std::vector<bool> seen(kCount);
    for (const FileEntry& e : *entries) {
        const int i = std::stoi(e.name().toStdString());
        EXPECT_FALSE(seen[size_t(i)]) << i;
        seen[size_t(i)] = true;
        EXPECT_EQ(e.path().filename().native(), e.name().toStdString());
        EXPECT_EQ(e.size, i % 37) << i;
        EXPECT_EQ(e.kind(), kinds[i % 3]) << i;
        EXPECT_FALSE(e.nameKey().empty());
    }
}

TEST(DirectoryReaderTest, EntryForOnePathAndEquality)
{
    TempDir dir;
    const FileEntry root = DirectoryReader::entry("/");
    EXPECT_EQ(root.name(), QStringLiteral("/"));
    EXPECT_TRUE(root.isFolder);

    const FileEntry file = DirectoryReader::entry(dir.file("notes.md", "# hi"));
    EXPECT_EQ(file.name(), QStringLiteral("notes.md"));
    EXPECT_EQ(file.size, 4);
    EXPECT_FALSE(file.kind().isEmpty());

    dir.file(".hidden", "notes.md\n");
    EXPECT_TRUE(DirectoryReader::entry(dir / "notes.md").isHidden);

    // Nothing there: still a record, named and hidden by its name alone.
    const FileEntry missing = DirectoryReader::entry(dir / ".missing");
    EXPECT_EQ(missing.name(), QStringLiteral(".missing"));
    EXPECT_TRUE(missing.isHidden);
    EXPECT_FALSE(missing.isFolder || missing.size || missing.dateModified);

    // Equality ignores derived fields only.
    FileEntry b = file;
    b.setNameKey({});
    EXPECT_EQ(file, b);
    b.tagSortKey = QStringLiteral("00001");
    EXPECT_NE(file, b);
    b = file;
    b.size = 99;
    EXPECT_NE(file, b);
}
