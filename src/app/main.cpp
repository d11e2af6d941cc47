#include "app/Application.h"
#include "app/FileManager1Service.h"
#include "app/FirstPaintProbe.h"
#include "app/LaunchArguments.h"
#include "app/SingleInstance.h"
#include "browser/info/InfoWindow.h"
#include "browser/info/InfoWindows.h"
#include "browser/window/BrowserWindow.h"

#include <QApplication>
#include <QElapsedTimer>
#include <filesystem>

namespace {

QByteArray workingFolder()
{
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::current_path(error);
    return error ? QByteArray() : QByteArray::fromStdString(folder.native());
}

void serveBus(Application& app, SingleInstance& instance, FileManager1Service& fileManager)
{
    QObject::connect(&instance, &SingleInstance::itemsHandedOver, &app, &Application::openItems);
    // Another file manager may already serve "show in folder"; then it keeps doing so.
    if (fileManager.serve()) {
        QObject::connect(&fileManager, &FileManager1Service::foldersRequested, &app,
                         &Application::openItems);
        QObject::connect(&fileManager, &FileManager1Service::itemsRequested, &app,
                         &Application::showItems);
        QObject::connect(
            &fileManager, &FileManager1Service::propertiesRequested, &app,
            [](const std::vector<std::filesystem::path>& items) { InfoWindows::open(items); });
    }
}

// The D-Bus service files start us with this, for the call that they carry.
bool startedByBus(int argc, char** argv)
{
    for (int i = 1; i < argc && qstrcmp(argv[i], "--") != 0; ++i) {
        if (qstrcmp(argv[i], "--dbus-activated") == 0)
            return true;
    }
    return false;
}

} // namespace

int main(int argc, char** argv)
{
    QElapsedTimer sinceStart;
    sinceStart.start();
    Application::prepareProcess();
    QApplication qtApp(argc, argv);
    Application::configure();
    // Items stay raw argv bytes until the instance that shows them resolves them.
    const QList<QByteArray> items = LaunchArguments::items(argc, argv);
    const QByteArray launchFolder = workingFolder();

    QDBusConnection bus = QDBusConnection::sessionBus();
    SingleInstance instance(bus);
    SingleInstance::Role role = instance.claim();
    if (role == SingleInstance::Role::second) {
        if (SingleInstance::handOver(bus, QLatin1String(SingleInstance::kName), items,
                                     launchFolder))
            return 0;
        // The owner did not answer; it may have just quit and left the name free.
        role = instance.claim();
    }

    Application app;
    // The location in an information window shows the item in a browser window.
    InfoWindow::setRevealHandler(
        [&app](const std::vector<std::filesystem::path>& items) { app.showItems(items); });
    FileManager1Service fileManager(bus);
    if (role == SingleInstance::Role::first)
        serveBus(app, instance, fileManager);
    app.start(LaunchArguments::resolved(items, std::filesystem::path(launchFolder.toStdString())),
              startedByBus(argc, argv));
    if (!app.controllers().empty())
        FirstPaintProbe::installIfAsked(app.controllers().back()->activePane(), sinceStart);
    return qtApp.exec();
}
