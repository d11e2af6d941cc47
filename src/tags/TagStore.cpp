#include "tags/TagStore.h"

#include "core/PathText.h"
#include "core/Preferences.h"
#include "core/WorkPools.h"
#include "files/FileSorter.h"
#include "platform/FileBookmark.h"
#include "tags/MovedItemSearch.h"
#include "tags/TagLibraryFile.h"
#include "tags/TagSaver.h"

#include <QCoreApplication>
#include <QDebug>
#include <QThread>
#include <QtConcurrent>
#include <algorithm>

namespace fs = std::filesystem;

const QUuid TagStore::favoritesID = QUuid::fromString(u"00000000-0000-0000-0000-0000000FA001");

namespace {

const QString kFavoritesName = QStringLiteral("お気に入り");
const QString kFavoritesColor = QStringLiteral("#FFD60A");

// Colours for tags created without one, taken in turn.
const char* const kDefaultColors[] = {"#FF3B30", "#FF9500", "#34C759", "#007AFF",
                                      "#AF52DE", "#FF2D55", "#5AC8FA", "#A2845E"};

} // namespace

fs::path TagStore::defaultFilePath()
{
    const QByteArray overridden = qgetenv("QUILLO_TAGS_PATH");
    if (!overridden.isEmpty())
        return fs::path(overridden.toStdString());
    return PathText::dataHome() / "Quillo" / "tags.json";
}

TagStore& TagStore::shared()
{
    static TagStore* instance = new TagStore(defaultFilePath());
    return *instance;
}

TagStore::TagStore(Path file, QObject* parent)
    : QObject(parent)
    , m_file(std::move(file))
{
    TagLibraryFile::Reading reading = TagLibraryFile::read(m_file);
    const bool unreadable = reading.status == TagLibraryFile::ReadStatus::unusable ||
                            reading.status == TagLibraryFile::ReadStatus::damaged;
    if (unreadable)
        qWarning().noquote() << "tags file" << QString::fromStdString(m_file.native()) << ":"
                             << reading.problem;
    m_saver = std::make_unique<TagSaver>(m_file, unreadable);
    m_tree = TagTree(std::move(reading.library.tags), reading.library.manualOrder);
    m_items = std::move(reading.library.items);
    ensureFavoritesTag();
    if (reading.status == TagLibraryFile::ReadStatus::damaged)
        save(false); // keep the readable part under the real name, the rest set aside
}

TagStore::~TagStore()
{
    m_saver.reset(); // writes what is pending
}

QString TagStore::key(const Path& path)
{
    if (path.empty())
        return {};
    const fs::path standard = PathText::standardized(path);
    const std::string& bytes = standard.native();
    if (!PathText::isValidUtf8(bytes))
        return {};
    return QString::fromUtf8(bytes.data(), qsizetype(bytes.size()))
        .normalized(QString::NormalizationForm_C);
}

void TagStore::ensureFavoritesTag()
{
    if (m_tree.tag(favoritesID))
        return;
    if (const auto named = m_tree.tagNamed(kFavoritesName);
        named && named->name == kFavoritesName) {
        for (TaggedItem& item : m_items) {
            if (item.tagIDs.remove(named->id))
                item.tagIDs.insert(favoritesID);
        }
        m_tree.changeID(named->id, favoritesID);
        save(false);
        return;
    }
    m_tree.put(Tag{favoritesID, kFavoritesName, kFavoritesColor});
    m_createdFavoritesTag = true;
    save(false);
}

QList<Tag> TagStore::explicitTags(const Path& path) const
{
    const auto found = m_items.constFind(key(path));
    return found == m_items.constEnd() ? QList<Tag>() : m_tree.inSortedOrder(found->tagIDs);
}

QList<Tag> TagStore::tags(const Path& path) const
{
    const auto found = m_items.constFind(key(path));
    return found == m_items.constEnd() ? QList<Tag>() : m_tree.withAncestors(found->tagIDs);
}

bool TagStore::hasTag(const QUuid& tagID, const Path& path) const
{
    const auto found = m_items.constFind(key(path));
    const auto tag = m_tree.tag(tagID);
    if (found == m_items.constEnd() || !tag)
        return false;
    for (const QUuid& id : found->tagIDs) {
        if (id == tagID)
            return true;
        if (const auto own = m_tree.tag(id); own && tag->isAncestorOf(own->name))
            return true;
    }
    return false;
}

std::optional<QString> TagStore::folderColor(const Path& path) const
{
    if (!Preferences::shared().colorFoldersByTag())
        return std::nullopt;
    const auto found = m_items.constFind(key(path));
    if (found == m_items.constEnd())
        return std::nullopt;
    for (const Tag& tag : m_tree.inSortedOrder(found->tagIDs)) {
        if (tag.id != favoritesID)
            return tag.color;
    }
    return std::nullopt;
}

std::optional<QString> TagStore::tagSortKey(const Path& path) const
{
    const auto found = m_items.constFind(key(path));
    if (found == m_items.constEnd())
        return std::nullopt;
    int first = -1;
    for (const QUuid& id : found->tagIDs) {
        const int p = m_tree.sortedPosition(id);
        if (p >= 0 && (first < 0 || p < first))
            first = p;
    }
    if (first < 0)
        return std::nullopt;
    return QString::asprintf("%05d", first);
}

