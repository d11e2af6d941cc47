#include "browser/preview/PreviewRequestInterceptor.h"
#include "browser/preview/PreviewTesting.h"
#include "browser/preview/PreviewWebPage.h"
#include "browser/preview/PreviewWidget.h"
#include "support/TempDir.h"

#include <QDesktopServices>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTest>
#include <QWebEngineScript>
#include <gtest/gtest.h>

namespace fs = std::filesystem;
using namespace testing_preview;

namespace {

// Stands in for the desktop's handler of web and mail links.
class LinkCatcher : public QObject {
    Q_OBJECT
public:
    QList<QUrl> opened;
public Q_SLOTS:
    void open(const QUrl& url) { opened.append(url); }
};

// Everything a hostile document tries: scripts, handlers, other local files and
// the loopback server. Each element on a line of its own so that Markdown passes
// them through as raw HTML.
std::string hostileMarkup(quint16 port)
{
    const std::string server = "http://127.0.0.1:" + std::to_string(port);
    return "<meta http-equiv=\"refresh\" content=\"0; url=" + server + "/refresh\">\n" +
           "<link rel=\"stylesheet\" href=\"" + server + "/x.css\">\n" + "<style>@import url(\"" +
           server + "/i.css\"); body { background: url(" + server + "/bg.png) }</style>\n" +
           "<script>document.title = 'script ran'; fetch('" + server +
           "/fetch'); var a = document.createElement('a'); a.href = URL.createObjectURL(new "
           "Blob(['x'])); a.download = 'marker.txt'; a.click();</script>\n" +
           "<img src=\"missing.png\" onerror=\"document.title = 'handler ran'\">\n" +
           "<iframe src=\"file:///etc/passwd\"></iframe>\n" +
           "<img src=\"file:///etc/hostname\">\n" + "<img src=\"" + server + "/y.png\">\n" +
           "<img id=\"inside\" src=\"inside.png\">\n" + "<object data=\"" + server +
           "/object\"></object>\n";
}

class PreviewSecurityTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
        connect();
        dir.file("inside.png", pngBytes(3));
    }

    void connect()
    {
        QObject::connect(&server, &QTcpServer::newConnection, [this] { ++connections; });
    }

    // Shows `file` in a widget whose web page exists already, so that every request
    // of `file` is seen.
    void show(const fs::path& file)
    {
        QSignalSpy shown(&widget, &PreviewWidget::fileShown);
        widget.showFile(dir.file("warm.md", "# Warm\n"));
        ASSERT_TRUE(waitShown(shown, dir / "warm.md"));
        page = widget.findChild<PreviewWebPage*>();
        ASSERT_NE(page, nullptr);
        blocked =
            std::make_unique<QSignalSpy>(page->interceptor(), &PreviewRequestInterceptor::blocked);
        widget.showFile(file);
        ASSERT_TRUE(waitShown(shown, file));
        shownUrl = page->url();
        spin(500); // late subresources and redirects get their chance
    }

    bool wasBlocked(const QString& url) const
    {
        for (const auto& arguments : *blocked)
            if (arguments.at(0).toUrl() == QUrl(url))
                return true;
        return false;
    }

    QTcpServer server;
    int connections = 0;
    TempDir dir;
    PreviewWidget widget;
    PreviewWebPage* page = nullptr;
    QUrl shownUrl;
    std::unique_ptr<QSignalSpy> blocked;
};

TEST_F(PreviewSecurityTest, HostileDocumentsRunNothingAndReachNothing)
{
    const std::string markup = hostileMarkup(server.serverPort());
    const struct {
        const char* name;
        std::string contents;
        QString title;
    } documents[] = {
        {"hostile.html", "<title>original</title>\n" + markup, QStringLiteral("original")},
        {"hostile.md", "# Hostile\n\n" + markup, QStringLiteral("hostile.md")},
    };
    for (const auto& document : documents) {
        SCOPED_TRACE(document.name);
        const fs::path file = dir.file(document.name, document.contents);
        show(file);
        EXPECT_EQ(page->title(), document.title);
        EXPECT_EQ(connections, 0);
        EXPECT_TRUE(wasBlocked(QStringLiteral("file:///etc/hostname")));
        EXPECT_TRUE(wasBlocked(QStringLiteral("file:///etc/passwd")));
        EXPECT_FALSE(fs::exists(fs::path(qgetenv("HOME").toStdString()) / "Downloads"));
        // The page stayed, and an image beside the document did load.
        EXPECT_EQ(page->url(), shownUrl);
        EXPECT_EQ(evaluate(page, QStringLiteral("document.getElementById('inside').naturalWidth")),
                  QVariant(3));
    }
}

