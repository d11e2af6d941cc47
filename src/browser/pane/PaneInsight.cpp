#include "browser/pane/PaneInsight.h"

#include "browser/pane/FileListModel.h"
#include "core/PathText.h"
#include "core/Preferences.h"
#include "files/FileNode.h"
#include "files/PaneState.h"
#include "insight/DirectoryWatcher.h"
#include "insight/FolderSizeService.h"
#include "insight/GitRepository.h"
#include "platform/DirectoryScanner.h"

#include <QPointer>
#include <QtConcurrent/QtConcurrentRun>
#include <string_view>
#include <unordered_set>

namespace fs = std::filesystem;

namespace {

constexpr int kSizeBatchMs = 150;
constexpr int kGitPauseMs = 1000;

// The folder itself when it exists, else the nearest existing folder above it.
fs::path nearestExisting(fs::path folder)
{
    while (!DirectoryScanner::exists(folder) && folder != folder.root_path())
        folder = PathText::parent(folder);
    return folder;
}

} // namespace

PaneInsight::PaneInsight(PaneState& state, FileListModel& model, QObject* parent)
    : QObject(parent)
    , m_state(state)
    , m_model(model)
{
    // Listings take cached folder sizes as they are read; nothing is computed there.
    // Incomplete ones come through folderRead(), which marks them as such.
    auto& cachedSize = FileNode::lookups().cachedFolderSize;
    if (!cachedSize)
        cachedSize = [](const fs::path& folder) -> std::optional<int64_t> {
            const auto cached = FolderSizeService::shared().cachedSize(folder);
            if (!cached || !cached->complete)
                return std::nullopt;
            return cached->bytes;
        };
    m_sizeBatch.setSingleShot(true);
    m_sizeBatch.setInterval(kSizeBatchMs);
    connect(&m_sizeBatch, &QTimer::timeout, this, &PaneInsight::applySizes);
    m_gitPause.setSingleShot(true);
    m_gitPause.setInterval(kGitPauseMs);
    connect(&m_gitPause, &QTimer::timeout, this, [this] {
        if (m_gitAgain)
            refreshGit();
    });
}

PaneInsight::~PaneInsight()
{
    FolderSizeService::shared().cancel(this);
}

void PaneInsight::start(const fs::path& folder)
{
    stop();
    m_folder = folder;
    m_watcher = std::make_unique<DirectoryWatcher>(
        folder, kLatency, [this](const std::vector<fs::path>& paths) { diskChanged(paths); });
    refreshGit();
}

void PaneInsight::stop()
{
    ++m_generation;
    m_watcher.reset();
    m_folder.clear();
    FolderSizeService::shared().cancel(this);
    m_arrivedSizes.clear();
    m_sizeBatch.stop();
    m_gitPause.stop();
    m_gitAgain = false;
    forgetGit();
}

void PaneInsight::forgetGit()
{
    m_state.setGitBranch(std::nullopt);
    m_state.setGitChangeCount(0);
    m_model.setGitSnapshot(nullptr);
}

void PaneInsight::folderRead(FileNode* folder)
{
    if (m_folder.empty())
        return;
    if (folder != m_model.root() && m_watcher)
        m_watcher->watchFolder(folder->entry.path());
    if (!Preferences::shared().calculateFolderSizes())
        return;
    std::vector<fs::path> wanted;
    for (const auto& child : folder->children()) {
        if ((child->entry.isFolder || child->entry.isPackage) && !child->entry.size)
            wanted.push_back(PathText::standardized(child->entry.path()));
    }
    if (wanted.empty())
        return;
    // A late answer for a folder shown before must not land in this listing: the
    // generation is checked as well as the service's cancellation.
    QPointer<PaneInsight> self(this);
    const uint64_t generation = m_generation;
    FolderSizeService::shared().request(
        wanted, this, [self, generation](const fs::path& path, TreeSize::Measure size) {
            if (self && self->m_generation == generation)
                self->sizeArrived(path, size);
        });
    // Cached sizes were answered at once: shown with the rows, not a moment later.
    if (!m_arrivedSizes.empty()) {
        m_sizeBatch.stop();
        applySizes();
    }
}

