#include "tags/SidebarStore.h"

#include "core/PathText.h"
#include "support/FakeVolumes.h"
#include "support/Lists.h"
#include "support/TempDir.h"
#include "tags/TagStore.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;

namespace {

MountedVolume volume(const char* root, const QString& name, bool eject, bool unmount)
{
    return MountedVolume{root, name, {}, eject, unmount, {}};
}

QStringList ids(const QList<SidebarSection>& sections)
{
    return textsOf(sections, &SidebarSection::id);
}
QStringList names(const QList<SidebarItem>& items)
{
    return textsOf(items, &SidebarItem::displayName);
}
QStringList names(const QList<CustomSidebarSection>& sections)
{
    return textsOf(sections, &CustomSidebarSection::name);
}

const QStringList kDefaultIDs{u"favorites"_s, u"tags"_s, u"locations"_s};

class SidebarStoreTest : public ::testing::Test {
protected:
    TempDir dir;
    fs::path settingsFile = dir / "Quillo.conf";
    int files = 0;
    TagStore tags{dir / "tags.json"};

    QSettings& settings()
    {
        m_settings.push_back(std::make_unique<QSettings>(
            QString::fromStdString(settingsFile.native()), QSettings::IniFormat));
        return *m_settings.back();
    }
    // A store as a new launch sees it: fresh settings object, same file.
    std::unique_ptr<SidebarStore> open(bool createsDefaultSection = false,
                                       std::unique_ptr<VolumeSource> volumes = {})
    {
        return std::make_unique<SidebarStore>(settings(), tags, createsDefaultSection,
                                              std::move(volumes));
    }
    // Settings objects cache a file by its name; cases that start over use new names.
    void useNewFile() { settingsFile = dir / ("Quillo-" + std::to_string(++files) + ".conf"); }
    void writeSettings(const std::string& ini)
    {
        std::ofstream(settingsFile) << "[General]\n" << ini;
    }

private:
    std::vector<std::unique_ptr<QSettings>> m_settings;
};

TEST_F(SidebarStoreTest, StoredOrderKeepsKnownSectionsAndNeverLosesTheFixedOnes)
{
    const QString tag = u"tag:5C1B7A2E-9D4F-4C3A-8E21-0F6B2D9A7C44"_s;
    struct Case {
        const char* ini;
        QStringList order;
    };
    const Case cases[] = {
        {"", kDefaultIDs},
        {"sidebarSections=tags, bogus, favorites, tags\n",
         {u"tags"_s, u"favorites"_s, u"locations"_s}},
        {"sidebarSections=locations\n", {u"locations"_s, u"favorites"_s, u"tags"_s}},
        {"sidebarSections=locations, tag:5c1b7a2e-9d4f-4c3a-8e21-0f6b2d9a7c44, custom:x\n",
         {u"locations"_s, tag, u"favorites"_s, u"tags"_s}},
        {"sidebarSections=\n", kDefaultIDs},
        {"sidebarSections=@Invalid()\n", kDefaultIDs},
        {"sidebarSections=42\n", kDefaultIDs},
        {"sidebarSections=@Variant(\\0\\0\\0\\t\\0\\0\\0\\x5)\n", kDefaultIDs},
        {"sidebarSections=@Variant(junk\n", kDefaultIDs},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.ini);
        useNewFile();
        writeSettings(c.ini);
        EXPECT_EQ(ids(open()->sections()), c.order);
    }
}

TEST_F(SidebarStoreTest, CorruptValuesReadAsDefaults)
{
    writeSettings("sidebarHiddenSections=@Variant(\\0\\0\\0\\x7f\\0\\0\\0\\x10QStringList)\n"
                  "sidebarFavorites=hello\n"
                  "sidebarCustomSections=3\n"
                  "sidebarDefaultSectionCreated=maybe\n");
    const auto store = open(true);
    EXPECT_EQ(ids(store->sections()).mid(0, 3), kDefaultIDs);
    EXPECT_TRUE(store->hiddenSections().isEmpty());
    EXPECT_TRUE(store->favorites().isEmpty());
    // "maybe" is not true: the default section is made now.
    EXPECT_EQ(names(store->customSections()), QStringList{u"マイセクション"_s});
}

