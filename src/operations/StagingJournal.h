#pragma once

#include "platform/Error.h"
#include "platform/FileIdentity.h"
#include "platform/ProcessStamp.h"

#include <QString>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <vector>

// The hidden items a process is writing (copies staged under a hidden name, a
// replacement made beside the old item), recorded durably before each item is made,
// one record file per running process. A process killed mid-copy leaves its record;
// recover() then removes what it left, or finishes its cross-device move.
class StagingJournal {
public:
    enum class Kind { copy, move, replaceCopy, replaceMove };

    struct Entry {
        Kind kind = Kind::copy;
        std::filesystem::path hidden;               // the hidden item, always named ".quillo-…"
        std::filesystem::path destination;          // the name it is renamed to when complete
        std::filesystem::path source;               // what the user copied or moved
        std::optional<FileIdentity> sourceIdentity; // a move: the item that goes last
        std::optional<FileIdentity> copied;         // a move: the hidden copy once synced
    };

    // One entry for as long as it lives; the record drops it on destruction.
    class Ticket {
    public:
        Ticket() = default;
        Ticket(Ticket&& other) noexcept;
        Ticket& operator=(Ticket&&) = delete;
        ~Ticket();
        // The hidden copy of a move is complete and synced: from now on a recovery
        // renames it into place and removes the source, rather than removing it.
        void markCopied(const FileIdentity& copy);
        // The hidden item could not be removed: the entry stays in the record, so that
        // the next start (when this process is gone) removes it.
        void keep() { m_journal = nullptr; }

    private:
        friend class StagingJournal;
        StagingJournal* m_journal = nullptr;
        uint64_t m_id = 0;
    };

    struct Unfinished {
        std::filesystem::path source;
        std::filesystem::path destination;
        std::filesystem::path leftAt; // where the item now is, when not at either
        std::optional<Error> error;
    };

    struct Report {
        std::vector<std::filesystem::path> removed;  // hidden partial items removed
        std::vector<std::filesystem::path> finished; // moves and replacements completed
        std::vector<Unfinished> unfinished;          // moves that could not be completed
        bool isEmpty() const { return removed.empty() && finished.empty() && unfinished.empty(); }
        // For an alert: one line per unfinished move; empty when there is none.
        QString alertText() const;
    };

    // Records in `folder`, written on behalf of `owner`.
    StagingJournal(std::filesystem::path folder, ProcessStamp owner);
    StagingJournal(const StagingJournal&) = delete;
    StagingJournal& operator=(const StagingJournal&) = delete;

    // This process's journal in $XDG_DATA_HOME/Quillo/transfers.
    static StagingJournal& shared();

    // Records the entry (durably) before the caller makes the hidden item. A journal
    // that cannot be written is logged, and the transfer goes on without it.
    Ticket begin(Entry entry);

    // Claims the records of processes that are no longer running (never those of a
    // running one), removes the hidden items they list, completes their moves, and
    // logs what it did. Safe to call from several threads and processes at once.
    Report recover();

    const std::filesystem::path& folder() const { return m_folder; }

private:
    void markCopied(uint64_t id, const FileIdentity& copy);
    void finish(uint64_t id);
    void save(); // with m_mutex held

    std::filesystem::path m_folder;
    ProcessStamp m_owner;
    std::mutex m_mutex;
    std::vector<std::pair<uint64_t, Entry>> m_entries;
    uint64_t m_nextId = 1;
    uint64_t m_claims = 0;
    bool m_warned = false;
};
