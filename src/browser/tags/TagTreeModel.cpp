#include "browser/tags/TagTreeModel.h"

#include "browser/pane/IconCache.h"
#include "tags/TagStore.h"

#include <QHash>
#include <QMimeData>

namespace {

const QString kMimeType = QStringLiteral("application/x-quillo-tag-id");
const QString kEmptyName = QStringLiteral("タグの名前を入力してください。");
const QString kNameTaken = QStringLiteral("同じ名前のタグがすでにあります。");
const QString kCannotMove = QStringLiteral("タグをその場所へは移動できません。");

// Each tag with its parent's id, in sortedTags order: what the rows are made of.
QList<QPair<QUuid, QUuid>> shapeOf(const QList<Tag>& tags)
{
    QHash<QString, QUuid> byName;
    QList<QPair<QUuid, QUuid>> shape;
    for (const Tag& tag : tags) {
        const auto parentName = tag.parentName();
        shape.append({tag.id, parentName ? byName.value(*parentName) : QUuid()});
        byName.insert(tag.name, tag.id);
    }
    return shape;
}

} // namespace

TagTreeModel::TagTreeModel(TagStore& store, QObject* parent)
    : QAbstractItemModel(parent)
    , m_store(store)
{
    build();
    connect(&m_store, &TagStore::tagsChanged, this, &TagTreeModel::storeChanged);
}

// Nodes in sortedTags order; a tag whose parent does not exist stands at the root.
void TagTreeModel::build()
{
    m_nodes.clear();
    m_roots.clear();
    m_shape = shapeOf(m_store.sortedTags());
    QHash<QString, int> byName;
    for (const Tag& tag : m_store.sortedTags()) {
        Node node{tag.id, tag.name, tag.leafName(), tag.color};
        const auto parentName = tag.parentName();
        node.parent = parentName ? byName.value(*parentName, -1) : -1;
        std::vector<int>& siblings = node.parent < 0 ? m_roots : m_nodes[node.parent].children;
        node.row = int(siblings.size());
        siblings.push_back(int(m_nodes.size()));
        byName.insert(tag.name, int(m_nodes.size()));
        m_nodes.push_back(std::move(node));
    }
}

// Names and colours change in place (an edit in progress stays open); any other
// change of the tree resets the model, and the view restores its state by id.
void TagTreeModel::storeChanged()
{
    if (shapeOf(m_store.sortedTags()) != m_shape) {
        beginResetModel();
        build();
        endResetModel();
        return;
    }
    for (Node& node : m_nodes) {
        const std::optional<Tag> tag = m_store.tag(node.id);
        if (!tag || (tag->name == node.name && tag->color == node.color))
            continue;
        node.name = tag->name;
        node.leafName = tag->leafName();
        node.color = tag->color;
        const QModelIndex changed = indexOf(node.id);
        Q_EMIT dataChanged(changed, changed);
    }
}

QModelIndex TagTreeModel::indexOf(const QUuid& id) const
{
    for (std::size_t i = 0; i < m_nodes.size(); ++i) {
        if (m_nodes[i].id == id)
            return createIndex(m_nodes[i].row, 0, quintptr(i));
    }
    return {};
}

QUuid TagTreeModel::idAt(const QModelIndex& index) const
{
    const Node* node = nodeAt(index);
    return node ? node->id : QUuid();
}

const TagTreeModel::Node* TagTreeModel::nodeAt(const QModelIndex& index) const
{
    if (!index.isValid() || index.model() != this || index.internalId() >= m_nodes.size())
        return nullptr;
    return &m_nodes[index.internalId()];
}

const std::vector<int>& TagTreeModel::childrenOf(const QModelIndex& parent) const
{
    const Node* node = nodeAt(parent);
    return node ? node->children : m_roots;
}

QModelIndex TagTreeModel::index(int row, int column, const QModelIndex& parent) const
{
    const std::vector<int>& children = childrenOf(parent);
    if (row < 0 || row >= int(children.size()) || column != 0)
        return {};
    return createIndex(row, column, quintptr(children[std::size_t(row)]));
}

QModelIndex TagTreeModel::parent(const QModelIndex& child) const
{
    const Node* node = nodeAt(child);
    if (!node || node->parent < 0)
        return {};
    return createIndex(m_nodes[std::size_t(node->parent)].row, 0, quintptr(node->parent));
}

int TagTreeModel::rowCount(const QModelIndex& parent) const
{
    if (parent.isValid() && parent.column() != 0)
        return 0;
    return int(childrenOf(parent).size());
}

int TagTreeModel::columnCount(const QModelIndex&) const
{
    return 1;
}

