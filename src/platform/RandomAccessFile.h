#pragma once

#include "platform/Error.h"
#include "platform/FileDescriptor.h"

#include <cstdint>
#include <filesystem>

// A regular file read at chosen offsets (pread), for formats whose index sits at
// the end. Reads past the end return fewer bytes; a file that shrinks meanwhile
// gives short reads, never a fault.
class RandomAccessFile {
public:
    // Fails with EINVAL for anything but a regular file.
    static Result<RandomAccessFile> open(const std::filesystem::path& path);

    int64_t size() const { return m_size; }
    // Up to `length` bytes at `offset`; fewer only at the end of the file.
    Result<size_t> readAt(int64_t offset, char* buffer, size_t length) const;

private:
    RandomAccessFile(FileDescriptor fd, int64_t size, std::filesystem::path path)
        : m_fd(std::move(fd))
        , m_size(size)
        , m_path(std::move(path))
    {
    }

    FileDescriptor m_fd;
    int64_t m_size = 0;
    std::filesystem::path m_path;
};
