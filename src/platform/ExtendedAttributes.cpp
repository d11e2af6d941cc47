#include "platform/ExtendedAttributes.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace fs = std::filesystem;

namespace {

bool isUserName(const char* name)
{
    return std::strncmp(name, "user.", 5) == 0;
}

// The kernel refuses user attributes on anything but files and folders with EPERM
// (writing) and reports them absent (reading); both mean "cannot carry one".
Error failure(int code, const fs::path& path)
{
    if (code == EOPNOTSUPP)
        code = ENOTSUP;
    if (code == EPERM) {
        struct stat st {};
        if (::lstat(path.c_str(), &st) == 0 && !S_ISREG(st.st_mode) && !S_ISDIR(st.st_mode))
            code = ENOTSUP;
    }
    return Error::fromErrno(code, path);
}

} // namespace

namespace ExtendedAttributes {

Result<std::optional<std::string>> read(const fs::path& path, const char* name)
{
    if (!isUserName(name))
        return std::unexpected(Error::fromErrno(EINVAL, path));
    std::string value;
    // The value may grow between asking its size and reading it: ask again.
    for (int attempt = 0; attempt < 4; ++attempt) {
        const ssize_t size = ::lgetxattr(path.c_str(), name, nullptr, 0);
        if (size < 0) {
            if (errno == ENODATA)
                return std::optional<std::string>();
            return std::unexpected(failure(errno, path));
        }
        value.resize(size_t(size));
        const ssize_t got = ::lgetxattr(path.c_str(), name, value.data(), value.size());
        if (got >= 0) {
            value.resize(size_t(got));
            return std::optional<std::string>(std::move(value));
        }
        if (errno == ENODATA)
            return std::optional<std::string>();
        if (errno != ERANGE)
            return std::unexpected(failure(errno, path));
    }
    return std::unexpected(Error::fromErrno(ERANGE, path));
}

Result<void> write(const fs::path& path, const char* name, std::string_view value)
{
    if (!isUserName(name))
        return std::unexpected(Error::fromErrno(EINVAL, path));
    if (::lsetxattr(path.c_str(), name, value.data(), value.size(), 0) != 0)
        return std::unexpected(failure(errno, path));
    return {};
}

Result<void> remove(const fs::path& path, const char* name)
{
    if (!isUserName(name))
        return std::unexpected(Error::fromErrno(EINVAL, path));
    if (::lremovexattr(path.c_str(), name) != 0 && errno != ENODATA)
        return std::unexpected(failure(errno, path));
    return {};
}

bool unsupported(const Error& error)
{
    return error.code == ENOTSUP;
}

} // namespace ExtendedAttributes
