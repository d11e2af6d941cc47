#include "tags/SidebarSection.h"

namespace {
const QString kFavorites = QStringLiteral("favorites");
const QString kTags = QStringLiteral("tags");
const QString kLocations = QStringLiteral("locations");
const QString kTagPrefix = QStringLiteral("tag:");
const QString kCustomPrefix = QStringLiteral("custom:");

std::optional<QUuid> uuidAfter(const QString& id, const QString& prefix)
{
    if (!id.startsWith(prefix))
        return std::nullopt;
    const QUuid uuid = QUuid::fromString(QStringView(id).mid(prefix.size()));
    if (uuid.isNull())
        return std::nullopt;
    return uuid;
}
} // namespace

QString SidebarSection::uuidText(const QUuid& id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

std::optional<SidebarSection> SidebarSection::fromID(const QString& id)
{
    if (id == kFavorites)
        return favorites();
    if (id == kTags)
        return tags();
    if (id == kLocations)
        return locations();
    if (const std::optional<QUuid> uuid = uuidAfter(id, kTagPrefix))
        return tag(*uuid);
    if (const std::optional<QUuid> uuid = uuidAfter(id, kCustomPrefix))
        return custom(*uuid);
    return std::nullopt;
}

QList<SidebarSection> SidebarSection::defaultOrder()
{
    return {favorites(), tags(), locations()};
}

QString SidebarSection::id() const
{
    switch (m_kind) {
    case Kind::favorites:
        return kFavorites;
    case Kind::tags:
        return kTags;
    case Kind::locations:
        return kLocations;
    case Kind::tag:
        return kTagPrefix + uuidText(m_uuid);
    case Kind::custom:
        return kCustomPrefix + uuidText(m_uuid);
    }
    return {};
}
