#include "preview/CSVRenderer.h"

#include "core/PathText.h"
#include "preview/Utf8Validator.h"
#include "support/TempDir.h"

#include <QRegularExpression>
#include <gtest/gtest.h>
#include <random>

namespace {

// Rows as "a|b" lines, for compact expectations.
std::string joined(const CSVRenderer::Table& table)
{
    QStringList lines;
    for (const QStringList& row : table)
        lines << row.join(QLatin1Char('|'));
    return lines.join(QLatin1Char('/')).toStdString();
}

QByteArray sequence(int rows, const char* line)
{
    QByteArray data;
    for (int i = 0; i < rows; ++i)
        data += QByteArray(line).replace("#", QByteArray::number(i)) + "\n";
    return data;
}

// Random bytes over the characters that matter to the parser, in UTF-8.
QByteArray randomCsv(std::mt19937& random, int length)
{
    static const char* const pieces[] = {"a",    "1",  ",",  ";",      "\t",     "\"", "\"\"", "\n",
                                         "\r\n", "\r", "表", "\u2028", "\u0085", " ",  "\n\n"};
    QByteArray data;
    std::uniform_int_distribution<int> pick(0, std::size(pieces) - 1);
    while (data.size() < length)
        data += pieces[pick(random)];
    return data;
}

} // namespace

TEST(CSVRendererTest, DelimiterFromExtensionAndFirstLine)
{
    struct Case {
        const char* extension;
        const char* text;
        char delimiter;
    };
    const Case cases[] = {
        {"csv", "a;b;c\n", ';'},        {"csv", "a,b;c\n", ','},
        {"tsv", "a,b,c\n", '\t'},       {"TAB", "a;b;c", '\t'},
        {"csv", "a\tb\tc,d", '\t'},     {"csv", "a\tb;c", '\t'},
        {"csv", "\"a;b;c\",d\n", ','},  {"csv", "a,b\nc;d;e;f", ','},
        {"txt", "a;b\u2028c,d,e", ';'}, {"csv", "\"x\ny;z;w\",v\n", ','},
        {"csv", "a;b\r\n,,,,,,", ';'},  {"csv", "", ','},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(CSVRenderer::delimiter(QString::fromUtf8(c.text), QString::fromUtf8(c.extension)),
                  QLatin1Char(c.delimiter))
            << c.text;
    }
}

