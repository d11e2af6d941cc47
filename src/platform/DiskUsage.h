#pragma once

#include <cstdint>
#include <filesystem>

// Bytes the tree at `path` takes on disk (allocated blocks, st_blocks * 512), links
// counted as themselves and never followed, each inode once. Slow: for a worker thread.
int64_t diskUsage(const std::filesystem::path& path);
