#include "platform/DiskUsage.h"

#include "support/TempDir.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

int64_t blocksOf(const fs::path& path)
{
    struct stat st {};
    EXPECT_EQ(::lstat(path.c_str(), &st), 0) << path;
    return int64_t(st.st_blocks) * 512;
}

void written(const fs::path& path, size_t bytes)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ASSERT_GE(fd, 0);
    const std::string data(bytes, 'x');
    ASSERT_EQ(::write(fd, data.data(), data.size()), ssize_t(data.size()));
    ::fsync(fd);
    ::close(fd);
}

} // namespace

// Hard links are counted once, a link as itself, and its target outside is not reached.
TEST(DiskUsageTest, CountsEachInodeOnceAndNeverFollowsLinks)
{
    TempDir d;
    const fs::path root = d.folder("tree");
    const fs::path outside = d.path() / "outside";
    written(outside, 1 << 20);
    fs::create_directory(root / "sub");
    written(root / "sub" / "data", 64 << 10);
    fs::create_hard_link(root / "sub" / "data", root / "again");
    fs::create_symlink(outside, root / "link");
    fs::create_directory_symlink(d.path(), root / "up");

    const int64_t expected = blocksOf(root) + blocksOf(root / "sub") +
                             blocksOf(root / "sub" / "data") + blocksOf(root / "link") +
                             blocksOf(root / "up");
    ASSERT_GT(blocksOf(root / "sub" / "data"), 0);
    EXPECT_EQ(diskUsage(root), expected);
    EXPECT_EQ(diskUsage(outside), blocksOf(outside));
    EXPECT_EQ(diskUsage(d.path() / "missing"), 0);
}
