#include "app/Application.h"

#include "app/AppMaintenance.h"
#include "app/EditorLauncher.h"
#include "app/LegacyMigration.h"
#include "app/SettingsWindow.h"
#include "app/TerminalLauncher.h"
#include "app/Theme.h"
#include "browser/operations/DialogPrompter.h"
#include "browser/operations/OperationsPanel.h"
#include "browser/pane/PaneView.h"
#include "browser/preview/PanePreview.h"
#include "browser/tags/TagIntegration.h"
#include "browser/window/BrowserWindow.h"
#include "browser/window/PaneContainer.h"
#include "core/AppDefaults.h"
#include "core/AppLocale.h"
#include "core/PathText.h"
#include "core/Preferences.h"
#include "core/WorkPools.h"
#include "operations/FileOperationManager.h"
#include "operations/OperationAlerts.h"
#include "operations/OperationsStore.h"
#include "operations/RenameJournal.h"
#include "operations/StagingJournal.h"
#include "platform/DirectoryScanner.h"
#include "platform/ProcessInfo.h"
#include "preview/FilePreview.h"
#include "tags/TagStore.h"

#include <QApplication>
#include <QDir>
#include <QEvent>
#include <QFileInfo>
#include <QIcon>
#include <QMessageBox>
#include <QScreen>
#include <QStandardPaths>
#include <QTimer>
#include <QtConcurrent>
#include <algorithm>
#include <cstdio>

namespace fs = std::filesystem;

namespace {

// How far a new window sits from the key window, so both title bars stay visible.
constexpr int kCascadeOffset = 26;
// How long a start by D-Bus waits for the call that caused it.
constexpr std::chrono::milliseconds kBusCallGrace{3000};

Location home()
{
    return Location::folder(PathText::homeFolder());
}

void bringToFront(BrowserWindow* window)
{
    if (window->isMinimized())
        window->showNormal();
    window->show();
    window->raise();
    window->activateWindow();
}

} // namespace

Application::Application(QObject* parent)
    : QObject(parent)
    , m_operationsPanel(std::make_unique<OperationsPanel>(OperationsStore::shared()))
    , m_maintenance(
          std::make_unique<AppMaintenance>([this] { return frontWindow(); }, [this] { quit(); }))
    , m_isRunningTests(qEnvironmentVariableIsSet("QUILLO_TEST_RUN"))
    , m_quitsWithLastWindow(!m_isRunningTests)
{
    // Undo and redo have no window of their own; their alerts are application-modal.
    FileOperationManager::shared().setFallbackPrompter(std::make_shared<DialogPrompter>(nullptr));
    // The panel sits on the window in front, where the work was most likely started.
    m_operationsPanel->setAnchor([this]() -> QWidget* {
        const std::vector<BrowserWindow*> ordered = frontToBack();
        return ordered.empty() ? nullptr : ordered.front();
    });
    // Logging out ends the program without a quit command; the session is saved then too.
    connect(qApp, &QCoreApplication::aboutToQuit, this, &Application::beginTerminating);
}

Application::~Application()
{
    if (AppCommands::installed() == this)
        AppCommands::install(nullptr);
    const std::vector<BrowserWindow*> windows = m_controllers;
    m_controllers.clear();
    for (BrowserWindow* window : windows) {
        disconnect(window, nullptr, this, nullptr);
        delete window;
    }
}

void Application::prepareProcess()
{
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    const char* const sandboxKey = "QTWEBENGINE_DISABLE_SANDBOX";
    if (ProcessInfo::runsAsRoot() && !qEnvironmentVariableIsSet(sandboxKey)) {
        qputenv(sandboxKey, "1");
        std::fputs("quillo: running as root, so the web preview's sandbox is switched off\n",
                   stderr);
    }
}

