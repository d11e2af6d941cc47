#pragma once

#include <cstdint>
#include <filesystem>

// Folder sizes for the size column and the transfer progress bar.
namespace TreeSize {

// What a walk counted. Not complete when something in the tree could not be read
// (a folder without permission, an I/O error): the true total is then larger.
struct Measure {
    int64_t bytes = 0;
    bool complete = true;
    bool operator==(const Measure&) const = default;
};

// Sum of the sizes of the regular files in the tree at `path`, hidden ones included;
// folders add nothing themselves and links inside the tree count 0, never followed.
// Anything that is not a folder (a file, a link: its own size, not its target's)
// counts its own size; nothing there counts 0. Unreadable entries are skipped and
// make the measure incomplete; items that vanish during the walk do not.
// A large tree is read by a few threads of its own, started only once the folders
// waiting to be read pile up; each holds at most one descriptor at a time.
Measure measure(const std::filesystem::path& path);
// measure(path).bytes
int64_t total(const std::filesystem::path& path);

} // namespace TreeSize
