#include "tags/TagTree.h"

#include "files/FileSorter.h"

#include <QStringList>
#include <algorithm>

namespace {

const QList<int> kNoPositions;

bool sameName(const QString& a, const QString& b)
{
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

bool nameLess(const Tag& a, const Tag& b)
{
    return FileSorter::localizedCompare(a.name, b.name) < 0;
}

} // namespace

TagTree::TagTree(QList<Tag> tags, bool manualOrder)
    : m_tags(std::move(tags))
    , m_manualOrder(manualOrder)
{
    if (!m_manualOrder)
        std::stable_sort(m_tags.begin(), m_tags.end(), nameLess);
    rebuild();
}

void TagTree::rebuild()
{
    // Children of each parent name in stored order; roots under the null text.
    QHash<QString, QList<int>> byParent;
    QHash<QString, QList<int>> byName;
    for (int i = 0; i < m_tags.size(); ++i)
        byParent[m_tags[i].parentName().value_or(QString())].append(i);
    m_sorted.clear();
    m_sortedIndex.clear();
    QList<bool> visited(m_tags.size(), false);
    // Depth first without recursion, so that a deep or odd file cannot blow the stack.
    std::vector<std::pair<const QList<int>*, int>> stack;
    stack.emplace_back(&byParent[QString()], 0);
    while (!stack.empty()) {
        auto& [list, next] = stack.back();
        if (next >= list->size()) {
            stack.pop_back();
            continue;
        }
        const int i = (*list)[next++];
        if (visited[i])
            continue;
        visited[i] = true;
        m_sorted.append(m_tags[i]);
        const auto kids = byParent.constFind(m_tags[i].name);
        if (kids != byParent.constEnd())
            stack.emplace_back(&kids.value(), 0);
    }
    for (int i = 0; i < m_tags.size(); ++i) {
        if (!visited[i])
            m_sorted.append(m_tags[i]);
    }
    for (int p = 0; p < m_sorted.size(); ++p) {
        m_sortedIndex.insert(m_sorted[p].id, p);
        byName[m_sorted[p].name].append(p);
    }
    m_lineage.clear();
    for (int p = 0; p < m_sorted.size(); ++p) {
        QList<int> positions;
        const QStringList parts = m_sorted[p].name.split(QLatin1Char('/'));
        QString prefix;
        for (const QString& part : parts) {
            prefix = prefix.isEmpty() ? part : prefix + QLatin1Char('/') + part;
            positions += byName.value(prefix);
        }
        std::sort(positions.begin(), positions.end());
        m_lineage.insert(m_sorted[p].id, positions);
    }
}

int TagTree::sortedPosition(const QUuid& id) const
{
    return m_sortedIndex.value(id, -1);
}

const QList<int>& TagTree::selfAndAncestorPositions(const QUuid& id) const
{
    const auto found = m_lineage.constFind(id);
    return found == m_lineage.constEnd() ? kNoPositions : found.value();
}

int TagTree::indexOf(const QUuid& id) const
{
    for (int i = 0; i < m_tags.size(); ++i) {
        if (m_tags[i].id == id)
            return i;
    }
    return -1;
}

QList<Tag> TagTree::atPositions(QList<int> positions) const
{
    std::sort(positions.begin(), positions.end());
    positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
    QList<Tag> result;
    result.reserve(positions.size());
    for (int p : positions)
        result.append(m_sorted[p]);
    return result;
}

QList<Tag> TagTree::inSortedOrder(const TagIDSet& ids) const
{
    QList<int> positions;
    positions.reserve(ids.size());
    for (const QUuid& id : ids) {
        if (const int p = sortedPosition(id); p >= 0)
            positions.append(p);
    }
    return atPositions(std::move(positions));
}

QList<Tag> TagTree::withAncestors(const TagIDSet& ids) const
{
    QList<int> positions;
    for (const QUuid& id : ids)
        positions += selfAndAncestorPositions(id);
    return atPositions(std::move(positions));
}

std::optional<Tag> TagTree::tag(const QUuid& id) const
{
    const int p = sortedPosition(id);
    return p < 0 ? std::nullopt : std::optional(m_sorted[p]);
}

std::optional<Tag> TagTree::tagNamed(const QString& name) const
{
    for (const Tag& t : m_tags) {
        if (sameName(t.name, name))
            return t;
    }
    return std::nullopt;
}

QList<Tag> TagTree::rootTags() const
{
    QList<Tag> roots;
    for (const Tag& t : m_tags) {
        if (!t.parentName())
            roots.append(t);
    }
    return roots;
}

QList<Tag> TagTree::children(const QUuid& of) const
{
    const auto parent = tag(of);
    QList<Tag> kids;
    if (!parent)
        return kids;
    for (const Tag& t : m_tags) {
        if (t.parentName() == parent->name)
            kids.append(t);
    }
    return kids;
}

QSet<QUuid> TagTree::selfAndDescendantIDs(const QUuid& of) const
{
    const auto root = tag(of);
    if (!root)
        return {};
    QSet<QUuid> ids{of};
    for (const Tag& t : m_tags) {
        if (root->isAncestorOf(t.name))
            ids.insert(t.id);
    }
    return ids;
}

void TagTree::insertNew(const Tag& tag)
{
    if (m_manualOrder) {
        m_tags.append(tag);
        return;
    }
    m_tags.insert(std::upper_bound(m_tags.begin(), m_tags.end(), tag, nameLess), tag);
}

std::optional<TagTree::Created> TagTree::create(const QString& name, const QString& color)
{
    const QString normalized = TagNames::normalized(name);
    if (normalized.isEmpty())
        return std::nullopt;
    if (auto existing = tagNamed(normalized))
        return Created{*existing, false};
    // Each level takes the spelling of a tag that already bears it, so that "work/x"
    // lands under an existing "Work".
    QString prefix;
    const QStringList parts = normalized.split(QLatin1Char('/'));
    for (const QString& part : parts) {
        prefix = prefix.isEmpty() ? part : prefix + QLatin1Char('/') + part;
        if (auto existing = tagNamed(prefix)) {
            prefix = existing->name;
            continue;
        }
        insertNew(Tag{QUuid::createUuid(), prefix, color});
    }
    rebuild();
    return Created{*tagNamed(prefix), true};
}

bool TagTree::nameTakenByOther(const QString& name, const QUuid& except) const
{
    for (const Tag& t : m_tags) {
        if (t.id != except && sameName(t.name, name))
            return true;
    }
    return false;
}

bool TagTree::rename(const QUuid& id, const QString& name)
{
    const int index = indexOf(id);
    const QString normalized = TagNames::normalized(name);
    if (index < 0 || normalized.isEmpty() || nameTakenByOther(normalized, id))
        return false;
    const Tag old = m_tags[index];
    if (old.name == normalized)
        return true;
    const QSet<QUuid> subtree = selfAndDescendantIDs(id);
    auto renamed = [&](const QString& current) {
        return current == old.name ? normalized : normalized + current.mid(old.name.size());
    };
    // A descendant must not land on the name of a tag outside the subtree.
    for (const Tag& t : m_tags) {
        if (subtree.contains(t.id) && t.id != id) {
            for (const Tag& other : m_tags) {
                if (!subtree.contains(other.id) && sameName(other.name, renamed(t.name)))
                    return false;
            }
        }
    }
    for (Tag& t : m_tags) {
        if (subtree.contains(t.id))
            t.name = renamed(t.name);
    }
    if (!m_manualOrder)
        std::stable_sort(m_tags.begin(), m_tags.end(), nameLess);
    if (const auto parent = Tag{id, normalized, old.color}.parentName();
        parent && !tagNamed(*parent))
        create(*parent, old.color);
    rebuild();
    return true;
}

bool TagTree::setColor(const QUuid& id, const QString& color)
{
    const int index = indexOf(id);
    const auto text = TagNames::colorText(color);
    if (index < 0 || !text)
        return false;
    if (m_tags[index].color == *text)
        return false;
    m_tags[index].color = *text;
    rebuild();
    return true;
}

QSet<QUuid> TagTree::remove(const QUuid& id)
{
    const QSet<QUuid> ids = selfAndDescendantIDs(id);
    if (ids.isEmpty())
        return ids;
    m_tags.removeIf([&](const Tag& t) { return ids.contains(t.id); });
    rebuild();
    return ids;
}

bool TagTree::canMove(const QUuid& id, const std::optional<QUuid>& under) const
{
    const auto moving = tag(id);
    if (!moving)
        return false;
    QString target = moving->leafName();
    if (under) {
        const auto parent = tag(*under);
        if (!parent || parent->id == id || moving->isAncestorOf(parent->name))
            return false;
        target = parent->name + QLatin1Char('/') + target;
    }
    return !nameTakenByOther(target, id);
}

bool TagTree::move(const QUuid& id, const std::optional<QUuid>& under, const std::optional<int>& at)
{
    if (!canMove(id, under))
        return false;
    const Tag moving = *tag(id);
    const QString target =
        under ? tag(*under)->name + QLatin1Char('/') + moving.leafName() : moving.leafName();
    if (target != moving.name && !rename(id, target))
        return false;
    if (at)
        reorder(id, *at, target == moving.name);
    return true;
}

bool TagTree::reorder(const QUuid& id, int index, bool countingSelf)
{
    const int from = indexOf(id);
    if (from < 0)
        return false;
    const Tag moving = m_tags[from];
    const auto parent = moving.parentName();
    if (countingSelf) {
        int ownPlace = 0;
        for (int i = 0; i < from; ++i)
            ownPlace += m_tags[i].parentName() == parent ? 1 : 0;
        if (ownPlace < index)
            --index;
    }
    // The subtree travels as one block, keeping its inner order.
    QList<Tag> block;
    QList<Tag> rest;
    for (const Tag& t : m_tags)
        (t.id == id || moving.isAncestorOf(t.name) ? block : rest).append(t);
    QList<int> siblings;
    for (int i = 0; i < rest.size(); ++i) {
        if (rest[i].parentName() == parent)
            siblings.append(i);
    }
    index = std::clamp(index, 0, int(siblings.size()));
    const int insertAt = siblings.isEmpty()             ? int(rest.size())
                         : index < int(siblings.size()) ? siblings[index]
                                                        : siblings.last() + 1;
    for (int i = 0; i < block.size(); ++i)
        rest.insert(insertAt + i, block[i]);
    m_tags = std::move(rest);
    m_manualOrder = true;
    rebuild();
    return true;
}

void TagTree::put(const Tag& tag)
{
    const int index = indexOf(tag.id);
    if (index >= 0)
        m_tags[index] = tag;
    else
        insertNew(tag);
    rebuild();
}

void TagTree::changeID(const QUuid& from, const QUuid& to)
{
    const int index = indexOf(from);
    if (index < 0)
        return;
    m_tags[index].id = to;
    rebuild();
}
