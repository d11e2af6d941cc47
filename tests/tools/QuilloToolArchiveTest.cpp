#include "support/TempDir.h"
#include "support/ToolRun.h"

#include <gtest/gtest.h>
#include <iterator>

namespace fs = std::filesystem;

TEST(QuilloToolArchiveTest, CompressTwiceThenExpand)
{
    TempDir scratch;
    const fs::path folder = scratch.folder("a");
    scratch.file("a/b/c.txt", "contents");

    ToolRun r = runTool({"compress", folder.native()});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, (scratch / "a.zip").native() + "\n");
    r = runTool({"compress", folder.native()});
    EXPECT_EQ(r.out, (scratch / "a 2.zip").native() + "\n");

    r = runTool({"expand", (scratch / "a.zip").native()});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, (scratch / "a 2").native() + "\n");
    EXPECT_EQ(readFile(scratch / "a 2/b/c.txt"), "contents");
}

TEST(QuilloToolArchiveTest, FailuresAndUsage)
{
    TempDir scratch;
    const fs::path broken = scratch.file("broken.zip", "PK\3\4 this is not an archive");

    ToolRun r = runTool({"expand", broken.native()});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_TRUE(r.err.starts_with("「broken.zip」を展開できませんでした。")) << r.err;

    r = runTool({"compress", (scratch / "gone").native()});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "圧縮できませんでした。「gone」を読み込めませんでした。"
                     "ファイルまたはフォルダが見つかりません。\n");

    EXPECT_EQ(runTool({"compress"}).status, 2);
    EXPECT_EQ(runTool({"expand", "a.zip", "b.zip"}).status, 2);
    // Nothing is left behind, hidden or not.
    EXPECT_EQ(std::distance(fs::directory_iterator(scratch.path()), fs::directory_iterator()), 1);
}
