#include "core/Location.h"

#include <gtest/gtest.h>

namespace {

TEST(LocationTest, TextFormRoundTrips)
{
    const QUuid id = QUuid::fromString(QStringLiteral("1b4e28ba-2fa1-11d2-883f-0016d3cca427"));
    const Location tag = Location::tag(id);
    EXPECT_EQ(tag.toText(), QStringLiteral("quillo-tag:///1B4E28BA-2FA1-11D2-883F-0016D3CCA427"));
    EXPECT_TRUE(tag.path().empty());
    EXPECT_EQ(Location::fromText(tag.toText().toLower()), tag);
    for (const Location& location :
         {tag, Location::folder("/"), Location::folder("/home/ユーザー/書類"),
          Location::folder(std::string("/bad/\xff\xfe name"))}) {
        EXPECT_EQ(Location::fromText(location.toText()), location)
            << location.toText().toStdString();
    }
}

TEST(LocationTest, TextThatIsNotATagIsAFolder)
{
    for (const char* text : {"quillo-tag:///not-a-uuid", "quillo-tag:///", "/a/b/"}) {
        const Location location = Location::fromText(QString::fromUtf8(text));
        EXPECT_TRUE(location.isFolder()) << text;
        EXPECT_TRUE(location.tagId().isNull()) << text;
    }
    EXPECT_EQ(Location::fromText(QStringLiteral("/a/b/")).path(), "/a/b");
    // Standardized by text alone: "link/.." is not resolved.
    EXPECT_EQ(Location::folder("/a//b/./link/..").path(), "/a/b");
    EXPECT_EQ(Location::folder("/a/写真/").displayName(), QStringLiteral("写真"));
    EXPECT_TRUE(Location().isEmpty());
}

} // namespace
