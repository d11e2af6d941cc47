#pragma once

#include <filesystem>
#include <optional>
#include <string>

// Thumbnails that other programs made, by the freedesktop thumbnail convention:
// $XDG_CACHE_HOME/thumbnails/{xx-large,x-large,large,normal}/MD5(URI).png, where
// URI is the file's file:// URI percent-encoded from its raw bytes.
namespace Thumbnails {

std::string md5Name(const std::filesystem::path& absolute); // "<hex md5>.png"
// The largest existing thumbnail that is not older than the file (its Thumb::MTime
// matches), or none. Reads the disk: call it off the main thread.
std::optional<std::filesystem::path> find(const std::filesystem::path& absolute);

} // namespace Thumbnails
