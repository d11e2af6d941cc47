#include "tags/TagAttributeMirror.h"

#include "core/Preferences.h"
#include "platform/ExtendedAttributes.h"
#include "support/PrivateMounts.h"
#include "support/TempDir.h"
#include "tags/TagStore.h"

#include <QMutex>
#include <QTest>
#include <gtest/gtest.h>
#include <optional>

namespace fs = std::filesystem;

namespace {

const char* const kName = TagAttributeMirror::attributeName;

// Warnings from any thread, so that "quietly" can be checked.
QMutex warningsLock;
QStringList warnings;
void collect(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type == QtWarningMsg) {
        QMutexLocker lock(&warningsLock);
        warnings << text;
    }
}

std::optional<std::string> attribute(const fs::path& path)
{
    const auto value = ExtendedAttributes::read(path, kName);
    return value ? *value : std::nullopt;
}

QSet<QString> namesIn(const fs::path& path)
{
    const QStringList names = TagAttributeMirror::tagsIn(path);
    return {names.begin(), names.end()};
}

TEST(TagAttributeMirrorFormatTest, ParsesValuesOfOtherPrograms)
{
    const struct {
        std::string value;
        QStringList names;
    } cases[] = {
        {"a,b", {"a", "b"}},
        {" a , b ,", {"a", "b"}},
        {"", {}},
        {",, ,", {}},
        {"Work,work,WORK", {"Work"}},
        {"x//y/, x / y", {"x/y"}},
        {std::string("a,b\0", 4), {"a", "b"}},
        {"親/子,日本語", {"親/子", "日本語"}},
        {"ok,\xff\xfe", {}}, // not UTF-8: the whole value is ignored
        {"\xc3\x28,ok", {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value);
        EXPECT_EQ(TagAttributeMirror::parse(c.value), c.names);
    }
}

TEST(TagAttributeMirrorFormatTest, WrittenNamesComeBackAsTheSameNames)
{
    EXPECT_EQ(TagAttributeMirror::writtenName("a,b/c"), QStringLiteral("a，b/c"));
    const QStringList written = {TagAttributeMirror::writtenName("親/子"),
                                 TagAttributeMirror::writtenName("1,000"), "x y"};
    const QByteArray value = TagAttributeMirror::format(written);
    EXPECT_EQ(value, QStringLiteral("親/子,1，000,x y").toUtf8());
    EXPECT_EQ(TagAttributeMirror::parse(value.toStdString()), written);
}

class TagAttributeMirrorTest : public ::testing::Test {
protected:
    TempDir dir;
    TagStore store{dir / "tags.json"};
    std::optional<TagAttributeMirror> mirror;
    QtMessageHandler previous = qInstallMessageHandler(collect);

    void SetUp() override
    {
        const fs::path probe = dir.file("probe");
        const auto written = ExtendedAttributes::write(probe, kName, "x");
        fs::remove(probe);
        if (!written)
            GTEST_SKIP() << "the temporary folder has no user extended attributes: "
                         << std::strerror(written.error().code);
        mirror.emplace(store);
        settle();
    }
    ~TagAttributeMirrorTest() override
    {
        qInstallMessageHandler(previous);
        Preferences::shared().setMirrorTagsToAttributes(true);
        store.waitForSaved();
        QMutexLocker lock(&warningsLock);
        warnings.clear();
    }

    void settle()
    {
        ASSERT_TRUE(QTest::qWaitFor([&] { return !mirror->busy(); }));
    }
    QUuid make(const QString& name) { return store.createTag(name)->id; }
    static QStringList logged()
    {
        QMutexLocker lock(&warningsLock);
        return warnings;
    }
};

TEST_F(TagAttributeMirrorTest, FollowsAssignmentsRenamesAndKeepsOtherProgramsNames)
{
    const QUuid client = make("Work/Client");
    const QUuid home = make("Home");
    const fs::path file = dir.file("a.txt");
    const fs::path other = dir.file("b.txt");
    ASSERT_TRUE(ExtendedAttributes::write(other, kName, "Theirs"));

    store.assign(client, {file, other});
    store.assign(home, {file});
    settle();
    EXPECT_EQ(namesIn(file), QSet<QString>({"Work/Client", "Home"}));
    EXPECT_EQ(namesIn(other), QSet<QString>({"Theirs", "Work/Client"}));

    store.renameTag(client, "Work/Customer");
    settle();
    EXPECT_EQ(namesIn(file), QSet<QString>({"Work/Customer", "Home"}));

    store.unassign(home, {file});
    store.unassign(client, {file, other});
    settle();
    EXPECT_EQ(attribute(file), std::nullopt); // the last tag gone: no attribute
    EXPECT_EQ(attribute(other), "Theirs");

    store.assign(home, {file});
    store.deleteTag(home);
    settle();
    EXPECT_EQ(attribute(file), std::nullopt);
    EXPECT_TRUE(logged().isEmpty()) << logged().join('\n').toStdString();
}

TEST_F(TagAttributeMirrorTest, OffWritesNothingAndOnCatchesUp)
{
    const QUuid work = make("Work");
    const fs::path file = dir.file("a.txt");
    Preferences::shared().setMirrorTagsToAttributes(false);
    store.assign(work, {file});
    settle();
    EXPECT_EQ(attribute(file), std::nullopt);

    Preferences::shared().setMirrorTagsToAttributes(true);
    settle();
    EXPECT_EQ(attribute(file), "Work");
}

TEST_F(TagAttributeMirrorTest, LinksAndNamesThatAreNotUtf8AreLeftAloneQuietly)
{
    const QUuid work = make("Work");
    const fs::path target = dir.file("target.txt");
    const fs::path link = dir.link("link", "target.txt");
    const fs::path foreign = dir.file("foreign.txt");
    ASSERT_TRUE(ExtendedAttributes::write(foreign, kName, "\xff"));

    EXPECT_TRUE(
        ExtendedAttributes::unsupported(ExtendedAttributes::write(link, kName, "x").error()));
    store.assign(work, {link, foreign});
    settle();
    EXPECT_EQ(attribute(target), std::nullopt);
    EXPECT_EQ(attribute(link), std::nullopt);
    EXPECT_EQ(attribute(foreign), "\xff"); // someone else's bytes, never overwritten
    EXPECT_EQ(logged().size(), 1) << logged().join('\n').toStdString();
}

TEST_F(TagAttributeMirrorTest, ImportFindsUnknownNamesAndAssignsThem)
{
    make("Known");
    make("1,000");
    const fs::path a = dir.file("a.txt");
    const fs::path b = dir.file("deep/er/b.txt");
    const fs::path folder = dir.folder("deep/tagged");
    const fs::path bad = dir.file("bad.txt");
    dir.link("deep/link", "../a.txt");
    ASSERT_TRUE(ExtendedAttributes::write(a, kName, "known,New,1，000"));
    ASSERT_TRUE(ExtendedAttributes::write(b, kName, "new, Project/Sub"));
    ASSERT_TRUE(ExtendedAttributes::write(folder, kName, "Project/Sub"));
    ASSERT_TRUE(ExtendedAttributes::write(bad, kName, "Bad\xff"));

    std::atomic<bool> cancelled = false;
    const auto found =
        TagAttributeMirror::unknownTo(store, TagAttributeMirror::scan(dir.path(), cancelled));
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].name, QStringLiteral("New"));
    EXPECT_EQ(found[0].items.size(), 2u); // a and b, never again through the link
    EXPECT_EQ(found[1].name, QStringLiteral("Project/Sub"));
    EXPECT_EQ(found[1].items.size(), 2u);

    TagAttributeMirror::importTags(store, found);
    ASSERT_TRUE(store.tagNamed("Project"));
    const auto sub = store.tagNamed("Project/Sub");
    ASSERT_TRUE(sub);
    EXPECT_TRUE(store.hasTag(sub->id, folder));
    EXPECT_TRUE(store.hasTag(store.tagNamed("New")->id, a));
    EXPECT_FALSE(store.hasTag(store.tagNamed("Known")->id, a));
    settle();
    // Names already there stay in place, spelled as the tags now are.
    EXPECT_EQ(attribute(a), "known,New,1，000");
    EXPECT_EQ(attribute(b), "New,Project/Sub");
}

// Runs last: it moves this program into its own mount namespace.
TEST_F(TagAttributeMirrorTest, FileSystemsWithoutUserAttributesAreSkippedQuietly)
{
    if (const std::string reason = privateMountsUnavailable(); !reason.empty())
        GTEST_SKIP() << reason;
    // ramfs keeps no user attributes at all (tmpfs has them on recent kernels).
    const Mount ramfs("none", dir / "ramfs", "ramfs", 0);
    if (!ramfs.ok)
        GTEST_SKIP() << "cannot mount a ramfs: " << std::strerror(errno);
    const fs::path file = dir.file("ramfs/a.txt");
    const auto probe = ExtendedAttributes::write(file, kName, "x");
    ASSERT_FALSE(probe);
    EXPECT_TRUE(ExtendedAttributes::unsupported(probe.error()));

    store.assign(make("Work"), {file});
    settle();
    EXPECT_TRUE(TagAttributeMirror::tagsIn(file).isEmpty());
    EXPECT_TRUE(logged().isEmpty()) << logged().join('\n').toStdString();
}

} // namespace
