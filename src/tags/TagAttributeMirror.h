#pragma once

#include "tags/Tag.h"

#include <QHash>
#include <QObject>
#include <QStringList>
#include <atomic>
#include <filesystem>
#include <string_view>
#include <vector>

class TagStore;

// Mirrors the tags of every tagged item into its "user.xdg.tags" extended
// attribute, which other file managers and indexers read and which copies by
// other programs carry along. Follows the "mirrorTagsToExtendedAttributes"
// preference; writes happen off the main thread, coalesced, after each change,
// and failures are only logged.
//
// The value is the comma-separated list of the item's own tags, each written as
// its full name ("親/子"): it is the only form that names one tag of the
// hierarchy and comes back as the same tag, and programs that know hierarchies
// split it on "/" as we do. A comma cannot be escaped in that format, so a comma
// in a tag name is written as "，" (U+FF0C); such a tag is recognized by that form
// when reading. Names in the attribute that we did not write are kept.
class TagAttributeMirror : public QObject {
    Q_OBJECT
public:
    using Path = std::filesystem::path;
    static constexpr const char* attributeName = "user.xdg.tags";

    // Follows the store from now on; with the preference on, first brings every
    // tagged item's attribute up to date.
    explicit TagAttributeMirror(TagStore& store, QObject* parent = nullptr);
    ~TagAttributeMirror() override;

    // A sync is running or waiting to run.
    bool busy() const { return m_running || m_pending; }

    // The form a tag name takes in the attribute.
    static QString writtenName(const QString& tagName);
    static QByteArray format(const QStringList& writtenNames);
    // The names of a value: trimmed and normalized as tag names, empty and repeated
    // ones (in any case) left out. Nothing for a value that is not UTF-8.
    static QStringList parse(std::string_view value);
    // The names in an item's attribute; nothing when it has none or cannot have one.
    static QStringList tagsIn(const Path& path);

    // A name found in attributes, with the items that carry it.
    struct Candidate {
        QString name;
        std::vector<Path> items;
    };
    // Every name in the attributes of the folder and everything below it (links
    // are not followed), in the order first seen. Long work for a worker thread.
    static std::vector<Candidate> scan(const Path& folder, const std::atomic<bool>& cancelled);
    // The candidates whose names no tag of the store has (in any case).
    static std::vector<Candidate> unknownTo(const TagStore& store,
                                            std::vector<Candidate> candidates);
    // Creates each candidate's tag and assigns it to its items.
    static void importTags(TagStore& store, const std::vector<Candidate>& candidates);

Q_SIGNALS:
    // A sync ended and nothing more is waiting.
    void idle();

private:
    struct Snapshot {
        QHash<QString, TaggedItem> items;
        QHash<QUuid, QPair<int, QString>> names; // position in sortedTags, written name
    };
    Snapshot snapshot() const;
    void preferenceChanged(const QString& key);
    void schedule(bool everything);
    void start();

    TagStore& m_store;
    Snapshot m_last; // the state the attributes were last brought to
    bool m_enabled = false;
    bool m_running = false;
    bool m_pending = false;
    bool m_everything = false;
};
