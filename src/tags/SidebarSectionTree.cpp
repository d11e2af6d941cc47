#include "tags/SidebarSectionTree.h"

#include <algorithm>
#include <functional>

QString SidebarSectionTree::nameFor(const QString& name)
{
    const QString trimmed = name.trimmed();
    return trimmed.isEmpty() ? QStringLiteral("セクション") : trimmed;
}

const CustomSidebarSection* SidebarSectionTree::find(const QUuid& id) const
{
    const auto it = std::ranges::find(m_sections, id, &CustomSidebarSection::id);
    return it == m_sections.end() ? nullptr : &*it;
}

CustomSidebarSection* SidebarSectionTree::find(const QUuid& id)
{
    const auto it = std::ranges::find(m_sections, id, &CustomSidebarSection::id);
    return it == m_sections.end() ? nullptr : &*it;
}

CustomSidebarSection SidebarSectionTree::add(const QString& name)
{
    const CustomSidebarSection section{QUuid::createUuid(), nameFor(name), {}, std::nullopt};
    m_sections.append(section);
    return section;
}

std::optional<QUuid> SidebarSectionTree::addSubsection(const QString& name, const QUuid& parent,
                                                       std::optional<int> at)
{
    CustomSidebarSection* container = find(parent);
    if (!container)
        return std::nullopt;
    const CustomSidebarSection section{QUuid::createUuid(), nameFor(name), {}, parent};
    SidebarItems::insert(container->items, SidebarItem::subsection(section), at);
    m_sections.append(section); // `container` may dangle from here on
    return section.id;
}

bool SidebarSectionTree::rename(const QUuid& id, const QString& name)
{
    const QString trimmed = name.trimmed();
    CustomSidebarSection* section = find(id);
    if (!section || trimmed.isEmpty() || section->name == trimmed)
        return false;
    section->name = trimmed;
    if (CustomSidebarSection* parent = section->parentID ? find(*section->parentID) : nullptr) {
        for (SidebarItem& item : parent->items) {
            if (item.sectionID == id)
                item.name = trimmed;
        }
    }
    return true;
}

QSet<QUuid> SidebarSectionTree::remove(const QUuid& id)
{
    if (!find(id))
        return {};
    QSet<QUuid> removed{id};
    for (bool grew = true; grew;) {
        grew = false;
        for (const CustomSidebarSection& section : std::as_const(m_sections)) {
            if (section.parentID && removed.contains(*section.parentID) &&
                !removed.contains(section.id)) {
                removed.insert(section.id);
                grew = true;
            }
        }
    }
    m_sections.removeIf(
        [&](const CustomSidebarSection& section) { return removed.contains(section.id); });
    for (CustomSidebarSection& section : m_sections) {
        section.items.removeIf([&](const SidebarItem& item) {
            return item.sectionID && removed.contains(*item.sectionID);
        });
    }
    return removed;
}

QList<CustomSidebarSection> SidebarSectionTree::inOrder(const QList<QUuid>& topLevel) const
{
    QList<CustomSidebarSection> ordered;
    QSet<QUuid> seen;
    const std::function<void(const QUuid&)> visit = [&](const QUuid& id) {
        const CustomSidebarSection* section = find(id);
        if (!section || seen.contains(id))
            return;
        seen.insert(id);
        ordered.append(*section);
        for (const SidebarItem& item : section->items) {
            if (item.sectionID)
                visit(*item.sectionID);
        }
    };
    for (const QUuid& id : topLevel)
        visit(id);
    return ordered;
}
