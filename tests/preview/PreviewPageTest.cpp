#include "preview/PreviewPage.h"

#include "core/AppDefaults.h"
#include "support/TempDir.h"

#include <QCryptographicHash>
#include <gtest/gtest.h>
#include <random>

namespace {

const QString kAccent = QStringLiteral("#112233");

// The style sheets between the accent and the end of the style element, by digest of
// their exact text.
QByteArray styleDigest(const QString& page)
{
    const qsizetype from = page.indexOf(kAccent) + kAccent.size();
    const qsizetype to = page.indexOf(QStringLiteral("\n</style>\n"));
    return QCryptographicHash::hash(page.mid(from, to - from).toUtf8(), QCryptographicHash::Md5)
        .toHex();
}

QString body(const QString& page)
{
    const qsizetype from = page.indexOf(QStringLiteral("<body>\n")) + 7;
    return page.mid(from, page.lastIndexOf(QStringLiteral("\n</body>")) - from);
}

} // namespace

TEST(PreviewPageTest, PageAroundAFragment)
{
    const QString page = PreviewPage::page(QStringLiteral("<p>x</p>"),
                                           "/tmp/a b/ノ\xff&/\"x\"<1>.md", kAccent, false);
    EXPECT_EQ(
        page.left(page.indexOf(kAccent) + kAccent.size()),
        QStringLiteral("<!DOCTYPE html>\n<html lang=\"ja\">\n<head>\n<meta charset=\"utf-8\">\n"
                       "<base href=\"file:///tmp/a%20b/%E3%83%8E%FF%26/\">\n"
                       "<title>&quot;x&quot;&lt;1&gt;.md</title>\n<style>\n"
                       ":root { color-scheme: light dark; --accent: #112233"));
    EXPECT_EQ(styleDigest(page), "d7f5b4737439b248a00624362f42e1dc");
    EXPECT_TRUE(page.endsWith(
        QStringLiteral("img { max-width: 100%; border-radius: 4px; }\n\n</style>\n</head>\n"
                       "<body>\n<p>x</p>\n</body>\n</html>")));

    const QString csv = PreviewPage::page(QString(), "/t.csv", kAccent, true);
    EXPECT_TRUE(csv.contains(QStringLiteral("<base href=\"file:///\">")));
    EXPECT_EQ(styleDigest(csv), "6818b73081019442fcc99a4571897110");
}

TEST(PreviewPageTest, BuildsMarkdownAndCsvFromDisk)
{
    TempDir dir;
    std::mt19937 random(3);
    std::string binary(65536, '\0');
    for (char& c : binary)
        c = char(random());
    struct Case {
        const char* name;
        std::string contents;
        PreviewKind kind;
        QString body;
    };
    const Case cases[] = {
        {"t.csv", "a,b\n1,2\n", PreviewKind::csv,
         QStringLiteral("<p class=\"csv-meta\">2 行 × 2 列（区切り：カンマ）</p>")},
        {"e.csv", "", PreviewKind::csv,
         QStringLiteral("<p class=\"csv-meta\">空のファイルです。</p>")},
        {"e.md", "", PreviewKind::markdown, QString()},
        {"bin.csv", binary, PreviewKind::csv, QStringLiteral("<p class=\"csv-meta\">")},
    };
    for (const Case& c : cases) {
        const QString page = PreviewPage::build(dir.file(c.name, c.contents), c.kind, kAccent);
        EXPECT_TRUE(body(page).startsWith(c.body)) << c.name;
        EXPECT_EQ(page.contains(QStringLiteral("table.csv {")), c.kind == PreviewKind::csv)
            << c.name;
    }
    EXPECT_TRUE(
        body(PreviewPage::build(dir.file("h.md", "# 見出し\n"), PreviewKind::markdown, kAccent))
            .contains(QStringLiteral("見出し")));
}

TEST(PreviewPageTest, UnreadableFileSaysSo)
{
    TempDir dir;
    const std::pair<std::filesystem::path, PreviewKind> cases[] = {
        {dir / "missing <1>.md", PreviewKind::markdown},
        {dir.folder("folder.csv"), PreviewKind::csv},
    };
    for (const auto& [file, kind] : cases) {
        const QString name = QString::fromStdString(file.filename().string());
        EXPECT_EQ(body(PreviewPage::build(file, kind, kAccent)),
                  QStringLiteral("<p>「") + name.toHtmlEscaped() +
                      QStringLiteral("」を読めませんでした。</p>"));
    }
}

// A huge file is read only up to the limit, and the page says that it stops there.
TEST(PreviewPageTest, HugeMarkdownStopsAtTheLimit)
{
    TempDir dir;
    const auto file = dir.file("huge.md", "# 始まり\n");
    std::filesystem::resize_file(file, 2'000'000'000);
    const QString page = PreviewPage::build(file, PreviewKind::markdown, kAccent);
    EXPECT_TRUE(page.endsWith(QStringLiteral("\n<p>…</p>\n</body>\n</html>")));
    EXPECT_LT(page.size(), 4 * PreviewPage::kMarkdownLimit);
}

TEST(PreviewPageTest, AccentFromTheSettings)
{
    const std::pair<QVariant, QString> cases[] = {
        {QVariant(), QStringLiteral("#3584e4")},
        {QStringLiteral("#AABBCC"), QStringLiteral("#aabbcc")},
        {QStringLiteral("12ab3f"), QStringLiteral("#12ab3f")},
        {QStringLiteral("red"), QStringLiteral("#3584e4")},
        {42, QStringLiteral("#3584e4")},
    };
    for (const auto& [value, accent] : cases) {
        ScratchSettings settings;
        if (value.isValid())
            AppDefaults::store().setValue(QStringLiteral("themeAccentColor"), value);
        EXPECT_EQ(PreviewPage::accentFromSettings(), accent) << value.toString().toStdString();
    }
}
