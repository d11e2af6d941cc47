#include "browser/pane/PaneView.h"

#include "browser/menus/ActionRouter.h"
#include "browser/pane/FileListModel.h"
#include "browser/pane/FilterBar.h"
#include "browser/pane/NameDelegate.h"
#include "browser/pane/PaneContextMenu.h"
#include "browser/pane/PaneFileActions.h"
#include "browser/pane/PaneFilter.h"
#include "browser/pane/PaneInsight.h"
#include "browser/pane/PaneStatusBar.h"
#include "browser/pane/PathBar.h"
#include "browser/pane/TagsDelegate.h"
#include "browser/preview/PanePreview.h"
#include "core/PathText.h"
#include "core/Preferences.h"
#include "files/DirectoryReader.h"
#include "files/FileColumn.h"
#include "files/FileNode.h"
#include "files/PaneState.h"
#include "palette/FolderHistory.h"
#include "tags/TagLocationReader.h"
#include "tags/TagStore.h"

#include <QApplication>
#include <QHeaderView>
#include <QLabel>
#include <QStackedWidget>
#include <QVBoxLayout>
#include <QtConcurrent>

namespace fs = std::filesystem;

namespace {

constexpr int kPendingSelectionMs = 5000;

FileEntry rootEntry(const Location& location)
{
    // Built without touching the disk; the reading fills in the children.
    FileEntry entry;
    entry.setPath(location.path());
    entry.setName(location.displayName());
    entry.isFolder = true;
    return entry;
}

} // namespace

PaneView::PaneView(const Location& location, QWidget* parent)
    : QWidget(parent)
    , m_state(new PaneState(location, this))
    , m_model(new FileListModel(this))
    , m_insight(new PaneInsight(*m_state, *m_model, this))
{
    m_sort = Preferences::shared().sort();
    m_showHidden = Preferences::shared().showHiddenFiles();
    m_folderSizes = Preferences::shared().calculateFolderSizes();
    buildWidgets();
    connectSignals();
    navigate(location, std::nullopt, false);
}

PaneView::~PaneView() = default;

void PaneView::buildWidgets()
{
    m_pathBar = new PathBar(this);
    m_list = new FileTreeView(*this, this);
    m_list->setModel(m_model);
    auto* nameDelegate = new NameDelegate(m_list);
    m_list->setItemDelegateForColumn(0, nameDelegate);
    m_list->setItemDelegateForColumn(int(FileSortKey::tags), new TagsDelegate(m_list));
    m_fileActions = new PaneFileActions(*this);
    new PaneContextMenu(*this);
    connect(nameDelegate, &NameDelegate::renameRequested, m_fileActions,
            &PaneFileActions::renameRow);
    for (size_t i = 0; i < kFileColumns.size(); ++i)
        m_list->setColumnWidth(int(i), kFileColumns[i].initialWidth);
    m_list->header()->setMinimumSectionSize(50);
    m_errorLabel = new QLabel(this);
    m_errorLabel->setAlignment(Qt::AlignCenter);
    m_errorLabel->setWordWrap(true);
    m_errorLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_stack = new QStackedWidget(this);
    m_stack->addWidget(m_list);
    m_stack->addWidget(m_errorLabel);
    m_filter = new PaneFilter(*this);
    m_statusBar = new PaneStatusBar(*m_state, this);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_pathBar);
    layout->addWidget(m_filter->bar());
    m_preview = new PanePreview(*this, m_stack, this);
    layout->addWidget(m_preview, 1);
    layout->addWidget(m_statusBar);
    setFocusProxy(m_list);
    m_list->showSort(m_sort);
}

