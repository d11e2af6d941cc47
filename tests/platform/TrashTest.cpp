#include "platform/Trash.h"

#include "core/PathText.h"
#include "support/PrivateMounts.h"
#include "support/TempDir.h"

#include <QDateTime>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <sched.h>
#include <set>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const std::string kUid = std::to_string(::getuid());

struct Cleanup {
    std::function<void()> run;
    ~Cleanup() { run(); }
};

// Points XDG_DATA_HOME elsewhere for as long as it lives.
struct DataHome {
    QByteArray old = qgetenv("XDG_DATA_HOME");
    explicit DataHome(const fs::path& path)
    {
        qputenv("XDG_DATA_HOME", QByteArray::fromStdString(path.native()));
    }
    ~DataHome() { qputenv("XDG_DATA_HOME", old); }
};

fs::path homeTrash()
{
    return fs::path(qgetenv("XDG_DATA_HOME").toStdString()) / "Trash";
}

// The raw value of the Path key of an info file.
std::string pathKey(const fs::path& info)
{
    static const QRegularExpression line(QStringLiteral("^Path=(.*)$"),
                                         QRegularExpression::MultilineOption);
    const auto match = line.match(QString::fromStdString(readFile(info)));
    return match.hasMatch() ? match.captured(1).toStdString() : std::string("(none)");
}

std::string decodedPathKey(const fs::path& info)
{
    return QByteArray::fromPercentEncoding(QByteArray::fromStdString(pathKey(info))).toStdString();
}

size_t entryCount(const fs::path& folder)
{
    std::error_code ec;
    size_t n = 0;
    for (auto it = fs::directory_iterator(folder, ec); !ec && it != fs::directory_iterator();
         it.increment(ec))
        ++n;
    return n;
}

mode_t modeOf(const fs::path& path)
{
    struct stat st {};
    ::lstat(path.c_str(), &st);
    return st.st_mode & 07777;
}

struct ProcessRun {
    bool ok = false;
    std::string out, err;
};

ProcessRun runProcess(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    const bool finished = process.waitForFinished() && process.exitStatus() == QProcess::NormalExit;
    return {finished && process.exitCode() == 0, process.readAllStandardOutput().toStdString(),
            process.readAllStandardError().toStdString()};
}

QString gio()
{
    return QStandardPaths::findExecutable(QStringLiteral("gio"));
}

} // namespace

