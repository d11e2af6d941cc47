#include "app/TerminalLauncher.h"

#include "app/EditorLauncher.h"
#include "platform/DesktopApps.h"
#include "support/TempDir.h"

#include <QDeadlineTimer>
#include <QThread>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sstream>

namespace fs = std::filesystem;
using Kind = TerminalLauncher::Kind;

namespace {

void writeText(const fs::path& path, const std::string& text)
{
    fs::create_directories(path.parent_path());
    std::ofstream(path) << text;
}

// A program that writes its working directory and arguments, NUL-separated, to out.
fs::path writeRecorder(const fs::path& script, const fs::path& out)
{
    writeText(script, "#!/bin/sh\nprintf '%s\\0' \"$(pwd -P)\" \"$@\" > '" + out.native() +
                          ".part' && mv '" + out.native() + ".part' '" + out.native() + "'\n");
    fs::permissions(script, fs::perms::owner_all);
    return script;
}

std::vector<std::string> recorded(const fs::path& out)
{
    QDeadlineTimer deadline(10000);
    while (!fs::exists(out) && !deadline.hasExpired())
        QThread::msleep(20);
    std::ifstream in(out, std::ios::binary);
    std::vector<std::string> parts;
    for (std::string part; std::getline(in, part, '\0');)
        parts.push_back(part);
    return parts;
}

// GIO reads the application folders once, so every fake application is written
// before its first use, and the system's own applications are hidden.
class FakeApps : public ::testing::Environment {
public:
    static inline TempDir* dir = nullptr;
    void SetUp() override
    {
        dir = new TempDir;
        qputenv("XDG_DATA_DIRS", QByteArray::fromStdString((*dir / "system").native()));
        qputenv("XDG_CONFIG_DIRS", QByteArray::fromStdString((*dir / "xdg").native()));
        const fs::path apps =
            fs::path(qEnvironmentVariable("XDG_DATA_HOME").toStdString()) / "applications";
        const fs::path term = writeRecorder(*dir / "bin/fake-konsole", *dir / "terminal.out");
        const fs::path editor = writeRecorder(*dir / "bin/fake-editor", *dir / "editor.out");
        writeText(apps / "org.kde.konsole.desktop",
                  "[Desktop Entry]\nType=Application\nName=Konsole\nExec=" + term.native() + "\n");
        writeText(apps / "my-term.desktop",
                  "[Desktop Entry]\nType=Application\nName=My Term\nExec=/bin/true\n");
        writeText(apps / "org.gnome.TextEditor.desktop",
                  "[Desktop Entry]\nType=Application\nName=Text Editor\nExec=" + editor.native() +
                      " %F\n");
    }
    void TearDown() override { delete dir; }
};
const auto* const fakeApps = ::testing::AddGlobalTestEnvironment(new FakeApps);

QStringList names(const std::vector<ExternalApp>& apps, size_t count)
{
    QStringList list;
    for (size_t i = 0; i < count && i < apps.size(); ++i)
        list << apps[i].name + "=" + apps[i].desktopId;
    return list;
}

TerminalLauncher::Inputs inputsWith(const std::set<QString>& installed, const TempDir& dir)
{
    TerminalLauncher::Inputs inputs;
    inputs.configDirs = {dir / "home", dir / "etc"};
    inputs.alternative = dir / "x-terminal-emulator";
    inputs.installed = [installed](const QString& id) { return installed.contains(id); };
    inputs.displayName = [](const QString& id) { return "Named " + id; };
    return inputs;
}

} // namespace

