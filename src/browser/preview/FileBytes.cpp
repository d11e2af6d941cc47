#include "browser/preview/FileBytes.h"

#include <fstream>
#include <system_error>

namespace FileBytes {

std::expected<QByteArray, Failure> read(const std::filesystem::path& file, qint64 limit)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error))
        return std::unexpected(Failure::unreadable);
    const auto size = std::filesystem::file_size(file, error);
    if (error)
        return std::unexpected(Failure::unreadable);
    if (size > uint64_t(limit))
        return std::unexpected(Failure::tooLarge);
    std::ifstream in(file, std::ios::binary);
    if (!in)
        return std::unexpected(Failure::unreadable);
    QByteArray bytes(qsizetype(size), Qt::Uninitialized);
    in.read(bytes.data(), bytes.size());
    if (in.bad())
        return std::unexpected(Failure::unreadable);
    // A file that shrank meanwhile gives what is left; the viewer judges the rest.
    bytes.truncate(qsizetype(in.gcount()));
    return bytes;
}

} // namespace FileBytes
