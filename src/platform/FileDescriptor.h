#pragma once

#include <cerrno>
#include <string_view>
#include <unistd.h>
#include <utility>

// Owns an open file descriptor and closes it when it goes out of scope.
class FileDescriptor {
public:
    explicit FileDescriptor(int fd = -1)
        : m_fd(fd)
    {
    }
    ~FileDescriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    FileDescriptor(FileDescriptor&& other) noexcept
        : m_fd(std::exchange(other.m_fd, -1))
    {
    }
    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    int get() const { return m_fd; }
    // fsync: 0, or -1 with errno set.
    int sync() const { return ::fsync(m_fd); }
    // Closes now and reports the error a late write-back may only show here.
    int close()
    {
        const int result = ::close(m_fd);
        m_fd = -1;
        return result == 0 || errno == EINTR ? 0 : -1;
    }

private:
    int m_fd;
};

// Writes all of `data` to `fd`, retrying short writes and interruptions. 0 or an errno.
inline int writeAll(int fd, std::string_view data)
{
    while (!data.empty()) {
        const ssize_t n = ::write(fd, data.data(), data.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return errno;
        data.remove_prefix(size_t(n));
    }
    return 0;
}
