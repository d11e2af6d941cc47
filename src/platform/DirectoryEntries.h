#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <sys/syscall.h>
#include <unistd.h>

namespace DirectoryEntries {

// The kernel's record; glibc 2.36 has no wrapper for getdents64.
struct LinuxDirent64 {
    ino64_t d_ino;
    off64_t d_off;
    unsigned short d_reclen;
    unsigned char d_type;
    char d_name[];
};

inline bool isDotOrDotDot(const char* name)
{
    return name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0));
}

// Reads the whole open folder `fd` through `buffer`, calling
// visit(name, d_type, d_ino) for every entry but "." and "..". Returns 0, or the
// errno that stopped it.
template <typename Visit>
int forEachWithInode(int fd, char* buffer, size_t size, Visit&& visit)
{
    for (;;) {
        const long n = ::syscall(SYS_getdents64, fd, buffer, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return errno;
        if (n == 0)
            return 0;
        for (long offset = 0; offset < n;) {
            const auto* d = reinterpret_cast<const LinuxDirent64*>(buffer + offset);
            offset += d->d_reclen;
            if (!isDotOrDotDot(d->d_name))
                visit(static_cast<const char*>(d->d_name), d->d_type, uint64_t(d->d_ino));
        }
    }
}

// As forEachWithInode, calling visit(name, d_type).
template <typename Visit>
int forEach(int fd, char* buffer, size_t size, Visit&& visit)
{
    return forEachWithInode(fd, buffer, size, [&](const char* name, unsigned char type, uint64_t) {
        visit(name, type);
    });
}

} // namespace DirectoryEntries
