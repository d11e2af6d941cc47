#pragma once

#include "platform/Error.h"
#include "platform/FileDescriptor.h"
#include "platform/FileIdentity.h"

#include <cstdint>
#include <filesystem>
#include <optional>

class CopiedLinks;

// Told about a copy as it goes, on the copying thread. Each call returns false to
// stop the copy (the user cancelled); the copy then fails with a cancellation.
class CopyObserver {
public:
    virtual ~CopyObserver() = default;
    // A regular file starts; `source` is its path.
    virtual bool fileStarted(const std::filesystem::path& source) = 0;
    // Bytes of the current file copied so far (called per chunk of at most 8 MiB).
    virtual bool dataCopied(int64_t bytesOfThisFile) = 0;
    // The current file is complete.
    virtual bool fileFinished() = 0;
};

// The Linux copy engine and the single-call file system operations the
// transfer needs. Nothing here asks or shows anything.
namespace FileCopier {

struct Options {
    // fsync every file and folder written, so that a move may remove its source.
    bool syncData = false;
    // Shared by the items of one job, so that hard links among them stay links.
    CopiedLinks* links = nullptr;
};

// Copies `source` (file, folder tree, link as a link, FIFO) to `destination`,
// which must not exist. Data by FICLONE, else copy_file_range in chunks, else
// read/write; then extended attributes, ACLs, mode, owner where permitted and
// times (folders after their contents). On failure or cancellation the partial
// destination is left for the caller to remove; the error names the failing path.
Result<void> copyTree(const std::filesystem::path& source, const std::filesystem::path& destination,
                      CopyObserver& observer, Options options = {});

// rename without replacing (renameat2 RENAME_NOREPLACE); EXDEV across file systems.
Result<void> renameNoReplace(const std::filesystem::path& from, const std::filesystem::path& to);
// rename that may replace `to` (used to put a finished replacement over the old item).
Result<void> renameReplacing(const std::filesystem::path& from, const std::filesystem::path& to);
// Removes a file, link or whole folder tree, not following links.
Result<void> removeTree(const std::filesystem::path& path);
// removeTree for a copy this engine made: each folder is made writable before its
// contents go, since a copied read-only folder must still be removable.
Result<void> removeCopy(const std::filesystem::path& path);
// mkdir without parents; an empty regular file with O_EXCL.
Result<void> makeFolder(const std::filesystem::path& path);
Result<void> makeEmptyFile(const std::filesystem::path& path);
// A new regular file opened for writing (O_EXCL): EEXIST when the name is taken.
Result<FileDescriptor> createExclusive(const std::filesystem::path& path);
// fsync of the folder holding `path`, so that a rename or creation in it is durable.
Result<void> syncFolderOf(const std::filesystem::path& path);
// A symbolic link at `path` holding `target`; EEXIST when the name is taken.
Result<void> makeSymbolicLink(const std::filesystem::path& target,
                              const std::filesystem::path& path);
// Whether the folder of `path` holds an entry spelt byte for byte as its name (on a
// case-insensitive volume a name may find an entry stored in other letter case).
bool isStoredName(const std::filesystem::path& path);
// lstat identity; nullopt when nothing is there.
std::optional<FileIdentity> identity(const std::filesystem::path& path);
// Sum of regular file sizes below `path` (or its own size), not following links;
// unreadable entries are skipped.
int64_t totalSize(const std::filesystem::path& path);

} // namespace FileCopier
