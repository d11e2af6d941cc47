#include "tags/TagAttributeMirror.h"

#include "core/PathText.h"
#include "core/Preferences.h"
#include "core/WorkPools.h"
#include "platform/DirectoryScanner.h"
#include "platform/ExtendedAttributes.h"
#include "platform/FileBookmark.h"
#include "tags/TagStore.h"

#include <QDebug>
#include <QSet>
#include <QtConcurrent>
#include <algorithm>
#include <cerrno>
#include <deque>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

const QString kPreference = QStringLiteral("mirrorTagsToExtendedAttributes");

qsizetype indexIn(const QStringList& names, const QString& name)
{
    for (qsizetype i = 0; i < names.size(); ++i) {
        if (names[i].compare(name, Qt::CaseInsensitive) == 0)
            return i;
    }
    return -1;
}

// What an item's attribute should hold: the names it has now, less those we had
// written and took away, plus ours (in our spelling, kept in place when present).
QStringList merged(const QStringList& present, const QStringList& before, const QStringList& after)
{
    QStringList result;
    for (const QString& name : present) {
        const qsizetype ours = indexIn(after, name);
        if (ours < 0 && indexIn(before, name) >= 0)
            continue;
        const QString& spelled = ours >= 0 ? after[ours] : name;
        if (indexIn(result, spelled) < 0)
            result << spelled;
    }
    for (const QString& name : after) {
        if (indexIn(result, name) < 0)
            result << name;
    }
    return result;
}

bool expected(const Error& error)
{
    // Gone since (moved or deleted), or a place that cannot carry the attribute.
    return ExtendedAttributes::unsupported(error) || error.code == ENOENT || error.code == ENOTDIR;
}

void warn(const char* what, const Error& error)
{
    qWarning().noquote() << "cannot" << what << TagAttributeMirror::attributeName << "of"
                         << PathText::display(error.path) << ":" << error.description();
}

struct Change {
    fs::path path;
    QStringList before;
    QStringList after;
};

void apply(const Change& change)
{
    const char* name = TagAttributeMirror::attributeName;
    const auto current = ExtendedAttributes::read(change.path, name);
    if (!current) {
        if (!expected(current.error()))
            warn("read", current.error());
        return;
    }
    QStringList present;
    if (*current) {
        if (!PathText::isValidUtf8(**current)) {
            qWarning().noquote() << "leaving alone a" << name << "that is not UTF-8 on"
                                 << PathText::display(change.path);
            return;
        }
        present = TagAttributeMirror::parse(**current);
    }
    const QStringList names = merged(present, change.before, change.after);
    Result<void> done;
    if (names.isEmpty()) {
        if (*current)
            done = ExtendedAttributes::remove(change.path, name);
    } else if (const QByteArray value = TagAttributeMirror::format(names);
               !*current || **current != value.toStdString()) {
        done = ExtendedAttributes::write(change.path, name, value.toStdString());
    }
    if (!done && !expected(done.error()))
        warn("write", done.error());
}

} // namespace

TagAttributeMirror::TagAttributeMirror(TagStore& store, QObject* parent)
    : QObject(parent)
    , m_store(store)
    , m_last(snapshot())
    , m_enabled(Preferences::shared().mirrorTagsToAttributes())
{
    connect(&store, &TagStore::tagsChanged, this, [this] {
        if (m_enabled)
            schedule(false);
    });
    connect(&Preferences::shared(), &Preferences::changed, this,
            &TagAttributeMirror::preferenceChanged);
    // Tags given before the mirror existed, or while it was off, get their attributes.
    if (m_enabled)
        schedule(true);
}

TagAttributeMirror::~TagAttributeMirror() = default;

void TagAttributeMirror::preferenceChanged(const QString& key)
{
    if (key != kPreference)
        return;
    const bool on = Preferences::shared().mirrorTagsToAttributes();
    if (on == m_enabled)
        return;
    m_enabled = on;
    if (on)
        schedule(true);
}

TagAttributeMirror::Snapshot TagAttributeMirror::snapshot() const
{
    Snapshot s{m_store.itemsByPath(), {}};
    const QList<Tag>& sorted = m_store.sortedTags();
    for (int i = 0; i < sorted.size(); ++i)
        s.names.insert(sorted[i].id, {i, writtenName(sorted[i].name)});
    return s;
}

void TagAttributeMirror::schedule(bool everything)
{
    m_everything = m_everything || everything;
    if (m_pending)
        return;
    m_pending = true;
    // Queued: every change made in this turn of the event loop goes in one sync.
    if (!m_running)
        QMetaObject::invokeMethod(this, &TagAttributeMirror::start, Qt::QueuedConnection);
}

