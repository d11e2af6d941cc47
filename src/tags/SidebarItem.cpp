#include "tags/SidebarItem.h"

#include "core/Location.h"
#include "core/PathText.h"
#include "tags/SidebarSection.h"

#include <algorithm>

namespace {
const QString kSectionScheme = QStringLiteral("quillo-section:");
const QString kUrl = QStringLiteral("url");
const QString kName = QStringLiteral("name");
const QString kSymbol = QStringLiteral("symbol");
const QString kCustomName = QStringLiteral("customName");
const QString kTag = QStringLiteral("tag");
const QString kSection = QStringLiteral("section");

// A stored value of another type counts as absent.
QString textValue(const QVariantMap& record, const QString& key)
{
    const QVariant value = record.value(key);
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}

std::optional<QUuid> uuidValue(const QVariantMap& record, const QString& key)
{
    const QUuid id = QUuid::fromString(textValue(record, key));
    return id.isNull() ? std::nullopt : std::optional(id);
}
} // namespace

QString SidebarItem::id() const
{
    if (sectionID)
        return QStringLiteral("section:") + SidebarSection::uuidText(*sectionID);
    if (tagID)
        return QStringLiteral("tag:") + SidebarSection::uuidText(*tagID);
    return url;
}

std::filesystem::path SidebarItem::path() const
{
    if (!isFolder())
        return {};
    return PathText::fromStorableText(url);
}

SidebarItem SidebarItem::folder(const std::filesystem::path& path, const QString& name)
{
    const std::filesystem::path standard = PathText::standardized(path);
    SidebarItem item;
    item.url = PathText::toStorableText(standard);
    item.name = name.isEmpty() ? PathText::displayName(standard) : name;
    item.symbol = QStringLiteral("folder");
    return item;
}

SidebarItem SidebarItem::tag(const QUuid& tagID, const QString& name)
{
    SidebarItem item;
    item.url = Location::tag(tagID).toText();
    item.name = name;
    item.symbol = QStringLiteral("tag");
    item.tagID = tagID;
    return item;
}

SidebarItem SidebarItem::subsection(const CustomSidebarSection& section)
{
    SidebarItem item;
    item.url = kSectionScheme + SidebarSection::uuidText(section.id);
    item.name = section.name;
    item.symbol = QStringLiteral("view-list");
    item.sectionID = section.id;
    return item;
}

QVariantMap SidebarItem::toRecord() const
{
    QVariantMap record{{kUrl, url}, {kName, name}, {kSymbol, symbol}};
    if (customName)
        record.insert(kCustomName, *customName);
    if (tagID)
        record.insert(kTag, SidebarSection::uuidText(*tagID));
    if (sectionID)
        record.insert(kSection, SidebarSection::uuidText(*sectionID));
    return record;
}

std::optional<SidebarItem> SidebarItem::fromRecord(const QVariantMap& record)
{
    const QString url = textValue(record, kUrl);
    if (url.isEmpty())
        return std::nullopt;
    const QString name = textValue(record, kName);
    SidebarItem item;
    if (const std::optional<QUuid> section = uuidValue(record, kSection)) {
        item = subsection(CustomSidebarSection{*section, name, {}, {}});
    } else if (const std::optional<QUuid> tagID = uuidValue(record, kTag)) {
        item = tag(*tagID, name);
    } else if (const Location location = Location::fromText(url); location.isTag()) {
        item = tag(location.tagId(), name);
    } else {
        // Only absolute folders; anything else cannot be found again.
        if (!location.path().is_absolute())
            return std::nullopt;
        item = folder(location.path(), name);
    }
    if (const QString symbol = textValue(record, kSymbol); !symbol.isEmpty())
        item.symbol = symbol;
    if (const QString custom = textValue(record, kCustomName); !custom.isEmpty())
        item.customName = custom;
    return item;
}

namespace SidebarItems {

qsizetype indexOf(const QList<SidebarItem>& items, const QString& id)
{
    const auto it = std::ranges::find_if(items, [&](const SidebarItem& i) { return i.id() == id; });
    return it == items.end() ? -1 : it - items.begin();
}

void insert(QList<SidebarItem>& items, SidebarItem item, std::optional<int> at)
{
    const qsizetype index = at ? std::clamp<qsizetype>(*at, 0, items.size()) : items.size();
    items.insert(index, std::move(item));
}

bool move(QList<SidebarItem>& items, qsizetype from, qsizetype to)
{
    to = std::clamp<qsizetype>(to, 0, items.size());
    const qsizetype destination = to > from ? to - 1 : to;
    if (destination == from)
        return false;
    items.move(from, destination);
    return true;
}

} // namespace SidebarItems
