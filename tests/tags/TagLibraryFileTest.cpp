#include "tags/TagLibraryFile.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

namespace {

using Status = TagLibraryFile::ReadStatus;

const char* const kId = "6A1C2D3E-0000-4000-8000-000000000001";

std::string library(const std::string& tags, const std::string& items)
{
    return R"({"items": [)" + items + R"(], "tags": [)" + tags + "]}";
}

std::string tagRecord(const std::string& name)
{
    return R"({"color": "#ff0000", "id": ")" + std::string(kId) + R"(", "name": )" + name + "}";
}

TEST(TagLibraryFileTest, DocumentsThatAreNotALibraryAreUnusable)
{
    const std::string cases[] = {
        "",
        "   ",
        "[]",
        "null",
        R"({"tags": []})",
        R"({"items": []})",
        R"({"items": [], "tags": []} trailing)",
        R"({"items": [], "tags": [],})",
        R"({"items": [], "tags": [})",
        R"({"items": [{"path": "/a", "tagIDs": ["x"]], "tags": []})",
        R"({"items": [], "tags": [{"name": "a\q"}]})",
        R"({"items": [], "tags": [{"name": "a\u12"}]})",
        "{\"items\": [], \"tags\": [{\"name\": \"raw\ncontrol\"}]}",
        R"({"items": [], "tags": [], "x": tru})",
        R"({"items": [], "tags": [], "x": -})",
        // Refused without exhausting the stack.
        R"({"items": [], "tags": [], "x": )" + std::string(100000, '[') + std::string(100000, ']') +
            "}",
    };
    for (const std::string& json : cases) {
        SCOPED_TRACE(json.substr(0, 80));
        const auto reading = TagLibraryFile::decode(QByteArrayView(json));
        EXPECT_EQ(reading.status, Status::unusable);
        EXPECT_TRUE(reading.library.tags.isEmpty());
    }
}

TEST(TagLibraryFileTest, StringsDecodeEveryEscape)
{
    const struct {
        const char* json;
        const char16_t* name;
    } cases[] = {
        {R"("plain")", u"plain"},
        {R"("q\"uote\\back\/slash")", u"q\"uote\\back/slash"},
        {R"("tab\there")", u"tab\there"},
        {R"("\u65e5\u672C")", u"日本"},
        {R"("\ud83d\ude00 face")", u"😀 face"},
        {R"("日本語 direct")", u"日本語 direct"},
        {R"("mixed 日\n本")", u"mixed 日\n本"},
    };
    for (const auto& c : cases) {
        const auto reading =
            TagLibraryFile::decode(QByteArray::fromStdString(library(tagRecord(c.json), "")));
        ASSERT_EQ(reading.status, Status::ok) << c.json;
        ASSERT_EQ(reading.library.tags.size(), 1) << c.json;
        EXPECT_EQ(reading.library.tags.front().name, QString::fromUtf16(c.name)) << c.json;
    }
}

// A bad field costs only that field: an item with a path and one usable tag id stays.
TEST(TagLibraryFileTest, UnknownKeysAreSkippedAndBadFieldsMarkDamage)
{
    const std::string id = kId;
    const std::string other = "6A1C2D3E-0000-4000-8000-000000000002";
    const struct {
        std::string items;
        Status status;
        qsizetype kept;
        qsizetype ids = 1; // of the item kept at "/a"
        bool bookmark = false;
    } cases[] = {
        {R"({"path": "/a", "tagIDs": [")" + id + R"("], "extra": {"n": [1, -2.5e3, null, true]}})",
         Status::ok, 1},
        {R"({"path": "/a", "tagIDs": []})", Status::ok, 0}, // an empty record is dropped quietly
        {R"({"path": "", "tagIDs": [")" + id + R"("]})", Status::damaged, 0},
        {R"({"path": "/a", "tagIDs": ["nope"]})", Status::damaged, 0},
        {R"({"path": "/a", "tagIDs": ["nope", ")" + id + R"(", 7, ")" + other + R"("]})",
         Status::damaged, 1, 2},
        {R"({"path": "/a", "tagIDs": [7, ")" + id + R"("]})", Status::damaged, 1},
        {R"({"path": "/a", "tagIDs": [")" + id + R"("], "bookmark": "*not base64*"})",
         Status::damaged, 1},
        {R"({"path": "/a", "tagIDs": [")" + id + R"("], "bookmark": "AP8="})", Status::ok, 1, 1,
         true},
        {R"(42, {"path": "/a", "tagIDs": [")" + id + R"("]})", Status::damaged, 1},
    };
    for (const auto& c : cases) {
        const auto reading =
            TagLibraryFile::decode(QByteArray::fromStdString(library(tagRecord("\"t\""), c.items)));
        EXPECT_EQ(reading.status, c.status) << c.items;
        ASSERT_EQ(reading.library.items.size(), c.kept) << c.items;
        if (c.kept == 0)
            continue;
        const TaggedItem& item = reading.library.items.value(QStringLiteral("/a"));
        EXPECT_EQ(item.tagIDs.size(), c.ids) << c.items;
        EXPECT_EQ(item.bookmark.has_value(), c.bookmark) << c.items;
    }
}

TEST(TagLibraryFileTest, EncodingReadsBackTheSame)
{
    TagLibrary before;
    before.tags = {Tag{QUuid::createUuid(), QStringLiteral("a/\"quoted\"\\ \u0001"),
                       QStringLiteral("#00AAFF")}};
    const QString path = QStringLiteral("/x/\u65e5 \U0001F600\n");
    before.items.insert(path, TaggedItem{path, QByteArray("\0\xFF", 2), {before.tags[0].id}});
    const QByteArray json = TagLibraryFile::encode(before.tags, before.items, true);
    EXPECT_FALSE(QJsonDocument::fromJson(json).isNull()); // valid for any other reader too
    const auto after = TagLibraryFile::decode(json);
    ASSERT_EQ(after.status, Status::ok);
    EXPECT_EQ(after.library.tags, before.tags);
    EXPECT_EQ(after.library.items, before.items);
    EXPECT_TRUE(after.library.manualOrder);
}

} // namespace
