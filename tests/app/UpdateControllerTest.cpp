#include "app/UpdateController.h"

#include "core/Preferences.h"
#include "support/LoopbackHttpServer.h"
#include "support/ScriptedPrompter.h"
#include "support/TempDir.h"
#include "update/UpdateAlerts.h"

#include <QDesktopServices>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <deque>
#include <gtest/gtest.h>

namespace {

QByteArray manifest(const char* version)
{
    return QByteArray(R"({"version":")") + version +
           R"(","download":"https://example.org/Quillo.tar.gz"})";
}

// Takes the URLs that would go to the browser.
class UrlCatcher : public QObject {
    Q_OBJECT
public:
    UrlCatcher() { QDesktopServices::setUrlHandler("https", this, "open"); }
    ~UrlCatcher() override { QDesktopServices::unsetUrlHandler("https"); }
    QList<QUrl> opened;

public Q_SLOTS:
    void open(const QUrl& url) { opened.append(url); }
};

struct Fixture {
    ScratchSettings settings;
    LoopbackHttpServer server;
    QByteArray oldFeed = qgetenv("QUILLO_UPDATE_URL");
    bool canInstall = true;
    std::vector<ReleaseInfo> installed;
    UpdateController controller{
        [this] { return canInstall; },
        [this](const ReleaseInfo& release) { installed.push_back(release); }};
    QSignalSpy finished{&controller, &UpdateController::checkFinished};
    ScriptedPrompter prompter;

    Fixture() { qputenv("QUILLO_UPDATE_URL", server.url("/version.json").toEncoded()); }
    ~Fixture() { qputenv("QUILLO_UPDATE_URL", oldFeed); }

    // Runs one check to its end and lets the answer to its alert take effect.
    bool check(bool manual)
    {
        const qsizetype before = finished.count();
        manual ? controller.checkManually(prompter) : controller.checkOnLaunch(prompter);
        EXPECT_TRUE(QTest::qWaitFor([&] { return finished.count() > before; }, 30'000));
        QCoreApplication::processEvents(); // the scripted answer is queued
        return finished.count() > before && finished.last().at(0).toBool();
    }
};

} // namespace

TEST(UpdateControllerTest, SkippedVersionIsSilentAtLaunchOnly)
{
    Fixture f;
    ASSERT_TRUE(isNewer("2.0", UpdateChecker::currentVersion()));
    f.server.route("/version.json", 200, manifest("2.0"));
    f.prompter.answerWith(
        {UpdateAlerts::skipButton, UpdateAlerts::laterButton, UpdateAlerts::laterButton});
    EXPECT_TRUE(f.check(false));
    EXPECT_EQ(Preferences::shared().skippedUpdateVersion(), "2.0");
    EXPECT_FALSE(f.check(false));
    EXPECT_TRUE(f.check(true));
    ASSERT_EQ(f.prompter.shown.size(), 2u);
    EXPECT_EQ(f.prompter.shown[1].message, "新しいバージョンの Quillo があります");

    f.server.route("/version.json", 200, manifest("2.1"));
    EXPECT_TRUE(f.check(false));
    EXPECT_EQ(Preferences::shared().skippedUpdateVersion(), "2.0");
    EXPECT_TRUE(f.installed.empty());
}

TEST(UpdateControllerTest, FirstButtonInstallsOrOpensTheDownload)
{
    Fixture f;
    UrlCatcher browser;
    f.server.route("/version.json", 200, manifest("2.0"));
    EXPECT_TRUE(f.check(false));
    ASSERT_EQ(f.installed.size(), 1u);
    EXPECT_EQ(f.installed[0].version, "2.0");
    EXPECT_TRUE(browser.opened.isEmpty());

    f.canInstall = false;
    EXPECT_TRUE(f.check(true));
    EXPECT_EQ(f.prompter.shown.back().buttons.value(0), "ダウンロード");
    EXPECT_EQ(f.installed.size(), 1u);
    EXPECT_EQ(browser.opened, QList<QUrl>{QUrl("https://example.org/Quillo.tar.gz")});
}

TEST(UpdateControllerTest, UpToDateAndFailuresShowOnlyWhenAskedFor)
{
    Fixture f;
    const QString current = UpdateChecker::currentVersion();
    f.server.route("/version.json", 200, manifest(current.toUtf8().constData()));
    EXPECT_FALSE(f.check(false));
    EXPECT_TRUE(f.check(true));
    f.server.route("/version.json", 404, {});
    EXPECT_FALSE(f.check(false));
    EXPECT_TRUE(f.check(true));
    ASSERT_EQ(f.prompter.shown.size(), 2u);
    EXPECT_EQ(f.prompter.shown[0].informativeText, "お使いの " + current + " が最新の版です。");
    EXPECT_EQ(f.prompter.shown[1].informativeText,
              "サーバーが 404 を返しました。ネットにつながっているか確かめて、あとでもう一度お試し"
              "ください。");
}

#include "UpdateControllerTest.moc"