TEST(CSVRendererTest, ParseQuotesBreaksAndLimits)
{
    struct Case {
        const char* text;
        int limit;
        std::string rows;
    };
    const Case cases[] = {
        {"\"x,\"\"y\"\"\",2\n", 10, "x,\"y\"|2"},
        {"ab\"c\",d", 10, "ab\"c\"|d"},
        {"\"a\nb\",c\r\nd,e", 10, "a\nb|c/d|e"},
        {"a\n\n\nb\r\rc", 10, "a/b/c"},
        {",\n\"\"\n", 10, "|/"},
        {"a,b,c\nd\n", 10, "a|b|c/d"},
        {"\"open,\nrest", 10, "open,\nrest"},
        {"\"q\"x\"y,z", 10, "qx\"y|z"},
        {"a\u2028b\u0085c\u2029d\ve\ff", 10, "a/b/c/d/e/f"},
        {"a,\n", 10, "a|"},
        {"1\n2\n3\n4", 2, "1/2"},
        {"", 10, ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(joined(CSVRenderer::parse(QString::fromUtf8(c.text), QLatin1Char(','), c.limit)),
                  c.rows)
            << c.text;
}

TEST(CSVRendererTest, NumericPatternAgreesWithTheRegularExpression)
{
    const std::pair<const char*, bool> cases[] = {
        {"12,345.6", true}, {"-3.5e10", true},  {"$1,000", true},    {"¥500", true},
        {"42%", true},      {"+€0.5", true},    {"１２３", true},    {"1,23", false},
        {"12,3456", false}, {"1,234e5", false}, {"1.", false},       {"e5", false},
        {"$", false},       {"1 000", false},   {"12\n", true},      {"12\n\n", false},
        {"1e", false},      {"--1", false},     {"1,000,000", true}, {"", false},
    };
    for (const auto& [text, numeric] : cases)
        EXPECT_EQ(CSVRenderer::isNumeric(QString::fromUtf8(text)), numeric) << text;

    // \d stands for a digit of any script, as in the ICU pattern language.
    const QRegularExpression pattern(QStringLiteral("^[-+]?[¥$€]?\\d{1,3}(,\\d{3})*(\\.\\d+)?%?$|^["
                                                    "-+]?[¥$€]?\\d+(\\.\\d+)?([eE][-+]?\\d+)?%?$"),
                                     QRegularExpression::UseUnicodePropertiesOption);
    const QString alphabet = QStringLiteral("0123,.eE+-%$¥€x٣\n");
    std::mt19937 random(7);
    for (int i = 0; i < 200000; ++i) {
        QString text;
        for (int n = std::uniform_int_distribution<int>(0, 9)(random); n > 0; --n)
            text += alphabet[std::uniform_int_distribution<int>(0, alphabet.size() - 1)(random)];
        ASSERT_EQ(CSVRenderer::isNumeric(text), pattern.match(text).hasMatch())
            << text.toStdString();
    }
}

TEST(CSVRendererTest, RendersTheTable)
{
    const QString forty(40, QLatin1Char('w'));
    const CSVRenderer::Table table = {
        {QStringLiteral("名前"), QStringLiteral("<値>")},
        {QStringLiteral(" 1,234 "), forty, QStringLiteral("x")},
        {forty + QStringLiteral("\"")},
    };
    const QString expected =
        QStringLiteral("<p class=\"csv-meta\">3 行 × 3 列（区切り：セミコロン）</p>\n"
                       "<table class=\"csv\">\n<thead><tr><th class=\"rn\"></th>"
                       "<th>名前</th><th>&lt;値&gt;</th><th></th></tr></thead>\n<tbody>\n"
                       "<tr><td class=\"rn\">1</td><td class=\"num\"> 1,234 </td><td>") +
        forty +
        QStringLiteral("</td><td>x</td></tr>\n"
                       "<tr><td class=\"rn\">2</td><td title=\"") +
        forty + QStringLiteral("&quot;\">") + forty +
        QStringLiteral("&quot;</td><td></td><td></td></tr>\n</tbody>\n</table>");
    EXPECT_EQ(CSVRenderer::render(table, QLatin1Char(';'), false), expected);
    EXPECT_EQ(CSVRenderer::render({}, QLatin1Char(','), false),
              QStringLiteral("<p class=\"csv-meta\">空のファイルです。</p>"));
}

TEST(CSVRendererTest, ShowsTheFirstTwoThousandRows)
{
    const QString many = CSVRenderer::renderFile(sequence(2501, "#,x"), u"csv");
    EXPECT_TRUE(many.startsWith(
        QStringLiteral("<p class=\"csv-meta\">2000 行 × 2 列（区切り：カンマ）・先頭の 2000 "
                       "行だけを表示しています</p>")));
    EXPECT_TRUE(many.contains(QStringLiteral(">1999</td><td class=\"num\">1999</td>")));
    EXPECT_FALSE(many.contains(QStringLiteral(">2000</td>")));
    const QString exact = CSVRenderer::renderFile(sequence(2000, "#\tx"), u"tsv");
    EXPECT_TRUE(exact.startsWith(
        QStringLiteral("<p class=\"csv-meta\">2000 行 × 2 列（区切り：タブ）</p>")));
    EXPECT_EQ(CSVRenderer::renderFile(QByteArray("\n\r\n"), u"csv"),
              QStringLiteral("<p class=\"csv-meta\">空のファイルです。</p>"));
}

TEST(CSVRendererTest, DecodesByMarkThenUtf8ThenShiftJis)
{
    const std::pair<QByteArray, QString> cases[] = {
        {"\xEF\xBB\xBF\xE5\x90\x8D,a", QStringLiteral("名,a")},
        {QByteArray("\xFF\xFE\x0D\x54,\0a\0", 8), QStringLiteral("名,a")},
        {QByteArray("\xFE\xFF\x54\x0D\0,\0a", 8), QStringLiteral("名,a")},
        {"\x96\xBC\x91\x4F,\x83\x5C", QStringLiteral("名前,ソ")},
        {"\x87\x40\xFA\x40\xFB\xFC", QStringLiteral("①ⅰ髙")},
        {"a\xFF"
         "b",
         QStringLiteral("a\uFFFDb")},
        {"\xE5\x90\x8D", QStringLiteral("名")},
    };
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(CSVRenderer::decode(bytes), text) << bytes.toHex().toStdString();
    const QString page = CSVRenderer::renderFile(QByteArray("\xEF\xBB\xBFid,v\n1,2\n"), u"csv");
    EXPECT_TRUE(page.contains(QStringLiteral("<th>id</th><th>v</th>")));
}

// The prefix found on bytes must end where the parser would stop, whatever the input.
TEST(CSVRendererTest, PrefixHoldsExactlyTheParsedRows)
{
    std::mt19937 random(11);
    for (int i = 0; i < 3000; ++i) {
        const QByteArray data = randomCsv(random, 60);
        const QChar delimiter = QLatin1Char(i % 2 ? ',' : ';');
        const int rows = 1 + i % 5;
        const QString prefix = CSVRenderer::decodePrefix(data, delimiter, rows);
        ASSERT_EQ(joined(CSVRenderer::parse(prefix, delimiter, 1000)),
                  joined(CSVRenderer::parse(CSVRenderer::decode(data), delimiter, rows)))
            << data.toStdString();
    }
}

// A file read in pieces renders like its bytes in memory: rows cross the pieces, a
// Shift_JIS file is only found out after the first piece, and a huge first line.
TEST(CSVRendererTest, FileReadInPiecesRendersLikeItsBytes)
{
    TempDir dir;
    const QByteArray sjisTail = QByteArray(3 << 20, 'a') + "\n\x96\xBC\n";
    const std::pair<const char*, QByteArray> cases[] = {
        {"rows.csv", sequence(300000, "\"#\n\u2028表\",# ;x") + "\xEF\xBB\xBF"},
        {"bom.csv", "\xEF\xBB\xBF" + sequence(10, "#;表")},
        {"sjis.csv", sjisTail},
        {"open.csv", "\"" + QByteArray(3 << 20, ',')},
        {"utf16.tab", QByteArray("\xFF\xFE"
                                 "a\0\t\0b\0",
                                 8)},
        {"empty.csv", ""},
    };
    for (const auto& [name, bytes] : cases) {
        const auto file = dir.file(name, std::string_view(bytes.data(), size_t(bytes.size())));
        const Result<QString> html = CSVRenderer::renderFile(file);
        ASSERT_TRUE(html) << name;
        EXPECT_EQ(*html, CSVRenderer::renderFile(bytes, QString::fromUtf8(name).section('.', -1)))
            << name;
    }
    EXPECT_FALSE(CSVRenderer::renderFile(dir / "missing.csv"));
    EXPECT_FALSE(CSVRenderer::renderFile(dir.path()));
}

// Long enough to cross the validator's blocks of bytes, with errors anywhere in them.
TEST(CSVRendererTest, Utf8ValidatorMatchesAByteByByteCheck)
{
    std::mt19937 random(5);
    const char* const pieces[] = {
        "a",        "\xC3\xA9",     "\xE8\xA1\xA8",     "\xF0\x9F\x98\x80", "\x80",
        "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE0\x9F\xBF",     "\xF5",
        "\xC2",     "\xE8\xA1",     "\xF4\x8F\xBF\xBF", "\xEF\xBF\xBF",     "abcdefghijklmnopq"};
    std::uniform_int_distribution<int> pick(0, std::size(pieces) - 1);
    for (int i = 0; i < 50000; ++i) {
        std::string data;
        // Mostly valid text with at most one bad piece, so that errors are rare and late.
        for (int n = i % 40; n > 0; --n) {
            const int k = pick(random);
            data += pieces[k < 4 || k > 11 || n == i % 7 ? k : 0];
        }
        if (i % 3 == 0 && !data.empty())
            data.pop_back();
        const bool valid = PathText::isValidUtf8(data);
        ASSERT_EQ(Utf8Validator::check(data) == Utf8Validator::Status::valid, valid) << data;
        Utf8Validator::Stream stream;
        const size_t cut = data.empty() ? 0 : size_t(i) % data.size();
        const bool fed = stream.feed(std::string_view(data).substr(0, cut)) &&
                         stream.feed(std::string_view(data).substr(cut));
        ASSERT_EQ(fed && stream.finish(), valid) << data << " cut " << cut;
    }
}
