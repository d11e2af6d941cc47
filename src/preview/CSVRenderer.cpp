#include "preview/CSVRenderer.h"

#include "platform/FileReader.h"
#include "preview/CSVPrefix.h"
#include "preview/HtmlText.h"
#include "preview/TextDecoding.h"

#include <QTextBoundaryFinder>

namespace {

const char kTableStyle[] = R"css(body { max-width: none; padding: 12px 16px 32px; }
.csv-meta { color: var(--muted); font-size: 0.85em; margin: 0 0 8px; }
table.csv { display: table; border-collapse: separate; border-spacing: 0; font-size: 0.88em; line-height: 1.45; margin: 0; }
table.csv th, table.csv td { border: none; border-right: 1px solid var(--border); border-bottom: 1px solid var(--border); padding: 4px 10px; white-space: pre; vertical-align: top; max-width: 360px; overflow: hidden; text-overflow: ellipsis; text-align: left; }
table.csv thead th { position: sticky; top: 0; z-index: 1; background: Canvas; font-weight: 600; border-top: 1px solid var(--border); }
table.csv tr > :first-child { border-left: 1px solid var(--border); }
table.csv .rn { position: sticky; left: 0; background: Canvas; color: var(--muted); text-align: right; font-variant-numeric: tabular-nums; min-width: 2em; }
table.csv thead th.rn { z-index: 2; }
table.csv td.num { text-align: right; font-variant-numeric: tabular-nums; white-space: nowrap; }
table.csv tbody tr:hover td { background-color: color-mix(in srgb, var(--accent) 8%, Canvas); }
)css";

// Bytes read at a time from a file: stays in the cache while it is checked.
constexpr size_t kPieceSize = 1 << 20;

bool isLineBreak(char16_t c)
{
    return (c >= 0x0A && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029;
}

const char* delimiterName(QChar delimiter)
{
    if (delimiter == QLatin1Char('\t'))
        return "タブ";
    if (delimiter == QLatin1Char(';'))
        return "セミコロン";
    return "カンマ";
}

// A code point at `i` of the text (a surrogate pair read as one).
char32_t codePointAt(QStringView text, qsizetype i, qsizetype* length)
{
    const QChar c = text[i];
    if (c.isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate()) {
        *length = 2;
        return QChar::surrogateToUcs4(c, text[i + 1]);
    }
    *length = 1;
    return c.unicode();
}

// Digits of any script, as \d of the numeric pattern; the count of them read.
int readDigits(QStringView text, qsizetype& i)
{
    int count = 0;
    while (i < text.size()) {
        qsizetype length = 0;
        if (!QChar::isDigit(codePointAt(text, i, &length)))
            break;
        i += length;
        ++count;
    }
    return count;
}

bool readFraction(QStringView text, qsizetype& i)
{
    if (i < text.size() && text[i] == QLatin1Char('.')) {
        qsizetype j = i + 1;
        if (readDigits(text, j) == 0)
            return false;
        i = j;
    }
    return true;
}

// The end of the pattern: an optional percent sign, then the end (or, as "$" allows,
// one final line feed).
bool atEnd(QStringView text, qsizetype i)
{
    if (i < text.size() && text[i] == QLatin1Char('%'))
        ++i;
    return i == text.size() || (i + 1 == text.size() && text[i] == QLatin1Char('\n'));
}

// Graphemes, as people count characters; only asked about long cells.
bool hasAtLeastCharacters(QStringView text, int count)
{
    if (text.size() < count)
        return false;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text.data(), text.size());
    int seen = 0;
    while (finder.toNextBoundary() >= 0) {
        if (++seen >= count)
            return true;
    }
    return false;
}

// Only spaces and tabs: a line break kept in a quoted cell is not trimmed away.
QStringView trimSpacesAndTabs(QStringView text)
{
    const auto blank = [](QChar c) { return c == QLatin1Char(' ') || c == QLatin1Char('\t'); };
    while (!text.isEmpty() && blank(text.front()))
        text = text.sliced(1);
    while (!text.isEmpty() && blank(text.back()))
        text.chop(1);
    return text;
}

