#pragma once

#include "operations/FileOperationManager.h"
#include "operations/TransferProgress.h"
#include "platform/Error.h"

#include <filesystem>
#include <memory>
#include <optional>

// The file work of one transferred item, run on the thread pool. The questions
// between the steps are asked on the main thread by TransferJob.
class CopiedLinks;

namespace TransferSteps {

// True when `path` lies strictly below `ancestor` (lexically).
bool isInside(const std::filesystem::path& path, const std::filesystem::path& ancestor);
// False when the item's path now names another file than the one the user saw.
bool matchesIdentity(const FileItem& item);

struct Probe {
    enum class Kind {
        free,      // `destination` is where the item goes
        duplicate, // a copy into its own folder: a copy-style name beside it
        conflict,  // something stands at `destination`
        skip,      // a move into its own folder
        changed,   // the path names another file now
    };
    Kind kind = Kind::free;
    std::filesystem::path destination;
};

Probe probe(const FileItem& item, const std::filesystem::path& folder, TransferMode mode);

struct Request {
    FileItem item;
    std::filesystem::path destination;
    TransferMode mode = TransferMode::copy;
    bool keepBoth = false;              // use a free copy-style name beside `destination`
    bool replace = false;               // the item at `destination` goes to the Trash
    std::shared_ptr<CopiedLinks> links; // the job's, so hard links among its items stay links
};

struct Outcome {
    std::filesystem::path destination;
    std::optional<TrashedItem> replaced;
    std::optional<Error> error;
    bool changed = false; // refused: the item is not the one the user saw
    bool noTrash = false; // a replacement refused: the old item had no trash to go to
};

Outcome perform(const Request& request, TransferProgress& progress);

// copyItem or moveItem, with the same-volume answer for the destination's folder.
Result<void> transferItem(const std::filesystem::path& source,
                          const std::filesystem::path& destination, TransferMode mode,
                          TransferProgress& progress, CopiedLinks* links = nullptr);

// True when `to` names the item at `from` itself: the same file, reached under a
// name in other letter case on a case-insensitive volume. A hard link of it under
// another name is another item.
bool namesSameItem(const std::filesystem::path& from, const std::filesystem::path& to);

// Never replaces another item; only when the new name already names this very
// item (namesSameItem) may it rename over.
Result<void> renameItem(const std::filesystem::path& from, const std::filesystem::path& to);

} // namespace TransferSteps
