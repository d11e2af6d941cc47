#include "palette/FolderHistory.h"

#include "support/TempDir.h"

#include <QObject>
#include <QRegularExpression>
#include <QTest>
#include <algorithm>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const QDateTime t0 = QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC);

void insertRows(sqlite3* db, const std::vector<std::pair<std::string, double>>& rows)
{
    sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
    for (const auto& [path, rank] : rows) {
        sqlite3_stmt* statement = nullptr;
        ASSERT_EQ(
            sqlite3_prepare_v2(db, "INSERT INTO folders VALUES (?, ?, 0)", -1, &statement, nullptr),
            SQLITE_OK);
        sqlite3_bind_text(statement, 1, path.data(), int(path.size()), SQLITE_TRANSIENT);
        sqlite3_bind_double(statement, 2, rank);
        EXPECT_EQ(sqlite3_step(statement), SQLITE_DONE);
        sqlite3_finalize(statement);
    }
    sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
}

// Writes rows through a second connection, as another process would.
void seed(const fs::path& file, const std::vector<std::pair<std::string, double>>& rows)
{
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
    insertRows(db, rows);
    sqlite3_close(db);
}

std::string queryText(sqlite3* db, const char* sql)
{
    sqlite3_stmt* statement = nullptr;
    std::string result;
    if (sqlite3_prepare_v2(db, sql, -1, &statement, nullptr) == SQLITE_OK &&
        sqlite3_step(statement) == SQLITE_ROW)
        result = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
    sqlite3_finalize(statement);
    return result;
}

std::vector<std::string> filesIn(const fs::path& folder)
{
    std::vector<std::string> names;
    for (const auto& item : fs::directory_iterator(folder))
        names.push_back(item.path().filename().native());
    std::ranges::sort(names);
    return names;
}

std::vector<fs::path> paths(const std::vector<FolderHistory::Entry>& entries)
{
    std::vector<fs::path> result;
    for (const auto& entry : entries)
        result.push_back(entry.path);
    return result;
}

void expectInert(FolderHistory& history)
{
    EXPECT_FALSE(history.isOpen());
    history.visit("/somewhere", t0);
    history.removeMissing();
    history.clear();
    EXPECT_TRUE(history.entries().empty());
    EXPECT_TRUE(history.mostFrecentFolders(10, t0).empty());
}

} // namespace

TEST(FolderHistoryTest, VisitsCountUpAndKeepTheLatestTime)
{
    TempDir dir;
    FolderHistory history(dir / "history.sqlite");
    history.visit("/data/./photos/../music/", t0);
    ASSERT_EQ(history.entries(), (std::vector<FolderHistory::Entry>{{"/data/music", 1.0, t0}}));

    for (int i = 1; i <= 4; ++i)
        history.visit("/data/music", t0.addSecs(60 * i));
    const std::vector<FolderHistory::Entry> expected{{"/data/music", 5.0, t0.addSecs(240)}};
    EXPECT_EQ(history.entries(), expected);

    // Read back from disk by a fresh connection, milliseconds included.
    history.visit("/other", t0.addMSecs(1234));
    history.flush();
    FolderHistory reopened(dir / "history.sqlite");
    const std::vector<FolderHistory::Entry> onDisk{{"/data/music", 5.0, t0.addSecs(240)},
                                                   {"/other", 1.0, t0.addMSecs(1234)}};
    EXPECT_EQ(reopened.entries(), onDisk);
    EXPECT_EQ(reopened.entries().front().lastAccess.timeSpec(), Qt::UTC);
}

