#include "preview/MarkdownRenderer.h"

#include "preview/HtmlText.h"
#include "preview/MarkdownInline.h"

namespace MarkdownRenderer {

namespace {

// Quotes and lists nested deeper than this are read as paragraphs, so that a hostile
// document cannot exhaust the stack.
constexpr int kMaxDepth = 48;

// Lines end at "\n"; a "\r" before it belongs to the line break.
std::vector<QStringView> splitLines(QStringView text)
{
    std::vector<QStringView> lines;
    lines.reserve(text.size() / 40 + 1);
    qsizetype from = 0;
    while (from <= text.size()) {
        qsizetype end = text.indexOf(u'\n', from);
        if (end < 0)
            end = text.size();
        QStringView line = text.sliced(from, end - from);
        if (line.endsWith(u'\r'))
            line.chop(1);
        lines.push_back(line);
        from = end + 1;
    }
    return lines;
}

bool isBlank(QStringView line)
{
    return line.trimmed().isEmpty();
}

QStringView trimmedStart(QStringView line)
{
    qsizetype i = 0;
    while (i < line.size() && line[i].isSpace())
        ++i;
    return line.sliced(i);
}

QStringView fenceOf(QStringView line)
{
    const QStringView t = line.trimmed();
    if (t.startsWith(u"```") || t.startsWith(u"~~~"))
        return t.first(3);
    return {};
}

bool isQuote(QStringView line)
{
    return trimmedStart(line).startsWith(u'>');
}

// The marker and one space after it are cut off.
QStringView quoteContent(QStringView line)
{
    QStringView t = trimmedStart(line).sliced(1);
    return t.startsWith(u' ') ? t.sliced(1) : t;
}

// "^</?[a-zA-Z][^>]*>" on the line without its indentation.
bool isHtmlStart(QStringView line)
{
    const QStringView t = trimmedStart(line);
    qsizetype i = 1;
    if (!t.startsWith(u'<'))
        return false;
    if (i < t.size() && t[i] == u'/')
        ++i;
    if (i >= t.size() || t[i].unicode() >= 128 || !t[i].isLetter())
        return false;
    return t.indexOf(u'>', i + 1) >= 0;
}

void appendJoined(Lines lines, QString& out, bool escape)
{
    for (size_t k = 0; k < lines.size(); ++k) {
        if (k > 0)
            out += u'\n';
        if (escape)
            HtmlText::appendEscaped(out, lines[k]);
        else
            out += lines[k];
    }
}

qsizetype renderFence(Lines lines, qsizetype start, QString& out)
{
    const QStringView fence = fenceOf(lines[start]);
    const QStringView language = lines[start].trimmed().sliced(3).trimmed();
    qsizetype end = start + 1;
    while (end < qsizetype(lines.size()) && !lines[end].trimmed().startsWith(fence))
        ++end;
    out += u"<pre><code";
    if (!language.isEmpty()) {
        out += u" class=\"language-";
        HtmlText::appendEscaped(out, language);
        out += u'"';
    }
    out += u'>';
    appendJoined(lines.subspan(start + 1, end - start - 1), out, true);
    out += u"</code></pre>\n";
    return end < qsizetype(lines.size()) ? end + 1 : end;
}

void renderHeading(const Heading& h, SlugTable& slugs, QString& out)
{
    const QChar level(u'0' + h.level);
    out += u"<h";
    out += level;
    out += u" id=\"";
    out += uniqueSlug(h.text, slugs);
    out += u"\">";
    appendInline(h.text, out);
    out += u"</h";
    out += level;
    out += u">\n";
}

qsizetype renderQuote(Lines lines, qsizetype start, SlugTable& slugs, QString& out, int depth)
{
    std::vector<QStringView> inner;
    qsizetype end = start;
    // No lazy continuation: the quote ends at the first line without its marker.
    while (end < qsizetype(lines.size()) && isQuote(lines[end]))
        inner.push_back(quoteContent(lines[end++]));
    out += u"<blockquote>\n";
    renderBlocks(inner, slugs, out, depth + 1);
    out += u"</blockquote>\n";
    return end;
}

// A raw HTML block runs to the next blank line.
qsizetype renderHtml(Lines lines, qsizetype start, QString& out)
{
    qsizetype end = start + 1;
    while (end < qsizetype(lines.size()) && !isBlank(lines[end]))
        ++end;
    appendJoined(lines.subspan(start, end - start), out, false);
    out += u'\n';
    return end;
}

qsizetype renderParagraph(Lines lines, qsizetype start, QString& out)
{
    qsizetype end = start + 1;
    while (end < qsizetype(lines.size()) && !isBlank(lines[end]) && !isBlockStart(lines[end]))
        ++end;
    out += u"<p>";
    if (end == start + 1) {
        appendInline(lines[start], out);
    } else {
        QString text;
        appendJoined(lines.subspan(start, end - start), text, false);
        appendInline(text, out);
    }
    out += u"</p>\n";
    return end;
}

} // namespace

QString render(QStringView markdown)
{
    QString out;
    out.reserve(markdown.size() + markdown.size() / 2 + 64);
    // A byte order mark would hide front matter or a heading on the first line.
    if (markdown.startsWith(QChar(0xFEFF)))
        markdown = markdown.sliced(1);
    QStringView body = markdown;
    if (const std::optional<FrontMatter> front = frontMatter(markdown)) {
        out += u"<table class=\"front-matter\">\n";
        for (const auto& [key, value] : front->pairs) {
            out += u"<tr><th>";
            HtmlText::appendEscaped(out, key);
            out += u"</th><td>";
            HtmlText::appendEscaped(out, value);
            out += u"</td></tr>\n";
        }
        out += u"\n</table>\n";
        body = markdown.sliced(front->bodyStart);
    }
    const std::vector<QStringView> lines = splitLines(body);
    SlugTable slugs;
    renderBlocks(lines, slugs, out);
    return out;
}

void renderBlocks(Lines lines, SlugTable& slugs, QString& out, int depth)
{
    const qsizetype n = lines.size();
    qsizetype i = 0;
    while (i < n) {
        const QStringView line = lines[i];
        if (isBlank(line)) {
            ++i;
        } else if (!fenceOf(line).isEmpty()) {
            i = renderFence(lines, i, out);
        } else if (const Heading h = heading(line); h.level > 0) {
            renderHeading(h, slugs, out);
            ++i;
        } else if (isHorizontalRule(line)) {
            out += u"<hr>\n";
            ++i;
        } else if (line.contains(u'|') && i + 1 < n && isTableSeparator(lines[i + 1])) {
            i = renderTable(lines, i, out);
        } else if (depth < kMaxDepth && isQuote(line)) {
            i = renderQuote(lines, i, slugs, out, depth);
        } else if (depth < kMaxDepth && listMarker(line).found) {
            i = renderList(lines, i, slugs, out, depth);
        } else if (isHtmlStart(line)) {
            i = renderHtml(lines, i, out);
        } else {
            i = renderParagraph(lines, i, out);
        }
    }
}

// The delimiter is "---" on a line of its own; the lines between hold "key: value"
// pairs, split at the first colon; lines without a colon carry no pair.
std::optional<FrontMatter> frontMatter(QStringView text)
{
    auto isDelimiter = [](QStringView line) { return line.trimmed() == u"---"; };
    qsizetype lineEnd = text.indexOf(u'\n');
    if (lineEnd < 0 || !isDelimiter(text.first(lineEnd)))
        return std::nullopt;
    FrontMatter front;
    qsizetype from = lineEnd + 1;
    while (from <= text.size()) {
        lineEnd = text.indexOf(u'\n', from);
        const qsizetype end = lineEnd < 0 ? text.size() : lineEnd;
        const QStringView line = text.sliced(from, end - from);
        if (isDelimiter(line)) {
            front.bodyStart = lineEnd < 0 ? text.size() : lineEnd + 1;
            return front;
        }
        if (const qsizetype colon = line.indexOf(u':'); colon >= 0)
            front.pairs.emplace_back(line.first(colon).trimmed().toString(),
                                     line.sliced(colon + 1).trimmed().toString());
        if (lineEnd < 0)
            break;
        from = lineEnd + 1;
    }
    return std::nullopt;
}

// Levels 1 to 6; the text is trimmed.
Heading heading(QStringView line)
{
    const QStringView t = trimmedStart(line);
    qsizetype level = 0;
    while (level < t.size() && t[level] == u'#')
        ++level;
    if (level == 0 || level > 6 || level >= t.size() || (t[level] != u' ' && t[level] != u'\t'))
        return {};
    return {int(level), t.sliced(level).trimmed()};
}

// Three or more of the same "-", "*" or "_", with spaces between them allowed.
bool isHorizontalRule(QStringView line)
{
    const QStringView t = line.trimmed();
    if (t.isEmpty() || (t[0] != u'-' && t[0] != u'*' && t[0] != u'_'))
        return false;
    int count = 0;
    for (QChar c : t) {
        if (c == t[0])
            ++count;
        else if (c != u' ' && c != u'\t')
            return false;
    }
    return count >= 3;
}

bool isBlockStart(QStringView line)
{
    return !fenceOf(line).isEmpty() || heading(line).level > 0 || isHorizontalRule(line) ||
           isQuote(line) || listMarker(line).found;
}

// A tab advances the indentation to the next multiple of four columns.
ListMarker listMarker(QStringView line)
{
    ListMarker m;
    qsizetype i = 0;
    int column = 0;
    for (; i < line.size() && (line[i] == u' ' || line[i] == u'\t'); ++i)
        column = line[i] == u'\t' ? (column / 4 + 1) * 4 : column + 1;
    m.indent = column;
    qsizetype after = -1;
    if (i < line.size() && (line[i] == u'-' || line[i] == u'*' || line[i] == u'+')) {
        after = i + 1;
    } else {
        qsizetype d = i;
        int number = 0;
        while (d < line.size() && d - i < 9 && line[d] >= u'0' && line[d] <= u'9')
            number = number * 10 + (line[d++].unicode() - u'0');
        if (d > i && d < line.size() && (line[d] == u'.' || line[d] == u')')) {
            after = d + 1;
            m.ordered = true;
            m.number = number;
        }
    }
    if (after < 0 || after >= line.size() || (line[after] != u' ' && line[after] != u'\t'))
        return {};
    m.found = true;
    m.contentColumn = column + int(after - i) + 1;
    m.text = line.sliced(after + 1).trimmed();
    return m;
}

void appendInline(QStringView text, QString& out)
{
    thread_local MarkdownInline pass;
    pass.render(text, out);
}

QString inlineText(QStringView text)
{
    QString out;
    appendInline(text, out);
    return out;
}

} // namespace MarkdownRenderer
