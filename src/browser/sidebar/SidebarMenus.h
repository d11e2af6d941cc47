#pragma once

#include <QString>
#include <functional>

class QMenu;
class QModelIndex;
class QWidget;
class SidebarView;

// The context menus of the sidebar (a section header, an item, a tag of the tag
// tree, the empty space below) and the small name prompts they open.
namespace SidebarMenus {

// A menu for the row (or for no row); the caller shows it and it deletes itself
// when closed.
QMenu* make(SidebarView& view, const QModelIndex& index);

// A window-modal prompt; `done` gets the trimmed text once accepted. An empty
// name, unless allowed, is refused with a message and changes nothing.
void askName(QWidget* window, const QString& title, const QString& label, const QString& text,
             bool allowEmpty, std::function<void(const QString&)> done);

} // namespace SidebarMenus