void PaneView::connectSignals()
{
    connect(m_model, &FileListModel::folderNeedsReading, this, &PaneView::startReading);
    connect(m_model, &FileListModel::filesDropped, this,
            [this](const QMimeData& data, const fs::path& folder, Qt::DropAction action) {
                m_fileActions->drop(data, folder, action);
            });
    connect(&FileOperationManager::shared(), &FileOperationManager::foldersChanged, this,
            &PaneView::reloadFolders);
    connect(m_list, &QTreeView::doubleClicked, this, [this] { openSelection(); });
    connect(m_list->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
        m_state->setSelectedCount(int(m_list->selectionModel()->selectedRows().size()));
    });
    connect(m_list->header(), &QHeaderView::sectionClicked, this, &PaneView::headerClicked);
    connect(&Preferences::shared(), &Preferences::displayPreferencesChanged, this,
            &PaneView::preferencesChanged);
    connect(m_pathBar, &PathBar::segmentClicked, this,
            [this](const fs::path& folder) { navigate(Location::folder(folder), std::nullopt); });
    connect(m_pathBar, &PathBar::locationEntered, this,
            [this](const Location& target, const std::optional<fs::path>& select) {
                navigate(target, select);
            });
    connect(m_pathBar, &PathBar::editingFinished, this, [this](bool focus) {
        m_state->setEditingPath(false);
        if (focus)
            focusList();
    });
    connect(m_insight, &PaneInsight::foldersChanged, this, &PaneView::reloadFolders);
    connect(m_insight, &PaneInsight::locationRemoved, this, &PaneView::relocate);
    connect(&TagStore::shared(), &TagStore::tagsChanged, this, &PaneView::tagsChanged);
    connect(m_state, &PaneState::isActiveChanged, this, &PaneView::updateActiveMark);
    connect(m_state, &PaneState::isInSplitChanged, this, &PaneView::updateActiveMark);
}

void PaneView::updateActiveMark()
{
    // With several panes, a coloured path bar marks where the keys go.
    m_pathBar->setMarked(m_state->isInSplit() && m_state->isActive());
}

const Location& PaneView::location() const
{
    return m_state->location();
}

void PaneView::navigate(const Location& target, const std::optional<fs::path>& select,
                        bool recordHistory)
{
    if (recordHistory) {
        NavigationHistory history = m_state->history();
        history.visit(target);
        m_state->setHistory(history);
        if (target.isFolder())
            FolderHistory::shared().visit(target.path(), QDateTime::currentDateTimeUtc());
    }
    ++m_generation;
    m_latestRead.clear();
    m_model->setRoot(rootEntry(target));
    m_pendingSelection.reset();
    m_relocateAfterReading.reset();
    m_rootWasRead = false;
    if (select)
        m_pendingSelection = PendingSelection{
            {PathText::standardized(*select)}, QDeadlineTimer(kPendingSelectionMs), false};
    m_state->setItemCount(0);
    m_state->setSelectedCount(0);
    m_state->setEditingPath(false);
    if (m_state->isFiltering())
        endFilter(false);
    m_state->setError(std::nullopt);
    m_stack->setCurrentWidget(m_list);
    m_pathBar->setLocation(target);
    if (target.isFolder()) {
        m_insight->start(target.path());
        refreshCapacity();
    } else {
        // A tag location has no watcher, no parent and no free space.
        m_insight->stop();
        m_state->setAvailableCapacity(std::nullopt);
    }
    startReading(m_model->root());
    Q_EMIT locationChanged();
}

void PaneView::startReading(FileNode* folder)
{
    const uint64_t generation = m_generation;
    const uint64_t sequence = ++m_readSequence;
    const fs::path path = folder->entry.path();
    m_latestRead[path.native()] = sequence;
    if (folder == m_model->root())
        m_state->setLoading(true);
    auto reading =
        folder == m_model->root() && location().isTag()
            ? TagLocationReader::readInBackground(TagStore::shared().urls(location().tagId(), true))
            : DirectoryReader::readInBackground(path, m_showHidden);
    reading.then(this, [this, generation, sequence, path](Result<DirectoryReader::Listing> result) {
        finishReading(generation, sequence, path, std::move(result));
    });
}

void PaneView::finishReading(uint64_t generation, uint64_t sequence, const fs::path& folder,
                             Result<DirectoryReader::Listing> result)
{
    // A reading overtaken by a navigation, or by a newer reading of the same folder,
    // never shows its result.
    if (generation != m_generation)
        return;
    const auto latest = m_latestRead.find(folder.native());
    if (latest == m_latestRead.end() || latest->second != sequence)
        return;
    m_latestRead.erase(latest);
    FileNode* root = m_model->root();
    FileNode* node = root->entry.path() == folder ? root : root->findByPath(folder);
    if (!node) {
        m_model->forgetReading(folder);
        return;
    }
    if (result) {
        m_model->applyReading(node, std::move(result->nodes), m_sort);
        m_insight->folderRead(node);
    } else
        m_model->applyFailure(node);
    if (node == root)
        finishRootReading(folder, result ? nullptr : &result.error());
    applyPendingSelection();
    // Rows that vanished take their selection with them without a selection signal.
    m_state->setSelectedCount(int(m_list->selectionModel()->selectedRows().size()));
}

