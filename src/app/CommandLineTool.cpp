#include "app/CommandLineTool.h"

#include "core/PathText.h"
#include "core/ShellQuote.h"
#include "platform/AtomicFile.h"
#include "platform/FileDescriptor.h"
#include "platform/ProcessInfo.h"

#include <QPointer>
#include <QtConcurrent>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

// Every target becomes a physical path; "$@" then holds them, and Quillo starts once
// with all of them (a running Quillo takes them over through the session bus).
// The "./" keeps names such as "-n" or "-" from reading as options, and each $(...)
// ends with a dot because $(...) drops the trailing newlines a name may end with.
constexpr std::string_view kBody = R"([ $# -eq 0 ] && set -- .
for target in "$@"; do
  shift
  case $target in /*) ;; *) target=./$target ;; esac
  if [ -d "$target" ]; then
    folder=$target name=
  else
    folder=$(dirname "$target" && echo .) && folder=${folder%??}
    name=$(basename "$target" && echo .) && name=/${name%??}
  fi
  found=$(cd -P "$folder" && pwd -P && echo .) || continue
  found=${found%??}
  [ -n "$name" ] && found=${found%/}
  set -- "$@" "$found$name"
done
[ $# -gt 0 ] || exit 1
if [ ! -x "$app" ]; then
  printf 'quillo: %s が見つかりません。\n' "$app" >&2
  exit 1
fi
nohup "$app" -- "$@" </dev/null >/dev/null 2>&1 &
)";

enum class Existing { none, ours, foreign };

struct Survey {
    fs::path folder;
    Existing existing = Existing::none;
    bool onPath = false;
};

fs::path fallbackFolder(const CommandLineTool::Inputs& inputs)
{
    return inputs.home / ".local" / "bin";
}

fs::path directoryFor(const CommandLineTool::Inputs& inputs)
{
    std::error_code ec;
    if (::access(inputs.systemFolder.c_str(), W_OK) == 0 &&
        fs::is_directory(inputs.systemFolder, ec))
        return inputs.systemFolder;
    return fallbackFolder(inputs);
}

// What stands at `file`: nothing, our launcher (its second line is our comment), or
// anything else, links and folders included. Never waits on a FIFO.
Existing existingAt(const fs::path& file)
{
    struct stat st {};
    if (::lstat(file.c_str(), &st) != 0)
        return errno == ENOENT || errno == ENOTDIR ? Existing::none : Existing::foreign;
    FileDescriptor fd(::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (fd.get() < 0 || ::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode))
        return Existing::foreign;
    char head[4096];
    const ssize_t size = ::read(fd.get(), head, sizeof head);
    const std::string_view text(head, size > 0 ? size_t(size) : 0);
    const size_t firstBreak = text.find('\n');
    if (firstBreak == std::string_view::npos)
        return Existing::foreign;
    const std::string_view second = text.substr(firstBreak + 1);
    return second.substr(0, second.find('\n')) == CommandLineTool::kComment ? Existing::ours
                                                                            : Existing::foreign;
}

// bash also reads a literal "~/" in PATH, so such an entry counts.
bool isOnPath(const fs::path& folder, const CommandLineTool::Inputs& inputs)
{
    const fs::path wanted = PathText::standardized(folder);
    std::string_view rest = inputs.path;
    while (true) {
        const size_t colon = rest.find(':');
        std::string entry(rest.substr(0, colon));
        if (entry.starts_with("~/"))
            entry = inputs.home.native() + entry.substr(1);
        std::error_code ec;
        if (!entry.empty() &&
            (PathText::standardized(entry) == wanted || fs::equivalent(entry, folder, ec)))
            return true;
        if (colon == std::string_view::npos)
            return false;
        rest.remove_prefix(colon + 1);
    }
}

Survey survey(const CommandLineTool::Inputs& inputs)
{
    const fs::path folder = directoryFor(inputs);
    return {folder, existingAt(folder / "quillo"), isOnPath(folder, inputs)};
}

Result<void> writeLauncher(const fs::path& file, const std::string& text)
{
    if (auto written = AtomicFile::write(file, text); !written)
        return written;
    if (::chmod(file.c_str(), 0755) != 0)
        return std::unexpected(Error::fromErrno(errno, file));
    return {};
}

// The start-up file of the user's shell and the line that puts ~/.local/bin on PATH.
std::pair<QString, QString> pathLine(const std::string& shell)
{
    const std::string name = fs::path(shell).filename().native();
    if (name == "fish")
        return {QStringLiteral("~/.config/fish/config.fish"),
                QStringLiteral("fish_add_path ~/.local/bin")};
    const QString exportLine = QStringLiteral("export PATH=\"$HOME/.local/bin:$PATH\"");
    if (name == "zsh")
        return {QStringLiteral("~/.zshrc"), exportLine};
    if (name == "bash")
        return {QStringLiteral("~/.bashrc"), exportLine};
    return {QStringLiteral("~/.profile"), exportLine};
}

Alert replaceAlert(const fs::path& file, const fs::path& home)
{
    Alert alert;
    alert.style = Alert::Style::warning;
    alert.message = QStringLiteral("「%1」はすでにあります。置き換えますか？")
                        .arg(PathText::abbreviated(file, home));
    alert.informativeText = QStringLiteral(
        "Quillo が入れたものではありません。置き換えると、今あるファイルは失われます。");
    alert.buttons = {QStringLiteral("置き換える"), QStringLiteral("キャンセル")};
    alert.defaultButton = 1;
    alert.escapeButton = 1;
    alert.destructiveButton = 0;
    return alert;
}

Alert resultAlert(const QString& message, const QString& text, Alert::Style style)
{
    Alert alert;
    alert.style = style;
    alert.message = message;
    alert.informativeText = text;
    alert.buttons = {QStringLiteral("OK")};
    return alert;
}

} // namespace

CommandLineTool::Inputs CommandLineTool::Inputs::fromEnvironment()
{
    Inputs inputs;
    inputs.systemFolder = "/usr/local/bin";
    inputs.home = PathText::homeFolder();
    inputs.binary = ProcessInfo::executable();
    const char* path = std::getenv("PATH");
    inputs.path = path ? path : "";
    const char* shell = std::getenv("SHELL");
    inputs.shell = shell ? shell : "";
    return inputs;
}

CommandLineTool::CommandLineTool(Inputs inputs, QObject* parent)
    : QObject(parent)
    , m_inputs(std::move(inputs))
{
}

fs::path CommandLineTool::installationDirectory() const
{
    return directoryFor(m_inputs);
}

std::string CommandLineTool::script(const fs::path& binary)
{
    return "#!/bin/sh\n" + std::string(kComment) + "\napp=" + ShellQuote::quote(binary.native()) +
           "\n" + std::string(kBody);
}

QString CommandLineTool::successText(const fs::path& folder, bool folderOnPath) const
{
    QString text = PathText::abbreviated(folder, m_inputs.home) +
                   QStringLiteral(" に入れました。ターミナルで `quillo .` "
                                  "と入力すると、今いるフォルダを Quillo で開けます。");
    // The hint names ~/.local/bin, so it belongs to that folder only.
    if (folderOnPath || PathText::standardized(folder) != fallbackFolder(m_inputs))
        return text;
    const auto [file, line] = pathLine(m_inputs.shell);
    return text + QStringLiteral("\n\n~/.local/bin が PATH に入っていない場合は、%1 "
                                 "に次の行を追加してください。\n%2")
                      .arg(file, line);
}

void CommandLineTool::install(std::shared_ptr<Prompter> prompter, std::function<void(bool)> done)
{
    QtConcurrent::run([inputs = m_inputs] {
        return survey(inputs);
    }).then(this, [this, prompter, done](const Survey& found) {
        if (found.existing != Existing::foreign) {
            write(found.folder, found.onPath, prompter, done);
            return;
        }
        prompter->present(replaceAlert(found.folder / "quillo", m_inputs.home),
                          [tool = QPointer(this), found, prompter, done](Alert::Response answer) {
                              if (tool && answer.button == 0)
                                  tool->write(found.folder, found.onPath, prompter, done);
                              else if (done)
                                  done(false);
                          });
    });
}

void CommandLineTool::write(const fs::path& folder, bool onPath,
                            const std::shared_ptr<Prompter>& prompter,
                            const std::function<void(bool)>& done)
{
    QtConcurrent::run([file = folder / "quillo", text = script(m_inputs.binary)] {
        return writeLauncher(file, text);
    }).then(this, [this, folder, onPath, prompter, done](const Result<void>& written) {
        const Alert alert =
            written
                ? resultAlert(QStringLiteral("コマンドラインツールをインストールしました"),
                              successText(folder, onPath), Alert::Style::informational)
                : resultAlert(QStringLiteral("コマンドラインツールをインストールできませんでした"),
                              written.error().description(), Alert::Style::critical);
        prompter->present(alert, [done, ok = written.has_value()](Alert::Response) {
            if (done)
                done(ok);
        });
    });
}
