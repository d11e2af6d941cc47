#include "app/UpdateController.h"

#include "core/Preferences.h"
#include "update/UpdateAlerts.h"

#include <QDesktopServices>
#include <QPointer>

UpdateController::UpdateController(std::function<bool()> canInstall,
                                   std::function<void(const ReleaseInfo&)> install, QObject* parent)
    : QObject(parent)
    , m_canInstall(std::move(canInstall))
    , m_install(std::move(install))
    , m_checker(new UpdateChecker(this))
{
}

void UpdateController::checkOnLaunch(Prompter& prompter)
{
    check(prompter, false);
}

void UpdateController::checkManually(Prompter& prompter)
{
    check(prompter, true);
}

void UpdateController::check(Prompter& prompter, bool manual)
{
    Prompter* target = &prompter;
    m_checker->fetch(UpdateChecker::feedUrl(), UpdateChecker::currentVersion(),
                     [this, target, manual](const UpdateChecker::Result& result) {
                         // At launch only news counts, and not a version the user skipped.
                         const bool shown =
                             manual || (result.kind == UpdateChecker::Result::available &&
                                        Preferences::shared().skippedUpdateVersion() !=
                                            result.release.version);
                         if (shown)
                             present(result, *target);
                         Q_EMIT checkFinished(shown);
                     });
}

void UpdateController::present(const UpdateChecker::Result& result, Prompter& prompter)
{
    const QString current = UpdateChecker::currentVersion();
    switch (result.kind) {
    case UpdateChecker::Result::upToDate:
        prompter.present(UpdateAlerts::upToDate(current), [](Alert::Response) {});
        return;
    case UpdateChecker::Result::failed:
        prompter.present(UpdateAlerts::failed(result.message), [](Alert::Response) {});
        return;
    case UpdateChecker::Result::available:
        break;
    }
    const bool inPlace = m_canInstall();
    QPointer<UpdateController> self(this);
    prompter.present(UpdateAlerts::available(result.release, current, inPlace),
                     [self, release = result.release, inPlace](Alert::Response response) {
                         if (self)
                             self->answer(release, response.button, inPlace);
                     });
}

void UpdateController::answer(const ReleaseInfo& release, int button, bool inPlace)
{
    if (button == UpdateAlerts::installButton) {
        if (inPlace)
            m_install(release);
        else
            QDesktopServices::openUrl(release.download);
    } else if (button == UpdateAlerts::skipButton) {
        Preferences::shared().setSkippedUpdateVersion(release.version);
    }
}
