#pragma once

#include "operations/ArchiveFailure.h"

#include <filesystem>

class TransferProgress;

// Expands any archive libarchive reads (zip, tar and its compressed forms, 7z,
// rar, iso, cpio) in-process, safely: into a fresh ".quillo-expand-" folder beside
// the archive, moved into place only when complete. One top-level entry lands
// beside the archive under its own (freed) name; several land in a folder named
// after the archive (freed). "__MACOSX" is dropped and ".DS_Store" ignored.
namespace ArchiveExtractor {

// Returns the path of what it made. Progress counts archive bytes read; a cancel
// or a failure leaves nothing behind.
ArchiveResult<std::filesystem::path> expand(const std::filesystem::path& archive,
                                            TransferProgress& progress);

} // namespace ArchiveExtractor
