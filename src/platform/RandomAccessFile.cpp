#include "platform/RandomAccessFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

Result<RandomAccessFile> RandomAccessFile::open(const std::filesystem::path& path)
{
    int fd;
    do {
        fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0)
        return std::unexpected(Error::fromErrno(errno, path));
    FileDescriptor owned(fd);
    struct stat info;
    if (::fstat(fd, &info) != 0)
        return std::unexpected(Error::fromErrno(errno, path));
    if (!S_ISREG(info.st_mode))
        return std::unexpected(Error::fromErrno(EINVAL, path));
    return RandomAccessFile(std::move(owned), int64_t(info.st_size), path);
}

Result<size_t> RandomAccessFile::readAt(int64_t offset, char* buffer, size_t length) const
{
    size_t done = 0;
    while (done < length) {
        const ssize_t n =
            ::pread(m_fd.get(), buffer + done, length - done, off_t(offset) + off_t(done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return std::unexpected(Error::fromErrno(errno, m_path));
        if (n == 0)
            break;
        done += size_t(n);
    }
    return done;
}
