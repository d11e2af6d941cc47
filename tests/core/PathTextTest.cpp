#include "core/PathText.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

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

TEST(PathTextTest, EscapedNameKeepsPrintableUtf8)
{
    const std::pair<std::string, std::string> cases[] = {
        {"plain name.txt", "plain name.txt"},
        {"日本語", "日本語"},
        {"new\nline", "new\\x0aline"},
        {"tab\t", "tab\\x09"},
        {"back\\slash", "back\\x5cslash"},
        {"del\x7f", "del\\x7f"},
        {"bad\xff", "bad\\xff"},
        {"cut\xe6\x97", "cut\\xe6\\x97"},    // a truncated three-byte sequence
        {"\xc0\xaf", "\\xc0\\xaf"},          // overlong "/"
        {"\xed\xa0\x80", "\\xed\\xa0\\x80"}, // an encoded surrogate
        {"emoji\xf0\x9f\x98\x80", "emoji\xf0\x9f\x98\x80"},
    };
    for (const auto& [in, out] : cases)
        EXPECT_EQ(PathText::escapedName(in), out) << out;
}

TEST(PathTextTest, ValidUtf8)
{
    EXPECT_TRUE(PathText::isValidUtf8(""));
    EXPECT_TRUE(PathText::isValidUtf8("ascii"));
    EXPECT_TRUE(PathText::isValidUtf8("日本\xf0\x9f\x98\x80"));
    EXPECT_FALSE(PathText::isValidUtf8("\xff"));
    EXPECT_FALSE(PathText::isValidUtf8("\xe6\x97"));
    EXPECT_FALSE(PathText::isValidUtf8("\xc0\xaf"));
    EXPECT_FALSE(PathText::isValidUtf8("\xed\xa0\x80"));
    EXPECT_FALSE(PathText::isValidUtf8("\xf4\x90\x80\x80")); // above U+10FFFF
}

TEST(PathTextTest, StorableTextRoundTripsEveryByte)
{
    std::string allBytes = "/";
    for (int b = 1; b < 256; ++b) {
        if (b != '/')
            allBytes += char(b);
    }
    const std::string cases[] = {
        "/home/u/写真.png",  "/tmp/bad\xff\xfe", "/tmp/cut\xe6\x97/x",
        "/tmp/\xed\xa0\x80", "/tmp/new\nline",   allBytes,
    };
    for (const std::string& bytes : cases) {
        const QString text = PathText::toStorableText(bytes);
        EXPECT_EQ(PathText::fromStorableText(text).native(), bytes);
        // Lone surrogates survive JSON, where our files keep paths.
        const QJsonDocument json(QJsonObject{{QStringLiteral("path"), text}});
        const QJsonDocument back = QJsonDocument::fromJson(json.toJson());
        EXPECT_EQ(PathText::fromStorableText(back.object().value(QStringLiteral("path")).toString())
                      .native(),
                  bytes);
    }
    EXPECT_EQ(PathText::toStorableText("/a/日本"), QStringLiteral("/a/日本"));
}
