#pragma once

#include "platform/Error.h"

#include <QString>
#include <filesystem>
#include <functional>
#include <utility>
#include <vector>

class RenameJournal;

// Renames many items at once in two phases: every item first goes to a hidden
// ".quillo-rename-UUID-INDEX" name in its own folder, then each goes to its final
// name, so that names can be swapped, shifted or cycled within the set. The plan is
// in the journal, durably, before the first name changes, and leaves it when the
// rename has ended either way.
namespace BulkRenamer {

using Pair = std::pair<std::filesystem::path, std::filesystem::path>; // from, to (same folder)

struct Failure {
    Error error;            // what went wrong, with the path it concerned
    QString name;           // display name of the item that could not be renamed
    bool rolledBack = true; // every item is back under its old name
};

// Phase two finds something at a final name: fails with EEXIST and puts every
// item back under its old name. `betweenPhases` runs after phase one (tests kill
// the process there). Pairs whose two names are equal are allowed.
std::expected<void, Failure> apply(const std::vector<Pair>& pairs, RenameJournal& journal,
                                   const std::function<void()>& betweenPhases = {});

} // namespace BulkRenamer
