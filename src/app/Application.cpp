#include "app/Application.h"

#include "browser/BrowserWindow.h"
#include "browser/DialogPrompter.h"
#include "browser/OperationsPanel.h"
#include "core/AppLocale.h"
#include "operations/FileOperationManager.h"
#include "operations/OperationsStore.h"

#include <QApplication>
#include <QIcon>

Application::Application(QObject* parent)
    : QObject(parent)
    , m_operationsPanel(std::make_unique<OperationsPanel>(OperationsStore::shared()))
{
    // Undo and redo have no window of their own; their alerts are application-modal.
    FileOperationManager::shared().setFallbackPrompter(std::make_shared<DialogPrompter>(nullptr));
}

Application::~Application() = default;

void Application::configure()
{
    QApplication::setApplicationName(QStringLiteral("Quillo"));
    QApplication::setApplicationDisplayName(QStringLiteral("Quillo"));
    QApplication::setDesktopFileName(QStringLiteral("app.quillo.Quillo"));
    installAppLocale();
    // Outside a full desktop session Qt finds no icon theme; fall back to the
    // freedesktop themes that Debian installs.
    if (QIcon::themeName().isEmpty() || QIcon::themeName() == QStringLiteral("hicolor"))
        QIcon::setThemeName(QStringLiteral("Adwaita"));
    QIcon::setFallbackThemeName(QStringLiteral("hicolor"));
}

BrowserWindow* Application::openWindow(const PaneLayout& layout)
{
    auto* window = new BrowserWindow(layout);
    connect(window, &BrowserWindow::newWindowRequested, this,
            [this](const Location& location) { openWindow(location); });
    window->show();
    window->raise();
    window->activateWindow();
    return window;
}

BrowserWindow* Application::openWindow(const Location& location)
{
    return openWindow(PaneLayout::onePane(location.toText()));
}
