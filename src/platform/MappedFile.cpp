#include "platform/MappedFile.h"

#include "platform/FileDescriptor.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <utility>

Result<MappedFile> MappedFile::open(const std::filesystem::path& path)
{
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    struct stat st;
    if (fd.get() < 0 || ::fstat(fd.get(), &st) != 0)
        return std::unexpected(Error::fromErrno(errno, path));
    if (!S_ISREG(st.st_mode))
        return std::unexpected(Error::fromErrno(EINVAL, path));
    if (st.st_size == 0)
        return MappedFile(nullptr, 0);
    // Populated at once: one pass of the kernel instead of a fault per page.
    void* data =
        ::mmap(nullptr, size_t(st.st_size), PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd.get(), 0);
    if (data == MAP_FAILED)
        return std::unexpected(Error::fromErrno(errno, path));
    return MappedFile(static_cast<const char*>(data), size_t(st.st_size));
}

MappedFile::MappedFile(MappedFile&& other) noexcept
    : m_data(std::exchange(other.m_data, nullptr))
    , m_size(std::exchange(other.m_size, 0))
{
}

MappedFile& MappedFile::operator=(MappedFile&& other) noexcept
{
    std::swap(m_data, other.m_data);
    std::swap(m_size, other.m_size);
    return *this;
}

MappedFile::~MappedFile()
{
    if (m_data)
        ::munmap(const_cast<char*>(m_data), m_size);
}
