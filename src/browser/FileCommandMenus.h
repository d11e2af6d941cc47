#pragma once

class BrowserWindow;
class QMenu;

// The file operation items of the ファイル and 編集 menus: new items, rename,
// duplicate, Trash, delete, transfers between panes, clipboard, undo and redo.
namespace FileCommandMenus {

void addFileItems(QMenu* menu, BrowserWindow& window);
void addTransferItems(QMenu* menu, BrowserWindow& window);
void addUndoItems(QMenu* menu);
void addClipboardItems(QMenu* menu, BrowserWindow& window);

} // namespace FileCommandMenus