namespace {

QStringList namesOf(const TaggedItem& item, const QHash<QUuid, QPair<int, QString>>& names)
{
    std::vector<QPair<int, QString>> found;
    for (const QUuid& id : item.tagIDs) {
        if (const auto it = names.constFind(id); it != names.constEnd())
            found.push_back(*it);
    }
    std::sort(found.begin(), found.end());
    QStringList result;
    for (const auto& [position, name] : found)
        result << name;
    return result;
}

// The bytes on disk may be in another normal form than the key; the bookmark
// remembers them.
fs::path pathOf(const TaggedItem& item)
{
    const fs::path keyed = PathText::fromText(item.path);
    if (item.bookmark) {
        if (const auto bookmark = FileBookmark::decode(*item.bookmark, keyed);
            bookmark && TagStore::key(bookmark->path) == item.path)
            return bookmark->path;
    }
    return keyed;
}

template <typename Snapshot>
void sync(const Snapshot& old, const Snapshot& now, bool everything)
{
    for (const TaggedItem& item : now.items) {
        const auto was = old.items.constFind(item.path);
        const QStringList before =
            was == old.items.constEnd() ? QStringList() : namesOf(*was, old.names);
        const QStringList after = namesOf(item, now.names);
        if (everything || before != after)
            apply({pathOf(item), before, after});
    }
    for (const TaggedItem& item : old.items) {
        if (!now.items.contains(item.path))
            apply({pathOf(item), namesOf(item, old.names), {}});
    }
}

} // namespace

void TagAttributeMirror::start()
{
    if (m_running || !m_pending)
        return;
    m_pending = false;
    const bool everything = std::exchange(m_everything, false);
    if (!m_enabled) {
        Q_EMIT idle();
        return;
    }
    Snapshot now = snapshot();
    Snapshot old = std::exchange(m_last, now);
    m_running = true;
    QtConcurrent::run(&WorkPools::fileIndex(), [old = std::move(old), now = std::move(now),
                                                everything] {
        sync(old, now, everything);
    }).then(this, [this] {
        m_running = false;
        if (m_pending)
            start();
        else
            Q_EMIT idle();
    });
}

QString TagAttributeMirror::writtenName(const QString& tagName)
{
    QString name = tagName;
    return name.replace(u',', u'，');
}

QByteArray TagAttributeMirror::format(const QStringList& writtenNames)
{
    return writtenNames.join(u',').toUtf8();
}

QStringList TagAttributeMirror::parse(std::string_view value)
{
    // Some programs store the terminating NUL with the text.
    while (!value.empty() && value.back() == '\0')
        value.remove_suffix(1);
    if (!PathText::isValidUtf8(value))
        return {};
    QStringList names;
    const QString text = QString::fromUtf8(value.data(), qsizetype(value.size()));
    for (const QString& piece : text.split(u',')) {
        const QString name = TagNames::normalized(piece);
        if (!name.isEmpty() && indexIn(names, name) < 0)
            names << name;
    }
    return names;
}

QStringList TagAttributeMirror::tagsIn(const Path& path)
{
    const auto value = ExtendedAttributes::read(path, attributeName);
    return value && *value ? parse(**value) : QStringList();
}

std::vector<TagAttributeMirror::Candidate>
TagAttributeMirror::scan(const Path& folder, const std::atomic<bool>& cancelled)
{
    std::vector<Candidate> found;
    QHash<QString, size_t> byName; // case-folded name → index in found
    const auto take = [&](const fs::path& path) {
        for (const QString& name : tagsIn(path)) {
            const QString folded = name.toCaseFolded();
            auto it = byName.constFind(folded);
            if (it == byName.constEnd()) {
                it = byName.insert(folded, found.size());
                found.push_back({name, {}});
            }
            found[*it].items.push_back(path);
        }
    };
    take(folder);
    std::deque<fs::path> folders{folder};
    while (!folders.empty() && !cancelled.load()) {
        const fs::path current = std::move(folders.front());
        folders.pop_front();
        const auto items = DirectoryScanner::scan(current);
        if (!items)
            continue; // unreadable folders are passed over
        for (const ScannedItem& item : *items) {
            if (item.isSymbolicLink() || item.statFailed)
                continue;
            const fs::path path = current / item.name;
            take(path);
            if (S_ISDIR(item.mode))
                folders.push_back(path);
        }
    }
    return found;
}

std::vector<TagAttributeMirror::Candidate>
TagAttributeMirror::unknownTo(const TagStore& store, std::vector<Candidate> candidates)
{
    QSet<QString> known;
    for (const Tag& tag : store.tags())
        known.insert(writtenName(tag.name).toCaseFolded());
    std::erase_if(candidates,
                  [&](const Candidate& c) { return known.contains(c.name.toCaseFolded()); });
    return candidates;
}

void TagAttributeMirror::importTags(TagStore& store, const std::vector<Candidate>& candidates)
{
    for (const Candidate& candidate : candidates) {
        if (const auto tag = store.createTag(candidate.name))
            store.assign(tag->id, candidate.items);
    }
}
