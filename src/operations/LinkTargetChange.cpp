#include "operations/LinkTargetChange.h"

#include "core/PathText.h"
#include "operations/OperationAlerts.h"

#include <QRandomGenerator>
#include <cerrno>
#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace LinkTargetChange {

Result<fs::path> retarget(const fs::path& link, const fs::path& target)
{
    struct stat st {};
    if (::lstat(link.c_str(), &st) != 0)
        return std::unexpected(Error::fromErrno(errno, link));
    if (!S_ISLNK(st.st_mode))
        return std::unexpected(Error::fromErrno(EINVAL, link));
    std::error_code ec;
    const fs::path old = fs::read_symlink(link, ec);
    if (ec)
        return std::unexpected(Error::fromErrno(ec.value(), link));
    if (target.empty())
        return std::unexpected(Error::fromErrno(EINVAL, link));
    for (int attempt = 0; attempt < 5; ++attempt) {
        const fs::path temporary =
            PathText::parent(link) /
            (".quillo-link-" + std::to_string(QRandomGenerator::global()->generate64()));
        if (::symlink(target.c_str(), temporary.c_str()) != 0) {
            if (errno == EEXIST)
                continue;
            return std::unexpected(Error::fromErrno(errno, link));
        }
        if (::rename(temporary.c_str(), link.c_str()) != 0) {
            const int code = errno;
            ::unlink(temporary.c_str());
            return std::unexpected(Error::fromErrno(code, link));
        }
        return old;
    }
    return std::unexpected(Error::fromErrno(EEXIST, link));
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
