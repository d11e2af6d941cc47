#include "files/DirectoryReader.h"

#include "core/PathText.h"
#include "support/TempDir.h"

#include <QCoreApplication>
#include <QFutureWatcher>
#include <cerrno>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <sys/stat.h>

namespace {

std::map<QString, FileEntry> readByName(const std::filesystem::path& folder, bool includeHidden)
{
    auto entries = DirectoryReader::read(folder, includeHidden);
    EXPECT_TRUE(entries.has_value());
    std::map<QString, FileEntry> byName;
    for (auto& entry : entries.value_or(std::vector<FileEntry>{}))
        byName.emplace(entry.name, entry);
    return byName;
}

std::string contentsOf(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

} // namespace

TEST(DirectoryReaderTest, AwkwardNamesAreListedAndTheirPathsOpen)
{
    TempDir dir;
    const std::vector<std::string> names = {"bad\xff.txt", "new\nline", "tab\tname",
                                            std::string(255, 'z'), "日本語.txt"};
    for (const auto& name : names)
        dir.file(name, "contents of " + name);
    auto entries = DirectoryReader::read(dir.path(), false);
    ASSERT_TRUE(entries);
    ASSERT_EQ(entries->size(), names.size());
    for (const FileEntry& entry : *entries) {
        const std::string bytes = entry.path.filename().native();
        EXPECT_EQ(entry.path, dir.path() / bytes);
        EXPECT_EQ(contentsOf(entry.path), "contents of " + bytes);
        EXPECT_EQ(entry.name, PathText::displayName(entry.path));
        EXPECT_FALSE(entry.nameKey.isEmpty());
    }
    const auto byName = readByName(dir.path(), false);
    EXPECT_TRUE(byName.contains(QStringLiteral("bad\uFFFD.txt")));
    EXPECT_TRUE(byName.contains(QStringLiteral("日本語.txt")));
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
        EXPECT_FALSE(e.isPackage);
        EXPECT_FALSE(e.tagSortKey);
        EXPECT_TRUE(e.dateModified) << c.name;
    }
    const FileEntry& doc = byName.at(QStringLiteral("doc.txt"));
    EXPECT_EQ(doc.size, 5);
    EXPECT_EQ(doc.dateModified, 1'700'000'000LL * 1'000'000'000);
    EXPECT_EQ(doc.kind, QStringLiteral("平文テキストドキュメント"));
    EXPECT_EQ(doc.iconName, QStringLiteral("text-plain"));
    EXPECT_EQ(byName.at(QStringLiteral("sub")).kind, byName.at(QStringLiteral("toSub")).kind);
    EXPECT_EQ(byName.at(QStringLiteral("sub")).iconName, QStringLiteral("inode-directory"));
}

TEST(DirectoryReaderTest, KindsAreJapaneseAndFollowTheName)
{
    TempDir dir;
    for (const char* name : {"a.png", "B.PNG", "c.tar.gz", "Makefile", "README", "a1b2c3", "x.q9z"})
        dir.file(name);
    const auto byName = readByName(dir.path(), false);
    const std::map<QString, QString> expected = {
        {QStringLiteral("a.png"), QStringLiteral("PNG 画像")},
        {QStringLiteral("B.PNG"), QStringLiteral("PNG 画像")},
        {QStringLiteral("c.tar.gz"), QStringLiteral("Tar アーカイブ (gzip 圧縮)")},
        {QStringLiteral("Makefile"), QStringLiteral("Makefile ビルドファイル")},
        {QStringLiteral("README"), QStringLiteral("README ドキュメント")},
        {QStringLiteral("a1b2c3"), QStringLiteral("不明")},
        {QStringLiteral("x.q9z"), QStringLiteral("不明")},
    };
    for (const auto& [name, kind] : expected)
        EXPECT_EQ(byName.at(name).kind, kind) << name.toStdString();
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
    EXPECT_EQ(all.size(), 5u);
    EXPECT_FALSE(all.contains(QStringLiteral(".DS_Store")));
    EXPECT_FALSE(all.contains(QStringLiteral(".localized")));
    for (const char* name : {".profile", "listed", "also", ".hidden"})
        EXPECT_TRUE(all.at(QString::fromUtf8(name)).isHidden) << name;
    EXPECT_FALSE(all.at(QStringLiteral("shown")).isHidden);
}

