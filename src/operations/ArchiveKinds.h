#pragma once

#include <filesystem>

// Whether a file's name says it is an archive that 展開 can open (zip, the tar
// family, 7z, rar, iso, cpio, xar, cab, lha and their usual short forms).
namespace ArchiveKinds {

bool isExpandable(const std::filesystem::path& path);

} // namespace ArchiveKinds
