#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace VolumeInfo {

// Free bytes for an unprivileged user on the volume holding the path
// (statvfs f_bavail * f_frsize); nullopt when it cannot be read.
std::optional<int64_t> availableCapacity(const std::filesystem::path& path);

} // namespace VolumeInfo
