#pragma once

#include <QString>

class QAction;
class QWidget;

// Who handles a menu command in a window. Each window's menu items are bound to
// their handlers when the menus are built (the focused pane, the current tab, the
// window, or the application), so the item of the window's own menu bar is the
// target; an item shown only as "not yet available" has none.
namespace ActionRouter {

// The command identifier of a menu item ("newFolder:"); empty for other actions.
QString actionOf(const QAction* item);
// The window's first menu item for the action that has a handler, or null.
QAction* target(const QString& action, QWidget* window);
// The item has a handler and its rule accepts it now.
bool isEnabled(const QAction* item);
bool isEnabled(const QString& action, QWidget* window);
// Runs the item when enabled; returns whether it ran.
bool send(QAction* item);
bool send(const QString& action, QWidget* window);

} // namespace ActionRouter
