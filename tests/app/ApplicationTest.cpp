#include "app/Application.h"

#include "browser/PaneTesting.h"
#include "browser/preview/PanePreview.h"
#include "browser/preview/PreviewWidget.h"
#include "browser/window/BrowserWindow.h"
#include "browser/window/PaneContainer.h"
#include "core/AppDefaults.h"
#include "core/PathText.h"
#include "core/Preferences.h"

#include <QFile>
#include <QIcon>
#include <QSettings>
#include <QTest>

namespace fs = std::filesystem;
using namespace testing_pane;

void PrintTo(const SavedWindow& window, std::ostream* out)
{
    *out << SessionStore::encode({window}).constData();
}

namespace {

QString text(const fs::path& folder)
{
    return Location::folder(folder).toText();
}

fs::path shownIn(BrowserWindow* window, int tab = -1)
{
    PaneContainer* container = tab < 0 ? window->currentContainer() : window->containerAt(tab);
    return container->activePane()->location().path();
}

class ApplicationTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        for (const char* name : {"a", "b", "c", "d"})
            dir.folder(name);
        app.start();
    }

    void saveSession(const std::vector<SavedWindow>& windows)
    {
        AppDefaults::standard().setValue(SessionStore::kKey, SessionStore::encode(windows));
    }
    // The folder each open window shows in its current tab, in creation order.
    std::vector<fs::path> shownFolders() const
    {
        std::vector<fs::path> folders;
        for (BrowserWindow* window : app.controllers())
            folders.push_back(shownIn(window));
        return folders;
    }
    int totalTabs() const
    {
        int tabs = 0;
        for (BrowserWindow* window : app.controllers())
            tabs += window->tabCount();
        return tabs;
    }
    BrowserWindow* open(const char* name)
    {
        return app.openWindow(PaneLayout::onePane(text(dir / name)));
    }
    static void closeAndSettle(BrowserWindow* window)
    {
        window->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    ScratchSettings settings;
    TempDir dir;
    Application app;
};

TEST_F(ApplicationTest, StartsUnderTestsWithoutWindowsButWithItsCommands)
{
    EXPECT_TRUE(app.isRunningTests());
    EXPECT_TRUE(app.controllers().empty());
    EXPECT_EQ(AppCommands::installed(), &app);
}

TEST_F(ApplicationTest, RestoresWindowsWithTheirTabsSelectionAndFrame)
{
    saveSession({
        {"{{120, 80}, {900, 600}}",
         {PaneLayout::onePane(text(dir / "a")), PaneLayout::onePane(text(dir / "b")),
          PaneLayout::onePane(text(dir / "c"))},
         1},
        {"{{200, 150}, {700, 500}}", {PaneLayout::onePane(text(dir / "d"))}, 0},
    });
    ASSERT_TRUE(app.restoreSession());
    ASSERT_EQ(app.controllers().size(), 2u);
    BrowserWindow* first = app.controllers()[0];
    ASSERT_EQ(first->tabCount(), 3);
    EXPECT_EQ(first->currentTabIndex(), 1);
    EXPECT_EQ(shownIn(first, 0), dir / "a");
    EXPECT_EQ(shownIn(first, 2), dir / "c");
    EXPECT_EQ(first->geometry(), QRect(120, 80, 900, 600));
    EXPECT_EQ(app.controllers()[1]->geometry(), QRect(200, 150, 700, 500));
    EXPECT_EQ(shownIn(app.controllers()[1]), dir / "d");
}

TEST_F(ApplicationTest, NothingRestorableStartsWithOneHomeWindow)
{
    fs::create_directory(dir / "gone");
    const SavedWindow deleted{"{{0, 0}, {800, 600}}", {PaneLayout::onePane(text(dir / "gone"))}, 0};
    fs::remove(dir / "gone");
    // The session store's own test has every kind of flaw; one of each way here.
    const std::vector<QByteArray> sessions{SessionStore::encode({deleted}), "garbage"};
    for (const QByteArray& session : sessions) {
        AppDefaults::standard().setValue(SessionStore::kKey, session);
        EXPECT_FALSE(app.restoreSession()) << session.constData();
        EXPECT_TRUE(app.controllers().empty()) << session.constData();
        app.restoreSessionOrOpenHome();
        EXPECT_EQ(shownFolders(), std::vector<fs::path>{PathText::homeFolder()});
        delete app.controllers().front();
    }
}

