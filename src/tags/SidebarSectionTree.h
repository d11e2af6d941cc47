#pragma once

#include "tags/SidebarItem.h"

#include <QList>
#include <QSet>
#include <QUuid>
#include <optional>

// The sections the user made. A subsection stands among its parent's items as a
// subsection item, exactly once; the edits here keep it so. A value type.
class SidebarSectionTree {
public:
    SidebarSectionTree() = default;
    // Expects the form that SidebarPersistence::customSections() reads.
    explicit SidebarSectionTree(QList<CustomSidebarSection> sections)
        : m_sections(std::move(sections))
    {
    }

    const QList<CustomSidebarSection>& sections() const { return m_sections; }
    const CustomSidebarSection* find(const QUuid& id) const;
    CustomSidebarSection* find(const QUuid& id);

    // The name trimmed; "セクション" for a blank one.
    static QString nameFor(const QString& name);

    CustomSidebarSection add(const QString& name);
    // Nullopt when there is no such parent.
    std::optional<QUuid> addSubsection(const QString& name, const QUuid& parent,
                                       std::optional<int> at);
    // False for an unknown section, a blank name or the same name.
    bool rename(const QUuid& id, const QString& name);
    // Removes the section with everything below it, and its item from its parent.
    // Returns the ids of the removed sections (empty for an unknown one).
    QSet<QUuid> remove(const QUuid& id);

    // For edits that leave the tree as it is (the missing flags of items).
    template <typename Edit>
    void forEachItemList(Edit&& edit)
    {
        for (CustomSidebarSection& section : m_sections)
            edit(section.items);
    }

    // The given top-level sections in that order, each followed by its subsections
    // (in the order of the parent's items), depth first.
    QList<CustomSidebarSection> inOrder(const QList<QUuid>& topLevel) const;

private:
    QList<CustomSidebarSection> m_sections;
};
