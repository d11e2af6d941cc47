#include "preview/MarkdownRenderer.h"

#include <QRegularExpression>
#include <functional>
#include <gtest/gtest.h>
#include <random>

using namespace Qt::StringLiterals;

namespace {

// The inline pass written the plain way: each rule's regular expression replaced over
// the whole text in turn. The renderer's own matchers must give the same output.
class ReferenceInline {
public:
    QString render(QString text)
    {
        using M = const QRegularExpressionMatch&;
        text = each(text, uR"((`+)(.+?)\1)"_s,
                    [&](M m) { return protect(u"<code>"_s + esc(m.captured(2)) + u"</code>"_s); });
        text = each(text, uR"(\\([\\`*_{}\[\]()#+\-.!|~<>]))"_s,
                    [&](M m) { return protect(esc(m.captured(1))); });
        text = each(text, uR"(<(https?://[^>\s]+)>)"_s, [&](M m) {
            const QString url = esc(m.captured(1));
            return protect(u"<a href=\""_s + url + u"\">"_s + url + u"</a>"_s);
        });
        text = each(text, uR"(</?[a-zA-Z][a-zA-Z0-9-]*(\s[^<>]*)?/?>)"_s,
                    [&](M m) { return protect(m.captured(0)); });
        text = esc(text);
        text = each(text, uR"(!\[([^\]]*)\]\(([^)\s]+)(?:\s+&quot;([^&]*)&quot;)?\))"_s, [&](M m) {
            return protect(u"<img src=\""_s + m.captured(2) + u"\" alt=\""_s + m.captured(1) +
                           u"\""_s + title(m) + u">"_s);
        });
        text = each(text, uR"(\[([^\]]+)\]\(([^)\s]+)(?:\s+&quot;([^&]*)&quot;)?\))"_s, [&](M m) {
            return protect(u"<a href=\""_s + m.captured(2) + u"\""_s + title(m) + u">"_s +
                           m.captured(1) + u"</a>"_s);
        });
        text =
            each(text, uR"re((?<!["'=\w/])(https?://[^\s<]+[^\s<.,;:!?)\]'"]))re"_s,
                 [&](M m) -> QString {
                     return u"<a href=\""_s + m.captured(1) + u"\">"_s + m.captured(1) + u"</a>"_s;
                 });
        text = wrap(text, uR"((\*\*|__)(?=\S)(.+?)(?<=\S)\1)"_s, 2, u"strong"_s);
        text = wrap(text, uR"((?<![\w*])\*(?=\S)(.+?)(?<=\S)\*(?![\w*]))"_s, 1, u"em"_s);
        text = wrap(text, uR"((?<![\w_])_(?=\S)(.+?)(?<=\S)_(?![\w_]))"_s, 1, u"em"_s);
        text = wrap(text, uR"(~~(?=\S)(.+?)(?<=\S)~~)"_s, 1, u"del"_s);
        text.replace(u"  \n"_s, u"<br>\n"_s);
        for (qsizetype i = qsizetype(m_pieces.size()) - 1; i >= 0; --i)
            text.replace(marker(i), m_pieces[i]);
        return text;
    }

private:
    static QString each(const QString& text, const QString& pattern,
                        const std::function<QString(const QRegularExpressionMatch&)>& replace)
    {
        const QRegularExpression re(pattern);
        EXPECT_TRUE(re.isValid()) << pattern.toStdString();
        QString out;
        qsizetype copied = 0;
        for (auto it = re.globalMatch(text); it.hasNext();) {
            const QRegularExpressionMatch m = it.next();
            out += text.mid(copied, m.capturedStart() - copied) + replace(m);
            copied = m.capturedEnd();
        }
        return out + text.mid(copied);
    }
    static QString wrap(const QString& text, const QString& pattern, int group, const QString& tag)
    {
        return each(text, pattern, [&](const QRegularExpressionMatch& m) -> QString {
            return u"<"_s + tag + u">"_s + m.captured(group) + u"</"_s + tag + u">"_s;
        });
    }
    static QString esc(QString s)
    {
        return s.replace(u"&"_s, u"&amp;"_s)
            .replace(u"<"_s, u"&lt;"_s)
            .replace(u">"_s, u"&gt;"_s)
            .replace(u"\""_s, u"&quot;"_s);
    }
    static QString title(const QRegularExpressionMatch& m)
    {
        if (!m.hasCaptured(3))
            return {};
        return u" title=\""_s + m.captured(3) + u"\""_s;
    }
    static QString marker(qsizetype i)
    {
        return QChar(0xE000) + QString::number(i) + QChar(0xE001);
    }
    QString protect(const QString& piece)
    {
        m_pieces.push_back(piece);
        return marker(qsizetype(m_pieces.size()) - 1);
    }

    std::vector<QString> m_pieces;
};

TEST(MarkdownInlineTest, MatchesTheQuotedPatternsOnGeneratedText)
{
    const QString tokens[] = {
        u"*"_s,
        u"**"_s,
        u"_"_s,
        u"__"_s,
        u"~"_s,
        u"~~"_s,
        u"`"_s,
        u"``"_s,
        u"\\"_s,
        u"["_s,
        u"]"_s,
        u"("_s,
        u")"_s,
        u"!"_s,
        u"<"_s,
        u">"_s,
        u"\""_s,
        u"&"_s,
        u"a"_s,
        u"word"_s,
        u"x_y"_s,
        u"日本"_s,
        u"語"_s,
        u" "_s,
        u" "_s,
        u"  "_s,
        u"http://x.y"_s,
        u"https://a.b/c_d"_s,
        u"\n"_s,
        u"  \n"_s,
        u"."_s,
        u","_s,
        u"'"_s,
        u"="_s,
        u"/"_s,
        u":"_s,
        u"#"_s,
        u"{"_s,
        u"|"_s,
        u"-"_s,
        u"7"_s,
        u"<b>"_s,
        u"</i>"_s,
        u"<a href=\"x\">"_s,
        u"<http://q.r>"_s,
        u"![a](b)"_s,
        u"[l](u \"t\")"_s,
        u"x.png"_s,
        u"&quot;"_s,
        u"\t"_s,
        u"　"_s,
        u"😀"_s,
        u"?"_s,
        u"]("_s,
        u"!["_s,
        u"```"_s,
        u"<br/>"_s,
        u"<i\nclass=x>"_s,
    };
    std::mt19937 random(20240611);
    std::uniform_int_distribution<size_t> pick(0, std::size(tokens) - 1);
    std::uniform_int_distribution<int> length(1, 40);
    int mismatches = 0;
    for (int round = 0; round < 6000 && mismatches < 5; ++round) {
        QString text;
        for (int k = length(random); k > 0; --k)
            text += tokens[pick(random)];
        const QString expected = ReferenceInline().render(text);
        const QString actual = MarkdownRenderer::inlineText(text);
        if (actual != expected) {
            ++mismatches;
            ADD_FAILURE() << "input:    " << text.toStdString()
                          << "\nexpected: " << expected.toStdString()
                          << "\nactual:   " << actual.toStdString();
        }
    }
}

} // namespace
