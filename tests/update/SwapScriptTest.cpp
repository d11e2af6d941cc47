#include "update/SwapScript.h"

#include "core/ShellQuote.h"
#include "support/TempDir.h"
#include "support/ToolRun.h"
#include "update/BundleLocation.h"
#include "update/RelaunchScript.h"

#include <QProcess>
#include <QTest>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

// Every character a shell could misread, in the folder that holds the bundle.
const std::string kHostileFolder = "it's \"odd\"\n$(touch x) `touch y` back\\slash $HOME";

// A bundle whose bin/quillo prints `marker` when given "--which", and otherwise
// records the marker and its QUILLO_ variables in `record`.
fs::path makeBundle(const TempDir& dir, const std::string& relative, const std::string& marker,
                    const fs::path& record)
{
    dir.file(relative + "/VERSION", marker + "\n");
    const fs::path program =
        dir.file(relative + "/bin/quillo",
                 "#!/bin/sh\nif [ \"$1\" = --which ]; then printf %s " + ShellQuote::quote(marker) +
                     "; exit 0; fi\n{ printf '%s\\0' " + ShellQuote::quote(marker) +
                     "; env -0 | grep -z '^QUILLO_' | sort -z; } > " +
                     ShellQuote::quote(record.native()) + "\n");
    fs::permissions(program, fs::perms::owner_all | fs::perms::group_exec | fs::perms::others_exec);
    return dir / relative;
}

// The marker of the bundle that starts from `bundle`; empty when none does.
std::string which(const fs::path& bundle)
{
    const fs::path program = bundle / "bin" / "quillo";
    if (!fs::exists(program))
        return {};
    const ToolRun run =
        runProgram(QString::fromStdString(program.native()), {QStringLiteral("--which")});
    return run.status == 0 ? run.out : std::string();
}

// A bundle installed in a hostile folder, a new one staged beside it, a working folder.
struct Update {
    Update()
    {
        swap.installed = makeBundle(dir, kHostileFolder + "/Quillo", "old", record);
        swap.staged = makeBundle(dir, kHostileFolder + "/.quillo-update-1", "new", record);
        swap.workFolder = dir.folder("work \"'\n");
    }

    // Runs the steps after "wait", with a SIGKILL of the script before `killBefore`;
    // the shell's exit status, -1 when killed.
    int runSteps(const std::string& killBefore = {})
    {
        std::string text;
        for (const SwapScript::Step& step : SwapScript::steps(swap)) {
            if (step.name == killBefore)
                text += "kill -KILL $$\n";
            if (step.name != "wait")
                text += step.text;
        }
        const fs::path file = dir.file("steps.sh", text);
        return runProgram(QStringLiteral("/bin/sh"), {QString::fromStdString(file.native())})
            .status;
    }

    fs::path previous() const { return BundleLocation::previousOf(swap.installed); }

    TempDir dir;
    fs::path record = dir / "record";
    SwapScript::Swap swap;
};

} // namespace

TEST(SwapScriptTest, AKillAtAnyStepLeavesABundleThatStarts)
{
    struct Case {
        std::string killBefore;
        std::string installed, previous, staged; // the marker each place starts, or ""
    };
    const Case cases[] = {{"exchange", "old", "", "new"},
                          {"setAside", "old", "", "new"},
                          {"moveIn", "", "old", "new"},
                          {"launch", "new", "", "old"},
                          {"cleanUp", "new", "", "old"}};
    for (const Case& c : cases) {
        Update update; // its bundles have no quillo-tool: the two renames do the swap
        EXPECT_EQ(update.runSteps(c.killBefore), -1) << c.killBefore;
        EXPECT_EQ(which(update.swap.installed), c.installed) << c.killBefore;
        EXPECT_EQ(which(update.previous()), c.previous) << c.killBefore;
        EXPECT_EQ(which(update.swap.staged), c.staged) << c.killBefore;
        EXPECT_TRUE(fs::exists(update.swap.workFolder)) << c.killBefore;
        if (c.killBefore == "cleanUp")
            EXPECT_EQ(waitForFile(update.record).substr(0, 4), std::string("new\0", 4));
        else
            EXPECT_FALSE(fs::exists(update.record)) << c.killBefore;
    }
}