TEST(TrashTest, HomeTrashRecordsTheRawPathAndRestoresEveryKindOfItemByteForByte)
{
    TempDir scratch;
    const fs::path item = scratch.file("a b\nc\xff%d.txt", "contents\n");
    const auto trashed = Trash::moveToTrash(item);
    ASSERT_TRUE(trashed) << trashed.error().code;
    EXPECT_EQ(trashed->original, item);
    EXPECT_EQ(trashed->trashed.parent_path(), homeTrash() / "files");
    EXPECT_EQ(trashed->info,
              homeTrash() / "info" / (trashed->trashed.filename().native() + ".trashinfo"));
    EXPECT_FALSE(fs::exists(fs::symlink_status(item)));
    EXPECT_EQ(readFile(trashed->trashed), "contents\n");
    EXPECT_EQ(modeOf(homeTrash()) & 077, 0u);

    const QString info = QString::fromStdString(readFile(trashed->info));
    static const QRegularExpression format(
        QStringLiteral("^\\[Trash Info\\]\nPath=([A-Za-z0-9/%._~-]+)\n"
                       "DeletionDate=(\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d)\n$"));
    const auto match = format.match(info);
    ASSERT_TRUE(match.hasMatch()) << info.toStdString();
    EXPECT_TRUE(match.captured(1).endsWith(QStringLiteral("/a%20b%0Ac%FF%25d.txt")));
    EXPECT_EQ(decodedPathKey(trashed->info), item.native());
    const QDateTime deleted = QDateTime::fromString(match.captured(2), Qt::ISODate);
    EXPECT_LT(std::abs(deleted.secsTo(QDateTime::currentDateTime())), 300) << "local time";

    ASSERT_TRUE(Trash::restore(*trashed));
    EXPECT_EQ(readFile(item), "contents\n");
    EXPECT_FALSE(fs::exists(fs::symlink_status(trashed->trashed)));
    EXPECT_FALSE(fs::exists(fs::symlink_status(trashed->info)));

    // Folders, links and the longest names go and come back alike.
    std::string kana; // 84 three-byte characters and ".md": 255 bytes
    for (int i = 0; i < 84; ++i)
        kana += "あ";
    scratch.file("tree/inner/deep.txt", "deep");
    scratch.link("tree/link", "inner/deep.txt");
    scratch.link("dangling", "nowhere");
    scratch.file(std::string(255, 'L'), "long");
    scratch.file(kana + ".md", "kana");
    for (const auto& entry : fs::directory_iterator(scratch.path())) {
        const auto trashed = Trash::moveToTrash(entry.path());
        ASSERT_TRUE(trashed) << entry.path() << " " << trashed.error().code;
        EXPECT_LE(trashed->info.filename().native().size(), 255u);
        // A shortened name never ends inside a character.
        EXPECT_EQ(PathText::isValidUtf8(trashed->trashed.filename().native()),
                  PathText::isValidUtf8(entry.path().filename().native()));
        EXPECT_EQ(decodedPathKey(trashed->info), entry.path().native());
        ASSERT_TRUE(Trash::restore(*trashed));
    }
    EXPECT_EQ(entryCount(scratch.path()), 5u);
    EXPECT_EQ(readFile(item), "contents\n");
    EXPECT_EQ(readFile(scratch / "tree/inner/deep.txt"), "deep");
    EXPECT_EQ(fs::read_symlink(scratch / "tree/link"), "inner/deep.txt");
    EXPECT_EQ(fs::read_symlink(scratch / "dangling"), "nowhere");
    EXPECT_EQ(readFile(scratch / std::string(255, 'L')), "long");
    EXPECT_EQ(readFile(scratch / (kana + ".md")), "kana");
}

TEST(TrashTest, RestoreNeverReplacesWhatTookThePlace)
{
    TempDir scratch;
    const fs::path item = scratch.file("place.txt", "old");
    const auto trashed = Trash::moveToTrash(item);
    ASSERT_TRUE(trashed);
    scratch.file("place.txt", "new");
    const auto restored = Trash::restore(*trashed);
    ASSERT_FALSE(restored);
    EXPECT_EQ(restored.error(), Error::fromErrno(EEXIST, item));
    EXPECT_EQ(readFile(item), "new");
    EXPECT_EQ(readFile(trashed->trashed), "old");
    EXPECT_TRUE(fs::exists(trashed->info));
}

TEST(TrashTest, SameNamesGetDistinctTrashNamesBesideEarlierEntries)
{
    TempDir scratch;
    // A unique name for this run, since the home trash outlives the test.
    const std::string stem = "same-" + scratch.path().filename().native();
    // Entries another program left behind: an info file alone and a file alone.
    fs::create_directories(homeTrash() / "info");
    fs::create_directories(homeTrash() / "files");
    std::ofstream(homeTrash() / "info" / (stem + ".txt.trashinfo")) << "[Trash Info]\n";
    std::ofstream(homeTrash() / "files" / (stem + ".2.txt")) << "left";

    std::set<fs::path> names;
    for (const char* folder : {"a", "b", "c"}) {
        const fs::path item = scratch.file(std::string(folder) + "/" + stem + ".txt", folder);
        const auto trashed = Trash::moveToTrash(item);
        ASSERT_TRUE(trashed);
        EXPECT_EQ(readFile(trashed->trashed), folder);
        EXPECT_EQ(decodedPathKey(trashed->info), item.native());
        names.insert(trashed->trashed.filename());
    }
    EXPECT_EQ(names, (std::set<fs::path>{stem + ".3.txt", stem + ".4.txt", stem + ".5.txt"}));
    EXPECT_EQ(readFile(homeTrash() / "files" / (stem + ".2.txt")), "left");
    EXPECT_EQ(readFile(homeTrash() / "info" / (stem + ".txt.trashinfo")), "[Trash Info]\n");
}

