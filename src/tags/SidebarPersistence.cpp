#include "tags/SidebarPersistence.h"

#include "core/AppDefaults.h"
#include "tags/SidebarSectionTree.h"

#include <QHash>
#include <algorithm>

namespace {
const QString kSections = QStringLiteral("sidebarSections");
const QString kHidden = QStringLiteral("sidebarHiddenSections");
const QString kFavorites = QStringLiteral("sidebarFavorites");
const QString kCustom = QStringLiteral("sidebarCustomSections");
const QString kDefaultCreated = QStringLiteral("sidebarDefaultSectionCreated");
const QString kID = QStringLiteral("id");
const QString kName = QStringLiteral("name");
const QString kItems = QStringLiteral("items");
const QString kParent = QStringLiteral("parent");

// The INI format gives a one-element list back as plain text, and an empty one as
// empty text.
std::optional<QStringList> stringList(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::QStringList:
        return value.toStringList();
    case QMetaType::QString: {
        const QString text = value.toString();
        return text.isEmpty() ? QStringList() : QStringList{text};
    }
    case QMetaType::QVariantList: {
        QStringList texts;
        for (const QVariant& element : value.toList()) {
            if (element.typeId() == QMetaType::QString)
                texts.append(element.toString());
        }
        return texts;
    }
    default:
        return std::nullopt;
    }
}

QList<QVariantMap> maps(const QVariant& value)
{
    QList<QVariantMap> result;
    if (value.typeId() != QMetaType::QVariantList)
        return result;
    for (const QVariant& element : value.toList()) {
        if (element.typeId() == QMetaType::QVariantMap)
            result.append(element.toMap());
    }
    return result;
}

QString textOf(const QVariantMap& map, const QString& key)
{
    const QVariant value = map.value(key);
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}

// Each item once, by id; a list that cannot hold subsections drops them.
QList<SidebarItem> itemsFrom(const QVariant& value, bool subsections)
{
    QList<SidebarItem> items;
    QSet<QString> seen;
    for (const QVariantMap& record : maps(value)) {
        std::optional<SidebarItem> item = SidebarItem::fromRecord(record);
        if (!item || (item->sectionID && !subsections) || seen.contains(item->id()))
            continue;
        seen.insert(item->id());
        items.append(std::move(*item));
    }
    return items;
}

QVariantList recordsOf(const QList<SidebarItem>& items)
{
    QVariantList records;
    for (const SidebarItem& item : items)
        records.append(item.toRecord());
    return records;
}

// A section whose own parent is missing, or whose parents lead back to itself,
// becomes top level. A chain that runs into someone else's loop is left to that
// loop's member, so only one section of each loop moves.
void fixParents(QList<CustomSidebarSection>& sections)
{
    QHash<QUuid, qsizetype> index;
    for (qsizetype i = 0; i < sections.size(); ++i)
        index.insert(sections[i].id, i);
    for (CustomSidebarSection& section : sections) {
        if (section.parentID && !index.contains(*section.parentID)) {
            section.parentID.reset();
            continue;
        }
        QSet<QUuid> seen{section.id};
        std::optional<QUuid> parent = section.parentID;
        while (parent && index.contains(*parent) && !seen.contains(*parent)) {
            seen.insert(*parent);
            parent = sections[index.value(*parent)].parentID;
        }
        if (parent && *parent == section.id)
            section.parentID.reset();
    }
}

// Every subsection stands exactly once among its parent's items, named as it is.
void fixSubsectionItems(QList<CustomSidebarSection>& sections)
{
    for (CustomSidebarSection& parent : sections) {
        QList<CustomSidebarSection> children;
        for (const CustomSidebarSection& child : sections) {
            if (child.parentID == parent.id)
                children.append(child);
        }
        QSet<QUuid> placed;
        QList<SidebarItem> items;
        for (const SidebarItem& item : parent.items) {
            if (!item.sectionID) {
                items.append(item);
                continue;
            }
            const auto child =
                std::ranges::find(children, *item.sectionID, &CustomSidebarSection::id);
            if (child == children.end() || placed.contains(child->id))
                continue;
            placed.insert(child->id);
            items.append(SidebarItem::subsection(*child));
        }
        for (const CustomSidebarSection& child : children) {
            if (!placed.contains(child.id))
                items.append(SidebarItem::subsection(child));
        }
        parent.items = std::move(items);
    }
}
} // namespace

std::optional<QStringList> SidebarPersistence::sectionIDs() const
{
    return stringList(m_settings.value(kSections));
}

QSet<QString> SidebarPersistence::hiddenSections() const
{
    const QStringList ids = stringList(m_settings.value(kHidden)).value_or(QStringList());
    return QSet<QString>(ids.begin(), ids.end());
}

QList<SidebarItem> SidebarPersistence::favorites() const
{
    return itemsFrom(m_settings.value(kFavorites), false);
}

QList<CustomSidebarSection> SidebarPersistence::customSections() const
{
    QList<CustomSidebarSection> sections;
    QSet<QUuid> seen;
    for (const QVariantMap& record : maps(m_settings.value(kCustom))) {
        const QUuid id = QUuid::fromString(textOf(record, kID));
        if (id.isNull() || seen.contains(id))
            continue;
        seen.insert(id);
        CustomSidebarSection section{id, SidebarSectionTree::nameFor(textOf(record, kName)),
                                     itemsFrom(record.value(kItems), true), std::nullopt};
        if (const QUuid parent = QUuid::fromString(textOf(record, kParent)); !parent.isNull())
            section.parentID = parent;
        sections.append(std::move(section));
    }
    fixParents(sections);
    fixSubsectionItems(sections);
    return sections;
}

bool SidebarPersistence::defaultSectionCreated() const
{
    const QVariant value = m_settings.value(kDefaultCreated);
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    return value.typeId() == QMetaType::QString && value.toString() == QStringLiteral("true");
}

void SidebarPersistence::saveSections(const QList<SidebarSection>& sections)
{
    QStringList ids;
    for (const SidebarSection& section : sections)
        ids.append(section.id());
    write(kSections, ids);
}

void SidebarPersistence::saveHidden(const QSet<QString>& hidden)
{
    QStringList ids(hidden.begin(), hidden.end());
    ids.sort();
    write(kHidden, ids);
}

void SidebarPersistence::saveFavorites(const QList<SidebarItem>& favorites)
{
    write(kFavorites, recordsOf(favorites));
}

void SidebarPersistence::saveCustomSections(const QList<CustomSidebarSection>& sections)
{
    QVariantList records;
    for (const CustomSidebarSection& section : sections) {
        QVariantMap record{{kID, SidebarSection::uuidText(section.id)},
                           {kName, section.name},
                           {kItems, recordsOf(section.items)}};
        if (section.parentID)
            record.insert(kParent, SidebarSection::uuidText(*section.parentID));
        records.append(record);
    }
    write(kCustom, records);
}

void SidebarPersistence::setDefaultSectionCreated()
{
    write(kDefaultCreated, true);
}

void SidebarPersistence::write(const QString& key, const QVariant& value)
{
    m_settings.setValue(key, value);
    AppDefaults::save(m_settings);
}
