#include "tags/SidebarSection.h"

#include "support/Lists.h"
#include "tags/SidebarItem.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QUuid kID = QUuid::fromString(u"5C1B7A2E-9D4F-4C3A-8E21-0F6B2D9A7C44");
const QString kIDText = QStringLiteral("5C1B7A2E-9D4F-4C3A-8E21-0F6B2D9A7C44");

TEST(SidebarSectionTest, ParsesEveryFormAndNothingElse)
{
    struct Case {
        QString text;
        std::optional<SidebarSection> section;
        QString id; // written back
    };
    const Case cases[] = {
        {u"favorites"_s, SidebarSection::favorites(), u"favorites"_s},
        {u"tags"_s, SidebarSection::tags(), u"tags"_s},
        {u"locations"_s, SidebarSection::locations(), u"locations"_s},
        {u"tag:"_s + kIDText, SidebarSection::tag(kID), u"tag:"_s + kIDText},
        {u"custom:"_s + kIDText.toLower(), SidebarSection::custom(kID), u"custom:"_s + kIDText},
        {u""_s, std::nullopt, {}},
        {u"Favorites"_s, std::nullopt, {}},
        {u" tags"_s, std::nullopt, {}},
        {u"tag:"_s, std::nullopt, {}},
        {u"tag:not-a-uuid"_s, std::nullopt, {}},
        {u"custom:00000000-0000-0000-0000-000000000000"_s, std::nullopt, {}},
        {u"folder:"_s + kIDText, std::nullopt, {}},
        {kIDText, std::nullopt, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text.toStdString());
        const std::optional<SidebarSection> parsed = SidebarSection::fromID(c.text);
        EXPECT_EQ(parsed, c.section);
        EXPECT_EQ(parsed ? parsed->id() : QString(), c.id);
    }
}

TEST(SidebarItemTest, RecordsRoundTripForEveryKindOfItem)
{
    SidebarItem named = SidebarItem::folder("/srv/プロジェクト/./a//", u"作業"_s);
    named.customName = u"いつもの"_s;
    const SidebarItem rawBytes = SidebarItem::folder(std::string("/data/bad\xff\xfe"));
    const SidebarItem tag = SidebarItem::tag(kID, u"仕事/顧客"_s);
    const SidebarItem subsection =
        SidebarItem::subsection(CustomSidebarSection{kID, u"下書き"_s, {}, std::nullopt});
    for (const SidebarItem& item : {named, rawBytes, tag, subsection}) {
        SCOPED_TRACE(item.url.toStdString());
        EXPECT_EQ(SidebarItem::fromRecord(item.toRecord()), item);
    }
    EXPECT_EQ(named.path(), "/srv/プロジェクト/a");
    EXPECT_EQ(named.id(), u"/srv/プロジェクト/a"_s);
    EXPECT_EQ(named.displayName(), u"いつもの"_s);
    EXPECT_EQ(rawBytes.path(), std::string("/data/bad\xff\xfe"));
    EXPECT_EQ(tag.url, u"quillo-tag:///"_s + kIDText);
    EXPECT_EQ(tag.id(), u"tag:"_s + kIDText);
    EXPECT_TRUE(tag.path().empty());
    EXPECT_EQ(subsection.url, u"quillo-section:"_s + kIDText);
    EXPECT_EQ(subsection.id(), u"section:"_s + kIDText);
}

TEST(SidebarItemTest, RecordsThatCannotBeUsedGiveNothing)
{
    struct Case {
        const char* name;
        QVariantMap record;
        std::optional<QString> id;
    };
    const Case cases[] = {
        {"no url", {{u"name"_s, u"x"_s}}, std::nullopt},
        {"url of another type", {{u"url"_s, 5}}, std::nullopt},
        {"relative folder", {{u"url"_s, u"docs/a"_s}}, std::nullopt},
        {"tag by url alone",
         {{u"url"_s, QString(u"quillo-tag:///"_s + kIDText)}},
         u"tag:"_s + kIDText},
        {"bad tag id falls back to the url",
         {{u"url"_s, u"/a/b/"_s}, {u"tag"_s, u"nonsense"_s}},
         u"/a/b"_s},
        {"name of another type", {{u"url"_s, u"/a/b"_s}, {u"name"_s, 3}}, u"/a/b"_s},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::optional<SidebarItem> item = SidebarItem::fromRecord(c.record);
        EXPECT_EQ(item ? std::optional(item->id()) : std::nullopt, c.id);
    }
    // A folder without a stored name shows its last component.
    EXPECT_EQ(SidebarItem::fromRecord({{u"url"_s, u"/a/b"_s}, {u"name"_s, 3}})->name, u"b"_s);
}

TEST(SidebarItemTest, MovesLikeADropBetweenRows)
{
    struct Case {
        qsizetype from, to;
        QString order; // names after the move
        bool moved;
    };
    const Case cases[] = {
        {0, 0, u"abcd"_s, false}, {0, 1, u"abcd"_s, false}, {0, 2, u"bacd"_s, true},
        {0, 4, u"bcda"_s, true},  {3, 0, u"dabc"_s, true},  {2, 1, u"acbd"_s, true},
        {1, 99, u"acdb"_s, true}, {2, -5, u"cabd"_s, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.order.toStdString());
        QList<SidebarItem> items;
        for (const char* name : {"a", "b", "c", "d"})
            items.append(SidebarItem::folder(std::string("/") + name));
        EXPECT_EQ(SidebarItems::move(items, c.from, c.to), c.moved);
        EXPECT_EQ(textsOf(items, &SidebarItem::name).join(QString()), c.order);
    }
}

} // namespace
