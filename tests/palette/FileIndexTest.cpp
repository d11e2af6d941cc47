#include "palette/FileIndex.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

// Paths relative to the root, folders (and links to folders) ending in "/".
std::vector<std::string> names(const std::vector<FileIndex::Entry>& entries, const fs::path& root)
{
    std::vector<std::string> result;
    for (const auto& entry : entries) {
        std::string name = entry.path.lexically_relative(root).native();
        EXPECT_EQ(entry.path, root / name) << "paths are built from the root";
        result.push_back(entry.isDirectory ? name + "/" : name);
    }
    return result;
}

std::vector<std::string> index(const TempDir& dir, bool includeHidden = false,
                               size_t limit = FileIndex::defaultLimit)
{
    return names(FileIndex::collect(dir.path(), includeHidden, limit), dir.path());
}

} // namespace

TEST(FileIndexTest, ToolFoldersAreListedButNeverEntered)
{
    TempDir dir;
    dir.file("node_modules/a/b/file");
    dir.file(".git/objects/ab/cdef");
    dir.file("Pods/x");
    dir.file("DerivedData/y");
    dir.file(".build/z");
    dir.file(".venv/bin/python");
    dir.file("src/node_modules_extra/inner");
    dir.file("Pods.txt"); // only folders are skipped by name
    dir.file("src/main.cpp");
    const std::vector<std::string> shown{"DerivedData/",
                                         "Pods/",
                                         "Pods.txt",
                                         "node_modules/",
                                         "src/",
                                         "src/main.cpp",
                                         "src/node_modules_extra/",
                                         "src/node_modules_extra/inner"};
    EXPECT_EQ(index(dir), shown);
    std::vector<std::string> withHidden{".build/", ".git/", ".venv/"};
    withHidden.insert(withHidden.end(), shown.begin(), shown.end());
    EXPECT_EQ(index(dir, true), withHidden);
}

TEST(FileIndexTest, HiddenItemsAndWhatTheyHoldOnlyWhenAsked)
{
    TempDir dir;
    dir.file(".env");
    dir.file(".config/settings");
    dir.file("docs/.draft");
    dir.file("docs/readme");
    EXPECT_EQ(index(dir), (std::vector<std::string>{"docs/", "docs/readme"}));
    EXPECT_EQ(index(dir, true),
              (std::vector<std::string>{".config/", ".env", "docs/", ".config/settings",
                                        "docs/.draft", "docs/readme"}));
}

TEST(FileIndexTest, LinksAreListedButNeverEntered)
{
    TempDir outside;
    outside.file("secret");
    TempDir dir;
    dir.file("a/file");
    dir.link("a/loop", ".."); // a/loop -> a's parent: a loop
    dir.link("a/self", ".");  // a/self -> a
    dir.link("elsewhere", outside.path().native());
    dir.link("dangling", "missing");
    dir.link("file-link", "a/file");
    EXPECT_EQ(index(dir), (std::vector<std::string>{"a/", "dangling", "elsewhere/", "file-link",
                                                    "a/file", "a/loop/", "a/self/"}));

    // The folder asked for may itself be a link: that one is followed.
    const auto viaLink = FileIndex::collect(dir / "elsewhere", false);
    EXPECT_EQ(names(viaLink, dir / "elsewhere"), std::vector<std::string>{"secret"});
}

TEST(FileIndexTest, LimitCutsABreadthFirstWalk)
{
    TempDir dir;
    dir.file("deep/er/est/file");
    dir.file("deep/er/two");
    dir.file("top1");
    dir.file("top2");
    const std::vector<std::string> all{
        "deep/", "top1", "top2", "deep/er/", "deep/er/est/", "deep/er/two", "deep/er/est/file"};
    ASSERT_EQ(index(dir), all);
    for (size_t limit : {0u, 1u, 2u, 4u, 6u, 7u, 8u, 100u}) {
        SCOPED_TRACE(limit);
        const size_t expected = std::min(limit, all.size());
        EXPECT_EQ(index(dir, false, limit),
                  std::vector<std::string>(all.begin(), all.begin() + std::ptrdiff_t(expected)));
    }
}

TEST(FileIndexTest, UnreadableFoldersAndOddNames)
{
    TempDir dir;
    dir.file("bad\xff\xfe name/x\x80y", "");
    dir.file("line\nbreak");
    dir.file("locked/inside");
    dir.file("open/inside");
    ASSERT_EQ(::chmod((dir / "locked").c_str(), 0), 0);
    std::vector<std::string> expected{"bad\xff\xfe name/", "line\nbreak", "locked/", "open/",
                                      "bad\xff\xfe name/x\x80y"};
    if (::geteuid() == 0)
        expected.push_back("locked/inside"); // root reads it all the same
    expected.push_back("open/inside");
    EXPECT_EQ(index(dir), expected);

    EXPECT_TRUE(FileIndex::collect(dir / "missing", true).empty());
    EXPECT_TRUE(FileIndex::collect(dir / "line\nbreak", true).empty()) << "not a folder";
}

TEST(FileIndexTest, StopEndsTheWalkBetweenFolders)
{
    TempDir dir;
    for (const char* name : {"a/1", "a/2", "b/1", "c/1"})
        dir.file(name);
    int asked = 0;
    const auto stopThird = [&] { return ++asked == 3; };
    // The root and "a" are read; "b" is never opened.
    EXPECT_EQ(names(FileIndex::collect(dir.path(), false, 100, stopThird), dir.path()),
              (std::vector<std::string>{"a/", "b/", "c/", "a/1", "a/2"}));

    std::stop_source source;
    source.request_stop();
    EXPECT_TRUE(FileIndex::collect(dir.path(), false, 100, source.get_token()).empty());
}
