#pragma once

#include <QString>
#include <functional>
#include <initializer_list>

class AppCommands;
class QAction;
class QMenu;
class QMenuBar;
class MenuRules;

// An item's default shortcut and its Linux second shortcuts, in Qt's portable text.
// Only used while the item is made.
struct MenuKeys {
    const char* primary = "";
    std::initializer_list<const char*> second = {};
};

// Fills one menu of a window. Every item carries its identifier ("action:|title")
// and is registered with the shortcut store with its default shortcut (Qt's
// portable text, "Ctrl+Shift+N") and any Linux second shortcuts ("Delete").
//
// Item states follow the menu: an item with a rule shows enabled and checked as
// the rule says while its menu is open. While the menu is closed it stays enabled,
// so that its shortcut still reaches it, and the command checks the rule again
// before it runs.
class MenuBuilder {
public:
    using Run = std::function<void()>;
    using Test = std::function<bool()>;
    using Text = std::function<QString()>;

    using Keys = MenuKeys;

    MenuBuilder(QMenuBar* bar, const char* title);
    MenuBuilder(MenuBuilder& parent, const char* title); // a submenu

    QMenu* menu() const { return m_menu; }

    QAction* add(const char* action, const char* title, Keys keys, Run run);
    // A command of the application as a whole; unavailable while no AppCommands is
    // installed (a window on its own, as in tests).
    QAction* addAppCommand(const char* action, const char* title, Keys keys,
                           void (AppCommands::*command)(), Test valid = {});
    // A command whose feature is not there yet: shown, with its shortcut, never enabled.
    QAction* addUnavailable(const char* action, const char* title, Keys keys = {});
    void separator();

    // Enabled (and allowed to run) only when `valid` holds.
    void setValid(QAction* item, Test valid);
    // Checkable; checked when `checked` holds.
    void setChecked(QAction* item, Test checked);
    // The item's tooltip, read with its rule each time the menu opens: why it is
    // disabled, or empty for none.
    void setReason(QAction* item, Text reason);

    // True for an item made with add(): something runs when it fires.
    static bool hasHandler(const QAction* item);
    // What the item's rule says now (true without a rule), menu open or not.
    static bool allows(const QAction* item);

private:
    QAction* make(const char* action, const char* title, const Keys& keys);

    QMenu* m_menu = nullptr;
    QString m_path;
    MenuRules* m_rules = nullptr;
};
