#include "platform/ExtractionTree.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

int openAt(int at, const std::string& name, int flags, mode_t mode = 0)
{
    int fd;
    do {
        fd = ::openat(at, name.c_str(), flags, mode);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

// Makes room for a new item: anything but a folder under the name goes (a later
// entry of the same name wins, as with other extractors). 0 or an errno.
int clearName(int at, const std::string& name)
{
    struct stat info;
    if (::fstatat(at, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0)
        return errno;
    if (S_ISDIR(info.st_mode))
        return EISDIR;
    return ::unlinkat(at, name.c_str(), 0) == 0 ? 0 : errno;
}

// The umask without changing it (umask(2) would, for every thread at once).
mode_t currentUmask()
{
    mode_t mask = 022;
    if (FILE* status = std::fopen("/proc/self/status", "re")) {
        char line[256];
        unsigned value;
        while (std::fgets(line, sizeof line, status)) {
            if (std::sscanf(line, "Umask: %o", &value) == 1)
                mask = mode_t(value) & 0777;
        }
        std::fclose(status);
    }
    return mask;
}

struct timespec toTimespec(ExtractionTree::Stamp stamp)
{
    return {time_t(stamp.seconds), stamp.nanoseconds};
}

void splitLast(std::string_view relative, std::string_view& folder, std::string_view& leaf)
{
    const size_t slash = relative.rfind('/');
    folder = slash == std::string_view::npos ? std::string_view() : relative.substr(0, slash);
    leaf = slash == std::string_view::npos ? relative : relative.substr(slash + 1);
}

} // namespace

Result<ExtractionTree> ExtractionTree::create(const fs::path& folder)
{
    if (::mkdir(folder.c_str(), 0700) != 0)
        return std::unexpected(Error::fromErrno(errno, folder));
    const int fd = openAt(AT_FDCWD, folder.native(), kFolderFlags);
    if (fd < 0)
        return std::unexpected(Error::fromErrno(errno, folder));
    return ExtractionTree(folder, FileDescriptor(fd));
}

std::unexpected<Error> ExtractionTree::failure(std::string_view relative, int code) const
{
    return std::unexpected(Error::fromErrno(code, m_path / std::string(relative)));
}

Result<FileDescriptor> ExtractionTree::openFolder(std::string_view relative, bool create) const
{
    FileDescriptor current;
    int at = m_root.get();
    size_t start = 0;
    while (start < relative.size()) {
        size_t end = relative.find('/', start);
        if (end == std::string_view::npos)
            end = relative.size();
        const std::string name(relative.substr(start, end - start));
        int fd = openAt(at, name, kFolderFlags);
        if (fd < 0 && errno == ENOENT && create) {
            if (::mkdirat(at, name.c_str(), 0777) != 0 && errno != EEXIST)
                return failure(relative.substr(0, end), errno);
            fd = openAt(at, name, kFolderFlags);
        }
        if (fd < 0)
            return failure(relative.substr(0, end), errno);
        current = FileDescriptor(fd);
        at = fd;
        start = end + 1;
    }
    if (current.get() < 0) // the folder itself
        current = FileDescriptor(::fcntl(m_root.get(), F_DUPFD_CLOEXEC, 0));
    if (current.get() < 0)
        return failure(relative, errno);
    return current;
}

// The folder holding `relative`, made when missing; `leaf` gets the last component.
Result<int> ExtractionTree::parentFolder(std::string_view relative, std::string_view& leaf)
{
    std::string_view folder;
    splitLast(relative, folder, leaf);
    if (folder.empty())
        return m_root.get();
    if (m_cachedFd.get() >= 0 && folder == m_cachedFolder)
        return m_cachedFd.get();
    auto opened = openFolder(folder, true);
    if (!opened)
        return std::unexpected(opened.error());
    m_cachedFd = std::move(*opened);
    m_cachedFolder = folder;
    return m_cachedFd.get();
}

Result<void> ExtractionTree::makeFolder(std::string_view relative, mode_t mode, Stamp modified)
{
    std::string_view leaf;
    const auto at = parentFolder(relative, leaf);
    if (!at)
        return std::unexpected(at.error());
    const std::string name(leaf);
    if (::mkdirat(*at, name.c_str(), 0700) != 0) {
        struct stat info;
        if (errno != EEXIST || ::fstatat(*at, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0)
            return failure(relative, errno);
        if (!S_ISDIR(info.st_mode)) {
            if (const int code = clearName(*at, name); code != 0)
                return failure(relative, code);
            if (::mkdirat(*at, name.c_str(), 0700) != 0)
                return failure(relative, errno);
        }
    }
    m_folders.push_back({std::string(relative), mode, modified});
    return {};
}

Result<void> ExtractionTree::startFile(std::string_view relative, bool existing)
{
    std::string_view leaf;
    const auto at = parentFolder(relative, leaf);
    if (!at)
        return std::unexpected(at.error());
    const std::string name(leaf);
    constexpr int flags = O_WRONLY | O_NOFOLLOW | O_CLOEXEC;
    int fd = existing ? openAt(*at, name, flags | O_TRUNC)
                      : openAt(*at, name, flags | O_CREAT | O_EXCL, 0600);
    if (fd < 0 && errno == EEXIST && !existing) {
        if (const int code = clearName(*at, name); code != 0)
            return failure(relative, code);
        fd = openAt(*at, name, flags | O_CREAT | O_EXCL, 0600);
    }
    if (fd < 0)
        return failure(relative, errno);
    m_file = FileDescriptor(fd);
    m_fileName = relative;
    m_fileEnd = 0;
    return {};
}

Result<void> ExtractionTree::write(std::string_view data, int64_t offset)
{
    while (!data.empty()) {
        const ssize_t n = ::pwrite(m_file.get(), data.data(), data.size(), off_t(offset));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return failure(m_fileName, errno);
        data.remove_prefix(size_t(n));
        offset += n;
    }
    m_fileEnd = std::max(m_fileEnd, offset);
    return {};
}

Result<void> ExtractionTree::finishFile(int64_t size, mode_t mode, Stamp modified)
{
    const int fd = m_file.get();
    if (size > m_fileEnd && ::ftruncate(fd, off_t(size)) != 0)
        return failure(m_fileName, errno);
    if (::fchmod(fd, mode & 0777) != 0)
        return failure(m_fileName, errno);
    if (modified.set) {
        const struct timespec times[2] = {toTimespec(modified), toTimespec(modified)};
        if (::futimens(fd, times) != 0)
            return failure(m_fileName, errno);
    }
    if (m_file.close() != 0)
        return failure(m_fileName, errno);
    return {};
}

Result<void> ExtractionTree::makeSymbolicLink(std::string_view relative, std::string_view target,
                                              Stamp modified)
{
    std::string_view leaf;
    const auto at = parentFolder(relative, leaf);
    if (!at)
        return std::unexpected(at.error());
    const std::string name(leaf);
    const std::string text(target);
    if (::symlinkat(text.c_str(), *at, name.c_str()) != 0) {
        if (errno != EEXIST)
            return failure(relative, errno);
        if (const int code = clearName(*at, name); code != 0)
            return failure(relative, code);
        if (::symlinkat(text.c_str(), *at, name.c_str()) != 0)
            return failure(relative, errno);
    }
    if (modified.set) {
        const struct timespec times[2] = {toTimespec(modified), toTimespec(modified)};
        ::utimensat(*at, name.c_str(), times, AT_SYMLINK_NOFOLLOW); // a link's time is cosmetic
    }
    return {};
}

Result<void> ExtractionTree::makeHardLink(std::string_view relative, std::string_view existing)
{
    std::string_view existingFolder, existingLeaf;
    splitLast(existing, existingFolder, existingLeaf);
    auto from = openFolder(existingFolder, false);
    if (!from)
        return std::unexpected(from.error());
    std::string_view leaf;
    const auto at = parentFolder(relative, leaf);
    if (!at)
        return std::unexpected(at.error());
    const std::string fromName(existingLeaf), name(leaf);
    // No AT_SYMLINK_FOLLOW: a link names the item itself, never what it points to.
    if (::linkat(from->get(), fromName.c_str(), *at, name.c_str(), 0) != 0) {
        if (errno != EEXIST)
            return failure(relative, errno);
        if (const int code = clearName(*at, name); code != 0)
            return failure(relative, code);
        if (::linkat(from->get(), fromName.c_str(), *at, name.c_str(), 0) != 0)
            return failure(relative, errno);
    }
    return {};
}

Result<void> ExtractionTree::finish()
{
    m_cachedFd = FileDescriptor();
    const auto depth = [](const FolderStamp& f) { return std::ranges::count(f.relative, '/'); };
    std::ranges::stable_sort(m_folders,
                             [&](const auto& a, const auto& b) { return depth(a) > depth(b); });
    for (const FolderStamp& folder : m_folders) {
        auto fd = openFolder(folder.relative, false);
        if (!fd)
            return std::unexpected(fd.error());
        if (folder.modified.set) {
            const struct timespec times[2] = {toTimespec(folder.modified),
                                              toTimespec(folder.modified)};
            if (::futimens(fd->get(), times) != 0)
                return failure(folder.relative, errno);
        }
        if (::fchmod(fd->get(), folder.mode & 0777) != 0)
            return failure(folder.relative, errno);
    }
    m_folders.clear();
    return {};
}

Result<void> ExtractionTree::openToOthers()
{
    if (::fchmod(m_root.get(), 0755 & ~currentUmask()) != 0)
        return failure({}, errno);
    return {};
}

Result<void> ExtractionTree::moveOut(std::string_view name, const fs::path& destination)
{
    const std::string leaf(name);
    struct stat info;
    if (::fstatat(m_root.get(), leaf.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0)
        return failure(name, errno);
    // A folder moving to another parent must be writable (its ".." changes).
    const bool readOnlyFolder = S_ISDIR(info.st_mode) && !(info.st_mode & S_IWUSR);
    if (readOnlyFolder && ::fchmodat(m_root.get(), leaf.c_str(), info.st_mode | S_IWUSR, 0) != 0)
        return failure(name, errno);
    int result =
        ::renameat2(m_root.get(), leaf.c_str(), AT_FDCWD, destination.c_str(), RENAME_NOREPLACE);
    if (result != 0 && errno == EINVAL) {
        // File systems without the flag: check first, accepting the small race.
        struct stat taken;
        if (::lstat(destination.c_str(), &taken) == 0)
            errno = EEXIST;
        else
            result = ::renameat(m_root.get(), leaf.c_str(), AT_FDCWD, destination.c_str());
    }
    const int code = result == 0 ? 0 : errno;
    const fs::path now = code == 0 ? destination : m_path / leaf;
    if (readOnlyFolder)
        ::chmod(now.c_str(), info.st_mode & 07777);
    if (code != 0)
        return std::unexpected(Error::fromErrno(code, code == EEXIST ? destination : now));
    return {};
}
