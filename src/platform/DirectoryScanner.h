#pragma once

#include "platform/Error.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

// One item of a folder as the kernel reports it: the raw name bytes and the
// lstat fields the listing needs. A symbolic link also carries what its target is.
struct ScannedItem {
    std::string name;        // raw bytes, never re-encoded
    bool statFailed = false; // lstat failed: the other fields are defaults
    mode_t mode = 0;         // lstat st_mode (the link itself for a link)
    int64_t size = 0;        // st_size
    int64_t modifiedNs = 0;  // st_mtim in nanoseconds since 1970
    dev_t device = 0;
    ino_t inode = 0;
    bool linkTargetIsDirectory = false; // a link whose target exists and is a directory

    bool isSymbolicLink() const;
    bool isDirectory() const; // a directory, or a link to one
};

namespace DirectoryScanner {

// Lists one folder with openat + getdents64 + one fstatat per entry (and one stat
// per link). "." and ".." are skipped; the order is the file system's.
Result<std::vector<ScannedItem>> scan(const std::filesystem::path& folder);

// One item by path (lstat, plus stat for a link); nullopt when lstat fails.
std::optional<ScannedItem> statPath(const std::filesystem::path& path);

// The contents of a small file (at most maxBytes), or nullopt when it cannot be read.
std::optional<std::string> readSmallFile(const std::filesystem::path& path, size_t maxBytes);

// True when something (a dangling link included) exists at the path, without following links.
bool exists(const std::filesystem::path& path);

// True when the path names a directory, following links.
bool isDirectory(const std::filesystem::path& path);

} // namespace DirectoryScanner
