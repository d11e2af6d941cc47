#pragma once

#include <QDateTime>
#include <QFuture>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <string_view>
#include <variant>
#include <vector>

class QObject;
struct sqlite3;

// Folders the user opened, with a visit weight that decays so the palette can offer
// frequently and recently used folders first. One SQLite table; main thread only.
// Every failure is silent: a history that cannot be opened stays empty and inert.
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
    // transaction with the aging. Waits at most a moment for another process's write;
    // past that the visit is dropped.
    void visit(const std::filesystem::path& folder, const QDateTime& now);

    // Up to 5000 entries, highest rank first. Served from memory until the next write;
    // the reference stays valid until then.
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
    void dropCache() { m_cache.reset(); }

    sqlite3* m_db = nullptr;
    std::filesystem::path m_corruptCopy;
    std::optional<std::vector<Entry>> m_cache;
};
