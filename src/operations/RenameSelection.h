#pragma once

#include "operations/BulkRename.h"
#include "platform/Error.h"
#include "platform/FileIdentity.h"

#include <QSet>
#include <filesystem>
#include <vector>

// What a bulk rename needs to know about the selected items of one folder: each
// item with its directory flag, in selection order, and the lower-cased names of
// the folder's other items, against which new names must not collide. Reads the
// folder: call it off the main thread.
struct RenameSelection {
    std::vector<BulkRenameItem> items;
    QSet<QString> otherNames;             // storable text, lower-cased
    std::vector<FileIdentity> identities; // one per item, as the folder was read

    // Items not in the first item's folder are left out. Fails when the folder cannot
    // be read, or with ENOENT naming an item that is no longer there.
    static Result<RenameSelection> read(const std::vector<std::filesystem::path>& selected);
};
