#include "files/PaneLayout.h"

#include "core/Location.h"
#include "core/PathText.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>

namespace {

using Tree = PaneTreeLayout;

QJsonObject parse(const char* json)
{
    return QJsonDocument::fromJson(json).object();
}

// A two-pane side-by-side tab whose right pane is split again.
Tree nestedTree()
{
    return Tree::group(
        true,
        {Tree::pane("/a"), Tree::group(false, {Tree::pane("/b"), Tree::pane("quillo-tag:///X")})},
        std::vector<double>{0.5, 0.5});
}

Tree threePanes()
{
    return Tree::group(true, {Tree::pane("/a"), Tree::pane("/b"), Tree::pane("/c")},
                       std::vector<double>{0.2, 0.3, 0.5});
}

TEST(PaneTreeLayoutTest, PathsAreListedDepthFirst)
{
    EXPECT_EQ(nestedTree().paths(), QStringList({"/a", "/b", "quillo-tag:///X"}));
    EXPECT_EQ(Tree::pane("/only").paths(), QStringList({"/only"}));
}

TEST(PaneTreeLayoutTest, PruningDropsPanesAndCollapsesGroups)
{
    const auto keepAllBut = [](QStringList gone) {
        return [gone](const QString& p) { return !gone.contains(p); };
    };
    struct Case {
        const char* name;
        Tree tree;
        QStringList gone;
        std::optional<Tree> expected;
    };
    const Case cases[] = {
        {"nothing removed keeps fractions", threePanes(), {}, threePanes()},
        {"three to two drops fractions",
         threePanes(),
         {"/b"},
         Tree::group(true, {Tree::pane("/a"), Tree::pane("/c")})},
        {"three to one replaces the group", threePanes(), {"/a", "/c"}, Tree::pane("/b")},
        {"none left", threePanes(), {"/a", "/b", "/c"}, std::nullopt},
        {"inner split disappears, outer keeps its shares",
         nestedTree(),
         {"/b"},
         Tree::group(true, {Tree::pane("/a"), Tree::pane("quillo-tag:///X")},
                     std::vector<double>{0.5, 0.5})},
        {"lone pane removed", Tree::pane("/a"), {"/a"}, std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.tree.pruned(keepAllBut(c.gone)), c.expected);
    }
}

TEST(PaneTreeLayoutTest, WritesTheKeyedForm)
{
    const QJsonObject expected = parse(R"({"group": {"vertical": true, "fractions": [0.5, 0.5],
        "children": [{"pane": {"path": "/a"}},
                     {"group": {"vertical": false, "children": [{"pane": {"path": "/b"}},
                                {"pane": {"path": "quillo-tag:///X"}}]}}]}})");
    EXPECT_EQ(nestedTree().toJson(), expected);
}

TEST(PaneTreeLayoutTest, RoundTripsThroughJson)
{
    const Tree trees[] = {Tree::pane("/ä/b"), nestedTree(), threePanes(),
                          Tree::group(false, {}, std::vector<double>{})};
    for (const Tree& tree : trees) {
        const QByteArray text = QJsonDocument(tree.toJson()).toJson();
        SCOPED_TRACE(text.toStdString());
        EXPECT_EQ(Tree::fromJson(QJsonDocument::fromJson(text).object()), tree);
    }
}

TEST(PaneTreeLayoutTest, RejectsMalformedTrees)
{
    const QString wrongKeys = QStringLiteral("Invalid number of keys found, expected one.");
    struct Case {
        const char* json;
        std::optional<QString> message; // checked only when given
    };
    const Case cases[] = {
        {R"({"pane": {"path": "/a"}, "group": {"vertical": true, "children": []}})", wrongKeys},
        {R"({})", wrongKeys},
        {R"({"group": {"vertical": true, "children": [{"pane": {"path": "/a"}, "x": 1}]}})",
         wrongKeys},
        {R"({"pane": {}})", std::nullopt},
        {R"({"pane": {"path": 3}})", std::nullopt},
        {R"({"pane": "/a"})", std::nullopt},
        {R"({"group": {"children": []}})", std::nullopt},
        {R"({"group": {"vertical": true}})", std::nullopt},
        {R"({"group": {"vertical": true, "children": [], "fractions": ["half"]}})", std::nullopt},
        {R"({"window": {}})", std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.json);
        const auto decoded = Tree::fromJson(parse(c.json));
        ASSERT_FALSE(decoded.has_value());
        EXPECT_FALSE(decoded.error().isEmpty());
        if (c.message) {
            EXPECT_EQ(decoded.error(), *c.message);
        }
    }
    EXPECT_FALSE(Tree::fromJson(QJsonValue(QStringLiteral("/a"))).has_value());
}

