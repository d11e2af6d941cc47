#pragma once

#include "operations/RenameJournal.h"
#include "platform/Error.h"
#include "platform/FileIdentity.h"

#include <QString>
#include <filesystem>
#include <functional>
#include <utility>
#include <vector>

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
// the process there). Pairs whose two names are equal are skipped: the item already
// has its name. A journal that cannot be written fails the whole rename before any
// name changes. When an item can be put back neither under its old name nor its new
// one, the journal keeps the record, so that the next start tries again and says so.
// `identities`, when given, are the items' (one per pair) as the caller has just read
// them, which spares a stat per item; else each item is looked at.
std::expected<void, Failure> apply(const std::vector<Pair>& pairs, RenameJournal& journal,
                                   const std::function<void()>& betweenPhases = {},
                                   const std::vector<FileIdentity>& identities = {});

// Where one item of a plan stands.
enum class Place { old, temporary, renamed, missing };

// What settle() did: counts of items it moved to their new and to their old names,
// and the items it had to leave under a temporary name.
struct Settled {
    int toNew = 0;
    int toOld = 0;
    std::vector<std::filesystem::path> leftAt;
};

// Brings every item under a temporary name to its new name (`forward`) or back to its
// old one; an item whose chosen name is taken by something else goes to its other
// name. Rolling back first moves the items at their new names to their temporary
// ones, so that a swap or a cycle can be undone. `places` is updated.
Settled settle(const RenameJournal::Plan& plan, std::vector<Place>& places, bool forward);

} // namespace BulkRenamer
