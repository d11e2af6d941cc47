// The later rules of the inline pass: images, links, bare URLs, the delimited spans
// (strong, emphasis, strike-through) and hard breaks.
#include "preview/MarkdownInline.h"
#include "preview/MarkdownScan.h"

#include <algorithm>
#include <array>

using namespace MarkdownScan;

namespace {

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

} // namespace

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
    qsizetype colon;
    // Every "http://" or "https://" is found through its colon.
    while ((colon = in.indexOf(u':', from)) >= 0) {
        from = colon + 1;
        if (!startsAt(in, colon + 1, u"//"))
            continue;
        const qsizetype p = colon >= 5 && startsAt(in, colon - 5, u"https")  ? colon - 5
                            : colon >= 4 && startsAt(in, colon - 4, u"http") ? colon - 4
                                                                             : -1;
        if (p < w.resumedAt())
            continue;
        if (p > 0) {
            const char16_t before = in[p - 1].unicode();
            if (before == u'"' || before == u'\'' || before == u'=' || before == u'/' ||
                isWord(before))
                continue;
        }
        const qsizetype q = colon + 3;
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
        return at + width <= n && in[at] == c && in[at + width - 1] == c; // width 1 or 2
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
    while ((p = in.indexOf(u'\n', from)) >= 0) {
        from = p + 1;
        if (p < 2 || in[p - 1] != u' ' || in[p - 2] != u' ' || p - 2 < w.resumedAt())
            continue;
        w.upTo(p - 2) += u"<br>\n";
        w.resumeAt(from);
    }
    return w.finish();
}
