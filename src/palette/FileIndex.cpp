#include "palette/FileIndex.h"

#include "platform/DirectoryEntries.h"
#include "platform/FileDescriptor.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <deque>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

// A few hundred names per system call.
constexpr size_t kBufferSize = 64 * 1024;

constexpr std::array<std::string_view, 6> skippedFolders{
    ".git", "node_modules", ".build", "DerivedData", "Pods", ".venv",
};

struct Item {
    std::string name;
    bool isDirectory = false;
    bool enter = false; // a real folder (not a link) worth reading
};

int openFolder(const fs::path& folder, bool followLink)
{
    const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | (followLink ? 0 : O_NOFOLLOW);
    int fd;
    do {
        fd = ::open(folder.c_str(), flags);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

// What a name is, from the type the kernel gave, with a stat only for links and for
// file systems that do not report types.
Item classify(int dirfd, const char* name, unsigned char type)
{
    Item item{name};
    if (type == DT_UNKNOWN) {
        struct stat st;
        if (::fstatat(dirfd, name, &st, AT_SYMLINK_NOFOLLOW) != 0)
            return item;
        type = S_ISDIR(st.st_mode) ? DT_DIR : S_ISLNK(st.st_mode) ? DT_LNK : DT_REG;
    }
    if (type == DT_DIR) {
        item.isDirectory = true;
        item.enter = !FileIndex::isSkippedFolder(item.name);
    } else if (type == DT_LNK) {
        struct stat target;
        item.isDirectory = ::fstatat(dirfd, name, &target, 0) == 0 && S_ISDIR(target.st_mode);
    }
    return item;
}

// The folder's items, hidden ones dropped unless wanted. An unreadable folder has none.
std::vector<Item> readFolder(const fs::path& folder, bool isRoot, bool includeHidden, char* buffer)
{
    std::vector<Item> items;
    FileDescriptor fd(openFolder(folder, isRoot));
    if (fd.get() < 0)
        return items;
    // An error part way keeps the names read before it.
    DirectoryEntries::forEach(fd.get(), buffer, kBufferSize,
                              [&](const char* name, unsigned char type) {
                                  if (includeHidden || name[0] != '.')
                                      items.push_back(classify(fd.get(), name, type));
                              });
    return items;
}

// Sorted by name, keeping only the first `room` when the folder holds more.
void sortAndCut(std::vector<Item>& items, size_t room)
{
    const auto byName = [](const Item& a, const Item& b) { return a.name < b.name; };
    const size_t kept = std::min(items.size(), room);
    std::partial_sort(items.begin(), items.begin() + std::ptrdiff_t(kept), items.end(), byName);
    items.resize(kept);
}

} // namespace

namespace FileIndex {

bool isSkippedFolder(std::string_view name)
{
    return std::ranges::find(skippedFolders, name) != skippedFolders.end();
}

std::vector<Entry> collect(const fs::path& folder, bool includeHidden, size_t limit,
                           const StopCheck& shouldStop)
{
    std::vector<Entry> entries;
    const auto buffer = std::make_unique<char[]>(kBufferSize);
    std::deque<fs::path> pending{folder};
    bool isRoot = true;
    while (!pending.empty() && entries.size() < limit && !(shouldStop && shouldStop())) {
        const fs::path current = std::move(pending.front());
        pending.pop_front();
        std::vector<Item> items = readFolder(current, isRoot, includeHidden, buffer.get());
        isRoot = false;
        sortAndCut(items, limit - entries.size());
        for (Item& item : items) {
            fs::path path = current / item.name;
            if (item.enter)
                pending.push_back(path);
            entries.push_back({std::move(path), item.isDirectory});
        }
    }
    return entries;
}

std::vector<Entry> collect(const fs::path& folder, bool includeHidden, size_t limit,
                           std::stop_token stop)
{
    return collect(folder, includeHidden, limit, [&stop] { return stop.stop_requested(); });
}

} // namespace FileIndex
