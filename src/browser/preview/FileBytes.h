#pragma once

#include <QByteArray>
#include <expected>
#include <filesystem>

// The whole contents of a user's file for a viewer, read through its byte-exact path.
// Blocks on the disk: call it off the main thread.
namespace FileBytes {

enum class Failure { unreadable, tooLarge };

// Only regular files (following links), so a FIFO under a viewer's name never blocks
// the worker; larger than `limit` bytes fails with tooLarge before anything is read.
std::expected<QByteArray, Failure> read(const std::filesystem::path& file, qint64 limit);

} // namespace FileBytes