std::vector<fs::path> TagStore::urls(const QUuid& taggedWith, bool includingDescendants) const
{
    const QSet<QUuid> wanted =
        includingDescendants ? m_tree.selfAndDescendantIDs(taggedWith) : QSet<QUuid>{taggedWith};
    struct Found {
        fs::path path;
        QByteArray nameKey;
    };
    std::vector<Found> found;
    for (const TaggedItem& item : m_items) {
        if (!item.tagIDs.intersects(wanted))
            continue;
        // The bytes on disk may be in another normal form than the key; the
        // bookmark remembers them.
        fs::path path = PathText::fromText(item.path);
        if (item.bookmark) {
            if (const auto bookmark =
                    FileBookmark::decode(*item.bookmark, PathText::fromText(item.path));
                bookmark && key(bookmark->path) == item.path)
                path = bookmark->path;
        }
        found.push_back({path, FileSorter::collationKey(PathText::displayName(path))});
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const Found& a, const Found& b) { return a.nameKey < b.nameKey; });
    std::vector<fs::path> result;
    result.reserve(found.size());
    for (Found& f : found)
        result.push_back(std::move(f.path));
    return result;
}

std::optional<Tag> TagStore::createTag(const QString& name, const std::optional<QString>& color)
{
    QString colorText = kDefaultColors[m_tree.tags().size() % std::size(kDefaultColors)];
    if (color) {
        if (const auto parsed = TagNames::colorText(*color))
            colorText = *parsed;
    }
    const auto created = m_tree.create(name, colorText);
    if (!created)
        return std::nullopt;
    if (created->isNew)
        save();
    return created->tag;
}

bool TagStore::renameTag(const QUuid& id, const QString& name)
{
    const auto before = m_tree.tag(id);
    if (!m_tree.rename(id, name))
        return false;
    if (m_tree.tag(id) != before)
        save();
    return true;
}

void TagStore::setColor(const QUuid& id, const QString& color)
{
    if (m_tree.setColor(id, color))
        save();
}

void TagStore::deleteTag(const QUuid& id)
{
    const QSet<QUuid> removed = m_tree.remove(id);
    if (removed.isEmpty())
        return;
    stripIDs(removed);
    save();
}

void TagStore::stripIDs(const QSet<QUuid>& ids)
{
    for (auto it = m_items.begin(); it != m_items.end();) {
        it->tagIDs.subtract(ids);
        it = it->tagIDs.isEmpty() ? m_items.erase(it) : std::next(it);
    }
}

void TagStore::assign(const QUuid& tagID, const std::vector<Path>& paths)
{
    if (!m_tree.tag(tagID))
        return;
    std::vector<std::pair<QString, Path>> added;
    bool any = false;
    for (const Path& path : paths) {
        const QString k = key(path);
        if (k.isNull())
            continue;
        auto it = m_items.find(k);
        if (it == m_items.end()) {
            it = m_items.insert(k, TaggedItem{k, std::nullopt, {}});
            added.emplace_back(k, path);
        }
        if (!it->tagIDs.contains(tagID)) {
            it->tagIDs.insert(tagID);
            any = true;
        }
    }
    if (!any)
        return;
    save();
    refreshBookmarks(std::move(added));
}

void TagStore::unassign(const QUuid& tagID, const std::vector<Path>& paths)
{
    const QSet<QUuid> ids = m_tree.selfAndDescendantIDs(tagID);
    bool any = false;
    for (const Path& path : paths) {
        auto it = m_items.find(key(path));
        if (it == m_items.end() || !it->tagIDs.intersects(ids))
            continue;
        it->tagIDs.subtract(ids);
        if (it->tagIDs.isEmpty())
            m_items.erase(it);
        any = true;
    }
    if (any)
        save();
}

void TagStore::toggle(const QUuid& tagID, const std::vector<Path>& paths)
{
    const bool all = !paths.empty() && std::all_of(paths.begin(), paths.end(), [&](const Path& p) {
        return !canTag(p) || hasTag(tagID, p);
    });
    if (all)
        unassign(tagID, paths);
    else
        assign(tagID, paths);
}

bool TagStore::moveTag(const QUuid& id, const std::optional<QUuid>& under,
                       const std::optional<int>& at)
{
    if (!m_tree.move(id, under, at))
        return false;
    save();
    return true;
}

void TagStore::save(bool notify)
{
    Q_ASSERT(QThread::currentThread() == thread());
    m_saver->schedule(TagSaver::Snapshot{m_tree.tags(), m_items, m_tree.manualOrder()});
    if (notify)
        Q_EMIT tagsChanged();
}

void TagStore::waitForSaved()
{
    m_saver->waitUntilWritten();
}

void TagStore::itemMoved(const Path& from, const Path& to)
{
    itemsMoved({{from, to}});
}

namespace {

bool isSelfOrInside(const QString& path, const QString& folder)
{
    return path.startsWith(folder) &&
           (path.size() == folder.size() || path.at(folder.size()) == u'/');
}

} // namespace

