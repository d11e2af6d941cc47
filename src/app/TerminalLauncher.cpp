#include "app/TerminalLauncher.h"

#include "core/Preferences.h"
#include "platform/DesktopApps.h"
#include "platform/DetachedProcess.h"

#include <QFile>
#include <QRegularExpression>
#include <fstream>

namespace fs = std::filesystem;
using Kind = TerminalLauncher::Kind;

namespace {

struct Known {
    const char* name;
    std::vector<const char*> ids; // the ids different packagers give it
    Kind kind;
    const char* program; // its command, as Debian's alternative names it
    const char* runsAs;  // the process that shows it is running
};

const std::vector<Known>& knownTerminals()
{
    static const std::vector<Known> list{
        {"GNOME Terminal",
         {"org.gnome.Terminal"},
         Kind::GnomeTerminal,
         "gnome-terminal",
         "gnome-terminal-server"},
        {"GNOME Console", {"org.gnome.Console"}, Kind::GnomeConsole, "kgx", "kgx"},
        {"Konsole", {"org.kde.konsole"}, Kind::Konsole, "konsole", "konsole"},
        {"Xfce Terminal",
         {"xfce4-terminal", "org.xfce.terminal"},
         Kind::XfceTerminal,
         "xfce4-terminal",
         "xfce4-terminal"},
        {"kitty", {"kitty"}, Kind::Kitty, "kitty", "kitty"},
        {"WezTerm", {"org.wezfurlong.wezterm"}, Kind::WezTerm, "wezterm", "wezterm-gui"},
        {"Ghostty", {"com.mitchellh.ghostty"}, Kind::Ghostty, "ghostty", "ghostty"},
        {"foot", {"foot", "org.codeberg.dnkl.foot"}, Kind::Foot, "foot", "foot"},
        {"Alacritty",
         {"Alacritty", "alacritty", "org.alacritty.Alacritty"},
         Kind::Alacritty,
         "alacritty",
         "alacritty"},
        {"xterm", {"debian-xterm", "xterm"}, Kind::Xterm, "xterm", "xterm"},
    };
    return list;
}

const Known* byKind(Kind kind)
{
    for (const Known& known : knownTerminals())
        if (known.kind == kind)
            return &known;
    return nullptr;
}

const Known* byId(const QString& desktopId)
{
    const QString bare = ExternalApp::bareId(desktopId);
    for (const Known& known : knownTerminals())
        for (const char* id : known.ids)
            if (bare == QLatin1String(id))
                return &known;
    return nullptr;
}

// Programs such as gnome-terminal.wrapper count as gnome-terminal.
const Known* byProgram(const std::string& name)
{
    for (const Known& known : knownTerminals()) {
        const std::string program = known.program;
        if (name == program || name.starts_with(program + "."))
            return &known;
    }
    return nullptr;
}

// The known entry under the id that is installed, else under its first id.
ExternalApp entryFor(const Known& known, const TerminalLauncher::Inputs& inputs)
{
    for (const char* id : known.ids)
        if (inputs.installed(QLatin1String(id)))
            return {QLatin1String(known.name), QLatin1String(id)};
    return {QLatin1String(known.name), QLatin1String(known.ids.front())};
}

// Desktop ids from the xdg-terminals.list files, the current desktop's own lists first.
QStringList listedIds(const TerminalLauncher::Inputs& inputs)
{
    QStringList ids;
    for (const fs::path& dir : inputs.configDirs) {
        std::vector<fs::path> files;
        for (const QString& desktop : inputs.desktops)
            files.push_back(dir / (desktop.toStdString() + "-xdg-terminals.list"));
        files.push_back(dir / "xdg-terminals.list");
        for (const fs::path& file : files) {
            std::ifstream in(file);
            for (std::string line; std::getline(in, line);) {
                QString id = QString::fromUtf8(line).trimmed();
                if (id.isEmpty() || id.startsWith(u'#') || id.startsWith(u'-'))
                    continue;
                if (id.startsWith(u'+'))
                    id.remove(0, 1);
                ids.append(id.section(u':', 0, 0)); // drop an ":action" suffix
            }
        }
    }
    return ids;
}

QStringList desktopOwnIds(const QStringList& desktops)
{
    QStringList ids;
    for (const QString& desktop : desktops) {
        if (desktop == QLatin1String("gnome"))
            ids << "org.gnome.Console"
                << "org.gnome.Terminal";
        else if (desktop == QLatin1String("kde"))
            ids << "org.kde.konsole";
        else if (desktop == QLatin1String("xfce"))
            ids << "xfce4-terminal";
    }
    return ids;
}

void addUnique(std::vector<ExternalApp>& list, const ExternalApp& app)
{
    for (const ExternalApp& present : list)
        if (present.name == app.name ||
            ExternalApp::bareId(present.desktopId) == ExternalApp::bareId(app.desktopId))
            return;
    list.push_back(app);
}

fs::path kittyConfig()
{
    QString dir = qEnvironmentVariable("KITTY_CONFIG_DIRECTORY");
    if (dir.isEmpty()) {
        QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
        if (config.isEmpty())
            config = qEnvironmentVariable("HOME") + QLatin1String("/.config");
        dir = config + QLatin1String("/kitty");
    }
    return QFile::encodeName(dir + QLatin1String("/kitty.conf")).toStdString();
}

// kitty expands environment variables in listen_on.
QString expanded(QString text)
{
    static const QRegularExpression variable(QStringLiteral(R"(\$\{(\w+)\}|\$(\w+))"));
    QRegularExpressionMatch match;
    qsizetype from = 0;
    while ((match = variable.match(text, from)).hasMatch()) {
        const QString name = match.captured(1).isEmpty() ? match.captured(2) : match.captured(1);
        const QString value = qEnvironmentVariable(name.toUtf8().constData());
        text.replace(match.capturedStart(), match.capturedLength(), value);
        from = match.capturedStart() + value.size();
    }
    return text;
}

} // namespace

