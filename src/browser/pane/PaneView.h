#pragma once

#include "browser/pane/FileTreeView.h"
#include "core/FileSort.h"
#include "core/Location.h"
#include "files/DirectoryReader.h"
#include "files/FileEntry.h"
#include "operations/FileOperationManager.h"
#include "platform/Error.h"

#include <QDeadlineTimer>
#include <QWidget>
#include <filesystem>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

class FileListModel;
class PaneFileActions;
class PaneInsight;
class FileNode;
class PaneFilter;
class PanePreview;
class PaneState;
class PaneStatusBar;
class PathBar;
class QLabel;
class QStackedWidget;

// One pane: path bar, list, filter bar and status bar over a PaneState. It is the
// list controller: it navigates, reads folders off the main thread, and keeps
// expansion and selection across reloads.
class PaneView : public QWidget, public ListKeyTarget {
    Q_OBJECT
public:
    explicit PaneView(const Location& location, QWidget* parent = nullptr);
    ~PaneView() override;

    PaneState& state() const { return *m_state; }
    const Location& location() const;
    FileTreeView* listView() const { return m_list; }
    FileListModel* model() const { return m_model; }
    PaneStatusBar* statusBar() const { return m_statusBar; }
    PaneFileActions& fileActions() const { return *m_fileActions; }
    PanePreview* preview() const { return m_preview; }

    void navigate(const Location& target, const std::optional<std::filesystem::path>& select = {},
                  bool recordHistory = true);
    void goBack();
    void goForward();
    bool canGoToParent() const;
    void goToParent() override;
    // Re-reads every loaded folder, keeping expansion and selection.
    void reload();
    void editPath();
    void focusList();
    std::vector<std::filesystem::path> selectedPaths() const;
    // The selection with the identities read with it, for operations.
    std::vector<FileItem> selectedItems() const;
    // Selects the paths (and optionally renames the first) once a listing shows them.
    // Opens files in their default applications.
    void openFiles(const std::vector<std::filesystem::path>& files);
    void selectWhenListed(std::vector<std::filesystem::path> paths, bool rename = false);
    // Re-reads those of the folders that this pane has read.
    void reloadFolders(const std::vector<std::filesystem::path>& folders);
    void beginRename();
    // Selects exactly these rows (those that are listed), the first one current.
    void selectPaths(const std::vector<std::filesystem::path>& paths);

    // ListKeyTarget
    bool isFilterOpen() const override;
    void beginFilter() override;
    void endFilter(bool focusList) override;
    void openSelection() override;
    void switchPane() override;
    void toggleQuickLook() override;

Q_SIGNALS:
    void switchPaneRequested();
    void locationChanged();

private:
    void buildWidgets();
    void moveThroughHistory(bool back);
    void connectSignals();
    void startReading(FileNode* folder);
    // Starts reading each of the folders that is the root or a loaded folder.
    void readFolders(const std::vector<std::filesystem::path>& folders);
    void finishReading(uint64_t generation, uint64_t sequence, const std::filesystem::path& folder,
                       Result<DirectoryReader::Listing> result);
    void finishRootReading(const std::filesystem::path& folder, const Error* error);
    void applyPendingSelection();
    void preferencesChanged();
    void tagsChanged();
    void headerClicked(int section);
    void refreshCapacity();
    void showError(const QString& message);
    void updateActiveMark();
    void relocate(const std::filesystem::path& ancestor);

    PaneState* m_state = nullptr;
    FileListModel* m_model = nullptr;
    FileTreeView* m_list = nullptr;
    PathBar* m_pathBar = nullptr;
    PaneFilter* m_filter = nullptr;
    PaneStatusBar* m_statusBar = nullptr;
    QStackedWidget* m_stack = nullptr;
    QLabel* m_errorLabel = nullptr;
    PaneFileActions* m_fileActions = nullptr;
    PaneInsight* m_insight = nullptr;
    PanePreview* m_preview = nullptr;

    FileSort m_sort;
    bool m_showHidden = false;
    bool m_folderSizes = true;
    uint64_t m_generation = 0; // bumped by every navigation; older readings are dropped
    uint64_t m_readSequence = 0;
    std::unordered_map<std::string, uint64_t> m_latestRead; // folder → newest reading
    struct PendingSelection {
        std::vector<std::filesystem::path> paths;
        QDeadlineTimer deadline;
        bool rename = false; // start inline rename on the first path
    };
    std::optional<PendingSelection> m_pendingSelection;
    // The shown folder was found gone while it was still being read.
    std::optional<std::filesystem::path> m_relocateAfterReading;
    bool m_rootWasRead = false;
};
