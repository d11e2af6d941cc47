#include "operations/RenameSelection.h"

#include "core/PathText.h"
#include "platform/DirectoryScanner.h"

#include <unordered_map>

namespace fs = std::filesystem;

RenameSelection RenameSelection::read(const std::vector<fs::path>& selected)
{
    RenameSelection out;
    if (selected.empty())
        return out;
    const fs::path folder = PathText::parent(PathText::standardized(selected.front()));
    std::unordered_map<std::string, bool> isDirectory; // name bytes → directory flag
    auto scanned = DirectoryScanner::scan(folder);
    if (scanned) {
        for (const ScannedItem& item : *scanned)
            isDirectory.emplace(item.name, item.isDirectory());
    }
    for (const fs::path& raw : selected) {
        const fs::path path = PathText::standardized(raw);
        if (PathText::parent(path) != folder)
            continue;
        const auto found = isDirectory.find(path.filename().native());
        out.items.push_back({path, found != isDirectory.end() && found->second});
        if (found != isDirectory.end())
            isDirectory.erase(found);
    }
    for (const auto& [name, directory] : isDirectory)
        out.otherNames.insert(PathText::toStorableText(fs::path(name)).toLower());
    return out;
}