TEST(FolderHistoryTest, AgingStartsPastTheRankBudget)
{
    struct Case {
        const char* name;
        std::vector<std::pair<std::string, double>> seeded;
        std::vector<std::pair<std::string, double>> expected; // after one visit of "/new"
    };
    const std::vector<Case> cases{
        {"total exactly 10000.0: nothing decays",
         {{"/a", 9998.0}, {"/b", 1.0}},
         {{"/a", 9998.0}, {"/b", 1.0}, {"/new", 1.0}}},
        {"total 10000.5: all times 0.9, rows below 1 forgotten",
         {{"/a", 9998.4}, {"/b", 1.1}, {"/c", 1.2}},
         {{"/a", 9998.4 * 0.9}, {"/c", 1.2 * 0.9}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TempDir dir;
        {
            FolderHistory create(dir / "h.sqlite");
        }
        seed(dir / "h.sqlite", c.seeded);
        FolderHistory history(dir / "h.sqlite");
        history.visit("/new", t0);
        const auto& entries = history.entries();
        ASSERT_EQ(entries.size(), c.expected.size());
        for (size_t i = 0; i < entries.size(); ++i) {
            EXPECT_EQ(entries[i].path, c.expected[i].first);
            EXPECT_NEAR(entries[i].rank, c.expected[i].second, 1e-9);
        }
    }
}

TEST(FolderHistoryTest, FrecencyWeightsByAge)
{
    struct Case {
        const char* name;
        qint64 ageSeconds;
        double rank;
        double expected;
    };
    const std::vector<Case> cases{
        {"59 minutes", 59 * 60, 3, std::log2(13.0)},
        {"exactly one hour", 3600, 3, std::log2(7.0)},
        {"exactly one day", 86400, 3, std::log2(2.5)},
        {"exactly one week", 604800, 3, std::log2(1.75)},
        {"fractional rank", 10, 0.5, std::log2(3.0)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const FolderHistory::Entry entry{"/x", c.rank, t0};
        EXPECT_DOUBLE_EQ(FolderHistory::frecency(entry, t0.addSecs(c.ageSeconds)), c.expected);
    }
}

TEST(FolderHistoryTest, MostFrecentFoldersPreferRecentOverFrequent)
{
    TempDir dir;
    FolderHistory history(dir / "h.sqlite");
    for (int i = 0; i < 10; ++i)
        history.visit("/often", t0);          // rank 10, 10 days old: log2(3.5)
    history.visit("/recent", t0.addDays(10)); // rank 1, fresh: log2(5)
    history.visit("/old", t0);                // rank 1, old: log2(1.25)
    const QDateTime now = t0.addDays(10);
    EXPECT_EQ(history.mostFrecentFolders(5, now),
              (std::vector<fs::path>{"/recent", "/often", "/old"}));
    EXPECT_EQ(history.mostFrecentFolders(1, now), (std::vector<fs::path>{"/recent"}));
}

TEST(FolderHistoryTest, EnvironmentPathIntoMissingFolderIsCreated)
{
    TempDir dir;
    const fs::path file = dir / "not/yet/history.sqlite";
    qputenv("QUILLO_HISTORY_PATH", QByteArray::fromStdString(file.native()));
    EXPECT_EQ(FolderHistory::defaultFile(), file);
    FolderHistory::shared().visit(dir.path(), t0);
    FolderHistory::shared().flush();
    qunsetenv("QUILLO_HISTORY_PATH");

    EXPECT_TRUE(fs::is_regular_file(file));
    EXPECT_EQ(paths(FolderHistory(file).entries()), std::vector<fs::path>{dir.path()});
    EXPECT_EQ(FolderHistory::defaultFile().filename(), "history.sqlite");
    EXPECT_EQ(FolderHistory::defaultFile().parent_path().filename(), "Quillo");
}

TEST(FolderHistoryTest, UnusableFileLeavesAnInertHistory)
{
    TempDir dir;
    dir.file("plain", "x");
    {
        SCOPED_TRACE("parent is a regular file");
        FolderHistory history(dir / "plain/history.sqlite");
        expectInert(history);
    }
    {
        SCOPED_TRACE("a folder in the file's place is neither moved aside nor written into");
        dir.file("room/history.sqlite/inside", "x");
        FolderHistory history(dir / "room/history.sqlite");
        expectInert(history);
        EXPECT_EQ(filesIn(dir / "room/history.sqlite"), std::vector<std::string>{"inside"});
        EXPECT_EQ(readFile(dir / "room/history.sqlite/inside"), "x");
        EXPECT_EQ(filesIn(dir / "room"), std::vector<std::string>{"history.sqlite"});
    }
}

TEST(FolderHistoryTest, ReadOnlyFolderNeverChangesAnything)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root ignores folder permissions";
    TempDir dir;
    const fs::path locked = dir.folder("locked");
    {
        FolderHistory history(locked / "h.sqlite");
        history.visit("/kept", t0);
    }
    const std::vector<std::string> before = filesIn(locked);
    const std::string bytes = readFile(locked / "h.sqlite");
    ASSERT_EQ(::chmod(locked.c_str(), 0555), 0);
    {
        SCOPED_TRACE("no file yet");
        FolderHistory history(locked / "new.sqlite");
        expectInert(history);
    }
    {
        SCOPED_TRACE("an existing database");
        FolderHistory history(locked / "h.sqlite");
        history.visit("/dropped", t0);
        history.clear();
        EXPECT_TRUE(history.corruptCopy().empty());
    }
    EXPECT_EQ(filesIn(locked), before);
    EXPECT_EQ(readFile(locked / "h.sqlite"), bytes);
    ASSERT_EQ(::chmod(locked.c_str(), 0755), 0);
    EXPECT_EQ(paths(FolderHistory(locked / "h.sqlite").entries()), std::vector<fs::path>{"/kept"});
}

TEST(FolderHistoryTest, GarbageIsSetAsideAndAFreshHistoryStarts)
{
    struct Case {
        const char* name;
        std::string bytes;
    };
    const std::vector<Case> cases{
        {"short text", "not a database\n"},
        {"4 KiB of garbage", std::string(4096, '\xA5')},
        {"a database header over garbage",
         std::string("SQLite format 3\0", 16) + std::string(4 * 4096, '\x5A')},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TempDir dir;
        const fs::path file = dir.file("h.sqlite", c.bytes);
        {
            FolderHistory history(file);
            ASSERT_TRUE(history.isOpen());
            const fs::path copy = history.corruptCopy();
            EXPECT_EQ(copy.parent_path(), dir.path());
            EXPECT_TRUE(QRegularExpression("^h\\.sqlite\\.corrupt-\\d{8}-\\d{6}$")
                            .match(QString::fromStdString(copy.filename().native()))
                            .hasMatch())
                << copy;
            EXPECT_EQ(readFile(copy), c.bytes);
            EXPECT_TRUE(history.entries().empty());
            history.visit("/after", t0);
        }
        FolderHistory reopened(file);
        EXPECT_TRUE(reopened.corruptCopy().empty());
        EXPECT_EQ(paths(reopened.entries()), std::vector<fs::path>{"/after"});
    }
}

TEST(FolderHistoryTest, SetAsideNeverOverwritesAnEarlierCopy)
{
    TempDir dir;
    const fs::path file = dir.file("h.sqlite", "garbage one");
    // Every name the next few seconds could give is taken: the main file's plain name,
    // and the "-2" name through a leftover log only. The second before counts too:
    // time() reads a coarser clock than QDateTime and can lag it across a second.
    const QDateTime now = QDateTime::currentDateTime();
    std::vector<std::pair<fs::path, std::string>> taken;
    for (int second = -1; second < 5; ++second) {
        const std::string stamp = now.addSecs(second).toString("yyyyMMdd-HHmmss").toStdString();
        taken.emplace_back(dir.file("h.sqlite.corrupt-" + stamp, "earlier " + stamp),
                           "earlier " + stamp);
        taken.emplace_back(dir.file("h.sqlite.corrupt-" + stamp + "-2-wal", "earlier log"),
                           "earlier log");
    }
    FolderHistory history(file);
    ASSERT_TRUE(history.isOpen());
    const std::string name = history.corruptCopy().filename().native();
    EXPECT_TRUE(name.ends_with("-3")) << name;
    EXPECT_EQ(readFile(history.corruptCopy()), "garbage one");
    for (const auto& [path, contents] : taken)
        EXPECT_EQ(readFile(path), contents);
}

TEST(FolderHistoryTest, DamagedPagesAreCaughtAndTheLogMovesAlong)
{
    TempDir dir;
    const fs::path file = dir / "h.sqlite";
    {
        FolderHistory create(file);
    }
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
    sqlite3_exec(db, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
    std::vector<std::pair<std::string, double>> rows;
    for (int i = 0; i < 3000; ++i)
        rows.emplace_back("/projects/folder-" + std::to_string(10000 + i) + "/a/longer/name", 1.0);
    insertRows(db, rows);
    ASSERT_EQ(sqlite3_exec(db, "PRAGMA wal_checkpoint(TRUNCATE)", nullptr, nullptr, nullptr),
              SQLITE_OK);
    insertRows(db, {{"/zz/only-in-the-log", 1.0}});
    // Keep the log and its index on disk, as after a crash.
    sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    sqlite3_close(db);
    ASSERT_GT(fs::file_size(file), 40u * 4096);
    ASSERT_GT(fs::file_size(fs::path(file) += "-wal"), 0u);
    ASSERT_TRUE(fs::exists(fs::path(file) += "-shm"));

    std::string bytes = readFile(file);
    std::fill(bytes.begin() + 10 * 4096, bytes.begin() + 14 * 4096, '\xA5');
    dir.file("h.sqlite", bytes);
    const std::string log = readFile(fs::path(file) += "-wal");

    FolderHistory history(file);
    ASSERT_TRUE(history.isOpen());
    const fs::path copy = history.corruptCopy();
    ASSERT_FALSE(copy.empty());
    EXPECT_EQ(readFile(copy), bytes);
    EXPECT_EQ(readFile(fs::path(copy) += "-wal"), log);
    EXPECT_TRUE(fs::exists(fs::path(copy) += "-shm"));
    EXPECT_TRUE(history.entries().empty());
    history.visit("/fresh", t0);
    EXPECT_EQ(paths(history.entries()), std::vector<fs::path>{"/fresh"});
}

TEST(FolderHistoryTest, TwoHistoriesShareOneFile)
{
    TempDir dir;
    const fs::path file = dir / "h.sqlite";
    FolderHistory first(file);
    FolderHistory second(file);
    first.visit("/x", t0);
    second.visit("/y", t0);
    second.visit("/x", t0.addSecs(5));
    second.flush();
    EXPECT_EQ(first.entries(),
              (std::vector<FolderHistory::Entry>{{"/x", 2.0, t0.addSecs(5)}, {"/y", 1.0, t0}}));

    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &other), SQLITE_OK);
    EXPECT_EQ(queryText(other, "PRAGMA journal_mode"), "wal");
    {
        SCOPED_TRACE("another process holds the write lock: the visits wait for it, in order");
        ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
        first.visit("/while-locked", t0);
        first.clear();
        for (int i = 0; i < 50; ++i)
            first.visit(i % 2 ? "/after" : "/y", t0);
        first.remove({"/y"});
        first.visit("/while-locked", t0);
        ASSERT_EQ(sqlite3_exec(other, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
    }
    sqlite3_close(other);
    first.flush();
    second.visit("/after", t0);
    EXPECT_EQ(second.entries(), (std::vector<FolderHistory::Entry>{{"/after", 26.0, t0},
                                                                   {"/while-locked", 1.0, t0}}));
}

TEST(FolderHistoryTest, OddNamesRoundTripByteExact)
{
    TempDir dir;
    const fs::path invalid = dir.folder("bad\xff\xfe name");
    const fs::path newline = dir.folder("line\nbreak");
    const fs::path file = dir / "h.sqlite";
    {
        FolderHistory history(file);
        history.visit(invalid, t0);
        history.visit(invalid, t0);
        history.visit(newline, t0);
        EXPECT_EQ(paths(history.entries()), (std::vector<fs::path>{invalid, newline}));
    }
    FolderHistory history(file);
    EXPECT_EQ(paths(history.entries()), (std::vector<fs::path>{invalid, newline}));
    history.removeMissing(); // both exist under their raw names
    EXPECT_EQ(history.entries().size(), 2u);
    fs::remove(invalid);
    history.removeMissing();
    EXPECT_EQ(paths(history.entries()), std::vector<fs::path>{newline});
}

TEST(FolderHistoryTest, EveryWriteDropsTheCache)
{
    struct Case {
        const char* name;
        std::function<void(FolderHistory&, const TempDir&)> write;
        std::vector<std::string> expected;
    };
    const std::vector<Case> cases{
        {"visit",
         [](FolderHistory& h, const TempDir& d) { h.visit(d / "c", t0); },
         {"a", "b", "c"}},
        {"removeMissing", [](FolderHistory& h, const TempDir&) { h.removeMissing(); }, {"a", "b"}},
        {"clear", [](FolderHistory& h, const TempDir&) { h.clear(); }, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TempDir dir;
        dir.folder("a");
        dir.folder("b");
        dir.folder("c");
        FolderHistory history(dir / "h.sqlite");
        history.visit(dir / "a", t0);
        history.visit(dir / "a", t0);
        ASSERT_EQ(history.entries().size(), 1u);
        seed(dir / "h.sqlite", {{(dir / "b").native(), 1.5}});
        EXPECT_EQ(history.entries().size(), 1u) << "reads come from memory";

        c.write(history, dir);
        std::vector<fs::path> expected;
        for (const auto& name : c.expected)
            expected.push_back(dir / name);
        EXPECT_EQ(paths(history.entries()), expected);
    }
}

TEST(FolderHistoryTest, AsynchronousRemovalAppliesOnTheContextThread)
{
    TempDir dir;
    const fs::path kept = dir.folder("kept");
    FolderHistory history(dir / "h.sqlite");
    history.visit(kept, t0);
    history.visit(dir / "gone", t0);
    {
        SCOPED_TRACE("context gone first: nothing deleted");
        auto* context = new QObject;
        QFuture<void> future = history.removeMissingAsync(context);
        delete context;
        ASSERT_TRUE(QTest::qWaitFor([&] { return future.isFinished(); }));
        QCoreApplication::processEvents();
        EXPECT_EQ(history.entries().size(), 2u);
    }
    QObject context;
    QFuture<void> future = history.removeMissingAsync(&context);
    ASSERT_TRUE(QTest::qWaitFor([&] { return future.isFinished(); }));
    EXPECT_EQ(paths(history.entries()), std::vector<fs::path>{kept});
}
