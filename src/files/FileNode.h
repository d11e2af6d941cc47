#pragma once

#include "core/FileSort.h"
#include "files/FileEntry.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

// One row of a pane's outline. A node owns its children; children are absent
// until the folder was read and stay after collapsing, so that re-expanding is
// instant and loadedFolders() still lists the folder. Main thread only.
class FileNode {
public:
    // Plugged in at start-up by the layers above (tags, folder sizes); until then
    // they find nothing.
    struct Lookups {
        // The tag sort key ("%05d" position of the first explicit tag) of an entry.
        std::function<std::optional<QString>(const FileEntry&)> tagSortKey;
        // A cached folder size by standardized path.
        std::function<std::optional<int64_t>(const std::filesystem::path&)> cachedFolderSize;
    };
    static Lookups& lookups();

    using Children = std::vector<std::unique_ptr<FileNode>>;

    explicit FileNode(FileEntry entry, FileNode* parent = nullptr);
    FileNode(const FileNode&) = delete;
    FileNode& operator=(const FileNode&) = delete;

    FileEntry entry;

    FileNode* parent() const { return m_parent; }
    // Position among the parent's children; kept current by setChildren and resort.
    int row() const { return m_row; }
    bool childrenLoaded() const { return m_children != nullptr; }
    // Empty when not loaded.
    const Children& children() const;
    FileNode* child(int row) const;

    // Replaces the children by a fresh reading, reusing the nodes of paths that
    // are still there (with their own children), sorted by `sort`.
    void setChildren(std::vector<FileEntry> entries, const FileSort& sort);
    // The same with nodes made off the main thread (DirectoryReader::Listing), so
    // that a big folder never exists as entries and as nodes at once.
    void setChildren(Children nodes, const FileSort& sort);
    // Marks the children as read but leaves them empty (a folder that failed to read).
    void clearChildren();
    // Re-sorts every loaded level without reading the file system.
    void resort(const FileSort& sort);
    // Nodes whose children were read, depth-first pre-order, this node first.
    std::vector<FileNode*> loadedFolders();
    // The descendant (or this node) with the given path among loaded levels.
    FileNode* findByPath(const std::filesystem::path& path);

private:
    void renumber();

    FileNode* m_parent = nullptr;
    int m_row = 0;
    std::unique_ptr<Children> m_children; // null until read
};