void appendCell(QString& out, QStringView cell)
{
    out += QLatin1String(CSVRenderer::isNumeric(trimSpacesAndTabs(cell)) ? "<td class=\"num\""
                                                                         : "<td");
    if (hasAtLeastCharacters(cell, 41)) {
        out += QLatin1String(" title=\"");
        HtmlText::appendEscaped(out, cell);
        out += QLatin1Char('"');
    }
    out += QLatin1Char('>');
    HtmlText::appendEscaped(out, cell);
    out += QLatin1String("</td>");
}

QString renderText(QStringView text, QChar delimiter)
{
    CSVRenderer::Table table = CSVRenderer::parse(text, delimiter, CSVRenderer::kShownRows + 1);
    const bool truncated = table.size() > size_t(CSVRenderer::kShownRows);
    if (truncated)
        table.resize(CSVRenderer::kShownRows);
    return CSVRenderer::render(table, delimiter, truncated);
}

} // namespace

namespace CSVRenderer {

QString decode(QByteArrayView data)
{
    return TextDecoding::decode(data);
}

QString decodePrefix(QByteArrayView data, QChar delimiter, int rows)
{
    CSVPrefix prefix(delimiter, rows);
    if (prefix.feed({data.data(), size_t(data.size())}) && prefix.finish())
        return prefix.text();
    return decode(data);
}

QChar delimiter(QStringView text, QStringView fileExtension)
{
    const QString extension = fileExtension.toString().toLower();
    if (extension == QLatin1String("tsv") || extension == QLatin1String("tab"))
        return QLatin1Char('\t');
    int commas = 0, tabs = 0, semicolons = 0;
    bool quoted = false;
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u == '"')
            quoted = !quoted;
        else if (quoted)
            continue;
        else if (isLineBreak(u))
            break;
        else if (u == ',')
            ++commas;
        else if (u == '\t')
            ++tabs;
        else if (u == ';')
            ++semicolons;
    }
    QChar chosen = QLatin1Char(',');
    int count = commas;
    if (tabs > count)
        chosen = QLatin1Char('\t'), count = tabs;
    if (semicolons > count)
        chosen = QLatin1Char(';');
    return chosen;
}

// An empty line gives no row: blank lines between blocks of data (and the line feed of
// a CR LF pair, read as a second break) add nothing to the table. A line holding only
// a delimiter or "" is a row.
Table parse(QStringView text, QChar delimiter, int limit)
{
    Table table;
    if (limit <= 0)
        return table;
    QStringList row;
    QString field;
    bool inQuotes = false, fieldStarted = false, rowStarted = false;
    const qsizetype n = text.size();
    for (qsizetype i = 0; i < n; ++i) {
        const QChar c = text[i];
        if (inQuotes) {
            if (c != QLatin1Char('"'))
                field += c;
            else if (i + 1 < n && text[i + 1] == QLatin1Char('"'))
                field += c, ++i;
            else
                inQuotes = false;
        } else if (c == QLatin1Char('"') && !fieldStarted) {
            inQuotes = fieldStarted = true;
        } else if (c == delimiter) {
            row.append(std::exchange(field, {}));
            fieldStarted = false, rowStarted = true;
        } else if (isLineBreak(c.unicode())) {
            if (rowStarted || fieldStarted) {
                row.append(std::exchange(field, {}));
                table.push_back(std::exchange(row, {}));
                if (table.size() == size_t(limit))
                    return table;
            }
            fieldStarted = rowStarted = false;
        } else {
            field += c;
            fieldStarted = true;
        }
    }
    if (rowStarted || fieldStarted) {
        row.append(field);
        table.push_back(row);
    }
    return table;
}