TEST(PaneLayoutTest, ResolvesOldRecordsWithoutATree)
{
    const QString home = Location::folder(PathText::homeFolder()).toText();
    const auto side = [](QString a, QString b, std::optional<std::vector<double>> f) {
        return Tree::group(true, {Tree::pane(a), Tree::pane(b)}, std::move(f));
    };
    struct Case {
        const char* name;
        QStringList paths;
        std::optional<double> divider;
        Tree expected;
    };
    const Case cases[] = {
        {"empty record", {}, std::nullopt, Tree::pane(home)},
        {"one path", {"/a"}, 0.3, Tree::pane("/a")},
        {"two paths", {"/a", "/b"}, std::nullopt, side("/a", "/b", std::nullopt)},
        {"two paths and divider",
         {"/a", "/b"},
         0.25,
         side("/a", "/b", std::vector<double>{0.25, 0.75})},
        {"three paths", {"/a", "/b", "/c"}, 0.25, side("/a", "/b", std::nullopt)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        PaneLayout layout;
        layout.paths = c.paths;
        layout.dividerFraction = c.divider;
        EXPECT_EQ(layout.resolvedTree(), c.expected);
    }
    PaneLayout withTree;
    withTree.paths = {"/x"};
    withTree.tree = nestedTree();
    EXPECT_EQ(withTree.resolvedTree(), nestedTree());
}

TEST(PaneLayoutTest, WritesOptionalKeysOnlyWhenPresentAndRoundTrips)
{
    const PaneLayout plain = PaneLayout::onePane("/a");
    EXPECT_EQ(plain.toJson(), parse(R"({"paths": ["/a"], "activeIndex": 0})"));

    PaneLayout full;
    full.paths = nestedTree().paths();
    full.activeIndex = 2;
    full.dividerFraction = 0.4;
    full.tree = nestedTree();
    const QJsonObject json = full.toJson();
    EXPECT_EQ(json.keys(), QStringList({"activeIndex", "dividerFraction", "paths", "tree"}));
    for (const PaneLayout& layout : {plain, full}) {
        const QByteArray text = QJsonDocument(layout.toJson()).toJson();
        EXPECT_EQ(PaneLayout::fromJson(QJsonDocument::fromJson(text).object()), layout);
    }
}

TEST(PaneLayoutTest, RejectsMalformedRecords)
{
    const char* cases[] = {
        R"({"activeIndex": 0})",
        R"({"paths": "/a", "activeIndex": 0})",
        R"({"paths": ["/a", 2], "activeIndex": 0})",
        R"({"paths": ["/a"]})",
        R"({"paths": ["/a"], "activeIndex": 0.5})",
        R"({"paths": ["/a"], "activeIndex": 0, "dividerFraction": "half"})",
    };
    for (const char* json : cases) {
        SCOPED_TRACE(json);
        const auto decoded = PaneLayout::fromJson(parse(json));
        ASSERT_FALSE(decoded.has_value());
        EXPECT_FALSE(decoded.error().isEmpty());
    }
    // A broken tree makes the whole record unreadable, with the tree's message.
    const auto broken = PaneLayout::fromJson(
        parse(R"({"paths": ["/a"], "activeIndex": 0, "tree": {"pane": {"path": "/a"}, "x": {}}})"));
    ASSERT_FALSE(broken.has_value());
    EXPECT_EQ(broken.error(), QStringLiteral("Invalid number of keys found, expected one."));
}

} // namespace
