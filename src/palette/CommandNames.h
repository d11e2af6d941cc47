#pragma once

#include <QString>

// Fixed facts about commands that the palette needs: English search names and the
// commands it never offers.
namespace CommandNames {

// Space-separated English keywords for the command, or empty when it has none.
QString english(const QString& action);

// Commands the palette leaves out: the palette itself and the window-list items.
bool isExcluded(const QString& action);

} // namespace CommandNames
