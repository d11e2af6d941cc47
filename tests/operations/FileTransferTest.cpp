#include "operations/FileTransfer.h"

#include "support/TempDir.h"

#include <QProcess>
#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <optional>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

struct ToolRun {
    int status = -1;
    std::string err;
};

ToolRun run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(-1);
    const bool exited = process.exitStatus() == QProcess::NormalExit;
    return {exited ? process.exitCode() : -1, process.readAllStandardError().toStdString()};
}

QString arg(const fs::path& path)
{
    return QString::fromLocal8Bit(path.native().c_str());
}

// Types, modes, times, link targets and file sizes below `root`, sorted.
std::vector<std::string> listing(const fs::path& root)
{
    QProcess find;
    find.start("find", {arg(root), "-printf", "%y %M %T@ %l\\001%P\\002%s\\000"});
    find.waitForFinished(-1);
    const std::string out = find.readAllStandardOutput().toStdString();
    std::vector<std::string> lines;
    for (size_t start = 0, end; (end = out.find('\0', start)) != std::string::npos;
         start = end + 1) {
        std::string line = out.substr(start, end - start);
        // A folder's own size is the file system's business, not the copy's.
        if (line.starts_with('d'))
            line.erase(line.rfind('\2'));
        lines.push_back(line);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

bool present(const fs::path& path)
{
    return fs::exists(fs::symlink_status(path));
}

// A tree with a bit of everything; `bigBytes` adds a sparse file of that size.
fs::path makeTree(const TempDir& dir, int64_t bigBytes = 0)
{
    dir.file("tree/a.txt", "alpha");
    dir.file("tree/sub/b.bin", std::string(3000, 'b'));
    dir.file("tree/sub/deeper/c", "c");
    dir.folder("tree/empty");
    dir.link("tree/link", "sub");
    dir.link("tree/dangling", "missing");
    if (bigBytes > 0)
        fs::resize_file(dir.file("tree/big"), uint64_t(bigBytes));
    return dir / "tree";
}

// A scratch folder on the tmpfs /dev/shm, for moves between file systems.
void makeTmpfsDir(std::optional<TempDir>& dir)
{
    const char* old = std::getenv("TMPDIR");
    const std::string saved = old ? old : "";
    ::setenv("TMPDIR", "/dev/shm", 1);
    try {
        dir.emplace();
    } catch (...) {
    }
    if (old)
        ::setenv("TMPDIR", saved.c_str(), 1);
    else
        ::unsetenv("TMPDIR");
}

// Cancels as soon as the copy has reported its first bytes, from another thread
// as the cancel button does. The source is far bigger than what is copied by then.
// `visibleMidway` tells whether the destination name existed while bytes were flowing.
Result<void> copyCancelledOnFirstBytes(const fs::path& from, const fs::path& to,
                                       TransferProgress& progress, bool* visibleMidway = nullptr)
{
    std::thread canceller([&progress, &to, visibleMidway] {
        for (auto now = progress.snapshot(); now.bytesDone == 0 && !now.cancelled;
             now = progress.snapshot())
            std::this_thread::yield();
        if (visibleMidway)
            *visibleMidway = present(to);
        progress.cancel();
    });
    auto result = FileTransfer::copyItem(from, to, progress);
    progress.cancel(); // releases the canceller if the copy failed before any bytes
    canceller.join();
    return result;
}

std::string toolPath()
{
    if (const char* path = std::getenv("QUILLO_TOOL"))
        return path;
    return (fs::read_symlink("/proc/self/exe").parent_path() / "quillo-tool").native();
}

// Root reads and removes anything, so the permission cases run quillo-tool as nobody.
// The scratch folder must be reachable for it, and so must a copy of the tool.
ToolRun runToolAsNobody(const TempDir& scratch, const QStringList& arguments)
{
    const fs::path tool = scratch / "quillo-tool";
    fs::copy_file(toolPath(), tool);
    ::chmod(scratch.path().c_str(), 0755);
    return run("setpriv",
               QStringList{"--reuid=nobody", "--regid=nogroup", "--clear-groups", arg(tool)} +
                   arguments);
}

} // namespace

TEST(FileTransferTest, ExistingDestinationIsNeverTouched)
{
    TempDir dir;
    const fs::path source = dir.file("source", "new");
    const fs::path takenFile = dir.file("takenFile", "old");
    const fs::path takenFolder = dir.file("takenFolder/inside", "old").parent_path();
    const fs::path dangling = dir.link("dangling", "nowhere");
    for (const fs::path& taken : {takenFile, takenFolder, dangling}) {
        const auto before = listing(dir.path());
        TransferProgress progress;
        const Result<void> results[] = {
            FileTransfer::copyItem(source, taken, progress),
            FileTransfer::moveItem(source, taken, true, progress),
            FileTransfer::moveItem(source, taken, false, progress),
        };
        for (const auto& r : results) {
            ASSERT_FALSE(r) << taken;
            EXPECT_EQ(r.error(), Error::fromErrno(EEXIST, taken));
        }
        EXPECT_EQ(listing(dir.path()), before) << taken;
    }
    EXPECT_FALSE(present(dir / "nowhere"));
}

TEST(FileTransferTest, CopyReportsEveryByteIntoOneSharedProgress)
{
    TempDir dir;
    const fs::path tree = makeTree(dir);
    const auto original = listing(tree);
    TransferProgress progress;
    ASSERT_TRUE(FileTransfer::copyItem(tree, dir / "first", progress));
    EXPECT_EQ(progress.snapshot().bytesDone, 3006);
    const QString name = progress.snapshot().name;
    EXPECT_TRUE(name == "a.txt" || name == "b.bin" || name == "c") << name.toStdString();
    ASSERT_TRUE(FileTransfer::copyItem(tree / "a.txt", dir / "second", progress));
    EXPECT_EQ(progress.snapshot().bytesDone, 3011) << "progress is never reset between items";
    EXPECT_EQ(progress.snapshot().name, "a.txt");
    EXPECT_EQ(listing(dir / "first"), original);
}

TEST(FileTransferTest, CancelledCopyLeavesNoDestination)
{
    TempDir dir;
    const int64_t big = int64_t(1) << 30; // sparse: costs nothing until copied
    const fs::path tree = makeTree(dir, big);
    const auto original = listing(tree);
    struct Case {
        const char* what;
        fs::path source;
    } cases[] = {{"inside a large file", tree / "big"}, {"inside a tree", tree}};
    for (const Case& c : cases) {
        TransferProgress progress;
        bool visibleMidway = true;
        const auto r = copyCancelledOnFirstBytes(c.source, dir / "copy", progress, &visibleMidway);
        ASSERT_FALSE(r) << c.what;
        // A copy in flight is hidden, so a kill never leaves a partial item in view.
        EXPECT_FALSE(visibleMidway) << c.what;
        EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1)
            << c.what << ": something was left beside the source tree";
        EXPECT_TRUE(r.error().cancelled) << c.what;
        EXPECT_LT(progress.snapshot().bytesDone, big) << c.what << ": not stopped midway";
        EXPECT_FALSE(present(dir / "copy")) << c.what;
        EXPECT_EQ(listing(tree), original) << c.what;
    }
}

