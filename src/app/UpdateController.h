#pragma once

#include "operations/Alert.h"
#include "update/UpdateChecker.h"

#include <QObject>
#include <functional>

// Runs the update checks and answers their alerts: installs in place when it can,
// else opens the download in the browser; remembers a skipped version.
class UpdateController : public QObject {
    Q_OBJECT
public:
    // `canInstall`: whether an in-place installation is possible now.
    // `install`: starts one for an accepted release.
    UpdateController(std::function<bool()> canInstall,
                     std::function<void(const ReleaseInfo&)> install, QObject* parent = nullptr);

    // Shows only a newer version that the user has not chosen to skip.
    // The prompter must outlive the check.
    void checkOnLaunch(Prompter& prompter);
    // Always shows the result, a skipped version included.
    void checkManually(Prompter& prompter);

    UpdateChecker& checker() { return *m_checker; }

Q_SIGNALS:
    // A check ended; `shown` when its result went to the prompter.
    void checkFinished(bool shown);

private:
    void check(Prompter& prompter, bool manual);
    void present(const UpdateChecker::Result& result, Prompter& prompter);
    void answer(const ReleaseInfo& release, int button, bool inPlace);

    std::function<bool()> m_canInstall;
    std::function<void(const ReleaseInfo&)> m_install;
    UpdateChecker* m_checker;
};
