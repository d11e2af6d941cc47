#pragma once

#include "insight/GitSnapshot.h"
#include "platform/TreeSize.h"

#include <QObject>
#include <QTimer>
#include <filesystem>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

class DirectoryWatcher;
class FileListModel;
class FileNode;
class PaneState;

// What a pane learns about its folder beyond the listing: changes made on disk by
// anyone, folder sizes and Git state. It owns the pane's watcher, asks the size
// service and git in the background, and feeds the results to the model and the
// pane's state. It decides which folders a change touches; the pane re-reads them.
class PaneInsight : public QObject {
    Q_OBJECT
public:
    static constexpr double kLatency = 0.3;

    PaneInsight(PaneState& state, FileListModel& model, QObject* parent = nullptr);
    ~PaneInsight() override;

    // A new folder is shown: watch it, forget what belonged to the last one.
    void start(const std::filesystem::path& folder);
    // A location that is not a folder: nothing to watch or measure.
    void stop();
    // A folder's reading was applied: measure its subfolders, keep it watched.
    void folderRead(FileNode* folder);
    void refreshGit();

Q_SIGNALS:
    // These loaded folders changed on disk and should be read again.
    void foldersChanged(const std::vector<std::filesystem::path>& folders);
    // The shown folder is gone; `ancestor` is the nearest folder above it that exists.
    void locationRemoved(const std::filesystem::path& ancestor);

private:
    void diskChanged(const std::vector<std::filesystem::path>& paths);
    void rootChecked(uint64_t generation, const std::filesystem::path& existing,
                     const std::vector<std::filesystem::path>& paths);
    std::vector<std::filesystem::path>
    touchedFolders(const std::vector<std::filesystem::path>& paths) const;
    void sizeArrived(const std::filesystem::path& folder, TreeSize::Measure size);
    void applySizes();
    // No Git state: outside a working tree, or nothing known yet.
    void forgetGit();
    void gitArrived(uint64_t generation, std::optional<GitSnapshot> snapshot);

    PaneState& m_state;
    FileListModel& m_model;
    std::filesystem::path m_folder;
    std::unique_ptr<DirectoryWatcher> m_watcher;
    uint64_t m_generation = 0; // bumped on every start/stop; late answers are dropped
    std::unordered_map<std::string, TreeSize::Measure> m_arrivedSizes;
    QTimer m_sizeBatch;
    bool m_gitRunning = false;
    bool m_gitAgain = false;
    QTimer m_gitPause; // spaces git runs out on a tree that changes all the time
};