// Without regular files the copy makes no callback, so a cancel that came before
// still finds the copy complete: it is removed all the same.
TEST(FileTransferTest, CancelAfterSuccessRemovesTheFinishedCopy)
{
    TempDir dir;
    dir.folder("shape/one/two");
    dir.link("shape/one/link", "two");
    const fs::path file = dir.file("file", "data");
    for (const fs::path& source : {dir / "shape", file}) {
        TransferProgress progress;
        progress.cancel();
        const auto r = FileTransfer::copyItem(source, dir / "copy", progress);
        ASSERT_FALSE(r) << source;
        EXPECT_EQ(r.error(), Error::cancellation());
        EXPECT_FALSE(present(dir / "copy")) << source;
    }
    EXPECT_TRUE(present(dir / "shape/one/link"));
    EXPECT_EQ(readFile(file), "data");
}

TEST(FileTransferTest, UnreadableFileStopsTheCopyAndNamesIt)
{
    TempDir dir;
    const fs::path tree = makeTree(dir);
    const fs::path secret = dir.file("tree/sub/secret", "s");
    ASSERT_EQ(::chmod(secret.c_str(), 0), 0);
    const fs::path target = dir.folder("target");
    if (::geteuid() == 0) {
        if (!fs::exists(toolPath()))
            GTEST_SKIP() << "quillo-tool is not built; as root only it can run as nobody";
        ::chmod(target.c_str(), 0777);
        const ToolRun r = runToolAsNobody(dir, {"copy", arg(tree), arg(target)});
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err, "「" + secret.native() + "」をコピーできませんでした。" +
                             "アクセス権がありません。\n");
    } else {
        TransferProgress progress;
        const auto r = FileTransfer::copyItem(tree, target / "tree", progress);
        ASSERT_FALSE(r);
        EXPECT_EQ(r.error(), Error::fromErrno(EACCES, secret));
    }
    EXPECT_FALSE(present(target / "tree"));
}

TEST(FileTransferTest, MoveWithinAVolumeRenames)
{
    TempDir dir;
    const fs::path tree = makeTree(dir);
    const auto original = listing(tree);
    dir.folder("elsewhere");
    struct stat before, after;
    ASSERT_EQ(::lstat(tree.c_str(), &before), 0);
    TransferProgress progress;
    ASSERT_TRUE(FileTransfer::moveItem(tree, dir / "elsewhere/tree", true, progress));
    EXPECT_FALSE(present(tree));
    EXPECT_EQ(listing(dir / "elsewhere/tree"), original);
    ASSERT_EQ(::lstat((dir / "elsewhere/tree").c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino) << "a rename keeps the inode";
    EXPECT_EQ(progress.snapshot().bytesDone, 0) << "a rename copies nothing";

    const auto missing = FileTransfer::moveItem(dir / "missing", dir / "x", true, progress);
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().code, ENOENT);
    EXPECT_FALSE(present(dir / "x"));
}