void PaneView::finishRootReading(const fs::path& folder, const Error* error)
{
    m_state->setLoading(false);
    m_state->setItemCount(int(m_model->root()->children().size()));
    m_state->setVisibleCount(m_model->visibleTopLevelCount());
    if (location().isTag() && !TagStore::shared().tag(location().tagId())) {
        const PaneError gone{QStringLiteral("このタグは削除されました。"), false};
        m_state->setError(gone);
        showError(gone.message);
    } else if (error) {
        const PaneError paneErr = paneError(*error, folder);
        m_state->setError(paneErr);
        showError(paneErr.message);
    } else if (m_state->error()) {
        m_state->setError(std::nullopt);
        m_stack->setCurrentWidget(m_list);
    }
    m_rootWasRead = m_rootWasRead || !error;
    if (auto ancestor = std::exchange(m_relocateAfterReading, std::nullopt); ancestor && !error)
        relocate(*ancestor);
}

void PaneView::showError(const QString& message)
{
    m_errorLabel->setText(message);
    m_stack->setCurrentWidget(m_errorLabel);
}

void PaneView::applyPendingSelection()
{
    if (!m_pendingSelection)
        return;
    if (m_pendingSelection->deadline.hasExpired()) {
        m_pendingSelection.reset();
        return;
    }
    if (!m_model->root()->findByPath(m_pendingSelection->paths.front()))
        return;
    const PendingSelection pending = std::move(*m_pendingSelection);
    m_pendingSelection.reset();
    selectPaths(pending.paths);
    if (m_list->currentIndex().isValid())
        m_list->scrollTo(m_list->currentIndex(), QAbstractItemView::PositionAtCenter);
    if (pending.rename)
        beginRename();
}

void PaneView::selectWhenListed(std::vector<fs::path> paths, bool rename)
{
    if (paths.empty())
        return;
    for (auto& path : paths)
        path = PathText::standardized(path);
    m_pendingSelection =
        PendingSelection{std::move(paths), QDeadlineTimer(kPendingSelectionMs), rename};
    applyPendingSelection();
}

void PaneView::reloadFolders(const std::vector<fs::path>& folders)
{
    if (!m_model->root())
        return;
    if (location().isTag()) {
        // Items of a tag live anywhere: any change may have renamed or removed one.
        std::vector<fs::path> withRoot = folders;
        withRoot.push_back(m_model->root()->entry.path());
        readFolders(withRoot);
        return;
    }
    readFolders(folders);
}

void PaneView::readFolders(const std::vector<fs::path>& folders)
{
    for (const fs::path& folder : folders) {
        const fs::path standard = PathText::standardized(folder);
        FileNode* root = m_model->root();
        FileNode* node = root->entry.path() == standard ? root : root->findByPath(standard);
        if (node && (node == root || node->childrenLoaded()))
            startReading(node);
    }
}

std::vector<FileItem> PaneView::selectedItems() const
{
    std::vector<FileItem> items;
    for (const QModelIndex& index : m_list->selectionModel()->selectedRows()) {
        const FileEntry& entry = m_model->nodeForIndex(index)->entry;
        items.push_back(FileItem{entry.path(), entry.identity});
    }
    return items;
}

void PaneView::beginRename()
{
    const QModelIndex current = m_list->currentIndex();
    if (!current.isValid())
        return;
    m_list->scrollTo(current);
    m_list->edit(current.siblingAtColumn(0));
}

void PaneView::goBack()
{
    moveThroughHistory(true);
}

void PaneView::goForward()
{
    moveThroughHistory(false);
}

void PaneView::moveThroughHistory(bool back)
{
    NavigationHistory history = m_state->history();
    const Location left = history.current;
    const auto target = back ? history.goBack() : history.goForward();
    if (!target)
        return;
    m_state->setHistory(history);
    // Going back up out of a subfolder selects the folder just left.
    const bool upOutOfChild =
        left.isFolder() && target->isFolder() && PathText::parent(left.path()) == target->path();
    navigate(*target, upOutOfChild ? std::optional(left.path()) : std::nullopt, false);
}

bool PaneView::canGoToParent() const
{
    return location().isFolder() && location().path() != "/";
}

void PaneView::goToParent()
{
    if (!canGoToParent())
        return;
    const fs::path left = location().path();
    navigate(Location::folder(PathText::parent(left)), left, true);
}

// The shown folder vanished from disk: its nearest existing ancestor replaces it
// in the history instead of being pushed on top of it.
void PaneView::relocate(const fs::path& ancestor)
{
    // A folder that could never be read keeps its message; one still being read for
    // the first time is left once its reading has shown that it was there.
    if (!m_rootWasRead) {
        if (m_state->isLoading())
            m_relocateAfterReading = ancestor;
        return;
    }
    NavigationHistory history = m_state->history();
    history.current = Location::folder(PathText::standardized(ancestor));
    m_state->setHistory(history);
    navigate(history.current, std::nullopt, false);
}

