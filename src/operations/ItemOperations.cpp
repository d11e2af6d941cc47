#include "operations/ItemOperations.h"

#include "core/PathText.h"
#include "operations/BulkRenamer.h"
#include "operations/FileNaming.h"
#include "operations/OperationAlerts.h"
#include "operations/RenameJournal.h"
#include "operations/TransferSteps.h"
#include "platform/FileCopier.h"

namespace fs = std::filesystem;
using namespace OperationAlerts;

namespace ItemOperations {

TrashOutcome trashItems(const std::vector<FileItem>& items)
{
    TrashOutcome out;
    for (const FileItem& item : items) {
        const QString name = PathText::displayName(item.path);
        if (!TransferSteps::matchesIdentity(item)) {
            out.failures.push_back(changedSinceShown(name));
            continue;
        }
        auto trashed = Trash::moveToTrash(item.path);
        if (trashed)
            out.trashed.push_back(*trashed);
        else if (trashed.error().code == Trash::kNoTrash)
            out.withoutTrash.push_back(item);
        else
            out.failures.push_back(trashFailed(name, trashed.error()));
    }
    return out;
}

Removal removeAll(const std::vector<FileItem>& items)
{
    Removal out;
    for (const FileItem& item : items) {
        const QString name = PathText::displayName(item.path);
        if (!TransferSteps::matchesIdentity(item))
            out.failures.push_back(changedSinceShown(name));
        else if (auto removed = FileCopier::removeTree(item.path); !removed)
            out.failures.push_back(deletionFailed(name, removed.error()));
        else
            out.removed.push_back(item.path);
    }
    return out;
}

Creation makeUntitled(const fs::path& folder, bool isDirectory)
{
    const fs::path wished =
        folder / PathText::fromText(isDirectory ? QStringLiteral("名称未設定フォルダ")
                                                : QStringLiteral("名称未設定.txt"));
    Creation out;
    // Another program may take the free name between the probe and the creation.
    for (int attempt = 0; attempt < 3; ++attempt) {
        out.path = FileNaming::uniquePath(wished, isDirectory, FileNaming::Style::numbered,
                                          FileNaming::exists);
        const Result<void> made =
            isDirectory ? FileCopier::makeFolder(out.path) : FileCopier::makeEmptyFile(out.path);
        out.error = made ? std::nullopt : std::optional<Error>(made.error());
        if (made || made.error().code != EEXIST)
            break;
    }
    return out;
}

std::optional<Alert> renameChecked(const FileItem& item, const fs::path& to, const QString& newName)
{
    const QString name = PathText::displayName(item.path);
    if (!TransferSteps::matchesIdentity(item))
        return changedSinceShown(name);
    if (FileNaming::exists(to) && !TransferSteps::namesSameItem(item.path, to))
        return nameTaken(newName);
    if (auto done = TransferSteps::renameItem(item.path, to); !done)
        return renameFailed(name, done.error());
    return std::nullopt;
}

std::optional<Alert> renameAll(const std::vector<FileItem>& items,
                               const std::vector<BulkRenamer::Pair>& plan)
{
    std::vector<FileIdentity> identities; // checked just now: no need to look again
    for (const FileItem& item : items) {
        if (!TransferSteps::matchesIdentity(item))
            return changedSinceShown(PathText::displayName(item.path));
        if (item.identity)
            identities.push_back(*item.identity);
    }
    if (identities.size() != items.size())
        identities.clear();
    auto applied = BulkRenamer::apply(plan, RenameJournal::shared(), {}, identities);
    if (!applied)
        return renameFailed(applied.error().name, applied.error().error);
    return std::nullopt;
}

} // namespace ItemOperations
