#pragma once

#include "tags/TagIDSet.h"

#include <QByteArray>
#include <QSet>
#include <QString>
#include <QUuid>
#include <optional>

// One user tag. `name` is the full hierarchical name ("Work/Client"), always
// normalized; `color` is "#RRGGBB" in upper case.
struct Tag {
    QUuid id;
    QString name;
    QString color;

    // The last non-empty "/" component; the whole name when there is none.
    QString leafName() const;
    // All components but the last, joined with "/"; nullopt for fewer than two.
    std::optional<QString> parentName() const;
    // True when `other` names a descendant of this tag ("a" and "a/b", not "ab").
    bool isAncestorOf(const QString& otherName) const;

    bool operator==(const Tag&) const = default;
};

// The tags of one item, keyed by its NFC path text.
struct TaggedItem {
    QString path;
    std::optional<QByteArray> bookmark; // to find the item again after it moved
    TagIDSet tagIDs;

    bool operator==(const TaggedItem&) const = default;
};

namespace TagNames {

// Splits on "/", trims white space from each piece, drops empty pieces and
// joins the rest with "/". Empty when nothing is left (such a name is refused).
QString normalized(const QString& name);

// "#RRGGBB" (upper case) for a colour text that parses as a colour; nullopt otherwise.
std::optional<QString> colorText(const QString& color);

} // namespace TagNames
