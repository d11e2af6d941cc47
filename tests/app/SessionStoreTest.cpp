#include "app/SessionStore.h"

#include "core/Location.h"
#include "core/PathText.h"
#include "tags/TagStore.h"

#include <QJsonDocument>
#include <gtest/gtest.h>

namespace {

using Tree = PaneTreeLayout;

PaneLayout tab(Tree tree, int activeIndex = 0)
{
    PaneLayout layout;
    layout.paths = tree.paths();
    layout.activeIndex = activeIndex;
    layout.tree = std::move(tree);
    return layout;
}

QString homeText()
{
    return Location::folder(PathText::homeFolder()).toText();
}

const QString kTag = QStringLiteral("quillo-tag:///6F1C1B2E-5A4D-4E7A-9C39-2D8C0F0A1B22");

TEST(SessionStoreTest, EncodesTheDocumentedJson)
{
    const std::vector<SavedWindow> windows{
        {QStringLiteral("{{10, 20}, {800, 600}}"), {tab(Tree::pane("/a"))}, 0}};
    EXPECT_EQ(SessionStore::encode(windows),
              QByteArray(R"([{"frame":"{{10, 20}, {800, 600}}","selectedIndex":0,)"
                         R"("tabs":[{"activeIndex":0,"paths":["/a"],)"
                         R"("tree":{"pane":{"path":"/a"}}}]}])"));
}

TEST(SessionStoreTest, DecodesWhatItEncodes)
{
    const Tree split = Tree::group(
        true, {Tree::pane("/a"), Tree::group(false, {Tree::pane("/b"), Tree::pane(kTag)})},
        std::vector<double>{0.25, 0.75});
    PaneLayout old; // written before trees existed
    old.paths = {"/x", "/y"};
    old.dividerFraction = 0.4;
    const std::vector<SavedWindow> windows{
        {QStringLiteral("{{0, 0}, {100, 100}}"), {tab(split, 2), old}, 1},
        {QStringLiteral("{{5, 6}, {7, 8}}"), {tab(Tree::pane("/z"))}, 0},
    };
    const auto decoded = SessionStore::decode(SessionStore::encode(windows));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(*decoded, windows);
    EXPECT_EQ(SessionStore::decode("[]"), std::vector<SavedWindow>{});
}

TEST(SessionStoreTest, AnyFlawMakesTheWholeSessionUnreadable)
{
    const QByteArray good =
        R"({"frame":"{{0, 0}, {9, 9}}","tabs":[{"paths":["/a"],"activeIndex":0}],"selectedIndex":0})";
    const char* badWindows[] = {
        R"({"frame":"{{0, 0}, {9, 9}}","tabs":[{"paths":["/a"],"activeIndex":0}]})",
        R"({"tabs":[{"paths":["/a"],"activeIndex":0}],"selectedIndex":0})",
        R"({"frame":"{{0, 0}, {9, 9}}","selectedIndex":0})",
        R"({"frame":3,"tabs":[],"selectedIndex":0})",
        R"({"frame":"","tabs":{},"selectedIndex":0})",
        R"({"frame":"","tabs":[],"selectedIndex":"0"})",
        R"({"frame":"","tabs":[],"selectedIndex":1.5})",
        R"({"frame":"","tabs":[{"paths":["/a"]}],"selectedIndex":0})",
        R"({"frame":"","tabs":[{"paths":["/a"],"activeIndex":0,)"
        R"("tree":{"pane":{"path":"/a"},"group":{}}}],"selectedIndex":0})",
        R"("window")",
    };
    ASSERT_TRUE(SessionStore::decode("[" + good + "]"));
    for (const char* bad : badWindows) {
        EXPECT_FALSE(SessionStore::decode("[" + QByteArray(bad) + "]")) << bad;
        // A flawed window spoils the good ones beside it too.
        EXPECT_FALSE(SessionStore::decode("[" + good + "," + bad + "]")) << bad;
    }
    for (const char* notAList : {"", "{}", "[", "null"})
        EXPECT_FALSE(SessionStore::decode(notAList)) << notAList;
}

TEST(SessionStoreTest, FrameTextBothWays)
{
    struct Case {
        const char* text;
        std::optional<QRect> frame;
    };
    const Case cases[] = {
        {"{{10, 20}, {300, 400}}", QRect(10, 20, 300, 400)},
        {"{{-1280, 0}, {1280, 1024}}", QRect(-1280, 0, 1280, 1024)},
        {" { {10.4,20.6} , {300.5, 400} } ", QRect(10, 21, 301, 400)},
        {"{{1e2, 0}, {50, 60}}", QRect(100, 0, 50, 60)},
        {"{{10, 20}, {0, 400}}", std::nullopt},
        {"{{10, 20}, {300}}", std::nullopt},
        {"{10, 20, 300, 400}", std::nullopt},
        {"{{a, 20}, {300, 400}}", std::nullopt},
        {"", std::nullopt},
    };
    for (const Case& c : cases)
        EXPECT_EQ(SessionStore::frameFromText(QString::fromUtf8(c.text)), c.frame) << c.text;
    const QRect frame(-5, 7, 1100, 700);
    EXPECT_EQ(SessionStore::frameText(frame), "{{-5, 7}, {1100, 700}}");
    EXPECT_EQ(SessionStore::frameFromText(SessionStore::frameText(frame)), frame);
}

TEST(SessionStoreTest, RestorableWindowsKeepOnlyWhatCanStillBeShown)
{
    // "/gone*" stand for deleted folders.
    const auto exists = [](const QString& path) { return !path.startsWith("/gone"); };
    const QString badTag = QStringLiteral("quillo-tag:///not-a-uuid");
    struct Case {
        const char* name;
        SavedWindow saved;
        std::optional<SavedWindow> expected;
    };
    const Case cases[] = {
        {"only tab on a deleted folder", {"f", {tab(Tree::pane("/gone"))}, 0}, std::nullopt},
        {"deleted tabs dropped, index beyond the survivors selects the first",
         {"f", {tab(Tree::pane("/gone1")), tab(Tree::pane("/a")), tab(Tree::pane("/gone2"))}, 2},
         SavedWindow{"f", {tab(Tree::pane("/a"))}, 0}},
        {"index still in range is kept as saved",
         {"f", {tab(Tree::pane("/gone")), tab(Tree::pane("/a")), tab(Tree::pane("/b"))}, 1},
         SavedWindow{"f", {tab(Tree::pane("/a")), tab(Tree::pane("/b"))}, 1}},
        {"negative index selects the first",
         {"f", {tab(Tree::pane("/a")), tab(Tree::pane("/b"))}, -1},
         SavedWindow{"f", {tab(Tree::pane("/a")), tab(Tree::pane("/b"))}, 0}},
        {"pruned pane moves the focus index with its pane",
         {"f",
          {tab(Tree::group(true, {Tree::pane("/gone"), Tree::pane("/a"), Tree::pane("/b")},
                           std::vector<double>{0.2, 0.3, 0.5}),
               2)},
          0},
         SavedWindow{"f", {tab(Tree::group(true, {Tree::pane("/a"), Tree::pane("/b")}), 1)}, 0}},
        {"focused pane pruned: focus on the first",
         {"f", {tab(Tree::group(false, {Tree::pane("/a"), Tree::pane("/gone")}), 1)}, 0},
         SavedWindow{"f", {tab(Tree::pane("/a"))}, 0}},
        {"unparseable tag location becomes the home folder, a good one stays",
         {"f", {tab(Tree::group(true, {Tree::pane(badTag), Tree::pane(kTag)}))}, 0},
         SavedWindow{"f", {tab(Tree::group(true, {Tree::pane(homeText()), Tree::pane(kTag)}))}, 0}},
    };
    for (const Case& c : cases) {
        const auto expected = c.expected ? std::vector{*c.expected} : std::vector<SavedWindow>{};
        EXPECT_EQ(SessionStore::restorable({c.saved}, exists), expected) << c.name;
    }
}

TEST(SessionStoreTest, OldRecordsRestoreThroughTheirResolvedTree)
{
    PaneLayout old;
    old.paths = {"/a", "/b", "/c"}; // before trees: only the first two were ever shown
    old.activeIndex = 1;
    const auto result =
        SessionStore::restorable({{"f", {old}, 0}}, [](const QString&) { return true; });
    ASSERT_EQ(result.size(), 1u);
    EXPECT_EQ(result.front().tabs.front(),
              tab(Tree::group(true, {Tree::pane("/a"), Tree::pane("/b")}), 1));
}

TEST(SessionStoreTest, ATagLocationExistsWhileItsTagDoes)
{
    const Tag tag = *TagStore::shared().createTag(QStringLiteral("session tag"));
    const QString text = Location::tag(tag.id).toText();
    EXPECT_TRUE(SessionStore::locationExists(text));
    TagStore::shared().deleteTag(tag.id);
    EXPECT_FALSE(SessionStore::locationExists(text));
    EXPECT_FALSE(SessionStore::locationExists(kTag)); // never existed
}

} // namespace
