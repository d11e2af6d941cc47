#pragma once

// Small descriptor helpers shared by the copy engine and the single-call operations.
#include "platform/Error.h"
#include "platform/FileDescriptor.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace FileCopierSupport {

using ::FileDescriptor;

inline std::unexpected<Error> failure(const std::filesystem::path& path)
{
    return std::unexpected(Error::fromErrno(errno, path));
}

inline std::unexpected<Error> cancelled()
{
    return std::unexpected(Error::cancellation());
}

inline int openAt(int dirfd, const char* name, int flags, mode_t mode = 0)
{
    int fd;
    do {
        fd = ::openat(dirfd, name, flags | O_CLOEXEC, mode);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

// Names of a folder, raw bytes; the descriptor stays open for the caller.
inline std::optional<std::vector<std::string>> readNames(int folderFd)
{
    const int copy = ::dup(folderFd);
    DIR* dir = copy >= 0 ? ::fdopendir(copy) : nullptr;
    if (!dir) {
        if (copy >= 0)
            ::close(copy);
        return std::nullopt;
    }
    ::rewinddir(dir);
    std::vector<std::string> names;
    errno = 0;
    while (const dirent* entry = ::readdir(dir)) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            names.emplace_back(name);
    }
    const int error = errno;
    ::closedir(dir);
    if (error != 0) {
        errno = error;
        return std::nullopt;
    }
    return names;
}

} // namespace FileCopierSupport