TEST(TrashTest, BadItemsAndUnusableHomeTrashes)
{
    TempDir scratch;
    EXPECT_EQ(Trash::moveToTrash(scratch / "gone").error().code, ENOENT);
    {
        // Names that would normalize to a folder around the item; from inside a scratch
        // folder, so that a fault could only ever take that folder.
        const fs::path inside = scratch.folder("cwd/sub");
        const fs::path before = fs::current_path();
        fs::current_path(inside);
        Cleanup back{[&] { fs::current_path(before); }};
        for (const char* bad : {"", ".", "..", "./", "sub/.", "sub/..", "sub/../", "/"})
            EXPECT_EQ(Trash::moveToTrash(bad).error().code, EINVAL) << bad;
        EXPECT_TRUE(fs::is_directory(inside));
        // A relative item is recorded with its absolute path.
        std::ofstream("rel.txt") << "rel";
        const auto relative = Trash::moveToTrash("rel.txt");
        ASSERT_TRUE(relative);
        EXPECT_EQ(decodedPathKey(relative->info), (inside / "rel.txt").native());
        ASSERT_TRUE(Trash::restore(*relative));
    }

    const fs::path elsewhere = scratch.folder("elsewhere");
    const fs::path item = scratch.file("item", "x");
    const std::pair<const char*, std::function<void(const fs::path&)>> cases[] = {
        {"link", [&](const fs::path& trash) { fs::create_symlink(elsewhere, trash); }},
        {"open to others",
         [](const fs::path& trash) {
             fs::create_directory(trash);
             ::chmod(trash.c_str(), 0777);
         }},
        {"files is a link",
         [&](const fs::path& trash) {
             fs::create_directory(trash);
             fs::create_symlink(elsewhere, trash / "files");
         }},
    };
    for (const auto& [what, prepare] : cases) {
        const fs::path data = scratch.folder(std::string("data ") + what);
        prepare(data / "Trash");
        DataHome redirected(data);
        const auto result = Trash::moveToTrash(item);
        ASSERT_FALSE(result) << what;
        EXPECT_EQ(result.error(), Error::fromErrno(Trash::kNoTrash, item)) << what;
        EXPECT_EQ(readFile(item), "x");
        EXPECT_EQ(entryCount(elsewhere), 0u) << what;
    }
    // A missing home trash is made, private to us.
    const fs::path fresh = scratch / "fresh" / "share";
    DataHome redirected(fresh);
    ASSERT_TRUE(Trash::moveToTrash(item));
    for (const char* part : {"", "files", "info"})
        EXPECT_EQ(modeOf(fresh / "Trash" / part), 0700u) << part;
}

TEST(TrashTest, SharesTheHomeTrashWithGio)
{
    if (gio().isEmpty())
        GTEST_SKIP() << "gio is not installed (package libglib2.0-bin)";
    TempDir scratch;
    const fs::path item = scratch.file("gio & quillo\n日本 100%.txt", "theirs");
    const ProcessRun theirs = runProcess(gio(), {"trash", QString::fromStdString(item.native())});
    ASSERT_TRUE(theirs.ok) << theirs.err;
    std::optional<fs::path> theirInfo;
    for (const auto& entry : fs::directory_iterator(homeTrash() / "info"))
        if (decodedPathKey(entry.path()) == item.native())
            theirInfo = entry.path();
    ASSERT_TRUE(theirInfo);
    const fs::path theirFile = homeTrash() / "files" / theirInfo->stem();

    scratch.file("gio & quillo\n日本 100%.txt", "ours");
    const auto ours = Trash::moveToTrash(item);
    ASSERT_TRUE(ours);
    EXPECT_EQ(pathKey(ours->info), pathKey(*theirInfo)); // the same encoding of the same path
    EXPECT_NE(ours->trashed, theirFile);
    EXPECT_EQ(readFile(theirFile), "theirs");

    // Undo works on gio's entry too: it is the same layout.
    ASSERT_TRUE(Trash::restore(*ours));
    EXPECT_EQ(readFile(item), "ours");
    fs::remove(item);
    ASSERT_TRUE(Trash::restore({item, theirFile, *theirInfo}));
    EXPECT_EQ(readFile(item), "theirs");
    EXPECT_FALSE(fs::exists(*theirInfo));
}

