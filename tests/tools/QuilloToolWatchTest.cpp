#include "support/TempDir.h"
#include "support/ToolRun.h"

#include <QProcess>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

ToolRun watch(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "watch");
    return runTool(arguments);
}

} // namespace

TEST(QuilloToolWatchTest, RefusesBadUsageAndFoldersItCannotRead)
{
    TempDir scratch;
    const std::string folder = scratch.folder("shown").native();
    const std::vector<std::string> usages[] = {
        {},
        {folder, "--seconds"},
        {folder, "--seconds", "soon"},
        {folder, "--seconds", "-1"},
        {folder, folder},
        {"--quiet", folder},
    };
    for (const std::vector<std::string>& usage : usages)
        EXPECT_EQ(watch(usage).status, 2) << ::testing::PrintToString(usage);
    const ToolRun missing = watch({(scratch / "missing").native()});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err, "「missing」が見つかりません。\n");
    const ToolRun file = watch({scratch.file("plain.txt").native()});
    EXPECT_EQ(file.status, 1);
    EXPECT_EQ(file.err, "「plain.txt」が見つかりません。\n");
}

TEST(QuilloToolWatchTest, PrintsEachBatchOnALineAndStopsAfterTheSeconds)
{
    TempDir scratch;
    const fs::path shown = scratch.folder("shown");
    const fs::path item = scratch.file("shown/tab\there");
    QProcess tool;
    tool.start(QString::fromStdString(quilloTool()),
               {"watch", QString::fromStdString(shown), "--seconds", "5"});
    ASSERT_TRUE(tool.waitForStarted());
    // The tool says nothing until it sees a change, so keep changing the item
    // until it does.
    QByteArray out;
    for (int64_t second = 1; !out.contains('\n') && tool.state() == QProcess::Running; ++second) {
        setModificationTime(item, second);
        tool.waitForReadyRead(100);
        out += tool.readAllStandardOutput();
    }
    ASSERT_TRUE(tool.waitForFinished(30000));
    EXPECT_EQ(tool.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(tool.exitCode(), 0);
    out += tool.readAllStandardOutput();
    const QByteArray firstLine = out.left(out.indexOf('\n'));
    EXPECT_EQ(firstLine.toStdString(), (shown / "tab\\x09here").native());
}
