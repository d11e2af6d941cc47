#pragma once

#include "files/FileEntry.h"

#include <QIcon>
#include <QString>
#include <QVariantList>

// What a list row shows of its item's tags, looked up in the shared tag store:
// the tags column (names, tooltip, coloured dots) and the folder icon's tint.
namespace TagCells {

// Leaf names of the explicit tags, ", " between them; empty without tags.
QString names(const FileEntry& entry);
// Full names, one per line.
QString toolTip(const FileEntry& entry);
// [leaf name, "#RRGGBB"] pairs for the delegate; empty without tags.
QVariantList dots(const FileEntry& entry);
// The item's icon, tinted with its folder colour when it has one.
QIcon icon(const FileEntry& entry);

} // namespace TagCells