TEST(TrashTest, GioListsWhatWeTrashed)
{
    // Listing goes through the trash:/// location, which GVfs serves over a session bus.
    // A private one: GVfs started from it sees this test's HOME and XDG_DATA_HOME, and
    // the desktop's own session is left alone.
    const QString session = QStandardPaths::findExecutable(QStringLiteral("dbus-run-session"));
    if (gio().isEmpty() || session.isEmpty())
        GTEST_SKIP() << "needs gio and dbus-run-session (libglib2.0-bin, dbus-daemon)";
    const auto listing = [&] { return runProcess(session, {"--", gio(), "trash", "--list"}); };
    if (const ProcessRun probe = listing(); !probe.ok)
        GTEST_SKIP() << "gio cannot list the trash here (GVfs missing?): " << probe.err;
    TempDir scratch;
    const fs::path item = scratch.file("listed by gio 100% 日本.txt", "x");
    const auto trashed = Trash::moveToTrash(item);
    ASSERT_TRUE(trashed);
    Cleanup restore{[&] { (void)Trash::restore(*trashed); }};
    // gio shows the original path with bytes beyond ASCII as \xNN.
    std::string shown;
    for (const unsigned char c : item.native()) {
        char escaped[8];
        std::snprintf(escaped, sizeof escaped, "\\x%02x", unsigned(c));
        shown += c < 0x80 ? std::string(1, char(c)) : std::string(escaped);
    }
    const ProcessRun run = listing();
    EXPECT_NE(run.out.find("\t" + shown + "\n"), std::string::npos) << run.out << shown;
}

namespace {

} // namespace

