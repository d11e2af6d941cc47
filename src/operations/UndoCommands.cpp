#include "operations/UndoCommands.h"

#include "core/PathText.h"
#include "operations/FileOperation.h"
#include "operations/OperationAlerts.h"
#include "operations/TransferSteps.h"
#include "platform/FileCopierLinks.h"

#include <algorithm>

namespace fs = std::filesystem;

namespace {

void addFolder(std::vector<fs::path>& folders, const fs::path& folder)
{
    if (std::find(folders.begin(), folders.end(), folder) == folders.end())
        folders.push_back(folder);
}

void noteFailure(UndoReport& report, const fs::path& path, const Error& error, bool undoing)
{
    const QString name = PathText::displayName(path);
    report.failures.push_back(undoing ? OperationAlerts::undoFailed(name, error)
                                      : OperationAlerts::redoFailed(name, error));
}

// A copy goes to the Trash (never deleted outright); a move goes back.
Result<void> undoOne(TransferMode mode, const fs::path& source, const fs::path& destination,
                     CopiedLinks& links)
{
    if (mode == TransferMode::copy) {
        auto trashed = Trash::moveToTrash(destination);
        if (!trashed)
            return std::unexpected(trashed.error());
        return {};
    }
    TransferProgress progress;
    return TransferSteps::transferItem(destination, source, TransferMode::move, progress, &links);
}

} // namespace

std::vector<fs::path> touchedFolders(const TransferRecord& record)
{
    std::vector<fs::path> folders{record.destinationFolder};
    if (record.mode == TransferMode::move) {
        for (const auto& pair : record.pairs)
            addFolder(folders, PathText::parent(pair.first));
    }
    return folders;
}

FileUndoCommand::FileUndoCommand(const QString& actionName, UndoRunner run)
    : m_run(std::move(run))
{
    setText(actionName);
}

void FileUndoCommand::undo()
{
    m_run(undoWork());
}

void FileUndoCommand::redo()
{
    if (m_alreadyDone) {
        m_alreadyDone = false;
        return;
    }
    m_run(redoWork());
}

TransferCommand::TransferCommand(TransferRecord record, UndoRunner run)
    : FileUndoCommand(OperationAlerts::verb(record.mode), std::move(run))
    , m_record(std::make_shared<TransferRecord>(std::move(record)))
{
}

std::function<UndoReport()> TransferCommand::undoWork()
{
    return [record = m_record] {
        UndoReport report{touchedFolders(*record), {}};
        CopiedLinks links; // hard links among the items stay links on the way back
        for (const auto& [source, destination] : record->pairs) {
            if (auto done = undoOne(record->mode, source, destination, links); !done)
                noteFailure(report, destination, done.error(), true);
            else if (record->mode == TransferMode::move)
                report.moves.emplace_back(destination, source);
        }
        for (const TrashedItem& item : record->replaced) {
            if (auto restored = Trash::restore(item); !restored)
                noteFailure(report, item.original, restored.error(), true);
        }
        return report;
    };
}

std::function<UndoReport()> TransferCommand::redoWork()
{
    return [record = m_record] {
        UndoReport report{touchedFolders(*record), {}};
        for (TrashedItem& item : record->replaced) {
            if (auto trashed = Trash::moveToTrash(item.original))
                item = *trashed;
            else
                noteFailure(report, item.original, trashed.error(), false);
        }
        CopiedLinks links;
        for (const auto& [source, destination] : record->pairs) {
            TransferProgress progress;
            if (auto done = TransferSteps::transferItem(source, destination, record->mode, progress,
                                                        &links);
                !done)
                noteFailure(report, source, done.error(), false);
            else if (record->mode == TransferMode::move)
                report.moves.emplace_back(source, destination);
        }
        return report;
    };
}

TrashCommand::TrashCommand(std::vector<TrashedItem> items, UndoRunner run)
    : FileUndoCommand(QStringLiteral("ゴミ箱に入れる"), std::move(run))
    , m_items(std::make_shared<std::vector<TrashedItem>>(std::move(items)))
{
}

std::function<UndoReport()> TrashCommand::undoWork()
{
    return [items = m_items] {
        UndoReport report;
        for (const TrashedItem& item : *items) {
            addFolder(report.folders, PathText::parent(item.original));
            if (auto restored = Trash::restore(item); !restored)
                noteFailure(report, item.original, restored.error(), true);
        }
        return report;
    };
}

std::function<UndoReport()> TrashCommand::redoWork()
{
    return [items = m_items] {
        UndoReport report;
        for (TrashedItem& item : *items) {
            addFolder(report.folders, PathText::parent(item.original));
            if (auto trashed = Trash::moveToTrash(item.original))
                item = *trashed;
            else
                noteFailure(report, item.original, trashed.error(), false);
        }
        return report;
    };
}

RenameCommand::RenameCommand(fs::path from, fs::path to, UndoRunner run)
    : FileUndoCommand(QStringLiteral("名前の変更"), std::move(run))
    , m_from(std::move(from))
    , m_to(std::move(to))
{
}

std::function<UndoReport()> RenameCommand::undoWork()
{
    return [from = m_to, to = m_from] {
        UndoReport report{{PathText::parent(to)}, {}};
        if (auto done = TransferSteps::renameItem(from, to); !done)
            noteFailure(report, from, done.error(), true);
        else
            report.moves.emplace_back(from, to);
        return report;
    };
}

std::function<UndoReport()> RenameCommand::redoWork()
{
    return [from = m_from, to = m_to] {
        UndoReport report{{PathText::parent(to)}, {}};
        if (auto done = TransferSteps::renameItem(from, to); !done)
            noteFailure(report, from, done.error(), false);
        else
            report.moves.emplace_back(from, to);
        return report;
    };
}

CreationCommand::CreationCommand(std::vector<fs::path> paths, const QString& actionName,
                                 UndoRunner run)
    : FileUndoCommand(actionName, std::move(run))
    , m_paths(std::move(paths))
    , m_trashed(std::make_shared<std::vector<TrashedItem>>())
{
}

std::function<UndoReport()> CreationCommand::undoWork()
{
    return [paths = m_paths, trashed = m_trashed] {
        UndoReport report;
        for (const fs::path& path : paths) {
            report.folders.push_back(PathText::parent(path));
            if (auto done = Trash::moveToTrash(path))
                trashed->push_back(*done);
            else
                noteFailure(report, path, done.error(), true);
        }
        return report;
    };
}

// Brings back what the undo trashed (an item whose undo failed never left).
std::function<UndoReport()> CreationCommand::redoWork()
{
    return [trashed = m_trashed] {
        UndoReport report;
        for (const TrashedItem& item : *trashed) {
            report.folders.push_back(PathText::parent(item.original));
            if (auto done = Trash::restore(item); !done)
                noteFailure(report, item.original, done.error(), false);
        }
        trashed->clear();
        return report;
    };
}
