#pragma once

#include "core/FileSort.h"
#include "files/FileNode.h"
#include "insight/GitSnapshot.h"
#include "platform/TreeSize.h"

#include <QAbstractItemModel>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

// The outline of one pane over a FileNode tree.
//
// Change signals, so that views keep expansion and selection:
// - a new location resets the model once, when its listing arrives;
// - the first reading of an expanded folder inserts its rows;
// - a reload, a re-sort and a filter change emit layoutChanged and move every
//   persistent index to the node with the same path (gone items lose theirs).
// Folders are read on demand: fetchMore() emits folderNeedsReading and the pane
// hands the result back through applyReading() on the main thread.
class FileListModel : public QAbstractItemModel {
    Q_OBJECT
public:
    // The row's GitFileStatus as an int; invalid outside a working tree or without a state.
    static constexpr int GitStatusRole = Qt::UserRole + 1;
    // The row's explicit tags as a list of [name, "#RRGGBB"] string pairs (tags column).
    static constexpr int TagsRole = Qt::UserRole + 2;

    explicit FileListModel(QObject* parent = nullptr);
    ~FileListModel() override;

    // A new, still unread root for a new location.
    void setRoot(FileEntry rootEntry);
    FileNode* root() const { return m_root.get(); }

    void applyReading(FileNode* folder, FileNode::Children nodes, const FileSort& sort);
    // The folder could not be read: it shows no children.
    void applyFailure(FileNode* folder);
    // The folder vanished before its reading came back.
    void forgetReading(const std::filesystem::path& folder);
    void resort(const FileSort& sort);
    // Top-level filter; empty text shows everything.
    void setFilterText(const QString& text);
    bool isFiltering() const { return !m_foldedFilter.isEmpty(); }
    int visibleTopLevelCount() const;
    bool isReading(const FileNode* folder) const
    {
        return m_reading.contains(std::string(folder->entry.pathBytes()));
    }

    // The Git state shown per row; null outside a working tree. Rows only repaint.
    void setGitSnapshot(std::shared_ptr<const GitSnapshot> snapshot);
    const GitSnapshot* gitSnapshot() const { return m_git.get(); }
    // Folder sizes that arrived, by standardized path; rows repaint, and re-sort by
    // the sort in force when it is by size. An incomplete size shows as a lower bound.
    void setFolderSizes(const std::unordered_map<std::string, TreeSize::Measure>& sizes);
    // Tags or their colours changed: the tags column and folder icons repaint.
    void tagsChanged();

    FileNode* nodeForIndex(const QModelIndex& index) const;
    QModelIndex indexForNode(const FileNode* node, int column = 0) const;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    bool hasChildren(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    bool canFetchMore(const QModelIndex& parent) const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDropActions() const override;
    Qt::DropActions supportedDragActions() const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;
    void fetchMore(const QModelIndex& parent) override;

Q_SIGNALS:
    void folderNeedsReading(FileNode* folder);
    // Files were dropped onto `folder`; the pane hands them to the operation manager.
    void filesDropped(const QMimeData& data, const std::filesystem::path& folder,
                      Qt::DropAction action);

private:
    // `reloaded`: the folder whose children the mutation replaces, or null.
    template <typename Mutation>
    void changeLayout(const FileNode* reloaded, Mutation&& mutate);
    void setChildren(FileNode* folder, FileNode::Children nodes, const FileSort& sort);
    void rebuildVisibleTop();
    const std::vector<FileNode*>* visibleTop() const;
    int rowOf(const FileNode* node) const;
    QVariant displayText(const FileEntry& entry, int column) const;
    QVariant gitData(const FileEntry& entry, int role) const;
    // The folder's shown size is a lower bound: part of its tree could not be read.
    bool hasPartialSize(const FileEntry& entry) const;
    // dataChanged for one column of every row under each folder.
    void announceColumn(const std::vector<FileNode*>& folders, int column, const QList<int>& roles);

    std::unique_ptr<FileNode> m_root;
    std::shared_ptr<const GitSnapshot> m_git;
    QString m_foldedFilter;
    std::vector<FileNode*> m_visibleTop; // only while filtering
    std::unordered_map<const FileNode*, int> m_visibleRow;
    std::unordered_set<std::string> m_reading;      // folder paths being read
    FileSort m_sort;                                // the latest one applied
    std::unordered_set<std::string> m_partialSizes; // folders whose size is a lower bound
};