// Runs last: the first volume case moves this program into its own mount namespace.
TEST(TrashTest, VolumesUseOnlyTrustworthyTrashFolders)
{
    if (const std::string reason = privateMountsUnavailable(); !reason.empty())
        GTEST_SKIP() << reason;
    TempDir scratch;
    const std::string own = ".Trash-" + kUid;
    const auto folder = [](const fs::path& p, mode_t mode) {
        fs::create_directories(p);
        ::chmod(p.c_str(), mode);
    };
    const auto sticky = [&](const fs::path& v) { folder(v / ".Trash", 01777); };
    struct Case {
        const char* what;
        std::function<void(const fs::path& volume)> prepare;
        std::string trash; // relative to the volume; empty: no usable trash
        bool readOnly = false;
    };
    const Case cases[] = {
        {"none yet", [](const fs::path&) {}, own},
        {"sticky .Trash", sticky, ".Trash/" + kUid},
        {"sticky .Trash with ours",
         [&](const fs::path& v) { sticky(v), folder(v / ".Trash" / kUid, 0700); },
         ".Trash/" + kUid},
        {"no sticky bit", [&](const fs::path& v) { folder(v / ".Trash", 0777); }, own},
        {".Trash is a link",
         [&](const fs::path& v) {
             folder(v / "elsewhere", 01777);
             fs::create_directory_symlink("elsewhere", v / ".Trash");
         },
         own},
        {".Trash/$uid is a link",
         [&](const fs::path& v) {
             sticky(v), folder(v / "elsewhere", 0700);
             fs::create_directory_symlink("../elsewhere", v / ".Trash" / kUid);
         },
         own},
        {".Trash-$uid is a link",
         [&](const fs::path& v) {
             folder(v / "elsewhere", 0700);
             fs::create_directory_symlink("elsewhere", v / own);
         },
         ""},
        {".Trash-$uid open to others", [&](const fs::path& v) { folder(v / own, 0755); }, ""},
        {".Trash-$uid someone else's",
         [&](const fs::path& v) {
             folder(v / own, 0700);
             ASSERT_EQ(::chown((v / own).c_str(), ::getuid() + 1, ::getgid()), 0);
         },
         ""},
        {"read-only", [](const fs::path&) {}, "", true},
        {"read-only with a trash",
         [&](const fs::path& v) {
             folder(v / own / "files", 0700), folder(v / own / "info", 0700);
         },
         "", true},
    };
    const size_t homeEntries = entryCount(homeTrash() / "info");
    std::vector<std::unique_ptr<Mount>> mounts;
    for (const Case& c : cases) {
        const fs::path volume = scratch / ("volume" + std::to_string(mounts.size()));
        mounts.push_back(std::make_unique<Mount>("quillo-test", volume, "tmpfs", 0));
        ASSERT_TRUE(mounts.back()->ok) << "cannot mount a tmpfs";
        ::chmod(volume.c_str(), 0755);
        c.prepare(volume);
        // Reached through a link: Path is relative to the physical mount point.
        fs::create_directories(volume / "dir");
        const fs::path via = scratch / ("via-" + volume.filename().native());
        fs::create_directory_symlink(volume / "dir", via);
        const fs::path item = via / "x y";
        std::ofstream(item) << c.what;
        const unsigned long readOnly = MS_REMOUNT | MS_RDONLY;
        ASSERT_TRUE(!c.readOnly || !::mount(nullptr, volume.c_str(), nullptr, readOnly, nullptr));
        const auto trashed = Trash::moveToTrash(item);
        EXPECT_EQ(entryCount(volume / "elsewhere"), 0u) << c.what;
        if (c.trash.empty()) {
            ASSERT_FALSE(trashed) << c.what;
            EXPECT_EQ(trashed.error(), Error::fromErrno(Trash::kNoTrash, item)) << c.what;
            EXPECT_EQ(readFile(item), c.what);
            continue;
        }
        ASSERT_TRUE(trashed) << c.what << " " << trashed.error().code;
        EXPECT_EQ(trashed->trashed, volume / c.trash / "files" / "x y") << c.what;
        EXPECT_EQ(pathKey(trashed->info), "dir/x%20y") << c.what;
        EXPECT_EQ(modeOf(volume / c.trash) & 077, 0u) << c.what;
        ASSERT_TRUE(Trash::restore(*trashed)) << c.what;
        EXPECT_EQ(readFile(item), c.what);
    }
    // A bind mount of a folder of the home file system: same device, but no rename across.
    const fs::path source = scratch.file("source/item", "bound").parent_path();
    Mount bound(source.c_str(), scratch / "bound", nullptr, MS_BIND);
    ASSERT_TRUE(bound.ok);
    EXPECT_EQ(Trash::moveToTrash(scratch / "bound/item").error().code, Trash::kNoTrash);
    EXPECT_EQ(readFile(source / "item"), "bound");
    // Mount points themselves (another device, or a bind mount on the same one, reached
    // through a name with a blank) are refused before any trash folder is made.
    const fs::path around = scratch / "around";
    Mount tmpfs("quillo-test", around / "tmpfs point", "tmpfs", 0);
    Mount bindPoint(source.c_str(), around / "bind point", nullptr, MS_BIND);
    ASSERT_TRUE(tmpfs.ok && bindPoint.ok);
    for (const Mount* point : {&tmpfs, &bindPoint}) {
        EXPECT_EQ(Trash::moveToTrash(point->point).error(),
                  Error::fromErrno(Trash::kMountPoint, point->point));
        EXPECT_EQ(entryCount(around), 2u) << point->point;
    }
    EXPECT_FALSE(fs::exists(scratch / own));
    EXPECT_EQ(entryCount(homeTrash() / "info"), homeEntries);
}
