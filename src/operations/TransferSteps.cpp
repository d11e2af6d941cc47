#include "operations/TransferSteps.h"

#include "core/PathText.h"
#include "operations/FileNaming.h"
#include "operations/FileTransfer.h"
#include "operations/StagingJournal.h"
#include "platform/FileCopier.h"
#include "platform/FileCopierLinks.h"

#include <QUuid>

namespace fs = std::filesystem;

namespace TransferSteps {

namespace {

// A hidden sibling name short enough for any folder, where a replacement is made.
fs::path besidePath(const fs::path& destination)
{
    const QString tag = QUuid::createUuid().toString(QUuid::Id128).left(12);
    return PathText::parent(destination) / (".quillo-" + tag.toStdString());
}

// Undoes a transfer made to `madeAt`, so the item is back at its source.
void putBack(const fs::path& source, const fs::path& madeAt, TransferMode mode, CopiedLinks* links)
{
    if (links)
        links->forget(madeAt);
    if (mode == TransferMode::copy) {
        (void)FileCopier::removeTree(madeAt);
        return;
    }
    TransferProgress uncancellable;
    (void)FileTransfer::moveItem(madeAt, source,
                                 FileTransfer::isSameVolume(madeAt, PathText::parent(source)),
                                 uncancellable);
}

// The new item is made beside the old one and renamed over it only after the old
// one is in the Trash, so a failure at any step leaves the old item where it was.
Outcome replaceExisting(const Request& request, TransferProgress& progress)
{
    Outcome out{request.destination, std::nullopt, std::nullopt, false};
    const fs::path& source = request.item.path;
    const fs::path beside = besidePath(request.destination);
    const auto kind = request.mode == TransferMode::copy ? StagingJournal::Kind::replaceCopy
                                                         : StagingJournal::Kind::replaceMove;
    const auto ticket = StagingJournal::shared().begin({kind, beside, request.destination, source});
    const auto shown = [&](const Error& e) {
        return FileTransfer::visibleError(e, beside, request.destination);
    };
    CopiedLinks* links = request.links.get();
    if (auto made = transferItem(source, beside, request.mode, progress, links); !made) {
        out.error = shown(made.error());
        return out;
    }
    auto trashed = Trash::moveToTrash(request.destination);
    if (!trashed) {
        putBack(source, beside, request.mode, links);
        out.error = trashed.error();
        out.noTrash = trashed.error().code == Trash::kNoTrash;
        return out;
    }
    if (auto placed = FileCopier::renameNoReplace(beside, request.destination); !placed) {
        (void)Trash::restore(*trashed);
        putBack(source, beside, request.mode, links);
        out.error = shown(placed.error());
        return out;
    }
    if (links)
        links->moved(beside, request.destination);
    out.replaced = *trashed;
    return out;
}

// Also the same folder reached through another path (a link to it). The item's own
// identity would not do: a hard link to it in another folder is another item.
bool isSameFolder(const fs::path& a, const fs::path& b)
{
    if (a == b)
        return true;
    // Through "." lstat follows a link that names the folder itself.
    const auto first = FileCopier::identity(a / ".");
    return first && first == FileCopier::identity(b / ".");
}

} // namespace

bool isInside(const fs::path& path, const fs::path& ancestor)
{
    const std::string& p = path.native();
    const std::string& a = ancestor.native();
    if (a == "/")
        return p.size() > 1 && p.front() == '/';
    return p.size() > a.size() && p.starts_with(a) && p[a.size()] == '/';
}

bool matchesIdentity(const FileItem& item)
{
    if (!item.identity)
        return true;
    const auto now = FileCopier::identity(item.path);
    return now && *now == *item.identity;
}

Probe probe(const FileItem& item, const fs::path& folder, TransferMode mode)
{
    if (!matchesIdentity(item))
        return {Probe::Kind::changed, {}};
    const fs::path& source = item.path;
    const fs::path destination = folder / source.filename();
    if (isSameFolder(PathText::parent(source), folder))
        return {mode == TransferMode::move ? Probe::Kind::skip : Probe::Kind::duplicate,
                destination};
    return {FileCopier::identity(destination) ? Probe::Kind::conflict : Probe::Kind::free,
            destination};
}

Outcome perform(const Request& request, TransferProgress& progress)
{
    Outcome out;
    if (!matchesIdentity(request.item)) {
        out.changed = true;
        return out;
    }
    if (request.replace)
        return replaceExisting(request, progress);
    const fs::path& source = request.item.path;
    out.destination = request.destination;
    if (request.keepBoth)
        out.destination =
            FileNaming::uniquePath(request.destination, FileTransfer::isDirectory(source),
                                   FileNaming::Style::copy, FileNaming::exists);
    if (auto done =
            transferItem(source, out.destination, request.mode, progress, request.links.get());
        !done)
        out.error = done.error();
    return out;
}

Result<void> transferItem(const fs::path& source, const fs::path& destination, TransferMode mode,
                          TransferProgress& progress, CopiedLinks* links)
{
    if (mode == TransferMode::copy)
        return FileTransfer::copyItem(source, destination, progress, links);
    const bool sameVolume = FileTransfer::isSameVolume(source, PathText::parent(destination));
    return FileTransfer::moveItem(source, destination, sameVolume, progress, links);
}

bool namesSameItem(const fs::path& from, const fs::path& to)
{
    const auto target = FileCopier::identity(to);
    if (!target || target != FileCopier::identity(from))
        return false;
    // A hard link is stored under its own name; a name that finds the item only by
    // case folding is not stored.
    return from.filename() == to.filename() || !FileCopier::isStoredName(to);
}

Result<void> renameItem(const fs::path& from, const fs::path& to)
{
    // rename(2) between two links of one file does nothing and reports success.
    if (namesSameItem(from, to))
        return FileCopier::renameReplacing(from, to);
    return FileCopier::renameNoReplace(from, to);
}

} // namespace TransferSteps
