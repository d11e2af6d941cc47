#include "support/TempDir.h"
#include "support/ToolRun.h"

#include <QProcessEnvironment>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

class QuilloToolTrashTest : public ::testing::Test {
protected:
    // The tool with its home and data folders inside the scratch folder.
    ToolRun trash(std::vector<std::string> paths)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("HOME"), QString::fromStdString(home.native()));
        env.insert(QStringLiteral("XDG_DATA_HOME"), QString::fromStdString(data.native()));
        paths.insert(paths.begin(), "trash");
        return runTool(paths, {}, env);
    }

    TempDir scratch;
    fs::path home = scratch.folder("home");
    fs::path data = home / "data";
};

} // namespace

TEST_F(QuilloToolTrashTest, PrintsWhereEachItemWentAndGoesOnAfterAFailure)
{
    const fs::path first = scratch.file("items/tab\there\\.txt", "1");
    const fs::path second = scratch.folder("items/folder");
    const ToolRun r = trash({first.native(), (scratch / "items/gone").native(), second.native()});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, (scratch / "items/tab\\x09here\\x5c.txt").native() + "\t" +
                         (data / "Trash/files/tab\\x09here\\x5c.txt").native() + "\n" +
                         second.native() + "\t" + (data / "Trash/files/folder").native() + "\n");
    EXPECT_EQ(r.err, "「gone」をゴミ箱に入れられません。\n"
                     "ファイルまたはフォルダが見つかりません。\n");
    EXPECT_EQ(readFile(data / "Trash/files/tab\there\\.txt"), "1");
}

// Which trash folders are usable is the Trash tests' business; here only the report.
TEST_F(QuilloToolTrashTest, RefusesWhenTheVolumeHasNoUsableTrash)
{
    fs::create_directories(data);
    fs::create_directory_symlink(scratch.folder("elsewhere"), data / "Trash");
    const fs::path item = scratch.file("keep.txt", "kept");
    const ToolRun r = trash({item.native()});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "「keep.txt」をゴミ箱に入れられません。\n"
                     "このボリュームには使えるゴミ箱がありません。\n");
    EXPECT_EQ(readFile(item), "kept");
    EXPECT_EQ(trash({}).status, 2);
}
