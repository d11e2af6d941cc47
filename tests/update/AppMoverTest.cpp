#include "update/AppMover.h"

#include "core/PathText.h"
#include "core/Preferences.h"
#include "core/ShellQuote.h"
#include "platform/DesktopApps.h"
#include "support/ScriptedPrompter.h"
#include "support/TempDir.h"

#include <QTest>
#include <QTimer>
#include <algorithm>
#include <deque>
#include <gtest/gtest.h>
#include <limits>

namespace fs = std::filesystem;

namespace {

using Strings = std::vector<std::string>;

const QString kAfterMove =
    "\n移動すると Quillo を開き直します。設定・タグ・履歴はそのまま使えます。";

class AppMoverTest : public ::testing::Test {
public:
    ScratchSettings settings;
    TempDir dir;
    fs::path record = dir / "record";
    std::shared_ptr<ScriptedPrompter> prompter = std::make_shared<ScriptedPrompter>();

    // A bundle whose bin/quillo writes its path and its QUILLO_ variables to `record`.
    fs::path makeBundle(const std::string& parent) const
    {
        const std::string to = ShellQuote::quote(record.native());
        dir.file(parent + "/Quillo/VERSION", "0.1.0\n");
        dir.file(parent + "/Quillo/bin/quillo-tool");
        dir.file(parent + "/Quillo/share/applications/app.quillo.Quillo.desktop",
                 "[Desktop Entry]\nType=Application\nName=Quillo\nExec=quillo %U\n");
        const fs::path binary = dir.file(
            parent + "/Quillo/bin/quillo",
            "#!/bin/sh\n{ printf '%s\\0' \"$0\"; env -0 | grep -z '^QUILLO_' | sort -z; } > " + to +
                ".tmp && mv " + to + ".tmp " + to + "\n");
        fs::permissions(binary, fs::perms::owner_all);
        return dir / parent / "Quillo";
    }

    AppMover::Setup setup(const fs::path& bundle) const
    {
        AppMover::Setup s = AppMover::Setup::fromEnvironment(bundle);
        s.home = dir / "home";
        s.transientRoots = {dir / "media"};
        s.entryFolder = dir / "applications";
        s.scriptFolder = dir.folder("scripts");
        s.processId = std::numeric_limits<int>::max(); // no such process: start at once
        return s;
    }

