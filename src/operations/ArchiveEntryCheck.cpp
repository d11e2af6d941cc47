#include "operations/ArchiveEntryCheck.h"

#include <climits>
#include <vector>

namespace {

constexpr size_t kMaxComponent = 255;

// Calls `each(component, isLast)` for the '/'-separated parts of `text`.
template <typename Each>
bool forEachComponent(std::string_view text, Each each)
{
    size_t start = 0;
    while (true) {
        const size_t slash = text.find('/', start);
        const bool last = slash == std::string_view::npos;
        if (!each(text.substr(start, last ? std::string_view::npos : slash - start), last))
            return false;
        if (last)
            return true;
        start = slash + 1;
    }
}

std::string_view parentOf(std::string_view path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}

} // namespace

std::optional<std::string> ArchiveEntryCheck::relativePath(std::string_view name, bool isFolder)
{
    if (name.empty() || name.size() >= PATH_MAX || name.front() == '/')
        return std::nullopt;
    std::string path;
    bool first = true;
    const bool safe = forEachComponent(name, [&](std::string_view part, bool last) {
        const bool trailingSlash = part.empty() && last && !first && isFolder;
        first = false;
        if (trailingSlash || part == ".")
            return true;
        if (part.empty() || part == ".." || part.size() > kMaxComponent)
            return false;
        if (!path.empty())
            path += '/';
        path += part;
        return true;
    });
    if (!safe || (path.empty() && !isFolder))
        return std::nullopt;
    return path;
}

bool ArchiveEntryCheck::admitsPath(std::string_view path) const
{
    if (m_links.empty())
        return true;
    for (std::string_view folder = parentOf(path); !folder.empty(); folder = parentOf(folder)) {
        if (m_links.contains(std::string(folder)))
            return false;
    }
    return true;
}

bool ArchiveEntryCheck::admitsHardLinkTo(std::string_view target) const
{
    return admitsPath(target) && !m_links.contains(std::string(target));
}

bool ArchiveEntryCheck::admitsSymbolicLink(const std::string& path, std::string_view target)
{
    if (target.empty() || target.front() == '/' || m_passedThrough.contains(path))
        return false;
    // Resolved lexically; every folder the walk enters must be a real folder, so the
    // kernel resolves it the same way.
    std::string position(parentOf(path));
    std::vector<std::string> passed;
    const bool inside = forEachComponent(target, [&](std::string_view part, bool last) {
        if (part.empty() || part == ".")
            return true;
        if (part == "..") {
            if (position.empty())
                return false;
            position.resize(parentOf(position).size());
        } else {
            position += position.empty() ? "" : "/";
            position += part;
        }
        if (last)
            return true;
        if (m_links.contains(position))
            return false;
        passed.push_back(position);
        return true;
    });
    if (!inside)
        return false;
    m_passedThrough.insert(passed.begin(), passed.end());
    m_links.insert(path);
    return true;
}
