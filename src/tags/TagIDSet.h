#pragma once

#include <QList>
#include <QSet>
#include <QUuid>
#include <algorithm>
#include <initializer_list>

// The tag ids of one item: a handful, kept sorted in one small array. A library
// holds tens of thousands of these, where a hash set per item would cost several
// allocations and hundreds of bytes each.
class TagIDSet {
public:
    TagIDSet() = default;
    TagIDSet(std::initializer_list<QUuid> ids)
    {
        for (const QUuid& id : ids)
            insert(id);
    }

    auto begin() const { return m_ids.begin(); }
    auto end() const { return m_ids.end(); }
    qsizetype size() const { return m_ids.size(); }
    bool isEmpty() const { return m_ids.isEmpty(); }

    bool contains(const QUuid& id) const
    {
        return std::binary_search(m_ids.begin(), m_ids.end(), id);
    }
    void insert(const QUuid& id)
    {
        const auto at = std::lower_bound(m_ids.begin(), m_ids.end(), id);
        if (at == m_ids.end() || *at != id)
            m_ids.insert(at, id);
    }
    // True when the id was there.
    bool remove(const QUuid& id) { return m_ids.removeOne(id); }
    bool intersects(const QSet<QUuid>& ids) const
    {
        return std::any_of(m_ids.begin(), m_ids.end(),
                           [&](const QUuid& id) { return ids.contains(id); });
    }
    void subtract(const QSet<QUuid>& ids)
    {
        m_ids.removeIf([&](const QUuid& id) { return ids.contains(id); });
    }
    void unite(const TagIDSet& other)
    {
        for (const QUuid& id : other)
            insert(id);
    }

    bool operator==(const TagIDSet&) const = default;

private:
    QList<QUuid> m_ids;
};
