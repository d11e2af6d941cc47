#include "preview/MarkdownInline.h"

#include "preview/MarkdownRenderer.h"

#include <algorithm>
#include <array>

using MarkdownRenderer::appendEscaped;

namespace {

constexpr char16_t kMarkerOpen = 0xE000;
constexpr char16_t kMarkerClose = 0xE001;

// \s and \w as QRegularExpression reads them without Unicode properties: ASCII only.
bool isSpace(char16_t c)
{
    return c == u' ' || (c >= u'\t' && c <= u'\r');
}

bool isWord(char16_t c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
           c == u'_';
}

bool isAsciiLetter(char16_t c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

bool startsAt(QStringView text, qsizetype at, QStringView prefix)
{
    return at <= text.size() && text.sliced(at).startsWith(prefix);
}

qsizetype lineEndFrom(QStringView text, qsizetype at)
{
    const qsizetype end = text.indexOf(u'\n', at);
    return end < 0 ? text.size() : end;
}

// Copies the unmatched stretches of the input and gives the output buffer its first
// contents only when a rule matches at all.
class Rewrite {
public:
    Rewrite(QStringView in, QString& out)
        : m_in(in)
        , m_out(out)
    {
    }
    // Copies the input up to `at` and returns the buffer for the replacement.
    QString& upTo(qsizetype at)
    {
        if (!m_changed) {
            m_out.clear();
            m_out.reserve(m_in.size() + m_in.size() / 4 + 32);
            m_changed = true;
        }
        m_out.append(m_in.sliced(m_copied, at - m_copied));
        return m_out;
    }
    void resumeAt(qsizetype at) { m_copied = at; }
    bool finish()
    {
        if (m_changed)
            m_out.append(m_in.sliced(m_copied));
        return m_changed;
    }

private:
    QStringView m_in;
    QString& m_out;
    qsizetype m_copied = 0;
    bool m_changed = false;
};

// The first run of `count` backticks that starts after `start` on the line of `start`;
// -1 when there is none, with `lineEnd` where the search stopped.
qsizetype closingTicks(QStringView in, qsizetype start, qsizetype count, qsizetype& lineEnd)
{
    const qsizetype n = in.size();
    if (start >= n || in[start] == u'\n') {
        lineEnd = start;
        return -1;
    }
    for (qsizetype j = start + 1; j < n; ++j) {
        const char16_t c = in[j].unicode();
        if (c == u'\n') {
            lineEnd = j;
            return -1;
        }
        if (c != u'`')
            continue;
        qsizetype r = j;
        while (r < n && in[r] == u'`' && r - j < count)
            ++r;
        if (r - j == count)
            return j;
        j = r - 1; // every later start inside this short run is shorter still
    }
    lineEnd = n;
    return -1;
}

// Target of an image or link after its bracket: "(address)" or "(address "title")",
// the quotes already escaped.
struct Target {
    qsizetype end = -1; // after the closing parenthesis; -1: no target
    QStringView address;
    QStringView title;
    bool hasTitle = false;
};

Target parseTarget(QStringView in, qsizetype at)
{
    const qsizetype n = in.size();
    Target t;
    if (at >= n || in[at] != u'(')
        return t;
    qsizetype e = at + 1;
    while (e < n && in[e] != u')' && !isSpace(in[e].unicode()))
        ++e;
    if (e == at + 1 || e == n)
        return t;
    t.address = in.sliced(at + 1, e - at - 1);
    if (in[e] == u')') {
        t.end = e + 1;
        return t;
    }
    static constexpr QStringView quote = u"&quot;";
    qsizetype w = e;
    while (w < n && isSpace(in[w].unicode()))
        ++w;
    if (!startsAt(in, w, quote))
        return t;
    const qsizetype titleEnd = in.indexOf(u'&', w + quote.size());
    if (titleEnd < 0 || !startsAt(in, titleEnd, quote) || titleEnd + quote.size() >= n ||
        in[titleEnd + quote.size()] != u')')
        return t;
    t.title = in.sliced(w + quote.size(), titleEnd - w - quote.size());
    t.hasTitle = true;
    t.end = titleEnd + quote.size() + 1;
    return t;
}

bool isTrailingPunctuation(char16_t c)
{
    switch (c) {
    case u'.':
    case u',':
    case u';':
    case u':':
    case u'!':
    case u'?':
    case u')':
    case u']':
    case u'\'':
    case u'"':
        return true;
    default:
        return false;
    }
}

bool isEscapable(char16_t c)
{
    static constexpr QStringView set = u"\\`*_{}[]()#+-.!|~<>";
    return set.contains(QChar(c));
}

// Which ASCII characters occur in a text: rules whose first character is missing
// cannot match and are skipped.
struct Present {
    std::array<bool, 128> ascii{};
    bool marker = false;
    bool operator[](char16_t c) const { return ascii[c]; }
};

Present presentCharacters(QStringView text)
{
    Present p;
    for (QChar ch : text) {
        const char16_t c = ch.unicode();
        if (c < 128)
            p.ascii[c] = true;
        else if (c == kMarkerOpen || c == kMarkerClose)
            p.marker = true;
    }
    return p;
}

} // namespace

void MarkdownInline::beginPiece()
{
    m_pieceStart = m_pieceText.size();
}

void MarkdownInline::endPiece(QString& out)
{
    char16_t marker[24];
    qsizetype at = std::size(marker);
    marker[--at] = kMarkerClose;
    size_t index = m_pieces.size();
    do {
        marker[--at] = char16_t(u'0' + index % 10);
        index /= 10;
    } while (index > 0);
    marker[--at] = kMarkerOpen;
    out.append(QStringView(marker + at, std::size(marker) - at));
    m_pieces.emplace_back(m_pieceStart, m_pieceText.size() - m_pieceStart);
}

// A marker only ever contains pieces made before it, so expanding each marker in place
// gives what replacing the markers from the last to the first would.
void MarkdownInline::restore(QStringView text, qsizetype below, QString& out) const
{
    qsizetype copied = 0;
    qsizetype from = 0;
    qsizetype open;
    while ((open = text.indexOf(QChar(kMarkerOpen), from)) >= 0) {
        qsizetype q = open + 1;
        qsizetype index = 0;
        while (q < text.size() && text[q].isDigit() && text[q].unicode() < 128 && index <= below)
            index = index * 10 + (text[q++].unicode() - u'0');
        if (q == open + 1 || q >= text.size() || text[q] != QChar(kMarkerClose) || index >= below) {
            from = open + 1;
            continue;
        }
        out.append(text.sliced(copied, open - copied));
        const auto [start, length] = m_pieces[index];
        restore(QStringView(m_pieceText).sliced(start, length), index, out);
        copied = from = q + 1;
    }
    out.append(text.sliced(copied));
}

void MarkdownInline::render(QStringView text, QString& out)
{
    m_pieces.clear();
    m_pieceText.clear();
    const Present has = presentCharacters(text);

    QStringView current = text;
    int currentBuffer = -1;
    if (has.marker) {
        // The markers' own characters typed in the document stay text, never a marker.
        m_buffers[0] = text.toString();
        for (QChar& ch : m_buffers[0]) {
            if (ch.unicode() == kMarkerOpen || ch.unicode() == kMarkerClose)
                ch = QChar::ReplacementCharacter;
        }
        current = m_buffers[0];
        currentBuffer = 0;
    }
    auto apply = [&](bool possible, auto rule) {
        if (!possible)
            return;
        const int target = currentBuffer == 0 ? 1 : 0;
        if (rule(current, m_buffers[target])) {
            current = m_buffers[target];
            currentBuffer = target;
        }
    };
    using V = QStringView;
    using S = QString&;
    apply(has[u'`'], [this](V in, S out) { return codeSpans(in, out); });
    apply(has[u'\\'], [this](V in, S out) { return backslashEscapes(in, out); });
    apply(has[u'<'] && has[u':'], [this](V in, S out) { return autolinks(in, out); });
    apply(has[u'<'], [this](V in, S out) { return rawTags(in, out); });
    apply(has[u'&'] || has[u'<'] || has[u'>'] || has[u'"'],
          [this](V in, S out) { return escapeHtml(in, out); });
    apply(has[u'!'] && has[u'['], [this](V in, S out) { return imagesOrLinks(in, out, true); });
    apply(has[u'['], [this](V in, S out) { return imagesOrLinks(in, out, false); });
    apply(has[u':'], [this](V in, S out) { return bareUrls(in, out); });
    apply(has[u'*'] || has[u'_'], [this](V in, S out) {
        return spans(in, out, u"*_", 2, false, u"<strong>", u"</strong>");
    });
    apply(has[u'*'],
          [this](V in, S out) { return spans(in, out, u"*", 1, true, u"<em>", u"</em>"); });
    apply(has[u'_'],
          [this](V in, S out) { return spans(in, out, u"_", 1, true, u"<em>", u"</em>"); });
    apply(has[u'~'],
          [this](V in, S out) { return spans(in, out, u"~", 2, false, u"<del>", u"</del>"); });
    apply(has[u'\n'], [this](V in, S out) { return hardBreaks(in, out); });

    if (m_pieces.empty())
        out.append(current);
    else
        restore(current, qsizetype(m_pieces.size()), out);
}

// "(`+)(.+?)\1": the longest opening run is tried first, then shorter ones.
bool MarkdownInline::codeSpans(QStringView in, QString& out)
{
    const qsizetype n = in.size();
    Rewrite w(in, out);
    // failedLine[k]: no closing run of k backticks for any content starting up to here.
    std::array<qsizetype, 17> failedLine;
    failedLine.fill(-1);
    qsizetype from = 0;
    qsizetype p;
    while ((p = in.indexOf(u'`', from)) >= 0) {
        qsizetype run = 1;
        while (p + run < n && in[p + run] == u'`')
            ++run;
        from = p + 1;
        for (qsizetype k = run; k >= 1; --k) {
            const qsizetype start = p + k;
            if (k < qsizetype(failedLine.size()) && start <= failedLine[k])
                continue;
            qsizetype lineEnd = 0;
            const qsizetype close = closingTicks(in, start, k, lineEnd);
            if (close < 0) {
                if (k < qsizetype(failedLine.size()))
                    failedLine[k] = lineEnd;
                continue;
            }
            QString& o = w.upTo(p);
            beginPiece();
            m_pieceText += u"<code>";
            appendEscaped(in.sliced(start, close - start), m_pieceText);
            m_pieceText += u"</code>";
            endPiece(o);
            from = close + k;
            w.resumeAt(from);
            break;
        }
    }
    return w.finish();
}

bool MarkdownInline::backslashEscapes(QStringView in, QString& out)
{
    Rewrite w(in, out);
    qsizetype from = 0;
    qsizetype p;
    while ((p = in.indexOf(u'\\', from)) >= 0) {
        if (p + 1 >= in.size() || !isEscapable(in[p + 1].unicode())) {
            from = p + 1;
            continue;
        }
        QString& o = w.upTo(p);
        beginPiece();
        appendEscaped(in.sliced(p + 1, 1), m_pieceText);
        endPiece(o);
        from = p + 2;
        w.resumeAt(from);
    }
    return w.finish();
}

// "<(https?://[^>\s]+)>"
bool MarkdownInline::autolinks(QStringView in, QString& out)
{
    const qsizetype n = in.size();
    Rewrite w(in, out);
    qsizetype from = 0;
    qsizetype failedBefore = -1; // openers before this end at the same unclosed run
    qsizetype p;
    while ((p = in.indexOf(u'<', from)) >= 0) {
        from = p + 1;
        if (p < failedBefore)
            continue;
        qsizetype q = p + 1;
        if (startsAt(in, q, u"https://"))
            q += 8;
        else if (startsAt(in, q, u"http://"))
            q += 7;
        else
            continue;
        qsizetype r = q;
        while (r < n && in[r] != u'>' && !isSpace(in[r].unicode()))
            ++r;
        if (r == q || r == n || in[r] != u'>') {
            failedBefore = r;
            continue;
        }
        const QStringView url = in.sliced(p + 1, r - p - 1);
        QString& o = w.upTo(p);
        beginPiece();
        m_pieceText += u"<a href=\"";
        appendEscaped(url, m_pieceText);
        m_pieceText += u"\">";
        appendEscaped(url, m_pieceText);
        m_pieceText += u"</a>";
        endPiece(o);
        from = r + 1;
        w.resumeAt(from);
    }
    return w.finish();
}

// "</?[a-zA-Z][a-zA-Z0-9-]*(\s[^<>]*)?/?>"
bool MarkdownInline::rawTags(QStringView in, QString& out)
{
    const qsizetype n = in.size();
    Rewrite w(in, out);
    qsizetype from = 0;
    qsizetype p;
    while ((p = in.indexOf(u'<', from)) >= 0) {
        from = p + 1;
        qsizetype q = p + 1;
        if (q < n && in[q] == u'/')
            ++q;
        if (q >= n || !isAsciiLetter(in[q].unicode()))
            continue;
        ++q;
        while (q < n && (isAsciiLetter(in[q].unicode()) || in[q].isDigit() || in[q] == u'-') &&
               in[q].unicode() < 128)
            ++q;
        qsizetype end = -1;
        if (q < n && isSpace(in[q].unicode())) {
            qsizetype r = q + 1;
            while (r < n && in[r] != u'<' && in[r] != u'>')
                ++r;
            if (r < n && in[r] == u'>')
                end = r + 1;
        } else if (q < n && in[q] == u'>') {
            end = q + 1;
        } else if (q + 1 < n && in[q] == u'/' && in[q + 1] == u'>') {
            end = q + 2;
        }
        if (end < 0)
            continue;
        QString& o = w.upTo(p);
        beginPiece();
        m_pieceText += in.sliced(p, end - p);
        endPiece(o);
        from = end;
        w.resumeAt(from);
    }
    return w.finish();
}

bool MarkdownInline::escapeHtml(QStringView in, QString& out)
{
    out.clear();
    out.reserve(in.size() + in.size() / 8 + 16);
    appendEscaped(in, out);
    return true;
}

// "!\[([^\]]*)\]\(([^)\s]+)(?:\s+&quot;([^&]*)&quot;)?\)" and the same without "!" and
// with a non-empty text for links.
bool MarkdownInline::imagesOrLinks(QStringView in, QString& out, bool images)
{
    const QStringView opener = images ? QStringView(u"![") : QStringView(u"[");
    Rewrite w(in, out);
    qsizetype from = 0;
    qsizetype failedBefore = -1; // openers before this share the failed closing bracket
    qsizetype p;
    while ((p = in.indexOf(opener, from)) >= 0) {
        from = p + 1;
        if (p < failedBefore)
            continue;
        const qsizetype textStart = p + opener.size();
        const qsizetype bracket = in.indexOf(u']', textStart);
        if (bracket < 0)
            break;
        if (!images && bracket == textStart)
            continue;
        const Target t = parseTarget(in, bracket + 1);
        if (t.end < 0) {
            failedBefore = bracket;
            continue;
        }
        const QStringView text = in.sliced(textStart, bracket - textStart);
        QString& o = w.upTo(p);
        beginPiece();
        m_pieceText += images ? QStringView(u"<img src=\"") : QStringView(u"<a href=\"");
        m_pieceText += t.address;
        if (images) {
            m_pieceText += u"\" alt=\"";
            m_pieceText += text;
        }
        m_pieceText += u'"';
        if (t.hasTitle) {
            m_pieceText += u" title=\"";
            m_pieceText += t.title;
            m_pieceText += u'"';
        }
        m_pieceText += u'>';
        if (!images) {
            m_pieceText += text;
            m_pieceText += u"</a>";
        }
        endPiece(o);
        from = t.end;
        w.resumeAt(from);
    }
    return w.finish();
}

// "(?<![\"'=\w/])(https?://[^\s<]+[^\s<.,;:!?)\]'\"])"
bool MarkdownInline::bareUrls(QStringView in, QString& out)
{
    const qsizetype n = in.size();
    Rewrite w(in, out);
    qsizetype from = 0;
    qsizetype p;
    while ((p = in.indexOf(u"http", from)) >= 0) {
        from = p + 1;
        if (p > 0) {
            const char16_t before = in[p - 1].unicode();
            if (before == u'"' || before == u'\'' || before == u'=' || before == u'/' ||
                isWord(before))
                continue;
        }
        qsizetype q = p + 4;
        if (startsAt(in, q, u"s://"))
            q += 4;
        else if (startsAt(in, q, u"://"))
            q += 3;
        else
            continue;
        qsizetype r = q;
        while (r < n && in[r] != u'<' && !isSpace(in[r].unicode()))
            ++r;
        qsizetype last = r - 1;
        while (last > q && isTrailingPunctuation(in[last].unicode()))
            --last;
        if (last <= q)
            continue;
        const QStringView url = in.sliced(p, last + 1 - p);
        QString& o = w.upTo(p);
        o += u"<a href=\"";
        o += url;
        o += u"\">";
        o += url;
        o += u"</a>";
        from = last + 1;
        w.resumeAt(from);
    }
    return w.finish();
}

// One pass of "D(?=\S)(.+?)(?<=\S)D" where D is `width` times one of `chars`; with
// `bounded`, neither delimiter may touch a word character or its own character on the
// outer side, as in "(?<![\w*])\*(?=\S)(.+?)(?<=\S)\*(?![\w*])".
bool MarkdownInline::spans(QStringView in, QString& out, QStringView chars, qsizetype width,
                           bool bounded, QStringView openTag, QStringView closeTag)
{
    const qsizetype n = in.size();
    auto runAt = [&](qsizetype at, char16_t c) {
        if (at + width > n)
            return false;
        for (qsizetype k = 0; k < width; ++k) {
            if (in[at + k] != c)
                return false;
        }
        return true;
    };
    auto outside = [&](qsizetype at, char16_t c) {
        return at < 0 || at >= n || (!isWord(in[at].unicode()) && in[at] != c);
    };
    Rewrite w(in, out);
    // Per delimiter character: no closer for any content that starts up to here.
    std::array<qsizetype, 2> failedLine{-1, -1};
    // Next occurrence of each delimiter character, so that a missing one is looked for
    // only once.
    std::array<qsizetype, 2> next{-1, chars.size() > 1 ? -1 : n};
    qsizetype from = 0;
    while (from < n) {
        for (qsizetype k = 0; k < chars.size(); ++k) {
            if (next[k] < from) {
                next[k] = in.indexOf(chars[k], from);
                if (next[k] < 0)
                    next[k] = n;
            }
        }
        const qsizetype p = std::min(next[0], next[1]);
        if (p >= n)
            break;
        from = p + 1;
        const char16_t c = in[p].unicode();
        const qsizetype which = c == chars[0] ? 0 : 1;
        const qsizetype start = p + width;
        if (!runAt(p, c) || (bounded && !outside(p - 1, c)) || start >= n ||
            isSpace(in[start].unicode()) || start <= failedLine[which])
            continue;
        qsizetype close = -1;
        qsizetype j = start + 1;
        for (; j < n && in[j] != u'\n'; ++j) {
            if (in[j] == c && runAt(j, c) && !isSpace(in[j - 1].unicode()) &&
                (!bounded || outside(j + width, c))) {
                close = j;
                break;
            }
        }
        if (close < 0) {
            failedLine[which] = j;
            continue;
        }
        QString& o = w.upTo(p);
        o += openTag;
        o += in.sliced(start, close - start);
        o += closeTag;
        from = close + width;
        w.resumeAt(from);
    }
    return w.finish();
}

bool MarkdownInline::hardBreaks(QStringView in, QString& out)
{
    Rewrite w(in, out);
    qsizetype from = 0;
    qsizetype p;
    while ((p = in.indexOf(u"  \n", from)) >= 0) {
        w.upTo(p) += u"<br>\n";
        from = p + 3;
        w.resumeAt(from);
    }
    return w.finish();
}
