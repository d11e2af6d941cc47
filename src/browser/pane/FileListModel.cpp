#include "browser/pane/FileListModel.h"

#include "browser/pane/TagCells.h"
#include "core/TextFolding.h"
#include "files/FileColumn.h"
#include "insight/GitFileStatus.h"
#include "operations/FileClipboard.h"

#include <QDateTime>
#include <QLocale>
#include <QMimeData>
#include <algorithm>
#include <string>
#include <string_view>

namespace {

const QString kPartialSizeToolTip =
    QStringLiteral("読み取れないフォルダがあるため、実際より大きい可能性があります。");

} // namespace

FileListModel::FileListModel(QObject* parent)
    : QAbstractItemModel(parent)
{
}

FileListModel::~FileListModel() = default;

void FileListModel::setRoot(FileEntry rootEntry)
{
    beginResetModel();
    m_root = std::make_unique<FileNode>(std::move(rootEntry));
    m_visibleTop.clear();
    m_visibleRow.clear();
    m_reading.clear();
    m_partialSizes.clear();
    endResetModel();
}

void FileListModel::applyReading(FileNode* folder, FileNode::Children nodes, const FileSort& sort)
{
    m_sort = sort;
    setChildren(folder, std::move(nodes), sort);
    // Only now: views react to the change signals by asking canFetchMore(), and a
    // folder must not look unread while its rows are being inserted.
    m_reading.erase(std::string(folder->entry.pathBytes()));
}

void FileListModel::setChildren(FileNode* folder, FileNode::Children nodes, const FileSort& sort)
{
    // Sizes a reading brings along come from the cache, which holds complete ones only.
    if (!m_partialSizes.empty()) {
        for (const auto& node : nodes) {
            if (node->entry.size)
                m_partialSizes.erase(std::string(node->entry.pathBytes()));
        }
    }
    if (folder == m_root.get() && !folder->childrenLoaded()) {
        // One reset per listing: cheaper than inserting 100,000 rows.
        beginResetModel();
        folder->setChildren(std::move(nodes), sort);
        rebuildVisibleTop();
        endResetModel();
        return;
    }
    if (!folder->childrenLoaded()) {
        const QModelIndex parent = indexForNode(folder);
        if (!parent.isValid()) {
            // Hidden by the filter: no view shows these rows yet.
            folder->setChildren(std::move(nodes), sort);
            return;
        }
        if (nodes.empty()) {
            folder->setChildren(FileNode::Children{}, sort);
            Q_EMIT dataChanged(parent, parent);
            return;
        }
        beginInsertRows(parent, 0, int(nodes.size()) - 1);
        folder->setChildren(std::move(nodes), sort);
        endInsertRows();
        return;
    }
    changeLayout(folder, [&] {
        folder->setChildren(std::move(nodes), sort);
        if (folder == m_root.get())
            rebuildVisibleTop();
    });
}

void FileListModel::applyFailure(FileNode* folder)
{
    applyReading(folder, FileNode::Children{}, m_sort);
}

void FileListModel::resort(const FileSort& sort)
{
    m_sort = sort;
    if (!m_root)
        return;
    changeLayout(nullptr, [&] {
        m_root->resort(sort);
        rebuildVisibleTop();
    });
}

void FileListModel::setFilterText(const QString& text)
{
    const QString folded = TextFolding::fold(text);
    if (folded == m_foldedFilter)
        return;
    changeLayout(nullptr, [&] {
        m_foldedFilter = folded;
        rebuildVisibleTop();
    });
}

int FileListModel::visibleTopLevelCount() const
{
    return m_root ? rowCount() : 0;
}

void FileListModel::rebuildVisibleTop()
{
    m_visibleTop.clear();
    m_visibleRow.clear();
    if (m_foldedFilter.isEmpty() || !m_root)
        return;
    for (const auto& child : m_root->children()) {
        if (TextFolding::containsFolded(child->entry.name(), m_foldedFilter)) {
            m_visibleRow.emplace(child.get(), int(m_visibleTop.size()));
            m_visibleTop.push_back(child.get());
        }
    }
}

const std::vector<FileNode*>* FileListModel::visibleTop() const
{
    return m_foldedFilter.isEmpty() ? nullptr : &m_visibleTop;
}

