#include "palette/FolderHistory.h"

#include "core/MainThread.h"
#include "core/PathText.h"
#include "platform/AtomicFile.h"
#include "platform/DirectoryScanner.h"

#include <QCoreApplication>
#include <QDebug>
#include <QObject>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentRun>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <sqlite3.h>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <tuple>

namespace {

constexpr const char* createTable = "CREATE TABLE IF NOT EXISTS folders (\n"
                                    "    path TEXT PRIMARY KEY,\n"
                                    "    rank REAL NOT NULL,\n"
                                    "    last_access REAL NOT NULL\n"
                                    ")";

// Past this total every visit shrinks all ranks, so old folders fade out.
constexpr double rankBudget = 10000.0;

double toSeconds(const QDateTime& time)
{
    return static_cast<double>(time.toMSecsSinceEpoch()) / 1000.0;
}

QDateTime fromSeconds(double seconds)
{
    return QDateTime::fromMSecsSinceEpoch(std::llround(seconds * 1000.0), Qt::UTC);
}

// The writes wait on their own thread, so another Quillo writing the file costs a
// visit only when it holds the file this long.
constexpr int busyTimeoutMs = 5000;

// The files SQLite keeps beside the database; they belong to it and move with it.
constexpr std::array<std::string_view, 3> companions{"-wal", "-shm", "-journal"};

std::filesystem::path withSuffix(std::filesystem::path path, std::string_view suffix)
{
    path += std::string(suffix);
    return path;
}

bool isCorruption(int code)
{
    const int primary = code & 0xff;
    return primary == SQLITE_NOTADB || primary == SQLITE_CORRUPT;
}

enum class Opening { opened, corrupt, failed };

Opening checkIntegrity(sqlite3* db)
{
    sqlite3_stmt* statement = nullptr;
    int code = sqlite3_prepare_v2(db, "PRAGMA quick_check", -1, &statement, nullptr);
    if (code == SQLITE_OK) {
        code = sqlite3_step(statement);
        if (code == SQLITE_ROW) {
            const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
            const bool ok = text && std::string_view(text) == "ok";
            sqlite3_finalize(statement);
            return ok ? Opening::opened : Opening::corrupt;
        }
    }
    sqlite3_finalize(statement);
    // Busy or an I/O error says nothing about the file: carry on without the check.
    return isCorruption(code) ? Opening::corrupt : Opening::opened;
}

Opening configure(sqlite3* db)
{
    // Checked before anything writes, so a damaged file is kept as it was found.
    if (const Opening health = checkIntegrity(db); health != Opening::opened)
        return health;
    // A visit is then an append without fsync: power loss may cost the last visits,
    // never the file. Either may fail (a read-only folder); the defaults still work.
    sqlite3_exec(db, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
    sqlite3_exec(db, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
    const int created = sqlite3_exec(db, createTable, nullptr, nullptr, nullptr);
    if (created == SQLITE_OK)
        return Opening::opened;
    return isCorruption(created) ? Opening::corrupt : Opening::failed;
}

std::pair<Opening, sqlite3*> openDatabase(const std::filesystem::path& file)
{
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) !=
        SQLITE_OK) {
        sqlite3_close_v2(db);
        return {Opening::failed, nullptr};
    }
    sqlite3_busy_timeout(db, busyTimeoutMs);
    const Opening result = configure(db);
    if (result == Opening::opened)
        return {result, db};
    // Closing must neither checkpoint the log into the damaged file nor delete the log.
    sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    sqlite3_close_v2(db);
    return {result, nullptr};
}

struct SetAside {
    std::filesystem::path copy; // empty when the database stayed where it was
    bool complete = false;      // its companions moved too
};

// Renames the database and its companions to one free "<file>.corrupt-<time>[-n]"
// name, never over anything and never deleting.
SetAside setAside(const std::filesystem::path& file)
{
    // Only a plain file is ours to move: not a folder or a link someone put there.
    const auto item = DirectoryScanner::statPath(file);
    if (!item || item->statFailed || !S_ISREG(item->mode))
        return {};
    const std::string stamp = AtomicFile::corruptSuffix();
    for (int attempt = 1; attempt <= 100; ++attempt) {
        const std::string suffix = attempt == 1 ? stamp : stamp + "-" + std::to_string(attempt);
        const std::filesystem::path target = withSuffix(file, suffix);
        if (std::ranges::any_of(companions, [&](std::string_view companion) {
                return DirectoryScanner::exists(withSuffix(target, companion));
            }))
            continue;
        const auto kept = AtomicFile::setAside(file, suffix);
        if (!kept && kept.error().code == EEXIST)
            continue;
        if (!kept)
            return {};
        for (std::string_view companion : companions) {
            const auto from = withSuffix(file, companion);
            const auto to = withSuffix(*kept, companion);
            if (DirectoryScanner::exists(from) &&
                ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0)
                return {*kept, false};
        }
        return {*kept, true};
    }
    return {};
}

} // namespace

