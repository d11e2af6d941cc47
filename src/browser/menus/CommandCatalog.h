#pragma once

#include "palette/PaletteCommand.h"

#include <QStringList>
#include <vector>

class QMenu;
class QWidget;

// The commands of a window's live menu bar that can run now, for the palette.
namespace CommandCatalog {

// Appends the runnable leaf items of the menu and its submenus, in menu order.
void collect(const QMenu* menu, const QStringList& path, std::vector<PaletteCommand>& into);
// Every menu of the window's menu bar.
std::vector<PaletteCommand> collect(QWidget* window);

// The item's shortcut in the platform's own text, as its menu shows it ("Ctrl+Shift+K");
// empty without one.
QString shortcutText(const QAction* item);

} // namespace CommandCatalog