TEST_F(SidebarStoreTest, BadEntriesInsideListsAreSkipped)
{
    const QString a = u"AAAAAAAA-0000-4000-8000-000000000001"_s;
    const QString b = u"BBBBBBBB-0000-4000-8000-000000000002"_s;
    const QString c = u"CCCCCCCC-0000-4000-8000-000000000003"_s;
    const QString d = u"DDDDDDDD-0000-4000-8000-000000000004"_s;
    const QString e = u"EEEEEEEE-0000-4000-8000-000000000005"_s;
    const QString ghost = u"99999999-0000-4000-8000-000000000009"_s;
    {
        QSettings& raw = settings();
        raw.setValue(
            u"sidebarFavorites"_s,
            QVariantList{
                QVariantMap({{u"url"_s, u"/a"_s}}), u"text"_s, QVariantMap({{u"name"_s, u"x"_s}}),
                QVariantMap({{u"url"_s, 5}}), QVariantMap({{u"url"_s, u"relative"_s}}),
                QVariantMap({{u"url"_s, u"/a/"_s}}),
                QVariantMap({{u"url"_s, QString(u"quillo-section:"_s + a)}, {u"section"_s, a}}),
                QVariantMap({{u"url"_s, QString(u"quillo-tag:///"_s + a)}})});
        const QVariantList sectionItems{
            QVariantMap({{u"url"_s, QString(u"quillo-section:"_s + ghost)}, {u"section"_s, ghost}}),
            QVariantMap({{u"url"_s, u"/x"_s}})};
        raw.setValue(
            u"sidebarCustomSections"_s,
            QVariantList{
                QVariantMap({{u"id"_s, a}, {u"name"_s, u"A"_s}, {u"items"_s, sectionItems}}),
                QVariantMap({{u"id"_s, b}, {u"name"_s, u"B"_s}, {u"parent"_s, a}}),
                QVariantMap({{u"id"_s, a}, {u"name"_s, u"A again"_s}}),
                QVariantMap({{u"id"_s, u"bad"_s}, {u"name"_s, u"bad"_s}}), u"not a record"_s,
                QVariantMap({{u"id"_s, c}, {u"name"_s, u"C"_s}, {u"parent"_s, d}}),
                QVariantMap({{u"id"_s, d}, {u"name"_s, u"D"_s}, {u"parent"_s, c}}),
                QVariantMap(
                    {{u"id"_s, e}, {u"name"_s, 7}, {u"parent"_s, ghost}, {u"items"_s, 1}})});
        raw.setValue(u"sidebarSections"_s, QStringList{u"custom:"_s + b, u"tags"_s});
        raw.sync();
    }
    const auto store = open();
    EXPECT_EQ(names(store->favorites()), (QStringList{u"a"_s, QString()}));
    EXPECT_EQ(store->favorites().value(1).id(), u"tag:"_s + a);

    const QList<CustomSidebarSection>& sections = store->customSections();
    EXPECT_EQ(names(sections), (QStringList{u"A"_s, u"B"_s, u"C"_s, u"D"_s, u"セクション"_s}));
    // The loop of parents is broken at its first member; a lost parent makes a top level.
    const auto parent = [&](const QString& id) {
        const auto section = store->customSection(QUuid::fromString(id));
        return section && section->parentID ? SidebarSection::uuidText(*section->parentID)
                                            : QString();
    };
    EXPECT_EQ(parent(b), a);
    EXPECT_EQ(parent(c), QString());
    EXPECT_EQ(parent(d), c);
    EXPECT_EQ(parent(e), QString());
    // The dangling subsection item is gone, the unlisted subsection is listed.
    EXPECT_EQ(names(store->items(SidebarSection::custom(QUuid::fromString(a)))),
              (QStringList{u"x"_s, u"B"_s}));
    // A subsection never stands at the top; lost top-level sections come back at the end.
    EXPECT_EQ(ids(store->sections()),
              (QStringList{u"tags"_s, u"favorites"_s, u"locations"_s, u"custom:"_s + a,
                           u"custom:"_s + c, u"custom:"_s + e}));
}

