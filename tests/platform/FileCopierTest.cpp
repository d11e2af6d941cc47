#include "platform/FileCopier.h"

#include "support/TempDir.h"

#include <QProcess>
#include <acl/libacl.h>
#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/acl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

// Records the stages and can stop the copy at the n-th chunk.
class RecordingObserver : public CopyObserver {
public:
    bool fileStarted(const fs::path& source) override
    {
        started.push_back(source);
        return true;
    }
    bool dataCopied(int64_t bytes) override
    {
        chunks.push_back(bytes);
        return int(chunks.size()) != stopAtChunk;
    }
    bool fileFinished() override
    {
        ++finished;
        return true;
    }

    std::vector<fs::path> started;
    std::vector<int64_t> chunks;
    int finished = 0;
    int stopAtChunk = -1;
};

std::string run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(-1);
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    return process.readAllStandardOutput().toStdString();
}

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
        run("find", {arg(root), "-printf", "%M %u %g %s %T@ %y %l\\001%P\\000"});
    std::vector<std::string> lines;
    for (size_t start = 0, end; (end = out.find('\0', start)) != std::string::npos;
         start = end + 1) {
        std::string line = out.substr(start, end - start);
        const fs::path item = root / line.substr(line.find('\1') + 1);
        std::vector<char> names(65536);
        const ssize_t n = ::llistxattr(item.c_str(), names.data(), names.size());
        for (ssize_t i = 0; i < n; i += ssize_t(std::strlen(&names[size_t(i)])) + 1) {
            std::vector<char> value(65536);
            const char* name = &names[size_t(i)];
            const ssize_t v = ::lgetxattr(item.c_str(), name, value.data(), value.size());
            const std::string bytes(value.data(), size_t(std::max<ssize_t>(v, 0)));
            line += std::string(" [") + name + " " + std::to_string(bytes.size()) + " " +
                    std::to_string(std::hash<std::string>()(bytes)) + "]";
        }
        lines.push_back(line);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

void expectSameListing(const std::vector<std::string>& actual,
                       const std::vector<std::string>& expected, const char* what)
{
    EXPECT_EQ(actual.size(), expected.size()) << what;
    for (size_t i = 0; i < std::min(actual.size(), expected.size()); ++i)
        EXPECT_EQ(actual[i], expected[i]) << what;
}

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
fs::path makeTree(const TempDir& dir)
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

} // namespace

TEST(FileCopierTest, CopyKeepsWhatCpArchiveKeeps)
{
    TempDir dir;
    const fs::path tree = makeTree(dir);
    const auto original = listing(tree);
    RecordingObserver observer;
    ASSERT_TRUE(FileCopier::copyTree(tree, dir / "ours", observer));
    run("cp", {"-a", arg(tree), arg(dir / "theirs")});

    const auto ours = listing(dir / "ours");
    expectSameListing(ours, listing(dir / "theirs"), "against cp -a");
    expectSameListing(ours, original, "against the source");
    expectSameListing(listing(tree), original, "the source changed");
    EXPECT_EQ(ours.size(), 22u);
    for (const char* name : {"plain.txt", "private", "bad\xff\xfe name.bin", "sub/deeper/file"})
        EXPECT_EQ(readFile(dir / "ours" / name), readFile(tree / name)) << name;
    // One start and one finish per regular file, never for links, FIFOs or folders.
    EXPECT_EQ(observer.started.size(), 11u);
    EXPECT_EQ(observer.finished, 11);
    EXPECT_TRUE(std::ranges::count(observer.started, tree / "sub/deeper/file"));
}

TEST(FileCopierTest, LinksAreCopiedAsLinksNeverFollowed)
{
    TempDir dir;
    dir.file("outside/secret", "s");
    const fs::path link = dir.link("toOutside", "outside");
    RecordingObserver observer;
    ASSERT_TRUE(FileCopier::copyTree(link, dir / "copy", observer));
    EXPECT_TRUE(fs::is_symlink(dir / "copy"));
    EXPECT_EQ(fs::read_symlink(dir / "copy"), "outside");
    EXPECT_TRUE(observer.started.empty());

    ASSERT_TRUE(FileCopier::removeTree(dir / "copy"));
    ASSERT_TRUE(FileCopier::removeTree(link));
    EXPECT_EQ(readFile(dir / "outside/secret"), "s") << "removal followed a link";
}

TEST(FileCopierTest, LargeFileReportsChunksAndStopsWhenTold)
{
    TempDir dir;
    const int64_t size = 20 << 20;
    const fs::path big = dir.file("big", std::string(size_t(size), 'b'));

    RecordingObserver whole;
    ASSERT_TRUE(FileCopier::copyTree(big, dir / "whole", whole));
    ASSERT_FALSE(whole.chunks.empty());
    EXPECT_EQ(whole.chunks.back(), size);
    if (whole.chunks.size() > 1) { // one report only when the file system cloned
        for (size_t i = 0; i < whole.chunks.size(); ++i)
            EXPECT_LE(whole.chunks[i] - (i ? whole.chunks[i - 1] : 0), 8 << 20);
    }

    RecordingObserver stopping;
    stopping.stopAtChunk = 1;
    const auto r = FileCopier::copyTree(big, dir / "stopped", stopping);
    ASSERT_FALSE(r);
    EXPECT_TRUE(r.error().cancelled);
    EXPECT_EQ(stopping.chunks.size(), 1u);
    EXPECT_EQ(stopping.finished, 0);
    EXPECT_EQ(fs::file_size(big), uint64_t(size));
}

TEST(FileCopierTest, FailuresNameThePath)
{
    TempDir dir;
    const fs::path source = dir.file("source", "new");
    const fs::path taken = dir.file("taken", "old");
    const fs::path folder = dir.file("folder/a", "a").parent_path();
    struct Case {
        const char* what;
        fs::path from, to;
        int code;
        fs::path path;
    } cases[] = {
        {"destination exists", source, taken, EEXIST, taken},
        {"source missing", dir / "missing", dir / "x", ENOENT, dir / "missing"},
        {"parent missing", source, dir / "no/x", ENOENT, dir / "no/x"},
        {"folder into itself", folder, folder / "inner", EINVAL, folder / "inner"},
    };
    for (const Case& c : cases) {
        RecordingObserver observer;
        const auto r = FileCopier::copyTree(c.from, c.to, observer);
        ASSERT_FALSE(r) << c.what;
        EXPECT_EQ(r.error().code, c.code) << c.what;
        EXPECT_EQ(r.error().path, c.path) << c.what;
    }
    EXPECT_EQ(readFile(taken), "old");
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

    EXPECT_FALSE(FileCopier::identity(dir / "missing"));
    EXPECT_NE(FileCopier::identity(dir / "dangling"), FileCopier::identity(b));
}

// As root the mode bits do not stop removal, so this only proves something otherwise.
TEST(FileCopierTest, RemoveCopyTakesReadOnlyFoldersApart)
{
    TempDir dir;
    dir.file("copy/locked/inner/file", "x");
    ASSERT_EQ(::chmod((dir / "copy/locked/inner").c_str(), 0555), 0);
    ASSERT_EQ(::chmod((dir / "copy/locked").c_str(), 0500), 0);
    ASSERT_TRUE(FileCopier::removeCopy(dir / "copy"));
    EXPECT_FALSE(fs::exists(fs::symlink_status(dir / "copy")));
}