FolderHistory::FolderHistory(const std::filesystem::path& file)
    : m_writer(std::make_unique<QThreadPool>())
{
    m_writer->setMaxThreadCount(1);
    std::error_code ignored;
    std::filesystem::create_directories(file.parent_path(), ignored);

    auto [opening, db] = openDatabase(file);
    if (opening == Opening::corrupt) {
        const SetAside moved = setAside(file);
        m_corruptCopy = moved.copy;
        if (!moved.complete) {
            // A stale log beside a fresh database would be replayed into it: stay closed.
            qWarning() << "history database is damaged and could not be set aside:"
                       << QString::fromStdString(file.native());
            return;
        }
        qWarning() << "history database was damaged; kept as"
                   << QString::fromStdString(moved.copy.native());
        std::tie(opening, db) = openDatabase(file);
    }
    m_db = db;
}

FolderHistory::~FolderHistory()
{
    flush();
    sqlite3_close_v2(m_db);
}

FolderHistory& FolderHistory::shared()
{
    // Stays open for the life of the application on purpose.
    static auto* history = [] {
        auto* made = new FolderHistory(defaultFile());
        // The last visits reach the file before the program ends.
        if (auto* app = QCoreApplication::instance())
            QObject::connect(app, &QCoreApplication::aboutToQuit, [made] { made->flush(); });
        return made;
    }();
    return *history;
}

std::filesystem::path FolderHistory::defaultFile()
{
    const QByteArray override = qgetenv("QUILLO_HISTORY_PATH");
    if (!override.isEmpty())
        return std::filesystem::path(override.toStdString());
    return PathText::dataHome() / "Quillo" / "history.sqlite";
}

bool FolderHistory::run(std::string_view sql, std::initializer_list<Value> bind)
{
    if (!m_db)
        return false;
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(m_db, sql.data(), static_cast<int>(sql.size()), &statement, nullptr) !=
        SQLITE_OK) {
        sqlite3_finalize(statement);
        return false;
    }
    int index = 1;
    for (const Value& value : bind) {
        if (const auto* text = std::get_if<std::string_view>(&value))
            // Raw bytes with their length: names that are not UTF-8 must come back as they went in.
            sqlite3_bind_text(statement, index, text->data(), static_cast<int>(text->size()),
                              SQLITE_TRANSIENT);
        else
            sqlite3_bind_double(statement, index, std::get<double>(value));
        ++index;
    }
    const int stepped = sqlite3_step(statement);
    sqlite3_finalize(statement);
    return stepped == SQLITE_DONE || stepped == SQLITE_ROW;
}

void FolderHistory::age()
{
    if (!m_db)
        return;
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(m_db, "SELECT SUM(rank) FROM folders", -1, &statement, nullptr) !=
        SQLITE_OK) {
        sqlite3_finalize(statement);
        return;
    }
    if (sqlite3_step(statement) == SQLITE_ROW && sqlite3_column_double(statement, 0) > rankBudget) {
        run("UPDATE folders SET rank = rank * 0.9", {});
        run("DELETE FROM folders WHERE rank < 1", {});
    }
    sqlite3_finalize(statement);
}

void FolderHistory::write(std::function<void()> work)
{
    QUILLO_ASSERT_MAIN_THREAD();
    m_cache.reset();
    if (m_db)
        m_writer->start(std::move(work));
}

