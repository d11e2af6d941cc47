#include "browser/pane/PaneFileActions.h"

#include "browser/operations/BulkRenameDialog.h"
#include "browser/operations/DialogPrompter.h"
#include "browser/pane/FileListModel.h"
#include "browser/pane/PaneView.h"
#include "core/PathText.h"
#include "operations/ArchiveKinds.h"
#include "operations/FileClipboard.h"
#include "operations/OperationAlerts.h"
#include "operations/RenameSelection.h"
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

using OpenFailures = std::vector<std::pair<fs::path, DefaultApplication::OpenFailure>>;

// The names shown per reason; a longer list ends with how many more there are.
constexpr qsizetype kNamesShown = 10;

// One paragraph per reason, naming every file it stopped: "「a」、「b」を開けませんでした。"
// and the reason on the next line.
QString openFailureMessage(const OpenFailures& failures)
{
    std::vector<std::pair<QString, QStringList>> byReason;
    for (const auto& [path, failure] : failures) {
        const QString reason =
            failure.noApplication
                ? QStringLiteral("この種類のファイルを開くアプリケーションが登録されていません。")
                : failure.detail;
        auto group = std::find_if(byReason.begin(), byReason.end(),
                                  [&](const auto& g) { return g.first == reason; });
        if (group == byReason.end())
            group = byReason.insert(byReason.end(), {reason, {}});
        group->second.append(QStringLiteral("「") + PathText::displayName(path) +
                             QStringLiteral("」"));
    }
    QStringList paragraphs;
    for (const auto& [reason, names] : byReason) {
        QString list = names.mid(0, kNamesShown).join(QStringLiteral("、"));
        if (names.size() > kNamesShown)
            list += QStringLiteral("、ほか %1 項目").arg(names.size() - kNamesShown);
        paragraphs.append(list + QStringLiteral("を開けませんでした。\n") + reason);
    }
    return paragraphs.join(QStringLiteral("\n\n"));
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
    if (files.empty())
        return;
    // Launching may wait on D-Bus activation; keep it off the main thread. The
    // failures of one request share one alert.
    QtConcurrent::run([files] {
        OpenFailures failures;
        for (const fs::path& file : files) {
            if (auto opened = DefaultApplication::open(file); !opened)
                failures.emplace_back(file, opened.error());
        }
        return failures;
    }).then(this, [this](const OpenFailures& failures) {
        if (failures.empty())
            return;
        Alert alert;
        alert.message = openFailureMessage(failures);
        alert.buttons = {QStringLiteral("OK")};
        prompter()->present(alert, {});
    });
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

std::vector<FileItem> PaneFileActions::selectedInOneFolder() const
{
    std::vector<FileItem> items = m_pane.selectedItems();
    if (!items.empty()) {
        const fs::path folder = PathText::parent(items.front().path);
        std::erase_if(items,
                      [&](const FileItem& item) { return PathText::parent(item.path) != folder; });
    }
    return items;
}

void PaneFileActions::bulkRename()
{
    std::vector<fs::path> paths;
    for (const FileItem& item : selectedInOneFolder())
        paths.push_back(item.path);
    if (paths.empty())
        return;
    QtConcurrent::run([paths] {
        return RenameSelection::read(paths);
    }).then(this, [this](const Result<RenameSelection>& selection) {
        if (selection)
            openBulkRename(*selection);
        else
            OperationAlerts::presentInOrder(
                prompter(), {OperationAlerts::renameFailed(
                                PathText::displayName(selection.error().path), selection.error())});
    });
}

void PaneFileActions::openBulkRename(const RenameSelection& selection)
{
    if (selection.items.empty())
        return;
    // The identities seen now guard against items replaced while the sheet is open.
    std::map<fs::path, FileItem> shown;
    for (const FileItem& item : m_pane.selectedItems())
        shown.emplace(item.path, item);
    auto* dialog = new BulkRenameDialog(selection.items, selection.otherNames, m_pane.window());
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowModality(Qt::WindowModal);
    QPointer<PaneView> pane = &m_pane;
    connect(dialog, &BulkRenameDialog::applyRequested, this,
            [this, shown, pane](const BulkRenameDialog::Pairs& pairs) {
                std::vector<std::pair<FileItem, QString>> renames;
                for (const auto& [path, newName] : pairs) {
                    const auto found = shown.find(path);
                    renames.emplace_back(found != shown.end() ? found->second : FileItem{path, {}},
                                         newName);
                }
                manager().bulkRename(std::move(renames), prompter(), [pane](auto renamed) {
                    if (pane)
                        pane->selectWhenListed(std::move(renamed));
                });
            });
    dialog->open();
}

bool PaneFileActions::canMakeLinks() const
{
    return showsFolder() && !m_pane.selectedPaths().empty();
}

void PaneFileActions::makeSymbolicLinks()
{
    std::vector<FileItem> items = m_pane.selectedItems();
    if (items.empty() || !showsFolder())
        return;
    QPointer<PaneView> pane = &m_pane;
    manager().makeSymbolicLinks(std::move(items), m_pane.location().path(), prompter(),
                                [pane](auto links) {
                                    if (pane)
                                        pane->selectWhenListed(std::move(links));
                                });
}

void PaneFileActions::compress()
{
    std::vector<FileItem> items = selectedInOneFolder();
    if (items.empty())
        return;
    QPointer<PaneView> pane = &m_pane;
    manager().compress(std::move(items), prompter(), [pane](std::optional<fs::path> archive) {
        if (pane && archive)
            pane->selectWhenListed({*archive});
    });
}

bool PaneFileActions::canExpand() const
{
    const std::vector<fs::path> paths = m_pane.selectedPaths();
    return !paths.empty() && std::ranges::all_of(paths, ArchiveKinds::isExpandable);
}

void PaneFileActions::expand()
{
    if (!canExpand())
        return;
    QPointer<PaneView> pane = &m_pane;
    for (const FileItem& archive : m_pane.selectedItems()) {
        manager().expand(archive, prompter(), [pane](std::optional<fs::path> made) {
            if (pane && made)
                pane->selectWhenListed({*made});
        });
    }
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
