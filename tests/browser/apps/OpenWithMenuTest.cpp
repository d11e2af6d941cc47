#include "browser/apps/OpenWithMenu.h"

#include "browser/apps/ApplicationChooser.h"
#include "platform/DesktopApps.h"
#include "support/TempDir.h"

#include <QLineEdit>
#include <QListWidget>
#include <QTest>
#include <QWidget>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

constexpr int kTimeoutMs = 10000;

fs::path envPath(const char* name)
{
    return fs::path(qgetenv(name).toStdString());
}

fs::path applicationsFolder()
{
    return envPath("XDG_DATA_HOME") / "applications";
}

// Lines of someone else's that a new default must leave as they are.
const std::string kOwnList = "# kept\r\n[Added Associations]\ntext/plain=gamma.desktop;\n\n"
                             "[Default Applications]\nimage/png = gamma.desktop;\n"
                             "text/plain=beta.desktop;\n";

const char* const kGone = "Name=Gone\nMimeType=text/plain;\n";

void writeEntry(const std::string& name, const char* body)
{
    std::ofstream(applicationsFolder() / (name + ".desktop"))
        << "[Desktop Entry]\nType=Application\nExec="
        << (applicationsFolder() / "record.sh").native() << ' ' << name << " %F\n"
        << body;
}

// Desktop entries and a mimeapps.list in the scratch folders, written before GIO first
// reads them: GIO keeps what it read. Each entry runs a script that records its
// arguments in "<name>.args" beside it.
class FakeApplications : public ::testing::Environment {
public:
    void SetUp() override
    {
        const fs::path apps = applicationsFolder();
        fs::create_directories(apps);
        const fs::path script = apps / "record.sh";
        std::ofstream(script)
            << "#!/bin/sh\nout=\"$(dirname \"$0\")/$1.args\"\nshift\n"
               "printf '%s\\n' \"$@\" > \"$out.part\" && mv \"$out.part\" \"$out\"\n";
        fs::permissions(script, fs::perms::owner_all);
        const std::pair<std::string, const char*> entries[] = {
            {"alpha", "Name=Alpha Viewer\nMimeType=text/plain;\n"},
            {"beta", "Name=Beta Editor\nMimeType=text/plain;\n"},
            {"gamma", "Name=Gamma Studio\nMimeType=text/plain;image/png;\n"},
            {"app.quillo.Quillo", "Name=Quillo\nMimeType=text/plain;\n"},
            {"gone", kGone},
        };
        for (const auto& [name, body] : entries)
            writeEntry(name, body);
        // GIO finds applications by type through the cache update-desktop-database writes.
        std::ofstream(apps / "mimeinfo.cache")
            << "[MIME Cache]\ntext/plain=alpha.desktop;beta.desktop;gamma.desktop;"
               "app.quillo.Quillo.desktop;gone.desktop;\nimage/png=gamma.desktop;\n";
        fs::create_directories(envPath("XDG_CONFIG_HOME"));
        std::ofstream(envPath("XDG_CONFIG_HOME") / "mimeapps.list", std::ios::binary) << kOwnList;
    }
};
const auto* const fakeApplications = ::testing::AddGlobalTestEnvironment(new FakeApplications);

class RecordingPrompter : public Prompter {
public:
    std::vector<Alert> shown;
    void present(const Alert& alert, std::function<void(Alert::Response)>) override
    {
        shown.push_back(alert);
    }
};

class OpenWithMenuTest : public ::testing::Test {
protected:
    TempDir dir;
    QWidget window;
    std::shared_ptr<RecordingPrompter> prompter = std::make_shared<RecordingPrompter>();

    void TearDown() override
    {
        for (const char* name : {"alpha", "beta", "gamma"})
            fs::remove(applicationsFolder() / (std::string(name) + ".args"));
    }

    std::unique_ptr<OpenWithMenu> menuFor(std::vector<fs::path> files)
    {
        auto menu =
            std::make_unique<OpenWithMenu>(std::move(files), &window, [p = prompter] { return p; });
        Q_EMIT menu->aboutToShow();
        return menu;
    }

    static QStringList titles(const QMenu& menu)
    {
        QStringList texts;
        for (const QAction* item : menu.actions())
            texts.append(item->isSeparator() ? QStringLiteral("-") : item->text());
        return texts;
    }

    static QAction* item(const QMenu& menu, const QString& text)
    {
        for (QAction* action : menu.actions()) {
            if (action->text() == text)
                return action;
        }
        return nullptr;
    }

    static std::string recorded(const char* app)
    {
        const fs::path file = applicationsFolder() / (std::string(app) + ".args");
        QTest::qWaitFor([&] { return fs::exists(file); }, kTimeoutMs);
        return fs::exists(file) ? readFile(file) : std::string();
    }
};

