#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <stop_token>
#include <string_view>
#include <vector>

// The items under a folder for the palette's file search. Breadth-first, so shallow
// items come first when the limit cuts the walk; names sorted bytewise within a folder.
// Hidden items (a name beginning with ".") are left out unless asked for, with all
// they contain. Links are listed but never entered, so a link loop cannot trap the
// walk; folders that cannot be read are listed with nothing under them.
namespace FileIndex {

struct Entry {
    std::filesystem::path path; // the raw name bytes, as the kernel gave them
    bool isDirectory = false;   // a link to a folder counts, though it is not entered
    bool operator==(const Entry&) const = default;
};

inline constexpr size_t defaultLimit = 10000;

// Folders of tools and dependencies: listed themselves, never entered.
bool isSkippedFolder(std::string_view name);

// Asked before each folder is read; true ends the walk with what it has so far.
using StopCheck = std::function<bool()>;

// The items under `folder` (not the folder itself), at most `limit` of them.
std::vector<Entry> collect(const std::filesystem::path& folder, bool includeHidden,
                           size_t limit = defaultLimit, std::stop_token stop = {});
std::vector<Entry> collect(const std::filesystem::path& folder, bool includeHidden, size_t limit,
                           const StopCheck& shouldStop);

} // namespace FileIndex
