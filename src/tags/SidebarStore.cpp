#include "tags/SidebarStore.h"

#include "core/AppDefaults.h"
#include "core/MainThread.h"
#include "platform/DirectoryScanner.h"
#include "platform/GioVolumeSource.h"
#include "tags/TagStore.h"

#include <QCoreApplication>
#include <QPointer>
#include <QPromise>
#include <QThreadPool>
#include <algorithm>

namespace fs = std::filesystem;

namespace {
const QString kDefaultSectionName = QStringLiteral("マイセクション");
} // namespace

SidebarStore::SidebarStore(QSettings& defaults, TagStore& tags, bool createsDefaultSection,
                           std::unique_ptr<VolumeSource> volumes, QObject* parent)
    : QObject(parent)
    , m_defaults(defaults)
    , m_tags(tags)
    , m_store(defaults)
    , m_locations(std::move(volumes))
{
    QUILLO_ASSERT_MAIN_THREAD();
    loadSections();
    if (createsDefaultSection)
        createDefaultSectionOnce();
    m_tagState = tagState();
    connect(&m_tags, &TagStore::tagsChanged, this, &SidebarStore::tagsChanged);
    connect(&m_locations, &SidebarLocations::volumesChanged, this, &SidebarStore::volumesChanged);
    connect(&m_locations, &SidebarLocations::ejectFailed, this, &SidebarStore::ejectFailed);
    refreshMissing();
}

SidebarStore::~SidebarStore() = default;

SidebarStore& SidebarStore::shared()
{
    static SidebarStore* instance = new SidebarStore(AppDefaults::store(), TagStore::shared(), true,
                                                     std::make_unique<GioVolumeSource>());
    return *instance;
}

void SidebarStore::loadSections()
{
    m_customSections = SidebarSectionTree(m_store.customSections());
    // Subsections are shown inside their parent, never at the top.
    const auto isSubsection = [this](const SidebarSection& section) {
        const CustomSidebarSection* custom = section.kind() == SidebarSection::Kind::custom
                                                 ? m_customSections.find(section.uuid())
                                                 : nullptr;
        return custom && custom->parentID;
    };
    QList<SidebarSection> order;
    for (const QString& id : m_store.sectionIDs().value_or(QStringList())) {
        const std::optional<SidebarSection> section = SidebarSection::fromID(id);
        if (section && !order.contains(*section) && !isSubsection(*section))
            order.append(*section);
    }
    // The fixed sections cannot be deleted, and a section the order lost stays reachable.
    for (const SidebarSection& section : SidebarSection::defaultOrder()) {
        if (!order.contains(section))
            order.append(section);
    }
    for (const CustomSidebarSection& custom : m_customSections.sections()) {
        if (!custom.parentID && !order.contains(SidebarSection::custom(custom.id)))
            order.append(SidebarSection::custom(custom.id));
    }
    m_sections = order;
    m_hiddenSections = m_store.hiddenSections();
    m_favorites = m_store.favorites();
}

void SidebarStore::createDefaultSectionOnce()
{
    if (m_store.defaultSectionCreated())
        return;
    createSection(kDefaultSectionName);
    m_store.setDefaultSectionCreated();
}

void SidebarStore::announce()
{
    m_tagState = tagState();
    Q_EMIT changed();
}

bool SidebarStore::isHidden(const SidebarSection& section) const
{
    return m_hiddenSections.contains(section.id());
}

QString SidebarStore::title(const SidebarSection& section) const
{
    switch (section.kind()) {
    case SidebarSection::Kind::favorites:
        return QStringLiteral("お気に入り");
    case SidebarSection::Kind::tags:
        return QStringLiteral("タグ");
    case SidebarSection::Kind::locations:
        return QStringLiteral("場所");
    case SidebarSection::Kind::tag:
        if (const std::optional<Tag> tag = m_tags.tag(section.uuid()))
            return tag->name;
        return QStringLiteral("（削除されたタグ）");
    case SidebarSection::Kind::custom:
        if (const CustomSidebarSection* custom = m_customSections.find(section.uuid()))
            return custom->name;
        return QStringLiteral("セクション");
    }
    return {};
}

QList<SidebarItem> SidebarStore::items(const SidebarSection& section) const
{
    if (section.kind() == SidebarSection::Kind::tag) {
        QList<SidebarItem> items;
        for (const fs::path& path : m_tags.urls(section.uuid(), true))
            items.append(SidebarItem::folder(path));
        return items;
    }
    const QList<SidebarItem>* items = itemList(section);
    return items ? shownItems(*items) : QList<SidebarItem>();
}

