#pragma once

#include "platform/Error.h"
#include "platform/FileIdentity.h"
#include "platform/ProcessStamp.h"

#include <QString>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

// The hidden items a process is writing, recorded durably before each is made, in
// one record file per running process. Copies are staged under names that carry the
// process's own tag, and the record lists the folders it stages in, so that a copy
// costs a synced write only for a folder not yet listed; a move whose copy is complete
// and a replacement made beside the old item have entries of their own. A process
// killed mid-copy leaves its record; recover() then removes what it left, or finishes
// its cross-device move.
class StagingJournal {
public:
    enum class Kind {
        folder,      // `hidden` is FOLDER/PREFIX: any FOLDER/PREFIX* is ours
        move,        // a cross-device move staged at `hidden`
        replaceCopy, // a replacement made at `hidden`, beside `destination`
        replaceMove,
    };

    struct Entry {
        Kind kind = Kind::folder;
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

    // A fresh hidden name beside `destination` for a copy to be staged at; its folder
    // is recorded first (synced, the first time only).
    std::filesystem::path stagingPath(const std::filesystem::path& destination);

    // Records the entry before the caller makes the hidden item (a move's entry is
    // written only once marked copied: until then its folder's entry covers it). A
    // journal that cannot be written is logged, and the transfer goes on without it.
    Ticket begin(Entry entry);

    // Claims the records of processes that are no longer running (never those of a
    // running one), removes the hidden items they list, completes their moves, and
    // logs what it did. Safe to call from several threads and processes at once.
    Report recover();

    const std::filesystem::path& folder() const { return m_folder; }

private:
    void markCopied(uint64_t id, const FileIdentity& copy);
    void finish(uint64_t id);
    void save(bool synced); // with m_mutex held

    std::filesystem::path m_folder;
    ProcessStamp m_owner;
    std::string m_stagingPrefix; // ".quillo-copy-TAG-", TAG random for this journal
    std::mutex m_mutex;
    std::set<std::filesystem::path> m_stagingFolders;
    std::vector<std::pair<uint64_t, Entry>> m_entries;
    uint64_t m_nextId = 1;
    bool m_warned = false;
};
