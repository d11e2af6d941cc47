#pragma once

#include <QDateTime>
#include <QHash>
#include <QString>

// How often and how lately each command was run from the palette, for ranking. Kept
// in the settings store under "paletteCommandUsage": action → [uses, seconds since 1970].
namespace CommandUsage {

struct Usage {
    double count = 0;
    double lastUse = 0; // seconds since 1970
};

// What is stored; an entry or a whole value of the wrong type counts as no usage.
QHash<QString, Usage> all();

// Counts one use of the command at `now`.
void record(const QString& action, const QDateTime& now = QDateTime::currentDateTimeUtc());

} // namespace CommandUsage
