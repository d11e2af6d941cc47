#pragma once

// Helpers for tests that drive a whole window: its menu items, buttons and dialogs.

#include "browser/PaneTesting.h"
#include "browser/menus/ShortcutStore.h"
#include "browser/window/BrowserWindow.h"
#include "browser/window/PaneContainer.h"
#include "support/Lists.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <memory>

namespace testing_pane {

inline QKeySequence keys(const char* portableText)
{
    return QKeySequence(QString::fromLatin1(portableText), QKeySequence::PortableText);
}

// A window whose panes have their first listings.
inline std::unique_ptr<BrowserWindow> openWindow(const PaneLayout& layout)
{
    auto window = std::make_unique<BrowserWindow>(layout);
    for (PaneView* pane : window->currentContainer()->panes())
        EXPECT_TRUE(waitForListing(*pane));
    return window;
}

inline std::unique_ptr<BrowserWindow> openWindow(const std::filesystem::path& folder)
{
    return openWindow(PaneLayout::onePane(Location::folder(folder).toText()));
}

// The menu item with this identifier ("newWindow:|新規ウィンドウ") or this title.
inline QAction* menuItem(const BrowserWindow& window, const QString& name)
{
    for (QAction* action : window.menuBar()->findChildren<QAction*>()) {
        const QString identifier = ShortcutStore::identifier(action);
        if (identifier == name || identifier.endsWith(QLatin1Char('|') + name))
            return action;
    }
    return nullptr;
}

// Sends what opening (or closing) every menu sends, so that the items' states are current.
inline void setMenusOpen(const BrowserWindow& window, bool open)
{
    for (QMenu* menu : window.menuBar()->findChildren<QMenu*>())
        open ? Q_EMIT menu->aboutToShow() : Q_EMIT menu->aboutToHide();
}

// The action of the widget's own list (a menu's items) with this text.
inline QAction* actionTitled(const QWidget* widget, const QString& text)
{
    for (QAction* action : widget->actions()) {
        if (action->text() == text)
            return action;
    }
    return nullptr;
}

// The first descendant of this type showing this text (a button, a label).
template <typename Widget>
Widget* childWithText(const QObject& parent, const QString& text)
{
    for (Widget* child : parent.findChildren<Widget*>()) {
        if (child->text() == text)
            return child;
    }
    return nullptr;
}

// A visible descendant of this type, once one shows (a dialog opened later).
template <typename Widget>
Widget* waitForVisible(const QObject& parent)
{
    Widget* found = nullptr;
    QTest::qWaitFor(
        [&] {
            for (Widget* widget : parent.findChildren<Widget*>()) {
                if (widget->isVisible())
                    found = widget;
            }
            return found != nullptr;
        },
        kTimeoutMs);
    return found;
}

} // namespace testing_pane
