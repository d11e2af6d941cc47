#pragma once

#include "operations/Alert.h"
#include "operations/FileOperationManager.h"

#include <QUndoCommand>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

// What one undo or redo did, reported on the main thread afterwards.
struct UndoReport {
    std::vector<std::filesystem::path> folders; // whose contents changed
    std::vector<Alert> failures;
    // Items that moved (from, to), so that what follows them (tags) can.
    std::vector<std::pair<std::filesystem::path, std::filesystem::path>> moves = {};
};

// Runs undo and redo work off the main thread, one piece after another, then
// reports it. Supplied by the manager.
using UndoRunner = std::function<void(std::function<UndoReport()>)>;

// The folders a transfer (or its undo) changes.
std::vector<std::filesystem::path> touchedFolders(const TransferRecord& record);

// An undo entry pushed after its work is done: the redo that QUndoStack::push
// calls is skipped; later redos do the work again.
class FileUndoCommand : public QUndoCommand {
public:
    FileUndoCommand(const QString& actionName, UndoRunner run);
    void undo() final;
    void redo() final;

protected:
    virtual std::function<UndoReport()> undoWork() = 0;
    virtual std::function<UndoReport()> redoWork() = 0;

private:
    UndoRunner m_run;
    bool m_alreadyDone = true;
};

// Undo: a copy's destinations go to the Trash, a move's go back to their sources,
// then the replaced items come back. Redo: the same transfer again.
class TransferCommand : public FileUndoCommand {
public:
    TransferCommand(TransferRecord record, UndoRunner run);

protected:
    std::function<UndoReport()> undoWork() override;
    std::function<UndoReport()> redoWork() override;

private:
    // Shared with the work so that a redo can record where the Trash put things.
    std::shared_ptr<TransferRecord> m_record;
};

class TrashCommand : public FileUndoCommand {
public:
    TrashCommand(std::vector<TrashedItem> items, UndoRunner run);

protected:
    std::function<UndoReport()> undoWork() override;
    std::function<UndoReport()> redoWork() override;

private:
    std::shared_ptr<std::vector<TrashedItem>> m_items;
};

class RenameCommand : public FileUndoCommand {
public:
    RenameCommand(std::filesystem::path from, std::filesystem::path to, UndoRunner run);

protected:
    std::function<UndoReport()> undoWork() override;
    std::function<UndoReport()> redoWork() override;

private:
    std::filesystem::path m_from;
    std::filesystem::path m_to;
};

// Undo sends the new item to the Trash; redo brings that same item back. For new
// folders and files, archives, what an expansion made and links.
class CreationCommand : public FileUndoCommand {
public:
    CreationCommand(std::vector<std::filesystem::path> paths, const QString& actionName,
                    UndoRunner run);

protected:
    std::function<UndoReport()> undoWork() override;
    std::function<UndoReport()> redoWork() override;

private:
    std::vector<std::filesystem::path> m_paths;
    std::shared_ptr<std::vector<TrashedItem>> m_trashed;
};
