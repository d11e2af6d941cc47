#pragma once

#include "palette/PaletteCommand.h"

#include <QStringList>
#include <vector>

class QMenu;
class QWidget;
struct KeyCombo;

// The commands of a window's live menu bar that can run now, for the palette.
namespace CommandCatalog {

// Appends the runnable leaf items of the menu and its submenus, in menu order.
void collect(const QMenu* menu, const QStringList& path, std::vector<PaletteCommand>& into);
// Every menu of the window's menu bar.
std::vector<PaletteCommand> collect(QWidget* window);

// The item's shortcut as symbols in the order ⌃⌥⇧⌘, then the key ("⌃⇧⌘K");
// empty without one.
QString shortcutText(const QAction* item);
QString shortcutText(const KeyCombo& combo);

} // namespace CommandCatalog
