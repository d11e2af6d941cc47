#pragma once

#include "operations/ArchiveFailure.h"

#include <filesystem>
#include <vector>

class TransferProgress;

// Zip archives of a selection, written in-process with libarchive, streaming:
// memory stays constant whatever the size of the files.
namespace ArchiveWriter {

// "name.zip" for one item, "アーカイブ.zip" for several, made free in the items'
// folder with the numbered style ("a 2.zip").
std::filesystem::path destinationFor(const std::vector<std::filesystem::path>& items);

// Writes `items` (all in one folder; each a top-level entry with everything below
// it, links stored as links) to `archive`, which must not exist. The archive is
// written under a hidden name beside it and renamed into place only when complete,
// so that a failure or a cancel leaves nothing behind. Progress counts the bytes
// of the files read; `progress.isCancelled()` is checked between blocks. Names
// that are not UTF-8 are stored byte-exact; other non-ASCII names carry the UTF-8
// flag.
ArchiveResult<void> compress(const std::vector<std::filesystem::path>& items,
                             const std::filesystem::path& archive, TransferProgress& progress);

} // namespace ArchiveWriter