// Tags and subsections show their current names; a deleted tag's item is missing.
QList<SidebarItem> SidebarStore::shownItems(const QList<SidebarItem>& items) const
{
    QList<SidebarItem> shown;
    for (SidebarItem item : items) {
        if (item.sectionID) {
            const CustomSidebarSection* section = m_customSections.find(*item.sectionID);
            if (!section)
                continue;
            item.name = section->name;
        } else if (item.tagID) {
            const std::optional<Tag> tag = m_tags.tag(*item.tagID);
            item.isMissing = !tag;
            if (tag)
                item.name = tag->name;
        }
        shown.append(std::move(item));
    }
    return shown;
}

QStringList SidebarStore::tagState() const
{
    QStringList state;
    for (const SidebarSection& section : m_sections) {
        if (section.kind() != SidebarSection::Kind::tag)
            continue;
        state << section.id() << title(section);
        for (const SidebarItem& item : items(section))
            state << item.url;
    }
    const auto addTagItems = [&](const QList<SidebarItem>& items) {
        for (const SidebarItem& item : shownItems(items)) {
            if (item.tagID)
                state << item.id() << item.name << QString::number(item.isMissing);
        }
    };
    addTagItems(m_favorites);
    for (const CustomSidebarSection& section : m_customSections.sections())
        addTagItems(section.items);
    return state;
}

void SidebarStore::tagsChanged()
{
    const QStringList state = tagState();
    if (state == m_tagState)
        return;
    m_tagState = state;
    Q_EMIT changed();
}

bool SidebarStore::containsFavorite(const fs::path& path) const
{
    return SidebarItems::indexOf(m_favorites, SidebarItem::folder(path).id()) >= 0;
}

void SidebarStore::addFavorite(const fs::path& path, std::optional<int> at)
{
    // Adding a favourite again without a place leaves it where it is.
    if (!at && containsFavorite(path))
        return;
    placeURL(path, SidebarSection::favorites(), at);
}

void SidebarStore::removeFavorite(const fs::path& path)
{
    removeItem(SidebarItem::folder(path).id(), SidebarSection::favorites());
}

void SidebarStore::setSection(const SidebarSection& section, bool hidden)
{
    if (isHidden(section) == hidden)
        return;
    if (hidden)
        m_hiddenSections.insert(section.id());
    else
        m_hiddenSections.remove(section.id());
    m_store.saveHidden(m_hiddenSections);
    announce();
}

void SidebarStore::moveSections(const QList<int>& from, int to)
{
    const QSet<int> indices(from.begin(), from.end());
    to = std::clamp<int>(to, 0, int(m_sections.size()));
    QList<SidebarSection> moving;
    QList<SidebarSection> rest;
    int movingBefore = 0;
    for (int i = 0; i < m_sections.size(); ++i) {
        if (!indices.contains(i)) {
            rest.append(m_sections[i]);
            continue;
        }
        moving.append(m_sections[i]);
        if (i < to)
            ++movingBefore;
    }
    const int destination = to - movingBefore;
    for (qsizetype i = 0; i < moving.size(); ++i)
        rest.insert(destination + i, moving[i]);
    if (rest == m_sections)
        return;
    m_sections = rest;
    m_store.saveSections(m_sections);
    announce();
}

void SidebarStore::resetSections()
{
    QList<SidebarSection> order = SidebarSection::defaultOrder();
    for (const SidebarSection& section : std::as_const(m_sections)) {
        if (!order.contains(section))
            order.append(section);
    }
    if (order == m_sections && m_hiddenSections.isEmpty())
        return;
    m_sections = order;
    m_hiddenSections.clear();
    m_store.saveSections(m_sections);
    m_store.saveHidden(m_hiddenSections);
    announce();
}

void SidebarStore::insertSection(const SidebarSection& section,
                                 const std::optional<SidebarSection>& before)
{
    const qsizetype index = before ? m_sections.indexOf(*before) : -1;
    if (index < 0)
        m_sections.append(section);
    else
        m_sections.insert(index, section);
}

void SidebarStore::addTagSection(const QUuid& tagID, std::optional<SidebarSection> before)
{
    const SidebarSection section = SidebarSection::tag(tagID);
    if (tagID.isNull() || m_sections.contains(section))
        return;
    insertSection(section, before);
    m_store.saveSections(m_sections);
    announce();
}

