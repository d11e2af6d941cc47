#include "browser/preview/PreviewWidget.h"

#include "browser/preview/PreviewTesting.h"
#include "browser/preview/TextPreview.h"
#include "core/Preferences.h"
#include "support/TempDir.h"

#include <QSignalSpy>
#include <QStackedWidget>
#include <QTest>
#include <QWebEnginePage>
#include <QWebEngineScript>
#include <QWebEngineView>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace testing_preview;

namespace {

QString currentView(const PreviewWidget& widget)
{
    return QString::fromLatin1(
        widget.findChild<QStackedWidget*>()->currentWidget()->metaObject()->className());
}

struct Case {
    const char* name;
    std::function<fs::path(const TempDir&)> make;
    const char* view;
};

const Case kCases[] = {
    {"markdown", [](const TempDir& d) { return d.file("a.md", "# Title\n\ntext\n"); },
     "QWebEngineView"},
    {"csv", [](const TempDir& d) { return d.file("t.csv", "a,b\n1,2\n"); }, "QWebEngineView"},
    {"html", [](const TempDir& d) { return d.file("p.html", "<p>hello</p>"); }, "QWebEngineView"},
    {"html with a name that is not UTF-8",
     [](const TempDir& d) { return d.file("p\xff #%.html", "<p>hello</p>"); }, "QWebEngineView"},
    {"png", [](const TempDir& d) { return d.file("i.png", pngBytes(4)); }, "ImagePreview"},
    {"presentation", [](const TempDir& d) { return d.file("slides.pptx", "PK"); }, "FileCard"},
    // The viewer fails, and the card says why.
    {"damaged pdf", [](const TempDir& d) { return d.file("broken.pdf", "%PDF-1.4 garbage"); },
     "FileCard"},
    {"text", [](const TempDir& d) { return d.file("notes.txt", "plain\n"); }, "TextPreview"},
    {"source", [](const TempDir& d) { return d.file("main.cpp", "int main() {}\n"); },
     "TextPreview"},
    {"no extension text", [](const TempDir& d) { return d.file("README", "read me\n"); },
     "TextPreview"},
    {"binary",
     [](const TempDir& d) {
         return d.file("blob", std::string("\x7f"
                                           "ELF\0\0\1",
                                           7));
     },
     "FileCard"},
    {"empty", [](const TempDir& d) { return d.file("empty"); }, "TextPreview"},
    {"vanished", [](const TempDir& d) { return d / "gone.txt"; }, "FileCard"},
    {"vanished page", [](const TempDir& d) { return d / "gone.html"; }, "FileCard"},
    {"fifo",
     [](const TempDir& d) {
         ::mkfifo((d / "pipe").c_str(), 0600);
         return d / "pipe";
     },
     "FileCard"},
    {"fifo named html",
     [](const TempDir& d) {
         ::mkfifo((d / "pipe.html").c_str(), 0600);
         return d / "pipe.html";
     },
     "FileCard"},
    // The page says the file could not be read.
    {"folder named md", [](const TempDir& d) { return d.folder("x.md"); }, "QWebEngineView"},
    {"binary named csv",
     [](const TempDir& d) { return d.file("b.csv", std::string("\0\xff\xfe\1", 4)); },
     "QWebEngineView"},
    {"sparse 2 GB markdown",
     [](const TempDir& d) {
         const fs::path file = d.file("huge.md", "# Huge\n");
         ::truncate(file.c_str(), off_t(2) << 30);
         return file;
     },
     "QWebEngineView"},
};

class PreviewWidgetTest : public ::testing::Test {
protected:
    void TearDown() override { Preferences::shared().setPreviewZoom(1.0); }
    TempDir dir;
};

TEST_F(PreviewWidgetTest, EachKindOfFileEndsOnItsView)
{
    PreviewWidget widget; // never shown: a hidden preview works too
    QSignalSpy shown(&widget, &PreviewWidget::fileShown);
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.name);
        const fs::path file = c.make(dir);
        widget.showFile(file);
        EXPECT_EQ(widget.shownFile(), file);
        ASSERT_TRUE(waitShown(shown, file));
        EXPECT_EQ(currentView(widget), QString::fromLatin1(c.view));
        shown.clear();
    }
    widget.showPlaceholder();
    EXPECT_EQ(currentView(widget), QStringLiteral("QLabel"));
    EXPECT_FALSE(widget.shownFile());
}

