#pragma once

#include "core/Location.h"
#include "tags/SidebarItem.h"
#include "tags/SidebarSection.h"
#include "tags/Tag.h"

#include <QAbstractItemModel>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QMimeData;
class SidebarStore;
class TagStore;
struct SidebarDrag;

// The sidebar as an outline: one top-level row per shown section, in the store's
// order; below it the section's items. The "タグ" section holds the tag tree, the
// "場所" section the standard places and the mounted volumes, and a subsection
// of a custom section holds its own items.
//
// Any change of the stores rebuilds the rows; only a real difference resets the
// model, and the view restores expansion by each row's key. Drops change the
// stores; files dropped onto a folder are handed on through filesDropped().
class SidebarModel : public QAbstractItemModel {
    Q_OBJECT
public:
    enum class RowKind { section, item, tag };
    enum Role {
        KindRole = Qt::UserRole + 1, // RowKind as int
        KeyRole,                     // stable identity, for expansion and selection
        MissingRole,                 // a folder that is no longer there
        EjectableRole,
    };

    SidebarModel(SidebarStore& store, TagStore& tags, QObject* parent = nullptr);
    ~SidebarModel() override;

    SidebarStore& store() const { return m_store; }
    TagStore& tagStore() const { return m_tags; }

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDropActions() const override;
    Qt::DropActions supportedDragActions() const override;
    bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                         const QModelIndex& parent) const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;

    RowKind kindAt(const QModelIndex& index) const;
    // The section of a header row.
    std::optional<SidebarSection> sectionAt(const QModelIndex& index) const;
    // The item of an item row; null for headers and tags of the tag tree.
    const SidebarItem* itemAt(const QModelIndex& index) const;
    // The tag of a row of the tag tree.
    std::optional<Tag> tagAt(const QModelIndex& index) const;
    // The section whose list holds an item row (a subsection for its own items).
    std::optional<SidebarSection> containerOf(const QModelIndex& index) const;
    // The section a subsection item stands for, or a header's section.
    std::optional<SidebarSection> sectionBehind(const QModelIndex& index) const;
    QString keyOf(const QModelIndex& index) const;
    QModelIndex indexOfKey(const QString& key) const;
    // What a click on the row opens; nullopt for headers and subsections.
    std::optional<Location> locationAt(const QModelIndex& index) const;
    // The first row that opens this location.
    QModelIndex indexOfLocation(const Location& location) const;

    // Rebuilds from the stores; resets only when something shown changed.
    void refresh();

Q_SIGNALS:
    // Files dropped onto a folder row, to be copied (or moved) into it.
    void filesDropped(const QMimeData& data, const std::filesystem::path& folder,
                      Qt::DropAction action);

private:
    struct Node;
    // Where a drop lands: into `container` at `row` (nullopt: at the end), and the
    // row it was dropped onto, if any.
    struct DropPlace {
        std::optional<SidebarSection> container;
        std::optional<int> row;
        QModelIndex onto;
    };

    std::unique_ptr<Node> build() const;
    void addItems(Node& parent, const SidebarSection& container, int depth) const;
    void addTags(Node& parent, const QList<Tag>& tags) const;
    Node* nodeAt(const QModelIndex& index) const;
    QModelIndex indexOf(const Node* node) const;
    const Node* findNode(const Node& from, const std::function<bool(const Node&)>& test) const;

    std::optional<DropPlace> placeFor(int row, const QModelIndex& parent) const;
    bool canDropRow(const SidebarDrag& drag, int row, const QModelIndex& parent) const;
    bool dropRow(const SidebarDrag& drag, int row, const QModelIndex& parent);
    bool canDropFiles(const QMimeData& data, int row, const QModelIndex& parent) const;
    bool dropFiles(const QMimeData& data, Qt::DropAction action, int row,
                   const QModelIndex& parent);
    // Store position of the section shown at a top-level row (the count for the end).
    int storeIndexOfRow(int row) const;
    // Adds those of the paths that are folders; the test runs off the main thread.
    void placeFolders(std::vector<std::filesystem::path> paths, const SidebarSection& container,
                      std::optional<int> at);

    SidebarStore& m_store;
    TagStore& m_tags;
    std::unique_ptr<Node> m_root;
};
