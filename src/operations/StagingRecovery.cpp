#include "operations/StagingRecovery.h"

#include "operations/FileNaming.h"
#include "platform/DirectoryScanner.h"
#include "platform/FileCopier.h"

#include <QtDebug>

namespace fs = std::filesystem;

namespace {

using Entry = StagingJournal::Entry;
using Report = StagingJournal::Report;

bool isHiddenStaging(const fs::path& path)
{
    return path.filename().native().starts_with(".quillo-");
}

void removeHidden(const fs::path& hidden, Report& report)
{
    if (!isHiddenStaging(hidden) || !DirectoryScanner::exists(hidden))
        return;
    if (auto removed = FileCopier::removeCopy(hidden); removed)
        report.removed.push_back(hidden);
    else
        qWarning("Cannot remove %s, left by a killed transfer: errno %d", hidden.c_str(),
                 removed.error().code);
}

// The staged copies of the dead process in one folder: the names with its own prefix.
void removeStagedIn(const Entry& entry, Report& report)
{
    const std::string prefix = entry.hidden.filename().native();
    // A prefix too short to be one process's own would match other processes' names:
    // copies carry a random tag, expansions a UUID.
    const bool ours = (prefix.starts_with(".quillo-copy-") && prefix.size() >= 20) ||
                      (prefix.starts_with(".quillo-expand-") && prefix.size() >= 50);
    if (!ours)
        return;
    const fs::path folder = entry.hidden.parent_path();
    const auto items = DirectoryScanner::scan(folder);
    if (!items)
        return;
    for (const ScannedItem& item : *items) {
        if (item.name.starts_with(prefix))
            removeHidden(folder / item.name, report);
    }
}

void unfinished(const Entry& entry, Report& report, std::optional<Error> error = {},
                const fs::path& leftAt = {})
{
    report.unfinished.push_back({entry.source, entry.destination, leftAt, std::move(error)});
}

// Counted only where the user sees the result: a move into a replacement's hidden
// item is settled with the replacement.
void finished(const Entry& entry, Report& report)
{
    if (!isHiddenStaging(entry.destination))
        report.finished.push_back(entry.destination);
}

// The copy was complete and synced when the entry was marked; it is either still
// hidden or already renamed into place. Either way the source goes only once the
// destination is that copy.
void finishMove(const Entry& entry, Report& report)
{
    if (FileCopier::identity(entry.hidden) == entry.copied && isHiddenStaging(entry.hidden)) {
        if (auto placed = FileCopier::renameNoReplace(entry.hidden, entry.destination); !placed) {
            removeHidden(entry.hidden, report); // the source is intact
            unfinished(entry, report, placed.error());
            return;
        }
    } else if (FileCopier::identity(entry.destination) != entry.copied) {
        unfinished(entry, report);
        return;
    }
    const auto source = FileCopier::identity(entry.source);
    // Another item at the source's name is not ours to remove.
    if (source && source == entry.sourceIdentity) {
        if (auto removed = FileCopier::removeTree(entry.source); !removed) {
            unfinished(entry, report, removed.error());
            return;
        }
    }
    finished(entry, report);
}

// The new item stands complete beside the old one. With the old one gone (in the
// Trash) the replacement is finished; otherwise a copy is dropped and a moved item
// goes back to its source, or to a visible name when that is taken.
void settleReplacement(const Entry& entry, Report& report)
{
    if (!isHiddenStaging(entry.hidden) || !DirectoryScanner::exists(entry.hidden))
        return;
    if (!DirectoryScanner::exists(entry.destination) &&
        FileCopier::renameNoReplace(entry.hidden, entry.destination)) {
        finished(entry, report);
        return;
    }
    if (entry.kind == StagingJournal::Kind::replaceCopy) {
        removeHidden(entry.hidden, report);
        return;
    }
    if (FileCopier::renameNoReplace(entry.hidden, entry.source)) {
        unfinished(entry, report, {}, entry.source);
        return;
    }
    const fs::path visible =
        FileNaming::uniquePath(entry.destination, DirectoryScanner::isDirectory(entry.hidden),
                               FileNaming::Style::copy, FileNaming::exists);
    auto renamed = FileCopier::renameNoReplace(entry.hidden, visible);
    unfinished(entry, report, renamed ? std::nullopt : std::optional<Error>(renamed.error()),
               renamed ? visible : entry.hidden);
}

} // namespace

namespace StagingRecovery {

void settle(const Entry& entry, Report& report)
{
    switch (entry.kind) {
    case StagingJournal::Kind::folder:
        removeStagedIn(entry, report);
        break;
    case StagingJournal::Kind::move:
        if (entry.copied)
            finishMove(entry, report);
        else
            removeHidden(entry.hidden, report);
        break;
    case StagingJournal::Kind::replaceCopy:
    case StagingJournal::Kind::replaceMove:
        settleReplacement(entry, report);
        break;
    }
}

} // namespace StagingRecovery
