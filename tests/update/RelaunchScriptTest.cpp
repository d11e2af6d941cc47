#include "update/RelaunchScript.h"

#include "core/ShellQuote.h"
#include "platform/DetachedProcess.h"
#include "support/TempDir.h"
#include "support/ToolRun.h"

#include <QTest>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

const std::vector<std::string> hostile{"plain",
                                       "with space",
                                       "it's",
                                       "say \"hi\"",
                                       "back\\slash",
                                       "line\nbreak",
                                       "$(touch x)",
                                       "`touch y`",
                                       "-dash",
                                       "*",
                                       "",
                                       "\xff\xfe not utf-8",
                                       "tab\there",
                                       "semi;colon &",
                                       "'' ''\\''",
                                       "$HOME"};

// A program that writes its arguments and working folder, NUL-separated, to `record`.
fs::path recorder(const TempDir& dir, const fs::path& record)
{
    const fs::path script = dir.file("record.sh", "#!/bin/sh\n{ pwd -P; printf '%s\\0' \"$@\"; "
                                                  "env -0 | grep -z '^QUILLO_' | sort -z; } > " +
                                                      ShellQuote::quote(record.native()) + "\n");
    fs::permissions(script, fs::perms::owner_all);
    return script;
}

} // namespace

TEST(RelaunchScriptTest, QuotedWordsReachTheProgramByteExact)
{
    for (const std::string& word : hostile) {
        const ToolRun run =
            runProgram(QStringLiteral("/bin/sh"),
                       {QStringLiteral("-c"),
                        QString::fromStdString("printf '%s' " + ShellQuote::quote(word))});
        EXPECT_EQ(run.status, 0) << word;
        // QString cannot carry the bytes that are not UTF-8; the spawn test below does.
        if (QString::fromStdString(word).toStdString() == word) {
            EXPECT_EQ(run.out, word) << word;
        }
    }
}

TEST(RelaunchScriptTest, DetachedStartPassesBytesAndFolder)
{
    TempDir dir;
    const fs::path folder = dir.folder("odd \xff folder\nname");
    const fs::path record = dir / "record";
    std::vector<std::string> argv{recorder(dir, record).native()};
    argv.insert(argv.end(), hostile.begin(), hostile.end());
    ASSERT_TRUE(DetachedProcess::start(argv, {folder, true}));
    std::string expected = folder.native() + "\n";
    for (const std::string& word : hostile)
        expected += word + '\0';
    EXPECT_EQ(waitForFile(record).substr(0, expected.size()), expected);

    EXPECT_FALSE(DetachedProcess::start({"/no/such/program"}));
    EXPECT_FALSE(DetachedProcess::start({"/bin/true"}, {dir / "missing", true}));
}

TEST(RelaunchScriptTest, TheScriptWaitsThenLaunchesWithTheQuilloVariablesButTheExcluded)
{
    TempDir dir;
    const fs::path record = dir / "record";
    const ScopedVariable suite("QUILLO_DEFAULTS_SUITE", "suite 'one'\n$(x)");
    const ScopedVariable url("QUILLO_UPDATE_URL", "http://127.0.0.1:1/version.json");
    const ScopedVariable debug("QUILLO_DEBUG_STEPS", "1");
    const fs::path binaryFolder = dir.folder("bin \"'$(x)`\\");
    const fs::path binary = binaryFolder / "quillo";
    fs::copy_file(recorder(dir, record), binary);
    // A process that is still running holds the launch back until it ends.
    QProcess sleeper;
    sleeper.start(QStringLiteral("sleep"), {QStringLiteral("0.5")});
    ASSERT_TRUE(sleeper.waitForStarted());
    const std::string script = RelaunchScript::waitForExit(int(sleeper.processId())) +
                               RelaunchScript::launch(binary, {"QUILLO_DEBUG_STEPS"}) +
                               "rm -f \"$0\"\n";
    const auto started = RelaunchScript::start(script, dir.path());
    ASSERT_TRUE(started);
    QTest::qWait(200);
    EXPECT_FALSE(fs::exists(record)) << "launched before the process ended";
    sleeper.waitForFinished();
    const std::string seen = waitForFile(record);
    EXPECT_NE(seen.find(std::string("QUILLO_DEFAULTS_SUITE=suite 'one'\n$(x)\0", 39)),
              std::string::npos)
        << seen;
    EXPECT_NE(seen.find("QUILLO_UPDATE_URL=http://127.0.0.1:1/version.json"), std::string::npos);
    EXPECT_EQ(seen.find("QUILLO_DEBUG_STEPS"), std::string::npos) << seen;
    EXPECT_TRUE(QTest::qWaitFor([&] { return !fs::exists(*started); }, 5000));
}