TEST_F(SidebarStoreTest, DefaultSectionIsMadeOnceOnly)
{
    {
        const auto store = open(false);
        EXPECT_TRUE(store->customSections().isEmpty());
    }
    SidebarSection mine = SidebarSection::favorites();
    {
        const auto store = open(true);
        ASSERT_EQ(names(store->customSections()), QStringList{u"マイセクション"_s});
        mine = store->sections().constLast();
        EXPECT_EQ(store->title(mine), u"マイセクション"_s);
        EXPECT_EQ(ids(store->sections()), kDefaultIDs + QStringList{mine.id()});
        store->deleteSection(mine);
    }
    const auto store = open(true);
    EXPECT_TRUE(store->customSections().isEmpty());
    EXPECT_EQ(ids(store->sections()), kDefaultIDs);
    EXPECT_EQ(store->title(mine), u"セクション"_s);
}

TEST_F(SidebarStoreTest, EverythingSurvivesARelaunch)
{
    const std::optional<Tag> tag = tags.createTag(u"仕事"_s);
    ASSERT_TRUE(tag);
    const fs::path odd = std::string("/data/bad\xff, \"name\"\n");
    const auto store = open(true);
    store->addFavorite("/srv/a");
    store->addFavorite(odd);
    const SidebarSection work = store->createSection(u"仕事"_s, SidebarSection::tags());
    store->placeURL("/srv/b", work);
    store->placeTag(tag->id, work, 0);
    store->renameItem(u"/srv/b"_s, work, u"ビー"_s);
    const std::optional<QUuid> drafts = store->createSubsection(u"下書き"_s, work.uuid(), 1);
    ASSERT_TRUE(drafts);
    store->placeURL("/srv/c", SidebarSection::custom(*drafts));
    store->addTagSection(tag->id, SidebarSection::favorites());
    store->setSection(SidebarSection::locations(), true);

    const auto after = open(true);
    EXPECT_EQ(after->sections(), store->sections());
    EXPECT_EQ(after->hiddenSections(), QSet<QString>{u"locations"_s});
    EXPECT_EQ(after->favorites(), store->favorites());
    EXPECT_EQ(after->favorites().value(1).path(), odd);
    EXPECT_EQ(after->customSections(), store->customSections());
    EXPECT_EQ(names(after->customSectionsInOrder()),
              (QStringList{u"仕事"_s, u"下書き"_s, u"マイセクション"_s}));
    EXPECT_EQ(names(after->items(work)), (QStringList{u"仕事"_s, u"下書き"_s, u"ビー"_s}));
    EXPECT_EQ(ids(after->sections()).mid(0, 4),
              (QStringList{u"tag:"_s + SidebarSection::uuidText(tag->id), u"favorites"_s, work.id(),
                           u"tags"_s}));
}

TEST_F(SidebarStoreTest, MovesSectionsLikeAListReorder)
{
    struct Case {
        QList<int> from;
        int to;
        QString order; // initials of favorites, tags, locations, the custom section
        bool changes;
    };
    const Case cases[] = {
        {{0}, 2, u"tflc"_s, true},    {{3}, 0, u"cftl"_s, true},    {{0, 2}, 4, u"tcfl"_s, true},
        {{3, 1}, 0, u"tcfl"_s, true}, {{2, 0}, 2, u"tflc"_s, true}, {{1}, 1, u"ftlc"_s, false},
        {{1}, 2, u"ftlc"_s, false},   {{0}, 99, u"tlcf"_s, true},   {{7, -1}, 0, u"ftlc"_s, false},
        {{}, 0, u"ftlc"_s, false},
    };
    const auto initials = [](const SidebarStore& store) {
        QString text;
        for (const SidebarSection& section : store.sections())
            text += section.id().at(0);
        return text;
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.order.toStdString());
        useNewFile();
        const auto store = open();
        store->createSection(u"c"_s);
        const QSignalSpy changed(store.get(), &SidebarStore::changed);
        store->moveSections(c.from, c.to);
        EXPECT_EQ(initials(*store), c.order);
        EXPECT_EQ(changed.count(), c.changes ? 1 : 0);
        EXPECT_EQ(initials(*open()), c.order);
    }
}

