#include "update/UpdateChecker.h"

#include "support/LoopbackHttpServer.h"
#include "support/TempDir.h"
#include "support/ToolRun.h"
#include "update/UpdateAlerts.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTcpServer>
#include <QTest>
#include <gtest/gtest.h>

namespace {

const QByteArray manifest20 =
    R"({"version": "2.0", "build": 200, "download": "https://example.org/Quillo-2.0.tar.gz",
        "page": "https://example.org/notes"})";

std::optional<UpdateChecker::Result> fetch(const QUrl& url, const QString& current,
                                           std::chrono::milliseconds timeout = {})
{
    UpdateChecker checker;
    if (timeout.count() > 0)
        checker.setTimeout(timeout);
    std::optional<UpdateChecker::Result> result;
    checker.fetch(url, current, [&](UpdateChecker::Result r) { result = std::move(r); });
    EXPECT_TRUE(QTest::qWaitFor([&] { return result.has_value(); }, 30'000));
    return result;
}

// A loopback port that nothing listens on any more.
quint16 closedPort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

} // namespace

TEST(UpdateCheckerTest, IsNewerComparesLeadingNumbersPieceByPiece)
{
    const struct {
        const char* version;
        const char* current;
        bool newer;
    } cases[] = {
        {"1.10.0", "1.9", true}, {"1.2", "1.2.0", false},
        {"1.2.0", "1.2", false}, {"1.9", "1.10", false},
        {"2b", "2", false},      {"3b", "2", true},
        {"1..3", "1.2", true},   {"x.1", "0.1", false},
        {"0.1.1", "0.1", true},  {"1.0", "", true},
        {"", "0", false},        {"10", "9.99", true},
        {"001.2", "1.1", true},  {"12345678901234567890", "12345678901234567889", true},
    };
    for (const auto& c : cases)
        EXPECT_EQ(isNewer(c.version, c.current), c.newer) << c.version << " vs " << c.current;
}

TEST(UpdateCheckerTest, ManifestNeedsAVersionAndAWebDownload)
{
    const struct {
        const char* json;
        bool ok;
    } cases[] = {
        {R"({"version":"2.0","download":"https://h/Q.tar.gz"})", true},
        {R"({"version":"2.0","download":"http://h/Q.tar.gz","build":null,"page":null})", true},
        {R"({"version":"2.0","download":"https://h/Q","extra":[1]})", true},
        {R"({"version":"2.0"})", false},
        {R"({"download":"https://h/Q.tar.gz"})", false},
        {R"({"version":2.0,"download":"https://h/Q.tar.gz"})", false},
        {R"({"version":"2.0","download":"/relative/Q.tar.gz"})", false},
        {R"({"version":"2.0","download":"file:///tmp/Q.tar.gz"})", false},
        {R"({"version":"2.0","download":42})", false},
        {R"({"version":"2.0","download":"https://h/Q","build":"7"})", false},
        {R"({"version":"2.0","download":"https://h/Q","build":7.5})", false},
        {R"({"version":"2.0","download":"https://h/Q","page":false})", false},
        {R"(["version","2.0"])", false},
        {"not json", false},
        {"", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ReleaseInfo::fromJson(c.json).has_value(), c.ok) << c.json;

    const auto release = ReleaseInfo::fromJson(manifest20);
    ASSERT_TRUE(release);
    EXPECT_EQ(release->version, "2.0");
    EXPECT_EQ(release->build, 200);
    EXPECT_EQ(release->download, QUrl("https://example.org/Quillo-2.0.tar.gz"));
    EXPECT_EQ(release->page, QUrl("https://example.org/notes"));
}

TEST(UpdateCheckerTest, FetchComparesTheServedManifest)
{
    LoopbackHttpServer server;
    server.route("/version.json", 200, manifest20);
    server.route("/no-download.json", 200, R"({"version":"3.0"})");
    server.route("/moved.json", 404, "gone");
    server.route("/broken.json", 500, manifest20);
    LoopbackHttpServer::Route huge;
    // Valid but for its size: only the limit turns it away.
    huge.body =
        R"({"version":"9.0","download":"https://h/Q","pad":")" + QByteArray(3 << 20, 'x') + "\"}";
    server.route("/huge.json", huge);
    using Kind = UpdateChecker::Result::Kind;
    const struct {
        const char* path;
        const char* current;
        Kind kind;
        const char* message;
    } cases[] = {
        {"/version.json", "1.9", Kind::available, ""},
        {"/version.json", "2.0.0", Kind::upToDate, ""},
        {"/version.json", "2.1", Kind::upToDate, ""},
        {"/moved.json", "1.0", Kind::failed, "サーバーが 404 を返しました"},
        {"/broken.json", "1.0", Kind::failed, "サーバーが 500 を返しました"},
        {"/no-download.json", "1.0", Kind::failed, "最新版の情報を読めませんでした"},
        {"/huge.json", "1.0", Kind::failed, "最新版の情報を読めませんでした"},
    };
    for (const auto& c : cases) {
        const auto result = fetch(server.url(c.path), c.current);
        ASSERT_TRUE(result) << c.path;
        EXPECT_EQ(result->kind, c.kind) << c.path << " " << c.current;
        EXPECT_EQ(result->message, QString::fromUtf8(c.message)) << c.path;
    }
    EXPECT_EQ(fetch(server.url("/version.json"), "1.9")->release,
              *ReleaseInfo::fromJson(manifest20));
    EXPECT_TRUE(server.lastHeaders("/version.json")
                    .contains(QPair<QByteArray, QByteArray>("accept", "application/json")));
    // Never answered from a cache: every fetch reaches the server.
    EXPECT_EQ(server.requests("/version.json"), 4);
}

TEST(UpdateCheckerTest, TransportErrorsFailWithAJapaneseDescription)
{
    const auto refused =
        fetch(QUrl(QStringLiteral("http://127.0.0.1:%1/version.json").arg(closedPort())), "1.0");
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->kind, UpdateChecker::Result::failed);
    EXPECT_EQ(refused->message, "サーバーに接続できませんでした");

    LoopbackHttpServer server;
    QUrl secure = server.url("/version.json");
    secure.setScheme("https");
    const auto plainAnswer = fetch(secure, "1.0");
    ASSERT_TRUE(plainAnswer);
    EXPECT_EQ(plainAnswer->message, "サーバーと安全に接続できませんでした");

    LoopbackHttpServer::Route silent;
    silent.stall = true;
    server.route("/version.json", silent);
    const auto stalled = fetch(server.url("/version.json"), "1.0", std::chrono::milliseconds(200));
    ASSERT_TRUE(stalled);
    EXPECT_EQ(stalled->kind, UpdateChecker::Result::failed);
    EXPECT_EQ(stalled->message, "サーバーからの応答がありませんでした");
}

TEST(UpdateCheckerTest, FeedUrlTakesOnlyAWebUrlFromTheEnvironment)
{
    const QUrl fallback("https://quillo.app/releases/version.json");
    const struct {
        const char* value;
        const char* expected;
    } cases[] = {
        {"http://127.0.0.1:8080/feed/version.json", "http://127.0.0.1:8080/feed/version.json"},
        {"https://example.org/v.json", "https://example.org/v.json"},
        {"not a url", nullptr},
        {"", nullptr},
        {"file:///etc/version.json", nullptr},
        {"http://", nullptr},
    };
    for (const auto& c : cases) {
        ScopedVariable variable("QUILLO_UPDATE_URL", c.value);
        EXPECT_EQ(UpdateChecker::feedUrl(), c.expected ? QUrl(c.expected) : fallback) << c.value;
    }
    EXPECT_EQ(fallback.fileName(), "version.json");
    EXPECT_FALSE(UpdateChecker::currentVersion().isEmpty());
}

TEST(UpdateCheckerTest, AlertTexts)
{
    const ReleaseInfo release = *ReleaseInfo::fromJson(manifest20);
    const Alert inPlace = UpdateAlerts::available(release, "1.9", true);
    EXPECT_EQ(inPlace.message, "新しいバージョンの Quillo があります");
    EXPECT_EQ(
        inPlace.informativeText,
        "Quillo 2.0 を公開しました（お使いの版は 1.9）。\n「今すぐ更新」で新しい版をダウンロー"
        "ドして入れ替え、Quillo を開き直します。設定・タグ・履歴はそのまま残ります。");
    EXPECT_EQ(inPlace.buttons, QStringList({"今すぐ更新", "あとで", "このバージョンをスキップ"}));
    const Alert download = UpdateAlerts::available(release, "1.9", false);
    EXPECT_EQ(
        download.informativeText,
        "Quillo 2.0 を公開しました（お使いの版は 1.9）。\nダウンロードしたアーカイブを展開し、"
        "Quillo のフォルダを入れ替えてください。設定・タグ・履歴はそのまま残ります。");
    EXPECT_EQ(download.buttons,
              QStringList({"ダウンロード", "あとで", "このバージョンをスキップ"}));

    const Alert latest = UpdateAlerts::upToDate("2.0");
    EXPECT_EQ(latest.message, "Quillo は最新です");
    EXPECT_EQ(latest.informativeText, "お使いの 2.0 が最新の版です。");
    const Alert failed = UpdateAlerts::failed("サーバーが 404 を返しました");
    EXPECT_EQ(failed.message, "アップデートを確認できませんでした");
    EXPECT_EQ(failed.informativeText, "サーバーが 404 を返しました。ネットにつながっているか確"
                                      "かめて、あとでもう一度お試しください。");
    const Alert offer = UpdateAlerts::browserOffer("署名を確かめられませんでした");
    EXPECT_EQ(offer.message, "自動では更新できませんでした");
    EXPECT_EQ(offer.informativeText, "署名を確かめられませんでした\nブラウザからアーカイブをダウン"
                                     "ロードして、Quillo のフォルダを入れ替えてください。");
    EXPECT_EQ(offer.buttons, QStringList({"ブラウザでダウンロード", "閉じる"}));
}

TEST(UpdateCheckerTest, ToolPrintsTheResult)
{
    LoopbackHttpServer server;
    server.route("/version.json", 200, manifest20);
    const std::string url = server.url("/version.json").toString().toStdString();
    const struct {
        std::vector<std::string> arguments;
        int status;
        std::string out;
    } cases[] = {
        {{"--url", url, "--current", "1.9"},
         0,
         "available\t2.0\thttps://example.org/Quillo-2.0.tar.gz\n"},
        {{"--current", "2.0", "--url", url}, 0, "up-to-date\n"},
        {{"--url", url + "x", "--current", "1.9"}, 1, "failed\tサーバーが 404 を返しました\n"},
        {{"--url"}, 2, ""},
    };
    for (const auto& c : cases) {
        std::vector<std::string> arguments{"check-update"};
        arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
        const ToolRun run = runTool(arguments);
        EXPECT_EQ(run.status, c.status) << run.err;
        EXPECT_EQ(run.out, c.out);
    }
}