void SidebarStore::removeTagSection(const QUuid& tagID)
{
    const SidebarSection section = SidebarSection::tag(tagID);
    const bool inOrder = m_sections.removeAll(section) > 0;
    const bool wasHidden = m_hiddenSections.remove(section.id());
    if (!inOrder && !wasHidden)
        return;
    m_store.saveSections(m_sections);
    m_store.saveHidden(m_hiddenSections);
    announce();
}

SidebarSection SidebarStore::createSection(const QString& name,
                                           std::optional<SidebarSection> before)
{
    const SidebarSection section = SidebarSection::custom(m_customSections.add(name).id);
    insertSection(section, before);
    m_store.saveCustomSections(m_customSections.sections());
    m_store.saveSections(m_sections);
    announce();
    return section;
}

std::optional<QUuid> SidebarStore::createSubsection(const QString& name, const QUuid& parent,
                                                    std::optional<int> at)
{
    const std::optional<QUuid> id = m_customSections.addSubsection(name, parent, at);
    if (!id)
        return std::nullopt;
    m_store.saveCustomSections(m_customSections.sections());
    announce();
    return id;
}

void SidebarStore::renameSection(const QUuid& id, const QString& name)
{
    if (!m_customSections.rename(id, name))
        return;
    m_store.saveCustomSections(m_customSections.sections());
    announce();
}

void SidebarStore::deleteSection(const SidebarSection& section)
{
    if (section.kind() == SidebarSection::Kind::tag) {
        removeTagSection(section.uuid());
        return;
    }
    if (section.kind() != SidebarSection::Kind::custom)
        return;
    QSet<QUuid> removed = m_customSections.remove(section.uuid());
    const bool existed = !removed.isEmpty();
    // A stale id in the order (its section long gone) goes as well.
    removed.insert(section.uuid());
    bool shown = false;
    for (const QUuid& id : std::as_const(removed)) {
        shown |= m_sections.removeAll(SidebarSection::custom(id)) > 0;
        shown |= m_hiddenSections.remove(SidebarSection::custom(id).id());
    }
    if (!existed && !shown)
        return;
    m_store.saveCustomSections(m_customSections.sections());
    m_store.saveSections(m_sections);
    m_store.saveHidden(m_hiddenSections);
    announce();
}

QList<SidebarItem>* SidebarStore::itemList(const SidebarSection& section)
{
    if (section.kind() == SidebarSection::Kind::favorites)
        return &m_favorites;
    if (section.kind() != SidebarSection::Kind::custom)
        return nullptr;
    CustomSidebarSection* custom = m_customSections.find(section.uuid());
    return custom ? &custom->items : nullptr;
}

const QList<SidebarItem>* SidebarStore::itemList(const SidebarSection& section) const
{
    return const_cast<SidebarStore*>(this)->itemList(section);
}

void SidebarStore::saveItems(const SidebarSection& section)
{
    if (section.kind() == SidebarSection::Kind::favorites)
        m_store.saveFavorites(m_favorites);
    else
        m_store.saveCustomSections(m_customSections.sections());
}

void SidebarStore::placeURL(const fs::path& path, const SidebarSection& section,
                            std::optional<int> at)
{
    if (!path.is_absolute())
        return;
    place(SidebarItem::folder(path), section, at);
}

void SidebarStore::placeTag(const QUuid& tagID, const SidebarSection& section,
                            std::optional<int> at)
{
    if (const std::optional<Tag> tag = m_tags.tag(tagID))
        place(SidebarItem::tag(tagID, tag->name), section, at);
}

void SidebarStore::place(SidebarItem item, const SidebarSection& section, std::optional<int> at)
{
    QList<SidebarItem>* items = itemList(section);
    if (!items)
        return;
    const qsizetype existing = SidebarItems::indexOf(*items, item.id());
    if (existing < 0)
        SidebarItems::insert(*items, std::move(item), at);
    else if (!SidebarItems::move(*items, existing, at.value_or(int(items->size()))))
        return;
    saveItems(section);
    announce();
}

void SidebarStore::removeItem(const QString& itemID, const SidebarSection& section)
{
    QList<SidebarItem>* items = itemList(section);
    const qsizetype index = items ? SidebarItems::indexOf(*items, itemID) : -1;
    if (index < 0)
        return;
    if (const std::optional<QUuid> subsection = items->at(index).sectionID) {
        deleteSection(SidebarSection::custom(*subsection));
        return;
    }
    items->removeAt(index);
    saveItems(section);
    announce();
}