TEST_F(SidebarStoreTest, HidesAndResetsSections)
{
    const auto store = open();
    const QSignalSpy changed(store.get(), &SidebarStore::changed);
    store->setSection(SidebarSection::tags(), true);
    store->setSection(SidebarSection::tags(), true);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_TRUE(store->isHidden(SidebarSection::tags()));
    EXPECT_TRUE(open()->isHidden(SidebarSection::tags()));

    const QUuid tagID = QUuid::createUuid();
    const SidebarSection custom = store->createSection(u"c"_s, SidebarSection::favorites());
    store->addTagSection(tagID, custom);
    store->setSection(SidebarSection::tag(tagID), true);
    store->moveSections({4}, 0); // locations first
    ASSERT_EQ(store->sections().first(), SidebarSection::locations());
    store->resetSections();
    EXPECT_EQ(store->sections(),
              (QList{SidebarSection::favorites(), SidebarSection::tags(),
                     SidebarSection::locations(), SidebarSection::tag(tagID), custom}));
    EXPECT_TRUE(store->hiddenSections().isEmpty());
    EXPECT_EQ(open()->sections(), store->sections());
    EXPECT_TRUE(open()->hiddenSections().isEmpty());
    const qsizetype count = changed.count();
    store->resetSections();
    EXPECT_EQ(changed.count(), count);

    // Removing a tag section forgets that it was hidden.
    store->setSection(SidebarSection::tag(tagID), true);
    store->removeTagSection(tagID);
    EXPECT_FALSE(store->sections().contains(SidebarSection::tag(tagID)));
    EXPECT_TRUE(open()->hiddenSections().isEmpty());
}

TEST_F(SidebarStoreTest, SubsectionsNestAndGoWithTheirParent)
{
    const auto store = open();
    const SidebarSection other = store->createSection(u"  E  "_s);
    const SidebarSection a = store->createSection(u"A"_s, other);
    store->placeURL("/x", a);
    const QUuid b = *store->createSubsection(u"B"_s, a.uuid(), 0);
    const QUuid c = *store->createSubsection(u"C"_s, b);
    const QUuid d = *store->createSubsection(u""_s, a.uuid());
    EXPECT_FALSE(store->createSubsection(u"X"_s, QUuid::createUuid()));

    EXPECT_EQ(names(store->items(a)), (QStringList{u"B"_s, u"x"_s, u"セクション"_s}));
    EXPECT_EQ(store->displayPath(b), u"A › B"_s);
    EXPECT_EQ(store->displayPath(c), u"A › B › C"_s);
    EXPECT_EQ(store->displayPath(a.uuid()), u"A"_s);
    EXPECT_EQ(names(store->customSectionsInOrder()),
              (QStringList{u"A"_s, u"B"_s, u"C"_s, u"セクション"_s, u"E"_s}));
    // Subsections are not sections of the sidebar's top level.
    EXPECT_EQ(ids(store->sections()), kDefaultIDs + (QStringList{a.id(), other.id()}));

    store->renameSection(b, u" B2 "_s);
    store->renameSection(c, u"   "_s);
    EXPECT_EQ(names(store->items(a)).first(), u"B2"_s);
    EXPECT_EQ(open()->customSection(b)->name, u"B2"_s);
    EXPECT_EQ(store->title(SidebarSection::custom(c)), u"C"_s);

    // Removing a subsection's item deletes the subsection.
    store->removeItem(SidebarItem::subsection(*store->customSection(d)).id(), a);
    EXPECT_FALSE(store->customSection(d));

    store->setSection(a, true);
    store->deleteSection(a);
    EXPECT_EQ(names(store->customSections()), QStringList{u"E"_s});
    EXPECT_EQ(ids(store->sections()), kDefaultIDs + QStringList{other.id()});
    EXPECT_TRUE(store->hiddenSections().isEmpty());
    const auto reopened = open();
    EXPECT_EQ(names(reopened->customSections()), QStringList{u"E"_s});
    EXPECT_EQ(reopened->sections(), store->sections());
}