QVariant TagTreeModel::data(const QModelIndex& index, int role) const
{
    const Node* node = nodeAt(index);
    if (!node)
        return {};
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return node->leafName;
    case Qt::DecorationRole:
        return IconCache::dot(node->color);
    case Qt::ToolTipRole:
    case NameRole:
        return node->name;
    case TagIDRole:
        return node->id;
    default:
        return {};
    }
}

bool TagTreeModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    const Node* node = nodeAt(index);
    if (!node || role != Qt::EditRole || node->id == TagStore::favoritesID)
        return false;
    const Node copy = *node; // the rename may rebuild the nodes
    return rename(copy, value.toString());
}

// The edit names the last level; the tag keeps its parent.
bool TagTreeModel::rename(const Node& node, const QString& leafName)
{
    const QString leaf = TagNames::normalized(leafName);
    if (leaf.isEmpty()) {
        Q_EMIT refused(kEmptyName);
        return false;
    }
    const QString name =
        node.parent < 0 ? leaf : m_nodes[std::size_t(node.parent)].name + QLatin1Char('/') + leaf;
    if (name == node.name)
        return true;
    const std::optional<Tag> existing = m_store.tagNamed(name);
    if ((existing && existing->id != node.id) || !m_store.renameTag(node.id, name)) {
        Q_EMIT refused(kNameTaken);
        return false;
    }
    return true;
}

std::optional<QUuid> TagTreeModel::createTag(const QString& name)
{
    const QString normalized = TagNames::normalized(name);
    if (normalized.isEmpty()) {
        Q_EMIT refused(kEmptyName);
        return std::nullopt;
    }
    if (m_store.tagNamed(normalized)) {
        Q_EMIT refused(kNameTaken);
        return std::nullopt;
    }
    const std::optional<Tag> tag = m_store.createTag(normalized);
    return tag ? std::optional(tag->id) : std::nullopt;
}

Qt::ItemFlags TagTreeModel::flags(const QModelIndex& index) const
{
    const Node* node = nodeAt(index);
    if (!node)
        return Qt::ItemIsDropEnabled; // the root
    Qt::ItemFlags flags =
        Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled | Qt::ItemIsDropEnabled;
    if (node->id != TagStore::favoritesID)
        flags |= Qt::ItemIsEditable;
    return flags;
}

bool TagTreeModel::moveTag(const QUuid& id, const std::optional<QUuid>& parent,
                           std::optional<int> index)
{
    const QModelIndex at = indexOf(id);
    const Node* node = nodeAt(at);
    if (!node)
        return false;
    const QUuid currentParent = node->parent < 0 ? QUuid() : m_nodes[node->parent].id;
    const bool sameParent = parent.value_or(QUuid()) == currentParent;
    if (sameParent && (!index || *index == node->row))
        return true; // already there
    // Among its own siblings the store counts the tag's old place too.
    const std::optional<int> storeIndex =
        sameParent && index && *index > node->row ? std::optional(*index + 1) : index;
    // The favourites tag keeps its name, so it only moves among its siblings.
    if ((!sameParent && id == TagStore::favoritesID) || !m_store.canMoveTag(id, parent) ||
        !m_store.moveTag(id, parent, storeIndex)) {
        Q_EMIT refused(kCannotMove);
        return false;
    }
    return true;
}

Qt::DropActions TagTreeModel::supportedDragActions() const
{
    return Qt::MoveAction;
}

Qt::DropActions TagTreeModel::supportedDropActions() const
{
    return Qt::MoveAction;
}

QStringList TagTreeModel::mimeTypes() const
{
    return {kMimeType};
}

QMimeData* TagTreeModel::mimeData(const QModelIndexList& indexes) const
{
    const Node* node = indexes.isEmpty() ? nullptr : nodeAt(indexes.first());
    if (!node)
        return nullptr;
    auto* data = new QMimeData;
    data->setData(kMimeType, node->id.toByteArray(QUuid::WithoutBraces));
    return data;
}

// Onto a tag (row -1): under it. Between rows: to that place among the siblings,
// the row counted before the tag leaves its old place.
bool TagTreeModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int,
                                const QModelIndex& parent)
{
    if (action != Qt::MoveAction || !data || !data->hasFormat(kMimeType))
        return false;
    const QUuid id = QUuid::fromString(QString::fromLatin1(data->data(kMimeType)));
    const Node* node = nodeAt(indexOf(id));
    if (!node)
        return false;
    std::optional<QUuid> under;
    if (parent.isValid())
        under = idAt(parent);
    std::optional<int> index;
    if (row >= 0) {
        const int parentNode = parent.isValid() ? int(parent.internalId()) : -1;
        index = node->parent == parentNode && node->row < row ? row - 1 : row;
    }
    return moveTag(id, under, index);
}
