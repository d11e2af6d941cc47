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
        QObject::connect(&server, &QTcpServer::newConnection, [this] { ++connections; });
        dir.file("inside.png", pngBytes(3));
    }

    // Shows `file` in a widget whose web page exists already, so that every request
    // of `file` is seen.
    void show(const fs::path& file)
    {
        QSignalSpy shown(&widget, &PreviewWidget::fileShown);
        widget.showFile(dir.file("warm.md", "# Warm\n"));
        ASSERT_TRUE(waitShown(shown, dir / "warm.md"));
        if (!page) {
            page = widget.findChild<PreviewWebPage*>();
            ASSERT_NE(page, nullptr);
            QObject::connect(page->interceptor(), &PreviewRequestInterceptor::blocked,
                             [this](const QUrl& url) { blocked.append(url); });
        }
        blocked.clear();
        widget.showFile(file);
        ASSERT_TRUE(waitShown(shown, file));
        const QUrl url = page->url();
        spin(500);                   // late subresources and redirects get their chance
        EXPECT_EQ(page->url(), url); // never navigated away
    }

    QTcpServer server;
    int connections = 0;
    TempDir dir;
    PreviewWidget widget;
    PreviewWebPage* page = nullptr;
    QList<QUrl> blocked;
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
        EXPECT_TRUE(blocked.contains(QUrl(QStringLiteral("file:///etc/hostname"))));
        EXPECT_TRUE(blocked.contains(QUrl(QStringLiteral("file:///etc/passwd"))));
        EXPECT_FALSE(fs::exists(fs::path(qgetenv("HOME").toStdString()) / "Downloads"));
        // An image beside the document did load.
        EXPECT_EQ(evaluate(page, QStringLiteral("document.getElementById('inside').naturalWidth")),
                  QVariant(3));
    }
}

TEST_F(PreviewSecurityTest, ClickedLinksNeverNavigate)
{
    LinkCatcher catcher;
    for (const char* scheme : {"http", "https", "mailto"})
        QDesktopServices::setUrlHandler(QString::fromLatin1(scheme), &catcher, "open");
    std::string text = "# Links\n\n";
    for (int i = 0; i < 200; ++i)
        text += "Paragraph " + std::to_string(i) + ".\n\n";
    const fs::path file = dir.file("links.md", text + "## 遠く Far\n");
    show(file);
    const QUrl before = page->url();
    QSignalSpy activated(&widget, &PreviewWidget::fileLinkActivated);
    const QUrl folderUrl = PreviewWebPage::fileUrl(dir.path() / "");
    const struct {
        const char* url; // relative to the document's folder
        const char* activates;
        bool opensOutside;
    } links[] = {
        {"other.md", "other.md", false},          {"sub/deep.txt#part", "sub/deep.txt", false},
        {"na%FFme.md", "na\xffme.md", false},     {"../outside.md", nullptr, false},
        {"sub/../../outside.md", nullptr, false}, {"file:///etc/passwd", nullptr, false},
        {"https://example.com/", nullptr, true},  {"mailto:someone@example.com", nullptr, true},
        {"javascript:alert(1)", nullptr, false},
    };
    for (const auto& link : links) {
        SCOPED_TRACE(link.url);
        activated.clear();
        catcher.opened.clear();
        EXPECT_FALSE(page->acceptNavigationRequest(
            folderUrl.resolved(QUrl(link.url)), QWebEnginePage::NavigationTypeLinkClicked, true));
        ASSERT_EQ(activated.size(), link.activates ? 1 : 0);
        if (link.activates) {
            EXPECT_EQ(activated.at(0).at(0).value<fs::path>(), dir / link.activates);
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