namespace {

bool isInside(const FileNode* node, const FileNode* folder)
{
    for (const FileNode* n = node->parent(); n; n = n->parent()) {
        if (n == folder)
            return true;
    }
    return false;
}

} // namespace

template <typename Mutation>
void FileListModel::changeLayout(const FileNode* reloaded, Mutation&& mutate)
{
    Q_EMIT layoutAboutToBeChanged();
    const QModelIndexList before = persistentIndexList();
    // Only a reload frees nodes, and only below the reloaded folder. Those are found
    // again by path after the change (a freed node's address may be reused); every
    // other node is still alive and keeps its pointer.
    struct Saved {
        const FileNode* node;
        std::string path; // set when the node may be freed
    };
    std::vector<Saved> saved;
    saved.reserve(size_t(before.size()));
    for (const QModelIndex& index : before) {
        const FileNode* node = nodeForIndex(index);
        if (reloaded && isInside(node, reloaded))
            saved.push_back({nullptr, std::string(node->entry.pathBytes())});
        else
            saved.push_back({node, {}});
    }

    mutate();

    std::unordered_map<std::string_view, const FileNode*> byPath;
    const bool needsPaths =
        std::any_of(saved.begin(), saved.end(), [](const Saved& s) { return !s.node; });
    if (needsPaths) {
        std::vector<const FileNode*> stack{reloaded};
        while (!stack.empty()) {
            const FileNode* node = stack.back();
            stack.pop_back();
            for (const auto& child : node->children()) {
                byPath.emplace(child->entry.pathBytes(), child.get());
                if (child->childrenLoaded())
                    stack.push_back(child.get());
            }
        }
    }
    QModelIndexList after;
    after.reserve(before.size());
    for (qsizetype i = 0; i < before.size(); ++i) {
        const Saved& entry = saved[size_t(i)];
        const FileNode* node = entry.node;
        if (!node) {
            const auto found = byPath.find(entry.path);
            node = found == byPath.end() ? nullptr : found->second;
        }
        after.push_back(node ? indexForNode(node, before[i].column()) : QModelIndex());
    }
    changePersistentIndexList(before, after);
    Q_EMIT layoutChanged();
}

void FileListModel::forgetReading(const std::filesystem::path& folder)
{
    m_reading.erase(folder.native());
}

FileNode* FileListModel::nodeForIndex(const QModelIndex& index) const
{
    if (!index.isValid())
        return m_root.get();
    return static_cast<FileNode*>(index.internalPointer());
}

int FileListModel::rowOf(const FileNode* node) const
{
    if (node->parent() == m_root.get() && visibleTop()) {
        const auto found = m_visibleRow.find(node);
        return found == m_visibleRow.end() ? -1 : found->second;
    }
    return node->row();
}

QModelIndex FileListModel::indexForNode(const FileNode* node, int column) const
{
    if (!node || node == m_root.get() || !node->parent())
        return {};
    const int row = rowOf(node);
    if (row < 0)
        return {};
    if (visibleTop()) {
        // Inside a top-level folder that the filter hides, nothing has an index.
        const FileNode* top = node;
        while (top->parent() != m_root.get())
            top = top->parent();
        if (!m_visibleRow.contains(top))
            return {};
    }
    return createIndex(row, column, const_cast<FileNode*>(node));
}

QModelIndex FileListModel::index(int row, int column, const QModelIndex& parent) const
{
    if (!m_root || row < 0 || column < 0 || column >= int(kFileColumns.size()))
        return {};
    const FileNode* folder = nodeForIndex(parent);
    if (folder == m_root.get() && visibleTop()) {
        if (row >= int(m_visibleTop.size()))
            return {};
        return createIndex(row, column, m_visibleTop[size_t(row)]);
    }
    FileNode* child = folder->child(row);
    return child ? createIndex(row, column, child) : QModelIndex();
}

QModelIndex FileListModel::parent(const QModelIndex& child) const
{
    if (!child.isValid())
        return {};
    return indexForNode(nodeForIndex(child)->parent());
}

int FileListModel::rowCount(const QModelIndex& parent) const
{
    if (!m_root || parent.column() > 0)
        return 0;
    const FileNode* folder = nodeForIndex(parent);
    if (folder == m_root.get() && visibleTop())
        return int(m_visibleTop.size());
    return int(folder->children().size());
}

