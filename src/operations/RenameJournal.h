#pragma once

#include "platform/Error.h"
#include "platform/FileIdentity.h"
#include "platform/ProcessStamp.h"

#include <QString>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

// The plans of the bulk renames a process is running, one durable record per
// rename (written to a temporary file, synced, renamed over, folder synced), so
// that a rename cut short by a crash or a kill is finished or rolled back at the
// next start: every item ends under its old or its new name, never under a
// hidden temporary one.
class RenameJournal {
public:
    // One item: its folder (an index into the plan's folders) and its names, raw bytes.
    struct Step {
        uint32_t folder = 0;
        std::string oldName;
        std::string newName;
        std::optional<FileIdentity> identity; // the item, to tell it from others
    };

    // One rename. Item i's temporary name is `temporaryPrefix` and i in decimal.
    struct Plan {
        std::vector<std::filesystem::path> folders; // absolute
        std::string temporaryPrefix;                // ".quillo-rename-UUID-"
        std::vector<Step> steps;

        std::filesystem::path oldPath(size_t i) const;
        std::filesystem::path temporaryPath(size_t i) const;
        std::filesystem::path newPath(size_t i) const;
    };

    struct Report {
        int finished = 0;                          // renames completed to their new names
        int rolledBack = 0;                        // renames put back under their old names
        std::vector<std::filesystem::path> leftAt; // items that stay under a temporary name
        bool isEmpty() const { return finished == 0 && rolledBack == 0 && leftAt.empty(); }
        // Japanese text telling the person what was done; empty when nothing was.
        QString alertText() const;
    };

    // Records in `folder`, written on behalf of `owner`.
    RenameJournal(std::filesystem::path folder, ProcessStamp owner);
    RenameJournal(const RenameJournal&) = delete;
    RenameJournal& operator=(const RenameJournal&) = delete;

    // This process's journal in $XDG_DATA_HOME/Quillo/renames.
    static RenameJournal& shared();

    // Writes the plan durably; returns its id, or the error (then nothing may be renamed).
    Result<uint64_t> begin(const Plan& plan);
    // The rename ended (done or rolled back): the record goes.
    void finish(uint64_t id);

    // Claims the records of processes no longer running (never a running one's),
    // finishes or rolls back each rename, logs and reports what it did.
    Report recover();

    const std::filesystem::path& folder() const { return m_folder; }

private:
    std::filesystem::path recordFile(uint64_t id) const;
    void settleRecord(const std::filesystem::path& claimed, Report& report);

    std::filesystem::path m_folder;
    ProcessStamp m_owner;
    std::mutex m_mutex;
    uint64_t m_nextId = 1;
};
