#include "platform/FileCopierData.h"

#include "platform/FileCopier.h"
#include "platform/FileCopierSupport.h"

#include <algorithm>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace FileCopierSupport;

namespace {

constexpr size_t kRangeChunk = 8 << 20; // keeps progress and cancel live inside big files
constexpr size_t kBufferChunk = 1 << 20;

bool isCloneUnsupported(int error)
{
    return error == EOPNOTSUPP || error == ENOTTY || error == EINVAL || error == EXDEV ||
           error == ENOSYS || error == EPERM || error == EBADF;
}

bool isRangeCopyUnsupported(int error)
{
    return error == EXDEV || error == EINVAL || error == ENOSYS || error == EOPNOTSUPP;
}

// A full disk or quota is the destination's fault; any other data error is the source's.
const fs::path& dataErrorPath(int error, const fs::path& source, const fs::path& destination)
{
    return error == ENOSPC || error == EDQUOT || error == EFBIG || error == EROFS ? destination
                                                                                  : source;
}

bool writeAll(int out, const char* data, size_t size, std::optional<off_t> at)
{
    for (size_t written = 0; written < size;) {
        const ssize_t w = at ? ::pwrite(out, data + written, size - written, *at + off_t(written))
                             : ::write(out, data + written, size - written);
        if (w < 0 && errno == EINTR)
            continue;
        if (w < 0)
            return false;
        written += size_t(w);
    }
    return true;
}

} // namespace

Result<void> FileDataCopier::copy(int in, int out, const struct stat& st, const fs::path& srcPath,
                                  const fs::path& dstPath)
{
    if (st.st_size > 0 && m_cloneFailedFrom != st.st_dev) {
        if (::ioctl(out, FICLONE, in) == 0)
            return m_observer.dataCopied(st.st_size) ? Result<void>{} : cancelled();
        if (isCloneUnsupported(errno))
            m_cloneFailedFrom = st.st_dev;
    }
    // A sequential reader gets a larger read-ahead: a file not yet in the page
    // cache is read far faster (cp does the same).
    ::posix_fadvise(in, 0, 0, POSIX_FADV_SEQUENTIAL);
    m_rangeCopyFailed = false;
    // Fewer blocks than the size needs: there are holes to keep (cp's test too).
    if (st.st_blocks < st.st_size / 512) {
        const auto sparse = copyExtents(in, out, st, srcPath, dstPath);
        if (!sparse)
            return std::unexpected(sparse.error());
        if (*sparse)
            return {};
    }
    return copyToEnd(in, out, srcPath, dstPath);
}

// Copies the data extents alone, then sets the size, so that holes stay holes;
// false when the file system cannot tell where the data is.
Result<bool> FileDataCopier::copyExtents(int in, int out, const struct stat& st,
                                         const fs::path& srcPath, const fs::path& dstPath)
{
    off_t size = st.st_size;
    for (off_t position = 0; position < size;) {
        const off_t data = ::lseek(in, position, SEEK_DATA);
        if (data < 0 && errno == ENXIO)
            break; // a hole up to the end
        if (data < 0 && position == 0 && (errno == EINVAL || errno == EOPNOTSUPP))
            return false;
        const off_t hole = data < 0 ? -1 : ::lseek(in, data, SEEK_HOLE);
        if (hole < 0)
            return failure(srcPath);
        if (data >= size)
            break;
        const off_t end = std::min(hole, size);
        const auto reached = copyRange(in, out, data, end, srcPath, dstPath);
        if (!reached)
            return std::unexpected(reached.error());
        if (*reached < end)
            size = *reached; // the source was cut short meanwhile
        position = *reached;
    }
    if (::ftruncate(out, size) != 0)
        return failure(dstPath);
    return m_observer.dataCopied(size) ? Result<bool>(true) : cancelled();
}

// [from, to) at the same offsets; returns where it stopped, before `to` at an
// early end of the file.
Result<off_t> FileDataCopier::copyRange(int in, int out, off_t from, off_t to,
                                        const fs::path& srcPath, const fs::path& dstPath)
{
    off_t position = from;
    while (position < to) {
        const size_t chunk = m_rangeCopyFailed ? kBufferChunk : kRangeChunk;
        const size_t want = size_t(std::min<off_t>(to - position, off_t(chunk)));
        ssize_t n;
        if (!m_rangeCopyFailed) {
            loff_t inAt = position, outAt = position;
            n = ::copy_file_range(in, &inAt, out, &outAt, want, 0);
            if (n < 0 && isRangeCopyUnsupported(errno)) {
                m_rangeCopyFailed = true;
                continue;
            }
        } else {
            n = ::pread(in, buffer(), want, position);
            if (n > 0 && !writeAll(out, buffer(), size_t(n), position))
                return failure(dstPath);
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return failure(dataErrorPath(errno, srcPath, dstPath));
        if (n == 0)
            break;
        position += n;
        if (!m_observer.dataCopied(position))
            return cancelled();
    }
    return position;
}

Result<void> FileDataCopier::copyToEnd(int in, int out, const fs::path& srcPath,
                                       const fs::path& dstPath)
{
    int64_t done = 0;
    for (;;) {
        const ssize_t n = ::copy_file_range(in, nullptr, out, nullptr, kRangeChunk, 0);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && isRangeCopyUnsupported(errno))
            return copyByBuffer(in, out, done, srcPath, dstPath);
        if (n < 0)
            return failure(dataErrorPath(errno, srcPath, dstPath));
        if (n == 0)
            return {};
        done += n;
        if (!m_observer.dataCopied(done))
            return cancelled();
    }
}

Result<void> FileDataCopier::copyByBuffer(int in, int out, int64_t done, const fs::path& srcPath,
                                          const fs::path& dstPath)
{
    for (;;) {
        const ssize_t n = ::read(in, buffer(), kBufferChunk);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return failure(srcPath);
        if (n == 0)
            return {};
        if (!writeAll(out, buffer(), size_t(n), std::nullopt))
            return failure(dstPath);
        done += n;
        if (!m_observer.dataCopied(done))
            return cancelled();
    }
}

char* FileDataCopier::buffer()
{
    if (!m_buffer)
        m_buffer.reset(new char[kBufferChunk]);
    return m_buffer.get();
}