TEST_F(OpenWithMenuTest, ListsTheTypesApplicationsDefaultFirstWithoutQuillo)
{
    auto menu = menuFor({dir.file("notes.txt")});
    const QStringList shown = titles(*menu);
    ASSERT_GE(shown.size(), 5);
    EXPECT_EQ(shown.first(), "Beta Editor（デフォルト）");
    for (const char* name : {"Alpha Viewer", "Gamma Studio"})
        EXPECT_TRUE(shown.contains(name)) << name;
    EXPECT_FALSE(shown.contains("Quillo"));
    EXPECT_EQ(shown.mid(shown.size() - 3),
              QStringList({"-", "その他のアプリケーション…", "常にこのアプリケーションで開く"}));
    ASSERT_TRUE(menu->alwaysMenu());
    EXPECT_TRUE(menu->alwaysMenu()->isEnabled());
    EXPECT_EQ(titles(*menu->alwaysMenu()).mid(0, shown.size() - 1), shown.mid(0, shown.size() - 1));
}

TEST_F(OpenWithMenuTest, FilesOfSeveralTypesListTheApplicationsCommonToThem)
{
    auto menu = menuFor({dir.file("a.txt"), dir.file("b.png")});
    const QStringList shown = titles(*menu);
    EXPECT_TRUE(shown.contains("Gamma Studio"));
    EXPECT_FALSE(shown.contains("Alpha Viewer"));
    EXPECT_FALSE(shown.contains("Beta Editor（デフォルト）"));
    EXPECT_FALSE(menu->alwaysMenu()->isEnabled());
}

TEST_F(OpenWithMenuTest, ChoosingOneOpensEveryFileWithIt)
{
    const fs::path odd = dir.file("a b\xff.txt");
    const fs::path plain = dir.file("plain.txt");
    auto menu = menuFor({odd, plain});
    item(*menu, "Alpha Viewer")->trigger();
    EXPECT_EQ(recorded("alpha"), odd.native() + "\n" + plain.native() + "\n");
    EXPECT_TRUE(prompter->shown.empty());
}

TEST_F(OpenWithMenuTest, AnyOtherApplicationThroughTheChooser)
{
    const fs::path file = dir.file("notes.txt");
    window.show();
    auto menu = menuFor({file});
    item(*menu, OpenWithMenu::otherTitle())->trigger();
    auto* chooser = window.findChild<ApplicationChooser*>();
    ASSERT_TRUE(chooser);
    EXPECT_TRUE(chooser->list()->findItems("Quillo", Qt::MatchExactly).isEmpty());
    QTest::keyClicks(chooser->searchField(), "beta");
    QTest::keyClick(chooser->searchField(), Qt::Key_Return);
    EXPECT_EQ(recorded("beta"), file.native() + "\n");
}

TEST_F(OpenWithMenuTest, AlwaysSetsTheDefaultKeepingTheRestOfTheListThenOpens)
{
    const fs::path file = dir.file("notes.txt");
    const fs::path list = envPath("XDG_CONFIG_HOME") / "mimeapps.list";
    auto menu = menuFor({file});
    item(*menu->alwaysMenu(), "Alpha Viewer")->trigger();
    EXPECT_EQ(recorded("alpha"), file.native() + "\n");
    std::string expected = kOwnList;
    expected.replace(expected.find("text/plain=beta"), 15, "text/plain=alpha.desktop;beta");
    EXPECT_EQ(readFile(list), expected);
    EXPECT_TRUE(QTest::qWaitFor(
        [] { return DesktopApps::defaultFor("text/plain") == "alpha.desktop"; }, kTimeoutMs));
    std::ofstream(list, std::ios::binary) << kOwnList;
    EXPECT_TRUE(QTest::qWaitFor(
        [] { return DesktopApps::defaultFor("text/plain") == "beta.desktop"; }, kTimeoutMs));
}

TEST_F(OpenWithMenuTest, FailuresAreAlertsOnTheWindow)
{
    const fs::path file = dir.file("notes.txt");
    auto menu = menuFor({file});
    // Removed while the menu is open: GIO launches other failures through a helper that
    // reports none.
    QAction* gone = item(*menu, "Gone");
    ASSERT_TRUE(gone);
    fs::remove(applicationsFolder() / "gone.desktop");
    ASSERT_TRUE(QTest::qWaitFor([] { return !DesktopApps::isInstalled("gone"); }, kTimeoutMs));
    gone->trigger();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !prompter->shown.empty(); }, kTimeoutMs));
    EXPECT_EQ(prompter->shown.back().message, "「notes.txt」を「Gone」で開けませんでした。");
    EXPECT_EQ(prompter->shown.back().informativeText,
              "アプリケーション「gone.desktop」が見つかりません。");
    writeEntry("gone", kGone);
    ASSERT_TRUE(QTest::qWaitFor([] { return DesktopApps::isInstalled("gone"); }, kTimeoutMs));

    // A configuration folder that cannot hold the list: nothing is opened.
    const QByteArray config = qgetenv("XDG_CONFIG_HOME");
    qputenv("XDG_CONFIG_HOME", QByteArray::fromStdString(dir.file("not-a-folder").native()));
    item(*menu->alwaysMenu(), "Alpha Viewer")->trigger();
    const bool alerted = QTest::qWaitFor([&] { return prompter->shown.size() == 2; }, kTimeoutMs);
    qputenv("XDG_CONFIG_HOME", config);
    ASSERT_TRUE(alerted);
    EXPECT_TRUE(prompter->shown.back().message.contains("mimeapps.list"));
    EXPECT_FALSE(fs::exists(applicationsFolder() / "alpha.args"));
}

} // namespace
