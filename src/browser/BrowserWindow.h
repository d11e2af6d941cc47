#pragma once

#include "core/Location.h"
#include "files/PaneLayout.h"

#include <QMainWindow>
#include <QPointer>

class PaneContainer;
class PaneState;
class PaneView;
class QAction;
class QStackedWidget;
class QTabBar;

// A browser window: a tab bar over one pane container per tab, a toolbar with
// back, forward and parent, and the menus. The title follows the active pane.
class BrowserWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit BrowserWindow(const PaneLayout& firstTab, QWidget* parent = nullptr);

    PaneContainer* currentContainer() const;
    PaneView* activePane() const;
    int tabCount() const;

    void newTab(const Location& location);
    void closeCurrentTab();
    void withActivePane(void (PaneView::*action)());
    void goHome();

Q_SIGNALS:
    void newWindowRequested(const Location& location);

private:
    void addTab(const PaneLayout& layout);
    void buildToolBar();
    void currentTabChanged(int index);
    void watchActivePane();
    void updateTitleAndActions();

    QTabBar* m_tabs = nullptr;
    QStackedWidget* m_stack = nullptr;
    QAction* m_back = nullptr;
    QAction* m_forward = nullptr;
    QAction* m_parent = nullptr;
    QPointer<PaneState> m_watchedState;
};
