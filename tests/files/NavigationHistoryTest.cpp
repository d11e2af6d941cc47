#include "files/NavigationHistory.h"

#include <QUuid>
#include <gtest/gtest.h>
#include <ostream>

// Readable failure output.
void PrintTo(const Location& location, std::ostream* out)
{
    *out << location.toText().toStdString();
}

namespace {

Location folder(const std::string& path)
{
    return Location::folder(path);
}

std::vector<Location> folders(std::initializer_list<const char*> paths)
{
    std::vector<Location> out;
    for (const char* p : paths)
        out.push_back(folder(p));
    return out;
}

TEST(NavigationHistoryTest, RevisitingTheCurrentLocationChangesNothing)
{
    const Location tag = Location::tag(QUuid::createUuid());
    const std::pair<Location, QString> cases[] = {
        {folder("/a/b"), "/a/b/"},
        {folder("/a/b"), "/a/./b"},
        {folder("/a/b"), "/a/c/../b"},
        {tag, tag.toText()},
    };
    for (const auto& [start, again] : cases) {
        NavigationHistory history(Location::fromText("/x/./"));
        EXPECT_EQ(history.current.path(), "/x");
        for (const Location& next : {folder("/y"), start, folder("/z")})
            history.visit(next);
        history.goBack(); // both stacks now hold something
        const NavigationHistory before = history;
        ASSERT_EQ(before.current, start);
        history.visit(Location::fromText(again));
        EXPECT_EQ(history, before) << again.toStdString();
    }
}

TEST(NavigationHistoryTest, KeepsExactlyTheLastHundredLocations)
{
    NavigationHistory history(folder("/start"));
    for (int i = 0; i < 150; ++i)
        history.visit(folder("/f" + std::to_string(i)));
    ASSERT_EQ(history.backStack.size(), 100u);
    // Left: /start, /f0 ... /f148; the last hundred begin at /f49.
    EXPECT_EQ(history.backStack.front(), folder("/f49"));
    EXPECT_EQ(history.backStack.back(), folder("/f148"));
    EXPECT_EQ(history.current, folder("/f149"));
}

TEST(NavigationHistoryTest, BackAndForwardMoveBetweenTheStacks)
{
    NavigationHistory history(folder("/a"));
    EXPECT_FALSE(history.canGoBack() || history.canGoForward());
    history.visit(folder("/b"));
    history.visit(folder("/c"));

    EXPECT_EQ(history.goBack(), folder("/b"));
    EXPECT_EQ(history.goBack(), folder("/a"));
    EXPECT_EQ(history.forwardStack, folders({"/c", "/b"}));
    const NavigationHistory atStart = history;
    EXPECT_EQ(history.goBack(), std::nullopt);
    EXPECT_EQ(history, atStart);

    EXPECT_EQ(history.goForward(), folder("/b"));
    EXPECT_EQ(history.backStack, folders({"/a"}));
    EXPECT_EQ(history.forwardStack, folders({"/c"}));

    // A new visit after going back abandons the forward branch.
    history.visit(folder("/d"));
    EXPECT_TRUE(history.forwardStack.empty());
    EXPECT_EQ(history.backStack, folders({"/a", "/b"}));
    EXPECT_EQ(history.goForward(), std::nullopt);
    EXPECT_EQ(history.current, folder("/d"));
}

} // namespace
