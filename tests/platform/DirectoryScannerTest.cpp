// Names, links, big folders and failures are covered through DirectoryReader; these
// cases check what only the scanner reports.
#include "platform/DirectoryScanner.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

TEST(DirectoryScannerTest, ReportsTheItemItselfNotALinksTarget)
{
    TempDir dir;
    const auto file = dir.file("file", "12345");
    setModificationTime(file, 1'600'000'000);
    dir.link("toFile", "file");
    struct stat st;
    ASSERT_EQ(::lstat(file.c_str(), &st), 0);
    const auto items = DirectoryScanner::scan(dir.path());
    ASSERT_TRUE(items);
    ASSERT_EQ(items->size(), 2u);
    for (const ScannedItem& item : *items) {
        EXPECT_FALSE(item.statFailed);
        if (item.name == "file") {
            EXPECT_TRUE(S_ISREG(item.mode));
            EXPECT_EQ(item.size, 5);
            EXPECT_EQ(item.modifiedNs, 1'600'000'000LL * 1'000'000'000);
            EXPECT_EQ(item.inode, st.st_ino);
            EXPECT_EQ(item.device, st.st_dev);
        } else {
            EXPECT_TRUE(item.isSymbolicLink());
            EXPECT_EQ(item.size, 4); // the length of "file"
        }
    }
}

TEST(DirectoryScannerTest, SinglePathQueries)
{
    TempDir dir;
    dir.folder("sub");
    const auto file = dir.file("file", "0123456789");
    const auto toSub = dir.link("toSub", "sub");
    const auto dangling = dir.link("dangling", "missing");
    const auto missing = dir / "missing";

    const auto item = DirectoryScanner::statPath(toSub);
    ASSERT_TRUE(item);
    EXPECT_EQ(item->name, "toSub");
    EXPECT_TRUE(item->isSymbolicLink() && item->isDirectory());
    EXPECT_FALSE(DirectoryScanner::statPath(missing));

    EXPECT_TRUE(DirectoryScanner::exists(dangling));
    EXPECT_FALSE(DirectoryScanner::exists(missing));
    EXPECT_TRUE(DirectoryScanner::isDirectory(toSub));
    EXPECT_FALSE(DirectoryScanner::isDirectory(dangling));
    EXPECT_FALSE(DirectoryScanner::isDirectory(file));

    EXPECT_EQ(DirectoryScanner::readSmallFile(file, 100), "0123456789");
    EXPECT_EQ(DirectoryScanner::readSmallFile(file, 4), "0123");
    EXPECT_FALSE(DirectoryScanner::readSmallFile(missing, 4));
    EXPECT_FALSE(DirectoryScanner::readSmallFile(dir / "sub", 4));
}