TEST_F(PreviewWidgetTest, FilesSkippedOverAreNeverRendered)
{
    PreviewWidget widget;
    QSignalSpy shown(&widget, &PreviewWidget::fileShown);
    for (int i = 0; i < 30; ++i)
        widget.showFile(dir.file("doc" + std::to_string(i) + ".md", "# Doc\n"));
    const fs::path last = dir.file("last.txt", "last\n");
    widget.showFile(last);
    ASSERT_TRUE(waitShown(shown, last));
    spin(200); // room for a dropped result to show up wrongly
    EXPECT_EQ(shown.size(), 1);
    EXPECT_EQ(currentView(widget), QStringLiteral("TextPreview"));
    // No page was ever loaded, so the web engine was never started.
    EXPECT_EQ(widget.findChild<QWebEngineView*>(), nullptr);
}

TEST_F(PreviewWidgetTest, TenMegabyteMarkdownLoadsWhole)
{
    // Long paragraphs: the size is what matters here, not how many elements there are.
    std::string text;
    std::string paragraph;
    for (int i = 0; i < 100; ++i)
        paragraph += "Some words of text, ";
    paragraph += "*emphasis* and `code`\n\n";
    while (text.size() < 10'000'000)
        text += paragraph;
    text += "# End marker\n";
    const fs::path file = dir.file("big.md", text);
    PreviewWidget widget;
    QSignalSpy shown(&widget, &PreviewWidget::fileShown);
    widget.showFile(file);
    ASSERT_TRUE(waitShown(shown, file));
    // A page this long may be shown before it is all laid out; its end comes.
    QWebEnginePage* page = widget.findChild<QWebEngineView*>()->page();
    const QDeadlineTimer deadline(kTimeoutMs);
    while (
        !evaluate(page, QStringLiteral("document.getElementById('end-marker') !== null")).toBool())
        ASSERT_FALSE(deadline.hasExpired());
}

TEST_F(PreviewWidgetTest, LongTextShowsItsBeginningAndAMark)
{
    const fs::path file = dir.file("long.log", std::string(300 * 1024, 'a'));
    PreviewWidget widget;
    QSignalSpy shown(&widget, &PreviewWidget::fileShown);
    widget.showFile(file);
    ASSERT_TRUE(waitShown(shown, file));
    const QString text = widget.findChild<TextPreview*>()->toPlainText();
    EXPECT_EQ(text, QString(256 * 1024, QLatin1Char('a')) + QStringLiteral("\n…"));
}

TEST_F(PreviewWidgetTest, TextIsCutAtACharacterAndMarkedWhenLonger)
{
    struct Row {
        QByteArray head;
        bool truncated;
        QString text;
    } rows[] = {
        {"abc", false, QStringLiteral("abc")},
        {"abc\n", true, QStringLiteral("abc\n…")},
        {"ab\xe3\x81", true, QStringLiteral("ab\n…")}, // あ cut after two of three bytes
        {"ab\xe3\x81\x82", true, QStringLiteral("abあ\n…")},
        {"a\xff"
         "b",
         false, QStringLiteral("a\uFFFDb")},
    };
    for (const Row& row : rows)
        EXPECT_EQ(TextPreview::decode(row.head, row.truncated), row.text)
            << row.head.toHex().data();
}

TEST_F(PreviewWidgetTest, ZoomFollowsTheSetting)
{
    PreviewWidget widget;
    QSignalSpy shown(&widget, &PreviewWidget::fileShown);
    const fs::path page = dir.file("z.md", "# Zoom\n");
    widget.showFile(page);
    ASSERT_TRUE(waitShown(shown, page));
    auto* text = widget.findChild<TextPreview*>();
    const qreal base = text->font().pointSizeF();
    Preferences::shared().setPreviewZoom(2.0);
    EXPECT_DOUBLE_EQ(widget.findChild<QWebEngineView*>()->zoomFactor(), 2.0);
    EXPECT_DOUBLE_EQ(text->font().pointSizeF(), base * 2.0);
}

} // namespace