TEST(TerminalLauncherTest, CommandLines)
{
    const fs::path folder = "/tmp/-a b";
    struct Case {
        Kind kind;
        bool newTab;
        std::vector<std::string> arguments;
    };
    const std::vector<Case> cases{
        {Kind::GnomeTerminal, false, {"--working-directory=/tmp/-a b"}},
        {Kind::GnomeTerminal, true, {"--tab", "--working-directory=/tmp/-a b"}},
        {Kind::Konsole, true, {"--new-tab", "--workdir=/tmp/-a b"}},
        {Kind::XfceTerminal, true, {"--tab", "--working-directory=/tmp/-a b"}},
        {Kind::WezTerm, false, {"start", "--cwd=/tmp/-a b"}},
        {Kind::WezTerm, true, {"cli", "spawn", "--cwd=/tmp/-a b"}},
        {Kind::Kitty, true, {"--directory=/tmp/-a b"}},
        {Kind::Ghostty, true, {"--working-directory=/tmp/-a b"}},
        {Kind::Foot, false, {"--working-directory=/tmp/-a b"}},
        {Kind::Alacritty, false, {"--working-directory=/tmp/-a b"}},
        {Kind::Xterm, true, {}},
        {Kind::Other, false, {}},
    };
    for (const Case& c : cases) {
        const auto command = TerminalLauncher::command(c.kind, "/bin/prog", folder, c.newTab);
        EXPECT_EQ(command.arguments, c.arguments) << int(c.kind);
        EXPECT_EQ(command.workingDirectory, folder);
        EXPECT_EQ(command.program, "/bin/prog");
    }
}

TEST(TerminalLauncherTest, CatalogueOrder)
{
    TempDir dir;
    writeText(dir / "home/gnome-xdg-terminals.list", "# mine\n\nabsent.desktop\nkitty.desktop\n");
    writeText(dir / "home/xdg-terminals.list", "foot.desktop\n");
    auto inputs = inputsWith({"kitty.desktop", "foot.desktop", "org.gnome.Terminal"}, dir);
    inputs.desktops = {"gnome"};
    EXPECT_EQ(names(TerminalLauncher::catalogue(inputs), 4),
              (QStringList{"kitty=kitty.desktop", "GNOME Console=org.gnome.Console",
                           "GNOME Terminal=org.gnome.Terminal", "Konsole=org.kde.konsole"}));

    // Without lists: the desktop's terminal, then Debian's choice, then the rest.
    fs::remove_all(dir / "home");
    dir.file("bin/xfce4-terminal.wrapper");
    fs::create_symlink(dir / "bin/xfce4-terminal.wrapper", dir / "x-terminal-emulator");
    inputs = inputsWith({"alacritty", "debian-xterm"}, dir);
    inputs.desktops = {"kde"};
    const auto list = TerminalLauncher::catalogue(inputs);
    EXPECT_EQ(names(list, 3),
              (QStringList{"Konsole=org.kde.konsole", "Xfce Terminal=xfce4-terminal",
                           "GNOME Terminal=org.gnome.Terminal"}));
    EXPECT_EQ(names({list.end() - 2, list.end()}, 2),
              (QStringList{"Alacritty=alacritty", "xterm=debian-xterm"}));
    EXPECT_EQ(list.size(), 9u);

    // An unknown terminal from a system-wide list is named by the desktop.
    writeText(dir / "etc/xdg-terminals.list", "+my-term.desktop:new-window\n");
    inputs = inputsWith({"my-term.desktop"}, dir);
    EXPECT_EQ(
        names(TerminalLauncher::catalogue(inputs), 2),
        (QStringList{"Named my-term.desktop=my-term.desktop", "Xfce Terminal=xfce4-terminal"}));
}

TEST(TerminalLauncherTest, PreferredApplication)
{
    const std::vector<ExternalApp> known{{"Absent", "absent.one"},
                                         {"Konsole", "org.kde.konsole"},
                                         {"Editor", "org.gnome.TextEditor"}};
    using Id = std::optional<QString>;
    const std::vector<std::pair<Id, std::optional<ExternalApp>>> cases{
        {Id("org.kde.konsole.desktop"), known[1]},
        {Id("org.gnome.TextEditor"), known[2]},
        {Id("my-term.desktop"), ExternalApp{"My Term", "my-term.desktop"}},
        {Id("absent.one"), known[1]},
        {std::nullopt, known[1]},
    };
    for (const auto& [id, expected] : cases)
        EXPECT_EQ(ExternalApp::preferred(known, id), expected) << id.value_or("-").toStdString();
    EXPECT_EQ(ExternalApp::preferred({known[0]}, Id("absent.one")), std::nullopt);
    EXPECT_EQ(ExternalApp::preferred({}, std::nullopt), std::nullopt);
}

