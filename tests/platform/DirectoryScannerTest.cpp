#include "platform/DirectoryScanner.h"

#include "support/TempDir.h"

#include <algorithm>
#include <cerrno>
#include <gtest/gtest.h>
#include <map>
#include <sys/stat.h>

namespace {

std::map<std::string, ScannedItem> scanByName(const std::filesystem::path& folder)
{
    auto items = DirectoryScanner::scan(folder);
    EXPECT_TRUE(items.has_value());
    std::map<std::string, ScannedItem> byName;
    for (auto& item : items.value_or(std::vector<ScannedItem>{}))
        byName.emplace(item.name, item);
    return byName;
}

} // namespace

TEST(DirectoryScannerTest, ListsRawNamesWithoutDotEntries)
{
    TempDir dir;
    const std::string longName(255, 'n');
    const std::vector<std::string> names = {"plain.txt", "bad\xff\xfe", "new\nline",
                                            "tab\tname", longName,      ".dot"};
    for (const auto& name : names)
        dir.file(name, "abc");
    const auto byName = scanByName(dir.path());
    ASSERT_EQ(byName.size(), names.size());
    for (const auto& name : names) {
        ASSERT_TRUE(byName.contains(name)) << name;
        const ScannedItem& item = byName.at(name);
        EXPECT_FALSE(item.statFailed);
        EXPECT_TRUE(S_ISREG(item.mode));
        EXPECT_EQ(item.size, 3);
        EXPECT_FALSE(item.isDirectory());
    }
}

TEST(DirectoryScannerTest, ReportsModificationTimeDeviceAndInode)
{
    TempDir dir;
    const auto file = dir.file("f", "x");
    setModificationTime(file, 1'600'000'000);
    struct stat st;
    ASSERT_EQ(::lstat(file.c_str(), &st), 0);
    const ScannedItem item = scanByName(dir.path()).at("f");
    EXPECT_EQ(item.modifiedNs, 1'600'000'000LL * 1'000'000'000);
    EXPECT_EQ(item.inode, st.st_ino);
    EXPECT_EQ(item.device, st.st_dev);
}

TEST(DirectoryScannerTest, SymbolicLinksKnowWhetherTheyLeadToAFolder)
{
    TempDir dir;
    dir.folder("sub");
    dir.file("file", "12345");
    dir.link("toSub", "sub");
    dir.link("toFile", "file");
    dir.link("dangling", "missing");
    dir.link("loopA", "loopB");
    dir.link("loopB", "loopA");
    const auto byName = scanByName(dir.path());

    struct Case {
        const char* name;
        bool link;
        bool directory;
    };
    for (const Case& c :
         {Case{"sub", false, true}, Case{"file", false, false}, Case{"toSub", true, true},
          Case{"toFile", true, false}, Case{"dangling", true, false}, Case{"loopA", true, false}}) {
        const ScannedItem& item = byName.at(c.name);
        EXPECT_EQ(item.isSymbolicLink(), c.link) << c.name;
        EXPECT_EQ(item.isDirectory(), c.directory) << c.name;
        EXPECT_FALSE(item.statFailed) << c.name;
    }
    // The link's own size (its target's length), not the target's.
    EXPECT_EQ(byName.at("toFile").size, 4);
}

TEST(DirectoryScannerTest, BigFolderNeedsSeveralReadsAndThreads)
{
    TempDir dir;
    // Long names, so that the entries span several getdents64 calls, and enough of
    // them that the lstat calls are shared out.
    constexpr int kCount = 5000;
    for (int i = 0; i < kCount; ++i)
        std::filesystem::resize_file(dir.file(std::to_string(i) + std::string(200, 'x')), i % 61);
    auto items = DirectoryScanner::scan(dir.path());
    ASSERT_TRUE(items);
    ASSERT_EQ(items->size(), size_t(kCount));
    std::vector<bool> seen(kCount);
    for (const auto& item : *items) {
        const int i = std::stoi(item.name);
        EXPECT_FALSE(seen[size_t(i)]) << item.name;
        seen[size_t(i)] = true;
        EXPECT_EQ(item.size, i % 61) << item.name;
        EXPECT_FALSE(item.statFailed);
    }
}

TEST(DirectoryScannerTest, FailuresCarryErrnoAndPath)
{
    TempDir dir;
    const auto file = dir.file("file");
    struct Case {
        std::filesystem::path folder;
        int code;
    };
    for (const Case& c : {Case{dir / "missing", ENOENT}, Case{file, ENOTDIR}}) {
        const auto result = DirectoryScanner::scan(c.folder);
        ASSERT_FALSE(result) << c.folder;
        EXPECT_EQ(result.error().code, c.code);
        EXPECT_EQ(result.error().path, c.folder);
    }
}

TEST(DirectoryScannerTest, SinglePathQueries)
{
    TempDir dir;
    dir.folder("sub");
    const auto file = dir.file("file", "0123456789");
    const auto toSub = dir.link("toSub", "sub");
    const auto dangling = dir.link("dangling", "missing");

    const auto item = DirectoryScanner::statPath(toSub);
    ASSERT_TRUE(item);
    EXPECT_EQ(item->name, "toSub");
    EXPECT_TRUE(item->isSymbolicLink());
    EXPECT_TRUE(item->isDirectory());
    EXPECT_FALSE(DirectoryScanner::statPath(dir / "missing"));

    EXPECT_TRUE(DirectoryScanner::exists(dangling));
    EXPECT_FALSE(DirectoryScanner::exists(dir / "missing"));
    EXPECT_TRUE(DirectoryScanner::isDirectory(toSub));
    EXPECT_FALSE(DirectoryScanner::isDirectory(dangling));
    EXPECT_FALSE(DirectoryScanner::isDirectory(file));

    EXPECT_EQ(DirectoryScanner::readSmallFile(file, 100), "0123456789");
    EXPECT_EQ(DirectoryScanner::readSmallFile(file, 4), "0123");
    EXPECT_FALSE(DirectoryScanner::readSmallFile(dir / "missing", 4));
    EXPECT_FALSE(DirectoryScanner::readSmallFile(dir / "sub", 4));
}