void Application::configure()
{
    QApplication::setApplicationName(QStringLiteral("Quillo"));
    QApplication::setApplicationDisplayName(QStringLiteral("Quillo"));
    QApplication::setApplicationVersion(QStringLiteral(QUILLO_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("app.quillo.Quillo"));
    installAppLocale();
    installIconTheme();
}

void Application::installIconTheme()
{
    // Outside a full desktop session (bare X, a tiling window manager) Qt names no
    // theme and searches only its own resources: add the freedesktop folders and
    // use Adwaita, which Debian installs, for what the desktop's theme lacks.
    QStringList paths = QIcon::themeSearchPaths();
    QStringList folders{QDir::homePath() + QStringLiteral("/.icons")};
    for (const QString& data :
         QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation))
        folders.append(data + QStringLiteral("/icons"));
    for (const QString& folder : folders) {
        if (!paths.contains(folder))
            paths.append(folder);
    }
    QIcon::setThemeSearchPaths(paths);
    const QString adwaita = QStringLiteral("Adwaita");
    const bool installed = std::any_of(paths.begin(), paths.end(), [&](const QString& folder) {
        return QFileInfo::exists(folder + QLatin1Char('/') + adwaita +
                                 QStringLiteral("/index.theme"));
    });
    if (!installed)
        return;
    if (QIcon::themeName().isEmpty() || QIcon::themeName() == QStringLiteral("hicolor"))
        QIcon::setThemeName(adwaita);
    QIcon::setFallbackThemeName(adwaita);
}

void Application::start(const std::vector<fs::path>& items, bool startedByBus)
{
    if (!m_isRunningTests)
        LegacyMigration::runIfNeeded(AppDefaults::standard(), PathText::dataHome());
    Theme::shared().apply();
    TagIntegration::install(TagStore::shared());
    AppCommands::install(this);
    if (m_isRunningTests)
        return;
    if (startedByBus && items.empty()) {
        restoreSession();
        // The call arrives once the event loop runs; a home window only when it
        // brought nothing to show, so that we never run without a window.
        QTimer::singleShot(kBusCallGrace, this, [this] {
            if (m_controllers.empty() && !m_isTerminating)
                reopen();
        });
    } else if (items.empty()) {
        restoreSessionOrOpenHome();
    } else {
        restoreSession();
        openItems(items);
    }
    // Items that other programs moved while we were not running.
    TagStore::shared().resolveMovedItems();
    // The move offer, then the launch-time update check.
    m_maintenance->startUp();
    // Hidden partial copies, half-done moves and bulk renames of a run that was killed.
    QtConcurrent::run(&WorkPools::transfers(), [] {
        const QString transfers = StagingJournal::shared().recover().alertText();
        const QString renames = RenameJournal::shared().recover().alertText();
        return QStringList{transfers, renames};
    }).then(this, [this](QStringList texts) {
        texts.removeAll(QString());
        if (!texts.isEmpty())
            DialogPrompter(keyWindow())
                .present(OperationAlerts::message(texts.join(QStringLiteral("\n\n"))),
                         [](Alert::Response) {});
    });
}

BrowserWindow* Application::makeWindow(const PaneLayout& layout)
{
    auto* window = new BrowserWindow(layout);
    m_controllers.push_back(window);
    window->installEventFilter(this);
    connect(window, &BrowserWindow::tabClosed, this, [this](const Location& location) {
        if (!m_isTerminating)
            m_closedTabs.push_back(location);
    });
    connect(window, &BrowserWindow::closing, this, [this, window] { windowClosing(window); });
    connect(window, &QObject::destroyed, this, [this, window] { forget(window); });
    return window;
}

void Application::place(BrowserWindow* window, const std::optional<QRect>& frame) const
{
    if (frame) {
        window->setGeometry(*frame);
        return;
    }
    BrowserWindow* key = keyWindow();
    QScreen* screen = key ? key->screen() : QGuiApplication::primaryScreen();
    if (!screen)
        return;
    const QRect available = screen->availableGeometry();
    if (!key) {
        const QPoint centred =
            available.center() - QPoint(window->width() / 2, window->height() / 2);
        // A window larger than the screen keeps its title bar on it.
        window->move(std::max(centred.x(), available.left()),
                     std::max(centred.y(), available.top()));
        return;
    }
    QPoint topLeft = key->frameGeometry().topLeft() + QPoint(kCascadeOffset, kCascadeOffset);
    // Past the screen's edge the cascade starts again at its corner.
    if (!available.contains(QRect(topLeft, window->frameGeometry().size())))
        topLeft = available.topLeft();
    window->move(topLeft);
}

BrowserWindow* Application::openWindow(const PaneLayout& layout, const std::optional<QRect>& frame)
{
    BrowserWindow* window = makeWindow(layout);
    place(window, frame);
    bringToFront(window);
    return window;
}

BrowserWindow* Application::openTab(const Location& location, BrowserWindow* besides)
{
    besides->newTab(location);
    bringToFront(besides);
    return besides;
}