TEST_F(ApplicationTest, SavedSessionRestoresTheSameLayoutsFromTheStandardFile)
{
    qputenv("QUILLO_DEFAULTS_SUITE", "Other");
    AppDefaults::resetForTesting();
    Preferences::shared().setShowHiddenFiles(true); // goes to the suite

    BrowserWindow* window = open("a");
    window->currentContainer()->split(Qt::Vertical);
    window->newTab(Location::folder(dir / "b"));
    window->setCurrentTabIndex(0);
    window->setGeometry(40, 50, 600, 400);
    BrowserWindow* other = open("c");
    other->setGeometry(60, 70, 500, 300);
    ASSERT_TRUE(QTest::qWaitForWindowActive(other));
    const std::vector<SavedWindow> before = app.currentSession();
    // Front-most first: the window opened last has the focus.
    ASSERT_EQ(before.size(), 2u);
    EXPECT_EQ(before[0].tabs.size(), 1u);
    ASSERT_EQ(before[1].tabs.size(), 2u);
    EXPECT_EQ(before[1].tabs[0].paths.size(), 2);
    app.saveSession();
    Preferences::shared().setShowHiddenFiles(false);

    EXPECT_TRUE(QSettings(QString::fromStdString(settings.file("Quillo")), QSettings::IniFormat)
                    .contains(SessionStore::kKey));
    const QSettings suite(QString::fromStdString(settings.file("Other")), QSettings::IniFormat);
    EXPECT_TRUE(suite.contains("showHiddenFiles"));
    EXPECT_FALSE(suite.contains(SessionStore::kKey));

    while (!app.controllers().empty())
        delete app.controllers().front();
    ASSERT_TRUE(app.restoreSession());
    ASSERT_EQ(app.controllers().size(), 2u);
    ASSERT_TRUE(QTest::qWaitForWindowActive(app.controllers().back()));
    std::vector<SavedWindow> after = app.currentSession();
    // The restore brings each window forward in saved order, so the order turns round.
    std::reverse(after.begin(), after.end());
    EXPECT_EQ(after, before);
}

TEST_F(ApplicationTest, ClosedTabsFillWhileRunningButNotWhenQuitting)
{
    BrowserWindow* first = open("a");
    BrowserWindow* second = open("b");
    BrowserWindow* third = open("c");
    third->newTab(Location::folder(dir / "d"));
    third->closeCurrentTab();
    closeAndSettle(first);
    closeAndSettle(second);
    EXPECT_EQ(app.closedTabs(),
              (std::vector<Location>{Location::folder(dir / "d"), Location::folder(dir / "a"),
                                     Location::folder(dir / "b")}));
    EXPECT_EQ(app.controllers(), std::vector<BrowserWindow*>{third});

    // The most recently closed comes back first.
    ASSERT_TRUE(app.canReopenClosedTab());
    app.reopenClosedTab();
    app.reopenClosedTab();
    EXPECT_EQ(totalTabs(), 3);
    EXPECT_EQ(app.closedTabs(), std::vector<Location>{Location::folder(dir / "d")});
    std::vector<fs::path> reopened;
    for (BrowserWindow* window : app.controllers()) {
        for (int i = 0; i < window->tabCount(); ++i) {
            if (shownIn(window, i) != dir / "c")
                reopened.push_back(shownIn(window, i));
        }
    }
    std::sort(reopened.begin(), reopened.end());
    EXPECT_EQ(reopened, (std::vector<fs::path>{dir / "a", dir / "b"}));

    open("a");
    app.quit();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(app.isTerminating());
    EXPECT_TRUE(app.controllers().empty());
    EXPECT_EQ(app.closedTabs(), std::vector<Location>{Location::folder(dir / "d")});
}

