#include "palette/PathCompletion.h"

#include "core/PathText.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

QString text(const fs::path& path)
{
    return PathText::toStorableText(path);
}

// A scratch home with folders, files and links in it, and a second folder to
// complete relative names against.
class PathCompletionTest : public ::testing::Test {
protected:
    PathCompletionTest()
    {
        home.folder("Documents");
        home.folder("Docker");
        home.file("Documentation.txt");
        home.folder(".config");
        home.folder(".cache");
        home.folder("Music/Live");
        home.folder("Music/Lively");
        home.folder("Pictures");
        home.link("Pics", "Pictures");
        home.link("Broken", "nowhere");
        home.folder("only/visible");
        home.folder("only/.hidden");
        home.folder("mixed/good");
        home.folder("mixed/go\xff"
                    "d");
        home.folder("\xe3\x82\xab\xe3\x82\x99\xe3\x82\xbe\xe3\x82\xa6"); // ガゾウ, decomposed
        base.folder("project");
        base.file("projection.txt");
    }

    QString complete(const QString& typed) const
    {
        return PathCompletion::complete(typed, base.path(), text(home.path()));
    }

    TempDir home;
    TempDir base;
};

// One folder completes with a slash; several narrow to their common prefix (no
// slash, a further Tab narrows down); nothing to offer leaves the text alone.
TEST_F(PathCompletionTest, CompletesTypedPaths)
{
    const struct {
        const char* typed;
        const char* completed;
    } cases[] = {
        {"~", "~/"},
        {"~/Docu", "~/Documents/"}, // Documentation.txt is a file
        {"~/docu", "~/Documents/"}, // case ignored, the folder's own case kept
        {"~/Documents", "~/Documents/"},
        {"~/Pics", "~/Pics/"}, // a link to a folder is a folder
        {"proj", "project/"},  // relative to the base; projection.txt is a file
        {"./proj", "./project/"},
        {"", "project/"},
        {"~/.co", "~/.config/"},
        {"~/only/", "~/only/visible/"},  // .hidden needs a typed dot
        {"~/mixed/go", "~/mixed/good/"}, // a name that is not UTF-8 cannot be typed
        {"~/\xe3\x82\xac",               // ガ, composed as typed
         "~/\xe3\x82\xab\xe3\x82\x99\xe3\x82\xbe\xe3\x82\xa6/"},
        {"~/d", "~/Doc"},              // Documents and Docker, in the names' case
        {"~/DOC", "~/DOC"},            // as long as the common prefix: kept as typed
        {"~/Music/L", "~/Music/Live"}, // Live and Lively
        {"~/.c", "~/.c"},              // .config and .cache
        {"~/Pic", "~/Pic"},            // Pictures and the link to it
        {"~/c", "~/c"},                // hidden folders only for a prefix with a dot
        {"~/Bro", "~/Bro"},            // a dangling link is no folder
        {"~/Documentation", "~/Documentation"},
        {"~/missing/x", "~/missing/x"},
        {"~/Documentation.txt/x", "~/Documentation.txt/x"},
        {"~user", "~user"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(complete(QString::fromUtf8(c.typed)), QString::fromUtf8(c.completed)) << c.typed;
    EXPECT_EQ(complete(text(home / "Docu")), text(home / "Documents/"));
}

TEST(PathCompletion, OnlyDocumentsCompletesFully)
{
    TempDir home;
    home.folder("Documents");
    EXPECT_EQ(PathCompletion::complete("~/Doc", "/", text(home.path())), "~/Documents/");
}

TEST(PathCompletion, BaseFolderWhoseNameIsNotUtf8)
{
    TempDir dir;
    const fs::path base = dir.folder("b\xfe");
    dir.folder("b\xfe/inner");
    EXPECT_EQ(PathCompletion::complete("in", base, text(dir.path())), "inner/");
}

TEST(PathCompletion, UnreadableFolderLeavesTheTextAlone)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "permissions do not stop root";
    TempDir home;
    home.folder("locked/inside");
    ::chmod((home / "locked").c_str(), 0);
    EXPECT_EQ(PathCompletion::complete("~/locked/in", "/", text(home.path())), "~/locked/in");
    ::chmod((home / "locked").c_str(), 0755);
}

TEST(PathCompletion, Expand)
{
    const struct {
        const char* typed;
        const char* base;
        const char* expanded;
    } cases[] = {
        {"~", "/data", "/home/me"},
        {"~/", "/data", "/home/me/"},
        {"~/src/x", "/data", "/home/me/src/x"},
        {"/etc/x", "/data", "/etc/x"},
        {"", "/data", "/data"},
        {"a/b", "/data", "/data/a/b"},
        {"a", "/", "/a"},
        {"~user", "/data", "/data/~user"},
        {"../up", "/data", "/data/../up"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(PathCompletion::expand(c.typed, c.base, "/home/me"), c.expanded) << c.typed;
    EXPECT_EQ(PathCompletion::expand("x", "/b\xfe", "/home/me"), text("/b\xfe/x"));
}

TEST(PathCompletion, LongestCommonPrefix)
{
    const struct {
        QStringList texts;
        QString prefix;
    } cases[] = {
        {{}, ""},
        {{"alone"}, "alone"},
        {{"Documents", "Docker"}, "Doc"},
        {{"abc", "ab", "abd"}, "ab"},
        {{"Doc", "doc"}, ""},                  // case counts
        {{"a\U0001F600", "a\U0001F601"}, "a"}, // never half a code point
        {{"写真2023", "写真2024"}, "写真202"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(PathCompletion::longestCommonPrefix(c.texts), c.prefix)
            << c.texts.join(',').toStdString();
}

TEST(PathCompletion, SiblingFolders)
{
    TempDir dir;
    for (const char* name : {"b", "A", "c10", "c9", ".dot", "listed"})
        dir.folder(name);
    dir.file("z.txt");
    dir.file(".hidden", "listed\n");
    dir.link("L", "b");
    dir.link("M", "z.txt");
    const fs::path self = dir / "b";

    const auto names = [&](bool hidden, int limit) {
        QStringList result;
        for (const fs::path& path : PathCompletion::siblingFolders(self, hidden, limit)) {
            EXPECT_EQ(path.parent_path(), dir.path());
            result << QString::fromStdString(path.filename().string());
        }
        return result;
    };
    EXPECT_EQ(names(false, 100), (QStringList{"A", "b", "c9", "c10", "L"}));
    EXPECT_EQ(names(true, 100), (QStringList{".dot", "A", "b", "c9", "c10", "L", "listed"}));
    EXPECT_EQ(names(false, 2), (QStringList{"A", "b"}));
    EXPECT_EQ(names(false, 0), QStringList{});
    EXPECT_TRUE(PathCompletion::siblingFolders(dir / "gone/x", true, 10).empty());
}

} // namespace
