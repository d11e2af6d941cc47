#include "browser/menus/GoMenu.h"

#include "browser/menus/MenuBuilder.h"
#include "browser/pane/FileListModel.h"
#include "browser/pane/PaneView.h"
#include "browser/window/BrowserWindow.h"
#include "browser/window/PaneContainer.h"
#include "core/PathText.h"
#include "files/FileNode.h"
#include "platform/DirectoryScanner.h"

#include <QStandardPaths>

namespace fs = std::filesystem;

namespace {

using FolderFinder = std::optional<fs::path> (*)();

std::optional<fs::path> existing(const fs::path& folder)
{
    if (folder.empty() || !DirectoryScanner::isDirectory(folder))
        return std::nullopt;
    return folder;
}

// The XDG user folder (user-dirs.dirs), when it is there.
template <QStandardPaths::StandardLocation location>
std::optional<fs::path> userFolder()
{
    return existing(PathText::fromText(QStandardPaths::writableLocation(location)));
}

// Where Quillo and other bundles are installed for one person.
std::optional<fs::path> applicationsFolder()
{
    return existing(PathText::homeFolder() / "Applications");
}

void addFolderItem(MenuBuilder& m, BrowserWindow& w, const char* action, const char* title,
                   MenuBuilder::Keys keys, FolderFinder find)
{
    QAction* item = m.add(action, title, keys, [&w, find] {
        PaneView* pane = w.activePane();
        if (const auto folder = find(); folder && pane)
            pane->navigate(Location::folder(*folder));
    });
    m.setValid(item, [&w, find] { return w.activePane() && find().has_value(); });
}

// Left (or top) is the first pane of a two-pane split, right (or bottom) the second.
PaneView* sidePane(const BrowserWindow& w, size_t side)
{
    PaneContainer* container = w.currentContainer();
    if (!container || !w.activePane())
        return nullptr;
    const std::vector<PaneView*> panes = container->panes();
    return panes.size() == 2 ? panes[side] : nullptr;
}

void addSideItem(MenuBuilder& m, BrowserWindow& w, const char* action, const char* title,
                 const char* key, size_t side)
{
    QAction* item = m.add(action, title, {key}, [&w, side] {
        PaneView* target = sidePane(w, side);
        if (const auto folder = target ? GoMenu::selectedFolder(*w.activePane()) : std::nullopt)
            target->navigate(Location::folder(*folder));
    });
    m.setValid(item, [&w, side] {
        return sidePane(w, side) && GoMenu::selectedFolder(*w.activePane()).has_value();
    });
}

void addHistoryItems(MenuBuilder& m, BrowserWindow& w)
{
    m.add("goBack:", "戻る", {"Ctrl+[", {"Alt+Left"}},
          [&w] { w.withActivePane(&PaneView::goBack); });
    m.add("goForward:", "進む", {"Ctrl+]", {"Alt+Right"}},
          [&w] { w.withActivePane(&PaneView::goForward); });
    m.add("goToParent:", "親フォルダ", {"Ctrl+Up", {"Alt+Up"}},
          [&w] { w.withActivePane(&PaneView::goToParent); });
    m.add("openSelection:", "選択した項目を開く", {"Ctrl+Down"},
          [&w] { w.withActivePane(&PaneView::openSelection); });
    addSideItem(m, w, "openInLeftPane:", "左の画面で開く", "Ctrl+Alt+Left", 0);
    addSideItem(m, w, "openInRightPane:", "右の画面で開く", "Ctrl+Alt+Right", 1);
}

} // namespace

namespace GoMenu {

std::optional<fs::path> selectedFolder(const PaneView& pane)
{
    FileNode* root = pane.model()->root();
    for (const fs::path& path : pane.selectedPaths()) {
        const FileNode* node = root ? root->findByPath(path) : nullptr;
        if (node && node->entry.isFolder)
            return path;
    }
    return std::nullopt;
}

void build(BrowserWindow& w)
{
    MenuBuilder m(w.menuBar(), "移動");
    addHistoryItems(m, w);
    m.separator();
    m.add("goToHome:", "ホーム", {"Ctrl+Shift+H"}, [&w] { w.goHome(); });
    addFolderItem(m, w, "goToDesktop:", "デスクトップ", {"Ctrl+Shift+D"},
                  userFolder<QStandardPaths::DesktopLocation>);
    addFolderItem(m, w, "goToDocuments:", "書類", {"Ctrl+Shift+O"},
                  userFolder<QStandardPaths::DocumentsLocation>);
    addFolderItem(m, w, "goToDownloads:", "ダウンロード", {"Ctrl+Alt+L"},
                  userFolder<QStandardPaths::DownloadLocation>);
    addFolderItem(m, w, "goToApplications:", "アプリケーション", {"Ctrl+Shift+A"},
                  applicationsFolder);
    m.separator();
    m.add("editPath:", "パスを入力…", {"Ctrl+L"}, [&w] { w.withActivePane(&PaneView::editPath); });
    m.add("editPath:", "フォルダへ移動…", {"Ctrl+Shift+G"},
          [&w] { w.withActivePane(&PaneView::editPath); });
    m.addUnavailable("connectToServer:", "サーバへ接続…");
}

} // namespace GoMenu
