#pragma once

#include "operations/BulkRenamer.h"
#include "operations/UndoCommands.h"

#include <memory>
#include <vector>

// The undo entry of a bulk rename, "名前の変更": undo renames every item back in the
// same two phases, redo renames them again. A failure leaves every item where it
// was and is reported.
class BulkRenameCommand : public FileUndoCommand {
public:
    BulkRenameCommand(std::vector<BulkRenamer::Pair> pairs, UndoRunner run);

protected:
    std::function<UndoReport()> undoWork() override;
    std::function<UndoReport()> redoWork() override;

private:
    std::shared_ptr<const std::vector<BulkRenamer::Pair>> m_pairs;
};
