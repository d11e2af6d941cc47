#pragma once

#include "files/DirectoryReader.h"
#include "platform/Error.h"

#include <QFuture>
#include <filesystem>
#include <vector>

// The listing of a tag location: one entry per tagged item that still exists.
// Items that vanished are left out (they may come back when found again).
namespace TagLocationReader {

DirectoryReader::Listing read(const std::vector<std::filesystem::path>& items);
QFuture<Result<DirectoryReader::Listing>>
readInBackground(std::vector<std::filesystem::path> items);

} // namespace TagLocationReader
