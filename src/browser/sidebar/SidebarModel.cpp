#include "browser/sidebar/SidebarModel.h"

#include "browser/pane/IconCache.h"
#include "core/PathText.h"
#include "tags/SidebarStore.h"
#include "tags/TagStore.h"

#include <QHash>
#include <QIcon>

namespace fs = std::filesystem;

namespace {

const QString kMissingText = QStringLiteral("このフォルダは見つかりません");
const QString kMissingTagText = QStringLiteral("このタグは削除されています");
// Subsections within subsections, as deep as anyone would nest them; the limit
// only guards against a stored cycle.
constexpr int kMaxDepth = 16;

QIcon symbolIcon(const QString& symbol)
{
    static QHash<QString, QIcon> cache;
    if (auto found = cache.constFind(symbol); found != cache.constEnd())
        return *found;
    const QIcon folder = IconCache::named(QStringLiteral("folder"));
    QIcon icon = symbol.isEmpty() ? folder : QIcon::fromTheme(symbol, folder);
    cache.insert(symbol, icon);
    return icon;
}

} // namespace

struct SidebarModel::Node {
    RowKind kind = RowKind::section;
    std::optional<SidebarSection> section; // a header's own; an item's container
    SidebarItem item;
    Tag tag;
    QString title; // a header's
    QString color; // the dot of a tag row or a tag item
    QString key;
    Node* parent = nullptr;
    int row = 0;
    std::vector<std::unique_ptr<Node>> children;

    Node& add(std::unique_ptr<Node> child)
    {
        child->parent = this;
        child->row = int(children.size());
        children.push_back(std::move(child));
        return *children.back();
    }

    bool sameAs(const Node& other) const
    {
        if (kind != other.kind || section != other.section || item != other.item ||
            tag != other.tag || title != other.title || color != other.color || key != other.key ||
            children.size() != other.children.size())
            return false;
        for (size_t i = 0; i < children.size(); ++i) {
            if (!children[i]->sameAs(*other.children[i]))
                return false;
        }
        return true;
    }

    bool isFolder() const
    {
        return kind == RowKind::item && !item.tagID && !item.sectionID && !item.path().empty();
    }
    std::optional<QUuid> tagID() const
    {
        if (kind == RowKind::tag)
            return tag.id;
        return kind == RowKind::item ? item.tagID : std::nullopt;
    }
};

SidebarModel::SidebarModel(SidebarStore& store, TagStore& tags, QObject* parent)
    : QAbstractItemModel(parent)
    , m_store(store)
    , m_tags(tags)
    , m_root(build())
{
    connect(&store, &SidebarStore::changed, this, &SidebarModel::refresh);
    connect(&store, &SidebarStore::volumesChanged, this, &SidebarModel::refresh);
    connect(&tags, &TagStore::tagsChanged, this, &SidebarModel::refresh);
}

SidebarModel::~SidebarModel() = default;

void SidebarModel::refresh()
{
    std::unique_ptr<Node> fresh = build();
    if (fresh->sameAs(*m_root))
        return;
    beginResetModel();
    m_root = std::move(fresh);
    endResetModel();
}

std::unique_ptr<SidebarModel::Node> SidebarModel::build() const
{
    auto root = std::make_unique<Node>();
    for (const SidebarSection& section : m_store.sections()) {
        if (m_store.isHidden(section))
            continue;
        auto header = std::make_unique<Node>();
        header->section = section;
        header->title = m_store.title(section);
        header->key = section.id();
        Node& added = root->add(std::move(header));
        if (section.kind() == SidebarSection::Kind::tags) {
            addTags(added, m_tags.rootTags());
        } else if (section.kind() == SidebarSection::Kind::locations) {
            for (const QList<SidebarItem>& items : {m_store.places(), m_store.volumes()}) {
                for (const SidebarItem& item : items) {
                    auto node = std::make_unique<Node>();
                    node->kind = RowKind::item;
                    node->section = section;
                    node->item = item;
                    node->key = section.id() + QLatin1Char('/') + item.id();
                    added.add(std::move(node));
                }
            }
        } else {
            addItems(added, section, 0);
        }
    }
    return root;
}

void SidebarModel::addItems(Node& parent, const SidebarSection& container, int depth) const
{
    for (const SidebarItem& item : m_store.items(container)) {
        auto node = std::make_unique<Node>();
        node->kind = RowKind::item;
        node->section = container;
        node->item = item;
        node->key = container.id() + QLatin1Char('/') + item.id();
        if (item.tagID) {
            if (const auto tag = m_tags.tag(*item.tagID))
                node->color = tag->color;
        }
        Node& added = parent.add(std::move(node));
        if (item.sectionID && depth < kMaxDepth)
            addItems(added, SidebarSection::custom(*item.sectionID), depth + 1);
    }
}

void SidebarModel::addTags(Node& parent, const QList<Tag>& tags) const
{
    for (const Tag& tag : tags) {
        auto node = std::make_unique<Node>();
        node->kind = RowKind::tag;
        node->section = SidebarSection::tags();
        node->tag = tag;
        node->color = tag.color;
        node->key = QStringLiteral("tagtree:") + tag.id.toString(QUuid::WithoutBraces);
        Node& added = parent.add(std::move(node));
        addTags(added, m_tags.children(tag.id));
    }
}

SidebarModel::Node* SidebarModel::nodeAt(const QModelIndex& index) const
{
    return index.isValid() ? static_cast<Node*>(index.internalPointer()) : m_root.get();
}

QModelIndex SidebarModel::indexOf(const Node* node) const
{
    if (!node || node == m_root.get())
        return {};
    return createIndex(node->row, 0, const_cast<Node*>(node));
}

