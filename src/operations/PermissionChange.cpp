#include "operations/PermissionChange.h"

#include "core/PathText.h"

#include <algorithm>

namespace fs = std::filesystem;

namespace PermissionChange {

namespace {

constexpr int listedFailures = 5;

} // namespace

Outcome apply(Request request)
{
    for (fs::path& item : request.items)
        item = PathText::standardized(item);
    return ModeChanges::apply(request);
}

Alert failureAlert(const std::vector<Error>& failures)
{
    Alert alert;
    alert.style = Alert::Style::warning;
    alert.message =
        QStringLiteral("%1 項目のアクセス権を変更できませんでした。").arg(failures.size());
    QStringList lines;
    for (size_t i = 0; i < failures.size() && i < listedFailures; ++i)
        lines << QStringLiteral("「%1」: %2")
                     .arg(PathText::display(failures[i].path), failures[i].description());
    if (failures.size() > listedFailures)
        lines << QStringLiteral("ほか %1 項目").arg(failures.size() - listedFailures);
    alert.informativeText = lines.join(QLatin1Char('\n'));
    alert.buttons = {QStringLiteral("OK")};
    return alert;
}

} // namespace PermissionChange

namespace {

UndoReport reportOf(const std::vector<PermissionChange::Change>& changes,
                    std::vector<Error> failures)
{
    UndoReport report;
    for (const PermissionChange::Change& change : changes) {
        const fs::path folder = PathText::parent(change.path);
        if (std::find(report.folders.begin(), report.folders.end(), folder) == report.folders.end())
            report.folders.push_back(folder);
    }
    if (!failures.empty())
        report.failures.push_back(PermissionChange::failureAlert(failures));
    return report;
}

} // namespace

PermissionCommand::PermissionCommand(std::vector<PermissionChange::Change> changes, UndoRunner run)
    : FileUndoCommand(QStringLiteral("アクセス権の変更"), std::move(run))
    , m_changes(std::move(changes))
{
}

std::function<UndoReport()> PermissionCommand::undoWork()
{
    return [changes = m_changes] {
        return reportOf(changes, PermissionChange::replay(changes, false));
    };
}

std::function<UndoReport()> PermissionCommand::redoWork()
{
    return [changes = m_changes] {
        return reportOf(changes, PermissionChange::replay(changes, true));
    };
}
