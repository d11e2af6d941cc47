#include "browser/pane/PaneFileActions.h"

#include "browser/operations/DialogPrompter.h"
#include "browser/pane/FileListModel.h"
#include "browser/pane/PaneView.h"
#include "core/PathText.h"
#include "operations/FileClipboard.h"
#include "platform/DefaultApplication.h"
#include "tags/TagStore.h"

#include <QPointer>
#include <QtConcurrent>

namespace fs = std::filesystem;

namespace {

FileOperationManager& manager()
{
    return FileOperationManager::shared();
}

std::vector<FileItem> itemsFor(const std::vector<fs::path>& paths)
{
    std::vector<FileItem> items;
    for (const fs::path& path : paths)
        items.push_back(FileItem{path, std::nullopt});
    return items;
}

} // namespace

PaneFileActions::PaneFileActions(PaneView& pane)
    : QObject(&pane)
    , m_pane(pane)
{
}

std::shared_ptr<Prompter> PaneFileActions::prompter() const
{
    return std::make_shared<DialogPrompter>(m_pane.window());
}

bool PaneFileActions::showsFolder() const
{
    return m_pane.location().isFolder();
}

void PaneFileActions::openFiles(const std::vector<fs::path>& files)
{
    for (const fs::path& file : files) {
        // Launching may wait on D-Bus activation; keep it off the main thread.
        QtConcurrent::run([file] {
            return DefaultApplication::open(file);
        }).then(this, [this](std::expected<void, QString> result) {
            if (result)
                return;
            Alert alert;
            alert.message = result.error();
            alert.buttons = {QStringLiteral("OK")};
            prompter()->present(alert, {});
        });
    }
}

void PaneFileActions::copyToClipboard(bool cut)
{
    const std::vector<fs::path> paths = m_pane.selectedPaths();
    if (!paths.empty())
        FileClipboard::write(paths, cut);
}

bool PaneFileActions::canPaste() const
{
    return showsFolder() && FileClipboard::hasFiles();
}

void PaneFileActions::paste(bool forceMove)
{
    if (!canPaste())
        return;
    const bool cut = FileClipboard::isCut();
    const TransferMode mode = forceMove || cut ? TransferMode::move : TransferMode::copy;
    std::vector<FileItem> items = itemsFor(FileClipboard::filePaths());
    // A cut is used up by its paste, so a second paste cannot move the items again.
    if (cut)
        FileClipboard::clear();
    transfer(std::move(items), m_pane.location().path(), mode, &m_pane);
}

void PaneFileActions::transfer(std::vector<FileItem> items, const fs::path& folder,
                               TransferMode mode, PaneView* selectIn)
{
    if (items.empty())
        return;
    QPointer<PaneView> target = selectIn;
    manager().transfer(std::move(items), folder, mode, prompter(), [target](auto paths) {
        if (target)
            target->selectWhenListed(std::move(paths));
    });
}

void PaneFileActions::transferToPane(PaneView& other, TransferMode mode)
{
    std::vector<FileItem> items = m_pane.selectedItems();
    if (items.empty() || !other.location().isFolder())
        return;
    const fs::path folder = other.location().path();
    QPointer<PaneView> target = &other;
    QPointer<PaneFileActions> self = this;
    manager().confirmTransfer(int(items.size()), folder, mode, prompter(),
                              [self, items, folder, mode, target](bool go) {
                                  if (go && target && self)
                                      self->transfer(items, folder, mode, target);
                              });
}

void PaneFileActions::moveToTrash()
{
    std::vector<FileItem> items = m_pane.selectedItems();
    if (!items.empty())
        manager().moveToTrash(std::move(items), prompter());
}

void PaneFileActions::deleteImmediately()
{
    std::vector<FileItem> items = m_pane.selectedItems();
    if (!items.empty())
        manager().deletePermanently(std::move(items), prompter());
}

void PaneFileActions::rename(const FileItem& item, const QString& newName)
{
    QPointer<PaneView> pane = &m_pane;
    manager().rename(item, newName, prompter(), [pane](std::optional<fs::path> renamed) {
        if (pane && renamed)
            pane->selectWhenListed({*renamed});
    });
}

void PaneFileActions::renameRow(const QPersistentModelIndex& index, const QString& newName)
{
    if (!index.isValid())
        return;
    const FileEntry& entry = m_pane.model()->nodeForIndex(index)->entry;
    if (newName != entry.name())
        rename(FileItem{entry.path(), entry.identity}, newName);
}

void PaneFileActions::newFolder()
{
    createItem(&FileOperationManager::createFolder);
}

void PaneFileActions::newFile()
{
    createItem(&FileOperationManager::createFile);
}

void PaneFileActions::createItem(CreateCall create)
{
    if (!showsFolder())
        return;
    // The new item is selected and renamed in place as soon as the listing shows it.
    QPointer<PaneView> pane = &m_pane;
    (manager().*create)(m_pane.location().path(), prompter(), [pane](std::optional<fs::path> made) {
        if (pane && made)
            pane->selectWhenListed({*made}, true);
    });
}

void PaneFileActions::duplicate()
{
    // Copying an item into its own folder makes a " のコピー" duplicate beside it.
    std::vector<FileItem> items = m_pane.selectedItems();
    if (items.empty())
        return;
    const fs::path folder = PathText::parent(items.front().path);
    std::erase_if(items,
                  [&](const FileItem& item) { return PathText::parent(item.path) != folder; });
    transfer(std::move(items), folder, TransferMode::copy, &m_pane);
}

void PaneFileActions::drop(const QMimeData& data, const fs::path& folder, Qt::DropAction action)
{
    const std::vector<fs::path> paths = FileClipboard::pathsIn(data);
    if (paths.empty())
        return;
    if (folder.empty() && m_pane.location().isTag()) {
        // Onto a tag location itself: the items get the tag and stay where they are.
        TagStore::shared().assign(m_pane.location().tagId(), paths);
        return;
    }
    const TransferMode mode = action == Qt::MoveAction ? TransferMode::move : TransferMode::copy;
    transfer(itemsFor(paths), folder, mode, &m_pane);
}
