#include "platform/Trash.h"

#include "core/PathText.h"
#include "platform/TrashTesting.h"

#include <QDateTime>
#include <QProcess>
#include <QStandardPaths>
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <set>

namespace fs = std::filesystem;
using namespace TrashTesting;

namespace {

// Points XDG_DATA_HOME elsewhere for as long as it lives.
class DataHome {
public:
    explicit DataHome(const fs::path& path)
        : m_old(qgetenv("XDG_DATA_HOME"))
    {
        qputenv("XDG_DATA_HOME", QByteArray::fromStdString(path.native()));
    }
    ~DataHome() { qputenv("XDG_DATA_HOME", m_old); }

private:
    QByteArray m_old;
};

struct ProcessRun {
    bool finished = false;
    int status = -1;
    std::string out;
    std::string err;
};

ProcessRun runProcess(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    ProcessRun run;
    run.finished = process.waitForFinished() && process.exitStatus() == QProcess::NormalExit;
    run.status = process.exitCode();
    run.out = process.readAllStandardOutput().toStdString();
    run.err = process.readAllStandardError().toStdString();
    return run;
}

// The info file in the home trash whose Path names `original`.
std::optional<fs::path> infoNaming(const fs::path& original)
{
    for (const auto& entry : fs::directory_iterator(homeTrash() / "info")) {
        if (percentDecoded(pathKey(entry.path())) == original.native())
            return entry.path();
    }
    return std::nullopt;
}

} // namespace

TEST(TrashTest, HomeTrashRecordsTheRawPathAndRestoresItByteForByte)
{
    TempDir scratch;
    const std::string name = "a b\nc\xff%d.txt";
    const fs::path item = scratch.file(name, "contents\n");
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
    EXPECT_EQ(percentDecoded(match.captured(1).toStdString()), item.native());
    const QDateTime deleted = QDateTime::fromString(match.captured(2), Qt::ISODate);
    EXPECT_LT(std::abs(deleted.secsTo(QDateTime::currentDateTime())), 300) << "local time";

    ASSERT_TRUE(Trash::restore(*trashed));
    EXPECT_EQ(readFile(item), "contents\n");
    EXPECT_FALSE(fs::exists(fs::symlink_status(trashed->trashed)));
    EXPECT_FALSE(fs::exists(fs::symlink_status(trashed->info)));
}