TEST_F(ApplicationTest, AClosedWindowKeepsEveryTabAndTheLastSavesTheSessionAndQuits)
{
    app.setQuitsWithLastWindow(true);
    BrowserWindow* first = open("a");
    first->newTab(Location::folder(dir / "b"));
    first->newTab(Location::folder(dir / "c"));
    first->setCurrentTabIndex(1);
    BrowserWindow* last = open("d");
    closeAndSettle(first);
    // The tab that was current comes back first.
    EXPECT_EQ(app.closedTabs(),
              (std::vector<Location>{Location::folder(dir / "a"), Location::folder(dir / "c"),
                                     Location::folder(dir / "b")}));
    closeAndSettle(last);
    EXPECT_TRUE(app.isTerminating());
    EXPECT_EQ(app.closedTabs().size(), 3u);
    const auto saved = SessionStore::load();
    ASSERT_TRUE(saved);
    ASSERT_EQ(saved->size(), 1u);
    ASSERT_EQ(saved->front().tabs.size(), 1u);
    EXPECT_EQ(saved->front().tabs[0].paths, QStringList{text(dir / "d")});
}

TEST_F(ApplicationTest, ReopeningWithoutAnyWindowOpensOne)
{
    closeAndSettle(open("b"));
    ASSERT_TRUE(app.controllers().empty());
    app.reopenClosedTab();
    EXPECT_EQ(shownFolders(), std::vector<fs::path>{dir / "b"});
    EXPECT_FALSE(app.canReopenClosedTab());
    app.reopenClosedTab(); // nothing left: nothing happens
    EXPECT_EQ(totalTabs(), 1);
}

TEST_F(ApplicationTest, AFolderAlreadyShownBringsItsWindowForward)
{
    BrowserWindow* first = open("a");
    first->newTab(Location::folder(dir / "b"));
    first->setCurrentTabIndex(0);
    BrowserWindow* second = open("c");
    ASSERT_TRUE(QTest::qWaitForWindowActive(second));

    EXPECT_EQ(app.openFromOutside(dir / "b/"), first);
    EXPECT_EQ(totalTabs(), 3);
    EXPECT_EQ(first->currentTabIndex(), 1);
    ASSERT_TRUE(QTest::qWaitForWindowActive(first));
    EXPECT_EQ(app.keyWindow(), first);

    // A folder not shown anywhere becomes a tab of the key window.
    EXPECT_EQ(app.openFromOutside(dir / "d"), first);
    EXPECT_EQ(first->tabCount(), 3);
    EXPECT_EQ(shownIn(first), dir / "d");
    EXPECT_EQ(second->tabCount(), 1);
}

TEST_F(ApplicationTest, HandedInFilesAreShownSelectedInTheirParents)
{
    const fs::path one = dir.file("x/one.txt");
    const fs::path two = dir.file("x/two.txt");
    dir.file("x/three.txt");
    const fs::path alone = dir.file("y/alone");
    app.openItems({one, dir / "a", alone, two});

    // The folder opens first; then one tab per parent, parents in first-seen order.
    ASSERT_EQ(app.controllers().size(), 1u);
    BrowserWindow* window = app.controllers().front();
    ASSERT_EQ(window->tabCount(), 3);
    EXPECT_EQ(shownIn(window, 0), dir / "a");
    EXPECT_EQ(shownIn(window, 1), dir / "x");
    EXPECT_EQ(shownIn(window, 2), dir / "y");
    PaneView* x = window->containerAt(1)->activePane();
    PaneView* y = window->containerAt(2)->activePane();
    EXPECT_TRUE(QTest::qWaitFor([&] { return x->selectedPaths().size() == 2; }, kTimeoutMs));
    EXPECT_EQ(selectedNames(*x), (QStringList{"one.txt", "two.txt"}));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !y->selectedPaths().empty(); }, kTimeoutMs));
    EXPECT_EQ(y->selectedPaths(), std::vector<fs::path>{alone});

    // ShowItems semantics: a folder too is shown selected in its parent.
    app.showItems({dir / "b"});
    PaneView* parent = window->activePane();
    EXPECT_EQ(parent->location().path(), dir.path());
    EXPECT_TRUE(QTest::qWaitFor([&] { return !parent->selectedPaths().empty(); }, kTimeoutMs));
    EXPECT_EQ(parent->selectedPaths(), std::vector<fs::path>{dir / "b"});
}

