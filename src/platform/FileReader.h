#pragma once

#include "platform/Error.h"
#include "platform/FileDescriptor.h"

#include <QByteArray>
#include <cstdint>
#include <filesystem>
#include <string>

// A user's regular file read in pieces, front to back or at chosen offsets (for
// formats whose index sits at the end). Unlike a mapping it survives the file
// shrinking meanwhile (a log truncated while previewed: short reads, never a fault),
// and it reads only as much of a huge file as is asked for.
class FileReader {
public:
    // Fails with EINVAL for anything but a regular file (a FIFO under that name never
    // blocks us).
    static Result<FileReader> open(const std::filesystem::path& path);

    // The size when opened; the file may change while it is read.
    int64_t size() const { return m_size; }
    // Up to `capacity` bytes into `buffer`, fewer only at the end; 0 at the end.
    Result<size_t> read(char* buffer, size_t capacity);
    // Up to `length` bytes at `offset` (pread, the read position stays); fewer only at the end.
    Result<size_t> readAt(int64_t offset, char* buffer, size_t length) const;
    // The rest of the file, at most `limit` bytes; `more` tells whether bytes were left.
    Result<std::string> readUpTo(size_t limit, bool* more = nullptr);
    Result<QByteArray> readBytesUpTo(size_t limit, bool* more = nullptr);

private:
    template <typename Bytes>
    Result<Bytes> readInto(size_t limit, bool* more);

    FileReader(FileDescriptor fd, int64_t size, std::filesystem::path path)
        : m_fd(std::move(fd))
        , m_size(size)
        , m_path(std::move(path))
    {
    }

    FileDescriptor m_fd;
    int64_t m_size = 0;
    std::filesystem::path m_path;
};
