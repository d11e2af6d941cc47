#pragma once

class BrowserWindow;

// The menu bar of a browser window; every command reachable from the keyboard.
class BrowserMenus {
public:
    static void build(BrowserWindow& window);
};
