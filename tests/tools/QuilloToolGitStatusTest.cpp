#include "support/TempDir.h"
#include "support/ToolRun.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

ToolRun gitStatus(const fs::path& folder)
{
    return runProgram(QString::fromStdString(quilloTool()),
                      {"git-status", QString::fromStdString(folder.native())});
}

} // namespace

TEST(QuilloToolGitStatusTest, PrintsBranchThenSortedEntriesOrFails)
{
    TempDir scratch;
    const fs::path repo = scratch.folder("repo");
    ASSERT_EQ(runGit(repo, {"init", "-q", "-b", "trunk"}), 0);
    scratch.file("repo/z.txt", "1\n");
    scratch.file("repo/a/b.txt", "1\n");
    ASSERT_EQ(runGit(repo, {"add", "-A"}), 0);
    ASSERT_EQ(runGit(repo, {"commit", "-q", "-m", "first"}), 0);
    scratch.file("repo/z.txt", "2\n");
    scratch.file("repo/a/b.txt", "2\n");
    scratch.file("repo/B new");
    scratch.file("repo/tab\there");
    scratch.file("repo/a/bad\xff");

    const ToolRun r = gitStatus(repo / "a");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, "trunk\n"
                     "untracked\tB new\n"
                     "modified\ta/b.txt\n"
                     "untracked\ta/bad\\xff\n"
                     "untracked\ttab\\x09here\n"
                     "modified\tz.txt\n");

    // Outside a working tree, and on bad usage.
    const ToolRun outside = gitStatus(scratch.folder("plain"));
    EXPECT_EQ(outside.status, 1);
    EXPECT_EQ(outside.out, "");

    const ToolRun usage = runProgram(QString::fromStdString(quilloTool()), {"git-status"});
    EXPECT_EQ(usage.status, 2);
    EXPECT_NE(usage.err.find("usage"), std::string::npos);
}
