#include "app/AppMaintenance.h"

#include "app/CommandLineTool.h"
#include "app/UpdateController.h"
#include "app/UpdateProgressPanel.h"
#include "browser/operations/DialogPrompter.h"
#include "core/Preferences.h"
#include "update/AppMover.h"
#include "update/BundleLocation.h"
#include "update/UpdateAlerts.h"
#include "update/UpdateInstaller.h"

#include <QDesktopServices>
#include <QTimer>
#include <QWidget>

AppMaintenance::AppMaintenance(std::function<QWidget*()> window, std::function<void()> quit,
                               QObject* parent)
    : QObject(parent)
    , m_window(std::move(window))
    , m_quit(std::move(quit))
    , m_installer(std::make_unique<UpdateInstaller>())
{
    m_updates = std::make_unique<UpdateController>(
        [this] { return m_installer->canInstall() && !m_installer->isRunning(); },
        [this](const ReleaseInfo& release) { install(release); });
    // The swap waits for this process to end, so it must really end.
    connect(m_installer.get(), &UpdateInstaller::readyToQuit, this, [this] { m_quit(); });
    connect(
        m_installer.get(), &UpdateInstaller::failed, this,
        [this](const UpdateInstaller::Failure& failure) { offerBrowser(failure.description()); });
}

AppMaintenance::~AppMaintenance() = default;

std::shared_ptr<Prompter> AppMaintenance::prompter() const
{
    return std::make_shared<DialogPrompter>(m_window());
}

void AppMaintenance::startUp()
{
    const auto bundle = BundleLocation::running();
    m_mover = std::make_unique<AppMover>(
        AppMover::Setup::fromEnvironment(bundle.value_or(std::filesystem::path())));
    m_mover->offerIfNeeded(prompter(), [this](bool relaunching) {
        // Runs inside offerIfNeeded when nothing is asked: leave the mover alone then.
        QTimer::singleShot(0, this, [this, relaunching] {
            m_mover.reset();
            if (relaunching) {
                m_quit();
                return;
            }
            if (Preferences::shared().checkForUpdates()) {
                m_checkPrompter = prompter();
                m_updates->checkOnLaunch(*m_checkPrompter);
            }
        });
    });
}

void AppMaintenance::checkForUpdates()
{
    m_checkPrompter = prompter();
    m_updates->checkManually(*m_checkPrompter);
}

void AppMaintenance::install(const ReleaseInfo& release)
{
    m_release = release;
    UpdateProgressPanel::follow(*m_installer, release.version, m_window());
    m_installer->start(release);
}

void AppMaintenance::offerBrowser(const QString& description)
{
    const QUrl download = m_release.download;
    prompter()->present(UpdateAlerts::browserOffer(description),
                        [download](Alert::Response answer) {
                            if (answer.button == 0)
                                QDesktopServices::openUrl(download);
                        });
}

void AppMaintenance::installCommandLineTool()
{
    if (m_tool)
        return; // one installation at a time; its alert is showing
    m_tool = std::make_unique<CommandLineTool>();
    m_tool->install(prompter(),
                    [this](bool) { QTimer::singleShot(0, this, [this] { m_tool.reset(); }); });
}
