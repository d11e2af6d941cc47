#pragma once

#include "platform/FileIdentity.h"

#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <sys/stat.h>

// The files with several links that the copies of one job have met, so that every
// later link becomes a link to the first copy, as cp -a does. The recorded copies
// follow the renames that put a finished item into place (moved) and are dropped
// with an item that is removed again (forget). Shared by the items of one job.
class CopiedLinks {
public:
    // The first copy of the file `source` describes, when it still stands where it
    // was recorded; nullopt for a file not met before.
    std::optional<std::filesystem::path> copyOf(const struct stat& source) const;
    // `copy` (of identity `made`) is the first copy of a file with several links.
    void remember(const struct stat& source, const std::filesystem::path& copy, FileIdentity made);
    // One more link of `source` was made; once all are made it is forgotten.
    void linked(const struct stat& source);
    // The item at `from` was renamed to `to`.
    void moved(const std::filesystem::path& from, const std::filesystem::path& to);
    // The item at `path` was removed.
    void forget(const std::filesystem::path& path);

private:
    struct Copy {
        std::filesystem::path path;
        FileIdentity made;
        // Guards against a source inode number reused by another file meanwhile.
        off_t size = 0;
        timespec modified{};
        nlink_t linksLeft = 0;
    };
    using Key = std::pair<dev_t, ino_t>;

    mutable std::mutex m_lock;
    std::map<Key, Copy> m_copies;
};
