#pragma once

#include <QByteArray>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

// Enough to find an item again after another program moved it: its device and
// inode and the path it had. Kept as a few bytes beside its tags.
struct FileBookmark {
    uint64_t device = 0;
    uint64_t inode = 0;
    std::filesystem::path path;

    // lstat of the path; nullopt when it cannot be stat'ed.
    static std::optional<FileBookmark> make(const std::filesystem::path& path);

    // The path is left out when it equals `impliedPath` (the path it is kept
    // beside), which keeps a large library small.
    QByteArray encoded(const std::filesystem::path& impliedPath = {}) const;
    static std::optional<FileBookmark> decode(const QByteArray& bytes,
                                              const std::filesystem::path& impliedPath = {});

    // Where the item is now: its old path when that is still the same item, else
    // the entry with its inode in the old folder, then in each of `moreFolders`.
    // Never mounts anything and never asks.
    std::optional<std::filesystem::path>
    resolve(const std::vector<std::filesystem::path>& moreFolders = {}) const;

    // True when `path` names this item (same device and inode).
    bool matches(const std::filesystem::path& candidate) const;

    bool operator==(const FileBookmark&) const = default;
};
