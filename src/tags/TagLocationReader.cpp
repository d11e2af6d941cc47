#include "tags/TagLocationReader.h"

#include "platform/DirectoryScanner.h"

#include <QtConcurrent>

namespace fs = std::filesystem;

namespace TagLocationReader {

DirectoryReader::Listing read(const std::vector<fs::path>& items)
{
    std::vector<FileEntry> entries;
    entries.reserve(items.size());
    for (const fs::path& item : items) {
        if (DirectoryScanner::exists(item))
            entries.push_back(DirectoryReader::entry(item));
    }
    return DirectoryReader::Listing(std::move(entries));
}

QFuture<Result<DirectoryReader::Listing>> readInBackground(std::vector<fs::path> items)
{
    return QtConcurrent::run(
        [items = std::move(items)]() -> Result<DirectoryReader::Listing> { return read(items); });
}

} // namespace TagLocationReader
