#pragma once

#include "operations/FileOperationManager.h"

#include <QObject>
#include <filesystem>
#include <memory>
#include <vector>

class PaneView;
class QMimeData;
class QPersistentModelIndex;
struct RenameSelection;

// The file commands of one pane (clipboard, Trash, delete, rename, new items,
// duplicate, transfers and drops), handed to the operation manager with a
// prompter on the pane's window. Selects what an operation produced.
class PaneFileActions : public QObject {
    Q_OBJECT
public:
    explicit PaneFileActions(PaneView& pane);

    // Opens files with their default applications; failures become alerts.
    void openFiles(const std::vector<std::filesystem::path>& files);
    void copyToClipboard(bool cut);
    bool canPaste() const;
    // A plain paste copies, or moves what was cut; `forceMove` is "ここに移動".
    void paste(bool forceMove);
    void moveToTrash();
    void deleteImmediately();
    void rename(const FileItem& item, const QString& newName);
    // The inline editor of the list finished on this row.
    void renameRow(const QPersistentModelIndex& index, const QString& newName);
    void newFolder();
    void newFile();
    void duplicate();
    // The bulk rename sheet for the selected items of one folder.
    void bulkRename();
    void makeSymbolicLinks();
    void compress();
    // Each selected archive is expanded beside itself.
    void expand();
    bool canMakeLinks() const;
    bool canExpand() const;
    // Into `folder`, selecting the results in `selectIn` when given.
    void transfer(std::vector<FileItem> items, const std::filesystem::path& folder,
                  TransferMode mode, PaneView* selectIn);
    // F5 and F6: asks first while "confirmPaneTransfer" is on.
    void transferToPane(PaneView& other, TransferMode mode);
    // Files dropped on this pane, into `folder`.
    void drop(const QMimeData& data, const std::filesystem::path& folder, Qt::DropAction action);

private:
    using CreateCall = void (FileOperationManager::*)(const std::filesystem::path&,
                                                      FileOperationManager::PrompterRef,
                                                      FileOperationManager::PathDone);
    void createItem(CreateCall create);
    std::shared_ptr<Prompter> prompter() const;
    void openBulkRename(const RenameSelection& selection);
    // The selected items that share the first one's folder.
    std::vector<FileItem> selectedInOneFolder() const;
    bool showsFolder() const;

    PaneView& m_pane;
};