QModelIndex SidebarModel::index(int row, int column, const QModelIndex& parent) const
{
    if (column != 0 || row < 0 || (parent.isValid() && parent.column() != 0))
        return {};
    const Node* node = nodeAt(parent);
    if (row >= int(node->children.size()))
        return {};
    return createIndex(row, 0, node->children[size_t(row)].get());
}

QModelIndex SidebarModel::parent(const QModelIndex& child) const
{
    if (!child.isValid())
        return {};
    return indexOf(nodeAt(child)->parent);
}

int SidebarModel::rowCount(const QModelIndex& parent) const
{
    if (parent.isValid() && parent.column() != 0)
        return 0;
    return int(nodeAt(parent)->children.size());
}

int SidebarModel::columnCount(const QModelIndex&) const
{
    return 1;
}

QVariant SidebarModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return {};
    const Node* node = nodeAt(index);
    switch (role) {
    case Qt::DisplayRole:
        if (node->kind == RowKind::section)
            return node->title;
        return node->kind == RowKind::tag ? node->tag.leafName() : node->item.displayName();
    case Qt::DecorationRole:
        if (node->kind == RowKind::section)
            return {};
        if (node->tagID())
            return IconCache::dot(node->color.isEmpty() ? QStringLiteral("#8E8E93") : node->color);
        return symbolIcon(node->item.symbol);
    case Qt::ToolTipRole:
        if (node->kind == RowKind::tag)
            return node->tag.name;
        if (node->kind == RowKind::item && node->item.isMissing)
            return node->item.tagID ? kMissingTagText : kMissingText;
        if (node->isFolder())
            return PathText::display(node->item.path());
        return {};
    case KindRole:
        return int(node->kind);
    case KeyRole:
        return node->key;
    case MissingRole:
        return node->kind == RowKind::item && node->item.isMissing;
    case EjectableRole:
        return node->kind == RowKind::item && node->item.isEjectable;
    default:
        return {};
    }
}

Qt::ItemFlags SidebarModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::ItemIsDropEnabled; // between sections
    const Node* node = nodeAt(index);
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    switch (node->kind) {
    case RowKind::section:
        return flags | Qt::ItemIsDragEnabled | Qt::ItemIsDropEnabled;
    case RowKind::tag:
        return flags | Qt::ItemIsDragEnabled | Qt::ItemIsDropEnabled;
    case RowKind::item:
        if (node->item.sectionID)
            return flags | Qt::ItemIsDropEnabled;
        if (node->item.tagID)
            return flags | Qt::ItemIsDragEnabled | Qt::ItemIsDropEnabled;
        if (node->isFolder())
            flags |= Qt::ItemIsDragEnabled;
        if (node->isFolder() && !node->item.isMissing)
            flags |= Qt::ItemIsDropEnabled;
        return flags;
    }
    return flags;
}

SidebarModel::RowKind SidebarModel::kindAt(const QModelIndex& index) const
{
    return nodeAt(index)->kind;
}

std::optional<SidebarSection> SidebarModel::sectionAt(const QModelIndex& index) const
{
    if (!index.isValid() || nodeAt(index)->kind != RowKind::section)
        return std::nullopt;
    return nodeAt(index)->section;
}

const SidebarItem* SidebarModel::itemAt(const QModelIndex& index) const
{
    if (!index.isValid() || nodeAt(index)->kind != RowKind::item)
        return nullptr;
    return &nodeAt(index)->item;
}

std::optional<Tag> SidebarModel::tagAt(const QModelIndex& index) const
{
    if (!index.isValid() || nodeAt(index)->kind != RowKind::tag)
        return std::nullopt;
    return nodeAt(index)->tag;
}

std::optional<SidebarSection> SidebarModel::containerOf(const QModelIndex& index) const
{
    if (!index.isValid() || nodeAt(index)->kind != RowKind::item)
        return std::nullopt;
    return nodeAt(index)->section;
}

std::optional<SidebarSection> SidebarModel::sectionBehind(const QModelIndex& index) const
{
    if (const SidebarItem* item = itemAt(index); item && item->sectionID)
        return SidebarSection::custom(*item->sectionID);
    return sectionAt(index);
}

QString SidebarModel::keyOf(const QModelIndex& index) const
{
    return index.isValid() ? nodeAt(index)->key : QString();
}

const SidebarModel::Node* SidebarModel::findNode(const Node& from,
                                                 const std::function<bool(const Node&)>& test) const
{
    for (const auto& child : from.children) {
        if (test(*child))
            return child.get();
        if (const Node* found = findNode(*child, test))
            return found;
    }
    return nullptr;
}

QModelIndex SidebarModel::indexOfKey(const QString& key) const
{
    if (key.isEmpty())
        return {};
    return indexOf(findNode(*m_root, [&key](const Node& node) { return node.key == key; }));
}

std::optional<Location> SidebarModel::locationAt(const QModelIndex& index) const
{
    if (!index.isValid())
        return std::nullopt;
    const Node* node = nodeAt(index);
    if (const auto tag = node->tagID())
        return Location::tag(*tag);
    if (node->isFolder())
        return Location::folder(node->item.path());
    return std::nullopt;
}

QModelIndex SidebarModel::indexOfLocation(const Location& location) const
{
    if (location.isEmpty())
        return {};
    return indexOf(findNode(*m_root, [&location](const Node& node) {
        if (const auto tag = node.tagID())
            return location.isTag() && location.tagId() == *tag;
        return node.isFolder() && location.isFolder() &&
               Location::folder(node.item.path()) == location;
    }));
}

int SidebarModel::storeIndexOfRow(int row) const
{
    const QList<SidebarSection>& sections = m_store.sections();
    if (row < 0 || row >= int(m_root->children.size()))
        return int(sections.size());
    return int(sections.indexOf(*m_root->children[size_t(row)]->section));
}
