#pragma once

#include "platform/Error.h"
#include "tags/Tag.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <filesystem>
#include <optional>

// The contents of tags.json: the tags in stored order, the items by key, and
// whether the user ordered the tags by hand.
struct TagLibrary {
    QList<Tag> tags;
    QHash<QString, TaggedItem> items; // by the NFC form of their path
    bool manualOrder = false;
};

// Reading and writing tags.json. Any thread.
namespace TagLibraryFile {

enum class ReadStatus {
    missing,  // no file yet: an empty library
    ok,       // read whole
    damaged,  // read, but parts could not be understood and were left out
    unusable, // could not be read or is not a tag library at all
};

struct Reading {
    ReadStatus status = ReadStatus::missing;
    TagLibrary library;
    QString problem; // for the log, when not ok
};

Reading read(const std::filesystem::path& file);
Reading decode(QByteArrayView json);

// The records from their fields as read; nullopt for one that cannot be used
// (no id, no name, no path, a bookmark that is not base64).
std::optional<Tag> tagFromFields(const QString& id, const QString& name, const QString& color);
std::optional<TaggedItem> itemFromFields(const QString& path, const TagIDSet& ids,
                                         const QString* bookmark);

// Pretty-printed, keys sorted, items in code-point order of their paths.
QByteArray encode(const QList<Tag>& tags, const QHash<QString, TaggedItem>& items,
                  bool manualOrder);

// True when a precedes b in code-point order (not UTF-16 order).
bool codePointLess(const QString& a, const QString& b);

} // namespace TagLibraryFile