std::vector<std::pair<QString, QString>>
TagStore::rekeyedItems(const QHash<QString, QString>& renamed) const
{
    std::vector<std::pair<QString, QString>> rekeyed;
    // Few moves: compare prefixes. Many (a bulk move): each record looks up itself
    // and its ancestors, one pass whatever the number of moves.
    const bool few = renamed.size() <= 8;
    for (const TaggedItem& item : m_items) {
        const QString& p = item.path;
        if (few) {
            for (auto it = renamed.constBegin(); it != renamed.constEnd(); ++it) {
                if (isSelfOrInside(p, it.key())) {
                    rekeyed.emplace_back(p, it.value() + p.mid(it.key().size()));
                    break;
                }
            }
            continue;
        }
        for (qsizetype end = p.size(); end > 0; end = p.lastIndexOf(u'/', end - 1)) {
            const auto hit = renamed.constFind(p.left(end));
            if (hit != renamed.constEnd()) {
                rekeyed.emplace_back(p, hit.value() + p.mid(end));
                break;
            }
        }
    }
    return rekeyed;
}

void TagStore::itemsMoved(const std::vector<std::pair<Path, Path>>& moves)
{
    QHash<QString, QString> renamed; // old key → new key
    for (const auto& [from, to] : moves) {
        const QString oldKey = key(from);
        const QString newKey = key(to);
        if (oldKey.isNull() || oldKey == newKey)
            continue;
        if (newKey.isNull()) {
            qWarning().noquote() << "tags cannot follow an item to a name that is not UTF-8:"
                                 << PathText::display(to);
            continue;
        }
        renamed.insert(oldKey, newKey);
    }
    if (renamed.isEmpty() || m_items.isEmpty())
        return;
    const auto rekeyed = rekeyedItems(renamed);
    if (rekeyed.empty())
        return;
    std::vector<TaggedItem> taken;
    std::vector<std::pair<QString, Path>> moved;
    for (const auto& [oldKey, newKey] : rekeyed) {
        TaggedItem item = m_items.take(oldKey);
        item.path = newKey;
        item.bookmark.reset();
        moved.emplace_back(newKey, PathText::fromText(newKey));
        taken.push_back(std::move(item));
    }
    for (TaggedItem& item : taken)
        m_items.insert(item.path, std::move(item));
    save();
    refreshBookmarks(std::move(moved));
}

void TagStore::refreshBookmarks(std::vector<std::pair<QString, Path>> items)
{
    if (items.empty())
        return;
    QtConcurrent::run([items = std::move(items)] {
        std::vector<std::pair<QString, QByteArray>> made;
        for (const auto& [k, path] : items) {
            if (const auto bookmark = FileBookmark::make(path))
                made.emplace_back(k, bookmark->encoded(PathText::fromText(k)));
        }
        return made;
    }).then(this, [this](const std::vector<std::pair<QString, QByteArray>>& made) {
        bool any = false;
        for (const auto& [k, bytes] : made) {
            auto it = m_items.find(k);
            if (it != m_items.end() && it->bookmark != bytes) {
                it->bookmark = bytes;
                any = true;
            }
        }
        if (any)
            save(false);
        ++m_bookmarkRounds;
    });
}

void TagStore::setSearchFolders(std::function<std::vector<Path>()> folders)
{
    m_searchFolders = std::move(folders);
}

void TagStore::resolveMovedItems(std::function<void(int)> done)
{
    std::vector<MovedItemSearch::Record> records;
    for (const TaggedItem& item : std::as_const(m_items)) {
        if (item.bookmark)
            records.push_back({item.path, *item.bookmark});
    }
    std::vector<Path> folders = m_searchFolders ? m_searchFolders() : std::vector<Path>{};
    // A search walks whole trees: long work, kept off the pool that lists folders.
    QtConcurrent::run(&WorkPools::fileIndex(), [records = std::move(records),
                                                folders = std::move(folders)] {
        return MovedItemSearch::search(records, folders);
    }).then(this, [this, done = std::move(done)](const std::vector<MovedItemSearch::Found>& found) {
        const int count = applyFound(found);
        if (done)
            done(count);
    });
}

int TagStore::applyFound(const std::vector<MovedItemSearch::Found>& found)
{
    int moved = 0;
    std::vector<std::pair<QString, Path>> refresh;
    for (const MovedItemSearch::Found& f : found) {
        const QString newKey = key(f.where);
        auto it = m_items.find(f.key);
        if (it == m_items.end() || newKey.isNull())
            continue;
        refresh.emplace_back(newKey, f.where);
        if (newKey == f.key)
            continue;
        TaggedItem item = m_items.take(f.key);
        item.path = newKey;
        // An item already recorded there keeps its tags and gains these.
        if (auto existing = m_items.find(newKey); existing != m_items.end())
            item.tagIDs.unite(existing->tagIDs);
        m_items.insert(newKey, std::move(item));
        ++moved;
    }
    if (moved > 0)
        save();
    refreshBookmarks(std::move(refresh));
    return moved;
}