bool isNumeric(QStringView text)
{
    qsizetype i = 0;
    if (i < text.size() && (text[i] == QLatin1Char('-') || text[i] == QLatin1Char('+')))
        ++i;
    if (i < text.size() && (text[i] == u'¥' || text[i] == u'$' || text[i] == u'€'))
        ++i;
    const int digits = readDigits(text, i);
    if (digits == 0)
        return false;
    if (i < text.size() && text[i] == QLatin1Char(',')) {
        // Grouped: one to three digits, then groups of exactly three.
        if (digits > 3)
            return false;
        while (i < text.size() && text[i] == QLatin1Char(',')) {
            qsizetype j = i + 1;
            if (readDigits(text, j) != 3)
                return false;
            i = j;
        }
        return readFraction(text, i) && atEnd(text, i);
    }
    if (!readFraction(text, i))
        return false;
    if (i < text.size() && (text[i] == QLatin1Char('e') || text[i] == QLatin1Char('E'))) {
        qsizetype j = i + 1;
        if (j < text.size() && (text[j] == QLatin1Char('-') || text[j] == QLatin1Char('+')))
            ++j;
        if (readDigits(text, j) > 0)
            i = j;
    }
    return atEnd(text, i);
}

QString render(const Table& table, QChar delimiter, bool truncated)
{
    if (table.empty())
        return QStringLiteral("<p class=\"csv-meta\">空のファイルです。</p>");
    qsizetype columns = 0;
    for (const QStringList& row : table)
        columns = std::max(columns, row.size());
    QString out;
    out += QLatin1String("<p class=\"csv-meta\">") + QString::number(qsizetype(table.size())) +
           QStringLiteral(" 行 × ") + QString::number(columns) + QStringLiteral(" 列（区切り：") +
           QString::fromUtf8(delimiterName(delimiter)) + QStringLiteral("）");
    if (truncated)
        out += QStringLiteral("・先頭の ") + QString::number(qsizetype(table.size())) +
               QStringLiteral(" 行だけを表示しています");
    out += QLatin1String("</p>\n<table class=\"csv\">\n<thead><tr><th class=\"rn\"></th>");
    const QStringList& header = table.front();
    for (qsizetype c = 0; c < columns; ++c) {
        out += QLatin1String("<th>");
        if (c < header.size())
            HtmlText::appendEscaped(out, header[c]);
        out += QLatin1String("</th>");
    }
    out += QLatin1String("</tr></thead>\n<tbody>\n");
    for (size_t r = 1; r < table.size(); ++r) {
        out += QLatin1String("<tr><td class=\"rn\">") + QString::number(qsizetype(r)) +
               QLatin1String("</td>");
        const QStringList& row = table[r];
        for (qsizetype c = 0; c < columns; ++c)
            appendCell(out, c < row.size() ? QStringView(row[c]) : QStringView());
        out += QLatin1String("</tr>\n");
    }
    out += QLatin1String("</tbody>\n</table>");
    return out;
}

QString renderFile(QByteArrayView data, QStringView fileExtension)
{
    // UTF-16 is never valid UTF-8, so it always takes the whole-text way.
    CSVPrefix prefix(fileExtension, kShownRows + 1);
    if (prefix.feed({data.data(), size_t(data.size())}) && prefix.finish())
        return renderText(prefix.text(), prefix.delimiter());
    const QString text = decode(data);
    return renderText(text, delimiter(text, fileExtension));
}

Result<QString> renderFile(const std::filesystem::path& file)
{
    const QString extension = QString::fromUtf8(file.extension().native()).mid(1);
    Result<FileReader> reader = FileReader::open(file);
    if (!reader)
        return std::unexpected(reader.error());
    CSVPrefix prefix(QStringView(extension), kShownRows + 1);
    std::string piece(kPieceSize, '\0');
    bool utf8 = true;
    for (;;) {
        const Result<size_t> n = reader->read(piece.data(), piece.size());
        if (!n)
            return std::unexpected(n.error());
        if (!prefix.feed({piece.data(), *n})) {
            utf8 = false;
            break;
        }
        if (*n < piece.size())
            break;
    }
    if (utf8 && prefix.finish())
        return renderText(prefix.text(), prefix.delimiter());
    // Another encoding: the whole text is needed after all.
    reader = FileReader::open(file);
    Result<std::string> bytes =
        reader ? reader->readUpTo(SIZE_MAX) : Result<std::string>(std::unexpected(reader.error()));
    if (!bytes)
        return std::unexpected(bytes.error());
    return renderFile(QByteArrayView(*bytes), extension);
}

QString tableStyleSheet()
{
    return QLatin1String(kTableStyle);
}

} // namespace CSVRenderer
