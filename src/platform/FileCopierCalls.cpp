#include "platform/FileCopier.h"
#include "platform/FileCopierSupport.h"
#include "platform/TreeSize.h"

#include <algorithm>
#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace FileCopierSupport;

namespace {

// Removes `name` in `dirfd`, depth first. `takeOver` makes each folder writable
// first: a copy of a read-only folder must still be removable by whoever made it.
Result<void> removeAt(int dirfd, const char* name, const fs::path& path, bool takeOver)
{
    if (::unlinkat(dirfd, name, 0) == 0)
        return {};
    if (errno != EISDIR && errno != EPERM)
        return failure(path);
    FileDescriptor folder(openAt(dirfd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW));
    if (folder.get() < 0)
        return std::unexpected(Error::fromErrno(errno == ENOTDIR ? EPERM : errno, path));
    if (takeOver)
        ::fchmod(folder.get(), 0700);
    const auto names = readNames(folder.get());
    if (!names)
        return failure(path);
    for (const std::string& child : *names) {
        if (auto r = removeAt(folder.get(), child.c_str(), path / child, takeOver); !r)
            return r;
    }
    if (::unlinkat(dirfd, name, AT_REMOVEDIR) != 0)
        return failure(path);
    return {};
}

} // namespace

namespace FileCopier {

Result<void> renameNoReplace(const fs::path& from, const fs::path& to)
{
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return {};
    if (errno != EINVAL)
        return failure(errno == EEXIST ? to : from);
    // File systems without the flag: check first, accepting the small race.
    struct stat st;
    if (::lstat(to.c_str(), &st) == 0)
        return std::unexpected(Error::fromErrno(EEXIST, to));
    return renameReplacing(from, to);
}

Result<void> renameReplacing(const fs::path& from, const fs::path& to)
{
    if (::rename(from.c_str(), to.c_str()) != 0)
        return failure(from);
    return {};
}

Result<void> removeTree(const fs::path& path)
{
    return removeAt(AT_FDCWD, path.c_str(), path, false);
}

Result<void> removeCopy(const fs::path& path)
{
    return removeAt(AT_FDCWD, path.c_str(), path, true);
}

Result<void> makeFolder(const fs::path& path)
{
    if (::mkdir(path.c_str(), 0777) != 0)
        return failure(path);
    return {};
}

Result<void> makeEmptyFile(const fs::path& path)
{
    FileDescriptor fd(
        openAt(AT_FDCWD, path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0666));
    if (fd.get() < 0 || fd.close() != 0)
        return failure(path);
    return {};
}

Result<FileDescriptor> createExclusive(const fs::path& path)
{
    FileDescriptor fd(
        openAt(AT_FDCWD, path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0666));
    if (fd.get() < 0)
        return failure(path);
    return fd;
}

Result<void> makeSymbolicLink(const fs::path& target, const fs::path& path)
{
    if (::symlink(target.c_str(), path.c_str()) != 0)
        return failure(path);
    return {};
}

bool isStoredName(const fs::path& path)
{
    const fs::path parent = path.has_parent_path() ? path.parent_path() : fs::path(".");
    FileDescriptor folder(openAt(AT_FDCWD, parent.c_str(), O_RDONLY | O_DIRECTORY));
    const auto names = folder.get() < 0 ? std::nullopt : readNames(folder.get());
    return names && std::ranges::find(*names, path.filename().native()) != names->end();
}

std::optional<FileIdentity> identity(const fs::path& path)
{
    struct stat st;
    if (::lstat(path.c_str(), &st) != 0)
        return std::nullopt;
    return FileIdentity{uint64_t(st.st_dev), uint64_t(st.st_ino)};
}

int64_t totalSize(const fs::path& path)
{
    return TreeSize::total(path);
}

} // namespace FileCopier
