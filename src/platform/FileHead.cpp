#include "platform/FileHead.h"

#include "platform/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>

Result<FileHead> FileHead::read(const std::filesystem::path& file, qsizetype limit)
{
    // O_NONBLOCK: opening a FIFO for reading would otherwise wait for a writer.
    FileDescriptor fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    struct stat st;
    if (fd.get() < 0 || ::fstat(fd.get(), &st) != 0)
        return std::unexpected(Error::fromErrno(errno, file));
    FileHead head;
    if (!S_ISREG(st.st_mode))
        return head;
    head.regular = true;
    // One byte more than the limit tells whether the file goes on; sizes from
    // fstat are not trusted (files under /proc report 0).
    head.bytes.resize(limit + 1);
    qsizetype filled = 0;
    while (filled < head.bytes.size()) {
        const ssize_t n =
            ::read(fd.get(), head.bytes.data() + filled, size_t(head.bytes.size() - filled));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return std::unexpected(Error::fromErrno(errno, file));
        if (n == 0)
            break;
        filled += n;
    }
    head.truncated = filled > limit;
    head.bytes.truncate(std::min(filled, limit));
    return head;
}