TEST_F(ApplicationTest, OneHandedInPreviewableFileIsShownInItsPanesPreview)
{
    Preferences::shared().setMarkdownPreview(false);
    const fs::path note = dir.file("x/note.md", "# note\n");
    const fs::path text = dir.file("y/plain.txt", "plain\n");
    const fs::path other = dir.file("y/other.md", "# other\n");
    const fs::path folder = dir.folder("z/notes.md");
    app.showItems({note});
    PaneView* pane = app.controllers().front()->activePane();
    EXPECT_TRUE(pane->preview()->isShown());
    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return pane->preview()->previewWidget()->shownFile() == note; }, kTimeoutMs));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !pane->selectedPaths().empty(); }, kTimeoutMs));
    EXPECT_EQ(pane->preview()->previewWidget()->shownFile(), note);
    EXPECT_FALSE(Preferences::shared().markdownPreview()); // the setting stays as it was

    // Not previewable, a folder, or more than one item: the preview stays as the setting says.
    for (const std::vector<fs::path>& items :
         {std::vector{text}, std::vector{folder}, std::vector{text, other}}) {
        app.showItems(items);
        EXPECT_FALSE(app.controllers().front()->activePane()->preview()->isShown());
    }
}

TEST_F(ApplicationTest, ALaunchWithoutItemsOpensHomeOnlyWhenNoWindowIsOpen)
{
    app.openItems({});
    EXPECT_EQ(shownFolders(), std::vector<fs::path>{PathText::homeFolder()});
    app.openItems({});
    EXPECT_EQ(totalTabs(), 1);
}

// A bare X session names no icon theme and Qt then searches only its resources.
TEST(ApplicationIconTheme, FallsBackToAdwaitaWhenTheDesktopNamesNoUsableTheme)
{
    const QStringList searchPaths = QIcon::themeSearchPaths();
    const QString theme = QIcon::themeName();
    for (const QString& desktopTheme :
         {QString(), QStringLiteral("hicolor"), QStringLiteral("None")}) {
        for (const QStringList& paths : {QStringList{":/icons"}, searchPaths}) {
            QIcon::setThemeSearchPaths(paths);
            QIcon::setThemeName(desktopTheme);
            Application::configure();
            EXPECT_FALSE(QIcon::fromTheme("go-previous").isNull()) << desktopTheme.toStdString();
            EXPECT_EQ(QIcon::themeName(), desktopTheme == "None" ? "None" : "Adwaita");
        }
    }
    QIcon::setThemeSearchPaths(searchPaths);
    QIcon::setThemeName(theme);
}

// "Show in folder" from another program starts the installed Quillo through these.
TEST(ApplicationBusActivation, ServiceFilesStartTheInstalledProgramForBothNames)
{
    const QString build = QCoreApplication::applicationDirPath() + "/../";
    QFile cache(build + "CMakeCache.txt");
    ASSERT_TRUE(cache.open(QIODevice::ReadOnly));
    QString prefix;
    for (const QByteArray& line : cache.readAll().split('\n')) {
        if (line.startsWith("CMAKE_INSTALL_PREFIX:"))
            prefix = QString::fromUtf8(line.mid(line.indexOf('=') + 1));
    }
    ASSERT_FALSE(prefix.isEmpty());
    for (const auto& [file, name] :
         {std::pair{"app.quillo.Quillo", "app.quillo.Quillo"},
          {"app.quillo.Quillo.FileManager1", "org.freedesktop.FileManager1"}}) {
        const QSettings service(build + "data/" + file + ".service", QSettings::IniFormat);
        EXPECT_EQ(service.value("D-BUS Service/Name").toString(), name);
        EXPECT_EQ(service.value("D-BUS Service/Exec").toString(),
                  prefix + "/bin/quillo --dbus-activated");
    }
}

} // namespace
