#include "platform/DiskUsage.h"

#include <set>
#include <sys/stat.h>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

int64_t diskUsage(const fs::path& path)
{
    std::set<std::pair<dev_t, ino_t>> seen;
    int64_t total = 0;
    std::vector<fs::path> pending{path};
    while (!pending.empty()) {
        const fs::path item = std::move(pending.back());
        pending.pop_back();
        struct stat st {};
        if (::lstat(item.c_str(), &st) != 0 || !seen.insert({st.st_dev, st.st_ino}).second)
            continue;
        total += int64_t(st.st_blocks) * 512;
        if (!S_ISDIR(st.st_mode))
            continue;
        std::error_code ec;
        for (fs::directory_iterator it(item, ec), end; !ec && it != end; it.increment(ec))
            pending.push_back(it->path());
    }
    return total;
}
