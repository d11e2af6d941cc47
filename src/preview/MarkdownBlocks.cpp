// Lists, tables and heading slugs of the Markdown renderer.
#include "preview/MarkdownRenderer.h"
#include "preview/MarkdownScan.h"

namespace MarkdownRenderer {

namespace {

// \s in the quoted patterns: ASCII white space, as QRegularExpression reads it.
bool isPatternSpace(QChar c)
{
    return MarkdownScan::isSpace(c.unicode());
}

QStringView trimmedPattern(QStringView text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isPatternSpace(text[begin]))
        ++begin;
    while (end > begin && isPatternSpace(text[end - 1]))
        --end;
    return text.sliced(begin, end - begin);
}

bool isBlank(QStringView line)
{
    return line.trimmed().isEmpty();
}

int indentOf(QStringView line)
{
    int column = 0;
    for (qsizetype i = 0; i < line.size() && (line[i] == u' ' || line[i] == u'\t'); ++i)
        column = line[i] == u'\t' ? (column / 4 + 1) * 4 : column + 1;
    return column;
}

// Cuts up to `columns` columns of indentation off the line.
QStringView deindented(QStringView line, int columns)
{
    qsizetype i = 0;
    int column = 0;
    while (i < line.size() && (line[i] == u' ' || line[i] == u'\t')) {
        const int next = line[i] == u'\t' ? (column / 4 + 1) * 4 : column + 1;
        if (next > columns)
            break;
        column = next;
        ++i;
    }
    return line.sliced(i);
}

// Lines of one item after its marker line: lines indented deeper than the list, blank
// lines followed by such a line, and lazy continuation lines (neither indented nor
// starting a block, right after a line of the item), up to the next item or the end.
qsizetype collectItem(Lines lines, qsizetype i, int listIndent, int contentColumn,
                      std::vector<QStringView>& body)
{
    const qsizetype n = lines.size();
    while (i < n) {
        const QStringView line = lines[i];
        if (isBlank(line)) {
            qsizetype j = i + 1;
            while (j < n && isBlank(lines[j]))
                ++j;
            if (j >= n || indentOf(lines[j]) <= listIndent)
                return i;
            body.insert(body.end(), j - i, QStringView());
            i = j;
            continue;
        }
        const int indent = indentOf(line);
        if (indent > listIndent)
            body.push_back(deindented(line, std::min(indent, contentColumn)));
        else if (!isBlockStart(line))
            body.push_back(line);
        else
            return i;
        ++i;
    }
    return i;
}

// "^\[( |x|X)\]\s"
int taskState(QStringView text)
{
    if (text.size() < 4 || text[0] != u'[' || text[2] != u']' || !isPatternSpace(text[3]))
        return -1;
    if (text[1] == u' ')
        return 0;
    return text[1] == u'x' || text[1] == u'X' ? 1 : -1;
}

void renderItem(QStringView firstLine, Lines body, SlugTable& slugs, QString& out, int depth)
{
    // The item's own text runs on over the lines that continue its paragraph.
    size_t k = 0;
    while (k < body.size() && !isBlank(body[k]) && !isBlockStart(body[k]))
        ++k;
    QString joined;
    QStringView text = firstLine;
    if (k > 0) {
        joined = firstLine.toString();
        for (size_t j = 0; j < k; ++j) {
            if (!joined.isEmpty())
                joined += u'\n';
            joined += body[j];
        }
        text = joined;
    }
    const int task = taskState(text);
    if (task < 0) {
        out += u"<li>";
    } else {
        out += u"<li class=\"task\"><input type=\"checkbox\" disabled";
        out += task == 1 ? QStringView(u" checked>") : QStringView(u">");
        text = text.sliced(4);
    }
    appendInline(text, out);
    if (k < body.size()) {
        const qsizetype mark = out.size();
        out += u'\n';
        renderBlocks(body.subspan(k), slugs, out, depth + 1);
        if (out.size() == mark + 1)
            out.chop(1);
    }
    out += u"</li>\n";
}

void appendCell(QStringView tag, QStringView align, QStringView text, QString& out)
{
    out += u'<';
    out += tag;
    if (!align.isEmpty()) {
        out += u" style=\"text-align:";
        out += align;
        out += u'"';
    }
    out += u'>';
    appendInline(text, out);
    out += u"</";
    out += tag;
    out += u'>';
}

} // namespace

