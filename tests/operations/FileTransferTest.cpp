#include "operations/FileTransfer.h"

#include "operations/TransferSteps.h"
#include "platform/FileCopier.h"
#include "support/PrivateMounts.h"
#include "support/TempDir.h"
#include "support/ToolRun.h"

#include <acl/libacl.h>
#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <sched.h>
#include <sys/acl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

QString arg(const fs::path& path)
{
    return QString::fromLocal8Bit(path.native().c_str());
}

// Every item below `root` (the root itself included) as find prints it, plus its
// extended attributes (ACLs among them), sorted; NUL-terminated so that names with
// newlines stay whole, the name after a \1 so that link targets with spaces do too.
std::vector<std::string> listing(const fs::path& root)
{
    const std::string out =
        runProgram("find", {arg(root), "-printf", "%y %M %u %g %T@ %l\\001%P\\002%s\\000"}).out;
    std::vector<std::string> lines;
    for (size_t start = 0, end; (end = out.find('\0', start)) != std::string::npos;
         start = end + 1) {
        std::string line = out.substr(start, end - start);
        const size_t name = line.find('\1') + 1, size = line.rfind('\2');
        const fs::path item = root / line.substr(name, size - name);
        // A folder's own size is the file system's business, not the copy's.
        if (line.starts_with('d'))
            line.erase(size);
        std::vector<char> names(65536);
        const ssize_t n = ::llistxattr(item.c_str(), names.data(), names.size());
        for (ssize_t i = 0; i < n; i += ssize_t(std::strlen(&names[size_t(i)])) + 1) {
            std::vector<char> value(65536);
            const char* key = &names[size_t(i)];
            const ssize_t v = ::lgetxattr(item.c_str(), key, value.data(), value.size());
            const std::string bytes(value.data(), size_t(std::max<ssize_t>(v, 0)));
            line += std::string(" [") + key + " " + std::to_string(bytes.size()) + " " +
                    std::to_string(std::hash<std::string>()(bytes)) + "]";
        }
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
    // Data first, then a hole: holes are not copied, the data still takes a while.
    if (bigBytes > 0)
        fs::resize_file(dir.file("tree/big", std::string(64 << 20, 'x')), uint64_t(bigBytes));
    return dir / "tree";
}

// Records which files were started and how many finished.
struct RecordingObserver : CopyObserver {
    std::vector<fs::path> started;
    int finished = 0;
    bool fileStarted(const fs::path& source) override { return started.push_back(source), true; }
    bool dataCopied(int64_t) override { return true; }
    bool fileFinished() override { return ++finished, true; }
};

void setTimes(const fs::path& path, int64_t seconds, long nanoseconds)
{
    const timespec times[2] = {{seconds, nanoseconds}, {seconds, nanoseconds}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

void setXattr(const fs::path& path, const char* name, const std::string& value)
{
    ASSERT_EQ(::setxattr(path.c_str(), name, value.data(), value.size(), 0), 0) << path;
}

void setAcl(const fs::path& path, acl_type_t type, const char* text)
{
    acl_t acl = ::acl_from_text(text);
    ASSERT_NE(acl, nullptr);
    ASSERT_EQ(::acl_set_file(path.c_str(), type, acl), 0) << path;
    ::acl_free(acl);
}

// A tree with every kind of item and attribute the copy must keep.
fs::path makeFullTree(const TempDir& dir)
{
    std::vector<fs::path> items = {
        dir.folder("tree"),
        dir.file("tree/plain.txt", "hello"),
        dir.file("tree/private", std::string(20000, 'p')),
        dir.file("tree/script.sh", "#!/bin/sh\n"),
        dir.file("tree/readonly", "r"),
        dir.file("tree/setuid", "s"),
        dir.file("tree/empty"),
        dir.file("tree/bad\xff\xfe name.bin", "bytes"),
        dir.file("tree/new\nline", "nl"),
        dir.file("tree/" + std::string(255, 'n'), "long"),
        dir.folder("tree/empty folder"),
        dir.file("tree/locked/inside", "in"),
        dir.folder("tree/sticky"),
        dir.file("tree/sub/deeper/file", "deep"),
        dir.link("tree/dangling", "missing"),
        dir.link("tree/to-folder", "sub"),
        dir.link("tree/to-file", "plain.txt"),
        dir.link("tree/absolute", "/nonexistent/target"),
    };
    items.push_back(dir / "tree/pipe");
    EXPECT_EQ(::mkfifo(items.back().c_str(), 0640), 0);
    items.insert(items.end(), {dir / "tree/locked", dir / "tree/sub", dir / "tree/sub/deeper"});
    const std::pair<const char*, mode_t> modes[] = {
        {"private", 0600},      {"script.sh", 0755}, {"readonly", 0444}, {"setuid", 04755},
        {"empty folder", 0750}, {"locked", 0555},    {"sticky", 01777},
    };
    for (const auto& [name, mode] : modes)
        EXPECT_EQ(::chmod((dir / "tree" / name).c_str(), mode), 0) << name;
    setXattr(dir / "tree/plain.txt", "user.comment", "a note");
    setXattr(dir / "tree/private", "user.big", std::string(3000, 'x'));
    setXattr(dir / "tree/sub", "user.empty", "");
    setAcl(dir / "tree/private", ACL_TYPE_ACCESS, "u::rw-,u:65534:r--,g::---,m::r--,o::---");
    setAcl(dir / "tree/sub", ACL_TYPE_DEFAULT, "u::rwx,u:65534:r-x,g::r-x,m::r-x,o::---");
    if (::geteuid() == 0) {
        EXPECT_EQ(::lchown((dir / "tree/to-file").c_str(), 65534, 65534), 0);
    }
    // Times last: every change above moves them.
    for (size_t i = 0; i < items.size(); ++i)
        setTimes(items[i], 1'500'000'000 + int64_t(i) * 1000, long(i) * 12'345'679 + 1);
    return dir / "tree";
}

// A scratch folder on the tmpfs /dev/shm, when that is another file system than `here`.
std::unique_ptr<TempDir> otherVolume(const TempDir& here)
{
    const QByteArray old = qgetenv("TMPDIR");
    qputenv("TMPDIR", "/dev/shm");
    std::unique_ptr<TempDir> dir;
    try {
        dir = std::make_unique<TempDir>();
    } catch (...) {
    }
    old.isNull() ? qunsetenv("TMPDIR") : qputenv("TMPDIR", old);
    struct stat a {
    }, b{};
    if (dir && (::stat(here.path().c_str(), &a) || ::stat(dir->path().c_str(), &b) ||
                a.st_dev == b.st_dev))
        dir.reset();
    return dir;
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

// Root reads and removes anything, so as root the permission cases run quillo-tool as
// nobody, which needs the scratch folder and a copy of the tool within its reach; else
// `direct` runs. Either way the failure names `path`.
void expectAccessDenied(const TempDir& scratch, const QStringList& toolArguments, const char* verb,
                        const fs::path& path, const std::function<Result<void>()>& direct)
{
    if (::geteuid() != 0) {
        const auto r = direct();
        ASSERT_FALSE(r);
        EXPECT_EQ(r.error(), Error::fromErrno(EACCES, path));
        return;
    }
    if (!fs::exists(quilloTool()))
        GTEST_SKIP() << "quillo-tool is not built; as root only it can run as nobody";
    const fs::path tool = scratch / "quillo-tool";
    fs::copy_file(quilloTool(), tool);
    ::chmod(scratch.path().c_str(), 0755);
    // Its own data folder, where it keeps its staging journal.
    const fs::path data = scratch.folder("nobody-data");
    ASSERT_EQ(::chown(data.c_str(), 65534, 65534), 0);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_DATA_HOME", arg(data));
    const ToolRun r =
        runProgram("setpriv",
                   QStringList{"--reuid=nobody", "--regid=nogroup", "--clear-groups", arg(tool)} +
                       toolArguments,
                   environment);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "「" + path.native() + "」を" + verb + "できませんでした。" +
                         "アクセス権がありません。\n");
}

} // namespace

TEST(FileCopierTest, CopyKeepsWhatCpArchiveKeeps)
{
    TempDir dir;
    const fs::path tree = makeFullTree(dir);
    const auto original = listing(tree);
    RecordingObserver observer;
    ASSERT_TRUE(FileCopier::copyTree(tree, dir / "ours", observer));
    ASSERT_EQ(runProgram("cp", {"-a", arg(tree), arg(dir / "theirs")}).status, 0);

    const auto ours = listing(dir / "ours");
    EXPECT_EQ(ours, listing(dir / "theirs")) << "against cp -a";
    EXPECT_EQ(ours, original) << "against the source";
    EXPECT_EQ(listing(tree), original) << "the source changed";
    EXPECT_EQ(ours.size(), 22u);
    for (const char* name : {"plain.txt", "private", "bad\xff\xfe name.bin", "sub/deeper/file"})
        EXPECT_EQ(readFile(dir / "ours" / name), readFile(tree / name)) << name;
    // One start and one finish per regular file, never for links, FIFOs or folders.
    EXPECT_EQ(observer.started.size(), 11u);
    EXPECT_EQ(observer.finished, 11);
    EXPECT_TRUE(std::ranges::count(observer.started, tree / "sub/deeper/file"));

    // A link given as the item itself is copied and removed as a link, never followed.
    ASSERT_TRUE(FileCopier::copyTree(tree / "to-folder", dir / "link copy", observer));
    EXPECT_EQ(fs::read_symlink(dir / "link copy"), "sub");
    EXPECT_EQ(observer.started.size(), 11u);
    ASSERT_TRUE(FileCopier::removeTree(dir / "link copy"));
    ASSERT_TRUE(FileCopier::removeTree(tree / "to-folder"));
    EXPECT_EQ(readFile(tree / "sub/deeper/file"), "deep") << "removal followed a link";
}

TEST(FileCopierTest, SingleCallOperations)
{
    TempDir dir;
    const fs::path a = dir.file("a", "A");
    const fs::path b = dir.file("b", "B");
    const auto clash = FileCopier::renameNoReplace(a, b);
    ASSERT_FALSE(clash);
    EXPECT_EQ(clash.error().code, EEXIST);
    EXPECT_EQ(readFile(b), "B");
    ASSERT_TRUE(FileCopier::renameNoReplace(a, dir / "c"));
    EXPECT_EQ(readFile(dir / "c"), "A");
    ASSERT_TRUE(FileCopier::renameReplacing(dir / "c", b));
    EXPECT_EQ(readFile(b), "A");

    EXPECT_EQ(FileCopier::makeFolder(b).error().code, EEXIST);
    EXPECT_EQ(FileCopier::makeEmptyFile(b).error().code, EEXIST);
    dir.link("dangling", "missing");
    EXPECT_EQ(FileCopier::makeEmptyFile(dir / "dangling").error().code, EEXIST);
    EXPECT_FALSE(fs::exists(dir / "missing")) << "created through a dangling link";
    ASSERT_TRUE(FileCopier::makeEmptyFile(dir / "new"));
    EXPECT_EQ(fs::file_size(dir / "new"), 0u);

    // Failures name the path they met; a missing parent or a folder into itself.
    const fs::path folder = dir.folder("folder");
    RecordingObserver observer;
    for (const auto& [from, to, code] :
         {std::tuple{b, dir / "no/x", ENOENT}, std::tuple{folder, folder / "inner", EINVAL}}) {
        const auto r = FileCopier::copyTree(from, to, observer);
        ASSERT_FALSE(r) << to;
        EXPECT_EQ(r.error(), Error::fromErrno(code, to));
    }
    EXPECT_FALSE(FileCopier::identity(dir / "missing"));
    EXPECT_NE(FileCopier::identity(dir / "dangling"), FileCopier::identity(b));

    // Removing a copy takes read-only folders apart (as root the mode bits stop nothing).
    dir.file("copy/locked/inner/file", "x");
    ASSERT_EQ(::chmod((dir / "copy/locked/inner").c_str(), 0555), 0);
    ASSERT_EQ(::chmod((dir / "copy/locked").c_str(), 0500), 0);
    ASSERT_TRUE(FileCopier::removeCopy(dir / "copy"));
    EXPECT_FALSE(present(dir / "copy"));
}

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
    ::chmod(target.c_str(), 0777);
    TransferProgress progress;
    expectAccessDenied(dir, {"copy", arg(tree), arg(target)}, "コピー", secret,
                       [&] { return FileTransfer::copyItem(tree, target / "tree", progress); });
    if (IsSkipped())
        return;
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
    const auto shm = otherVolume(dir);
    if (!shm)
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

    // A source that cannot be removed afterwards stays, beside its copy.
    const fs::path source = dir.file("locked/item", "precious");
    ASSERT_EQ(::chmod((dir / "locked").c_str(), 0555), 0);
    ::chmod(shm->path().c_str(), 0777);
    TransferProgress progress;
    expectAccessDenied(dir, {"move", arg(source), arg(shm->path())}, "移動", source, [&] {
        return FileTransfer::moveItem(source, shm->path() / "item", false, progress);
    });
    if (IsSkipped())
        return;
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
    const fs::path missing = dir / "missing";
    ASSERT_EQ(::link(file.c_str(), (dir / "hard").c_str()), 0);
    // Links are never followed: a link to a folder is no folder, nor the same as its target.
    EXPECT_TRUE(FileTransfer::isDirectory(folder));
    EXPECT_FALSE(FileTransfer::isDirectory(toFolder) || FileTransfer::isDirectory(missing));
    EXPECT_TRUE(FileTransfer::isSameFile(file, dir / "hard"));
    EXPECT_TRUE(FileTransfer::isSameFile(file, dir / "./file"));
    EXPECT_FALSE(FileTransfer::isSameFile(file, toFile) || FileTransfer::isSameFile(file, folder));
    EXPECT_FALSE(FileTransfer::isSameFile(missing, missing));
    EXPECT_TRUE(FileTransfer::isSameVolume(file, folder));
    EXPECT_FALSE(FileTransfer::isSameVolume(file, missing) ||
                 FileTransfer::isSameVolume(missing, file));
    EXPECT_EQ(FileTransfer::totalSize({toFile}), 4); // the link's own size
    EXPECT_EQ(FileTransfer::totalSize({file, toFolder, missing, folder}), 5 + 5);
    EXPECT_EQ(FileTransfer::totalSize({makeTree(dir)}), 3006);
}

// Runs last: it moves this program into a mount namespace of its own for a small tmpfs.
// A full volume fails each kind of copy inside its hidden item; the error names the
// item the user asked for, never the hidden one.
TEST(FileTransferTest, ErrorsNameTheItemTheUserAskedFor)
{
    // Paths from deeper layers are not always spelt as the hidden item was.
    const fs::path hidden = "/v/a/sub/.quillo-copy-26d5510a5a19", shown = "/v/a/sub/report";
    const std::pair<fs::path, fs::path> spellings[] = {
        {"/v/a//sub/.quillo-copy-26d5510a5a19/f", shown / "f"},
        {".quillo-copy-26d5510a5a19", shown},
        {"/v/a/sub/.quillo-copy-26d5510a5a19x/f", "/v/a/sub/.quillo-copy-26d5510a5a19x/f"},
        {"/v/source/f", "/v/source/f"},
    };
    for (const auto& [given, expected] : spellings)
        EXPECT_EQ(FileTransfer::visibleError(Error::fromErrno(EIO, given), hidden, shown).path,
                  expected)
            << given;

    if (const std::string reason = privateMountsUnavailable(); !reason.empty())
        GTEST_SKIP() << reason;
    TempDir dir;
    const Mount mounted("quillo-test", dir / "volume", "tmpfs", 0, "size=256k");
    ASSERT_TRUE(mounted.ok) << std::strerror(errno);
    const fs::path& volume = mounted.point;
    const fs::path source = dir.file("tree/big", std::string(512 << 10, 'x')).parent_path();
    const fs::path destination = volume / "tree";
    struct Case {
        const char* what;
        TransferMode mode;
        bool replace;
    } cases[] = {{"copy", TransferMode::copy, false},
                 {"replacing copy", TransferMode::copy, true},
                 {"replacing move", TransferMode::move, true}};
    for (const Case& c : cases) {
        if (c.replace)
            dir.file("volume/tree/old", "old");
        TransferProgress progress;
        const auto out = TransferSteps::perform(
            {{source, std::nullopt}, destination, c.mode, false, c.replace}, progress);
        ASSERT_TRUE(out.error) << c.what;
        EXPECT_EQ(*out.error, Error::fromErrno(ENOSPC, destination / "big"))
            << c.what << ": " << out.error->path;
        EXPECT_EQ(readFile(source / "big").size(), size_t(512 << 10)) << c.what;
        for (const auto& entry : fs::directory_iterator(volume))
            EXPECT_FALSE(entry.path().filename().native().starts_with(".quillo-")) << c.what;
        fs::remove_all(destination);
    }
}
