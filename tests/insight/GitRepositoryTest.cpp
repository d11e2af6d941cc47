#include "insight/GitRepository.h"

#include "support/TempDir.h"
#include "support/ToolRun.h"

#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sys/stat.h>

namespace fs = std::filesystem;
using S = GitFileStatus;
using Statuses = std::map<std::string, GitFileStatus>;

namespace {

Statuses sorted(const std::optional<GitSnapshot>& snapshot)
{
    return snapshot ? Statuses(snapshot->statuses.begin(), snapshot->statuses.end()) : Statuses();
}

class GitRepositoryTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(runGit(repo, {"init", "-q", "-b", "main"}), 0); }
    void commitAll()
    {
        ASSERT_EQ(runGit(repo, {"add", "-A"}), 0);
        ASSERT_EQ(runGit(repo, {"commit", "-q", "-m", "c"}), 0);
    }

    TempDir scratch;
    fs::path repo = scratch.folder("repo");
};

} // namespace

TEST_F(GitRepositoryTest, RootIsTheNearestFolderWithAGitItem)
{
    scratch.file("repo/src/app/main.cpp");
    scratch.file("repo/vendor/lib/.git", "gitdir: ../../.git/modules/lib\n");
    scratch.file("plain/file");
    const std::pair<std::string, std::optional<fs::path>> cases[] = {
        {"repo", repo},
        {"repo/src/app", repo},
        {"repo/src/app/main.cpp", repo},
        {"repo/src/app/missing", repo},
        {"repo/src/./app/../app", repo},
        {"repo/vendor/lib", repo / "vendor/lib"},
        {"plain", std::nullopt},
        {"plain/file", std::nullopt},
    };
    for (const auto& [relative, root] : cases)
        EXPECT_EQ(GitRepository::root(scratch / relative), root) << relative;
}

TEST_F(GitRepositoryTest, SnapshotOfAWorkingTree)
{
    scratch.file("repo/fresh-repo.txt");
    const auto fresh = GitRepository::snapshot(repo);
    ASSERT_TRUE(fresh);
    EXPECT_EQ(fresh->branch, "main");

    for (const char* name : {"fresh-repo.txt", "change.txt", "gone.txt", "old/name.txt"})
        scratch.file(std::string("repo/") + name, "1\n");
    scratch.file("repo/.gitignore", "build/\n");
    commitAll();
    scratch.file("repo/change.txt", "2\n");
    fs::remove(repo / "gone.txt");
    ASSERT_EQ(runGit(repo, {"mv", "old/name.txt", "new.txt"}), 0);
    scratch.file("repo/staged.txt");
    ASSERT_EQ(runGit(repo, {"add", "staged.txt"}), 0);
    scratch.file("repo/fresh/a/b.txt");
    scratch.file("repo/build/out.o");
    scratch.file("repo/caf\xe9 \\ \n.txt");

    // Asked from a folder below, on a pool thread, as a pane asks.
    const auto snapshot = GitRepository::snapshotInBackground(repo / "fresh/a").result();
    ASSERT_TRUE(snapshot);
    EXPECT_EQ(snapshot->root, repo);
    EXPECT_EQ(snapshot->branch, "main");
    EXPECT_EQ(sorted(snapshot), (Statuses{{"change.txt", S::modified},
                                          {"gone.txt", S::deleted},
                                          {"new.txt", S::renamed},
                                          {"staged.txt", S::added},
                                          {"fresh", S::untracked},
                                          {"build", S::ignored},
                                          {"caf\xe9 \\ \n.txt", S::untracked}}));
    EXPECT_EQ(snapshot->status(repo / "fresh/a/b.txt"), S::untracked);
    EXPECT_EQ(snapshot->untrackedFolders, std::vector<std::string>{"fresh"});
    EXPECT_FALSE(GitRepository::snapshotInBackground(scratch.folder("elsewhere")).result());
}

TEST_F(GitRepositoryTest, MergeConflict)
{
    scratch.file("repo/both.txt", "base\n");
    commitAll();
    ASSERT_EQ(runGit(repo, {"checkout", "-q", "-b", "side"}), 0);
    scratch.file("repo/both.txt", "side\n");
    commitAll();
    ASSERT_EQ(runGit(repo, {"checkout", "-q", "main"}), 0);
    scratch.file("repo/both.txt", "main\n");
    commitAll();
    ASSERT_EQ(runGit(repo, {"merge", "-q", "side"}), 1);
    EXPECT_EQ(sorted(GitRepository::snapshot(repo)), (Statuses{{"both.txt", S::conflicted}}));
}

