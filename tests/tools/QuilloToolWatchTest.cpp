#include "support/TempDir.h"
#include "support/ToolRun.h"

#include <QProcess>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

ToolRun watch(const QStringList& arguments)
{
    return runProgram(QString::fromStdString(quilloTool()),
                      QStringList{QStringLiteral("watch")} + arguments);
}

QString text(const fs::path& path)
{
    return QString::fromStdString(path.native());
}

} // namespace

TEST(QuilloToolWatchTest, RefusesBadUsageAndFoldersItCannotRead)
{
    TempDir scratch;
    const QString folder = text(scratch.folder("shown"));
    const QStringList usages[] = {
        {},
        {folder, QStringLiteral("--seconds")},
        {folder, QStringLiteral("--seconds"), QStringLiteral("soon")},
        {folder, QStringLiteral("--seconds"), QStringLiteral("-1")},
        {folder, folder},
        {QStringLiteral("--quiet"), folder},
    };
    for (const QStringList& usage : usages) {
        SCOPED_TRACE(usage.join(QLatin1Char(' ')).toStdString());
        EXPECT_EQ(watch(usage).status, 2);
    }
    const ToolRun missing = watch({text(scratch / "missing")});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err, "「missing」が見つかりません。\n");
    const ToolRun file = watch({text(scratch.file("plain.txt"))});
    EXPECT_EQ(file.status, 1);
    EXPECT_EQ(file.err, "「plain.txt」が見つかりません。\n");
}

TEST(QuilloToolWatchTest, PrintsEachBatchOnALineAndStopsAfterTheSeconds)
{
    TempDir scratch;
    const fs::path shown = scratch.folder("shown");
    const fs::path item = scratch.file("shown/tab\there");
    QProcess tool;
    tool.start(
        QString::fromStdString(quilloTool()),
        {QStringLiteral("watch"), text(shown), QStringLiteral("--seconds"), QStringLiteral("5")});
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