QString TerminalLauncher::kittySocket(const fs::path& configFile, int pid)
{
    std::ifstream in(configFile);
    bool allowed = false;
    QString listenOn;
    for (std::string line; std::getline(in, line);) {
        const QString text = QString::fromUtf8(line).trimmed();
        const QString key = text.section(u' ', 0, 0, QString::SectionSkipEmpty);
        const QString value = text.section(u' ', 1, -1, QString::SectionSkipEmpty).trimmed();
        if (key == QLatin1String("allow_remote_control"))
            allowed = QStringList{"yes", "y", "true", "socket", "socket-only"}.contains(value);
        else if (key == QLatin1String("listen_on"))
            listenOn = value;
    }
    // Abstract sockets ("unix:@name") cannot be checked, so only paths count.
    if (!allowed || !listenOn.startsWith(QLatin1String("unix:")) ||
        listenOn.startsWith(QLatin1String("unix:@")))
        return {};
    QString path = expanded(listenOn.mid(5));
    const QString pidText = QString::number(pid);
    path = path.contains(QLatin1String("{kitty_pid}"))
               ? path.replace(QLatin1String("{kitty_pid}"), pidText)
               : path + u'-' + pidText;
    std::error_code failure;
    if (!fs::exists(QFile::encodeName(path).toStdString(), failure))
        return {};
    return QLatin1String("unix:") + path;
}

TerminalLauncher::Inputs TerminalLauncher::Inputs::fromEnvironment()
{
    Inputs inputs;
    QString home = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (home.isEmpty())
        home = qEnvironmentVariable("HOME") + QLatin1String("/.config");
    inputs.configDirs.push_back(QFile::encodeName(home).toStdString());
    QString dirs = qEnvironmentVariable("XDG_CONFIG_DIRS");
    if (dirs.isEmpty())
        dirs = QStringLiteral("/etc/xdg");
    for (const QString& dir : dirs.split(u':', Qt::SkipEmptyParts))
        inputs.configDirs.push_back(QFile::encodeName(dir).toStdString());
    for (const QString& desktop :
         qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(u':', Qt::SkipEmptyParts))
        inputs.desktops.append(desktop.toLower());
    inputs.alternative = "/etc/alternatives/x-terminal-emulator";
    inputs.installed = [](const QString& id) { return DesktopApps::isInstalled(id); };
    inputs.displayName = [](const QString& id) {
        return DesktopApps::displayName(id).value_or(ExternalApp::bareId(id));
    };
    return inputs;
}

std::vector<ExternalApp> TerminalLauncher::catalogue(const Inputs& inputs)
{
    std::vector<ExternalApp> list;
    for (const QString& id : listedIds(inputs)) {
        if (!inputs.installed(id))
            continue;
        const Known* known = byId(id);
        list.push_back({known ? QLatin1String(known->name) : inputs.displayName(id), id});
        break;
    }
    for (const QString& id : desktopOwnIds(inputs.desktops))
        if (const Known* known = byId(id))
            addUnique(list, entryFor(*known, inputs));
    std::error_code failure;
    const fs::path target = fs::canonical(inputs.alternative, failure);
    if (!failure)
        if (const Known* known = byProgram(target.filename().native()))
            addUnique(list, entryFor(*known, inputs));
    for (const Known& known : knownTerminals())
        if (known.kind != Kind::GnomeConsole)
            addUnique(list, entryFor(known, inputs));
    return list;
}