TEST_F(GitRepositoryTest, NoSnapshotWhenGitCannotAnswer)
{
    scratch.file("broken/.git", "this is not a git directory\n");
    EXPECT_EQ(GitRepository::root(scratch / "broken"), scratch / "broken");
    EXPECT_FALSE(GitRepository::snapshot(scratch / "broken"));
    EXPECT_FALSE(GitRepository::snapshot(scratch.folder("notarepo")));

    ASSERT_TRUE(GitRepository::snapshot(repo));
    // No git at all, and a git that answers the configuration query and then never
    // finishes: it is stopped at the limit.
    const fs::path hangs = scratch.file(
        "bin/git",
        "#!/bin/sh\ncase \"$*\" in *status*) sleep 30 ;; esac\nexec /usr/bin/git \"$@\"\n");
    ASSERT_EQ(::chmod(hangs.c_str(), 0755), 0);
    const QByteArray path = qgetenv("PATH");
    const QByteArray cases[] = {
        QByteArray::fromStdString(scratch.folder("emptybin").native()),
        QByteArray::fromStdString(hangs.parent_path().native()) + ":" + path,
    };
    for (const QByteArray& bins : cases) {
        qputenv("PATH", bins);
        EXPECT_FALSE(GitRepository::snapshot(repo, std::chrono::seconds(1))) << bins.toStdString();
    }
    qputenv("PATH", path);
}

TEST_F(GitRepositoryTest, RepositoryConfigCannotRunAProgram)
{
    const fs::path marker = scratch / "marker";
    const fs::path hook = scratch.file("hook.sh", "#!/bin/sh\ntouch '" + marker.native() + "'\n");
    ASSERT_EQ(::chmod(hook.c_str(), 0755), 0);
    const QString program = QString::fromStdString(hook.native());
    scratch.file("repo/a.txt", "1\n");
    commitAll();
    // A populated submodule with a filter of its own, for the last case.
    const fs::path other = scratch.folder("other");
    ASSERT_EQ(runGit(other, {"init", "-q"}), 0);
    scratch.file("other/b.txt", "1\n");
    ASSERT_EQ(runGit(other, {"add", "-A"}), 0);
    ASSERT_EQ(runGit(other, {"commit", "-q", "-m", "c"}), 0);
    ASSERT_EQ(runGit(repo, {"-c", "protocol.file.allow=always", "submodule", "add", "-q",
                            QString::fromStdString(other.native()), "sub"}),
              0);
    commitAll();

    // A hook that git runs when status writes the index it refreshed.
    const fs::path hooks = scratch.folder("hooks");
    fs::copy_file(hook, hooks / "post-index-change");
    const QString hooksPath = QString::fromStdString(hooks.native());

    using Settings = std::vector<std::pair<QString, QString>>;
    const struct {
        const char* name;
        fs::path repository; // whose configuration names the program
        Settings config;
        std::string attributes;
    } cases[] = {
        {"fsmonitor", repo, {{"core.fsmonitor", program}}, ""},
        {"hooks", repo, {{"core.hooksPath", hooksPath}}, ""},
        {"clean filter", repo, {{"filter.evil.clean", program}}, "* filter=evil\n"},
        {"process filter", repo, {{"filter.evil.process", program}}, "* filter=evil\n"},
        {"required filter, dotted name",
         repo,
         {{"filter.my.evil.clean", program}, {"filter.my.evil.required", "true"}},
         "* filter=my.evil\n"},
        {"submodule filter", repo / "sub", {{"filter.evil.clean", program}}, "* filter=evil\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const fs::path gitDir = c.repository == repo ? repo / ".git" : repo / ".git/modules/sub";
        for (const auto& [key, value] : c.config)
            ASSERT_EQ(runGit(c.repository, {"config", key, value}), 0);
        fs::create_directories(gitDir / "info");
        std::ofstream(gitDir / "info/attributes") << c.attributes;
        // A new time makes status read the contents again.
        for (const char* file : {"a.txt", "sub/b.txt"})
            fs::last_write_time(repo / file,
                                fs::last_write_time(repo / file) - std::chrono::hours(1));
        // Plain git runs the program, so the check below can tell the difference.
        runGit(repo, {"status", "--porcelain"});
        ASSERT_TRUE(fs::remove(marker));

        EXPECT_TRUE(GitRepository::snapshot(repo));
        EXPECT_FALSE(fs::exists(marker));
        for (const auto& [key, value] : c.config)
            ASSERT_EQ(runGit(c.repository, {"config", "--unset", key}), 0);
        fs::remove(gitDir / "info/attributes");
    }
}