BrowserWindow* Application::keyWindow() const
{
    for (BrowserWindow* window : m_controllers) {
        if (window->isActiveWindow())
            return window;
    }
    if (!QApplication::activeWindow())
        return nullptr;
    const std::vector<BrowserWindow*> ordered = frontToBack();
    if (ordered.empty() || !m_activated.contains(ordered.front()))
        return nullptr;
    return ordered.front();
}

QWidget* Application::frontWindow() const
{
    if (BrowserWindow* key = keyWindow())
        return key;
    const std::vector<BrowserWindow*> ordered = frontToBack();
    return ordered.empty() ? nullptr : ordered.front();
}

std::vector<BrowserWindow*> Application::frontToBack() const
{
    std::vector<BrowserWindow*> ordered = m_controllers;
    auto stamp = [this](BrowserWindow* window) {
        const auto it = m_activated.find(window);
        return it == m_activated.end() ? uint64_t(0) : it->second;
    };
    std::stable_sort(ordered.begin(), ordered.end(),
                     [&](BrowserWindow* a, BrowserWindow* b) { return stamp(a) > stamp(b); });
    return ordered;
}

bool Application::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::WindowActivate) {
        if (auto* window = qobject_cast<BrowserWindow*>(watched))
            m_activated[window] = ++m_activationCount;
    }
    return QObject::eventFilter(watched, event);
}

BrowserWindow* Application::openFromOutside(const fs::path& folder)
{
    const fs::path wanted = PathText::standardized(folder);
    for (BrowserWindow* window : m_controllers) {
        for (int i = 0; i < window->tabCount(); ++i) {
            const Location& shown = window->containerAt(i)->activePane()->location();
            if (shown.isFolder() && shown.path().native() == wanted.native()) {
                window->setCurrentTabIndex(i);
                bringToFront(window);
                return window;
            }
        }
    }
    BrowserWindow* target = keyWindow();
    if (!target && !m_controllers.empty())
        target = m_controllers.back();
    if (!target)
        return openWindow(PaneLayout::onePane(Location::folder(wanted).toText()));
    return openTab(Location::folder(wanted), target);
}

void Application::openItems(const std::vector<fs::path>& paths)
{
    if (paths.empty()) {
        reopen();
        return;
    }
    std::vector<fs::path> others;
    for (const fs::path& path : paths) {
        if (DirectoryScanner::isDirectory(path))
            openFromOutside(path);
        else
            others.push_back(path);
    }
    showGrouped(others);
}

void Application::showItems(const std::vector<fs::path>& paths)
{
    showGrouped(paths);
}

void Application::showGrouped(const std::vector<fs::path>& items)
{
    // Grouped by parent folder, parents in the order they were first met.
    std::vector<std::pair<fs::path, std::vector<fs::path>>> groups;
    for (const fs::path& item : items) {
        const fs::path path = PathText::standardized(item);
        const fs::path parent = PathText::parent(path);
        auto group = std::find_if(groups.begin(), groups.end(), [&](const auto& g) {
            return g.first.native() == parent.native();
        });
        if (group == groups.end())
            groups.push_back({parent, {path}});
        else
            group->second.push_back(path);
    }
    for (const auto& [parent, selected] : groups) {
        BrowserWindow* window = openFromOutside(parent);
        PaneView* pane = window->activePane();
        // One previewable item handed in is what the person wants to look at.
        // A folder named like a document ("notes.md") has nothing to preview.
        if (selected.size() == 1 && FilePreview::kind(selected.front()) &&
            !DirectoryScanner::isDirectory(selected.front()))
            pane->preview()->showItem(selected.front());
        pane->navigate(Location::folder(parent), selected.front());
        if (selected.size() > 1)
            pane->selectWhenListed(selected);
    }
}

void Application::reopen()
{
    const std::vector<BrowserWindow*> ordered = frontToBack();
    if (ordered.empty())
        openWindow(PaneLayout::onePane(home().toText()));
    else
        bringToFront(ordered.front());
}

