#pragma once

#include <QList>
#include <QString>
#include <QUuid>
#include <QVariantMap>
#include <filesystem>
#include <optional>

struct CustomSidebarSection;

// One row of a sidebar section: a folder, a volume, a tag, or a subsection.
struct SidebarItem {
    // The folder's path in storable text (PathText::toStorableText), a tag as
    // "quillo-tag:///<UUID>", or a subsection as "quillo-section:<UUID>".
    QString url;
    QString name;
    // icon: a freedesktop icon name ("folder", "tag", "view-list", "drive-removable-media")
    QString symbol;
    bool isEjectable = false;
    std::optional<QString> customName;
    bool isMissing = false;
    std::optional<QUuid> tagID;
    std::optional<QUuid> sectionID;

    // "section:<UUID>" for a subsection, "tag:<UUID>" for a tag, else the url.
    QString id() const;
    QString displayName() const { return customName.value_or(name); }
    bool isFolder() const { return !tagID && !sectionID; }
    // The folder's byte-exact path; empty for tags and subsections.
    std::filesystem::path path() const;

    static SidebarItem folder(const std::filesystem::path& path, const QString& name = {});
    static SidebarItem tag(const QUuid& tagID, const QString& name);
    static SidebarItem subsection(const CustomSidebarSection& section);

    // The stored record ("url", "name", "symbol", optional "customName", "tag" with
    // the tag's UUID, "section" with the subsection's UUID) and back; nullopt for a
    // record without a url, or a folder that is not an absolute path.
    QVariantMap toRecord() const;
    static std::optional<SidebarItem> fromRecord(const QVariantMap& record);

    bool operator==(const SidebarItem&) const = default;
};

// Edits of an item list as the sidebar makes them.
namespace SidebarItems {
// The index of the item with this id, or -1.
qsizetype indexOf(const QList<SidebarItem>& items, const QString& id);
// At the index (clamped), or at the end without one.
void insert(QList<SidebarItem>& items, SidebarItem item, std::optional<int> at);
// A drop between rows: the item goes before the one at `to` (0...count), which counts
// the item's own row. False when that leaves it where it was.
bool move(QList<SidebarItem>& items, qsizetype from, qsizetype to);
} // namespace SidebarItems

// A section the user made; a subsection has a parent.
struct CustomSidebarSection {
    QUuid id;
    QString name;
    QList<SidebarItem> items;
    std::optional<QUuid> parentID;

    bool operator==(const CustomSidebarSection&) const = default;
};
