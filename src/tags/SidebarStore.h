#pragma once

#include "platform/VolumeSource.h"
#include "tags/SidebarItem.h"
#include "tags/SidebarLocations.h"
#include "tags/SidebarPersistence.h"
#include "tags/SidebarSection.h"
#include "tags/SidebarSectionTree.h"

#include <QFuture>
#include <QList>
#include <QObject>
#include <QSet>
#include <QSettings>
#include <filesystem>
#include <memory>
#include <optional>

class TagStore;

// The sidebar's sections and their items, stored in the settings store under
// "sidebarSections", "sidebarHiddenSections", "sidebarFavorites",
// "sidebarCustomSections" and "sidebarDefaultSectionCreated". Every mutation
// writes its key at once and emits changed() when something really changed; so do
// tag changes that alter a title or an item shown here, and the missing flags.
// Volumes announce themselves with volumesChanged() only. Main thread only.
class SidebarStore : public QObject {
    Q_OBJECT
public:
    // `volumes` null: no volumes are listed (tests); the shared store uses GIO's.
    SidebarStore(QSettings& defaults, TagStore& tags, bool createsDefaultSection,
                 std::unique_ptr<VolumeSource> volumes = {}, QObject* parent = nullptr);
    ~SidebarStore() override;
    static SidebarStore& shared();

    const QList<SidebarSection>& sections() const { return m_sections; }
    const QSet<QString>& hiddenSections() const { return m_hiddenSections; }
    bool isHidden(const SidebarSection& section) const;
    const QList<SidebarItem>& favorites() const { return m_favorites; }
    const QList<CustomSidebarSection>& customSections() const
    {
        return m_customSections.sections();
    }
    // Mounted volumes (ejectable ones flagged), refreshed on mount, unmount, rename.
    const QList<SidebarItem>& volumes() const { return m_locations.volumes(); }
    // Home, the desktop, documents and downloads folders (xdg-user-dirs), the root;
    // read once at construction.
    QList<SidebarItem> places() const { return m_locations.places(); }

    // "お気に入り", "タグ", "場所", the tag's name (or "（削除されたタグ）"), the
    // custom section's name (or "セクション").
    QString title(const SidebarSection& section) const;
    // The items a section shows (favourites, a custom section's items with its
    // subsections as items, a tag section's tagged items); empty for "tags" and
    // "locations", which the view builds from the tag tree, places and volumes.
    QList<SidebarItem> items(const SidebarSection& section) const;

    bool containsFavorite(const std::filesystem::path& path) const;
    void addFavorite(const std::filesystem::path& path, std::optional<int> at = std::nullopt);
    void removeFavorite(const std::filesystem::path& path);

    void setSection(const SidebarSection& section, bool hidden);
    // A list reorder: the sections at `from` go before the one at `to` (0...count).
    void moveSections(const QList<int>& from, int to);
    void resetSections();
    void addTagSection(const QUuid& tagID, std::optional<SidebarSection> before = std::nullopt);
    void removeTagSection(const QUuid& tagID);
    SidebarSection createSection(const QString& name,
                                 std::optional<SidebarSection> before = std::nullopt);
    std::optional<QUuid> createSubsection(const QString& name, const QUuid& parent,
                                          std::optional<int> at = std::nullopt);
    void renameSection(const QUuid& id, const QString& name);
    // Deletes a custom section with its subsections, or removes a tag section.
    void deleteSection(const SidebarSection& section);

    // Into the favourites or a custom section, at an index or at the end. An item
    // already there is moved to the index instead of added twice.
    void placeURL(const std::filesystem::path& path, const SidebarSection& section,
                  std::optional<int> at = std::nullopt);
    void placeTag(const QUuid& tagID, const SidebarSection& section,
                  std::optional<int> at = std::nullopt);
    // Removing a subsection's item deletes that subsection.
    void removeItem(const QString& itemID, const SidebarSection& section);
    // A list reorder inside one section: the item goes before the one at `to`
    // (0...count).
    void moveItem(const QString& itemID, const SidebarSection& section, int to);
    // Empty text clears the custom name; for a subsection it renames the section.
    void renameItem(const QString& itemID, const SidebarSection& section,
                    const std::optional<QString>& customName);

    std::optional<CustomSidebarSection> customSection(const QUuid& id) const;
    // Each top-level section followed by its subsections, depth first.
    QList<CustomSidebarSection> customSectionsInOrder() const;
    // "A › B" for a subsection B of A.
    QString displayPath(const QUuid& section) const;

    // Unmounts (and ejects when possible) the volume of the item; failures come
    // back through ejectFailed.
    void eject(const SidebarItem& volume);
    // Re-tests which folder items (and places) are missing, off the main thread; the
    // construction starts one. The future finishes once the result is applied (or
    // overtaken by a later refresh).
    QFuture<void> refreshMissing();

Q_SIGNALS:
    void changed();
    void volumesChanged();
    // The Japanese message for a failed eject.
    void ejectFailed(const QString& message);

private:
    void loadSections();
    void createDefaultSectionOnce();
    // Favourites or a custom section's own items; null for any other section.
    QList<SidebarItem>* itemList(const SidebarSection& section);
    const QList<SidebarItem>* itemList(const SidebarSection& section) const;
    void saveItems(const SidebarSection& section);
    void place(SidebarItem item, const SidebarSection& section, std::optional<int> at);
    void insertSection(const SidebarSection& section, const std::optional<SidebarSection>& before);
    QList<SidebarItem> shownItems(const QList<SidebarItem>& items) const;
    // What tag changes can alter here: tag section titles and items, tag item names.
    QStringList tagState() const;
    // Records the tag state and emits changed().
    void announce();
    void tagsChanged();
    bool applyMissing(const QHash<QString, bool>& missing);

    QSettings& m_defaults;
    TagStore& m_tags;
    SidebarPersistence m_store;
    SidebarLocations m_locations; // places and volumes
    QList<SidebarSection> m_sections;
    QSet<QString> m_hiddenSections;
    QList<SidebarItem> m_favorites;
    SidebarSectionTree m_customSections;
    QStringList m_tagState;
    int m_missingRun = 0;
};