TEST_F(SidebarStoreTest, PlacingAnItemTwiceMovesIt)
{
    const auto store = open();
    const QSignalSpy changed(store.get(), &SidebarStore::changed);
    const SidebarSection favorites = SidebarSection::favorites();
    struct Step {
        std::function<void()> act;
        QString names; // after the step
        bool changes;
    };
    const Step steps[] = {
        {[&] { store->placeURL("/f/a", favorites); }, u"a"_s, true},
        {[&] { store->addFavorite("/f/b"); }, u"ab"_s, true},
        {[&] { store->placeURL("/f/c", favorites, 0); }, u"cab"_s, true},
        {[&] { store->placeURL("/f/a/", favorites); }, u"cba"_s, true},
        {[&] { store->placeURL("/f/./b", favorites, 0); }, u"bca"_s, true},
        {[&] { store->addFavorite("/f//c"); }, u"bca"_s, false},
        {[&] { store->addFavorite("/f/c", 0); }, u"cba"_s, true},
        {[&] { store->placeURL("/f/c", favorites, 1); }, u"cba"_s, false},
        {[&] { store->placeURL("f/d", favorites); }, u"cba"_s, false},
        {[&] { store->placeURL("", favorites); }, u"cba"_s, false},
        {[&] { store->placeURL("/f/d", SidebarSection::tags()); }, u"cba"_s, false},
        {[&] { store->placeURL("/f/d", SidebarSection::custom(QUuid::createUuid())); }, u"cba"_s,
         false},
        {[&] { store->removeFavorite("/f/b/"); }, u"ca"_s, true},
        {[&] { store->removeFavorite("/f/b"); }, u"ca"_s, false},
        {[&] { store->moveItem(u"/f/c"_s, favorites, 2); }, u"ac"_s, true},
        {[&] { store->renameItem(u"/f/a"_s, favorites, u"  "_s); }, u"ac"_s, false},
        {[&] { store->renameItem(u"/f/a"_s, favorites, u"z"_s); }, u"zc"_s, true},
        {[&] { store->placeURL("/f/a", favorites); }, u"cz"_s, true},
        {[&] { store->renameItem(u"/f/a"_s, favorites, std::nullopt); }, u"ca"_s, true},
    };
    qsizetype expected = 0;
    for (const Step& step : steps) {
        SCOPED_TRACE(step.names.toStdString());
        step.act();
        expected += step.changes ? 1 : 0;
        EXPECT_EQ(names(store->favorites()).join(QString()), step.names);
        EXPECT_EQ(changed.count(), expected);
        EXPECT_EQ(names(open()->favorites()).join(QString()), step.names);
    }
    EXPECT_TRUE(store->containsFavorite("/f//a/."));
    EXPECT_FALSE(store->containsFavorite("/f/b"));
}

TEST_F(SidebarStoreTest, TagSectionsFollowTheTagStore)
{
    const Tag work = *tags.createTag(u"仕事"_s);
    const Tag client = *tags.createTag(u"仕事/顧客"_s);
    tags.assign(work.id, {dir / "b-file"});
    tags.assign(client.id, {dir / "a-file"});
    const auto store = open();
    const SidebarSection section = SidebarSection::tag(work.id);
    store->addTagSection(work.id);
    store->placeTag(client.id, SidebarSection::favorites());
    EXPECT_EQ(store->title(section), u"仕事"_s);
    EXPECT_EQ(names(store->items(section)), (QStringList{u"a-file"_s, u"b-file"_s}));
    EXPECT_EQ(store->items(section).first().path(), dir / "a-file");

    const QSignalSpy changed(store.get(), &SidebarStore::changed);
    tags.assign(work.id, {dir / "c-file"});
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(store->items(section).size(), 3);
    tags.createTag(u"無関係"_s);
    tags.assign(tags.tagNamed(u"無関係"_s)->id, {dir / "d-file"});
    EXPECT_EQ(changed.count(), 1);

    tags.renameTag(client.id, u"仕事/取引先"_s);
    EXPECT_EQ(changed.count(), 2);
    EXPECT_EQ(names(store->items(SidebarSection::favorites())), QStringList{u"仕事/取引先"_s});

    tags.deleteTag(work.id);
    EXPECT_EQ(changed.count(), 3);
    EXPECT_EQ(store->title(section), u"（削除されたタグ）"_s);
    EXPECT_TRUE(store->items(section).isEmpty());
    EXPECT_TRUE(store->items(SidebarSection::favorites()).first().isMissing);
    EXPECT_TRUE(store->sections().contains(section));
    store->deleteSection(section);
    EXPECT_FALSE(store->sections().contains(section));
}

