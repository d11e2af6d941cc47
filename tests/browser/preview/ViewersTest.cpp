#include "browser/preview/FileCard.h"
#include "browser/preview/ImagePreview.h"
#include "browser/preview/MediaPreview.h"
#include "browser/preview/PdfPreview.h"
#include "browser/preview/PdfSelectionView.h"
#include "core/WorkPools.h"
#include "platform/MediaSupport.h"
#include "support/TempDir.h"

#include <QApplication>
#include <QClipboard>
#include <QImage>
#include <QLabel>
#include <QMovie>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTest>
#include <QToolButton>
#include <functional>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

// A PDF with correct cross-reference offsets, one object per entry, numbered from 1.
std::string pdf(const std::vector<std::string>& objects, const std::string& trailer = {})
{
    std::string out = "%PDF-1.4\n";
    std::vector<size_t> offsets;
    for (size_t i = 0; i < objects.size(); ++i) {
        offsets.push_back(out.size());
        out += std::to_string(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
    }
    const size_t xref = out.size();
    out += "xref\n0 " + std::to_string(objects.size() + 1) + "\n0000000000 65535 f \n";
    for (const size_t offset : offsets) {
        char line[32];
        std::snprintf(line, sizeof line, "%010zu 00000 n \n", offset);
        out += line;
    }
    return out + "trailer\n<< /Size " + std::to_string(objects.size() + 1) + " /Root 1 0 R " +
           trailer + ">>\nstartxref\n" + std::to_string(xref) + "\n%%EOF\n";
}

std::string textStream(const std::string& text)
{
    const std::string content = "BT /F1 24 Tf 20 40 Td (" + text + ") Tj ET";
    return "<< /Length " + std::to_string(content.size()) + " >>\nstream\n" + content +
           "\nendstream";
}

// Two pages of 200 × 100 points saying "Hello" and "World".
std::vector<std::string> twoPages()
{
    const std::string page = "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 100] "
                             "/Resources << /Font << /F1 6 0 R >> >> /Contents ";
    return {"<< /Type /Catalog /Pages 2 0 R >>",
            "<< /Type /Pages /Kids [3 0 R 5 0 R] /Count 2 >>",
            page + "4 0 R >>",
            textStream("Hello"),
            page + "7 0 R >>",
            "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>",
            textStream("World")};
}

// Standard security with keys no password opens: the reader must ask for one.
std::string encryptedPdf()
{
    auto objects = twoPages();
    const std::string key(64, 'A');
    objects.push_back("<< /Filter /Standard /V 1 /R 2 /O <" + key + "> /U <" + key + "> /P -4 >>");
    return pdf(objects, "/Encrypt 8 0 R /ID [<0123456789ABCDEF0123456789ABCDEF> "
                        "<0123456789ABCDEF0123456789ABCDEF>] ");
}

// Two frames of one pixel, red then blue, looping.
const char animatedGif[] =
    "GIF89a\x01\x00\x01\x00\xf0\x00\x00\xff\x00\x00\x00\x00\xff"
    "\x21\xff\x0bNETSCAPE2.0\x03\x01\x00\x00\x00"
    "\x21\xf9\x04\x00\x0a\x00\x00\x00\x2c\x00\x00\x00\x00\x01\x00\x01\x00\x00\x02\x02\x44\x01\x00"
    "\x21\xf9\x04\x00\x0a\x00\x00\x00\x2c\x00\x00\x00\x00\x01\x00\x01\x00\x00\x02\x02\x4c\x01\x00"
    "\x3b";

const char svg[] = R"(<svg xmlns="http://www.w3.org/2000/svg" width="20" height="10">
<rect width="20" height="10" fill="#00ff00"/></svg>)";

// Half a second of silence: 8 kHz, mono, 8-bit PCM.
std::string wave()
{
    const auto le = [](uint32_t value, int bytes) {
        std::string out;
        for (int i = 0; i < bytes; ++i)
            out += char((value >> (8 * i)) & 0xff);
        return out;
    };
    const uint32_t samples = 4000;
    return "RIFF" + le(36 + samples, 4) + "WAVEfmt " + le(16, 4) + le(1, 2) + le(1, 2) +
           le(8000, 4) + le(8000, 4) + le(1, 2) + le(8, 2) + "data" + le(samples, 4) +
           std::string(samples, '\x80');
}

fs::path savedImage(const TempDir& dir, const char* name, QSize size, QColor color)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    const fs::path file = dir / name;
    EXPECT_TRUE(image.save(QString::fromStdString(file.native())));
    return file;
}

