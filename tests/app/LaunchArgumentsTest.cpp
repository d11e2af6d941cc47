#include "app/LaunchArguments.h"

#include "core/FileUri.h"
#include "support/Lists.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

TEST(LaunchArgumentsTest, FileUrisDecodeToRawBytes)
{
    struct Case {
        const char* uri;
        std::optional<std::string> path;
    };
    const Case cases[] = {
        {"file:///home/u/a%20b", "/home/u/a b"},
        {"file:///x/caf%C3%A9/%FF%fe", "/x/caf\xC3\xA9/\xFF\xFE"},
        {"FILE://localhost/x/y", "/x/y"},
        {"file:///x/a%2Fb?query#frag", "/x/a/b"},
        {"file:///x/%E3%83%95%E3%82%A1%E3%82%A4%E3%83%AB", "/x/ファイル"},
        {"file://otherhost/x", std::nullopt},
        {"file:/x", std::nullopt},
        {"sftp://host/x", std::nullopt},
        {"/plain/path", std::nullopt},
    };
    for (const Case& c : cases) {
        const std::optional<fs::path> path = FileUri::toPath(c.uri);
        EXPECT_EQ(path ? std::optional(path->native()) : std::nullopt, c.path) << c.uri;
    }
}

TEST(LaunchArgumentsTest, ItemsSkipOptionsAndOtherUris)
{
    std::vector<std::string> argv{"quillo",
                                  "--verbose",
                                  "dir",
                                  "notes:1",
                                  "file:///a%20b/c",
                                  "https://example.com/",
                                  "",
                                  "/abs/\xFF",
                                  "--",
                                  "-starts-with-dash",
                                  "--"};
    std::vector<char*> raw;
    for (std::string& argument : argv)
        raw.push_back(argument.data());
    const QList<QByteArray> items = LaunchArguments::items(int(raw.size()), raw.data());
    EXPECT_EQ(items, (QList<QByteArray>{"dir", "notes:1", "/a b/c", "/abs/\xFF",
                                        "-starts-with-dash", "--"}));
}

TEST(LaunchArgumentsTest, RelativeItemsResolveAgainstTheLaunchFolder)
{
    const QList<QByteArray> items{"sub dir/./f", "../up", "/abs//x/", ".", "\xFF"};
    EXPECT_EQ(natives(LaunchArguments::resolved(items, "/work/here")),
              (std::vector<std::string>{"/work/here/sub dir/f", "/work/up", "/abs/x", "/work/here",
                                        "/work/here/\xFF"}));
    // Without a launch folder only absolute items mean anything.
    EXPECT_EQ(LaunchArguments::resolved(items, fs::path()), std::vector<fs::path>{"/abs/x"});
}

} // namespace
