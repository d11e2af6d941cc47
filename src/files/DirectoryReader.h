#pragma once

#include "files/FileEntry.h"
#include "files/FileNode.h"
#include "platform/Error.h"

#include <QFuture>
#include <filesystem>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

// Reads one folder level into entries. Pure functions of the file system: any thread.
namespace DirectoryReader {

// Names never listed, whatever the hidden-files setting.
const std::unordered_set<std::string>& alwaysHiddenNames();

// One level, unsorted, in the file system's order. A folder that cannot be listed
// fails as a whole. Hidden = a name starting with "." or listed in the folder's
// ".hidden" file; hidden items are left out unless includeHidden.
Result<std::vector<FileEntry>> read(const std::filesystem::path& folder, bool includeHidden);

// The record for one path; never fails (unreadable items get defaults).
FileEntry entry(const std::filesystem::path& path);

// A reading handed from the thread pool to the main thread, as nodes ready to be
// adopted (FileNode::setChildren). Move-only, so that QFuture::then moves them.
struct Listing {
    FileNode::Children nodes;

    Listing() = default;
    explicit Listing(FileNode::Children n)
        : nodes(std::move(n))
    {
    }
    explicit Listing(std::vector<FileEntry> entries);
    Listing(Listing&&) = default;
    Listing& operator=(Listing&&) = default;
    Listing(const Listing&) = delete;
    Listing& operator=(const Listing&) = delete;
};

// read() on the thread pool, as nodes.
QFuture<Result<Listing>> readInBackground(const std::filesystem::path& folder, bool includeHidden);

// Free space of the volume holding the path, on the thread pool.
QFuture<std::optional<int64_t>> availableCapacity(const std::filesystem::path& path);

} // namespace DirectoryReader
