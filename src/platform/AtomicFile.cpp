#include "platform/AtomicFile.h"

#include "platform/FileDescriptor.h"

#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

int syncFolder(const fs::path& folder)
{
    FileDescriptor fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.get() < 0)
        return errno;
    return ::fsync(fd.get()) == 0 ? 0 : errno;
}

// The temporary file's contents, synced when asked, not yet closed; 0 or an errno.
int fillTemporary(int fd, std::string_view bytes, bool sync)
{
    if (const int error = writeAll(fd, bytes))
        return error;
    if (::fchmod(fd, 0644) != 0)
        return errno;
    return !sync || ::fsync(fd) == 0 ? 0 : errno;
}

Result<void> replace(const fs::path& file, std::string_view bytes, bool sync)
{
    const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (ec)
        return std::unexpected(Error::fromErrno(ec.value(), folder));
    std::string temporary = (folder / ("." + file.filename().native() + ".XXXXXX")).native();
    FileDescriptor fd(::mkostemp(temporary.data(), O_CLOEXEC));
    if (fd.get() < 0)
        return std::unexpected(Error::fromErrno(errno, file));
    int error = fillTemporary(fd.get(), bytes, sync);
    if (fd.close() != 0 && error == 0)
        error = errno;
    if (error == 0 && ::rename(temporary.c_str(), file.c_str()) != 0)
        error = errno;
    if (error != 0) {
        ::unlink(temporary.c_str());
        return std::unexpected(Error::fromErrno(error, file));
    }
    if (const int synced = sync ? syncFolder(folder) : 0)
        return std::unexpected(Error::fromErrno(synced, folder));
    return {};
}

} // namespace

namespace AtomicFile {

Result<void> write(const fs::path& file, std::string_view bytes)
{
    return replace(file, bytes, true);
}

Result<void> writeUnsynced(const fs::path& file, std::string_view bytes)
{
    return replace(file, bytes, false);
}

Result<fs::path> setAside(const fs::path& file, std::string_view suffix)
{
    fs::path target = file;
    target += std::string(suffix);
    if (::renameat2(AT_FDCWD, file.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) != 0)
        return std::unexpected(Error::fromErrno(errno, file));
    return target;
}

Result<void> exchange(const fs::path& a, const fs::path& b)
{
    if (::renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE) != 0)
        return std::unexpected(Error::fromErrno(errno, a));
    return {};
}

std::string corruptSuffix()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    char text[32];
    std::strftime(text, sizeof text, ".corrupt-%Y%m%d-%H%M%S", &local);
    return text;
}

} // namespace AtomicFile
