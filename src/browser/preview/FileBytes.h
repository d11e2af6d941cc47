#pragma once

#include <QByteArray>
#include <expected>
#include <filesystem>

// The whole contents of a user's file for a viewer, read through its byte-exact path.
// Blocks on the disk: call it off the main thread.
namespace FileBytes {

enum class Failure { unreadable, tooLarge };

// What an image or PDF viewer reads at most: the whole file is held in memory.
inline constexpr qint64 kViewerLimit = 256LL * 1024 * 1024;

// Only regular files (following links), so a FIFO under a viewer's name never blocks
// the worker; larger than `limit` bytes fails with tooLarge before anything is read.
std::expected<QByteArray, Failure> read(const std::filesystem::path& file, qint64 limit);

} // namespace FileBytes
