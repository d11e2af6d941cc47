#include "files/PaneLayout.h"

#include "core/Location.h"
#include "core/PathText.h"

#include <QJsonDocument>
#include <gtest/gtest.h>

namespace {

using Tree = PaneTreeLayout;
const QString kWrongKeys = QStringLiteral("Invalid number of keys found, expected one.");

QJsonObject parse(const char* json)
{
    return QJsonDocument::fromJson(json).object();
}

template <typename Layout>
auto throughText(const Layout& layout)
{
    return Layout::fromJson(
        QJsonDocument::fromJson(QJsonDocument(layout.toJson()).toJson()).object());
}

// A side-by-side pair whose right pane is split again.
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

TEST(PaneTreeLayoutTest, PruningDropsPanesAndCollapsesGroups)
{
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
        const QStringList gone = c.gone;
        EXPECT_EQ(c.tree.pruned([&](const QString& p) { return !gone.contains(p); }), c.expected)
            << c.name;
    }
}

TEST(PaneTreeLayoutTest, WritesTheKeyedFormAndRoundTrips)
{
    const QJsonObject expected = parse(R"({"group": {"vertical": true, "fractions": [0.5, 0.5],
        "children": [{"pane": {"path": "/a"}},
                     {"group": {"vertical": false, "children": [{"pane": {"path": "/b"}},
                                {"pane": {"path": "quillo-tag:///X"}}]}}]}})");
    EXPECT_EQ(nestedTree().toJson(), expected);
    EXPECT_EQ(nestedTree().paths(), QStringList({"/a", "/b", "quillo-tag:///X"}));
    for (const Tree& tree : {Tree::pane("/ä/b"), nestedTree(), threePanes(),
                             Tree::group(false, {}, std::vector<double>{})})
        EXPECT_EQ(throughText(tree), tree) << QJsonDocument(tree.toJson()).toJson().toStdString();
}

TEST(PaneTreeLayoutTest, RejectsMalformedTrees)
{
    const std::pair<const char*, bool> cases[] = {
        // The JSON, and whether it fails for having other than one key.
        {R"({"pane": {"path": "/a"}, "group": {"vertical": true, "children": []}})", true},
        {R"({})", true},
        {R"({"group": {"vertical": true, "children": [{"pane": {"path": "/a"}, "x": 1}]}})", true},
        {R"({"pane": {}})", false},
        {R"({"pane": {"path": 3}})", false},
        {R"({"pane": "/a"})", false},
        {R"({"group": {"children": []}})", false},
        {R"({"group": {"vertical": true}})", false},
        {R"({"group": {"vertical": true, "children": [], "fractions": ["half"]}})", false},
        {R"({"window": {}})", false},
    };
    for (const auto& [json, wrongKeys] : cases) {
        const auto decoded = Tree::fromJson(parse(json));
        ASSERT_FALSE(decoded.has_value()) << json;
        EXPECT_FALSE(decoded.error().isEmpty()) << json;
        if (wrongKeys) {
            EXPECT_EQ(decoded.error(), kWrongKeys) << json;
        }
    }
    EXPECT_FALSE(Tree::fromJson(QJsonValue(QStringLiteral("/a"))).has_value());
}

TEST(PaneLayoutTest, ResolvesOldRecordsWithoutATree)
{
    const QString home = Location::folder(PathText::homeFolder()).toText();
    const auto side = [](std::optional<std::vector<double>> f) {
        return Tree::group(true, {Tree::pane("/a"), Tree::pane("/b")}, std::move(f));
    };
    struct Case {
        QStringList paths;
        std::optional<double> divider;
        Tree expected;
    };
    const Case cases[] = {
        {{}, std::nullopt, Tree::pane(home)},
        {{"/a"}, 0.3, Tree::pane("/a")},
        {{"/a", "/b"}, std::nullopt, side(std::nullopt)},
        {{"/a", "/b"}, 0.25, side(std::vector<double>{0.25, 0.75})},
        {{"/a", "/b", "/c"}, 0.25, side(std::nullopt)},
    };
    for (const Case& c : cases) {
        PaneLayout layout;
        layout.paths = c.paths;
        layout.dividerFraction = c.divider;
        EXPECT_EQ(layout.resolvedTree(), c.expected) << c.paths.join(' ').toStdString();
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
    EXPECT_EQ(full.toJson().keys(),
              QStringList({"activeIndex", "dividerFraction", "paths", "tree"}));
    for (const PaneLayout& layout : {plain, full})
        EXPECT_EQ(throughText(layout), layout);
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
        const auto decoded = PaneLayout::fromJson(parse(json));
        ASSERT_FALSE(decoded.has_value()) << json;
        EXPECT_FALSE(decoded.error().isEmpty()) << json;
    }
    // A broken tree makes the whole record unreadable, with the tree's message.
    const auto broken = PaneLayout::fromJson(
        parse(R"({"paths": ["/a"], "activeIndex": 0, "tree": {"pane": {"path": "/a"}, "x": {}}})"));
    ASSERT_FALSE(broken.has_value());
    EXPECT_EQ(broken.error(), kWrongKeys);
}

} // namespace
