#pragma once

#include "platform/Error.h"

#include <filesystem>
#include <memory>
#include <string_view>

// A regular file mapped read-only into memory, for reading large files of our own
// (the tags library) without copying them into a buffer first. Only for files we
// replace by rename, never truncate: a mapped file that shrinks would fault.
class MappedFile {
public:
    // Fails for anything but a regular file (a FIFO under that name never blocks us).
    static Result<MappedFile> open(const std::filesystem::path& path);

    MappedFile(MappedFile&&) noexcept;
    MappedFile& operator=(MappedFile&&) noexcept;
    ~MappedFile();

    std::string_view bytes() const { return {m_data, m_size}; }

private:
    MappedFile(const char* data, size_t size)
        : m_data(data)
        , m_size(size)
    {
    }

    const char* m_data = nullptr;
    size_t m_size = 0;
};
