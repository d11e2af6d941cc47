#pragma once

class BrowserWindow;

// The menu bar of a browser window: Quillo, ファイル, 編集, 表示, 移動, ウインドウ
// and ヘルプ. Every command is reachable from the keyboard; the shortcut store
// gives each item its default or the person's own shortcut.
class BrowserMenus {
public:
    static void build(BrowserWindow& window);
};
