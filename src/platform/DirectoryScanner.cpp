#include "platform/DirectoryScanner.h"

#include "platform/DirectoryEntries.h"
#include "platform/FileDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

bool ScannedItem::isSymbolicLink() const
{
    return S_ISLNK(mode);
}

bool ScannedItem::isDirectory() const
{
    return S_ISDIR(mode) || (S_ISLNK(mode) && linkTargetIsDirectory);
}

namespace {

// Big enough that a 100,000-entry folder takes a few dozen system calls.
constexpr size_t kBufferSize = 256 * 1024;

int openRetrying(const char* path, int flags)
{
    int fd;
    do {
        fd = ::open(path, flags);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

void fillFromStat(ScannedItem& item, const struct stat& st)
{
    item.mode = st.st_mode;
    item.size = int64_t(st.st_size);
    item.modifiedNs = int64_t(st.st_mtim.tv_sec) * 1'000'000'000 + st.st_mtim.tv_nsec;
    item.device = st.st_dev;
    item.inode = st.st_ino;
}

// lstat relative to the open folder, plus a stat through a link to learn whether
// it leads to a directory (a dangling link or a loop simply is not one).
void statItem(int dirfd, ScannedItem& item)
{
    struct stat st;
    if (::fstatat(dirfd, item.name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
        item.statFailed = true;
        return;
    }
    fillFromStat(item, st);
    if (S_ISLNK(st.st_mode)) {
        struct stat target;
        item.linkTargetIsDirectory =
            ::fstatat(dirfd, item.name.c_str(), &target, 0) == 0 && S_ISDIR(target.st_mode);
    }
}

// Big folders are stat'ed by a few threads at once: the lookups are independent,
// and the kernel's share of the work is otherwise half the listing time.
constexpr size_t kItemsPerThread = 4096;
constexpr unsigned kMaxThreads = 4;

void statAll(int dirfd, std::vector<ScannedItem>& items)
{
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    const size_t threads =
        std::min<size_t>({cores, kMaxThreads, items.size() / kItemsPerThread + 1});
    const size_t chunk = (items.size() + threads - 1) / std::max<size_t>(threads, 1);
    auto statRange = [&](size_t begin) {
        const size_t end = std::min(items.size(), begin + chunk);
        for (size_t i = begin; i < end; ++i)
            statItem(dirfd, items[i]);
    };
    std::vector<std::thread> workers;
    for (size_t t = 1; t < threads; ++t)
        workers.emplace_back(statRange, t * chunk);
    statRange(0);
    for (auto& worker : workers)
        worker.join();
}

} // namespace

namespace DirectoryScanner {

Result<std::vector<ScannedItem>> scan(const fs::path& folder)
{
    FileDescriptor dir(openRetrying(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (dir.get() < 0)
        return std::unexpected(Error::fromErrno(errno, folder));

    std::unique_ptr<char[]> buffer(new char[kBufferSize]);
    std::vector<ScannedItem> items;
    const int error = DirectoryEntries::forEach(
        dir.get(), buffer.get(), kBufferSize,
        [&](const char* name, unsigned char) { items.emplace_back().name.assign(name); });
    if (error != 0)
        return std::unexpected(Error::fromErrno(error, folder));
    statAll(dir.get(), items);
    return items;
}

std::optional<ScannedItem> statPath(const fs::path& path)
{
    struct stat st;
    if (::lstat(path.c_str(), &st) != 0)
        return std::nullopt;
    ScannedItem item;
    item.name = path.filename().native();
    fillFromStat(item, st);
    if (S_ISLNK(st.st_mode)) {
        struct stat target;
        item.linkTargetIsDirectory = ::stat(path.c_str(), &target) == 0 && S_ISDIR(target.st_mode);
    }
    return item;
}

std::optional<std::string> readSmallFile(const fs::path& path, size_t maxBytes)
{
    // O_NONBLOCK and the regular-file test keep a FIFO under that name from hanging us.
    FileDescriptor fd(openRetrying(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    struct stat st;
    if (fd.get() < 0 || ::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode))
        return std::nullopt;
    // Sized from the file (plus one byte to see the end), not from the limit: a
    // generous limit must not cost its size in memory. Not zero-filled first.
    size_t want = std::min(maxBytes, size_t(std::max<off_t>(st.st_size, 0)) + 1);
    std::string out;
    size_t filled = 0;
    int error = 0;
    bool atEnd = false;
    for (;;) {
        out.resize_and_overwrite(want, [&](char* bytes, size_t room) {
            while (filled < room && !atEnd) {
                const ssize_t n = ::read(fd.get(), bytes + filled, room - filled);
                if (n < 0 && errno == EINTR)
                    continue;
                if (n <= 0) {
                    error = n < 0 ? errno : 0;
                    atEnd = true;
                } else {
                    filled += size_t(n);
                }
            }
            return filled;
        });
        if (atEnd || want >= maxBytes)
            break;
        want = std::min(maxBytes, want * 2);
    }
    if (error != 0)
        return std::nullopt;
    return out;
}

bool exists(const fs::path& path)
{
    struct stat st;
    return ::lstat(path.c_str(), &st) == 0;
}

bool isDirectory(const fs::path& path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

} // namespace DirectoryScanner