int FileListModel::columnCount(const QModelIndex&) const
{
    return int(kFileColumns.size());
}

bool FileListModel::hasChildren(const QModelIndex& parent) const
{
    if (!parent.isValid())
        return rowCount() > 0;
    if (parent.column() > 0)
        return false;
    const FileNode* node = nodeForIndex(parent);
    if (!node->entry.isFolder)
        return false;
    return !node->childrenLoaded() || !node->children().empty();
}

QVariant FileListModel::displayText(const FileEntry& entry, int column) const
{
    switch (kFileColumns[size_t(column)].key) {
    case FileSortKey::name:
        return entry.name();
    case FileSortKey::dateModified:
        if (!entry.dateModified)
            return QStringLiteral("--");
        return QDateTime::fromMSecsSinceEpoch(*entry.dateModified / 1000000)
            .toString(QStringLiteral("yyyy/MM/dd HH:mm"));
    case FileSortKey::size:
        if (!entry.size)
            return QStringLiteral("--");
        return QString((hasPartialSize(entry) ? QStringLiteral("≥ ") : QString()) +
                       QLocale().formattedDataSize(*entry.size, 1, QLocale::DataSizeSIFormat));
    case FileSortKey::kind:
        return entry.kind();
    case FileSortKey::tags:
        return TagCells::names(entry);
    }
    return {};
}

QVariant FileListModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return {};
    const FileEntry& entry = nodeForIndex(index)->entry;
    switch (role) {
    case Qt::DisplayRole:
        return displayText(entry, index.column());
    case Qt::EditRole:
        return index.column() == 0 ? QVariant(entry.name()) : QVariant();
    case Qt::DecorationRole:
        if (index.column() == 0)
            return TagCells::icon(entry);
        return {};
    case Qt::ToolTipRole:
        if (kFileColumns[size_t(index.column())].key == FileSortKey::tags)
            return TagCells::toolTip(entry);
        if (kFileColumns[size_t(index.column())].key == FileSortKey::size)
            return hasPartialSize(entry) ? kPartialSizeToolTip : QVariant();
        return index.column() == 0 ? gitData(entry, role) : QVariant();
    case GitStatusRole:
        return index.column() == 0 ? gitData(entry, role) : QVariant();
    case TagsRole: {
        const QVariantList dots = TagCells::dots(entry);
        return dots.isEmpty() ? QVariant() : QVariant(dots);
    }
    case Qt::TextAlignmentRole:
        if (kFileColumns[size_t(index.column())].key == FileSortKey::size)
            return QVariant::fromValue(Qt::AlignRight | Qt::AlignVCenter);
        return QVariant::fromValue(Qt::AlignLeft | Qt::AlignVCenter);
    default:
        return {};
    }
}

QVariant FileListModel::gitData(const FileEntry& entry, int role) const
{
    if (!m_git)
        return {};
    const auto status = m_git->status(entry.path());
    if (!status)
        return {};
    if (role == GitStatusRole)
        return int(*status);
    return gitStatusLabel(*status, entry.isFolder);
}

void FileListModel::setGitSnapshot(std::shared_ptr<const GitSnapshot> snapshot)
{
    if (!m_git && !snapshot)
        return;
    if (m_git && snapshot && *m_git == *snapshot)
        return;
    m_git = std::move(snapshot);
    if (m_root)
        announceColumn(m_root->loadedFolders(), 0, {GitStatusRole, Qt::ToolTipRole});
}

bool FileListModel::hasPartialSize(const FileEntry& entry) const
{
    return !m_partialSizes.empty() && entry.size &&
           m_partialSizes.contains(std::string(entry.pathBytes()));
}

void FileListModel::setFolderSizes(const std::unordered_map<std::string, TreeSize::Measure>& sizes)
{
    if (!m_root || sizes.empty())
        return;
    std::vector<FileNode*> changed;
    for (FileNode* folder : m_root->loadedFolders()) {
        bool any = false;
        for (const auto& child : folder->children()) {
            const auto found = sizes.find(std::string(child->entry.pathBytes()));
            if (found == sizes.end())
                continue;
            const bool wasPartial = hasPartialSize(child->entry);
            if (found->second.complete)
                m_partialSizes.erase(found->first);
            else
                m_partialSizes.insert(found->first);
            if (child->entry.size != found->second.bytes || wasPartial != !found->second.complete) {
                child->entry.size = found->second.bytes;
                any = true;
            }
        }
        if (any)
            changed.push_back(folder);
    }
    if (changed.empty())
        return;
    if (m_sort.key == FileSortKey::size)
        resort(m_sort);
    else
        announceColumn(changed, int(FileSortKey::size), {Qt::DisplayRole, Qt::ToolTipRole});
}

