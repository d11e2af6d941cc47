#include "support/ToolRun.h"

#include <gtest/gtest.h>

namespace {

ToolRun fuzzy(const QString& query, const std::string& input)
{
    return runTool({"fuzzy", query.toStdString()}, input);
}

TEST(QuilloToolFuzzyTest, RanksBestFirstWithTiesInInputOrder)
{
    // Enough lines to span several blocks, so that the parallel matching is exercised.
    // Every line is 80 characters or longer, so each pays the same length penalty.
    const std::string tail(80, 'z');
    std::string input;
    std::string best, good, fair;
    for (int i = 0; i < 12000; ++i) {
        const std::string rest = "/" + tail + std::to_string(i) + "\n";
        switch (i % 4) {
        case 0: // a run from the start: 16 + 12 + 10, then 16 + 15, less 10
            input += "cp" + rest;
            best += "59\tcp" + rest;
            break;
        case 1: // no "c" at all
            input += "zz" + rest;
            break;
        case 2: // the "p" starts a word after a gap of one: 38 + 16 + 10 - 1 - 10
            input += "c_p" + rest;
            good += "53\tc_p" + rest;
            break;
        default: // inside a word: 16 + 16 + 15 - 10
            input += "xcp" + rest;
            fair += "37\txcp" + rest;
        }
    }
    const ToolRun r = fuzzy(QStringLiteral("cp"), input);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(r.out == best + good + fair) << r.out.substr(0, 400);
}

struct Case {
    const char* name;
    QString query;
    std::string input;
    std::string expected;
};

TEST(QuilloToolFuzzyTest, PrintsScoreTabLine)
{
    const Case cases[] = {
        {"worked example, miss left out", QStringLiteral("cp"), "Paste\nCopy\n", "53\tCopy\n"},
        {"equal scores keep input order", QStringLiteral("cp"), "copy\nxCp\nCopy\n",
         "57\txCp\n53\tcopy\n53\tCopy\n"},
        {"last line without newline", QStringLiteral("b"), "ab\nb", "38\tb\n16\tab\n"},
        {"empty query keeps every line", QString(), "b\na\n", "0\tb\n0\ta\n"},
        {"nothing matches", QStringLiteral("q"), "Copy\nPaste\n", ""},
        {"empty input", QStringLiteral("cp"), "", ""},
        {"japanese", QStringLiteral("フォ"), "新規フォルダ\nフォント\n",
         "69\tフォント\n47\t新規フォルダ\n"},
        {"white space in query ignored", QStringLiteral(" c p"), "Copy\n", "53\tCopy\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const ToolRun r = fuzzy(c.query, c.input);
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.out, c.expected);
    }
}

TEST(QuilloToolFuzzyTest, LinesThatAreNotUtf8AreMatchedLossilyAndPrintedAsGiven)
{
    // Bad bytes read as U+FFFD, which is neither a letter nor a separator.
    const std::string input = "caf\xE9 cp\n\xFF\xFE"
                              "cp\nplain\n";
    const ToolRun r = fuzzy(QStringLiteral("cp"), input);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "57\tcaf\xE9 cp\n47\t\xFF\xFE"
                     "cp\n");
}

TEST(QuilloToolFuzzyTest, CharactersLowerCasedIntoAsciiStillMatch)
{
    // The byte-level shortcut must not drop lines the matcher would accept.
    const Case cases[] = {
        {"Kelvin sign", QStringLiteral("k"), "\u212A\n", "38\t\u212A\n"},
        {"dotted capital I", QStringLiteral("i"), "\u0130\n", "38\t\u0130\n"},
        {"accented query", QStringLiteral("É"), "CAFÉ\ncafe\n", "16\tCAFÉ\n"},
        {"marks after a space in the query", QStringLiteral("a \u0301\u0302"), "a\n", "38\ta\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const ToolRun r = fuzzy(c.query, c.input);
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.out, c.expected);
    }
}

TEST(QuilloToolFuzzyTest, RomajiPrintsTheTranscription)
{
    const ToolRun r = runTool({"romaji", "新規フォルダ"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "shinkiforuda\n");
}

TEST(QuilloToolFuzzyTest, WrongArgumentCountsAreUsageErrors)
{
    const std::vector<std::string> commandLines[] = {
        {"fuzzy"}, {"fuzzy", "a", "b"}, {"romaji"}, {"romaji", "a", "b"}};
    for (const std::vector<std::string>& arguments : commandLines) {
        SCOPED_TRACE(arguments.size());
        const ToolRun r = runTool(arguments, "Copy\n");
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.out, "");
        EXPECT_NE(r.err.find("usage: quillo-tool " + arguments.front()), std::string::npos)
            << r.err;
    }
}

} // namespace
