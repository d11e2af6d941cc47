#include "operations/BulkRenameCommand.h"

#include "core/PathText.h"
#include "operations/OperationAlerts.h"

#include <algorithm>

namespace fs = std::filesystem;
using Pair = BulkRenamer::Pair;

namespace {

UndoReport renameAll(const std::vector<Pair>& pairs, bool undoing)
{
    UndoReport report;
    for (const auto& [from, to] : pairs) {
        const fs::path folder = PathText::parent(from);
        if (std::find(report.folders.begin(), report.folders.end(), folder) == report.folders.end())
            report.folders.push_back(folder);
    }
    const auto done = BulkRenamer::apply(pairs, RenameJournal::shared());
    if (!done) {
        const auto& failure = done.error();
        report.failures.push_back(undoing
                                      ? OperationAlerts::undoFailed(failure.name, failure.error)
                                      : OperationAlerts::redoFailed(failure.name, failure.error));
        return report;
    }
    for (const auto& [from, to] : pairs) {
        if (from != to)
            report.moves.emplace_back(from, to);
    }
    return report;
}

} // namespace

BulkRenameCommand::BulkRenameCommand(std::vector<Pair> pairs, UndoRunner run)
    : FileUndoCommand(QStringLiteral("名前の変更"), std::move(run))
    , m_pairs(std::make_shared<const std::vector<Pair>>(std::move(pairs)))
{
}

std::function<UndoReport()> BulkRenameCommand::undoWork()
{
    return [pairs = m_pairs] {
        std::vector<Pair> reversed;
        reversed.reserve(pairs->size());
        for (const auto& [from, to] : *pairs)
            reversed.emplace_back(to, from);
        return renameAll(reversed, true);
    };
}

std::function<UndoReport()> BulkRenameCommand::redoWork()
{
    return [pairs = m_pairs] { return renameAll(*pairs, false); };
}
