#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

// The rules an archive's items pass before anything is written for them, so that
// nothing lands outside the extraction folder, now or through a link later.
class ArchiveEntryCheck {
public:
    // The item's path below the extraction folder, with "." components and a
    // folder's trailing slash dropped; empty for the folder itself. nullopt for an
    // absolute path, a ".." or empty component, a component over 255 bytes or a path
    // over PATH_MAX.
    static std::optional<std::string> relativePath(std::string_view name, bool isFolder);

    // No folder above `path` is a symbolic link this archive made.
    bool admitsPath(std::string_view path) const;
    // A hard link may name what the archive made before, but not one of its
    // symbolic links (the copy would resolve from another folder).
    bool admitsHardLinkTo(std::string_view target) const;
    // A symbolic link at `path` whose target, resolved from the link's folder, stays
    // inside without passing through a link made earlier, and which no earlier link
    // passes through. Recorded when admitted.
    bool admitsSymbolicLink(const std::string& path, std::string_view target);

private:
    std::unordered_set<std::string> m_links;
    std::unordered_set<std::string> m_passedThrough; // folders links resolve through
};