void FileListModel::tagsChanged()
{
    if (!m_root)
        return;
    const std::vector<FileNode*> folders = m_root->loadedFolders();
    announceColumn(folders, int(FileSortKey::tags), {Qt::DisplayRole, Qt::ToolTipRole, TagsRole});
    announceColumn(folders, 0, {Qt::DecorationRole});
}

void FileListModel::announceColumn(const std::vector<FileNode*>& folders, int column,
                                   const QList<int>& roles)
{
    for (FileNode* folder : folders) {
        const QModelIndex parent = folder == m_root.get() ? QModelIndex() : indexForNode(folder);
        if (folder != m_root.get() && !parent.isValid())
            continue; // hidden by the filter
        const int rows = rowCount(parent);
        if (rows > 0)
            Q_EMIT dataChanged(index(0, column, parent), index(rows - 1, column, parent), roles);
    }
}

QVariant FileListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || section < 0 || section >= int(kFileColumns.size()))
        return {};
    const FileColumn& column = kFileColumns[size_t(section)];
    if (role == Qt::DisplayRole)
        return QString::fromUtf8(column.title);
    if (role == Qt::TextAlignmentRole)
        return QVariant::fromValue(column.headerAlignment | Qt::AlignVCenter);
    return {};
}

Qt::ItemFlags FileListModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        // A tag location's root has no path: a drop there tags the items.
        return m_root && m_root->entry.isFolder ? Qt::ItemIsDropEnabled : Qt::NoItemFlags;
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled;
    if (index.column() == 0)
        flags |= Qt::ItemIsEditable;
    if (nodeForIndex(index)->entry.isFolder)
        flags |= Qt::ItemIsDropEnabled;
    return flags;
}

QStringList FileListModel::mimeTypes() const
{
    return {QStringLiteral("text/uri-list"), QStringLiteral("x-special/gnome-copied-files")};
}

QMimeData* FileListModel::mimeData(const QModelIndexList& indexes) const
{
    std::vector<std::filesystem::path> paths;
    std::unordered_set<const FileNode*> seen;
    for (const QModelIndex& index : indexes) {
        const FileNode* node = nodeForIndex(index);
        if (seen.insert(node).second)
            paths.push_back(node->entry.path());
    }
    return FileClipboard::makeMimeData(paths, false).release();
}

Qt::DropActions FileListModel::supportedDropActions() const
{
    return Qt::CopyAction | Qt::MoveAction;
}

Qt::DropActions FileListModel::supportedDragActions() const
{
    return Qt::CopyAction | Qt::MoveAction;
}

bool FileListModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int,
                                 const QModelIndex& parent)
{
    if (!data || !m_root || (action != Qt::CopyAction && action != Qt::MoveAction))
        return false;
    // Onto a folder row: into that folder; between rows or onto a file: its folder.
    const FileNode* target = nodeForIndex(parent);
    if (row < 0 && parent.isValid() && !target->entry.isFolder)
        target = target->parent();
    if (!target || !target->entry.isFolder)
        return false;
    Q_EMIT filesDropped(*data, target->entry.path(), action);
    // The operation manager does the work; the view must not remove rows itself.
    return false;
}

bool FileListModel::canFetchMore(const QModelIndex& parent) const
{
    if (!parent.isValid() || parent.column() > 0)
        return false;
    const FileNode* node = nodeForIndex(parent);
    return node->entry.isFolder && !node->childrenLoaded() && !isReading(node);
}

void FileListModel::fetchMore(const QModelIndex& parent)
{
    if (!canFetchMore(parent))
        return;
    FileNode* node = nodeForIndex(parent);
    m_reading.insert(std::string(node->entry.pathBytes()));
    Q_EMIT folderNeedsReading(node);
}
