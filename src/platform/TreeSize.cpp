#include "platform/TreeSize.h"

#include "platform/DirectoryEntries.h"
#include "platform/FileDescriptor.h"

#include <QtGlobal>
#include <atomic>
#include <cerrno>
#include <climits>
#include <condition_variable>
#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <memory>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

// A few hundred names per system call; one buffer per thread.
constexpr size_t kBufferSize = 32 * 1024;
// Threads per walk, the caller's included. With a cold cache the time goes to waiting
// for the disk, and more requests in flight shorten it well past the number of cores.
constexpr unsigned kMaxThreads = 8;
// One more thread for every this many folders waiting, so a small tree never pays
// for starting one.
constexpr size_t kFoldersPerThread = 8;

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

std::atomic<bool> openat2Missing{false};

void add(int64_t& total, int64_t size)
{
    if (__builtin_add_overflow(total, size, &total))
        qFatal("TreeSize: the total overflows 64 bits");
}

// openat2 refuses a link in any component, so a folder swapped for a link while we
// walk is not followed either; older kernels (or filters) only get O_NOFOLLOW.
int openFolderAt(int base, const char* relative)
{
    int fd;
    if (!openat2Missing.load(std::memory_order_relaxed)) {
        open_how how{};
        how.flags = kFolderFlags;
        how.resolve = RESOLVE_NO_SYMLINKS;
        do {
            fd = int(::syscall(SYS_openat2, base, relative, &how, sizeof how));
        } while (fd < 0 && errno == EINTR);
        if (fd >= 0 || (errno != ENOSYS && errno != EPERM))
            return fd;
        openat2Missing.store(true, std::memory_order_relaxed);
    }
    do {
        fd = ::openat(base, relative, kFolderFlags);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

// Pending folders are paths relative to the root; the kernel takes at most PATH_MAX
// bytes per call, so a deeper one is reached in pieces.
int openFolder(int root, const std::string& relative)
{
    FileDescriptor step;
    int base = root;
    size_t start = 0;
    while (relative.size() - start >= PATH_MAX) {
        const size_t cut = relative.rfind('/', start + PATH_MAX - 1);
        if (cut == std::string::npos || cut <= start) {
            errno = ENAMETOOLONG;
            return -1;
        }
        FileDescriptor next(openFolderAt(base, relative.substr(start, cut - start).c_str()));
        if (next.get() < 0)
            return -1;
        step = std::move(next);
        base = step.get();
        start = cut + 1;
    }
    return openFolderAt(base, relative.c_str() + start);
}

std::string childPath(const std::string& relative, const char* name)
{
    if (relative.empty())
        return name;
    std::string path;
    path.reserve(relative.size() + 1 + std::char_traits<char>::length(name));
    path.append(relative).append(1, '/').append(name);
    return path;
}

// One walk: a stack of folders still to read, shared by the caller and the helpers it
// starts. Last in, first out keeps the stack near the depth of the tree rather than
// its widest level, and each reader holds only the descriptor of the folder it reads.
class Walk {
public:
    explicit Walk(int root)
        : m_root(root)
    {
    }
    TreeSize::Measure run();

private:
    struct Reader {
        std::unique_ptr<char[]> buffer{new char[kBufferSize]};
        std::vector<std::string> found;
        bool incomplete = false;
    };
    void work();
    void startHelpers(std::unique_lock<std::mutex>& lock);
    int64_t readFolder(const std::string& relative, Reader& reader) const;
    static int64_t readEntries(int fd, const std::string& relative, Reader& reader);

    const int m_root;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::vector<std::string> m_pending{std::string()}; // "" is the root itself
    unsigned m_busy = 0;                               // threads reading a folder
    unsigned m_waiting = 0;
    unsigned m_threads = 1;
    int64_t m_total = 0;
    bool m_complete = true;
    std::vector<std::thread> m_helpers;
};

TreeSize::Measure Walk::run()
{
    work();
    // Nothing is pending and nobody is reading: the helpers are leaving too.
    for (std::thread& helper : m_helpers)
        helper.join();
    return {m_total, m_complete};
}

void Walk::work()
{
    Reader reader;
    std::unique_lock lock(m_mutex);
    for (;;) {
        if (m_pending.empty()) {
            if (m_busy == 0)
                return;
            ++m_waiting;
            m_wake.wait(lock, [this] { return !m_pending.empty() || m_busy == 0; });
            --m_waiting;
            continue;
        }
        const std::string relative = std::move(m_pending.back());
        m_pending.pop_back();
        ++m_busy;
        lock.unlock();
        reader.found.clear();
        const int64_t size = readFolder(relative, reader);
        lock.lock();
        add(m_total, size);
        m_complete = m_complete && !reader.incomplete;
        for (std::string& folder : reader.found)
            m_pending.push_back(std::move(folder));
        startHelpers(lock);
        --m_busy;
        if (m_waiting > 0 && (!reader.found.empty() || m_busy == 0))
            m_wake.notify_all();
    }
}

// Called while still counted as busy, so the walk cannot end before a new helper is
// on the list that run() joins.
void Walk::startHelpers(std::unique_lock<std::mutex>& lock)
{
    while (m_threads < kMaxThreads && m_pending.size() >= m_threads * kFoldersPerThread) {
        ++m_threads;
        lock.unlock();
        std::thread helper;
        try {
            helper = std::thread([this] { work(); });
        } catch (const std::system_error&) {
            // No more threads to be had: the ones running finish the walk.
        }
        lock.lock();
        if (!helper.joinable()) {
            m_threads = kMaxThreads;
            return;
        }
        m_helpers.push_back(std::move(helper));
    }
}

// Gone (or replaced by something that is not a folder) since it was listed: no longer
// part of the tree, so nothing is missing.
bool vanished(int error)
{
    return error == ENOENT || error == ENOTDIR || error == ELOOP;
}

int64_t Walk::readFolder(const std::string& relative, Reader& reader) const
{
    reader.incomplete = false;
    if (relative.empty())
        return readEntries(m_root, relative, reader);
    FileDescriptor folder(openFolder(m_root, relative));
    if (folder.get() < 0) {
        reader.incomplete = !vanished(errno);
        return 0;
    }
    return readEntries(folder.get(), relative, reader);
}

// Sizes of the regular files in one open folder; its subfolders go to reader.found.
// A folder that fails midway counts nothing, as if it could not be read at all.
int64_t Walk::readEntries(int fd, const std::string& relative, Reader& reader)
{
    int64_t total = 0;
    const int error = DirectoryEntries::forEach(
        fd, reader.buffer.get(), kBufferSize, [&](const char* name, unsigned char type) {
            // A folder needs no stat of its own; links, devices and pipes count nothing.
            if (type == DT_DIR) {
                reader.found.push_back(childPath(relative, name));
                return;
            }
            if (type != DT_REG && type != DT_UNKNOWN)
                return;
            struct stat st;
            if (::fstatat(fd, name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
                reader.incomplete = reader.incomplete || errno != ENOENT;
                return;
            }
            if (S_ISREG(st.st_mode))
                add(total, st.st_size);
            else if (S_ISDIR(st.st_mode))
                reader.found.push_back(childPath(relative, name));
        });
    if (error != 0) {
        reader.found.clear();
        reader.incomplete = !vanished(error);
        return 0;
    }
    return total;
}

} // namespace

namespace TreeSize {

Measure measure(const fs::path& path)
{
    struct stat st;
    if (::lstat(path.c_str(), &st) != 0)
        return {0, vanished(errno)};
    if (!S_ISDIR(st.st_mode))
        return {st.st_size, true}; // a link counts its own size, never its target's
    int fd;
    do {
        fd = ::openat(AT_FDCWD, path.c_str(), kFolderFlags);
    } while (fd < 0 && errno == EINTR);
    FileDescriptor root(fd);
    if (root.get() < 0)
        return {0, vanished(errno)};
    return Walk(root.get()).run();
}

int64_t total(const fs::path& path)
{
    return measure(path).bytes;
}

} // namespace TreeSize