TEST(TerminalLauncherTest, FolderReachesTheTerminalIntactAndAMissingOneDoesNothing)
{
    const fs::path folder = FakeApps::dir->folder("-a\"b\\c\nd \xff\xfe");
    const fs::path program = *FakeApps::dir / "bin/fake-konsole";
    EXPECT_EQ(TerminalLauncher::unavailableReason(), "");

    // Without its program the desktop entry no longer counts: no terminal is left.
    fs::rename(program, program.native() + ".gone");
    EXPECT_FALSE(TerminalLauncher::open(folder, QString("org.kde.konsole"), false));
    EXPECT_EQ(TerminalLauncher::selected(std::nullopt), std::nullopt);
    EXPECT_FALSE(TerminalLauncher::unavailableReason().isEmpty());
    fs::rename(program.native() + ".gone", program);
    ExternalApp::forgetInstalledState();
    EXPECT_EQ(TerminalLauncher::unavailableReason(), "");

    ASSERT_TRUE(TerminalLauncher::open(folder, QString("org.kde.konsole"), true));
    const auto parts = recorded(*FakeApps::dir / "terminal.out");
    ASSERT_EQ(parts.size(), 2u);
    EXPECT_EQ(parts[0], folder.native());
    EXPECT_EQ(parts[1], "--workdir=" + folder.native());
}

TEST(TerminalLauncherTest, FilesReachTheEditor)
{
    const fs::path first = FakeApps::dir->file("-x \"y\".txt");
    const fs::path second = FakeApps::dir->file("z\\w\n\xff.txt");
    EXPECT_EQ(EditorLauncher::unavailableReason(), "");
    EXPECT_FALSE(EditorLauncher::open({}, std::nullopt));
    ASSERT_TRUE(EditorLauncher::open({first, second}, std::nullopt));
    const auto parts = recorded(*FakeApps::dir / "editor.out");
    ASSERT_EQ(parts.size(), 3u);
    EXPECT_EQ(parts[1], first.native());
    EXPECT_EQ(parts[2], second.native());
}

TEST(TerminalLauncherTest, RunningProgramIsFound)
{
    EXPECT_TRUE(DesktopApps::isRunning("TerminalLauncherTest"));
    EXPECT_FALSE(DesktopApps::isRunning("no-such-terminal"));
}

TEST(TerminalLauncherTest, KittyTabsNeedItsSocket)
{
    TempDir dir;
    const auto socket = [&](const std::string& config) {
        writeText(dir / "kitty.conf", config);
        return TerminalLauncher::kittySocket(dir / "kitty.conf", 42);
    };
    dir.file("k-42");
    dir.file("run/k42");
    qputenv("FAKE_KITTY_RUNTIME", QByteArray::fromStdString((dir / "run").native()));
    const std::string base = (dir / "").native();
    EXPECT_EQ(socket("allow_remote_control yes\nlisten_on unix:" + base + "k\n"),
              QString::fromStdString("unix:" + base + "k-42"));
    EXPECT_EQ(socket("allow_remote_control socket-only\n"
                     "listen_on unix:${FAKE_KITTY_RUNTIME}/k{kitty_pid}\n"),
              QString::fromStdString("unix:" + base + "run/k42"));
    EXPECT_EQ(socket("listen_on unix:" + base + "k\n"), "");
    EXPECT_EQ(socket("allow_remote_control no\nlisten_on unix:" + base + "k\n"), "");
    EXPECT_EQ(socket("allow_remote_control yes\nlisten_on unix:" + base + "missing\n"), "");
    EXPECT_EQ(socket("allow_remote_control yes\nlisten_on unix:@k\n"), "");
    qunsetenv("FAKE_KITTY_RUNTIME");

    const auto command =
        TerminalLauncher::command(Kind::Kitty, "kitty", "/tmp/-a", true, "unix:/run/k-42");
    EXPECT_EQ(command.arguments, (std::vector<std::string>{"@", "--to", "unix:/run/k-42", "launch",
                                                           "--type=tab", "--cwd=/tmp/-a"}));
}