TEST(SwapScriptTest, TheNewBundlesToolExchangesBothInOneStep)
{
    Update update;
    fs::copy_file(quilloTool(), update.swap.staged / "bin" / "quillo-tool");
    EXPECT_EQ(update.runSteps("setAside"), -1);
    EXPECT_EQ(which(update.swap.installed), "new");
    EXPECT_EQ(which(update.swap.staged), "old");
    EXPECT_FALSE(fs::exists(update.previous()));
}

TEST(SwapScriptTest, AFailedMoveInPutsThePreviousBundleBack)
{
    struct Case {
        const char* name;
        bool staged;           // the new bundle is there to move in
        const char* leftover;  // what an earlier update left at ".previous"
        std::string installed; // the marker that starts afterwards
        bool leftoverRemains;
    };
    const Case cases[] = {{"swapped", true, nullptr, "new", false},
                          {"staged bundle gone", false, nullptr, "old", false},
                          {"an earlier bundle left behind", true, "VERSION", "new", false},
                          {"someone else's folder", true, "notes.txt", "old", true}};
    for (const Case& c : cases) {
        Update update;
        if (!c.staged)
            fs::remove_all(update.swap.staged);
        if (c.leftover)
            update.dir.file(kHostileFolder + "/Quillo.previous/" + c.leftover, "x");
        EXPECT_EQ(update.runSteps(), 0) << c.name;
        EXPECT_EQ(which(update.swap.installed), c.installed) << c.name;
        EXPECT_EQ(fs::exists(update.previous()), c.leftoverRemains) << c.name;
        EXPECT_FALSE(fs::exists(update.swap.staged)) << c.name;
        EXPECT_FALSE(fs::exists(update.swap.workFolder)) << c.name;
        // Whichever bundle stayed is the one started again.
        EXPECT_EQ(waitForFile(update.record).substr(0, 4), c.installed + '\0') << c.name;
    }
}

TEST(SwapScriptTest, SwapsOnlyAfterQuilloQuitsAndRelaunchesWithItsVariables)
{
    Update update;
    qputenv("QUILLO_DEFAULTS_SUITE", "suite 'one'\n$(x)");
    qputenv("QUILLO_UPDATE_URL", "http://127.0.0.1:1/version.json");
    qputenv("QUILLO_DEBUG_STEPS", "1");
    QProcess quillo; // stands in for the Quillo that must quit first
    quillo.start(QStringLiteral("sleep"), {QStringLiteral("60")});
    ASSERT_TRUE(quillo.waitForStarted());
    update.swap.pid = int(quillo.processId());
    const auto started =
        RelaunchScript::start(SwapScript::script(update.swap), update.swap.workFolder);
    ASSERT_TRUE(started);
    QTest::qWait(300);
    EXPECT_EQ(which(update.swap.installed), "old") << "swapped while Quillo ran";
    quillo.kill();
    quillo.waitForFinished();
    const std::string seen = waitForFile(update.record);
    EXPECT_EQ(seen.substr(0, 4), std::string("new\0", 4));
    EXPECT_NE(seen.find(std::string("QUILLO_DEFAULTS_SUITE=suite 'one'\n$(x)\0", 39)),
              std::string::npos)
        << seen;
    EXPECT_NE(seen.find("QUILLO_UPDATE_URL=http://127.0.0.1:1/version.json"), std::string::npos);
    EXPECT_EQ(seen.find("QUILLO_DEBUG_STEPS"), std::string::npos) << seen;
    EXPECT_TRUE(QTest::qWaitFor([&] { return !fs::exists(update.swap.workFolder); }, 10'000));
    EXPECT_FALSE(fs::exists(update.previous()));
    for (const char* name : {"QUILLO_DEFAULTS_SUITE", "QUILLO_UPDATE_URL", "QUILLO_DEBUG_STEPS"})
        qunsetenv(name);
}
