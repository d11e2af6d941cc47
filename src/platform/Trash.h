#pragma once

#include "platform/Error.h"

#include <cerrno>
#include <filesystem>

// The freedesktop.org Trash: the home trash for items on the home file system,
// $topdir/.Trash/$uid (a real sticky folder) or $topdir/.Trash-$uid (ours, 0700)
// on other volumes. Items never leave their file system.
struct TrashedItem {
    std::filesystem::path original; // where the item was
    std::filesystem::path trashed;  // where it is now ($trash/files/NAME)
    std::filesystem::path info;     // its $trash/info/NAME.trashinfo

    bool operator==(const TrashedItem&) const = default;
};

namespace Trash {

// ENOTSUP in the error means the volume has no usable trash (read-only, bind
// mount, a trash folder that is a link or someone else's): ask before deleting.
constexpr int kNoTrash = ENOTSUP;
// A mount point is a volume of its own: it never goes to a trash (nor is deleted in
// its place).
constexpr int kMountPoint = EXDEV;

// Writes the .trashinfo first (O_EXCL), then renames the item into files/.
Result<TrashedItem> moveToTrash(const std::filesystem::path& path);
// Moves the item back without replacing anything that took its place (EEXIST),
// then removes its .trashinfo.
Result<void> restore(const TrashedItem& item);

} // namespace Trash
