#include "tags/MovedItemSearch.h"

#include "core/PathText.h"
#include "platform/DirectoryScanner.h"
#include "platform/FileBookmark.h"

#include <algorithm>
#include <optional>
#include <string>

namespace fs = std::filesystem;

namespace {

struct Relocation {
    std::string from; // old folder path bytes
    fs::path to;
};

// A path below a folder that was found moved, when the item there is the same one.
std::optional<fs::path> belowMovedFolder(const FileBookmark& bookmark,
                                         const std::vector<Relocation>& moved)
{
    const std::string& old = bookmark.path.native();
    for (const Relocation& r : moved) {
        if (old.size() > r.from.size() && old.compare(0, r.from.size(), r.from) == 0 &&
            old[r.from.size()] == '/') {
            const fs::path candidate = r.to.native() + old.substr(r.from.size());
            if (bookmark.matches(candidate))
                return candidate;
        }
    }
    return std::nullopt;
}

} // namespace

namespace MovedItemSearch {

std::vector<Found> search(std::vector<Record> records, const std::vector<fs::path>& moreFolders)
{
    std::vector<std::pair<Record, FileBookmark>> decoded;
    for (Record& record : records) {
        if (auto bookmark = FileBookmark::decode(record.bookmark, PathText::fromText(record.key)))
            decoded.emplace_back(std::move(record), std::move(*bookmark));
    }
    // Parents before their contents, so a moved folder takes its items along.
    std::sort(decoded.begin(), decoded.end(), [](const auto& a, const auto& b) {
        return a.second.path.native() < b.second.path.native();
    });
    std::vector<Found> found;
    std::vector<Relocation> moved;
    for (const auto& [record, bookmark] : decoded) {
        if (DirectoryScanner::exists(bookmark.path)) {
            // Still there; a new inode (an editor saving by rename) gets a fresh bookmark.
            if (!bookmark.matches(bookmark.path))
                found.push_back({record.key, bookmark.path});
            continue;
        }
        std::optional<fs::path> now = belowMovedFolder(bookmark, moved);
        if (!now)
            now = bookmark.resolve(moreFolders);
        if (!now || *now == bookmark.path)
            continue;
        moved.push_back({bookmark.path.native(), *now});
        found.push_back({record.key, *now});
    }
    return found;
}

} // namespace MovedItemSearch