void PaneView::reload()
{
    if (!m_model->root()->childrenLoaded()) {
        startReading(m_model->root());
        return;
    }
    // By path: a reading that comes back at once may free the nodes below it.
    std::vector<fs::path> folders;
    for (FileNode* folder : m_model->root()->loadedFolders())
        folders.push_back(folder->entry.path());
    readFolders(folders);
}

void PaneView::editPath()
{
    m_state->setEditingPath(true);
    m_pathBar->beginEditing();
}

void PaneView::focusList()
{
    m_list->setFocus(Qt::OtherFocusReason);
    if (!m_list->currentIndex().isValid() && m_model->rowCount() > 0)
        m_list->setCurrentIndex(m_model->index(0, 0));
}

std::vector<fs::path> PaneView::selectedPaths() const
{
    std::vector<fs::path> paths;
    for (const QModelIndex& index : m_list->selectionModel()->selectedRows())
        paths.push_back(m_model->nodeForIndex(index)->entry.path());
    return paths;
}

void PaneView::selectPaths(const std::vector<fs::path>& paths)
{
    QItemSelection selection;
    for (const fs::path& path : paths) {
        if (FileNode* node = m_model->root()->findByPath(path)) {
            const QModelIndex index = m_model->indexForNode(node);
            if (index.isValid())
                selection.select(index, index);
        }
    }
    m_list->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect |
                                                    QItemSelectionModel::Rows);
    if (!selection.isEmpty()) {
        m_list->selectionModel()->setCurrentIndex(selection.first().topLeft(),
                                                  QItemSelectionModel::NoUpdate);
        m_list->scrollTo(selection.first().topLeft());
    }
}

bool PaneView::isFilterOpen() const
{
    return m_filter->isOpen();
}

void PaneView::beginFilter()
{
    m_filter->begin();
}

void PaneView::endFilter(bool focus)
{
    m_filter->end(focus);
}

void PaneView::openSelection()
{
    const FileNode* folder = nullptr;
    std::vector<fs::path> files;
    for (const QModelIndex& index : m_list->selectionModel()->selectedRows()) {
        const FileNode* node = m_model->nodeForIndex(index);
        if (node->entry.isFolder && !folder)
            folder = node;
        else if (!node->entry.isFolder)
            files.push_back(node->entry.path());
    }
    m_fileActions->openFiles(files);
    if (folder)
        navigate(Location::folder(folder->entry.path()));
}

void PaneView::openFiles(const std::vector<fs::path>& files)
{
    m_fileActions->openFiles(files);
}

void PaneView::switchPane()
{
    Q_EMIT switchPaneRequested();
}

void PaneView::toggleQuickLook()
{
    ActionRouter::send(QStringLiteral("toggleQuickLook:"), window());
}

void PaneView::preferencesChanged()
{
    const FileSort sort = Preferences::shared().sort();
    if (sort != m_sort) {
        m_sort = sort;
        m_model->resort(m_sort);
        m_list->showSort(m_sort);
    }
    const bool hidden = Preferences::shared().showHiddenFiles();
    const bool sizes = Preferences::shared().calculateFolderSizes();
    if (hidden != m_showHidden || sizes != m_folderSizes) {
        m_showHidden = hidden;
        m_folderSizes = sizes;
        reload();
    }
}

void PaneView::tagsChanged()
{
    m_model->tagsChanged();
    if (location().isTag()) {
        // Which items carry the tag, and its name, may have changed; the folders
        // expanded below them have not.
        m_pathBar->setLocation(location());
        startReading(m_model->root());
        Q_EMIT locationChanged();
    } else if (m_sort.key == FileSortKey::tags) {
        m_model->resort(m_sort);
    }
}

void PaneView::headerClicked(int section)
{
    if (section < 0 || section >= int(kFileColumns.size()))
        return;
    Preferences::shared().setSort(m_sort.clicked(kFileColumns[size_t(section)].key));
    // The header may have turned its own arrow; it shows the stored sort.
    m_list->showSort(m_sort);
}

void PaneView::refreshCapacity()
{
    const uint64_t generation = m_generation;
    DirectoryReader::availableCapacity(location().path())
        .then(this, [this, generation](std::optional<int64_t> bytes) {
            if (generation == m_generation)
                m_state->setAvailableCapacity(bytes);
        });
}
