#include "browser/preview/PreviewWidget.h"

#include "browser/preview/PreviewTesting.h"
#include "browser/preview/TextPreview.h"
#include "core/Preferences.h"
#include "support/TempDir.h"

#include <QSignalSpy>
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
    return QString::fromLatin1(widget.currentView()->metaObject()->className());
}

enum class Make { file, missing, fifo, folder, sparse2GB };

struct Case {
    const char* name;
    std::string contents;
    const char* view;
    Make make = Make::file;
};

fs::path make(const TempDir& dir, const Case& c)
{
    const fs::path path = dir / c.name;
    switch (c.make) {
    case Make::file:
        return dir.file(c.name, c.contents);
    case Make::missing:
        return path;
    case Make::fifo:
        ::mkfifo(path.c_str(), 0600);
        return path;
    case Make::folder:
        return dir.folder(c.name);
    case Make::sparse2GB:
        ::truncate(dir.file(c.name, c.contents).c_str(), off_t(2) << 30);
        return path;
    }
    return path;
}

const char* const kWeb = "QWebEngineView";
const char* const kText = "TextPreview";
const char* const kCard = "FileCard";

const Case kCases[] = {
    {"a.md", "# Title\n\ntext\n", kWeb},
    {"t.csv", "a,b\n1,2\n", kWeb},
    {"p.html", "<p>hello</p>", kWeb},
    {"p\xff #%.html", "<p>a name that is not UTF-8</p>", kWeb},
    {"i.png", pngBytes(4), "ImagePreview"},
    {"slides.pptx", "PK", kCard},
    {"broken.pdf", "%PDF-1.4 garbage", kCard}, // the viewer fails; the card says why
    {"notes.txt", "plain\n", kText},
    {"main.cpp", "int main() {}\n", kText},
    {"README", "read me\n", kText},
    {"blob", std::string("\177ELF\0\0\1", 7), kCard},
    {"empty", "", kText},
    {"gone.txt", "", kCard, Make::missing},
    {"gone.html", "", kCard, Make::missing},
    {"pipe", "", kCard, Make::fifo},
    {"pipe.html", "", kCard, Make::fifo},
    {"x.md", "", kWeb, Make::folder}, // the page says it could not be read
    {"b.csv", std::string("\0\xff\xfe\1", 4), kWeb},
    {"huge.md", "# Huge\n", kWeb, Make::sparse2GB},
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
        const fs::path file = make(dir, c);
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
    std::string paragraph, text;
    while (paragraph.size() < 2000)
        paragraph += "Some words of text. ";
    paragraph += "\n\n";
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

TEST_F(PreviewWidgetTest, LongTextShowsItsBeginningCutAtACharacterAndAMark)
{
    // あ takes three bytes and straddles the limit; a bad byte becomes U+FFFD.
    const qsizetype limit = 256 * 1024;
    const fs::path file = dir.file("long.log", "\xff" + std::string(limit - 2, 'a') + "あ and on");
    PreviewWidget widget;
    QSignalSpy shown(&widget, &PreviewWidget::fileShown);
    widget.showFile(file);
    ASSERT_TRUE(waitShown(shown, file));
    EXPECT_EQ(widget.findChild<TextPreview*>()->toPlainText(),
              QChar(0xFFFD) + QString(limit - 2, QLatin1Char('a')) + QStringLiteral("\n…"));
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
