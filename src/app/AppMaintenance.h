#pragma once

#include "update/ReleaseInfo.h"

#include <QObject>
#include <functional>
#include <memory>

class AppMover;
class CommandLineTool;
class Prompter;
class QWidget;
class UpdateController;
class UpdateInstaller;

// Quillo looking after itself: the offer to move the bundle to ~/Applications, the
// update checks and the in-place update, and the `quillo` launcher. Its alerts sit
// on the window in front; it quits the program when a move or an update asks for it.
class AppMaintenance : public QObject {
    Q_OBJECT
public:
    // `window`: the window in front, or null; `quit`: ends the program, saving the session.
    AppMaintenance(std::function<QWidget*()> window, std::function<void()> quit,
                   QObject* parent = nullptr);
    ~AppMaintenance() override;

    // At the end of start-up: the move offer, then, when Quillo stays where it is and
    // "checkForUpdates" is on, the launch-time update check.
    void startUp();
    void checkForUpdates();
    void installCommandLineTool();

private:
    std::shared_ptr<Prompter> prompter() const;
    void install(const ReleaseInfo& release);
    void offerBrowser(const QString& description);

    std::function<QWidget*()> m_window;
    std::function<void()> m_quit;
    std::unique_ptr<UpdateInstaller> m_installer;
    std::unique_ptr<UpdateController> m_updates;
    std::unique_ptr<AppMover> m_mover;
    std::unique_ptr<CommandLineTool> m_tool;
    // The update checks keep a reference to the prompter they answer through.
    std::shared_ptr<Prompter> m_checkPrompter;
    ReleaseInfo m_release; // the one being installed
};
