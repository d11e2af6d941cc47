#include "platform/FileCopier.h"

#include "platform/FileCopierData.h"
#include "platform/FileCopierLinks.h"
#include "platform/FileCopierSupport.h"

#include <acl/libacl.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/acl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;
using namespace FileCopierSupport;

namespace {

bool isLinkRefused(int error)
{
    return error == EMLINK || error == EPERM || error == EACCES || error == ENOENT ||
           error == ENOTDIR || error == EXDEV || error == EOPNOTSUPP;
}

class TreeCopier {
public:
    TreeCopier(CopyObserver& observer, FileCopier::Options options)
        : m_observer(observer)
        , m_options(options)
        , m_data(observer)
    {
    }

    Result<void> copyEntry(int srcDir, const char* srcName, const fs::path& srcPath, int dstDir,
                           const char* dstName, const fs::path& dstPath);

private:
    Result<void> copyFile(int srcDir, const char* srcName, const fs::path& srcPath, int dstDir,
                          const char* dstName, const fs::path& dstPath);
    Result<void> copyFolder(int srcDir, const char* srcName, const fs::path& srcPath, int dstDir,
                            const char* dstName, const fs::path& dstPath);
    Result<void> copySpecial(const struct stat& st, int srcDir, const char* srcName,
                             const fs::path& srcPath, int dstDir, const char* dstName,
                             const fs::path& dstPath);
    Result<bool> linkToEarlierCopy(const struct stat& st, int dstDir, const char* dstName,
                                   const fs::path& dstPath);
    Result<void> copyMetadata(int in, int out, const struct stat& st, const fs::path& srcPath,
                              const fs::path& dstPath);
    Result<bool> copyXattrs(int in, int out, const fs::path& srcPath, const fs::path& dstPath);
    Result<void> copyAcls(int in, int out, const struct stat& st, const fs::path& srcPath,
                          const fs::path& dstPath);

