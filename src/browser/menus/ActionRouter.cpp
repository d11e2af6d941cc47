#include "browser/menus/ActionRouter.h"

#include "browser/menus/MenuBuilder.h"
#include "browser/menus/ShortcutStore.h"

#include <QAction>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>

namespace {

QAction* find(const QList<QAction*>& items, const QString& action)
{
    for (QAction* item : items) {
        if (QMenu* submenu = item->menu()) {
            if (QAction* found = find(submenu->actions(), action))
                return found;
            continue;
        }
        if (!MenuBuilder::hasHandler(item))
            continue;
        if (ActionRouter::actionOf(item) == action)
            return item;
    }
    return nullptr;
}

} // namespace

namespace ActionRouter {

QString actionOf(const QAction* item)
{
    return ShortcutStore::identifier(item).section(QLatin1Char('|'), 0, 0);
}

QAction* target(const QString& action, QWidget* window)
{
    auto* main = qobject_cast<QMainWindow*>(window);
    if (!main || !main->menuBar())
        return nullptr;
    return find(main->menuBar()->actions(), action);
}

bool isEnabled(const QAction* item)
{
    return MenuBuilder::hasHandler(item) && item->isEnabled() && MenuBuilder::allows(item);
}

bool isEnabled(const QString& action, QWidget* window)
{
    return isEnabled(target(action, window));
}

bool send(QAction* item)
{
    if (!isEnabled(item))
        return false;
    item->trigger();
    return true;
}

bool send(const QString& action, QWidget* window)
{
    return send(target(action, window));
}

} // namespace ActionRouter
