#pragma once

#include "operations/UndoCommands.h"
#include "platform/Error.h"

#include <filesystem>

// Points a symbolic link elsewhere: a new link made beside it replaces it in one
// rename, so the name never stands empty.
namespace LinkTargetChange {

// Answers the old target. EINVAL when the item is not a symbolic link.
Result<std::filesystem::path> retarget(const std::filesystem::path& link,
                                       const std::filesystem::path& target);

} // namespace LinkTargetChange

// Undo points the link back at its old target; redo at the new one.
class LinkTargetCommand : public FileUndoCommand {
public:
    LinkTargetCommand(std::filesystem::path link, std::filesystem::path oldTarget,
                      std::filesystem::path newTarget, UndoRunner run);

protected:
    std::function<UndoReport()> undoWork() override;
    std::function<UndoReport()> redoWork() override;

private:
    std::filesystem::path m_link;
    std::filesystem::path m_oldTarget;
    std::filesystem::path m_newTarget;
};
