#pragma once

#include "tags/MovedItemSearch.h"
#include "tags/Tag.h"
#include "tags/TagTree.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class TagSaver;

// The tag database: hierarchical, coloured tags assigned to files and folders by
// path, kept in one JSON file (tags.json) and announced through tagsChanged().
// Main thread only. Every mutation saves at once; the file is written on a
// background thread in the order of the changes, the latest state winning.
//
// The per-row lookups (tags(path), explicitTags(path), folderColor(path)) cost one
// hash lookup plus work on the item's own few tags, never a scan.
class TagStore : public QObject {
    Q_OBJECT
public:
    using Path = std::filesystem::path;

    // QUILLO_TAGS_PATH when set, else $XDG_DATA_HOME/Quillo/tags.json.
    static Path defaultFilePath();
    static TagStore& shared();

    // Loads the file (an unreadable or corrupt one gives an empty library, and is
    // set aside as "<name>.corrupt-<time>" before the first save) and makes sure
    // the favourites tag exists.
    explicit TagStore(Path file, QObject* parent = nullptr);
    ~TagStore() override;

    static const QUuid favoritesID;

    // The key of a path: standardized, as NFC text. Null for a path that is not
    // valid UTF-8: such items cannot be tagged (the file stores text).
    static QString key(const Path& path);
    static bool canTag(const Path& path) { return !key(path).isNull(); }

    const Path& fileURL() const { return m_file; }
    const TagTree& tree() const { return m_tree; }
    const QList<Tag>& tags() const { return m_tree.tags(); } // stored order
    const QList<Tag>& sortedTags() const { return m_tree.sortedTags(); }
    const QHash<QString, TaggedItem>& itemsByPath() const { return m_items; }
    bool createdFavoritesTag() const { return m_createdFavoritesTag; }

    std::optional<Tag> tag(const QUuid& id) const { return m_tree.tag(id); }
    std::optional<Tag> tagNamed(const QString& name) const { return m_tree.tagNamed(name); }
    QList<Tag> rootTags() const { return m_tree.rootTags(); }
    QList<Tag> children(const QUuid& of) const { return m_tree.children(of); }
    QSet<QUuid> selfAndDescendantIDs(const QUuid& of) const
    {
        return m_tree.selfAndDescendantIDs(of);
    }

    // The item's own tags, in sortedTags order.
    QList<Tag> explicitTags(const Path& path) const;
    // The item's tags and all their ancestors, in sortedTags order.
    QList<Tag> tags(const Path& path) const;
    // The item carries the tag itself or one of its descendants.
    bool hasTag(const QUuid& tagID, const Path& path) const;
    // With "colorFoldersByTag" on: the colour of the item's first explicit tag
    // other than the favourites tag.
    std::optional<QString> folderColor(const Path& path) const;
    // "%05d" of the position in sortedTags of the item's first explicit tag.
    std::optional<QString> tagSortKey(const Path& path) const;
    // Items that carry the tag (or, with descendants, one of its subtree), sorted by
    // their last component with the localized standard comparison.
    std::vector<Path> urls(const QUuid& taggedWith, bool includingDescendants) const;

    // Nullopt for a name that normalizes to nothing. An existing tag of the same
    // name (any case) is returned as it is; missing ancestors are created with it.
    std::optional<Tag> createTag(const QString& name, const std::optional<QString>& color = {});
    bool renameTag(const QUuid& id, const QString& name);
    void setColor(const QUuid& id, const QString& color);
    // Removes the tag with its descendants and strips them from every item.
    void deleteTag(const QUuid& id);
    // Paths that cannot be tagged (see key()) are skipped.
    void assign(const QUuid& tagID, const std::vector<Path>& paths);
    // Removes the tag and its descendants from the items.
    void unassign(const QUuid& tagID, const std::vector<Path>& paths);
    // Unassigns when every path carries the tag already, else assigns to all.
    void toggle(const QUuid& tagID, const std::vector<Path>& paths);
    bool canMoveTag(const QUuid& id, const std::optional<QUuid>& under) const
    {
        return m_tree.canMove(id, under);
    }
    bool moveTag(const QUuid& id, const std::optional<QUuid>& under,
                 const std::optional<int>& at = std::nullopt);

    // A rename or move made by us: the item and everything below it follow.
    void itemMoved(const Path& from, const Path& to);
    // Many at once (a bulk move or rename): one pass over the records.
    void itemsMoved(const std::vector<std::pair<Path, Path>>& moves);
    // Finds items that other programs moved (off the main thread) and re-keys them.
    // `done` runs on the main thread with the number of items found again.
    void resolveMovedItems(std::function<void(int)> done = {});
    // More folders to look in for moved items (the most frecent folders first).
    void setSearchFolders(std::function<std::vector<Path>()> folders);

    void save(bool notify = true);
    // Blocks until every save so far is on disk (tests, and quitting).
    void waitForSaved();
    // How many bookmark refreshes have come back (tests wait on it).
    int bookmarkRounds() const { return m_bookmarkRounds; }

Q_SIGNALS:
    // Any change of tags or assignments, for every window.
    void tagsChanged();

private:
    void ensureFavoritesTag();
    void stripIDs(const QSet<QUuid>& ids);
    // Makes bookmarks (key, path on disk) off the main thread, then saves quietly.
    void refreshBookmarks(std::vector<std::pair<QString, Path>> items);
    std::vector<std::pair<QString, QString>>
    rekeyedItems(const QHash<QString, QString>& renamed) const;
    int applyFound(const std::vector<MovedItemSearch::Found>& found);

    Path m_file;
    TagTree m_tree;
    QHash<QString, TaggedItem> m_items;
    bool m_createdFavoritesTag = false;
    std::unique_ptr<TagSaver> m_saver;
    std::function<std::vector<Path>()> m_searchFolders;
    int m_bookmarkRounds = 0;
};