// Items continue while marker lines of the same kind stand at the list's indentation,
// also after blank lines; deeper lines belong to the current item.
qsizetype renderList(Lines lines, qsizetype start, SlugTable& slugs, QString& out, int depth)
{
    const qsizetype n = lines.size();
    const ListMarker first = listMarker(lines[start]);
    if (!first.ordered)
        out += u"<ul>\n";
    else if (first.number != 1)
        out += u"<ol start=\"" + QString::number(first.number) + u"\">\n";
    else
        out += u"<ol>\n";
    std::vector<QStringView> body;
    qsizetype i = start;
    auto sameList = [&](const ListMarker& m) {
        return m.found && m.ordered == first.ordered && m.indent == first.indent;
    };
    while (i < n) {
        const ListMarker m = listMarker(lines[i]);
        body.clear();
        i = collectItem(lines, i + 1, first.indent, m.contentColumn, body);
        renderItem(m.text, body, slugs, out, depth);
        qsizetype next = i;
        while (next < n && isBlank(lines[next]))
            ++next;
        if (next >= n || !sameList(listMarker(lines[next])))
            break;
        i = next;
    }
    out += first.ordered ? QStringView(u"</ol>\n") : QStringView(u"</ul>\n");
    return i;
}

qsizetype renderTable(Lines lines, qsizetype start, QString& out)
{
    std::vector<QStringView> alignments;
    for (QStringView cell : tableCells(lines[start + 1])) {
        const bool left = cell.startsWith(u':');
        const bool right = cell.endsWith(u':');
        alignments.push_back(left && right ? QStringView(u"center")
                             : right       ? QStringView(u"right")
                             : left        ? QStringView(u"left")
                                           : QStringView());
    }
    auto alignment = [&](size_t column) {
        return column < alignments.size() ? alignments[column] : QStringView();
    };
    out += u"<table>\n<thead><tr>";
    const std::vector<QStringView> header = tableCells(lines[start]);
    for (size_t c = 0; c < header.size(); ++c)
        appendCell(u"th", alignment(c), header[c], out);
    out += u"</tr></thead>\n<tbody>\n";
    qsizetype i = start + 2;
    for (; i < qsizetype(lines.size()) && lines[i].contains(u'|'); ++i) {
        out += u"<tr>";
        const std::vector<QStringView> cells = tableCells(lines[i]);
        for (size_t c = 0; c < cells.size(); ++c)
            appendCell(u"td", alignment(c), cells[c], out);
        out += u"</tr>\n";
    }
    out += u"</tbody>\n</table>\n";
    return i;
}

// "^\s*\|?\s*:?-+:?\s*(\|\s*:?-+:?\s*)*\|?\s*$": bars between cells of ":?-+:?".
bool isTableSeparator(QStringView line)
{
    QStringView t = trimmedPattern(line);
    if (t.startsWith(u'|'))
        t = t.sliced(1);
    if (t.endsWith(u'|'))
        t.chop(1);
    if (t.isEmpty())
        return false;
    qsizetype from = 0;
    while (from <= t.size()) {
        qsizetype bar = t.indexOf(u'|', from);
        if (bar < 0)
            bar = t.size();
        QStringView cell = trimmedPattern(t.sliced(from, bar - from));
        if (cell.startsWith(u':'))
            cell = cell.sliced(1);
        if (cell.endsWith(u':'))
            cell.chop(1);
        if (cell.isEmpty())
            return false;
        for (QChar c : cell) {
            if (c != u'-')
                return false;
        }
        from = bar + 1;
    }
    return true;
}

std::vector<QStringView> tableCells(QStringView line)
{
    QStringView t = line.trimmed();
    if (t.startsWith(u'|'))
        t = t.sliced(1);
    if (t.endsWith(u'|'))
        t.chop(1);
    std::vector<QStringView> cells;
    for (qsizetype from = 0;;) {
        const qsizetype bar = t.indexOf(u'|', from);
        cells.push_back(t.sliced(from, (bar < 0 ? t.size() : bar) - from).trimmed());
        if (bar < 0)
            return cells;
        from = bar + 1;
    }
}

QString uniqueSlug(QStringView text, SlugTable& slugs)
{
    QString removed;
    removed.reserve(text.size());
    for (QChar c : text) {
        if (!QStringView(u"`*_~[]()").contains(c))
            removed += c;
    }
    const QString lower = std::move(removed).toLower();
    // Letters and digits of any script, white space and hyphens; runs of white space
    // become one hyphen, none at either end.
    QString slug;
    slug.reserve(lower.size());
    bool pendingSpace = false;
    for (qsizetype i = 0; i < lower.size(); ++i) {
        const QChar c = lower[i];
        const bool pair =
            c.isHighSurrogate() && i + 1 < lower.size() && lower[i + 1].isLowSurrogate();
        const char32_t code = pair ? QChar::surrogateToUcs4(c, lower[i + 1]) : c.unicode();
        if (isPatternSpace(c)) {
            pendingSpace = !slug.isEmpty();
            continue;
        }
        if (code == U'-' || QChar::isLetter(code) || QChar::isNumber(code)) {
            if (pendingSpace)
                slug += u'-';
            pendingSpace = false;
            slug += c;
            if (pair)
                slug += lower[i + 1];
        }
        i += pair ? 1 : 0;
    }
    if (slug.isEmpty())
        slug = QStringLiteral("section");
    int& count = slugs[slug];
    const QString result = count == 0 ? slug : slug + u'-' + QString::number(count);
    ++count;
    return result;
}

} // namespace MarkdownRenderer
