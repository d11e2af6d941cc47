#pragma once

#include <cstdint>

// Which file a path named when it was read: (st_dev, st_ino). An operation
// compares it again before acting, so that it never acts on a file that took
// the place of the one the user saw.
struct FileIdentity {
    uint64_t device = 0;
    uint64_t inode = 0;

    bool operator==(const FileIdentity&) const = default;
};
