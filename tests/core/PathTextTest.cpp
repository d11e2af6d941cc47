#include "core/PathText.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>
#include <tuple>
#include <vector>

TEST(PathTextTest, StandardizedIsLexical)
{
    const std::pair<const char*, const char*> cases[] = {
        {"/", "/"},           {"//", "/"},           {"/a//b/", "/a/b"},
        {"/a/./b/.", "/a/b"}, {"/a/b/../c", "/a/c"}, {"/..", "/"},
        {"/a/../../b", "/b"}, {"a/../..", ".."},     {"./a", "a"},
        {".", "."},           {"a/..", "."},         {"/x/\xff/../y", "/x/y"},
    };
    for (const auto& [in, out] : cases)
        EXPECT_EQ(PathText::standardized(in).native(), out) << in;
}

TEST(PathTextTest, ParentAndDisplayName)
{
    EXPECT_EQ(PathText::parent("/").native(), "/");
    EXPECT_EQ(PathText::parent("/a").native(), "/");
    EXPECT_EQ(PathText::parent("/a/b").native(), "/a");
    EXPECT_EQ(PathText::displayName("/"), QStringLiteral("/"));
    EXPECT_EQ(PathText::displayName("/a/写真.png"), QStringLiteral("写真.png"));
    EXPECT_EQ(PathText::displayName("/a/bad\xff"), QStringLiteral("bad\uFFFD"));
}

// Each name with its escaped form and whether it is valid UTF-8.
TEST(PathTextTest, EscapedNameAndUtf8Validity)
{
    struct Case {
        std::string in;
        std::string out;
        bool valid;
    };
    const Case cases[] = {
        {"", "", true},
        {"plain name.txt", "plain name.txt", true},
        {"日本語", "日本語", true},
        {"new\nline", "new\\x0aline", true},
        {"tab\t", "tab\\x09", true},
        {"back\\slash", "back\\x5cslash", true},
        {"del\x7f", "del\\x7f", true},
        {"emoji\xf0\x9f\x98\x80", "emoji\xf0\x9f\x98\x80", true},
        {"bad\xff", "bad\\xff", false},
        {"cut\xe6\x97", "cut\\xe6\\x97", false},             // a truncated three-byte sequence
        {"\xc0\xaf", "\\xc0\\xaf", false},                   // overlong "/"
        {"\xed\xa0\x80", "\\xed\\xa0\\x80", false},          // an encoded surrogate
        {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80", false}, // above U+10FFFF
    };
    for (const Case& c : cases) {
        EXPECT_EQ(PathText::escapedName(c.in), c.out);
        EXPECT_EQ(PathText::isValidUtf8(c.in), c.valid) << c.out;
    }
}

TEST(PathTextTest, StorableTextRoundTripsEveryByteThroughJson)
{
    std::string allBytes = "/";
    for (int b = 1; b < 256; ++b) {
        if (b != '/')
            allBytes += char(b);
    }
    for (const std::string& bytes :
         {std::string("/home/u/写真.png"), std::string("/tmp/bad\xff\xfe"),
          std::string("/tmp/cut\xe6\x97/x"), std::string("/tmp/\xed\xa0\x80"), allBytes}) {
        // Lone surrogates survive JSON, where our files keep paths.
        const QJsonObject json{{QStringLiteral("path"), PathText::toStorableText(bytes)}};
        const QJsonDocument back = QJsonDocument::fromJson(QJsonDocument(json).toJson());
        EXPECT_EQ(PathText::fromStorableText(back.object().value("path").toString()).native(),
                  bytes);
    }
    EXPECT_EQ(PathText::toStorableText("/a/日本"), QStringLiteral("/a/日本"));
}

TEST(PathTextTest, AbbreviatedWritesHomeAsTilde)
{
    const std::vector<std::tuple<std::string, std::string, QString>> cases = {
        {"/home/ann", "/home/ann", "~"},
        {"/home/ann/Documents/a b", "/home/ann", "~/Documents/a b"},
        {"/home/ann2/x", "/home/ann", "/home/ann2/x"}, // a sibling that shares the prefix
        {"/etc", "/home/ann", "/etc"},
        {"/etc", "/", "/etc"}, // a root home abbreviates nothing
        {"/home/ann/x", "", "/home/ann/x"},
    };
    for (const auto& [path, home, shown] : cases)
        EXPECT_EQ(PathText::abbreviated(path, home), shown) << path << " in " << home;
}
