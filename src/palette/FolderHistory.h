#pragma once

#include <QDateTime>
#include <QFuture>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string_view>
#include <variant>
#include <vector>

class QObject;
class QThreadPool;
struct sqlite3;

// Folders the user opened, with a visit weight that decays so the palette can offer
// frequently and recently used folders first. One SQLite table, used from the main
// thread; the writes run there in order on a thread of their own, so navigating never
// waits for the disk, and a read first waits for the writes before it. Every failure
// is silent: a history that cannot be opened stays empty and inert.
// A damaged database is renamed aside (never deleted) and a fresh one started.
class FolderHistory {
public:
    struct Entry {
        std::filesystem::path path;
        double rank = 0;
        QDateTime lastAccess;
        bool operator==(const Entry&) const = default;
    };

    // Opens or creates the database file, creating its folder first. A file that
    // fails SQLite's quick check is kept as "<file>.corrupt-<time>" (with its -wal and
    // -shm) and a new database takes its name; when it cannot be moved, the history
    // stays closed and the file untouched.
    explicit FolderHistory(const std::filesystem::path& file);
    ~FolderHistory();
    FolderHistory(const FolderHistory&) = delete;
    FolderHistory& operator=(const FolderHistory&) = delete;

    // The application's history, opened at the default file on first use and kept open.
    static FolderHistory& shared();
    // $QUILLO_HISTORY_PATH when set, else Quillo/history.sqlite in the data folder.
    static std::filesystem::path defaultFile();

    bool isOpen() const { return m_db != nullptr; }

    // Where a damaged database was moved at open; empty when none was.
    const std::filesystem::path& corruptCopy() const { return m_corruptCopy; }

    // Records one visit of the folder (standardized lexically) at the given time, in one
    // transaction with the aging, in the background. Waits a few seconds for another
    // process's write; past that the visit is dropped.
    void visit(const std::filesystem::path& folder, const QDateTime& now);

    // Returns once every write asked for so far is in the database.
    void flush();

    // Up to 5000 entries, highest rank first. Served from memory until the next write
    // (then read again once the writes are done); the reference stays valid until then.
    const std::vector<Entry>& entries();

    // Deletes the rows of folders that no longer exist. Stats every folder on the
    // calling thread: prefer removeMissingAsync from the UI.
    void removeMissing();

    // Stats the folders on the thread pool, then deletes the missing rows on the
    // context's (main) thread. Nothing is deleted when the context is gone first.
    // The history must outlive the context.
    QFuture<void> removeMissingAsync(QObject* context);

    // The paths among these that no longer exist. Safe on any thread.
    static std::vector<std::filesystem::path>
    missingPaths(const std::vector<std::filesystem::path>& paths);

    // Deletes the rows of these paths.
    void remove(const std::vector<std::filesystem::path>& paths);

    // Forgets every folder.
    void clear();

    // log2(weight × rank + 1), the weight falling with the time since the last visit.
    static double frecency(const Entry& entry, const QDateTime& now);

    // Up to count paths, most frecent first (ties keep rank order).
    std::vector<std::filesystem::path> mostFrecentFolders(size_t count, const QDateTime& now);

private:
    using Value = std::variant<std::string_view, double>; // text or real

    bool run(std::string_view sql, std::initializer_list<Value> bind);
    void age();
    // Runs the statements in one transaction that takes the write lock up front: a
    // write that had to upgrade a read would fail at once when another process writes.
    void transaction(const std::function<void()>& statements);
    // Queues a write after the ones before it; what is cached is stale from now on.
    void write(std::function<void()> work);

    sqlite3* m_db = nullptr;
    std::unique_ptr<QThreadPool> m_writer; // one thread: the writes keep their order
    std::filesystem::path m_corruptCopy;
    std::optional<std::vector<Entry>> m_cache;
};
