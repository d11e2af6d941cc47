#pragma once

#include "tags/Tag.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <optional>
#include <vector>

// The tags themselves, without assignments: the stored order, the hierarchy by
// name, and the edits of the tree. A value type; the caches of the derived orders
// are rebuilt after every edit, so that queries cost no scan of all tags.
class TagTree {
public:
    TagTree() = default;
    // `manualOrder` false: sorted stably by name (localized standard comparison).
    TagTree(QList<Tag> tags, bool manualOrder);

    const QList<Tag>& tags() const { return m_tags; }
    bool manualOrder() const { return m_manualOrder; }
    // Depth first from the roots, each parent before its children in stored order;
    // tags whose parent does not exist follow in stored order.
    const QList<Tag>& sortedTags() const { return m_sorted; }
    // Position in sortedTags, or -1.
    int sortedPosition(const QUuid& id) const;
    // Positions in sortedTags of the tag and every ancestor that exists.
    const QList<int>& selfAndAncestorPositions(const QUuid& id) const;
    // The tags with these ids, in sortedTags order; unknown ids are left out.
    QList<Tag> inSortedOrder(const TagIDSet& ids) const;
    // The same with every ancestor of each, once each.
    QList<Tag> withAncestors(const TagIDSet& ids) const;

    std::optional<Tag> tag(const QUuid& id) const;
    // Case-insensitive.
    std::optional<Tag> tagNamed(const QString& name) const;
    QList<Tag> rootTags() const;
    QList<Tag> children(const QUuid& of) const;
    QSet<QUuid> selfAndDescendantIDs(const QUuid& of) const;

    struct Created {
        Tag tag;
        bool isNew = false;
    };
    // Normalizes; nullopt for an empty name. Missing ancestors get the same colour.
    std::optional<Created> create(const QString& name, const QString& color);
    bool rename(const QUuid& id, const QString& name);
    bool setColor(const QUuid& id, const QString& color);
    // Removes the tag and its descendants; returns their ids (empty when unknown).
    QSet<QUuid> remove(const QUuid& id);
    // Refuses moving under itself or a descendant, and a name already borne by another.
    bool canMove(const QUuid& id, const std::optional<QUuid>& under) const;
    bool move(const QUuid& id, const std::optional<QUuid>& under, const std::optional<int>& at);
    // Moves the tag with its subtree so that it stands at `index` among its siblings;
    // `countingSelf`: the index counts the tag's own current place. Sets manualOrder.
    bool reorder(const QUuid& id, int index, bool countingSelf);
    // Adds a tag as it is (the favourites guarantee); replaces one with the same id.
    void put(const Tag& tag);
    // Gives a tag a new id (the favourites guarantee adopting a tag by name).
    void changeID(const QUuid& from, const QUuid& to);

private:
    void rebuild();
    // The tags at these positions of sortedTags, sorted, each once.
    QList<Tag> atPositions(QList<int> positions) const;
    int indexOf(const QUuid& id) const;
    void insertNew(const Tag& tag);
    bool nameTakenByOther(const QString& name, const QUuid& except) const;

    QList<Tag> m_tags;
    bool m_manualOrder = false;
    QList<Tag> m_sorted;
    QHash<QUuid, int> m_sortedIndex;
    QHash<QUuid, QList<int>> m_lineage; // sorted positions of self and ancestors
};
