#pragma once

#include "platform/Error.h"

#include <filesystem>
#include <string>
#include <string_view>

// Our own files (tags, settings data) are replaced whole: a crash leaves the old
// or the new contents, never a torn or empty file.
namespace AtomicFile {

// Creates the parent folders, writes a temporary file beside `file`, syncs it,
// renames it over `file` and syncs the folder.
Result<void> write(const std::filesystem::path& file, std::string_view bytes);

// As write, without the syncs: a killed process still leaves the old or the new
// contents, a power loss may leave the old. For records where that costs nothing.
Result<void> writeUnsynced(const std::filesystem::path& file, std::string_view bytes);

// Renames `file` to `file` + `suffix` (never over an existing item), so that an
// unreadable file is kept before a new one takes its name. Returns the new path.
Result<std::filesystem::path> setAside(const std::filesystem::path& file, std::string_view suffix);

// Swaps two items of one file system in one step (renameat2 RENAME_EXCHANGE): both
// names exist before and after, whatever happens in between. EINVAL where the file
// system cannot do it.
Result<void> exchange(const std::filesystem::path& a, const std::filesystem::path& b);

// The suffix a damaged file is kept under: ".corrupt-" and the local time,
// ".corrupt-20261123-231005".
std::string corruptSuffix();

} // namespace AtomicFile
