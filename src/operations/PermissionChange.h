#pragma once

#include "operations/Alert.h"
#include "operations/UndoCommands.h"
#include "platform/ModeChanges.h"

#include <vector>

// Changes the permission bits of items, folders optionally with everything inside.
// Symbolic links are never followed and never changed (Linux has no lchmod).
namespace PermissionChange {

using Request = ModeChanges::Request;
using Change = ModeChanges::Change;
using Outcome = ModeChanges::Outcome;

// Runs on a worker thread; the items are standardized first.
Outcome apply(Request request);
// Puts the old modes back (newest first), or with `forward` the new ones again.
using ModeChanges::replay;

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