TEST_F(SidebarStoreTest, MissingFoldersAreFoundInTheBackground)
{
    const fs::path here = dir.folder("here");
    const fs::path gone = dir / "gone";
    const fs::path dangling = dir.link("dangling", "nowhere");
    {
        const auto store = open();
        for (const fs::path& path : {here, gone, dangling})
            store->addFavorite(path);
        store->placeURL(gone, store->createSection(u"c"_s));
    }
    const auto store = open();
    const auto flags = [&] {
        return mapped(store->favorites() + store->customSections().first().items,
                      &SidebarItem::isMissing);
    };
    EXPECT_EQ(flags(), (QList{false, false, false, false})); // nothing read while loading
    const QSignalSpy changed(store.get(), &SidebarStore::changed);
    const auto refresh = [&] {
        const QFuture<void> done = store->refreshMissing();
        EXPECT_TRUE(QTest::qWaitFor([&] { return done.isFinished(); }));
    };
    refresh();
    EXPECT_EQ(flags(), (QList{false, true, false, true}));
    EXPECT_EQ(changed.count(), 1);
    refresh();
    EXPECT_EQ(changed.count(), 1);
    fs::create_directory(gone);
    refresh();
    EXPECT_EQ(flags(), (QList{false, false, false, false}));
    EXPECT_EQ(changed.count(), 2);
}

TEST_F(SidebarStoreTest, PlacesAreTheUsersFoldersAndTheRoot)
{
    const auto store = open();
    const QList<SidebarItem> places = store->places();
    ASSERT_GE(places.size(), 2);
    EXPECT_EQ(places.first().name, u"ホーム"_s);
    EXPECT_EQ(places.first().path(), PathText::homeFolder());
    EXPECT_EQ(places.last().name, u"ルート"_s);
    EXPECT_EQ(places.last().path(), fs::path("/"));
    const QFuture<void> done = store->refreshMissing();
    ASSERT_TRUE(QTest::qWaitFor([&] { return done.isFinished(); }));
    EXPECT_FALSE(store->places().first().isMissing);
}

TEST_F(SidebarStoreTest, VolumesFollowTheSourceAndReportFailedEjects)
{
    auto source = std::make_unique<FakeVolumes>();
    FakeVolumes& volumes = *source;
    volumes.list = {volume("/media/u/USB", u"USB"_s, true, true),
                    volume("/mnt/nas", u"NAS"_s, false, true),
                    volume("/mnt/fixed", u""_s, false, false)};
    volumes.list[1].iconName = u"network-server"_s;
    const auto store = open(false, std::move(source));
    EXPECT_EQ(names(store->volumes()), (QStringList{u"USB"_s, u"NAS"_s, u"fixed"_s}));
    EXPECT_EQ(mapped(store->volumes(), &SidebarItem::isEjectable), (QList{true, true, false}));
    EXPECT_EQ(store->volumes()[0].symbol, u"drive-harddisk"_s);
    EXPECT_EQ(store->volumes()[1].symbol, u"network-server"_s);
    EXPECT_EQ(store->volumes()[1].path(), fs::path("/mnt/nas"));

    const QSignalSpy volumesChanged(store.get(), &SidebarStore::volumesChanged);
    volumes.set(volumes.list);
    EXPECT_EQ(volumesChanged.count(), 0);
    QList<MountedVolume> renamed = volumes.list;
    renamed[0].name = u"写真"_s;
    volumes.set(renamed);
    EXPECT_EQ(volumesChanged.count(), 1);
    EXPECT_EQ(store->volumes()[0].name, u"写真"_s);

    const QSignalSpy failed(store.get(), &SidebarStore::ejectFailed);
    volumes.failure = u"Device or resource busy"_s;
    store->eject(store->volumes()[0]);
    QCoreApplication::processEvents();
    ASSERT_EQ(failed.count(), 1);
    EXPECT_EQ(failed[0][0].toString(),
              u"「写真」を取り出せませんでした。\nDevice or resource busy"_s);
    volumes.failure.reset();
    store->eject(store->volumes()[1]);
    QCoreApplication::processEvents();
    EXPECT_EQ(failed.count(), 1);
    EXPECT_EQ(volumes.ejected, (QList<fs::path>{"/media/u/USB", "/mnt/nas"}));

    volumes.set({renamed[1]});
    EXPECT_EQ(volumesChanged.count(), 2);
    EXPECT_EQ(names(store->volumes()), QStringList{u"NAS"_s});
    // A volume that went away in the meantime is not asked for.
    store->eject(SidebarItem::folder("/media/u/USB", u"写真"_s));
    EXPECT_EQ(volumes.ejected.size(), 2);
}

} // namespace
