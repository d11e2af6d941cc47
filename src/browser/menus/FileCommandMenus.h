#pragma once

class BrowserWindow;

// The ファイル and 編集 menus: windows and tabs, new items, opening, rename,
// duplicate, Trash, delete, transfers between panes, undo, the clipboard and
// copying paths as text.
namespace FileCommandMenus {

void buildFileMenu(BrowserWindow& window);
void buildEditMenu(BrowserWindow& window);

} // namespace FileCommandMenus