TEST(DirectoryReaderTest, UnreadableFoldersFailAsAWhole)
{
    TempDir dir;
    const auto gone = dir.folder("gone");
    std::filesystem::remove(gone);
    const auto result = DirectoryReader::read(gone, true);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().code, ENOENT);
    EXPECT_EQ(result.error().path, gone);

    const auto notFolder = DirectoryReader::read(dir.file("plain"), true);
    ASSERT_FALSE(notFolder);
    EXPECT_EQ(notFolder.error().code, ENOTDIR);
}

TEST(DirectoryReaderTest, BigFolderEntriesMatchTheirItems)
{
    TempDir dir;
    constexpr int kCount = 5000;
    const char* extensions[] = {".png", ".txt", ""};
    for (int i = 0; i < kCount; ++i) {
        const auto path = dir.file("n" + std::to_string(i) + extensions[i % 3]);
        std::filesystem::resize_file(path, i % 37);
    }
    auto entries = DirectoryReader::read(dir.path(), false);
    ASSERT_TRUE(entries);
    ASSERT_EQ(entries->size(), size_t(kCount));
    const QString kinds[] = {QStringLiteral("PNG 画像"), QStringLiteral("平文テキストドキュメント"),
                             QStringLiteral("不明")};
    for (const FileEntry& e : *entries) {
        const int i = e.name.mid(1).split(QLatin1Char('.')).front().toInt();
        EXPECT_EQ(e.path.filename().native(), e.name.toStdString());
        EXPECT_EQ(e.size, i % 37) << e.name.toStdString();
        EXPECT_EQ(e.kind, kinds[i % 3]) << e.name.toStdString();
        EXPECT_FALSE(e.nameKey.isEmpty());
    }
}

TEST(DirectoryReaderTest, EntryForOnePath)
{
    TempDir dir;
    const FileEntry root = DirectoryReader::entry("/");
    EXPECT_EQ(root.name, QStringLiteral("/"));
    EXPECT_TRUE(root.isFolder);
    EXPECT_FALSE(root.size);

    const FileEntry file = DirectoryReader::entry(dir.file("notes.md", "# hi"));
    EXPECT_EQ(file.name, QStringLiteral("notes.md"));
    EXPECT_EQ(file.size, 4);
    EXPECT_FALSE(file.kind.isEmpty());

    dir.file("listed");
    dir.file(".hidden", "listed\n");
    EXPECT_TRUE(DirectoryReader::entry(dir / "listed").isHidden);

    // Nothing there: still a record, with the defaults.
    const FileEntry missing = DirectoryReader::entry(dir / ".missing");
    EXPECT_EQ(missing.name, QStringLiteral(".missing"));
    EXPECT_TRUE(missing.isHidden);
    EXPECT_FALSE(missing.isFolder);
    EXPECT_FALSE(missing.isSymbolicLink);
    EXPECT_FALSE(missing.size);
    EXPECT_FALSE(missing.dateModified);
    EXPECT_TRUE(missing.kind.isEmpty());
}

TEST(DirectoryReaderTest, EqualityIgnoresDerivedFieldsOnly)
{
    TempDir dir;
    FileEntry a = DirectoryReader::entry(dir.file("a.txt"));
    FileEntry b = a;
    b.nameKey.clear();
    b.iconName.clear();
    EXPECT_EQ(a, b);
    b.tagSortKey = QStringLiteral("00001");
    EXPECT_NE(a, b);
    b = a;
    b.size = 99;
    EXPECT_NE(a, b);
}

TEST(DirectoryReaderTest, BackgroundReadingAndCapacity)
{
    TempDir dir;
    dir.file("one");
    auto listing = DirectoryReader::readInBackground(dir.path(), false);
    auto capacity = DirectoryReader::availableCapacity(dir.path());
    listing.waitForFinished();
    capacity.waitForFinished();
    const auto result = listing.takeResult();
    ASSERT_TRUE(result);
    ASSERT_EQ(result->entries.size(), 1u);
    EXPECT_EQ(result->entries.front().name, QStringLiteral("one"));
    ASSERT_TRUE(capacity.result());
    EXPECT_GE(*capacity.result(), 0);

    auto failing = DirectoryReader::availableCapacity(dir / "missing");
    failing.waitForFinished();
    EXPECT_FALSE(failing.result());
}