bool Application::restoreSession()
{
    const auto saved = SessionStore::load();
    if (!saved)
        return false;
    const std::vector<SavedWindow> windows =
        SessionStore::restorable(*saved, &SessionStore::locationExists);
    // Each window comes forward in its turn, so the last one ends in front.
    for (const SavedWindow& saved : windows) {
        BrowserWindow* window = makeWindow(saved.tabs.front());
        for (size_t i = 1; i < saved.tabs.size(); ++i)
            window->addTab(saved.tabs[i]);
        window->setCurrentTabIndex(saved.selectedIndex);
        place(window, SessionStore::frameFromText(saved.frame));
        bringToFront(window);
    }
    return !windows.empty();
}

void Application::restoreSessionOrOpenHome()
{
    if (!restoreSession())
        openWindow(PaneLayout::onePane(home().toText()));
}

std::vector<SavedWindow> Application::currentSession() const
{
    std::vector<SavedWindow> session;
    for (BrowserWindow* window : frontToBack()) {
        std::vector<PaneLayout> tabs = window->tabLayouts();
        if (tabs.empty())
            continue;
        session.push_back({SessionStore::frameText(window->geometry()), std::move(tabs),
                           std::max(0, window->currentTabIndex())});
    }
    return session;
}

void Application::saveSession() const
{
    SessionStore::save(currentSession());
}

void Application::windowClosing(BrowserWindow* window)
{
    if (std::find(m_controllers.begin(), m_controllers.end(), window) == m_controllers.end())
        return;
    if (!m_isTerminating && m_quitsWithLastWindow && m_controllers.size() == 1) {
        // Closing the last window is quitting: it is saved with the session, not
        // pushed as closed tabs, and windows of other kinds close with it.
        beginTerminating();
        QMetaObject::invokeMethod(this, &Application::quit, Qt::QueuedConnection);
    }
    if (!m_isTerminating) {
        // Every tab of the window can come back, the current one last so first.
        const int current = window->currentTabIndex();
        for (int i = 0; i < window->tabCount(); ++i) {
            if (i != current)
                m_closedTabs.push_back(window->containerAt(i)->activePane()->location());
        }
        if (current >= 0)
            m_closedTabs.push_back(window->containerAt(current)->activePane()->location());
    }
    forget(window);
}

void Application::forget(BrowserWindow* window)
{
    std::erase(m_controllers, window);
    m_activated.erase(window);
}

void Application::beginTerminating()
{
    if (m_isTerminating)
        return;
    m_isTerminating = true;
    saveSession();
    TagStore::shared().waitForSaved();
}

void Application::newWindow()
{
    openWindow(PaneLayout::onePane(home().toText()));
}

void Application::reopenClosedTab()
{
    if (m_closedTabs.empty())
        return;
    const Location location = m_closedTabs.back();
    m_closedTabs.pop_back();
    if (BrowserWindow* key = keyWindow())
        openTab(location, key);
    else
        openWindow(PaneLayout::onePane(location.toText()));
}

bool Application::canReopenClosedTab() const
{
    return !m_closedTabs.empty();
}

void Application::showSettings()
{
    SettingsWindow::showShared();
}

void Application::showAbout()
{
    QMessageBox::about(
        keyWindow(), QStringLiteral("Quillo について"),
        QStringLiteral("<b>Quillo</b><br>バージョン %1").arg(QApplication::applicationVersion()));
}

void Application::quit()
{
    beginTerminating();
    QApplication::closeAllWindows();
    if (!m_isRunningTests)
        QCoreApplication::quit();
}

bool Application::canOpenInTerminal() const
{
    return TerminalLauncher::selected(Preferences::shared().terminalIdentifier()).has_value();
}

void Application::openInTerminal(const std::filesystem::path& folder)
{
    const Preferences& preferences = Preferences::shared();
    (void)TerminalLauncher::open(folder, preferences.terminalIdentifier(),
                                 preferences.openTerminalInNewTab());
}

bool Application::canOpenInEditor() const
{
    return EditorLauncher::selected(Preferences::shared().editorIdentifier()).has_value();
}

void Application::openInEditor(const std::vector<std::filesystem::path>& paths)
{
    (void)EditorLauncher::open(paths, Preferences::shared().editorIdentifier());
}

QString Application::terminalUnavailableReason() const
{
    return TerminalLauncher::unavailableReason();
}

QString Application::editorUnavailableReason() const
{
    return EditorLauncher::unavailableReason();
}

void Application::checkForUpdates()
{
    m_maintenance->checkForUpdates();
}

void Application::installCommandLineTool()
{
    m_maintenance->installCommandLineTool();
}
