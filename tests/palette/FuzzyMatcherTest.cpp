#include "palette/FuzzyMatcher.h"

#include <gtest/gtest.h>
#include <random>

using namespace Qt::StringLiterals;

void PrintTo(const FuzzyMatch& match, std::ostream* out)
{
    *out << match.score << " at " << ::testing::PrintToString(match.positions);
}

namespace {

struct Case {
    const char* name;
    QString query;
    QString text;
    std::optional<FuzzyMatch> expected;
};

void expectCases(const std::vector<Case>& cases)
{
    for (const Case& c : cases)
        EXPECT_EQ(FuzzyMatcher::match(c.query, c.text), c.expected) << c.name;
}

TEST(FuzzyMatcherTest, ScoresBonusesAndPenalties)
{
    expectCases({
        {"worked example", u"cp"_s, u"Copy"_s, FuzzyMatch{53, {0, 2}}},
        {"query case ignored", u"CP"_s, u"Copy"_s, FuzzyMatch{53, {0, 2}}},
        {"white space in query ignored", u" c\tp "_s, u"Copy"_s, FuzzyMatch{53, {0, 2}}},
        {"word start after underscore", u"aa"_s, u"a_a"_s, FuzzyMatch{63, {0, 2}}},
        {"camel-case hump", u"FB"_s, u"FileBrowser"_s, FuzzyMatch{60, {0, 4}}},
        {"no hump without upper case", u"fb"_s, u"Filebrowser"_s, FuzzyMatch{50, {0, 4}}},
        {"digit is not lower case", u"b"_s, u"1B"_s, FuzzyMatch{16, {1}}},
        {"kana is not lower case", u"b"_s, u"あB"_s, FuzzyMatch{16, {1}}},
        {"lower then upper", u"b"_s, u"aB"_s, FuzzyMatch{26, {1}}},
        {"upper then upper", u"b"_s, u"AB"_s, FuzzyMatch{16, {1}}},
        {"consecutive run", u"op"_s, u"Copy"_s, FuzzyMatch{47, {1, 2}}},
        {"shortest span ending at first match", u"ab"_s, u"a_ab"_s, FuzzyMatch{57, {2, 3}}},
        {"gap penalty capped at 8", u"ab"_s, u"a"_s + QString(20, u'x') + u"b"_s,
         FuzzyMatch{44, {0, 21}}},
        {"length penalty 79", u"a"_s, u"a"_s + QString(78, u'x'), FuzzyMatch{29, {0}}},
        {"length penalty 80", u"a"_s, u"a"_s + QString(79, u'x'), FuzzyMatch{28, {0}}},
        {"length penalty capped", u"a"_s, u"a"_s + QString(99, u'x'), FuzzyMatch{28, {0}}},
        {"japanese text", u"フォ"_s, u"新規フォルダ"_s, FuzzyMatch{47, {2, 3}}},
        {"non-ASCII case folding", u"É"_s, u"CAFÉ"_s, FuzzyMatch{16, {3}}},
    });
}

TEST(FuzzyMatcherTest, EverySeparatorStartsAWord)
{
    for (const char16_t separator : FuzzyMatcher::separators) {
        const QString text = QString(QChar(separator)) + u"x"_s;
        SCOPED_TRACE(text.toStdString());
        EXPECT_EQ(FuzzyMatcher::match(u"x"_s, text), (FuzzyMatch{26, {1}}));
    }
    EXPECT_EQ(FuzzyMatcher::match(u"x"_s, u":x"_s), (FuzzyMatch{16, {1}}));
}

TEST(FuzzyMatcherTest, EmptyQueriesAndMisses)
{
    expectCases({
        {"empty query", u""_s, u"Copy"_s, FuzzyMatch{}},
        {"empty query, empty text", u""_s, u""_s, FuzzyMatch{}},
        {"all-space query", u"  \u3000\t"_s, u"Copy"_s, FuzzyMatch{}},
        {"out of order", u"abc"_s, u"acb"_s, std::nullopt},
        {"text shorter than query", u"abc"_s, u"ab"_s, std::nullopt},
        {"empty text", u"a"_s, u""_s, std::nullopt},
        {"repeated letter needs two", u"pp"_s, u"Copy"_s, std::nullopt},
    });
}

TEST(FuzzyMatcherTest, PositionsCountGraphemeClusters)
{
    const QString thumbsUp = u"\U0001F44D\U0001F3FD"_s; // with a skin-tone modifier
    const QString decomposed = u"cafe\u0301s"_s;        // e + combining acute
    expectCases({
        {"after emoji", u"xy"_s, u"x"_s + thumbsUp + u"y"_s, FuzzyMatch{53, {0, 2}}},
        {"emoji in query", thumbsUp, u"a"_s + thumbsUp, FuzzyMatch{16, {1}}},
        {"modifier alone is no character", u"\U0001F44D"_s, thumbsUp, std::nullopt},
        {"after combining accent", u"s"_s, decomposed, FuzzyMatch{16, {4}}},
        {"accented letter is not the plain one", u"cafe"_s, decomposed, std::nullopt},
        {"accented query", u"E\u0301"_s, decomposed, FuzzyMatch{16, {3}}},
        {"CR LF is one character", u"b"_s, u"a\r\nb"_s, FuzzyMatch{16, {2}}},
        {"voiced mark combines with kana", u"カ"_s, u"カ\u3099"_s, std::nullopt},
    });
}

TEST(FuzzyMatcherTest, SameQueryAgainstManyTexts)
{
    // The prepared query is reused between calls; changing it must take effect.
    EXPECT_TRUE(FuzzyMatcher::match(u"cp"_s, u"Copy"_s));
    EXPECT_FALSE(FuzzyMatcher::match(u"cp"_s, u"Paste"_s));
    EXPECT_TRUE(FuzzyMatcher::match(u"ps"_s, u"Paste"_s));
    EXPECT_EQ(FuzzyMatcher::match(u""_s, u"Paste"_s), FuzzyMatch{});
}

// Plain texts take a shortcut past grapheme segmentation. A character that no ASCII query
// can match, appended at the end, changes no position and no bonus, only possibly the
// length penalty; an emoji sends the text down the general route, a kana does not.
void expectShortcutAgrees(const QString& query, const QString& text)
{
    SCOPED_TRACE(QString(u"query \"" + query + u"\" in \"" + text + u"\"").toStdString());
    const auto general = FuzzyMatcher::match(query, text + u"\U0001F600"_s);
    EXPECT_EQ(FuzzyMatcher::match(query, text + u"あ"_s), general);
    const auto plain = FuzzyMatcher::match(query, text);
    ASSERT_EQ(plain.has_value(), general.has_value());
    if (plain && plain->positions.empty()) {
        EXPECT_EQ(plain, general); // an empty query scores 0, with no length penalty
    } else if (plain) {
        const auto penalty = [](qsizetype length) { return std::min<int64_t>(length / 8, 10); };
        const qsizetype characters = text.size() - text.count(u"\r\n"_s);
        EXPECT_EQ(plain->positions, general->positions);
        EXPECT_EQ(plain->score + penalty(characters), general->score + penalty(characters + 1));
    }
}

TEST(FuzzyMatcherTest, PlainTextShortcutAgreesWithGeneralRoute)
{
    const QString texts[] = {
        u"FileBrowser.cpp"_s,
        u"src/palette/FuzzyMatcher.cpp"_s,
        u"a_b-c.d e(f:g"_s,
        u"usr/share/doc/libc6/README"_s,
        u"aAbBcC"_s,
        u"line\r\nnext cp"_s,
        u"cr\ralone"_s,
        u"Caf\u00E9 Men\u00FC cp"_s,
        u"1234567"_s,
        u"12345678"_s,
        u"usr/lib/x86_64-linux-gnu/perl5/5.36/Locale/Maketext/Simple.pm"_s + QString(40, u'x'),
    };
    const QString queries[] = {u"c"_s,   u"cp"_s, u"fb"_s, u"usrshare"_s, u"lib"_s,
                               u"abc"_s, u"x"_s,  u"1"_s,  u"e cp"_s,     u"zz"_s};
    for (const QString& text : texts) {
        for (const QString& query : queries)
            expectShortcutAgrees(query, text);
    }
}

TEST(FuzzyMatcherTest, PlainTextShortcutAgreesOnRandomTexts)
{
    const std::string alphabet = "abcABC xyz/-_.(:0\t\r\n";
    std::mt19937 random(20240611);
    const auto pick = [&](int length) {
        QString text;
        for (int i = 0; i < length; ++i)
            text += QChar(alphabet[random() % alphabet.size()]);
        return text;
    };
    for (int round = 0; round < 3000; ++round) {
        const QString text = pick(int(random() % 100));
        // Half the queries are taken from the text, so that most of them match.
        QString query;
        if (round % 2 == 0) {
            for (const QChar c : text) {
                if (random() % 5 == 0)
                    query += c;
            }
        } else {
            query = pick(int(random() % 4) + 1);
        }
        expectShortcutAgrees(query, text);
    }
}

} // namespace