TEST(FileTransferTest, MoveAcrossFileSystemsCopiesThenRemoves)
{
    TempDir dir;
    std::optional<TempDir> shm;
    makeTmpfsDir(shm);
    struct stat here, there;
    if (!shm || ::stat(dir.path().c_str(), &here) != 0 ||
        ::stat(shm->path().c_str(), &there) != 0 || here.st_dev == there.st_dev)
        GTEST_SKIP() << "needs /dev/shm on another file system than " << dir.path();
    EXPECT_FALSE(FileTransfer::isSameVolume(dir.path(), shm->path()));
    // A same-volume answer that is wrong meets EXDEV and copies all the same.
    for (const bool sameVolume : {false, true}) {
        const fs::path tree = makeTree(dir);
        const auto original = listing(tree);
        const fs::path destination = shm->path() / (sameVolume ? "claimed" : "known");
        TransferProgress progress;
        ASSERT_TRUE(FileTransfer::moveItem(tree, destination, sameVolume, progress));
        EXPECT_FALSE(present(tree)) << sameVolume;
        EXPECT_EQ(listing(destination), original) << sameVolume;
        EXPECT_EQ(progress.snapshot().bytesDone, 3006) << sameVolume;
    }
}

TEST(FileTransferTest, FailedSourceRemovalKeepsBothCopies)
{
    TempDir dir;
    std::optional<TempDir> shm;
    makeTmpfsDir(shm);
    struct stat here, there;
    if (!shm || ::stat(dir.path().c_str(), &here) != 0 ||
        ::stat(shm->path().c_str(), &there) != 0 || here.st_dev == there.st_dev)
        GTEST_SKIP() << "needs /dev/shm on another file system than " << dir.path();
    const fs::path source = dir.file("locked/item", "precious");
    ASSERT_EQ(::chmod((dir / "locked").c_str(), 0555), 0);
    if (::geteuid() == 0) {
        if (!fs::exists(toolPath()))
            GTEST_SKIP() << "quillo-tool is not built; as root only it can run as nobody";
        ::chmod(shm->path().c_str(), 0777);
        const ToolRun r = runToolAsNobody(dir, {"move", arg(source), arg(shm->path())});
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err, "「" + source.native() + "」を移動できませんでした。" +
                             "アクセス権がありません。\n");
    } else {
        TransferProgress progress;
        const auto r = FileTransfer::moveItem(source, shm->path() / "item", false, progress);
        ASSERT_FALSE(r);
        EXPECT_EQ(r.error(), Error::fromErrno(EACCES, source));
    }
    EXPECT_EQ(readFile(source), "precious");
    EXPECT_EQ(readFile(shm->path() / "item"), "precious");
}

TEST(FileTransferTest, QuestionsAskedBeforeATransfer)
{
    TempDir dir;
    const fs::path file = dir.file("file", "12345");
    const fs::path folder = dir.folder("empty");
    const fs::path toFolder = dir.link("toFolder", "empty");
    const fs::path toFile = dir.link("toFile", "file");
    ASSERT_EQ(::link(file.c_str(), (dir / "hard").c_str()), 0);
    const fs::path missing = dir / "missing";

    EXPECT_TRUE(FileTransfer::isDirectory(folder));
    for (const fs::path& p : {file, toFolder, missing})
        EXPECT_FALSE(FileTransfer::isDirectory(p)) << p;

    EXPECT_TRUE(FileTransfer::isSameFile(file, dir / "hard"));
    EXPECT_TRUE(FileTransfer::isSameFile(file, dir / "./file"));
    for (const auto& [a, b] :
         {std::pair{file, toFile}, {file, folder}, {file, missing}, {missing, missing}})
        EXPECT_FALSE(FileTransfer::isSameFile(a, b)) << a << " " << b;
    EXPECT_TRUE(FileTransfer::isSameVolume(file, folder));
    EXPECT_FALSE(FileTransfer::isSameVolume(file, missing));
    EXPECT_FALSE(FileTransfer::isSameVolume(missing, file));

    struct Size {
        std::vector<fs::path> paths;
        int64_t bytes;
    } sizes[] = {
        {{folder}, 0},
        {{toFile}, 4}, // the link's own size: "file" has four bytes
        {{file, toFolder, missing}, 5 + 5},
        {{makeTree(dir)}, 3006},
    };
    for (const Size& s : sizes)
        EXPECT_EQ(FileTransfer::totalSize(s.paths), s.bytes) << s.paths.front();
}
