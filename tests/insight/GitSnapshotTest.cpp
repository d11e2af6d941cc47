#include "insight/GitSnapshot.h"

#include <gtest/gtest.h>
#include <map>

namespace fs = std::filesystem;
using namespace std::string_literals;
using S = GitFileStatus;
using Statuses = std::map<std::string, GitFileStatus>;

namespace {

// Literals keep their NULs: "## main\0 M a\0"s.
GitSnapshot parse(const std::string& output, const fs::path& root = "/home/me/repo")
{
    return GitSnapshot::parse(QByteArrayView(output.data(), qsizetype(output.size())), root);
}

Statuses sorted(const GitSnapshot& snapshot)
{
    return {snapshot.statuses.begin(), snapshot.statuses.end()};
}

} // namespace

TEST(GitSnapshotTest, BranchHeaderForms)
{
    const std::pair<std::string, QString> cases[] = {
        {"## main", "main"},
        {"## feature/x...origin/feature/x [ahead 1, behind 2]", "feature/x"},
        {"## main...origin/main [gone]", "main"},
        {"## No commits yet on main", "main"},
        {"## HEAD (no branch)", "(detached)"},
        {"## 作業/日本語...origin/作業/日本語", "作業/日本語"},
    };
    for (const auto& [header, branch] : cases) {
        const GitSnapshot snapshot = parse(header + "\0 M a\0"s);
        EXPECT_EQ(snapshot.branch, branch) << header;
        EXPECT_EQ(sorted(snapshot), (Statuses{{"a", S::modified}})) << header;
    }
}

TEST(GitSnapshotTest, StateLettersMapInOrder)
{
    const std::pair<std::string, GitFileStatus> cases[] = {
        {"??", S::untracked},  {"!!", S::ignored},    {"UU", S::conflicted}, {"AA", S::conflicted},
        {"DD", S::conflicted}, {"AU", S::conflicted}, {"UD", S::conflicted}, {"A ", S::added},
        {"AD", S::added},      {"R ", S::renamed},    {"RD", S::renamed},    {"C ", S::renamed},
        {"D ", S::deleted},    {" D", S::deleted},    {"MD", S::deleted},    {" M", S::modified},
        {"MM", S::modified},   {" T", S::modified},
    };
    for (const auto& [letters, state] : cases) {
        const std::string old = letters[0] == 'R' || letters[0] == 'C' ? "dir/old\0"s : "";
        EXPECT_EQ(sorted(parse(letters + " dir/file\0"s + old)), (Statuses{{"dir/file", state}}))
            << letters;
    }
}

TEST(GitSnapshotTest, RenamesFoldersAndChangedFolders)
{
    // The renamed entry's old path looks like a record of its own and must not be read as one.
    const GitSnapshot snapshot = parse("\0## main\0\0R  a/new\0MM looks/like a record\0"
                                       " M a/b/c/d.txt\0?? n/new/\0!! build/\0!! ign/cache/\0"
                                       "!! ign/x/y\0?? top\0\0"s);
    EXPECT_EQ(sorted(snapshot), (Statuses{{"a/new", S::renamed},
                                          {"a/b/c/d.txt", S::modified},
                                          {"n/new", S::untracked},
                                          {"build", S::ignored},
                                          {"ign/cache", S::ignored},
                                          {"ign/x/y", S::ignored},
                                          {"top", S::untracked}}));
    EXPECT_EQ(snapshot.untrackedFolders, std::vector<std::string>{"n/new"});
    EXPECT_EQ(snapshot.ignoredFolders, (std::vector<std::string>{"build", "ign/cache"}));
    EXPECT_EQ(snapshot.changedFolders, (std::unordered_set<std::string>{"a", "a/b", "a/b/c", "n"}));
    EXPECT_EQ(snapshot.changeCount(), 4);
}

TEST(GitSnapshotTest, StatusOfAPath)
{
    // "lib" was a file (deleted) and is now a folder with an untracked file in it.
    const GitSnapshot snapshot =
        parse("## main\0 M src/app/main.cpp\0?? new/\0!! build/\0 D lib\0?? lib/x\0?? caf\xe9\0"s);
    const std::pair<std::string, std::optional<GitFileStatus>> cases[] = {
        {"/home/me/repo/src/app/main.cpp", S::modified},
        {"/home/me/repo/src", S::modified},
        {"/home/me/repo/src/other.cpp", std::nullopt},
        {"/home/me/repo/new", S::untracked},
        {"/home/me/repo/new/deep/file", S::untracked},
        {"/home/me/repo/newer", std::nullopt},
        {"/home/me/repo/build/out.o", S::ignored},
        {"/home/me/repo/lib", S::deleted},
        {"/home/me/repo/caf\xe9", S::untracked},
        {"/home/me/repo", std::nullopt},
        {"/home/me/repo2/src", std::nullopt},
        {"/elsewhere/new/x", std::nullopt},
    };
    for (const auto& [path, state] : cases)
        EXPECT_EQ(snapshot.status(path), state) << path;

    const GitSnapshot atTop = parse(" M etc/hosts\0"s, "/");
    EXPECT_EQ(atTop.status("/etc"), S::modified);
    EXPECT_EQ(atTop.status("/"), std::nullopt);
}
