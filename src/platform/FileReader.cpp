#include "platform/FileReader.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

// Reads until `length` bytes are in or the file ends, through interruptions.
template <typename Call>
Result<size_t> fill(char* buffer, size_t length, const std::filesystem::path& path, Call call)
{
    size_t done = 0;
    while (done < length) {
        const ssize_t n = call(buffer + done, length - done, done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return std::unexpected(Error::fromErrno(errno, path));
        if (n == 0)
            break;
        done += size_t(n);
    }
    return done;
}

} // namespace

Result<FileReader> FileReader::open(const std::filesystem::path& path)
{
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    struct stat st;
    if (fd.get() < 0 || ::fstat(fd.get(), &st) != 0)
        return std::unexpected(Error::fromErrno(errno, path));
    if (!S_ISREG(st.st_mode))
        return std::unexpected(Error::fromErrno(EINVAL, path));
    return FileReader(std::move(fd), int64_t(st.st_size), path);
}

Result<size_t> FileReader::read(char* buffer, size_t capacity)
{
    return fill(buffer, capacity, m_path, [fd = m_fd.get()](char* into, size_t length, size_t) {
        return ::read(fd, into, length);
    });
}

Result<size_t> FileReader::readAt(int64_t offset, char* buffer, size_t length) const
{
    return fill(buffer, length, m_path,
                [fd = m_fd.get(), offset](char* into, size_t wanted, size_t done) {
                    return ::pread(fd, into, wanted, off_t(offset) + off_t(done));
                });
}

Result<std::string> FileReader::readUpTo(size_t limit, bool* more)
{
    return readInto<std::string>(limit, more);
}

Result<QByteArray> FileReader::readBytesUpTo(size_t limit, bool* more)
{
    return readInto<QByteArray>(limit, more);
}

template <typename Bytes>
Result<Bytes> FileReader::readInto(size_t limit, bool* more)
{
    Bytes bytes;
    // One byte past the limit tells whether the file went on.
    const size_t want = limit == SIZE_MAX ? limit : limit + 1;
    size_t chunk = std::clamp<size_t>(size_t(std::max<int64_t>(m_size, 0)) + 1, 4096, 1 << 24);
    while (size_t(bytes.size()) < want) {
        const size_t offset = size_t(bytes.size());
        const size_t ask = std::min(chunk, want - offset);
        bytes.resize(decltype(bytes.size())(offset + ask));
        const Result<size_t> n = read(bytes.data() + offset, ask);
        if (!n)
            return std::unexpected(n.error());
        bytes.resize(decltype(bytes.size())(offset + *n));
        if (*n < ask)
            break;
        chunk = std::min<size_t>(chunk * 2, 1 << 26);
    }
    if (more)
        *more = size_t(bytes.size()) > limit;
    if (size_t(bytes.size()) > limit)
        bytes.resize(decltype(bytes.size())(limit));
    return bytes;
}
