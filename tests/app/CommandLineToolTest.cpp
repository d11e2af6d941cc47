#include "app/CommandLineTool.h"

#include "core/ShellQuote.h"
#include "support/ScriptedPrompter.h"
#include "support/TempDir.h"
#include "support/ToolRun.h"

#include <QTest>
#include <QTimer>
#include <deque>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

using Args = std::vector<std::string>;

const Args hostile{"it's",       "say \"hi\"", "back\\slash", "line\nbreak", "trail\n\n",
                   "$(touch x)", "`touch y`",  "-n",          "-",           "with space"};

class CommandLineToolTest : public ::testing::Test {
public:
    TempDir dir;
    fs::path record = dir / "record";
    std::shared_ptr<ScriptedPrompter> prompter = std::make_shared<ScriptedPrompter>();

    // A fake Quillo in a hostile folder: it writes its arguments, NUL-separated.
    fs::path fakeQuillo() const
    {
        const fs::path binary = dir.folder("bin 'x\"$(y)`\\\n") / "quillo";
        const std::string to = ShellQuote::quote(record.native());
        dir.file(binary.lexically_relative(dir.path()).native(),
                 "#!/bin/sh\nprintf '%s\\0' \"$@\" > " + to + ".tmp && mv " + to + ".tmp " + to +
                     "\n");
        fs::permissions(binary, fs::perms::owner_all);
        return binary;
    }