std::vector<ExternalApp> TerminalLauncher::catalogue()
{
    return catalogue(Inputs::fromEnvironment());
}

namespace {

ExternalApp::KeptChoice& keptChoice()
{
    static ExternalApp::KeptChoice kept([] { return TerminalLauncher::catalogue(); });
    return kept;
}

} // namespace

std::optional<ExternalApp> TerminalLauncher::selected(const std::optional<QString>& identifier)
{
    return keptChoice().get(identifier);
}

QString TerminalLauncher::unavailableReason()
{
    if (selected(Preferences::shared().terminalIdentifier()))
        return {};
    return QStringLiteral(
        "ターミナルが見つかりません。設定の「連携」で使うアプリを選んでください。");
}

Kind TerminalLauncher::kindOf(const QString& desktopId, const fs::path& program)
{
    if (const Known* known = byId(desktopId))
        return known->kind;
    if (const Known* known = byProgram(program.filename().native()))
        return known->kind;
    return Kind::Other;
}

bool TerminalLauncher::opensTabs(Kind kind)
{
    return kind == Kind::GnomeTerminal || kind == Kind::Konsole || kind == Kind::XfceTerminal ||
           kind == Kind::WezTerm || kind == Kind::Kitty;
}

TerminalLauncher::Command TerminalLauncher::command(Kind kind, const fs::path& program,
                                                    const fs::path& folder, bool newTab,
                                                    const QString& kittySocket)
{
    // Options take the folder after "=", so a folder starting with "-" is never
    // read as an option.
    const std::string& path = folder.native();
    const bool tab = newTab && opensTabs(kind);
    std::vector<std::string> arguments;
    switch (kind) {
    case Kind::GnomeTerminal:
    case Kind::XfceTerminal:
        if (tab)
            arguments.push_back("--tab");
        arguments.push_back("--working-directory=" + path);
        break;
    case Kind::Konsole:
        if (tab)
            arguments.push_back("--new-tab");
        arguments.push_back("--workdir=" + path);
        break;
    case Kind::WezTerm:
        arguments =
            tab ? std::vector<std::string>{"cli", "spawn"} : std::vector<std::string>{"start"};
        arguments.push_back("--cwd=" + path);
        break;
    case Kind::Kitty:
        if (tab && !kittySocket.isEmpty())
            arguments = {"@",      "--to",       QFile::encodeName(kittySocket).toStdString(),
                         "launch", "--type=tab", "--cwd=" + path};
        else
            arguments.push_back("--directory=" + path);
        break;
    case Kind::GnomeConsole:
    case Kind::Ghostty:
    case Kind::Foot:
    case Kind::Alacritty:
        arguments.push_back("--working-directory=" + path);
        break;
    case Kind::Xterm:
    case Kind::Other:
        break; // no option: the working directory is the folder
    }
    return {program, arguments, folder};
}

bool TerminalLauncher::open(const fs::path& folder, const std::optional<QString>& identifier,
                            bool newTab)
{
    const std::optional<ExternalApp> terminal = keptChoice().fresh(identifier);
    if (!terminal)
        return false;
    const std::optional<fs::path> program = DesktopApps::executable(terminal->desktopId);
    if (!program)
        return false;
    const Kind kind = kindOf(terminal->desktopId, *program);
    const Known* known = byKind(kind);
    const std::optional<int> running = newTab && opensTabs(kind) && known
                                           ? DesktopApps::runningProcess(known->runsAs)
                                           : std::nullopt;
    const QString socket =
        kind == Kind::Kitty && running ? kittySocket(kittyConfig(), *running) : QString();
    const bool tab = running && (kind != Kind::Kitty || !socket.isEmpty());
    const auto start = [](const Command& run) {
        std::vector<std::string> argv{run.program.native()};
        argv.insert(argv.end(), run.arguments.begin(), run.arguments.end());
        return DetachedProcess::start(argv, {run.workingDirectory}).has_value();
    };
    if (tab && start(command(kind, *program, folder, true, socket)))
        return true;
    return start(command(kind, *program, folder, false));
}