    // The mover's answer; without waiting, only what it gave before returning.
    std::optional<bool> offer(const AppMover::Setup& s, bool wait = true)
    {
        AppMover mover(s);
        std::optional<bool> relaunching;
        mover.offerIfNeeded(prompter, [&](bool value) { relaunching = value; });
        if (wait) {
            EXPECT_TRUE(QTest::qWaitFor([&] { return relaunching.has_value(); }, 20'000));
        }
        return relaunching;
    }

    // What the started Quillo wrote: its program, then NAME=value of its QUILLO_ variables.
    Strings relaunched()
    {
        EXPECT_TRUE(QTest::qWaitFor([&] { return fs::exists(record); }, 10'000));
        Strings seen;
        const std::string bytes = fs::exists(record) ? readFile(record) : "";
        for (size_t start = 0, end; (end = bytes.find('\0', start)) != std::string::npos;
             start = end + 1)
            seen.push_back(bytes.substr(start, end - start));
        return seen;
    }
};

} // namespace

TEST_F(AppMoverTest, NothingIsOfferedWhereQuilloBelongsOrWasDeclined)
{
    struct Case {
        std::string parent;
        std::optional<std::string> answer;
        bool suppressed = false, bundle = true;
    };
    const std::vector<Case> cases{
        {"home/Applications"},  {"home/Applications/older"}, {"dest"},
        {"Downloads", "later"}, {"Downloads", {}, true},     {"usr", {}, false, false},
    };
    for (const Case& c : cases) {
        const fs::path bundle = makeBundle(c.parent);
        if (!c.bundle)
            fs::remove(bundle / "VERSION"); // as installed by `make install`
        AppMover::Setup s = setup(bundle);
        s.destination = dir / "dest";
        s.answer = c.answer;
        Preferences::shared().setSuppressMoveToApplications(c.suppressed);
        EXPECT_EQ(offer(s, false), false) << c.parent;
        EXPECT_TRUE(prompter->shown.empty()) << c.parent;
        EXPECT_TRUE(fs::exists(bundle / "bin/quillo")) << c.parent;
        EXPECT_EQ(Preferences::shared().suppressMoveToApplications(), c.suppressed);
    }
}

TEST_F(AppMoverTest, TheEnvironmentsAnswerMovesAndRelaunchesWithoutAsking)
{
    // No "%": GLib checks the program of an Exec key before it undoes "%%".
    const fs::path destination = dir / "Apps \"$x\" `y` \\ it's\nline";
    const ScopedVariable answer("QUILLO_MOVE_ANSWER", "move");
    const ScopedVariable dest("QUILLO_MOVE_DEST", QByteArray::fromStdString(destination.native()));
    const ScopedVariable mark("QUILLO_MARK", "kept 'as'\nit is");
    const fs::path bundle = makeBundle("Downloads");
    AppMover::Setup s = setup(bundle);
    s.entryFolder = PathText::dataHome() / "applications"; // where the desktop looks
    ASSERT_EQ(s.destination, destination);

    EXPECT_EQ(offer(s), true);
    EXPECT_TRUE(prompter->shown.empty());
    EXPECT_FALSE(fs::exists(bundle));
    const fs::path binary = destination / "Quillo/bin/quillo";
    EXPECT_EQ(readFile(destination / "Quillo/VERSION"), "0.1.0\n");
    const Strings seen = relaunched();
    ASSERT_FALSE(seen.empty());
    EXPECT_EQ(seen[0], binary.native());
    for (const std::string& variable :
         Strings{"QUILLO_MARK=kept 'as'\nit is", "QUILLO_MOVE_DEST=" + destination.native()})
        EXPECT_NE(std::ranges::find(seen, variable), seen.end()) << variable;
    EXPECT_FALSE(std::ranges::any_of(
        seen, [](const std::string& line) { return line.starts_with("QUILLO_MOVE_ANSWER"); }));
    EXPECT_TRUE(QTest::qWaitFor([&] { return fs::is_empty(dir / "scripts"); }, 5000));

    // The desktop reads the new entry back to the moved program, hostile path and all.
    fs::remove(record);
    EXPECT_TRUE(DesktopApps::launch("app.quillo.Quillo.desktop", {}));
    EXPECT_EQ(relaunched().at(0), binary.native());
}

TEST_F(AppMoverTest, ATransientBundleIsCopiedAfterAsking)
{
    const fs::path bundle = makeBundle("media/usb stick");
    AppMover::Setup s = setup(bundle);
    s.destination = dir / "dest";
    prompter->answers = {{0, false}};

    EXPECT_EQ(offer(s), true);
    ASSERT_EQ(prompter->shown.size(), 1u);
    const Alert& alert = prompter->shown[0];
    EXPECT_EQ(alert.message, "Quillo を「アプリケーション」フォルダに移動しますか？");
    EXPECT_EQ(alert.informativeText,
              "今は DMG（ディスクイメージ）の中から開いています。このままだと"
              "、DMG を取り出すと使えなくなります。" +
                  kAfterMove);
    EXPECT_EQ(alert.buttons, (QStringList{"「アプリケーション」へ移動", "移動しない"}));
    EXPECT_EQ(alert.suppressionTitle, "今後確認しない");
    EXPECT_TRUE(fs::exists(bundle / "bin/quillo"));
    EXPECT_EQ(relaunched().at(0), (dir / "dest/Quillo/bin/quillo").native());
    EXPECT_EQ(readFile(dir / "applications/app.quillo.Quillo.desktop"),
              "[Desktop Entry]\nType=Application\nName=Quillo\nExec=\"" +
                  (dir / "dest/Quillo/bin/quillo").native() + "\" %U\n");
}

TEST_F(AppMoverTest, AQuilloAlreadyThereGoesToTheTrash)
{
    const std::string old = "old " + dir.path().native();
    dir.file("dest/Quillo/VERSION", old);
    AppMover::Setup s = setup(makeBundle("Downloads"));
    s.destination = dir / "dest";
    s.answer = "move";

    EXPECT_EQ(offer(s), true);
    EXPECT_EQ(readFile(dir / "dest/Quillo/VERSION"), "0.1.0\n");
    EXPECT_EQ(relaunched().at(0), (dir / "dest/Quillo/bin/quillo").native());
    bool trashed = false;
    for (const auto& entry : fs::directory_iterator(PathText::dataHome() / "Trash/files"))
        trashed = trashed || (fs::exists(entry.path() / "VERSION") &&
                              readFile(entry.path() / "VERSION") == old);
    EXPECT_TRUE(trashed);
}

TEST_F(AppMoverTest, DecliningWithTheCheckBoxSuppressesLaterOffers)
{
    const fs::path bundle = makeBundle("Downloads");
    prompter->answers = {{1, true}};

    EXPECT_EQ(offer(setup(bundle)), false);
    ASSERT_EQ(prompter->shown.size(), 1u);
    EXPECT_EQ(prompter->shown[0].informativeText,
              "今は「Downloads」から開いています。" + kAfterMove);
    EXPECT_TRUE(Preferences::shared().suppressMoveToApplications());
    EXPECT_TRUE(fs::exists(bundle / "bin/quillo"));

    EXPECT_EQ(offer(setup(bundle), false), false);
    EXPECT_EQ(prompter->shown.size(), 1u);
}

TEST_F(AppMoverTest, AFailedMoveSaysWhyAndLeavesTheBundle)
{
    const fs::path bundle = makeBundle("Downloads");
    AppMover::Setup s = setup(bundle);
    s.destination = dir.file("occupied") / "Apps";
    s.answer = "move";

    EXPECT_EQ(offer(s), false);
    ASSERT_EQ(prompter->shown.size(), 1u);
    const QString hint =
        "\nファイルマネージャで Quillo のフォルダを ~/Applications へ移してください。";
    EXPECT_EQ(prompter->shown[0].message, "「アプリケーション」フォルダに移動できませんでした");
    EXPECT_TRUE(prompter->shown[0].informativeText.endsWith(hint));
    EXPECT_GT(prompter->shown[0].informativeText.size(), hint.size());
    EXPECT_TRUE(fs::exists(bundle / "bin/quillo"));
    EXPECT_FALSE(fs::exists(record));
}

TEST_F(AppMoverTest, TheDesktopEntryRunsTheNewProgramWithItsArguments)
{
    const std::string bundled =
        "[Desktop Entry]\nExec=quillo %U\nTryExec=quillo\nIcon=app.quillo.Quillo\n"
        "[Desktop Action window]\nExec=\"quillo\" --new-window\n";
    EXPECT_EQ(
        AppMover::desktopEntry(bundled, "/a b/$x%\\/quillo", "/a b/icon.svg"),
        "[Desktop Entry]\nExec=\"/a b/\\\\$x%%\\\\\\\\/quillo\" %U\nTryExec=/a b/$x%\\\\/quillo\n"
        "Icon=/a b/icon.svg\n"
        "[Desktop Action window]\nExec=\"/a b/\\\\$x%%\\\\\\\\/quillo\" --new-window\n");
}
