#include "operations/LinkTargetChange.h"

#include "core/PathText.h"
#include "operations/OperationAlerts.h"
#include "platform/SymbolicLinkRetarget.h"

#include <cerrno>

namespace fs = std::filesystem;

namespace LinkTargetChange {

Result<fs::path> retarget(const fs::path& link, const fs::path& target)
{
    return retargetSymbolicLink(link, target);
}

} // namespace LinkTargetChange

namespace {

// Only a link still pointing where this change left it is changed back.
UndoReport pointAgain(const fs::path& link, const fs::path& expected, const fs::path& target,
                      bool undoing)
{
    UndoReport report{{PathText::parent(link)}, {}};
    std::error_code ec;
    Result<fs::path> done = std::unexpected(Error::fromErrno(ESTALE, link));
    if (fs::read_symlink(link, ec) == expected && !ec)
        done = LinkTargetChange::retarget(link, target);
    if (!done) {
        const QString name = PathText::displayName(link);
        report.failures.push_back(undoing ? OperationAlerts::undoFailed(name, done.error())
                                          : OperationAlerts::redoFailed(name, done.error()));
    }
    return report;
}

} // namespace

LinkTargetCommand::LinkTargetCommand(fs::path link, fs::path oldTarget, fs::path newTarget,
                                     UndoRunner run)
    : FileUndoCommand(QStringLiteral("リンク先の変更"), std::move(run))
    , m_link(std::move(link))
    , m_oldTarget(std::move(oldTarget))
    , m_newTarget(std::move(newTarget))
{
}

std::function<UndoReport()> LinkTargetCommand::undoWork()
{
    return [link = m_link, from = m_newTarget, to = m_oldTarget] {
        return pointAgain(link, from, to, true);
    };
}

std::function<UndoReport()> LinkTargetCommand::redoWork()
{
    return [link = m_link, from = m_oldTarget, to = m_newTarget] {
        return pointAgain(link, from, to, false);
    };
}
