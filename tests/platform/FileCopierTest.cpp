#include "platform/FileCopier.h"

#include "platform/FileCopierLinks.h"
#include "support/PrivateMounts.h"
#include "support/TempDir.h"
#include "support/ToolRun.h"

#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr off_t kMiB = 1 << 20;

// Adds up the bytes each file reported last, as the transfer's progress does.
struct CountingObserver : CopyObserver {
    int64_t current = 0;
    int64_t total = 0;
    bool fileStarted(const fs::path&) override { return current = 0, true; }
    bool dataCopied(int64_t bytes) override { return current = bytes, true; }
    bool fileFinished() override { return total += current, true; }
};

// A file of `size` bytes whose only data are the given (offset, length) runs.
void makeSparse(const fs::path& path, off_t size, std::vector<std::pair<off_t, off_t>> runs)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ASSERT_GE(fd, 0) << path;
    for (const auto& [offset, length] : runs) {
        const std::string bytes(size_t(length), char('a' + offset % 23));
        ASSERT_EQ(::pwrite(fd, bytes.data(), bytes.size(), offset), ssize_t(length));
    }
    ASSERT_EQ(::ftruncate(fd, size), 0);
    ::close(fd);
}

struct stat statOf(const fs::path& path)
{
    struct stat st {};
    EXPECT_EQ(::lstat(path.c_str(), &st), 0) << path;
    return st;
}

} // namespace

// Holes stay holes and hard links within the copy stay links, block for block and
// link for link as cp -a leaves them; links to files outside the copy are not followed.
TEST(FileCopierTest, HolesAndHardLinksAsCpArchive)
{
    TempDir dir;
    const fs::path tree = dir.folder("tree");
    makeSparse(tree / "hole", 16 * kMiB, {});
    makeSparse(tree / "data-hole-data", 12 * kMiB, {{0, kMiB}, {8 * kMiB, kMiB}});
    makeSparse(tree / "hole-data", 3 * kMiB, {{2 * kMiB, kMiB}});
    makeSparse(tree / "dense", kMiB, {{0, kMiB}});
    fs::create_hard_link(tree / "dense", dir / "outside");
    dir.file("tree/x", "linked");
    fs::create_hard_link(tree / "x", tree / "y");
    dir.folder("tree/sub");
    fs::create_hard_link(tree / "x", tree / "sub/z");

    CopiedLinks links;
    CountingObserver observer;
    ASSERT_TRUE(FileCopier::copyTree(tree, dir / "ours", observer, {.links = &links}));
    const auto cp = runProgram("cp", {"-a", QString::fromStdString(tree.native()),
                                      QString::fromStdString((dir / "theirs").native())});
    ASSERT_EQ(cp.status, 0) << cp.err;

    for (const char* name : {"hole", "data-hole-data", "hole-data", "dense", "x", "y", "sub/z"}) {
        const struct stat ours = statOf(dir / "ours" / name);
        const struct stat theirs = statOf(dir / "theirs" / name);
        EXPECT_EQ(ours.st_blocks, theirs.st_blocks) << name;
        EXPECT_EQ(ours.st_nlink, theirs.st_nlink) << name;
        EXPECT_EQ(ours.st_size, theirs.st_size) << name;
        EXPECT_TRUE(readFile(dir / "ours" / name) == readFile(tree / name)) << name;
    }
    EXPECT_EQ(statOf(dir / "ours/hole").st_blocks, 0);
    EXPECT_EQ(statOf(dir / "ours/x").st_ino, statOf(dir / "ours/sub/z").st_ino);
    EXPECT_EQ(statOf(dir / "ours/x").st_nlink, 3u);
    EXPECT_EQ(observer.total, (16 + 12 + 3 + 1) * kMiB + 3 * 6) << "every byte counted once";
}

// Runs last: it moves this program into a mount namespace of its own. What cp -a
// fits onto a small volume fits too: 100 GiB that are nearly all hole, and 100
// links to one file.
TEST(FileCopierTest, SparseAndLinkedTreeFitsASmallVolume)
{
    if (const std::string reason = privateMountsUnavailable(); !reason.empty())
        GTEST_SKIP() << reason;
    TempDir dir;
    const fs::path tree = dir.folder("tree");
    const off_t huge = off_t(100) << 30;
    makeSparse(tree / "huge", huge, {{huge / 2, kMiB}});
    dir.file("tree/links/0", std::string(size_t(kMiB), 'l'));
    for (int i = 1; i < 100; ++i)
        fs::create_hard_link(tree / "links/0", tree / "links" / std::to_string(i));

    const Mount mounted("quillo-test", dir / "volume", "tmpfs", 0, "size=64m");
    ASSERT_TRUE(mounted.ok) << std::strerror(errno);
    const fs::path& volume = mounted.point;
    CopiedLinks links;
    CountingObserver observer;
    const auto copied = FileCopier::copyTree(tree, volume / "tree", observer, {.links = &links});
    EXPECT_TRUE(copied) << (copied ? "" : copied.error().path.native());
    const struct stat copy = statOf(volume / "tree/huge");
    EXPECT_EQ(copy.st_size, huge);
    EXPECT_LE(copy.st_blocks, 2 * kMiB / 512);
    EXPECT_EQ(statOf(volume / "tree/links/57").st_nlink, 100u);
    EXPECT_EQ(readFile(volume / "tree/links/99"), readFile(tree / "links/0"));
    std::string middle(size_t(kMiB), '\0');
    const int fd = ::open((volume / "tree/huge").c_str(), O_RDONLY);
    EXPECT_EQ(::pread(fd, middle.data(), middle.size(), huge / 2), ssize_t(kMiB));
    ::close(fd);
    EXPECT_EQ(middle, std::string(size_t(kMiB), char('a' + (huge / 2) % 23)));
}
