#pragma once

#include "operations/Alert.h"
#include "operations/UndoCommands.h"
#include "platform/Error.h"
#include "platform/ModeChanges.h"

#include <filesystem>
#include <sys/types.h>
#include <vector>

// Changes the permission bits of items, folders optionally with everything inside.
// Symbolic links are never followed and never changed (Linux has no lchmod).
namespace PermissionChange {

struct Request {
    std::vector<std::filesystem::path> items;
    mode_t value = 0;       // the wanted bits, of those in the masks
    mode_t folderMask = 0;  // which bits of folders take `value`
    mode_t fileMask = 0;    // which bits of everything else take it
    bool recursive = false; // folders: their contents too
};

using Change = ModeChanges::Change;

struct Outcome {
    std::vector<Change> changed; // in the order they were made
    std::vector<Error> failures; // the item, or the folder whose contents were out of reach
};

// Runs on a worker thread.
Outcome apply(const Request& request);
// Sets each change's old mode, newest first, so every folder is passable again when
// its contents are restored; `forward` sets the new modes in the original order.
std::vector<Error> replay(const std::vector<Change>& changes, bool forward);

// "N 項目のアクセス権を変更できませんでした。" with the first few paths and reasons.
Alert failureAlert(const std::vector<Error>& failures);

} // namespace PermissionChange

// Undo restores exactly the modes that the change altered; redo sets them again.
class PermissionCommand : public FileUndoCommand {
public:
    PermissionCommand(std::vector<PermissionChange::Change> changes, UndoRunner run);

protected:
    std::function<UndoReport()> undoWork() override;
    std::function<UndoReport()> redoWork() override;

private:
    std::vector<PermissionChange::Change> m_changes;
};