TEST_F(PreviewSecurityTest, ClickedLinksNeverNavigate)
{
    LinkCatcher catcher;
    for (const char* scheme : {"http", "https", "mailto"})
        QDesktopServices::setUrlHandler(QString::fromLatin1(scheme), &catcher, "open");
    const fs::path sub = dir.folder("sub");
    std::string text = "# Links\n\n";
    for (int i = 0; i < 200; ++i)
        text += "Paragraph " + std::to_string(i) + ".\n\n";
    const fs::path file = dir.file("links.md", text + "## 遠く Far\n");
    show(file);
    const QUrl before = page->url();
    QSignalSpy activated(&widget, &PreviewWidget::fileLinkActivated);
    const QUrl folderUrl = PreviewWebPage::fileUrl(dir.path() / "");
    const struct {
        QUrl url;
        std::optional<fs::path> activates;
        bool opensOutside;
    } links[] = {
        {folderUrl.resolved(QUrl(QStringLiteral("other.md"))), dir / "other.md", false},
        {folderUrl.resolved(QUrl(QStringLiteral("sub/deep.txt#part"))), sub / "deep.txt", false},
        {PreviewWebPage::fileUrl(dir.path() / "na\xffme.md"), dir / "na\xffme.md", false},
        {folderUrl.resolved(QUrl(QStringLiteral("../outside.md"))), std::nullopt, false},
        {folderUrl.resolved(QUrl(QStringLiteral("sub/../../outside.md"))), std::nullopt, false},
        {QUrl(QStringLiteral("file:///etc/passwd")), std::nullopt, false},

        {QUrl(QStringLiteral("https://example.com/")), std::nullopt, true},
        {QUrl(QStringLiteral("mailto:someone@example.com")), std::nullopt, true},
        {QUrl(QStringLiteral("javascript:alert(1)")), std::nullopt, false},
    };
    for (const auto& link : links) {
        SCOPED_TRACE(link.url.toString().toStdString());
        activated.clear();
        catcher.opened.clear();
        EXPECT_FALSE(page->acceptNavigationRequest(
            link.url, QWebEnginePage::NavigationTypeLinkClicked, true));
        ASSERT_EQ(activated.size(), link.activates ? 1 : 0);
        if (link.activates) {
            EXPECT_EQ(activated.at(0).at(0).value<fs::path>(), *link.activates);
        }
        EXPECT_EQ(catcher.opened.size(), link.opensOutside ? 1 : 0);
    }
    // An anchor of the page scrolls to its heading.
    EXPECT_FALSE(
        page->acceptNavigationRequest(folderUrl.resolved(QUrl(QStringLiteral("#遠く-far"))),
                                      QWebEnginePage::NavigationTypeLinkClicked, true));
    const QDeadlineTimer deadline(kTimeoutMs);
    while (evaluate(page, QStringLiteral("window.scrollY")).toInt() == 0)
        ASSERT_FALSE(deadline.hasExpired());
    // Nor does anything else after the first load.
    EXPECT_FALSE(page->acceptNavigationRequest(before, QWebEnginePage::NavigationTypeTyped, true));
    EXPECT_FALSE(page->acceptNavigationRequest(QUrl(QStringLiteral("http://127.0.0.1/")),
                                               QWebEnginePage::NavigationTypeRedirect, true));
    EXPECT_EQ(page->url(), before);
    for (const char* scheme : {"http", "https", "mailto"})
        QDesktopServices::unsetUrlHandler(QString::fromLatin1(scheme));
}

} // namespace

#include "PreviewSecurityTest.moc"
