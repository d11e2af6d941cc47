#pragma once

#include <filesystem>
#include <optional>
#include <sys/stat.h>

// The status of an item itself: a link is described, never followed.
namespace ItemStatus {

// Nothing when the item cannot be read (gone, no permission).
std::optional<struct stat> of(const std::filesystem::path& path);

} // namespace ItemStatus
