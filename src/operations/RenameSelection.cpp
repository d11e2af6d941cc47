#include "operations/RenameSelection.h"

#include "core/PathText.h"
#include "platform/DirectoryScanner.h"

#include <unordered_map>

namespace fs = std::filesystem;

Result<RenameSelection> RenameSelection::read(const std::vector<fs::path>& selected)
{
    RenameSelection out;
    if (selected.empty())
        return out;
    const fs::path folder = PathText::parent(PathText::standardized(selected.front()));
    const auto scanned = DirectoryScanner::scan(folder);
    if (!scanned)
        return std::unexpected(scanned.error());
    // Name bytes → item, for the items not (yet) found among the selected.
    std::unordered_map<std::string_view, const ScannedItem*> others;
    others.reserve(scanned->size());
    for (const ScannedItem& item : *scanned)
        others.emplace(item.name, &item);
    out.items.reserve(selected.size());
    out.identities.reserve(selected.size());
    for (const fs::path& raw : selected) {
        const fs::path path = PathText::standardized(raw);
        if (PathText::parent(path) != folder)
            continue;
        const auto found = others.find(path.filename().native());
        if (found == others.end())
            return std::unexpected(Error::fromErrno(ENOENT, path));
        out.items.push_back({path, found->second->isDirectory()});
        out.identities.push_back({uint64_t(found->second->device), uint64_t(found->second->inode)});
        others.erase(found);
    }
    for (const auto& [name, item] : others)
        out.otherNames.insert(PathText::toStorableText(fs::path(name)).toLower());
    return out;
}
