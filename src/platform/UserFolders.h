#pragma once

#include <filesystem>
#include <vector>

// The user's standard folders as xdg-user-dirs names them.
namespace UserFolders {

enum class Kind { home, desktop, documents, downloads };

struct Folder {
    Kind kind;
    std::filesystem::path path; // byte-exact, as the settings give it
};

// Home, desktop, documents and downloads, in that order, re-reading user-dirs.dirs.
// A folder that is not set, or that equals home or one listed before it, is left out
// (a disabled desktop is set to home itself). Main thread only: GLib's cache of these
// folders is not safe to reload from two threads.
std::vector<Folder> standard();

} // namespace UserFolders
