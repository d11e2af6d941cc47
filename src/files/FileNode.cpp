#include "files/FileNode.h"

#include "core/MainThread.h"
#include "core/PathText.h"
#include "core/Preferences.h"
#include "files/FileSorter.h"

#include <string_view>
#include <unordered_map>

namespace fs = std::filesystem;

namespace {

const std::vector<std::unique_ptr<FileNode>> kNoChildren;

std::optional<QString> tagKeyOf(const FileEntry& entry)
{
    const auto& lookup = FileNode::lookups().tagSortKey;
    return lookup ? lookup(entry) : std::nullopt;
}

// Only the cache is consulted: computing sizes is the size service's business.
void fillFolderSizes(std::vector<FileEntry>& entries)
{
    const auto& lookup = FileNode::lookups().cachedFolderSize;
    if (!lookup || !Preferences::shared().calculateFolderSizes())
        return;
    for (FileEntry& entry : entries) {
        if ((entry.isFolder || entry.isPackage) && !entry.size)
            entry.size = lookup(PathText::standardized(entry.path));
    }
}

// True when `path` lies strictly inside the folder `folder` (lexically).
bool isInside(std::string_view path, std::string_view folder)
{
    if (folder.empty() || path.size() <= folder.size() || !path.starts_with(folder))
        return false;
    return folder.back() == '/' || path[folder.size()] == '/';
}

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

const std::vector<std::unique_ptr<FileNode>>& FileNode::children() const
{
    return m_children ? *m_children : kNoChildren;
}

FileNode* FileNode::child(int row) const
{
    if (!m_children || row < 0 || size_t(row) >= m_children->size())
        return nullptr;
    return (*m_children)[size_t(row)].get();
}

void FileNode::fillTagKeys(std::vector<FileEntry>& entries)
{
    for (FileEntry& entry : entries)
        entry.tagSortKey = tagKeyOf(entry);
}

void FileNode::setChildren(std::vector<FileEntry> entries, const FileSort& sort)
{
    QUILLO_ASSERT_MAIN_THREAD();
    if (sort.key == FileSortKey::tags)
        fillTagKeys(entries);
    fillFolderSizes(entries);
    FileSorter(sort).sort(entries);

    // Keys view the old nodes' own path strings, so no path is copied; a key is
    // erased before its node gets the new entry.
    std::unordered_map<std::string_view, std::unique_ptr<FileNode>> current;
    if (m_children) {
        current.reserve(m_children->size());
        for (auto& node : *m_children)
            current.emplace(node->entry.path.native(), std::move(node));
    }

    std::vector<std::unique_ptr<FileNode>> next;
    next.reserve(entries.size());
    for (FileEntry& entry : entries) {
        const auto found = current.find(entry.path.native());
        if (found == current.end()) {
            next.push_back(std::make_unique<FileNode>(std::move(entry), this));
            continue;
        }
        std::unique_ptr<FileNode> node = std::move(found->second);
        current.erase(found);
        node->entry = std::move(entry);
        next.push_back(std::move(node));
    }
    m_children = std::move(next);
    renumber();
    // Whatever is left in `current` vanished from the folder and dies here.
}

void FileNode::clearChildren()
{
    QUILLO_ASSERT_MAIN_THREAD();
    m_children.emplace();
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
    if (entry.path.native() == target)
        return this;
    if (!m_children)
        return nullptr;
    // Only children that contain the path are entered. Every child is tried, not
    // just the first: a tag location may list a folder and also items inside it.
    for (const auto& kid : *m_children) {
        const std::string_view kidPath = kid->entry.path.native();
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
