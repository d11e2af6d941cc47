#include "preview/MarkdownInline.h"

#include "preview/HtmlText.h"
#include "preview/MarkdownScan.h"

#include <array>

using namespace MarkdownScan;

namespace {

constexpr char16_t kMarkerOpen = 0xE000;
constexpr char16_t kMarkerClose = 0xE001;

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
    bool beyond = false;
    // Without branches: characters beyond ASCII all land on NUL, which no rule asks for.
    for (QChar ch : text) {
        const char16_t c = ch.unicode();
        p.ascii[c < 128 ? c : 0] = true;
        beyond |= c >= kMarkerOpen;
    }
    // Rarely anything at or above the markers: look closer only then.
    p.marker = beyond && (text.contains(QChar(kMarkerOpen)) || text.contains(QChar(kMarkerClose)));
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
    releaseLargeBuffers();
}

// The buffers live as long as their thread; one huge paragraph should not keep its
// memory there.
void MarkdownInline::releaseLargeBuffers()
{
    constexpr qsizetype kKept = 1 << 20;
    for (QString& buffer : m_buffers) {
        if (buffer.capacity() > kKept)
            buffer = QString();
    }
    if (m_pieceText.capacity() > kKept)
        m_pieceText = QString();
    if (m_pieces.capacity() > size_t(kKept) / 16)
        m_pieces = {};
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
            HtmlText::appendEscaped(m_pieceText, in.sliced(start, close - start));
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
        HtmlText::appendEscaped(m_pieceText, in.sliced(p + 1, 1));
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
        HtmlText::appendEscaped(m_pieceText, url);
        m_pieceText += u"\">";
        HtmlText::appendEscaped(m_pieceText, url);
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
    HtmlText::appendEscaped(out, in);
    return true;
}