    // The launcher run by /bin/sh in `folder` (entered as given, links unresolved);
    // the arguments it handed to Quillo after "--".
    Args launch(const fs::path& launcher, const fs::path& folder, const Args& targets)
    {
        fs::remove(record);
        QStringList arguments{"-c", "cd -- \"$1\" && shift && exec /bin/sh \"$@\"", "sh",
                              QString::fromStdString(folder.native()),
                              QString::fromStdString(launcher.native())};
        for (const std::string& target : targets)
            arguments << QString::fromStdString(target);
        EXPECT_EQ(runProgram("/bin/sh", arguments).status, 0);
        EXPECT_TRUE(QTest::qWaitFor([&] { return fs::exists(record); }, 10'000));
        Args seen;
        const std::string bytes = readFile(record);
        for (size_t start = 0, end; (end = bytes.find('\0', start)) != std::string::npos;
             start = end + 1)
            seen.push_back(bytes.substr(start, end - start));
        EXPECT_FALSE(seen.empty() || seen.front() != "--") << "no option end";
        if (!seen.empty())
            seen.erase(seen.begin());
        return seen;
    }

    CommandLineTool::Inputs inputs(const std::string& path = {}, const std::string& shell = {})
    {
        return {dir / "no-system", dir / "home", "/opt/Quillo/bin/quillo", path, shell};
    }

    // Installs and waits; whether the launcher was written.
    bool install(const CommandLineTool::Inputs& given)
    {
        CommandLineTool tool(given);
        std::optional<bool> result;
        tool.install(prompter, [&](bool installed) { result = installed; });
        EXPECT_TRUE(QTest::qWaitFor([&] { return result.has_value(); }, 10'000));
        return result.value_or(false);
    }
};

} // namespace

TEST_F(CommandLineToolTest, TheLauncherHandsOverPhysicalPaths)
{
    const fs::path real = dir.folder("real");
    dir.link("link", "real");
    dir.file("real/file.txt");
    dir.folder("real/sub");
    for (const std::string& name : hostile) {
        dir.folder("real/folders/" + name);
        dir.file("real/files/" + name);
    }
    const fs::path launcher = dir.file("quillo", CommandLineTool::script(fakeQuillo()));
    const std::string r = fs::canonical(real).native();
    const fs::path link = dir / "link";

    EXPECT_EQ(launch(launcher, link, {}), Args{r});
    EXPECT_EQ(launch(launcher, link, {"file.txt"}), Args{r + "/file.txt"});
    EXPECT_EQ(launch(launcher, dir.path(), {"link"}), Args{r});
    EXPECT_EQ(launch(launcher, dir.path(), {(link / "file.txt").native()}), Args{r + "/file.txt"});
    EXPECT_EQ(launch(launcher, link / "sub", {"../file.txt", "..", "missing/x", "/"}),
              (Args{r + "/file.txt", r, "/"}));
    for (const std::string& name : hostile) {
        EXPECT_EQ(launch(launcher, link / "folders", {name}), Args{r + "/folders/" + name}) << name;
        EXPECT_EQ(launch(launcher, link / "files", {name}), Args{r + "/files/" + name}) << name;
    }
}

TEST_F(CommandLineToolTest, TheSystemFolderIsTakenOnlyWhenWritable)
{
    CommandLineTool::Inputs given = inputs();
    EXPECT_EQ(CommandLineTool(given).installationDirectory(), dir / "home/.local/bin");
    given.systemFolder = dir.folder("system");
    EXPECT_EQ(CommandLineTool(given).installationDirectory(), dir / "system");

    ASSERT_TRUE(install(given));
    const fs::path written = dir / "system/quillo";
    EXPECT_EQ(readFile(written), CommandLineTool::script(given.binary));
    EXPECT_EQ(fs::status(written).permissions() & fs::perms::all, fs::perms(0755));
    ASSERT_EQ(prompter->shown.size(), 1u);
    EXPECT_EQ(prompter->shown[0].message, "コマンドラインツールをインストールしました");
    // Not ~/.local/bin: no hint about it, on PATH or not.
    EXPECT_EQ(prompter->shown[0].informativeText,
              QString::fromStdString((dir / "system").native()) +
                  " に入れました。ターミナルで `quillo .` と入力すると、今いるフォルダを Quillo "
                  "で開けます。");
}

TEST_F(CommandLineToolTest, ThePathHintNamesTheShellsStartupFile)
{
    const QString placed = "~/.local/bin に入れました。ターミナルで `quillo .` "
                           "と入力すると、今いるフォルダを Quillo で開けます。";
    const QString exportLine = "export PATH=\"$HOME/.local/bin:$PATH\"";
    const std::string bin = (dir / "home/.local/bin").native();
    struct Case {
        std::string shell, path;
        QString file, line; // empty: no hint
    };
    const std::vector<Case> cases{
        {"/bin/bash", "/usr/bin:/bin", "~/.bashrc", exportLine},
        {"/usr/bin/zsh", "/usr/bin", "~/.zshrc", exportLine},
        {"/usr/bin/fish", "", "~/.config/fish/config.fish", "fish_add_path ~/.local/bin"},
        {"", "/usr/bin", "~/.profile", exportLine},
        {"/bin/bash", "/usr/bin:" + bin + "/", "", ""},
        {"/usr/bin/zsh", "~/.local/bin:/usr/bin", "", ""},
    };
    for (const Case& c : cases) {
        prompter->shown.clear();
        ASSERT_TRUE(install(inputs(c.path, c.shell))) << c.shell;
        ASSERT_EQ(prompter->shown.size(), 1u);
        const QString hint = c.file.isEmpty()
                                 ? QString()
                                 : "\n\n~/.local/bin が PATH に入っていない場合は、" + c.file +
                                       " に次の行を追加してください。\n" + c.line;
        EXPECT_EQ(prompter->shown[0].informativeText, placed + hint) << c.shell << " " << c.path;
    }
    EXPECT_TRUE(fs::exists(bin + "/quillo"));
}

TEST_F(CommandLineToolTest, AForeignQuilloIsReplacedOnlyWhenAllowed)
{
    const CommandLineTool::Inputs given = inputs();
    const fs::path file = dir.file("home/.local/bin/quillo", "#!/bin/sh\necho mine\n");
    prompter->answerWith({1});
    EXPECT_FALSE(install(given));
    EXPECT_EQ(readFile(file), "#!/bin/sh\necho mine\n");
    ASSERT_EQ(prompter->shown.size(), 1u);
    EXPECT_EQ(prompter->shown[0].buttons, (QStringList{"置き換える", "キャンセル"}));
    EXPECT_EQ(prompter->shown[0].defaultButton, 1);

    prompter->shown.clear();
    prompter->answerWith({0, 0});
    EXPECT_TRUE(install(given));
    EXPECT_EQ(readFile(file), CommandLineTool::script(given.binary));
    EXPECT_EQ(prompter->shown.size(), 2u);

    // Our own older launcher goes without a question.
    dir.file("home/.local/bin/quillo", "#!/bin/sh\n" + std::string(CommandLineTool::kComment) +
                                           "\nopen -b app.quillo.Quillo .\n");
    prompter->shown.clear();
    EXPECT_TRUE(install(given));
    EXPECT_EQ(readFile(file), CommandLineTool::script(given.binary));
    ASSERT_EQ(prompter->shown.size(), 1u);
    EXPECT_EQ(prompter->shown[0].message, "コマンドラインツールをインストールしました");
}

TEST_F(CommandLineToolTest, AWriteFailureIsReported)
{
    CommandLineTool::Inputs given = inputs();
    given.home = dir.file("not-a-folder");
    EXPECT_FALSE(install(given));
    ASSERT_EQ(prompter->shown.size(), 1u);
    EXPECT_EQ(prompter->shown[0].message, "コマンドラインツールをインストールできませんでした");
    EXPECT_FALSE(prompter->shown[0].informativeText.isEmpty());
}
