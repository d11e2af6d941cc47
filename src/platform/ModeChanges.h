#pragma once

#include "platform/Error.h"

#include <filesystem>
#include <sys/types.h>
#include <vector>

// Changes the permission bits of items, folders optionally with everything inside.
// Symbolic links are never followed and never changed (Linux has no lchmod).
namespace ModeChanges {

struct Request {
    std::vector<std::filesystem::path> items;
    mode_t value = 0;       // the wanted bits, of those in the masks
    mode_t folderMask = 0;  // which bits of folders take `value`
    mode_t fileMask = 0;    // which bits of everything else take it
    bool recursive = false; // folders: their contents too
};

struct Change {
    std::filesystem::path path;
    mode_t oldMode = 0; // permission bits only (07777)
    mode_t newMode = 0;
    bool operator==(const Change&) const = default;
};

struct Outcome {
    std::vector<Change> changed; // in the order they were made
    std::vector<Error> failures; // the item, or the folder whose contents were out of reach
};

// Slow for large trees: for a worker thread.
Outcome apply(const Request& request);
// Sets each change's old mode, newest first, so every folder is passable again when
// its contents are restored; `forward` sets the new modes in the original order.
std::vector<Error> replay(const std::vector<Change>& changes, bool forward);

} // namespace ModeChanges
