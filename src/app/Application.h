#pragma once

#include "app/SessionStore.h"
#include "browser/menus/AppCommands.h"
#include "core/Location.h"
#include "files/PaneLayout.h"

#include <QObject>
#include <QRect>
#include <filesystem>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

class BrowserWindow;
class AppMaintenance;
class QWidget;
class OperationsPanel;

// The running program: its browser windows, the closed-tab stack, start-up and
// quit with the saved session, and folders and files handed in by other programs.
class Application : public QObject, public AppCommands {
    Q_OBJECT
public:
    explicit Application(QObject* parent = nullptr);
    ~Application() override;

    // What must be set before QApplication exists: the shared OpenGL contexts that the
    // web preview needs, and, as root, its sandbox switched off (it refuses to start
    // otherwise), said on standard error.
    static void prepareProcess();
    // Sets up names, locale and icon theme; call once after QApplication.
    static void configure();

    // Migration, the menu commands, then the saved session (or a home window) and
    // the items of the launch. Under tests only the commands are installed. Started
    // by D-Bus, the call that started us shows what it asks for instead of home.
    void start(const std::vector<std::filesystem::path>& items = {}, bool startedByBus = false);

    // Open windows in the order they were made.
    const std::vector<BrowserWindow*>& controllers() const { return m_controllers; }
    // Locations of closed tabs, the most recent last. Kept until quit, unbounded.
    const std::vector<Location>& closedTabs() const { return m_closedTabs; }
    bool isTerminating() const { return m_isTerminating; }
    bool isRunningTests() const { return m_isRunningTests; }
    // Closing the last browser window saves the session and quits; off under tests.
    void setQuitsWithLastWindow(bool quits) { m_quitsWithLastWindow = quits; }

    // Without a frame the window cascades from the key window, or is centred.
    BrowserWindow* openWindow(const PaneLayout& layout,
                              const std::optional<QRect>& frame = std::nullopt);
    // Opens the folder as a tab after the current one of `besides` and brings it forward.
    BrowserWindow* openTab(const Location& location, BrowserWindow* besides);
    // The browser window with the focus; while a dialog or another window of ours
    // has it, the browser window that had it last. Null when Quillo is in the background.
    BrowserWindow* keyWindow() const;
    // Brings forward the window whose tab already shows the folder in its active
    // pane, or opens the folder as a tab of the key (else the newest) window.
    BrowserWindow* openFromOutside(const std::filesystem::path& folder);
    // Folders open; anything else is shown selected in its parent. Nothing: reopen.
    void openItems(const std::vector<std::filesystem::path>& paths);
    // Every item, folders included, shown selected in its parent folder.
    void showItems(const std::vector<std::filesystem::path>& paths);
    // A launch without items: a home window when none is open, else the front one forward.
    void reopen();

    bool restoreSession();
    void restoreSessionOrOpenHome();
    std::vector<SavedWindow> currentSession() const;
    void saveSession() const;

    // AppCommands
    void newWindow() override;
    void reopenClosedTab() override;
    bool canReopenClosedTab() const override;
    void showSettings() override;
    void showAbout() override;
    void quit() override;
    bool canOpenInTerminal() const override;
    void openInTerminal(const std::filesystem::path& folder) override;
    bool canOpenInEditor() const override;
    void openInEditor(const std::vector<std::filesystem::path>& paths) override;
    QString terminalUnavailableReason() const override;
    QString editorUnavailableReason() const override;
    void checkForUpdates() override;
    void installCommandLineTool() override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    static void installIconTheme();
    BrowserWindow* makeWindow(const PaneLayout& layout);
    void place(BrowserWindow* window, const std::optional<QRect>& frame) const;
    void windowClosing(BrowserWindow* window);
    void forget(BrowserWindow* window);
    void beginTerminating();
    std::vector<BrowserWindow*> frontToBack() const;
    // Where alerts that belong to no window go: the key window, else the front one.
    QWidget* frontWindow() const;
    void showGrouped(const std::vector<std::filesystem::path>& items);

    std::unique_ptr<OperationsPanel> m_operationsPanel;
    std::unique_ptr<AppMaintenance> m_maintenance;
    std::vector<BrowserWindow*> m_controllers;
    std::vector<Location> m_closedTabs;
    // Which window had the focus most recently: a larger stamp is nearer the front.
    std::unordered_map<BrowserWindow*, uint64_t> m_activated;
    uint64_t m_activationCount = 0;
    bool m_isTerminating = false;
    const bool m_isRunningTests;
    bool m_quitsWithLastWindow;
};
