#include "browser/preview/FileBytes.h"

#include "platform/FileReader.h"

namespace FileBytes {

std::expected<QByteArray, Failure> read(const std::filesystem::path& file, qint64 limit)
{
    Result<FileReader> reader = FileReader::open(file);
    if (!reader)
        return std::unexpected(Failure::unreadable);
    if (reader->size() > limit)
        return std::unexpected(Failure::tooLarge);
    // A file that changed meanwhile gives what is there now, up to the limit; the
    // viewer judges the rest.
    Result<QByteArray> bytes = reader->readBytesUpTo(size_t(limit));
    if (!bytes)
        return std::unexpected(Failure::unreadable);
    return std::move(*bytes);
}

} // namespace FileBytes