void PaneInsight::sizeArrived(const fs::path& folder, TreeSize::Measure size)
{
    // Sizes come one walk at a time; the rows are updated (and re-sorted) in batches.
    m_arrivedSizes[folder.native()] = size;
    if (!m_sizeBatch.isActive())
        m_sizeBatch.start();
}

void PaneInsight::applySizes()
{
    m_model.setFolderSizes(m_arrivedSizes);
    m_arrivedSizes.clear();
}

void PaneInsight::diskChanged(const std::vector<fs::path>& paths)
{
    for (const fs::path& path : paths)
        FolderSizeService::shared().invalidate(path);
    refreshGit();
    // Whether the folder still exists is asked off the main thread: the disk may be slow.
    const uint64_t generation = m_generation;
    const fs::path folder = m_folder;
    QtConcurrent::run([folder] {
        return nearestExisting(folder);
    }).then(this, [this, generation, paths](const fs::path& existing) {
        rootChecked(generation, existing, paths);
    });
}

void PaneInsight::rootChecked(uint64_t generation, const fs::path& existing,
                              const std::vector<fs::path>& paths)
{
    if (generation != m_generation)
        return;
    if (existing != m_folder) {
        Q_EMIT locationRemoved(existing);
        return;
    }
    const auto folders = touchedFolders(paths);
    if (!folders.empty())
        Q_EMIT foldersChanged(folders);
}

// For each changed path, the deepest loaded folder at or above its parent: a change
// below a collapsed folder re-reads the level that shows that folder, whose size
// has just been dropped from the cache.
std::vector<fs::path> PaneInsight::touchedFolders(const std::vector<fs::path>& paths) const
{
    FileNode* root = m_model.root();
    if (!root)
        return {};
    std::unordered_set<std::string_view> loaded;
    for (FileNode* folder : root->loadedFolders())
        loaded.insert(folder->entry.pathBytes());
    loaded.insert(root->entry.pathBytes());
    std::unordered_set<std::string_view> chosen;
    std::vector<fs::path> folders;
    for (const fs::path& path : paths) {
        if (path == m_folder) {
            // The folder itself changed (or events were lost): everything is read again.
            std::vector<fs::path> all;
            for (std::string_view folder : loaded)
                all.emplace_back(std::string(folder));
            return all;
        }
        std::string_view current = path.native();
        while (current.size() > 1) {
            const size_t slash = current.rfind('/');
            current = current.substr(0, slash == 0 ? 1 : slash);
            if (loaded.contains(current)) {
                if (chosen.insert(current).second)
                    folders.emplace_back(std::string(current));
                break;
            }
            if (slash == 0 || slash == std::string_view::npos)
                break;
        }
    }
    return folders;
}

void PaneInsight::refreshGit()
{
    if (m_folder.empty())
        return;
    if (m_gitRunning || m_gitPause.isActive()) {
        m_gitAgain = true;
        return;
    }
    m_gitRunning = true;
    m_gitAgain = false;
    const uint64_t generation = m_generation;
    GitRepository::snapshotInBackground(m_folder).then(
        this, [this, generation](std::optional<GitSnapshot> snapshot) {
            gitArrived(generation, std::move(snapshot));
        });
}

void PaneInsight::gitArrived(uint64_t generation, std::optional<GitSnapshot> snapshot)
{
    m_gitRunning = false;
    if (generation != m_generation) {
        // A run for a folder left behind: the new folder's own run starts now.
        if (m_gitAgain)
            refreshGit();
        return;
    }
    m_gitPause.start();
    if (!snapshot) {
        forgetGit();
        return;
    }
    m_state.setGitBranch(snapshot->branch);
    m_state.setGitChangeCount(snapshot->changeCount());
    m_model.setGitSnapshot(std::make_shared<const GitSnapshot>(std::move(*snapshot)));
}
