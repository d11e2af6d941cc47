#include "files/FileNode.h"

#include "core/MainThread.h"
#include "core/PathText.h"
#include "core/Preferences.h"
#include "files/FileSorter.h"

#include <string_view>
#include <unordered_map>

namespace fs = std::filesystem;

namespace {

const FileNode::Children kNoChildren;

std::optional<QString> tagKeyOf(const FileEntry& entry)
{
    const auto& lookup = FileNode::lookups().tagSortKey;
    return lookup ? lookup(entry) : std::nullopt;
}

// Only the cache is consulted: computing sizes is the size service's business.
void fillFolderSizes(FileNode::Children& nodes)
{
    const auto& lookup = FileNode::lookups().cachedFolderSize;
    if (!lookup || !Preferences::shared().calculateFolderSizes())
        return;
    for (auto& node : nodes) {
        FileEntry& entry = node->entry;
        if ((entry.isFolder || entry.isPackage) && !entry.size)
            entry.size = lookup(PathText::standardized(entry.path()));
    }
}

void fillTagKeys(FileNode::Children& nodes)
{
    for (auto& node : nodes)
        node->entry.tagSortKey = tagKeyOf(node->entry);
}

// True when `path` lies strictly inside the folder `folder` (lexically).
bool isInside(std::string_view path, std::string_view folder)
{
    if (folder.empty() || path.size() <= folder.size() || !path.starts_with(folder))
        return false;
    return folder.back() == '/' || path[folder.size()] == '/';
}

// Hands out the current children by path. A reload mostly sees the same paths in
// the same order, so the node after the last one taken is tried first and the
// index is built only on the first miss. Index keys view the nodes' own path
// strings (no copies); a key is erased when its node is taken, before the node
// gets its new entry.
class NodeReuse {
public:
    explicit NodeReuse(FileNode::Children nodes)
        : m_nodes(std::move(nodes))
    {
    }

    std::unique_ptr<FileNode> take(std::string_view path)
    {
        if (m_next < m_nodes.size() && m_nodes[m_next] &&
            m_nodes[m_next]->entry.pathBytes() == path) {
            if (m_indexed)
                m_index.erase(path);
            return claim(m_next);
        }
        if (!m_indexed)
            buildIndex();
        const auto found = m_index.find(path);
        if (found == m_index.end())
            return nullptr;
        const size_t position = found->second;
        m_index.erase(found);
        return claim(position);
    }

private:
    std::unique_ptr<FileNode> claim(size_t position)
    {
        m_next = position + 1;
        return std::move(m_nodes[position]);
    }

    void buildIndex()
    {
        m_indexed = true;
        m_index.reserve(m_nodes.size());
        for (size_t i = 0; i < m_nodes.size(); ++i) {
            if (m_nodes[i])
                m_index.emplace(m_nodes[i]->entry.pathBytes(), i);
        }
    }

    FileNode::Children m_nodes;
    std::unordered_map<std::string_view, size_t> m_index;
    size_t m_next = 0;
    bool m_indexed = false;
};

} // namespace

FileNode::Lookups& FileNode::lookups()
{
    static Lookups instance;
    return instance;
}

FileNode::FileNode(FileEntry e, FileNode* parent)
    : entry(std::move(e))
    , m_parent(parent)
{
}

const FileNode::Children& FileNode::children() const
{
    return m_children ? *m_children : kNoChildren;
}

FileNode* FileNode::child(int row) const
{
    if (!m_children || row < 0 || size_t(row) >= m_children->size())
        return nullptr;
    return (*m_children)[size_t(row)].get();
}

void FileNode::setChildren(std::vector<FileEntry> entries, const FileSort& sort)
{
    Children nodes;
    nodes.reserve(entries.size());
    for (FileEntry& entry : entries)
        nodes.push_back(std::make_unique<FileNode>(std::move(entry)));
    entries = {};
    setChildren(std::move(nodes), sort);
}

void FileNode::setChildren(Children nodes, const FileSort& sort)
{
    QUILLO_ASSERT_MAIN_THREAD();
    if (sort.key == FileSortKey::tags)
        fillTagKeys(nodes);
    fillFolderSizes(nodes);
    FileSorter(sort).sort(nodes);

    // A node that was here before keeps its identity (and its children): it takes
    // the fresh entry, and the fresh node goes.
    NodeReuse reuse(m_children ? std::move(*m_children) : Children{});
    for (auto& node : nodes) {
        if (std::unique_ptr<FileNode> old = reuse.take(node->entry.pathBytes())) {
            old->entry = std::move(node->entry);
            node = std::move(old);
        }
    }
    m_children = std::make_unique<Children>(std::move(nodes));
    renumber();
    // Nodes left in `reuse` vanished from the folder and die with it.
}

void FileNode::clearChildren()
{
    QUILLO_ASSERT_MAIN_THREAD();
    m_children = std::make_unique<Children>();
}

void FileNode::resort(const FileSort& sort)
{
    QUILLO_ASSERT_MAIN_THREAD();
    const FileSorter sorter(sort);
    for (FileNode* folder : loadedFolders()) {
        auto& nodes = *folder->m_children;
        if (sort.key == FileSortKey::tags) {
            for (auto& node : nodes)
                node->entry.tagSortKey = tagKeyOf(node->entry);
        }
        sorter.sort(nodes);
        folder->renumber();
    }
}

std::vector<FileNode*> FileNode::loadedFolders()
{
    QUILLO_ASSERT_MAIN_THREAD();
    std::vector<FileNode*> result;
    if (!m_children)
        return result;
    std::vector<FileNode*> pending{this};
    while (!pending.empty()) {
        FileNode* node = pending.back();
        pending.pop_back();
        result.push_back(node);
        // Pushed in reverse so that the first child is taken next: pre-order.
        const auto& kids = *node->m_children;
        for (auto it = kids.rbegin(); it != kids.rend(); ++it) {
            if ((*it)->m_children)
                pending.push_back(it->get());
        }
    }
    return result;
}

FileNode* FileNode::findByPath(const fs::path& path)
{
    QUILLO_ASSERT_MAIN_THREAD();
    const std::string_view target = path.native();
    if (entry.pathBytes() == target)
        return this;
    if (!m_children)
        return nullptr;
    // Only children that contain the path are entered. Every child is tried, not
    // just the first: a tag location may list a folder and also items inside it.
    for (const auto& kid : *m_children) {
        const std::string_view kidPath = kid->entry.pathBytes();
        if (kidPath == target)
            return kid.get();
        if (kid->m_children && isInside(target, kidPath)) {
            if (FileNode* found = kid->findByPath(path))
                return found;
        }
    }
    return nullptr;
}

void FileNode::renumber()
{
    if (!m_children)
        return;
    int row = 0;
    for (auto& node : *m_children) {
        node->m_parent = this;
        node->m_row = row++;
    }
}
