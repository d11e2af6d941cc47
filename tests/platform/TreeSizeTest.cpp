// Links given directly, missing paths and a small tree are covered through
// FileTransfer::totalSize; these cases check the walk itself.
#include "platform/TreeSize.h"

#include "platform/FileCopier.h"
#include "support/TempDir.h"
#include "support/ToolRun.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

void sized(const TempDir& dir, const char* relative, int64_t bytes)
{
    fs::resize_file(dir.file(relative), uint64_t(bytes));
}

// What the walk must match, by an independent route.
int64_t referenceTotal(const fs::path& root)
{
    int64_t total = 0;
    for (const auto& entry : fs::recursive_directory_iterator(root))
        if (entry.is_regular_file() && !entry.is_symlink())
            total += int64_t(entry.file_size());
    return total;
}

} // namespace

TEST(TreeSizeTest, CountsRegularFilesOnlyAndNeverFollowsLinks)
{
    TempDir d;
    d.folder("empty");
    d.file("nested/a", "123");
    d.file("nested/b/.hidden", "1234567");
    sized(d, "nested/b/c/d/e", 100'000);
    d.folder("nested/b/c/empty");
    sized(d, "big", 5'000'000);
    d.file("links/small", "12");
    d.link("links/toBig", "../big");
    d.link("links/toFolder", "../nested");
    d.file("loop/a/file", "12345");
    d.link("loop/a/up", "..");
    d.link("loop/a/self", "self");
    d.file("bytes/\xff\xfe.bin", "1234");
    d.file("bytes/caf\xe9/x", "123456");
    d.file("pipe/file", "1");
    ASSERT_EQ(::mkfifo((d / "pipe/fifo").c_str(), 0644), 0);
    const struct {
        const char* root;
        int64_t expected;
    } cases[] = {{"empty", 0}, {"nested", 100'010}, {"links", 2},
                 {"loop", 5},  {"bytes", 10},       {"pipe", 1}};
    for (const auto& c : cases)
        EXPECT_EQ(TreeSize::total(d / c.root), c.expected) << c.root;
}

TEST(TreeSizeTest, ManyFoldersReadByHelpersAddUpExactly)
{
    TempDir dir;
    for (int a = 0; a < 30; ++a) {
        for (int b = 0; b < 12; ++b) {
            const std::string folder = "t/" + std::to_string(a) + "/" + std::to_string(b);
            for (int f = 0; f < (a + b) % 5; ++f)
                sized(dir, (folder + "/f" + std::to_string(f)).c_str(),
                      (a * 977 + b * 31 + f) % 5000);
            if (b % 4 == 0)
                dir.link(folder + "/up", "../..");
            dir.folder(folder + "/empty");
        }
    }
    const int64_t expected = referenceTotal(dir / "t");
    ASSERT_GT(expected, 0);
    // Two walks at once, as the size column runs them.
    int64_t other = 0;
    std::thread second([&] { other = TreeSize::total(dir / "t"); });
    EXPECT_EQ(TreeSize::total(dir / "t"), expected);
    second.join();
    EXPECT_EQ(other, expected);
}

// Deeper than PATH_MAX, and with so few descriptors left that one per level would fail.
TEST(TreeSizeTest, DeepChainNeedsNeitherLongPathsNorManyDescriptors)
{
    TempDir dir;
    int64_t expected = 0;
    int fd = ::open(dir.path().c_str(), O_DIRECTORY | O_CLOEXEC);
    for (int level = 0; level < 600 && fd >= 0; ++level) {
        if (level % 50 == 0) {
            const int file = ::openat(fd, "file", O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
            ASSERT_EQ(::ftruncate(file, level + 1), 0);
            ::close(file);
            expected += level + 1;
        }
        ASSERT_EQ(::mkdirat(fd, "nested7", 0755), 0);
        const int next = ::openat(fd, "nested7", O_DIRECTORY | O_CLOEXEC);
        ::close(fd);
        fd = next;
    }
    ASSERT_GE(fd, 0);
    const int lowestFree = fd;
    ::close(fd);

    rlimit old;
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &old), 0);
    rlimit tight = old;
    tight.rlim_cur = rlim_t(lowestFree + 16);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &tight), 0);
    const int64_t total = TreeSize::total(dir.path());
    ::setrlimit(RLIMIT_NOFILE, &old);
    EXPECT_EQ(total, expected);
    // remove_all goes by full paths, which are too long here.
    EXPECT_TRUE(FileCopier::removeTree(dir / "nested7"));
}

namespace {

// quillo-tool du (a thin wrapper over TreeSize::measure), as nobody through
// setpriv when running as root, since permissions do not apply to root.
ToolRun duWithoutPrivileges(const TempDir& dir, const fs::path& path)
{
    QStringList argv{QString::fromStdString(quilloTool())};
    if (::geteuid() == 0) {
        const fs::path copy = dir / "quillo-tool";
        if (!fs::exists(copy))
            fs::copy_file(quilloTool(), copy);
        argv = {"--reuid=nobody", "--regid=nogroup", "--clear-groups",
                QString::fromStdString(copy.native())};
    }
    argv << "du" << QString::fromStdString(path.native());
    return ::geteuid() == 0 ? runProgram("setpriv", argv) : runProgram(argv.front(), argv.mid(1));
}

} // namespace

TEST(TreeSizeTest, UnreadableFoldersAreSkippedAndMakeTheSizeIncomplete)
{
    TempDir dir;
    ASSERT_EQ(::chmod(dir.path().c_str(), 0755), 0);
    dir.file("t/open/a", std::string(100, 'a'));
    dir.file("t/locked/b", std::string(50, 'b'));
    dir.file("t/unlisted/c", std::string(30, 'c'));
    const fs::path secret = dir.file("t/secret", "1234567");
    ASSERT_EQ(::chmod((dir / "t/locked").c_str(), 0000), 0);
    ASSERT_EQ(::chmod((dir / "t/unlisted").c_str(), 0311), 0); // enterable, not listable
    ASSERT_EQ(::chmod(secret.c_str(), 0000), 0);               // its size needs no read permission
    const struct {
        const char* root;
        TreeSize::Measure expected;
    } cases[] = {{"t", {100 + 7, false}}, {"t/locked", {0, false}}, {"t/open", {100, true}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.root);
        const ToolRun du = duWithoutPrivileges(dir, dir / c.root);
        EXPECT_EQ(du.status, c.expected.complete ? 0 : 1);
        EXPECT_EQ(du.out, std::to_string(c.expected.bytes) + "\t" + (dir / c.root).native() + "\n");
        EXPECT_EQ(du.err, c.expected.complete
                              ? ""
                              : "「" + (dir / c.root).native() +
                                    "」には読み取れないフォルダがあるため、実際より大きい可能性が"
                                    "あります。\n");
    }
}
