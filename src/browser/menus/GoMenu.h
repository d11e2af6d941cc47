#pragma once

class BrowserWindow;

// The 移動 menu: history, parent, the other pane, the standard folders and the
// path field. Folders that do not exist leave their items disabled.
namespace GoMenu {

void build(BrowserWindow& window);

} // namespace GoMenu
