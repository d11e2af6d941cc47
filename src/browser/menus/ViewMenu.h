#pragma once

class BrowserWindow;

// The 表示 menu: hidden files, sort order, panes and full screen. The palette,
// sidebar and preview items are shown but stay disabled until those exist.
namespace ViewMenu {

void build(BrowserWindow& window);

} // namespace ViewMenu