    CopyObserver& m_observer;
    FileCopier::Options m_options;
    FileDataCopier m_data;
    std::vector<char> m_names;
    std::vector<char> m_value;
    std::optional<std::pair<dev_t, ino_t>> m_destinationRoot;
};

Result<void> TreeCopier::copyEntry(int srcDir, const char* srcName, const fs::path& srcPath,
                                   int dstDir, const char* dstName, const fs::path& dstPath)
{
    struct stat st;
    if (::fstatat(srcDir, srcName, &st, AT_SYMLINK_NOFOLLOW) != 0)
        return failure(srcPath);
    if (S_ISREG(st.st_mode))
        return copyFile(srcDir, srcName, srcPath, dstDir, dstName, dstPath);
    if (S_ISDIR(st.st_mode)) {
        // A folder copied into itself would never end.
        if (m_destinationRoot && *m_destinationRoot == std::pair(st.st_dev, st.st_ino))
            return std::unexpected(Error::fromErrno(EINVAL, srcPath));
        return copyFolder(srcDir, srcName, srcPath, dstDir, dstName, dstPath);
    }
    return copySpecial(st, srcDir, srcName, srcPath, dstDir, dstName, dstPath);
}

Result<void> TreeCopier::copyFile(int srcDir, const char* srcName, const fs::path& srcPath,
                                  int dstDir, const char* dstName, const fs::path& dstPath)
{
    // O_NONBLOCK: a FIFO swapped in after the lstat must not hang the copy.
    FileDescriptor in(openAt(srcDir, srcName, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
    struct stat st;
    if (in.get() < 0 || ::fstat(in.get(), &st) != 0)
        return failure(srcPath);
    if (!S_ISREG(st.st_mode))
        return std::unexpected(Error::fromErrno(EAGAIN, srcPath));
    if (!m_observer.fileStarted(srcPath))
        return cancelled();
    if (const auto linked = linkToEarlierCopy(st, dstDir, dstName, dstPath); !linked || *linked)
        return linked ? Result<void>{} : std::unexpected(linked.error());
    // Private until the end: the final mode may be wider than what the copy needs.
    FileDescriptor out(openAt(dstDir, dstName, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600));
    if (out.get() < 0)
        return failure(dstPath);
    if (auto r = m_data.copy(in.get(), out.get(), st, srcPath, dstPath); !r)
        return r;
    if (auto r = copyMetadata(in.get(), out.get(), st, srcPath, dstPath); !r)
        return r;
    struct stat made;
    if (m_options.links && st.st_nlink > 1 && ::fstat(out.get(), &made) == 0)
        m_options.links->remember(st, dstPath, {uint64_t(made.st_dev), uint64_t(made.st_ino)});
    if (out.close() != 0)
        return failure(dstPath);
    if (!m_observer.fileFinished())
        return cancelled();
    return {};
}

// A further link of a file this job has copied becomes a link to that copy. False
// when the file is new to the job, or the link is refused (too many links, a file
// system without them, the copy gone): then it is copied anew.
Result<bool> TreeCopier::linkToEarlierCopy(const struct stat& st, int dstDir, const char* dstName,
                                           const fs::path& dstPath)
{
    CopiedLinks* links = m_options.links;
    const auto copy = links ? links->copyOf(st) : std::nullopt;
    if (!copy)
        return false;
    if (::linkat(AT_FDCWD, copy->c_str(), dstDir, dstName, 0) != 0)
        return isLinkRefused(errno) ? Result<bool>(false) : failure(dstPath);
    links->linked(st);
    return m_observer.dataCopied(st.st_size) && m_observer.fileFinished() ? Result<bool>(true)
                                                                          : cancelled();
}

Result<void> TreeCopier::copyFolder(int srcDir, const char* srcName, const fs::path& srcPath,
                                    int dstDir, const char* dstName, const fs::path& dstPath)
{
    FileDescriptor in(openAt(srcDir, srcName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW));
    struct stat st;
    if (in.get() < 0 || ::fstat(in.get(), &st) != 0)
        return failure(srcPath);
    // Writable by us alone until its contents are in; the real mode comes last.
    if (::mkdirat(dstDir, dstName, 0700) != 0)
        return failure(dstPath);
    FileDescriptor out(openAt(dstDir, dstName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW));
    struct stat created;
    if (out.get() < 0 || ::fstat(out.get(), &created) != 0)
        return failure(dstPath);
    if (!m_destinationRoot)
        m_destinationRoot = std::pair(created.st_dev, created.st_ino);
    // Listed after the destination exists, so that a copy into itself is seen.
    const auto names = readNames(in.get());
    if (!names)
        return failure(srcPath);
    for (const std::string& name : *names) {
        const fs::path childSource = srcPath / name;
        const fs::path childDestination = dstPath / name;
        if (auto r = copyEntry(in.get(), name.c_str(), childSource, out.get(), name.c_str(),
                               childDestination);
            !r)
            return r;
    }
    return copyMetadata(in.get(), out.get(), st, srcPath, dstPath);
}

// Links, FIFOs, sockets and devices: made anew, then owner, mode and times by name.
Result<void> TreeCopier::copySpecial(const struct stat& st, int srcDir, const char* srcName,
                                     const fs::path& srcPath, int dstDir, const char* dstName,
                                     const fs::path& dstPath)
{
    const bool isLink = S_ISLNK(st.st_mode);
    if (isLink) {
        std::string target(size_t(std::max<off_t>(st.st_size, 255)) + 1, '\0');
        ssize_t n;
        while ((n = ::readlinkat(srcDir, srcName, target.data(), target.size())) >= 0 &&
               size_t(n) == target.size())
            target.resize(target.size() * 2);
        if (n < 0)
            return failure(srcPath);
        target.resize(size_t(n));
        if (::symlinkat(target.c_str(), dstDir, dstName) != 0)
            return failure(dstPath);
    } else if (S_ISFIFO(st.st_mode)) {
        if (::mkfifoat(dstDir, dstName, 0600) != 0)
            return failure(dstPath);
    } else if (::mknodat(dstDir, dstName, (st.st_mode & S_IFMT) | 0600, st.st_rdev) != 0) {
        return failure(dstPath);
    }
    bool owned = ::fchownat(dstDir, dstName, st.st_uid, st.st_gid, AT_SYMLINK_NOFOLLOW) == 0;
    if (!owned && errno != EPERM)
        return failure(dstPath);
    if (!owned && ::fchownat(dstDir, dstName, uid_t(-1), st.st_gid, AT_SYMLINK_NOFOLLOW) != 0 &&
        errno != EPERM)
        return failure(dstPath);
    const mode_t keep = owned ? 07777 : 01777;
    if (!isLink && ::fchmodat(dstDir, dstName, st.st_mode & keep, 0) != 0)
        return failure(dstPath);
    const timespec times[2] = {st.st_atim, st.st_mtim};
    if (::utimensat(dstDir, dstName, times, AT_SYMLINK_NOFOLLOW) != 0)
        return failure(dstPath);
    return {};
}

// Owner before extended attributes (chown clears file capabilities), mode before the
// ACL (chmod rewrites its mask), times last since every other change touches ctime only.
Result<void> TreeCopier::copyMetadata(int in, int out, const struct stat& st,
                                      const fs::path& srcPath, const fs::path& dstPath)
{
    bool owned = ::fchown(out, st.st_uid, st.st_gid) == 0;
    if (!owned && errno != EPERM)
        return failure(dstPath);
    if (!owned && ::fchown(out, uid_t(-1), st.st_gid) != 0 && errno != EPERM)
        return failure(dstPath);
    const auto hasAcl = copyXattrs(in, out, srcPath, dstPath);
    if (!hasAcl)
        return std::unexpected(hasAcl.error());
    // Set-id bits only with the original owner, as cp does.
    if (::fchmod(out, st.st_mode & (owned ? 07777 : 01777)) != 0)
        return failure(dstPath);
    if (*hasAcl) {
        if (auto r = copyAcls(in, out, st, srcPath, dstPath); !r)
            return r;
    }
    if (m_options.syncData && ::fsync(out) != 0)
        return failure(dstPath);
    const timespec times[2] = {st.st_atim, st.st_mtim};
    if (::futimens(out, times) != 0)
        return failure(dstPath);
    return {};
}

bool readList(std::vector<char>& buffer, ssize_t (*call)(int, char*, size_t), int fd, ssize_t& n)
{
    if (buffer.empty())
        buffer.resize(4096);
    while ((n = call(fd, buffer.data(), buffer.size())) < 0 && errno == ERANGE) {
        const ssize_t needed = call(fd, nullptr, 0);
        if (needed < 0)
            return false;
        buffer.resize(size_t(needed) + 1024);
    }
    return n >= 0;
}

bool isAclName(std::string_view name)
{
    return name.starts_with("system.posix_acl_");
}

// Labels of other security domains may be refused; the data is still a faithful copy.
bool isIgnorableXattrError(int error, std::string_view name)
{
    if (error == ENOTSUP)
        return true;
    return (error == EPERM || error == EACCES) &&
           (name.starts_with("trusted.") || name.starts_with("security."));
}

// Returns whether the source carries POSIX ACLs, which libacl copies afterwards.
Result<bool> TreeCopier::copyXattrs(int in, int out, const fs::path& srcPath,
                                    const fs::path& dstPath)
{
    ssize_t listed;
    if (!readList(m_names, ::flistxattr, in, listed))
        return errno == ENOTSUP ? Result<bool>(false) : failure(srcPath);
    bool hasAcl = false;
    for (ssize_t offset = 0; offset < listed;) {
        const std::string_view name(m_names.data() + offset);
        offset += ssize_t(name.size()) + 1;
        if (isAclName(name)) {
            hasAcl = true;
            continue;
        }
        if (m_value.empty())
            m_value.resize(4096);
        ssize_t n;
        while ((n = ::fgetxattr(in, name.data(), m_value.data(), m_value.size())) < 0 &&
               errno == ERANGE)
            m_value.resize(m_value.size() * 4);
        if (n < 0 && errno == ENODATA)
            continue; // removed meanwhile
        if (n < 0)
            return failure(srcPath);
        if (::fsetxattr(out, name.data(), m_value.data(), size_t(n), 0) != 0 &&
            !isIgnorableXattrError(errno, name))
            return failure(dstPath);
    }
    return hasAcl;
}

Result<void> TreeCopier::copyAcls(int in, int out, const struct stat& st, const fs::path& srcPath,
                                  const fs::path& dstPath)
{
    if (acl_t acl = ::acl_get_fd(in)) {
        const int result = ::acl_set_fd(out, acl);
        ::acl_free(acl);
        if (result != 0 && errno != ENOTSUP)
            return failure(dstPath);
    } else if (errno != ENOTSUP) {
        return failure(srcPath);
    }
    if (!S_ISDIR(st.st_mode))
        return {};
    // The default ACL has no descriptor call; the names are ours and byte-exact.
    acl_t defaults = ::acl_get_file(srcPath.c_str(), ACL_TYPE_DEFAULT);
    if (!defaults)
        return errno == ENOTSUP ? Result<void>{} : failure(srcPath);
    const int result = ::acl_entries(defaults) > 0
                           ? ::acl_set_file(dstPath.c_str(), ACL_TYPE_DEFAULT, defaults)
                           : 0;
    ::acl_free(defaults);
    if (result != 0 && errno != ENOTSUP)
        return failure(dstPath);
    return {};
}

} // namespace

namespace FileCopier {

Result<void> syncFolderOf(const fs::path& path)
{
    const fs::path parent = path.has_parent_path() ? path.parent_path() : fs::path(".");
    FileDescriptor folder(openAt(AT_FDCWD, parent.c_str(), O_RDONLY | O_DIRECTORY));
    if (folder.get() < 0 || ::fsync(folder.get()) != 0)
        return failure(parent);
    return {};
}

Result<void> copyTree(const fs::path& source, const fs::path& destination, CopyObserver& observer,
                      Options options)
{
    TreeCopier copier(observer, options);
    if (auto r = copier.copyEntry(AT_FDCWD, source.c_str(), source, AT_FDCWD, destination.c_str(),
                                  destination);
        !r)
        return r;
    // The new name itself must be durable before a move removes the source.
    return options.syncData ? syncFolderOf(destination) : Result<void>{};
}

} // namespace FileCopier
