#pragma once

#include <QAbstractItemModel>
#include <QList>
#include <QPair>
#include <QUuid>
#include <optional>
#include <vector>

class TagStore;

// The tags of a store as a tree (a/b under a), in the store's order, for the tag
// manager: the leaf name edits in place (a rename), and rows move by drag and
// drop. Refused edits are reported through refused(), never shown here.
class TagTreeModel : public QAbstractItemModel {
    Q_OBJECT
public:
    static constexpr int TagIDRole = Qt::UserRole;
    static constexpr int NameRole = Qt::UserRole + 1; // the full name

    explicit TagTreeModel(TagStore& store, QObject* parent = nullptr);

    TagStore& store() const { return m_store; }
    QModelIndex indexOf(const QUuid& id) const;
    QUuid idAt(const QModelIndex& index) const;

    // A new tag of that name (a/b makes the hierarchy); nullopt, with refused(), for an
    // empty name or one that a tag bears already.
    std::optional<QUuid> createTag(const QString& name);
    // Moves the tag under `parent` (the root when empty) so that it then stands at
    // `index` among its siblings (the end when empty). False, with refused(), when
    // the store does not allow it.
    bool moveTag(const QUuid& id, const std::optional<QUuid>& parent,
                 std::optional<int> index = std::nullopt);

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    Qt::DropActions supportedDragActions() const override;
    Qt::DropActions supportedDropActions() const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;

Q_SIGNALS:
    // A rename or a move was refused; the text says why, for the person.
    void refused(const QString& message);

private:
    struct Node {
        QUuid id;
        QString name;
        QString leafName;
        QString color;
        int parent = -1; // index into m_nodes; -1 at the root
        int row = 0;
        std::vector<int> children;
    };

    void storeChanged();
    void build();
    const Node* nodeAt(const QModelIndex& index) const;
    const std::vector<int>& childrenOf(const QModelIndex& parent) const;
    bool rename(const Node& node, const QString& leafName);

    TagStore& m_store;
    std::vector<Node> m_nodes;
    std::vector<int> m_roots;
    QList<QPair<QUuid, QUuid>> m_shape; // ids and parent ids the nodes were built from
};
