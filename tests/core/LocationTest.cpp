#include "core/Location.h"

#include <gtest/gtest.h>

namespace {

TEST(LocationTest, FoldersAreStandardizedLexically)
{
    struct Case {
        std::string given;
        std::string expected;
    };
    const Case cases[] = {
        {"/a/b/", "/a/b"}, {"/a//b/./c", "/a/b/c"}, {"/a/b/../c", "/a/c"}, {"/", "/"}, {"//", "/"},
        {"/..", "/"},      {"/a/link/..", "/a"}, // links are never resolved
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.given);
        const Location location = Location::folder(c.given);
        EXPECT_TRUE(location.isFolder());
        EXPECT_EQ(location.path().native(), c.expected);
    }
}

TEST(LocationTest, TextFormRoundTrips)
{
    const QUuid id = QUuid::fromString(QStringLiteral("1b4e28ba-2fa1-11d2-883f-0016d3cca427"));
    const Location tag = Location::tag(id);
    EXPECT_EQ(tag.toText(), QStringLiteral("quillo-tag:///1B4E28BA-2FA1-11D2-883F-0016D3CCA427"));
    EXPECT_TRUE(tag.path().empty());
    EXPECT_FALSE(tag.isEmpty());

    const Location locations[] = {
        tag, Location::folder("/"), Location::folder("/home/ユーザー/書類"),
        Location::folder(std::string("/bad/\xff\xfe name")), // not UTF-8
    };
    for (const Location& location : locations) {
        SCOPED_TRACE(location.toText().toStdString());
        EXPECT_EQ(Location::fromText(location.toText()), location);
    }
    EXPECT_EQ(
        Location::fromText(QStringLiteral("quillo-tag:///1b4e28ba-2fa1-11d2-883f-0016d3cca427")),
        tag);
}

TEST(LocationTest, TextThatIsNotATagIsAFolder)
{
    for (const char* text : {"quillo-tag:///not-a-uuid", "quillo-tag:///", "/a/b/"}) {
        SCOPED_TRACE(text);
        const Location location = Location::fromText(QString::fromUtf8(text));
        EXPECT_TRUE(location.isFolder());
        EXPECT_TRUE(location.tagId().isNull());
    }
    EXPECT_EQ(Location::fromText(QStringLiteral("/a/b/")).path(), "/a/b");
}

TEST(LocationTest, DisplayNameIsTheLastComponent)
{
    EXPECT_EQ(Location::folder("/").displayName(), QStringLiteral("/"));
    EXPECT_EQ(Location::folder("/a/写真/").displayName(), QStringLiteral("写真"));
    EXPECT_EQ(Location::folder(std::string("/a/x\xff")).displayName(), QStringLiteral("x\uFFFD"));
    EXPECT_TRUE(Location().isEmpty());
}

} // namespace
