#pragma once

#include "operations/Alert.h"
#include "platform/FileIdentity.h"
#include "platform/ModeChanges.h"
#include "platform/Trash.h"

#include <QObject>
#include <QString>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

class QThreadPool;
class QUndoCommand;
class QUndoStack;
struct UndoReport;

enum class TransferMode { copy, move };

// An item as the user saw it: the operation refuses it when the path now names
// another file (device and inode changed).
struct FileItem {
    std::filesystem::path path;
    std::optional<FileIdentity> identity;
};

// What one finished copy or move did, for undo.
struct TransferRecord {
    TransferMode mode = TransferMode::copy;
    std::filesystem::path destinationFolder;
    std::vector<std::pair<std::filesystem::path, std::filesystem::path>>
        pairs;                         // source, destination
    std::vector<TrashedItem> replaced; // items moved to the Trash to make room
};

// Every change to the file system that a person asks for goes through here: it
// asks the questions (through a Prompter), runs the file work on the thread pool,
// shows long transfers in the operations store, and registers undo. Public calls
// are made on the main thread and answer through their callbacks.
class FileOperationManager : public QObject {
    Q_OBJECT
public:
    using Paths = std::vector<std::filesystem::path>;
    using PathsDone = std::function<void(Paths)>;
    using PathDone = std::function<void(std::optional<std::filesystem::path>)>;
    using PrompterRef = std::shared_ptr<Prompter>;

    explicit FileOperationManager(QObject* parent = nullptr);
    ~FileOperationManager() override;
    static FileOperationManager& shared();

    // One undo history for the whole application.
    QUndoStack& undoStack() const { return *m_undoStack; }
    // Where undo and redo report their failures (there is no window then).
    void setFallbackPrompter(PrompterRef prompter) { m_fallbackPrompter = std::move(prompter); }

    // Asks while "confirmPaneTransfer" is on; answers true at once when it is off.
    void confirmTransfer(int count, const std::filesystem::path& destination, TransferMode mode,
                         PrompterRef prompter, std::function<void(bool)> done);
    // Answers the destinations created (empty when nothing was done).
    void transfer(std::vector<FileItem> sources, const std::filesystem::path& destinationFolder,
                  TransferMode mode, PrompterRef prompter, PathsDone done = {});
    // Both answer the paths of the items that left their place.
    void moveToTrash(std::vector<FileItem> items, PrompterRef prompter, PathsDone done = {});
    void deletePermanently(std::vector<FileItem> items, PrompterRef prompter, PathsDone done = {});
    void rename(const FileItem& item, const QString& newName, PrompterRef prompter,
                PathDone done = {});
    void createFolder(const std::filesystem::path& folder, PrompterRef prompter,
                      PathDone done = {});
    void createFile(const std::filesystem::path& folder, PrompterRef prompter, PathDone done = {});
    // (item, new name as storable text) pairs, all in one folder. Answers the new paths.
    void bulkRename(std::vector<std::pair<FileItem, QString>> pairs, PrompterRef prompter,
                    PathsDone done = {});
    // Answer the archive, or what the expansion made.
    void compress(std::vector<FileItem> items, PrompterRef prompter, PathDone done = {});
    void expand(const FileItem& archive, PrompterRef prompter, PathDone done = {});
    // " のリンク" links to the items in `folder`; answers the links made.
    void makeSymbolicLinks(std::vector<FileItem> items, const std::filesystem::path& folder,
                           PrompterRef prompter, PathsDone done = {});
    // Sets permission bits, folders' contents too when asked; what could not be
    // changed is reported through the prompter. Answers what was done.
    void changePermissions(ModeChanges::Request request, PrompterRef prompter,
                           std::function<void(ModeChanges::Outcome)> done = {});
    // Points a symbolic link at another target; answers whether it was done.
    void changeLinkTarget(const std::filesystem::path& link, const std::filesystem::path& target,
                          PrompterRef prompter, std::function<void(bool)> done = {});

Q_SIGNALS:
    // Folders whose contents changed (by an operation, an undo or a redo), so that
    // panes showing them re-read them.
    void foldersChanged(const std::vector<std::filesystem::path>& folders);
    // Items that a rename, a move, or the undo or redo of one took elsewhere
    // (from, to), so that what is kept by path (tags) follows them.
    void
    itemsMoved(const std::vector<std::pair<std::filesystem::path, std::filesystem::path>>& moves);

private:
    PrompterRef prompterFor(PrompterRef prompter) const;
    void transferFinished(const TransferRecord& record, const PathsDone& done);
    void trashFinished(std::vector<TrashedItem> trashed, std::vector<FileItem> withoutTrash,
                       std::vector<Alert> failures, PrompterRef prompter, PathsDone done);
    void askDeletionWithoutTrash(std::vector<FileItem> items, std::vector<FileItem> confirmed,
                                 PrompterRef prompter, std::function<void(Paths)> done);
    void removeItems(std::vector<FileItem> items, PrompterRef prompter, PathsDone done);
    void createItem(const std::filesystem::path& folder, bool isDirectory, PrompterRef prompter,
                    PathDone done);
    void madeByArchive(const std::optional<std::filesystem::path>& made, const QString& actionName,
                       const PathDone& done);
    // Undo entries are pushed after their work is done (their first redo does nothing).
    void pushUndo(QUndoCommand* command);
    // Runs undo and redo work in order on a one-thread pool, then reports it.
    void runUndoWork(std::function<UndoReport()> work);

    QUndoStack* m_undoStack = nullptr;
    QThreadPool* m_undoPool = nullptr;
    PrompterRef m_fallbackPrompter;
};
