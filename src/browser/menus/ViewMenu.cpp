#include "browser/menus/ViewMenu.h"

#include "browser/menus/MenuBuilder.h"
#include "browser/pane/PaneView.h"
#include "browser/preview/PanePreview.h"
#include "browser/window/BrowserWindow.h"
#include "browser/window/PaneContainer.h"
#include "core/Preferences.h"

#include <QAction>
#include <QActionGroup>
#include <QMenu>

namespace {

void buildSortMenu(MenuBuilder& view)
{
    MenuBuilder m(view, "並び順");
    static const char* const titles[] = {"名前", "変更日", "サイズ", "種類", "タグ"};
    static const char* const keys[] = {"Meta+Ctrl+1", "Meta+Ctrl+2", "Meta+Ctrl+3", "Meta+Ctrl+4",
                                       "Meta+Ctrl+5"};
    auto* group = new QActionGroup(m.menu());
    for (size_t i = 0; i < kAllFileSortKeys.size(); ++i) {
        const FileSortKey key = kAllFileSortKeys[i];
        QAction* item = m.add("sortBy:", titles[i], {keys[i]}, [key] {
            FileSort sort = Preferences::shared().sort();
            sort.key = key;
            Preferences::shared().setSort(sort);
        });
        item->setData(rawValue(key));
        m.setChecked(item, [key] { return Preferences::shared().sort().key == key; });
        group->addAction(item);
    }
    m.separator();
    QAction* descending = m.add("toggleSortDirection:", "降順にする", {}, [] {
        FileSort sort = Preferences::shared().sort();
        sort.ascending = !sort.ascending;
        Preferences::shared().setSort(sort);
    });
    m.setChecked(descending, [] { return !Preferences::shared().sort().ascending; });
}

void addPreviewItems(MenuBuilder& m, BrowserWindow& w)
{
    auto zoom = [](int direction) {
        return [direction] {
            Preferences& prefs = Preferences::shared();
            prefs.setPreviewZoom(PanePreview::steppedZoom(prefs.previewZoom(), direction));
        };
    };
    auto shown = [&w] { return w.showsPreview(); };
    m.setValid(m.add("zoomInPreview:", "プレビューを拡大", {"Ctrl++"}, zoom(1)), shown);
    m.setValid(m.add("zoomInPreview:", "プレビューを拡大（Ctrl+=）", {"Ctrl+="}, zoom(1)), shown);
    m.setValid(m.add("zoomOutPreview:", "プレビューを縮小", {"Ctrl+-"}, zoom(-1)), shown);
    m.setValid(m.add("resetPreviewZoom:", "プレビューを実際のサイズに", {"Ctrl+0"}, zoom(0)),
               shown);
    QAction* preview = m.add("toggleFilePreview:", "プレビュー", {"Ctrl+Alt+P"}, [] {
        Preferences& prefs = Preferences::shared();
        prefs.setMarkdownPreview(!prefs.markdownPreview());
    });
    m.setChecked(preview, [] { return Preferences::shared().markdownPreview(); });
}

void addPaneItems(MenuBuilder& m, BrowserWindow& w)
{
    // Each runs on the tab that is current when it fires.
    auto on = [&w](void (PaneContainer::*command)()) {
        return [&w, command] {
            if (PaneContainer* container = w.currentContainer())
                (container->*command)();
        };
    };
    auto split = [&w](Qt::Orientation orientation) {
        return [&w, orientation] {
            if (PaneContainer* container = w.currentContainer())
                container->split(orientation);
        };
    };
    m.add("toggleSplit:", "2画面表示", {"Ctrl+\\"}, on(&PaneContainer::toggleSplit));
    m.add("splitRight:", "右に分ける", {"Ctrl+Alt+\\"}, split(Qt::Horizontal));
    m.add("splitDown:", "下に分ける", {"Ctrl+Alt+Shift+\\"}, split(Qt::Vertical));
    m.add("closePane:", "この画面を閉じる", {"Ctrl+Alt+W"}, on(&PaneContainer::closeActivePane));
    m.add("switchPane:", "次の画面へ切り替え（Tab）", {}, on(&PaneContainer::switchPane));
    m.add("syncOtherPane:", "もう一方の画面を同じフォルダにする", {"Ctrl+Alt+="},
          on(&PaneContainer::syncOtherPane));
    m.add("swapPanes:", "もう一方の画面とフォルダを入れ替え", {"Ctrl+Alt+U"},
          on(&PaneContainer::swapPanes));
}

} // namespace

namespace ViewMenu {

void build(BrowserWindow& w)
{
    MenuBuilder m(w.menuBar(), "表示");
    m.add("togglePalette:", "コマンドパレット…", {"Ctrl+K"}, [&w] { w.togglePalette(); });
    m.separator();
    QAction* hidden = m.add("toggleHiddenFiles:", "隠しファイルを表示", {"Ctrl+Shift+."}, [] {
        Preferences& prefs = Preferences::shared();
        prefs.setShowHiddenFiles(!prefs.showHiddenFiles());
    });
    m.setChecked(hidden, [] { return Preferences::shared().showHiddenFiles(); });
    QAction* sidebar =
        m.add("toggleSidebar:", "サイドバーを表示", {"Ctrl+Alt+S"}, [&w] { w.toggleSidebar(); });
    m.setChecked(sidebar, [&w] { return w.isSidebarVisible(); });
    buildSortMenu(m);
    m.separator();
    addPreviewItems(m, w);
    m.separator();
    addPaneItems(m, w);
    m.separator();
    m.add("toggleFullScreen:", "フルスクリーンにする", {"Meta+Ctrl+F"},
          [&w] { w.setWindowState(w.windowState() ^ Qt::WindowFullScreen); });
}

} // namespace ViewMenu