void FolderHistory::transaction(const std::function<void()>& statements)
{
    // A busy file costs one wait, then the write is dropped.
    if (!run("BEGIN IMMEDIATE", {}))
        return;
    statements();
    if (!run("COMMIT", {}))
        run("ROLLBACK", {});
}

void FolderHistory::flush()
{
    m_writer->waitForDone();
}

void FolderHistory::visit(const std::filesystem::path& folder, const QDateTime& now)
{
    write([this, path = PathText::standardized(folder).native(), seconds = toSeconds(now)] {
        // One commit for the insert and the aging.
        transaction([&] {
            // Another window or process may have written a later visit first.
            run("INSERT INTO folders (path, rank, last_access) VALUES (?, 1, ?)\n"
                "ON CONFLICT(path) DO UPDATE SET rank = rank + 1, last_access = "
                "max(last_access, excluded.last_access)",
                {std::string_view(path), seconds});
            age();
        });
    });
}

const std::vector<FolderHistory::Entry>& FolderHistory::entries()
{
    QUILLO_ASSERT_MAIN_THREAD();
    static const std::vector<Entry> none;
    if (m_cache)
        return *m_cache;
    if (!m_db)
        return none;
    flush();
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(
            m_db, "SELECT path, rank, last_access FROM folders ORDER BY rank DESC LIMIT 5000", -1,
            &statement, nullptr) != SQLITE_OK) {
        sqlite3_finalize(statement);
        return none;
    }
    std::vector<Entry> result;
    while (sqlite3_step(statement) == SQLITE_ROW) {
        const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
        if (!bytes)
            continue;
        const std::string path(bytes, static_cast<size_t>(sqlite3_column_bytes(statement, 0)));
        result.push_back({std::filesystem::path(path), sqlite3_column_double(statement, 1),
                          fromSeconds(sqlite3_column_double(statement, 2))});
    }
    sqlite3_finalize(statement);
    m_cache = std::move(result);
    return *m_cache;
}

std::vector<std::filesystem::path>
FolderHistory::missingPaths(const std::vector<std::filesystem::path>& paths)
{
    std::vector<std::filesystem::path> missing;
    for (const auto& path : paths) {
        if (!DirectoryScanner::exists(path))
            missing.push_back(path);
    }
    return missing;
}

void FolderHistory::remove(const std::vector<std::filesystem::path>& paths)
{
    write([this, paths] {
        transaction([&] {
            for (const auto& path : paths)
                run("DELETE FROM folders WHERE path = ?", {std::string_view(path.native())});
        });
    });
}

void FolderHistory::removeMissing()
{
    std::vector<std::filesystem::path> paths;
    for (const Entry& entry : entries())
        paths.push_back(entry.path);
    remove(missingPaths(paths));
}

QFuture<void> FolderHistory::removeMissingAsync(QObject* context)
{
    QUILLO_ASSERT_MAIN_THREAD();
    std::vector<std::filesystem::path> paths;
    for (const Entry& entry : entries())
        paths.push_back(entry.path);
    return QtConcurrent::run([paths = std::move(paths)] { return missingPaths(paths); })
        .then(context,
              [this](const std::vector<std::filesystem::path>& missing) { remove(missing); });
}

void FolderHistory::clear()
{
    write([this] { transaction([this] { run("DELETE FROM folders", {}); }); });
}

double FolderHistory::frecency(const Entry& entry, const QDateTime& now)
{
    const double age = static_cast<double>(entry.lastAccess.msecsTo(now)) / 1000.0;
    const double weight = age < 3600 ? 4.0 : age < 86400 ? 2.0 : age < 604800 ? 0.5 : 0.25;
    return std::log2(weight * entry.rank + 1.0);
}

std::vector<std::filesystem::path> FolderHistory::mostFrecentFolders(size_t count,
                                                                     const QDateTime& now)
{
    const std::vector<Entry>& all = entries();
    std::vector<std::pair<double, const Entry*>> scored;
    scored.reserve(all.size());
    for (const Entry& entry : all)
        scored.emplace_back(frecency(entry, now), &entry);
    std::stable_sort(scored.begin(), scored.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    std::vector<std::filesystem::path> result;
    for (size_t i = 0; i < scored.size() && i < count; ++i)
        result.push_back(scored[i].second->path);
    return result;
}
