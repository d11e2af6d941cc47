#include "browser/menus/BrowserMenus.h"

#include "browser/menus/AppCommands.h"
#include "browser/menus/FileCommandMenus.h"
#include "browser/menus/GoMenu.h"
#include "browser/menus/MenuBuilder.h"
#include "browser/menus/ViewMenu.h"
#include "browser/window/BrowserWindow.h"

#include <QAction>
#include <QApplication>
#include <QMenuBar>

namespace {

// Ordinary top-level windows that are on screen: browser windows, settings.
QList<QWidget*> shownWindows()
{
    QList<QWidget*> windows;
    for (QWidget* top : QApplication::topLevelWidgets()) {
        if (top->isVisible() && top->windowType() == Qt::Window)
            windows << top;
    }
    return windows;
}

// Linux has no hiding of a whole application; minimizing every window comes closest.
void minimizeAll()
{
    for (QWidget* window : shownWindows())
        window->showMinimized();
}

void arrangeInFront(BrowserWindow& front)
{
    for (QWidget* window : shownWindows()) {
        if (window != &front && !window->isMinimized())
            window->raise();
    }
    front.raise();
    front.activateWindow();
}

void buildAppMenu(BrowserWindow& w)
{
    MenuBuilder m(w.menuBar(), "Quillo");
    m.addAppCommand("orderFrontStandardAboutPanel:", "Quillo について", {}, &AppCommands::showAbout)
        ->setMenuRole(QAction::AboutRole);
    m.addAppCommand("checkForUpdates:", "アップデートを確認…", {}, &AppCommands::checkForUpdates);
    m.separator();
    m.addAppCommand("showSettings:", "設定…", {"Ctrl+,"}, &AppCommands::showSettings)
        ->setMenuRole(QAction::PreferencesRole);
    m.addAppCommand("installCommandLineTool:", "コマンドラインツールをインストール…", {},
                    &AppCommands::installCommandLineTool);
    m.separator();
    m.add("hide:", "Quillo を隠す", {"Ctrl+H"}, minimizeAll);
    m.separator();
    m.addAppCommand("terminate:", "Quillo を終了", {"Ctrl+Q"}, &AppCommands::quit)
        ->setMenuRole(QAction::QuitRole);
}

void buildWindowMenu(BrowserWindow& w)
{
    MenuBuilder m(w.menuBar(), "ウインドウ");
    m.add("performMiniaturize:", "しまう", {"Ctrl+M"}, [&w] { w.showMinimized(); });
    m.add("performZoom:", "拡大／縮小", {},
          [&w] { w.setWindowState(w.windowState() ^ Qt::WindowMaximized); });
    m.separator();
    m.add("arrangeInFront:", "すべてを手前に移動", {}, [&w] { arrangeInFront(w); });
}

} // namespace

void BrowserMenus::build(BrowserWindow& window)
{
    buildAppMenu(window);
    FileCommandMenus::buildFileMenu(window);
    FileCommandMenus::buildEditMenu(window);
    ViewMenu::build(window);
    GoMenu::build(window);
    buildWindowMenu(window);
    window.menuBar()->addMenu(QStringLiteral("ヘルプ"));
}
