#pragma once

#include "core/Location.h"
#include "files/PaneLayout.h"

#include <QMainWindow>
#include <QPointer>
#include <vector>

class PalettePanel;
class PaneContainer;
class PaneState;
class PaneView;
class QuickLookWindow;
class QAction;
class QSplitter;
class QStackedWidget;
class QTabBar;
class SidebarView;

// A browser window: the sidebar at the left, beside a tab bar over one pane
// container per tab, a toolbar with back, forward and parent, and the menus. The
// title follows the active pane.
class BrowserWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit BrowserWindow(const PaneLayout& firstTab, QWidget* parent = nullptr);

    PaneContainer* currentContainer() const;
    PaneView* activePane() const;
    int tabCount() const;
    PaneContainer* containerAt(int index) const; // in tab bar order
    int currentTabIndex() const;
    void setCurrentTabIndex(int index);
    // Each tab's layout, in tab bar order, for saving the session.
    std::vector<PaneLayout> tabLayouts() const;

    // Adds a tab after the current one and makes it current.
    void addTab(const PaneLayout& layout);
    void newTab(const Location& location);
    void closeCurrentTab();
    void withActivePane(void (PaneView::*action)());
    void goHome();

    SidebarView* sidebar() const { return m_sidebar; }
    bool isSidebarVisible() const;
    // Shows or hides the sidebar in every window, and remembers it for the next start.
    // Shown, it takes the focus in this window.
    void toggleSidebar();

    // The command palette over this window, made on first use.
    PalettePanel* palette();
    void togglePalette();

    // Quick Look over this window, made on first use.
    QuickLookWindow* quickLook();
    bool isQuickLookOpen() const;
    void toggleQuickLook();
    // A preview is on screen: beside a pane of the current tab, or in Quick Look.
    bool showsPreview() const;

Q_SIGNALS:
    // One tab of several was closed; the window stays. Carries its active pane's location.
    void tabClosed(const Location& location);
    // The window accepted a close and is about to go; it still has its tabs.
    void closing();
    // Another pane became the active one, or another tab the current one.
    void activePaneChanged();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void buildToolBar();
    void currentTabChanged(int index);
    void watchActivePane();
    void updateTitleAndActions();
    void applySidebarVisibility();

    QSplitter* m_split = nullptr;
    SidebarView* m_sidebar = nullptr;
    PalettePanel* m_palette = nullptr;
    QuickLookWindow* m_quickLook = nullptr;
    QTabBar* m_tabs = nullptr;
    QStackedWidget* m_stack = nullptr;
    QAction* m_back = nullptr;
    QAction* m_forward = nullptr;
    QAction* m_parent = nullptr;
    QPointer<PaneState> m_watchedState;
};
