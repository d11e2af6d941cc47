#pragma once

#include <QHashFunctions>
#include <QList>
#include <QString>
#include <QUuid>
#include <optional>

// One section of the sidebar. Text ids: "favorites", "tags", "locations",
// "tag:<UUID>" (one tag's items) and "custom:<UUID>" (a section the user made).
class SidebarSection {
public:
    enum class Kind { favorites, tags, locations, tag, custom };

    static SidebarSection favorites() { return SidebarSection(Kind::favorites); }
    static SidebarSection tags() { return SidebarSection(Kind::tags); }
    static SidebarSection locations() { return SidebarSection(Kind::locations); }
    static SidebarSection tag(const QUuid& id) { return SidebarSection(Kind::tag, id); }
    static SidebarSection custom(const QUuid& id) { return SidebarSection(Kind::custom, id); }
    // Nullopt for any text that is not one of the forms above.
    static std::optional<SidebarSection> fromID(const QString& id);
    // favorites, tags, locations.
    static QList<SidebarSection> defaultOrder();

    Kind kind() const { return m_kind; }
    QUuid uuid() const { return m_uuid; } // null for the three fixed sections
    QString id() const;
    // A UUID as the ids and stored records write it: upper case, without braces.
    static QString uuidText(const QUuid& id);

    bool operator==(const SidebarSection&) const = default;

private:
    explicit SidebarSection(Kind kind, const QUuid& uuid = {})
        : m_kind(kind)
        , m_uuid(uuid)
    {
    }

    Kind m_kind;
    QUuid m_uuid;
};

inline size_t qHash(const SidebarSection& section, size_t seed = 0)
{
    return qHashMulti(seed, int(section.kind()), section.uuid());
}
