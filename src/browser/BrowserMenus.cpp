#include "browser/BrowserMenus.h"

#include "browser/BrowserWindow.h"
#include "browser/FileCommandMenus.h"
#include "browser/PaneContainer.h"
#include "browser/PaneView.h"
#include "core/Preferences.h"

#include <QActionGroup>
#include <QApplication>
#include <QMenuBar>

namespace {

using Shortcuts = QList<QKeySequence>;

QAction* add(QMenu* menu, const char* title, Shortcuts keys, std::function<void()> action)
{
    QAction* item = menu->addAction(QString::fromUtf8(title));
    item->setShortcuts(keys);
    QObject::connect(item, &QAction::triggered, menu, [action] { action(); });
    return item;
}

void buildAppMenu(BrowserWindow& w)
{
    QMenu* menu = w.menuBar()->addMenu(QStringLiteral("Quillo"));
    add(menu, "Quillo を終了", {QKeySequence(QStringLiteral("Ctrl+Q"))},
        [] { QApplication::closeAllWindows(); });
}

void buildFileMenu(BrowserWindow& w)
{
    QMenu* menu = w.menuBar()->addMenu(QStringLiteral("ファイル"));
    add(menu, "新規ウィンドウ", {QKeySequence(QStringLiteral("Ctrl+N"))}, [&w] {
        if (PaneView* pane = w.activePane())
            Q_EMIT w.newWindowRequested(pane->location());
    });
    add(menu, "新規タブ", {QKeySequence(QStringLiteral("Ctrl+T"))}, [&w] {
        if (PaneView* pane = w.activePane())
            w.newTab(pane->location());
    });
    menu->addSeparator();
    FileCommandMenus::addFileItems(menu, w);
    menu->addSeparator();
    FileCommandMenus::addTransferItems(menu, w);
    menu->addSeparator();
    add(menu, "閉じる", {QKeySequence(QStringLiteral("Ctrl+W"))}, [&w] { w.closeCurrentTab(); });
}

void buildEditMenu(BrowserWindow& w)
{
    QMenu* menu = w.menuBar()->addMenu(QStringLiteral("編集"));
    FileCommandMenus::addUndoItems(menu);
    menu->addSeparator();
    FileCommandMenus::addClipboardItems(menu, w);
    add(menu, "すべてを選択", {QKeySequence(QStringLiteral("Ctrl+A"))}, [&w] {
        if (PaneView* pane = w.activePane())
            pane->listView()->selectAll();
    });
    add(menu, "絞り込み", {QKeySequence(QStringLiteral("Ctrl+F"))},
        [&w] { w.withActivePane(&PaneView::beginFilter); });
}

void buildSortMenu(QMenu* view)
{
    QMenu* menu = view->addMenu(QStringLiteral("並び順"));
    static const char* titles[] = {"名前", "変更日", "サイズ", "種類", "タグ"};
    auto* group = new QActionGroup(menu);
    for (size_t i = 0; i < kAllFileSortKeys.size(); ++i) {
        const FileSortKey key = kAllFileSortKeys[i];
        QAction* item =
            add(menu, titles[i], {QKeySequence(QStringLiteral("Meta+Ctrl+%1").arg(i + 1))}, [key] {
                FileSort sort = Preferences::shared().sort();
                sort.key = key;
                Preferences::shared().setSort(sort);
            });
        item->setCheckable(true);
        item->setData(rawValue(key));
        group->addAction(item);
    }
    menu->addSeparator();
    QAction* descending = add(menu, "降順にする", {}, [] {
        FileSort sort = Preferences::shared().sort();
        sort.ascending = !sort.ascending;
        Preferences::shared().setSort(sort);
    });
    descending->setCheckable(true);
    QObject::connect(menu, &QMenu::aboutToShow, menu, [group, descending] {
        const FileSort sort = Preferences::shared().sort();
        for (QAction* item : group->actions())
            item->setChecked(item->data().toString() == rawValue(sort.key));
        descending->setChecked(!sort.ascending);
    });
}

void buildViewMenu(BrowserWindow& w)
{
    QMenu* menu = w.menuBar()->addMenu(QStringLiteral("表示"));
    QAction* hidden =
        add(menu, "隠しファイルを表示", {QKeySequence(QStringLiteral("Ctrl+Shift+."))}, [] {
            auto& prefs = Preferences::shared();
            prefs.setShowHiddenFiles(!prefs.showHiddenFiles());
        });
    hidden->setCheckable(true);
    QObject::connect(menu, &QMenu::aboutToShow, hidden,
                     [hidden] { hidden->setChecked(Preferences::shared().showHiddenFiles()); });
    buildSortMenu(menu);
    menu->addSeparator();
    auto container = [&w]() { return w.currentContainer(); };
    add(menu, "2画面表示", {QKeySequence(QStringLiteral("Ctrl+\\"))},
        [container] { container()->toggleSplit(); });
    add(menu, "右に分ける", {QKeySequence(QStringLiteral("Ctrl+Alt+\\"))},
        [container] { container()->split(Qt::Horizontal); });
    add(menu, "下に分ける", {QKeySequence(QStringLiteral("Ctrl+Alt+Shift+\\"))},
        [container] { container()->split(Qt::Vertical); });
    add(menu, "この画面を閉じる", {QKeySequence(QStringLiteral("Ctrl+Alt+W"))},
        [container] { container()->closeActivePane(); });
    add(menu, "次の画面へ切り替え（Tab）", {}, [container] { container()->switchPane(); });
    add(menu, "もう一方の画面を同じフォルダにする", {QKeySequence(QStringLiteral("Ctrl+Alt+="))},
        [container] { container()->syncOtherPane(); });
    add(menu, "もう一方の画面とフォルダを入れ替え", {QKeySequence(QStringLiteral("Ctrl+Alt+U"))},
        [container] { container()->swapPanes(); });
}

void buildGoMenu(BrowserWindow& w)
{
    QMenu* menu = w.menuBar()->addMenu(QStringLiteral("移動"));
    add(menu, "戻る",
        {QKeySequence(QStringLiteral("Ctrl+[")), QKeySequence(QStringLiteral("Alt+Left"))},
        [&w] { w.withActivePane(&PaneView::goBack); });
    add(menu, "進む",
        {QKeySequence(QStringLiteral("Ctrl+]")), QKeySequence(QStringLiteral("Alt+Right"))},
        [&w] { w.withActivePane(&PaneView::goForward); });
    add(menu, "親フォルダ",
        {QKeySequence(QStringLiteral("Ctrl+Up")), QKeySequence(QStringLiteral("Alt+Up"))},
        [&w] { w.withActivePane(&PaneView::goToParent); });
    add(menu, "選択した項目を開く", {QKeySequence(QStringLiteral("Ctrl+Down"))},
        [&w] { w.withActivePane(&PaneView::openSelection); });
    menu->addSeparator();
    add(menu, "ホーム", {QKeySequence(QStringLiteral("Ctrl+Shift+H"))}, [&w] { w.goHome(); });
    menu->addSeparator();
    add(menu, "パスを入力…", {QKeySequence(QStringLiteral("Ctrl+L"))},
        [&w] { w.withActivePane(&PaneView::editPath); });
    add(menu, "フォルダへ移動…", {QKeySequence(QStringLiteral("Ctrl+Shift+G"))},
        [&w] { w.withActivePane(&PaneView::editPath); });
}

} // namespace

void BrowserMenus::build(BrowserWindow& window)
{
    buildAppMenu(window);
    buildFileMenu(window);
    buildEditMenu(window);
    buildViewMenu(window);
    buildGoMenu(window);
}