void SidebarStore::moveItem(const QString& itemID, const SidebarSection& section, int to)
{
    QList<SidebarItem>* items = itemList(section);
    const qsizetype index = items ? SidebarItems::indexOf(*items, itemID) : -1;
    if (index < 0 || !SidebarItems::move(*items, index, to))
        return;
    saveItems(section);
    announce();
}

void SidebarStore::renameItem(const QString& itemID, const SidebarSection& section,
                              const std::optional<QString>& customName)
{
    QList<SidebarItem>* items = itemList(section);
    const qsizetype index = items ? SidebarItems::indexOf(*items, itemID) : -1;
    if (index < 0)
        return;
    const QString trimmed = customName.value_or(QString()).trimmed();
    if (const std::optional<QUuid> subsection = items->at(index).sectionID) {
        renameSection(*subsection, trimmed);
        return;
    }
    const std::optional<QString> name = trimmed.isEmpty() ? std::nullopt : std::optional(trimmed);
    if ((*items)[index].customName == name)
        return;
    (*items)[index].customName = name;
    saveItems(section);
    announce();
}

std::optional<CustomSidebarSection> SidebarStore::customSection(const QUuid& id) const
{
    const CustomSidebarSection* section = m_customSections.find(id);
    return section ? std::optional(*section) : std::nullopt;
}

QList<CustomSidebarSection> SidebarStore::customSectionsInOrder() const
{
    QList<QUuid> topLevel;
    for (const SidebarSection& section : m_sections) {
        if (section.kind() == SidebarSection::Kind::custom)
            topLevel.append(section.uuid());
    }
    return m_customSections.inOrder(topLevel);
}

QString SidebarStore::displayPath(const QUuid& section) const
{
    QStringList names;
    QSet<QUuid> seen;
    std::optional<QUuid> id = section;
    while (id && !seen.contains(*id)) {
        seen.insert(*id);
        names.prepend(title(SidebarSection::custom(*id)));
        const CustomSidebarSection* custom = m_customSections.find(*id);
        id = custom ? custom->parentID : std::nullopt;
    }
    return names.join(QStringLiteral(" › "));
}

void SidebarStore::eject(const SidebarItem& volume)
{
    m_locations.eject(volume);
}

QFuture<void> SidebarStore::refreshMissing()
{
    QStringList ids;
    QSet<QString> seen;
    std::vector<fs::path> paths;
    const auto collect = [&](const QList<SidebarItem>& items) {
        for (const SidebarItem& item : items) {
            if (item.isFolder() && !seen.contains(item.id())) {
                seen.insert(item.id());
                ids.append(item.id());
                paths.push_back(item.path());
            }
        }
    };
    collect(m_favorites);
    for (const CustomSidebarSection& section : m_customSections.sections())
        collect(section.items);
    collect(m_locations.places());
    const int run = ++m_missingRun;
    auto applied = std::make_shared<QPromise<void>>();
    applied->start();
    QFuture<void> future = applied->future();
    // The result always comes back on a later turn of the main thread's event loop; the
    // guard is only read there.
    QThreadPool::globalInstance()->start([store = QPointer(this), applied, run, ids, paths] {
        QHash<QString, bool> missing;
        for (size_t i = 0; i < paths.size(); ++i)
            missing.insert(ids[qsizetype(i)], !DirectoryScanner::exists(paths[i]));
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [store, applied, run, missing] {
                // A later refresh saw a later state of the lists.
                if (store && run == store->m_missingRun && store->applyMissing(missing))
                    Q_EMIT store->changed();
                applied->finish();
            },
            Qt::QueuedConnection);
    });
    return future;
}

bool SidebarStore::applyMissing(const QHash<QString, bool>& missing)
{
    bool changedAny = false;
    const auto apply = [&](QList<SidebarItem>& items) {
        for (SidebarItem& item : items) {
            const auto it = missing.find(item.id());
            if (item.isFolder() && it != missing.end() && item.isMissing != *it) {
                item.isMissing = *it;
                changedAny = true;
            }
        }
    };
    apply(m_favorites);
    m_customSections.forEachItemList(apply);
    changedAny |= m_locations.applyMissing(missing);
    return changedAny;
}
