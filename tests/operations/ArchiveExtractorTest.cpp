#include "operations/ArchiveExtractor.h"

#include "operations/ArchiveKinds.h"
#include "operations/TransferProgress.h"
#include "support/TempDir.h"

#include <QProcess>
#include <QStandardPaths>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

// Runs a tool to its end in `folder`; false when it is missing or fails.
bool run(const fs::path& folder, const QString& program, const QStringList& arguments)
{
    if (QStandardPaths::findExecutable(program).isEmpty())
        return false;
    QProcess process;
    process.setWorkingDirectory(QString::fromStdString(folder.native()));
    process.start(program, arguments);
    return process.waitForFinished(60'000) && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}

QString text(const fs::path& path)
{
    return QString::fromStdString(path.native());
}

// Every item below `root` by relative name: kind, mode (unless left out) and a hash
// of the contents, or the target.
std::map<std::string, std::string> snapshot(const fs::path& root, bool modes = true)
{
    std::map<std::string, std::string> items;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        struct stat info;
        ::lstat(entry.path().c_str(), &info);
        const std::string mode = modes ? std::to_string(info.st_mode & 07777) : "";
        std::string& item = items[entry.path().lexically_relative(root).native()];
        if (S_ISLNK(info.st_mode))
            item = "link " + fs::read_symlink(entry.path()).native();
        else if (S_ISDIR(info.st_mode))
            item = "folder " + mode;
        else
            item = "file " + mode + " " +
                   std::to_string(std::hash<std::string>()(readFile(entry.path())));
    }
    return items;
}

// A tree with the modes, links and names archives must keep.
fs::path makeTree(const TempDir& dir)
{
    const fs::path tree = dir.folder("src/tree");
    dir.file("src/tree/a.txt", "hello");
    dir.file("src/tree/run.sh", "#!/bin/sh\necho hi\n");
    dir.file("src/tree/日本語.txt", "名前");
    std::string bytes;
    for (int i = 0; i < 200'000; ++i)
        bytes += char(i * 7919 % 251);
    dir.file("src/tree/sub/deep/data.bin", bytes);
    dir.folder("src/tree/private");
    dir.link("src/tree/link", "a.txt");
    dir.link("src/tree/sub/up", "../a.txt");
    fs::permissions(tree / "run.sh", fs::perms(0755));
    fs::permissions(tree / "a.txt", fs::perms(0640));
    fs::permissions(tree / "private", fs::perms(0750));
    return tree;
}

ArchiveResult<fs::path> expand(const fs::path& archive, TransferProgress& progress)
{
    return ArchiveExtractor::expand(archive, progress);
}

ArchiveResult<fs::path> expand(const fs::path& archive)
{
    TransferProgress progress;
    return expand(archive, progress);
}

std::set<std::string> namesIn(const fs::path& folder)
{
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.insert(entry.path().filename().native());
    return names;
}

} // namespace

TEST(ArchiveExtractorTest, OneTopItemLandsBesideTheArchiveSeveralInAFolderNamedAfterIt)
{
    TempDir dir;
    dir.file("src/a.txt", "a");
    dir.file("src/b.txt", "b");
    dir.file("src/x/inner.txt", "i");
    dir.file("src/x/.DS_Store", "mac");
    dir.file("src/.DS_Store", "mac");
    dir.file("src/__MACOSX/x/._inner.txt", "fork");
    const fs::path out = dir.folder("out");
    const struct {
        const char* archive;
        QStringList members;
        const char* made;
        std::set<std::string> inside; // what the result holds, when a folder
    } cases[] = {
        {"single.zip", {"x"}, "x", {".DS_Store", "inner.txt"}},
        {"single again.zip", {"x"}, "x 2", {".DS_Store", "inner.txt"}},
        {"mac.zip", {"x", ".DS_Store", "__MACOSX"}, "x 3", {".DS_Store", "inner.txt"}},
        {"file.zip", {"a.txt"}, "a.txt", {}},
        {"file again.zip", {"a.txt"}, "a 2.txt", {}},
        {"pair.zip", {"a.txt", "b.txt"}, "pair", {"a.txt", "b.txt"}},
        {"pack.tar.gz", {"a.txt", "x", "__MACOSX"}, "pack", {"a.txt", "x"}},
        {"pack.tar.gz.zip", {"a.txt", "b.txt"}, "pack.tar.gz", {"a.txt", "b.txt"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.archive);
        const fs::path archive = out / c.archive;
        ASSERT_TRUE(
            run(dir / "src", "bsdtar", QStringList{"-a", "-cf", text(archive)} + c.members));
        const auto result = expand(archive);
        ASSERT_TRUE(result) << result.error().detail.toStdString();
        EXPECT_EQ(*result, out / c.made);
        if (!c.inside.empty())
            EXPECT_EQ(namesIn(*result), c.inside);
        EXPECT_FALSE(fs::exists(out / "__MACOSX"));
        fs::remove(archive);
    }
    EXPECT_EQ(namesIn(out), (std::set<std::string>{"a.txt", "a 2.txt", "pack", "pack.tar.gz",
                                                   "pair", "x", "x 2", "x 3"}));
}

// Each format keeps names, bytes, modes, links and hard links; progress counts
// the archive's bytes.
TEST(ArchiveExtractorTest, FormatsExpandToTheTreesTheyHold)
{
    TempDir dir;
    const fs::path tree = makeTree(dir);
    fs::create_hard_link(tree / "a.txt", tree / "sub/hard.txt");
    const fs::path out = dir.folder("out");
    const struct {
        const char* archive;
        QString program;
        QStringList arguments;
        bool keepsModes = true;
    } cases[] = {
        {"t.tar", "bsdtar", {"-cf"}},
        {"t.tar.gz", "bsdtar", {"-a", "-cf"}},
        {"t.tar.bz2", "bsdtar", {"-a", "-cf"}},
        {"t.tar.xz", "bsdtar", {"-a", "-cf"}},
        {"t.tar.zst", "bsdtar", {"-a", "-cf"}},
        {"t.cpio", "bsdtar", {"--format=newc", "-cf"}},
        {"t.iso", "bsdtar", {"--format=iso9660", "-cf"}, false}, // Rock Ridge: modes made readable
        {"t.7z", "7z", {"a", "-bso0", "-snl"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.archive);
        const fs::path archive = out / c.archive;
        if (!run(dir / "src", c.program, c.arguments + QStringList{text(archive), "tree"})) {
            ADD_FAILURE() << "could not make " << c.archive;
            continue;
        }
        TransferProgress progress;
        const auto result = expand(archive, progress);
        ASSERT_TRUE(result) << result.error().detail.toStdString();
        EXPECT_EQ(*result, out / "tree");
        EXPECT_EQ(snapshot(*result, c.keepsModes), snapshot(tree, c.keepsModes));
        EXPECT_GT(progress.snapshot().bytesDone, 0);
        EXPECT_LE(progress.snapshot().bytesDone, int64_t(fs::file_size(archive)));
        fs::remove_all(*result);
        fs::remove(archive);
    }
}

// Info-ZIP, Python and 7-Zip zips give the tree unzip gives.
TEST(ArchiveExtractorTest, ZipsFromOtherToolsExpandAsUnzipDoes)
{
    TempDir dir;
    makeTree(dir);
    const QString python =
        QStringLiteral("import os, sys, zipfile\n"
                       "with zipfile.ZipFile(sys.argv[1], 'w', zipfile.ZIP_DEFLATED) as z:\n"
                       "    for root, folders, files in os.walk('tree'):\n"
                       "        for name in sorted(folders + files):\n"
                       "            z.write(os.path.join(root, name))\n");
    const struct {
        const char* what;
        QString program;
        QStringList arguments; // before the archive's path
    } makers[] = {
        {"Info-ZIP", "zip", {"-r", "-y", "-q"}},
        {"Python", "python3", {"-c", python}},
        {"7-Zip", "7z", {"a", "-tzip", "-bso0", "-snl"}},
    };
    for (const auto& maker : makers) {
        SCOPED_TRACE(maker.what);
        const fs::path out = dir.folder(maker.what);
        const fs::path archive = out / "made.zip";
        ASSERT_TRUE(
            run(dir / "src", maker.program, maker.arguments + QStringList{text(archive), "tree"}));
        ASSERT_TRUE(run(out, "unzip", {"-q", "-d", "unzipped", text(archive)}));
        const auto result = expand(archive);
        ASSERT_TRUE(result) << result.error().detail.toStdString();
        EXPECT_EQ(*result, out / "tree");
        EXPECT_EQ(snapshot(*result), snapshot(out / "unzipped/tree"));
    }
}

TEST(ArchiveExtractorTest, CancelledAndEmptyArchivesLeaveNothing)
{
    TempDir dir;
    makeTree(dir);
    const fs::path out = dir.folder("out");
    ASSERT_TRUE(run(dir / "src", "bsdtar", {"-a", "-cf", text(out / "t.zip"), "tree"}));
    TransferProgress progress;
    progress.cancel();
    const auto cancelled = expand(out / "t.zip", progress);
    ASSERT_FALSE(cancelled);
    EXPECT_TRUE(cancelled.error().cancelled);
    EXPECT_EQ(namesIn(out), std::set<std::string>{"t.zip"});

    ASSERT_TRUE(run(dir / "src", "bsdtar",
                    {"--format=zip", "-cf", text(out / "e.zip"), "-T", "/dev/null"}));
    const auto empty = expand(out / "e.zip");
    ASSERT_FALSE(empty);
    EXPECT_EQ(empty.error().detail, QStringLiteral("アーカイブに項目がありません。"));
    EXPECT_EQ(namesIn(out), (std::set<std::string>{"e.zip", "t.zip"}));
}

// What 展開 is offered for, by name; long names live on the heap, short ones do not.
TEST(ArchiveExtractorTest, ArchivesAreKnownByTheirNames)
{
    const std::pair<const char*, bool> cases[] = {
        {"/a/b.zip", true},
        {"/a/家族旅行のアルバム 2024 年夏.zip", true},
        {"/a/Photos From The Long Summer Holiday.TAR.GZ", true},
        {"/a/x.tgz", true},
        {"/a/x.7z", true},
        {"/a/x.iso", true},
        {"/a/x.LZH", true},
        {"/a/.zip", false},
        {"/a/notes.txt", false},
        {"/a/zip", false},
        {"/a/x.gz", false},
    };
    for (const auto& [path, expandable] : cases)
        EXPECT_EQ(ArchiveKinds::isExpandable(path), expandable) << path;
}