TEST(TrashTest, FoldersLinksAndLongNamesGoAndComeBack)
{
    TempDir scratch;
    scratch.file("tree/inner/deep.txt", "deep");
    scratch.link("tree/link", "inner/deep.txt");
    scratch.link("dangling", "nowhere");
    scratch.file(std::string(255, 'L'), "long");
    std::string kana; // 84 three-byte characters and ".md": 255 bytes
    for (int i = 0; i < 84; ++i)
        kana += "あ";
    scratch.file(kana + ".md", "kana");
    for (const auto& entry : fs::directory_iterator(scratch.path())) {
        const fs::path item = entry.path();
        const auto trashed = Trash::moveToTrash(item);
        ASSERT_TRUE(trashed) << item << " " << trashed.error().code;
        EXPECT_LE(trashed->info.filename().native().size(), 255u);
        EXPECT_TRUE(PathText::isValidUtf8(trashed->trashed.filename().native()));
        EXPECT_EQ(percentDecoded(pathKey(trashed->info)), item.native());
        ASSERT_TRUE(Trash::restore(*trashed));
    }
    EXPECT_EQ(readFile(scratch / "tree/inner/deep.txt"), "deep");
    EXPECT_EQ(fs::read_symlink(scratch / "tree/link"), "inner/deep.txt");
    EXPECT_EQ(fs::read_symlink(scratch / "dangling"), "nowhere");
    EXPECT_EQ(readFile(scratch / std::string(255, 'L')), "long");
    EXPECT_EQ(entryCount(scratch.path()), 4u);
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
    EXPECT_EQ(restored.error().code, EEXIST);
    EXPECT_EQ(restored.error().path, item);
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
        EXPECT_EQ(trashed->trashed.extension(), ".txt");
        EXPECT_EQ(readFile(trashed->trashed), folder);
        EXPECT_EQ(percentDecoded(pathKey(trashed->info)), item.native());
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
        for (const char* bad : {"", ".", "..", "./", "sub/.", "sub/..", "sub/../", "/"}) {
            const auto result = Trash::moveToTrash(bad);
            ASSERT_FALSE(result) << bad;
            EXPECT_EQ(result.error().code, EINVAL) << bad;
        }
        EXPECT_TRUE(fs::is_directory(inside));
        // A relative item is recorded with its absolute path.
        std::ofstream("rel.txt") << "rel";
        const auto relative = Trash::moveToTrash("rel.txt");
        ASSERT_TRUE(relative);
        EXPECT_EQ(relative->original, inside / "rel.txt");
        EXPECT_EQ(percentDecoded(pathKey(relative->info)), (inside / "rel.txt").native());
        ASSERT_TRUE(Trash::restore(*relative));
    }

    const fs::path elsewhere = scratch.folder("elsewhere");
    const fs::path item = scratch.file("item", "x");
    struct Case {
        const char* what;
        std::function<void(const fs::path& data)> prepare;
    };
    const Case cases[] = {
        {"link", [&](const fs::path& data) { fs::create_symlink(elsewhere, data / "Trash"); }},
        {"open to others",
         [](const fs::path& data) {
             fs::create_directory(data / "Trash");
             ::chmod((data / "Trash").c_str(), 0777);
         }},
        {"files is a link",
         [&](const fs::path& data) {
             fs::create_directory(data / "Trash");
             fs::create_symlink(elsewhere, data / "Trash" / "files");
         }},
    };
    int n = 0;
    for (const Case& c : cases) {
        const fs::path data = scratch.folder("data" + std::to_string(++n));
        c.prepare(data);
        DataHome redirected(data);
        const auto result = Trash::moveToTrash(item);
        ASSERT_FALSE(result) << c.what;
        EXPECT_EQ(result.error(), Error::fromErrno(Trash::kNoTrash, item)) << c.what;
        EXPECT_EQ(readFile(item), "x");
        EXPECT_EQ(entryCount(elsewhere), 0u) << c.what;
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
    const QString gio = QStandardPaths::findExecutable(QStringLiteral("gio"));
    if (gio.isEmpty())
        GTEST_SKIP() << "gio is not installed (package libglib2.0-bin)";
    TempDir scratch;
    const fs::path item = scratch.file("gio & quillo\n日本 100%.txt", "theirs");
    const ProcessRun theirs =
        runProcess(gio, {QStringLiteral("trash"), QString::fromStdString(item.native())});
    ASSERT_TRUE(theirs.finished && theirs.status == 0) << theirs.err;
    const auto theirInfo = infoNaming(item);
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
    const QString gio = QStandardPaths::findExecutable(QStringLiteral("gio"));
    if (gio.isEmpty())
        GTEST_SKIP() << "gio is not installed (package libglib2.0-bin)";
    // Listing goes through the trash:/// location, which GVfs serves over a session bus.
    // A private one: GVfs started from it sees this test's HOME and XDG_DATA_HOME, and
    // the desktop's own session is left alone.
    const QString session = QStandardPaths::findExecutable(QStringLiteral("dbus-run-session"));
    if (session.isEmpty())
        GTEST_SKIP() << "dbus-run-session is not installed (package dbus-daemon)";
    const auto listing = [&] {
        return runProcess(session, {QStringLiteral("--"), gio, QStringLiteral("trash"),
                                    QStringLiteral("--list")});
    };
    if (const ProcessRun probe = listing(); !probe.finished || probe.status != 0)
        GTEST_SKIP() << "gio cannot list the trash here (GVfs missing?): " << probe.err;
    TempDir scratch;
    const fs::path item = scratch.file("listed by gio 100% 日本.txt", "x");
    const auto trashed = Trash::moveToTrash(item);
    ASSERT_TRUE(trashed);
    Cleanup restore{[&] { (void)Trash::restore(*trashed); }};
    // gio shows the original path with bytes beyond ASCII as \xNN.
    std::string shown;
    for (const char c : item.native()) {
        char escaped[8];
        std::snprintf(escaped, sizeof escaped, "\\x%02x", unsigned(static_cast<unsigned char>(c)));
        shown += static_cast<unsigned char>(c) < 0x80 ? std::string(1, c) : std::string(escaped);
    }
    const ProcessRun run = listing();
    EXPECT_NE(run.out.find("\t" + shown + "\n"), std::string::npos) << run.out << shown;
}

TEST(TrashTest, SecondFileSystemUsesItsOwnTrash)
{
    TempDir scratch;
    struct stat shm {
    }, local{};
    if (::stat("/dev/shm", &shm) != 0 || !S_ISDIR(shm.st_mode) || ::access("/dev/shm", W_OK) != 0)
        GTEST_SKIP() << "/dev/shm is not a writable folder";
    if (::stat(scratch.path().c_str(), &local) != 0 || local.st_dev == shm.st_dev)
        GTEST_SKIP() << "/dev/shm is on the same file system as the temporary folder";
    if (fs::exists(fs::symlink_status("/dev/shm/.Trash")))
        GTEST_SKIP() << "/dev/shm has an administrator's .Trash";
    const fs::path trash = "/dev/shm/.Trash-" + kUid;
    const bool hadTrash = fs::exists(fs::symlink_status(trash));
    std::string pattern = "/dev/shm/quillo-test-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    const fs::path folder = pattern;
    Cleanup cleanup{[&] {
        fs::remove_all(folder);
        if (!hadTrash) {
            for (const char* part : {"files", "info", ""})
                ::rmdir((trash / part).c_str()); // only when empty: others may use it now
        }
    }};
    const fs::path item = folder / "on shm";
    std::ofstream(item) << "shm";
    const auto trashed = Trash::moveToTrash(item);
    ASSERT_TRUE(trashed) << trashed.error().code;
    EXPECT_EQ(trashed->trashed.parent_path(), trash / "files");
    EXPECT_EQ(pathKey(trashed->info), folder.filename().native() + "/on%20shm");
    EXPECT_EQ(modeOf(trash) & 077, 0u);
    ASSERT_TRUE(Trash::restore(*trashed));
    EXPECT_EQ(readFile(item), "shm");
}
