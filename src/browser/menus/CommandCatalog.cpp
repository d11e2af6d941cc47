#include "browser/menus/CommandCatalog.h"

#include "browser/menus/ActionRouter.h"
#include "browser/menus/ShortcutStore.h"
#include "palette/CommandNames.h"
#include "palette/SearchFilter.h"

#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>

namespace CommandCatalog {

QString shortcutText(const QAction* item)
{
    return item ? item->shortcut().toString(QKeySequence::NativeText) : QString();
}

void collect(const QMenu* menu, const QStringList& path, std::vector<PaletteCommand>& into)
{
    if (!menu)
        return;
    for (QAction* item : menu->actions()) {
        if (item->isSeparator() || !item->isVisible())
            continue;
        if (QMenu* submenu = item->menu()) {
            collect(submenu, path + QStringList{submenu->title()}, into);
            continue;
        }
        const QString action = ActionRouter::actionOf(item);
        if (action.isEmpty() || CommandNames::isExcluded(action))
            continue;
        if (!ActionRouter::isEnabled(item))
            continue;
        PaletteCommand command;
        command.title = item->text().remove(QStringLiteral("…"));
        command.menuPath = path.join(QStringLiteral(" › "));
        command.action = action;
        command.shortcut = shortcutText(item);
        command.searchAliases << SearchFilter::romajiOf(command.title);
        if (const QString english = CommandNames::english(action); !english.isEmpty())
            command.searchAliases << english;
        command.item = item;
        into.push_back(std::move(command));
    }
}

std::vector<PaletteCommand> collect(QWidget* window)
{
    std::vector<PaletteCommand> commands;
    auto* main = qobject_cast<QMainWindow*>(window);
    if (!main)
        return commands;
    for (QAction* top : main->menuBar()->actions()) {
        if (QMenu* menu = top->menu(); menu && top->isVisible())
            collect(menu, {menu->title()}, commands);
    }
    return commands;
}

} // namespace CommandCatalog
