#include "platform/Inotify.h"

#include "platform/DirectoryEntries.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr uint32_t kContentEvents = IN_CREATE | IN_DELETE | IN_MODIFY | IN_ATTRIB | IN_MOVED_FROM |
                                    IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF;
constexpr uint32_t kSelfEvents = IN_DELETE_SELF | IN_MOVE_SELF;

// Room for a few hundred events per read; a folder of new files fills it quickly.
constexpr size_t kReadBufferSize = 64 * 1024;
constexpr size_t kMaxBytesPerCall = 4 * 1024 * 1024;

constexpr size_t kDirentBufferSize = 32 * 1024;

Inotify::EventKind kindOf(uint32_t mask)
{
    using Kind = Inotify::EventKind;
    if (mask & IN_Q_OVERFLOW)
        return Kind::Overflow;
    if (mask & IN_IGNORED)
        return Kind::Ignored;
    if (mask & IN_CREATE)
        return Kind::Created;
    if (mask & IN_DELETE)
        return Kind::Removed;
    if (mask & IN_MOVED_FROM)
        return Kind::MovedFrom;
    if (mask & IN_MOVED_TO)
        return Kind::MovedTo;
    if (mask & (IN_DELETE_SELF | IN_UNMOUNT))
        return Kind::SelfRemoved;
    if (mask & IN_MOVE_SELF)
        return Kind::SelfMoved;
    return Kind::Changed;
}

void decode(const char* buffer, size_t length, std::vector<Inotify::Event>& events)
{
    for (size_t offset = 0; offset + sizeof(inotify_event) <= length;) {
        inotify_event header;
        std::memcpy(&header, buffer + offset, sizeof header);
        const char* name = buffer + offset + sizeof header;
        Inotify::Event& event = events.emplace_back();
        event.watch = header.wd;
        event.kind = kindOf(header.mask);
        event.isDirectory = (header.mask & IN_ISDIR) != 0;
        // The name is padded with NULs up to the record's length.
        if (header.len > 0)
            event.name.assign(name, ::strnlen(name, header.len));
        offset += sizeof header + header.len;
    }
}

bool isSubfolder(int dirfd, const char* name, unsigned char type)
{
    if (type != DT_UNKNOWN)
        return type == DT_DIR;
    struct stat st;
    return ::fstatat(dirfd, name, &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(st.st_mode);
}

} // namespace

Result<Inotify> Inotify::create()
{
    const int fd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (fd < 0)
        return std::unexpected(Error::fromErrno(errno));
    return Inotify(FileDescriptor(fd));
}

Result<int> Inotify::addWatch(const fs::path& folder, Scope scope, bool followLink) const
{
    uint32_t mask = IN_ONLYDIR | IN_EXCL_UNLINK;
    mask |= scope == Scope::Contents ? kContentEvents : kSelfEvents;
    if (!followLink)
        mask |= IN_DONT_FOLLOW;
    if (const auto observer = addWatchObserver.load())
        observer(folder);
    const int watch = ::inotify_add_watch(m_fd.get(), folder.c_str(), mask);
    if (watch < 0)
        return std::unexpected(Error::fromErrno(errno, folder));
    return watch;
}

void Inotify::removeWatch(int watch) const
{
    // EINVAL only means the kernel dropped it already (the folder is gone).
    ::inotify_rm_watch(m_fd.get(), watch);
}

Result<std::vector<Inotify::Event>> Inotify::readEvents() const
{
    std::unique_ptr<char[]> buffer(new char[kReadBufferSize]);
    std::vector<Event> events;
    for (size_t total = 0; total < kMaxBytesPerCall;) {
        const ssize_t n = ::read(m_fd.get(), buffer.get(), kReadBufferSize);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno == EAGAIN)
            break;
        if (n < 0)
            return std::unexpected(Error::fromErrno(errno));
        if (n == 0)
            break;
        decode(buffer.get(), size_t(n), events);
        total += size_t(n);
    }
    return events;
}

int64_t Inotify::now()
{
    // The coarse clock is the one the kernel stamps files with, so a change made
    // after this call never carries an earlier time.
    timespec ts{};
    ::clock_gettime(CLOCK_REALTIME_COARSE, &ts);
    return int64_t(ts.tv_sec) * 1'000'000'000 + ts.tv_nsec;
}

bool Inotify::changedSince(const fs::path& folder, int64_t since)
{
    struct stat st;
    if (::stat(folder.c_str(), &st) != 0)
        return true;
    return int64_t(st.st_mtim.tv_sec) * 1'000'000'000 + st.st_mtim.tv_nsec >= since;
}

Result<std::vector<std::string>> Inotify::subfolderNames(const fs::path& folder, bool followLink)
{
    int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    if (!followLink)
        flags |= O_NOFOLLOW;
    int fd;
    do {
        fd = ::open(folder.c_str(), flags);
    } while (fd < 0 && errno == EINTR);
    FileDescriptor dir(fd);
    if (dir.get() < 0)
        return std::unexpected(Error::fromErrno(errno, folder));

    std::unique_ptr<char[]> buffer(new char[kDirentBufferSize]);
    std::vector<std::string> names;
    const int error = DirectoryEntries::forEach(dir.get(), buffer.get(), kDirentBufferSize,
                                                [&](const char* name, unsigned char type) {
                                                    if (isSubfolder(dir.get(), name, type))
                                                        names.emplace_back(name);
                                                });
    if (error != 0)
        return std::unexpected(Error::fromErrno(error, folder));
    return names;
}