// Any of the four viewers, driven the same way.
struct Viewer {
    QWidget* widget;
    std::function<void(const fs::path&)> load;
};

struct Outcome {
    bool shown = false;
    QString message;
};

template <typename View>
Outcome loadAndWait(View& view, const fs::path& file)
{
    QSignalSpy shown(&view, &View::shown);
    QSignalSpy failed(&view, &View::failed);
    view.load(file);
    // The media watchdog bounds the longest wait.
    EXPECT_TRUE(QTest::qWaitFor([&] { return shown.count() + failed.count() > 0; }, 30'000));
    if (!failed.isEmpty()) {
        EXPECT_EQ(failed.first().at(0).value<fs::path>(), file);
        return {false, failed.first().at(1).toString()};
    }
    return {!shown.isEmpty(), {}};
}

} // namespace

TEST(ViewersTest, EachViewerShowsGoodFilesAndNamesWhatItCannotShow)
{
    TempDir dir;
    ImagePreview image;
    PdfPreview pdfView;
    MediaPreview media;
    const fs::path png = dir.file("good.png");
    ASSERT_TRUE(QImage(40, 30, QImage::Format_RGB32).save(QString::fromStdString(png.native())));
    const std::string pngBytes = readFile(png);
    const struct {
        const char* name;
        std::string bytes;
        const char* viewer;
        QString message; // empty: shown
    } rows[] = {
        {"still.png", pngBytes, "image", {}},
        {"moving.gif", std::string(animatedGif, sizeof animatedGif - 1), "image", {}},
        {"drawing.svg", svg, "image", {}},
        {"cut.png", pngBytes.substr(0, pngBytes.size() / 2), "image",
         "「cut.png」を表示できませんでした。"},
        {"text.png", "not an image", "image", "「text.png」を表示できませんでした。"},
        {"pages.pdf", pdf(twoPages()), "pdf", {}},
        {"broken.pdf", "%PDF-1.4\nnothing here\n", "pdf", "「broken.pdf」を開けませんでした。"},
        {"locked.pdf", encryptedPdf(), "pdf", "「locked.pdf」はパスワードで保護されています。"},
        {"fake.mp4", std::string(4096, 'x'), "media", "「fake.mp4」を再生できませんでした。"},
        // Without a media backend nothing plays, but the preview still answers.
        {"quiet.wav", wave(), "media",
         gstreamerPlaybackPresent() ? QString() : "「quiet.wav」を再生できませんでした。"},
    };
    for (const auto& row : rows) {
        const fs::path file = dir.file(row.name, row.bytes);
        const std::string viewer = row.viewer;
        const Outcome outcome = viewer == "image" ? loadAndWait(image, file)
                                : viewer == "pdf" ? loadAndWait(pdfView, file)
                                                  : loadAndWait(media, file);
        EXPECT_EQ(outcome.shown, row.message.isEmpty()) << row.name;
        EXPECT_EQ(outcome.message, row.message) << row.name;
    }
}

TEST(ViewersTest, ANewerImageLoadDropsTheOlderOne)
{
    TempDir dir;
    ImagePreview view;
    view.resize(400, 300);
    // The first takes longer to decode, so its result comes last.
    const fs::path first = savedImage(dir, "first.png", {3000, 3000}, Qt::red);
    const fs::path second = savedImage(dir, "second.png", {30, 30}, Qt::blue);
    QSignalSpy shown(&view, &ImagePreview::shown);
    view.load(first);
    ASSERT_TRUE(loadAndWait(view, second).shown);
    // Lets a late result of the first arrive, if it were kept.
    WorkPools::previews().waitForDone();
    QCoreApplication::processEvents();
    ASSERT_EQ(shown.count(), 1);
    EXPECT_EQ(shown.first().at(0).value<fs::path>(), second);
    const QImage shot = view.grab().toImage();
    EXPECT_EQ(QColor(shot.pixel(shot.width() / 2, shot.height() / 2)), QColor(Qt::blue));
}

TEST(ViewersTest, AnimatedGifPlaysAndAStillImageDoesNot)
{
    TempDir dir;
    ImagePreview view;
    loadAndWait(view, dir.file("moving.gif", std::string(animatedGif, sizeof animatedGif - 1)));
    const auto* movie = view.findChild<QMovie*>();
    ASSERT_NE(movie, nullptr);
    EXPECT_EQ(movie->state(), QMovie::Running);
    loadAndWait(view, savedImage(dir, "still.png", {4, 4}, Qt::red));
    EXPECT_EQ(view.findChild<QMovie*>(), nullptr);
}

TEST(ViewersTest, ImagesShrinkToFitButGrowOnlyWithZoom)
{
    TempDir dir;
    ImagePreview view;
    view.resize(400, 300);
    const fs::path small = savedImage(dir, "small.png", {40, 30}, Qt::red);
    const fs::path large = savedImage(dir, "large.png", {2000, 1000}, Qt::blue);
    const auto colorAt = [&](QPoint offset) {
        const QImage shot = view.grab().toImage();
        return QColor(shot.pixel(QPoint(shot.width() / 2, shot.height() / 2) + offset));
    };
    const struct {
        fs::path file;
        double zoom;
        QPoint offset;
        QColor expected; // or not this colour, when `inside` is false
        bool inside;
    } rows[] = {
        {small, 1.0, {15, 10}, Qt::red, true},
        {small, 1.0, {25, 0}, Qt::red, false}, // not enlarged past its 40 pixels
        {small, 2.0, {35, 25}, Qt::red, true},
        {large, 1.0, {195, 95}, Qt::blue, true}, // fills the width: 400 × 200
        {large, 1.0, {0, 110}, Qt::blue, false},
    };
    for (const auto& row : rows) {
        view.setZoom(row.zoom);
        ASSERT_TRUE(loadAndWait(view, row.file).shown);
        EXPECT_EQ(colorAt(row.offset) == row.expected, row.inside)
            << row.file.filename() << " zoom " << row.zoom << " at " << row.offset.x() << ","
            << row.offset.y();
    }
}

TEST(ViewersTest, PdfPagesAreNavigatedAndDraggedTextIsCopied)
{
    TempDir dir;
    PdfPreview view;
    view.resize(400, 300);
    view.show();
    ASSERT_TRUE(loadAndWait(view, dir.file("pages.pdf", pdf(twoPages()))).shown);
    auto* number = view.findChild<QSpinBox*>();
    auto* pages = view.findChild<PdfSelectionView*>();
    ASSERT_TRUE(number && pages);
    EXPECT_EQ(number->value(), 1);
    EXPECT_EQ(number->maximum(), 2);

    // The first page's text is near its left edge, a third of the way up.
    const QRect first = pages->pageRect(0);
    const int y = first.top() + first.height() * 6 / 10 - 4;
    QTest::mousePress(pages->viewport(), Qt::LeftButton, {}, QPoint(first.left() + 2, y));
    QTest::mouseMove(pages->viewport(), QPoint(first.right() - 2, y));
    QTest::mouseRelease(pages->viewport(), Qt::LeftButton, {}, QPoint(first.right() - 2, y));
    EXPECT_EQ(pages->selectedText().trimmed(), "Hello");
    QTest::keyClick(pages, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text().trimmed(), "Hello");

    QTest::keyClick(pages, Qt::Key_PageDown);
    EXPECT_EQ(number->value(), 2);
    EXPECT_EQ(pages->pageAtHeight(pages->viewport()->height() - 1), 1);
    number->setValue(1);
    EXPECT_EQ(pages->pageAtHeight(0), 0);

    // Zoom 1 fits the width beside the scroll bar's room; 2 doubles it.
    const int fitted = pages->pageRect(0).width();
    EXPECT_GT(fitted, pages->viewport()->width() * 8 / 10);
    EXPECT_LE(fitted, pages->viewport()->width());
    view.setZoom(2.0);
    EXPECT_NEAR(pages->pageRect(0).width(), 2 * fitted, 2);
}

TEST(ViewersTest, FileCardShowsKindSizeAndMessage)
{
    TempDir dir;
    FileCard card;
    const fs::path file = dir.file("notes.txt", std::string(1500, 'a'));
    QSignalSpy shown(&card, &FileCard::shown);
    card.load(file, QStringLiteral("プレビューできません"));
    // The facts may arrive before a wait would begin.
    ASSERT_TRUE(QTest::qWaitFor([&] { return !shown.isEmpty(); }));
    QStringList texts;
    for (const QLabel* label : card.findChildren<QLabel*>())
        texts << label->text();
    EXPECT_TRUE(texts.contains(QStringLiteral("notes.txt")));
    EXPECT_TRUE(texts.contains(QStringLiteral("1.5 KB（1,500 バイト）")))
        << texts.join('|').toStdString();
    EXPECT_TRUE(texts.contains(QStringLiteral("プレビューできません")));
}
