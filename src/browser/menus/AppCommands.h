#pragma once

#include <QString>
#include <filesystem>
#include <vector>

// The menu commands that concern the application rather than one window: new
// windows, reopening closed tabs, settings, quitting, the terminal and the editor. The app layer
// installs the implementation at start-up; without one (tests of single windows) the menus leave
// these items disabled.
class AppCommands {
public:
    virtual ~AppCommands() = default;

    virtual void newWindow() = 0;
    virtual void reopenClosedTab() = 0;
    virtual bool canReopenClosedTab() const = 0;
    virtual void showSettings() = 0;
    virtual void showAbout() = 0;
    virtual void quit() = 0;
    // The user's terminal and editor; false (the items stay disabled) when none is installed.
    virtual bool canOpenInTerminal() const { return false; }
    virtual void openInTerminal(const std::filesystem::path& /*folder*/) {}
    virtual bool canOpenInEditor() const { return false; }
    virtual void openInEditor(const std::vector<std::filesystem::path>& /*paths*/) {}
    // Why the terminal or editor items are disabled, for their tooltips; empty when they are not.
    virtual QString terminalUnavailableReason() const { return {}; }
    virtual QString editorUnavailableReason() const { return {}; }
    // アップデートを確認… and コマンドラインツールをインストール….
    virtual void checkForUpdates() {}
    virtual void installCommandLineTool() {}

    static AppCommands* installed() { return s_installed; }
    static void install(AppCommands* commands) { s_installed = commands; }

private:
    static inline AppCommands* s_installed = nullptr;
};
