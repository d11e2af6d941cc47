#include "update/AppMover.h"

#include "core/PathText.h"
#include "core/Preferences.h"
#include "core/WorkPools.h"
#include "platform/AtomicFile.h"
#include "platform/DirectoryScanner.h"
#include "platform/FileCopier.h"
#include "platform/Trash.h"
#include "update/RelaunchScript.h"

#include <QPointer>
#include <QUuid>
#include <QtConcurrent>
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/statvfs.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const char* const kEntryName = "app.quillo.Quillo.desktop";

// For a bundle that carries no desktop entry of its own.
const char* const kPlainEntry = "[Desktop Entry]\nType=Application\nName=Quillo\n"
                                "Exec=quillo %U\nIcon=system-file-manager\nTerminal=false\n"
                                "Categories=System;FileTools;FileManager;\n";

class Unobserved : public CopyObserver {
public:
    bool fileStarted(const fs::path&) override { return true; }
    bool dataCopied(int64_t) override { return true; }
    bool fileFinished() override { return true; }
};

struct Outcome {
    Result<fs::path> placed;
    bool relaunched = false;
};

// Links resolved as far as the path exists, so a link to a folder counts as the folder.
fs::path physical(const fs::path& path)
{
    std::error_code ec;
    const fs::path resolved = fs::weakly_canonical(path, ec);
    return PathText::standardized(ec ? path : resolved);
}

bool isWithin(const fs::path& path, const fs::path& folder)
{
    const fs::path inner = physical(path);
    const fs::path outer = physical(folder);
    return std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first ==
           outer.end();
}

// A desktop entry's string value: backslash, newline, tab and return escaped.
std::string escapedValue(std::string_view text)
{
    std::string out;
    for (const char c : text) {
        switch (c) {
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\t':
            out += "\\t";
            break;
        case '\r':
            out += "\\r";
            break;
        default:
            out += c;
        }
    }
    return out;
}

// The program of an Exec key: always quoted, with the four characters the quoting
// reserves escaped and "%" doubled, then escaped as a string value.
std::string execProgram(const fs::path& binary)
{
    std::string quoted = "\"";
    for (const char c : binary.native()) {
        if (c == '"' || c == '`' || c == '$' || c == '\\')
            quoted += '\\';
        if (c == '%')
            quoted += '%';
        quoted += c;
    }
    return escapedValue(quoted + "\"");
}

// An Exec value with its program replaced and its arguments (field codes) kept.
std::string withProgram(std::string_view value, const std::string& program)
{
    size_t end = value.find(' ');
    if (value.starts_with('"')) {
        end = 1;
        while (end < value.size() && !(value[end] == '"' && value[end - 1] != '\\'))
            ++end;
        end = end < value.size() ? end + 1 : std::string_view::npos;
    }
    return program + (end == std::string_view::npos ? "" : std::string(value.substr(end)));
}

std::string readAll(const fs::path& file)
{
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string bundledEntry(const fs::path& bundle)
{
    const fs::path folder = bundle / "share" / "applications";
    std::error_code ec;
    if (fs::is_regular_file(folder / kEntryName, ec))
        return readAll(folder / kEntryName);
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        if (it->path().extension() == ".desktop")
            return readAll(it->path());
    }
    return {};
}

Result<void> copyInto(const fs::path& bundle, const fs::path& target)
{
    // Under a hidden name until complete, so a half copy never looks like Quillo.
    const fs::path staging =
        target.parent_path() / ("." + target.filename().native() + "-" +
                                QUuid::createUuid().toString(QUuid::Id128).toStdString());
    Unobserved observer;
    FileCopier::Options options;
    options.syncData = true;
    auto placed = FileCopier::copyTree(bundle, staging, observer, options);
    if (placed)
        placed = FileCopier::renameNoReplace(staging, target);
    if (!placed) {
        (void)FileCopier::removeCopy(staging);
        return placed;
    }
    return FileCopier::syncFolderOf(target);
}

Result<void> moveInto(const fs::path& bundle, const fs::path& target)
{
    auto renamed = FileCopier::renameNoReplace(bundle, target);
    if (renamed)
        return FileCopier::syncFolderOf(target);
    if (renamed.error().code != EXDEV)
        return renamed;
    if (auto copied = copyInto(bundle, target); !copied)
        return copied;
    // The copy is complete; what stays of the old place is only clutter.
    if (auto removed = FileCopier::removeTree(bundle); !removed)
        qWarning("Quillo: the old bundle could not be removed: %s",
                 qPrintable(removed.error().description()));
    return {};
}

Result<void> relaunch(const fs::path& binary, const AppMover::Setup& setup)
{
    // The answer was for this start only; the new one must not act on it again.
    const std::string script = RelaunchScript::waitForExit(setup.processId) +
                               RelaunchScript::launch(binary, {"QUILLO_MOVE_ANSWER"}) +
                               "rm -f \"$0\"\n";
    auto started = RelaunchScript::start(script, setup.scriptFolder);
    if (!started)
        return std::unexpected(started.error());
    return {};
}

Outcome moveAndRelaunch(const AppMover::Setup& setup, bool keepOriginal)
{
    Outcome outcome{AppMover::install(setup.bundle, setup.destination, keepOriginal)};
    if (!outcome.placed)
        return outcome;
    const fs::path binary = *outcome.placed / "bin" / "quillo";
    const fs::path icon =
        *outcome.placed / "share/icons/hicolor/scalable/apps/app.quillo.Quillo.svg";
    const std::string entry = AppMover::desktopEntry(
        bundledEntry(*outcome.placed), binary, DirectoryScanner::exists(icon) ? icon : fs::path());
    if (auto written = AtomicFile::write(setup.entryFolder / kEntryName, entry); !written)
        qWarning("Quillo: the desktop entry could not be written: %s",
                 qPrintable(written.error().description()));
    auto started = relaunch(binary, setup);
    if (!started)
        qWarning("Quillo: could not start again from the new place: %s",
                 qPrintable(started.error().description()));
    outcome.relaunched = started.has_value();
    return outcome;
}

} // namespace

AppMover::Setup AppMover::Setup::fromEnvironment(const fs::path& bundle)
{
    Setup setup;
    setup.bundle = bundle;
    setup.home = PathText::homeFolder();
    std::error_code ec;
    const char* destination = std::getenv("QUILLO_MOVE_DEST");
    setup.destination =
        destination && *destination ? fs::absolute(destination, ec) : setup.home / "Applications";
    if (const char* answer = std::getenv("QUILLO_MOVE_ANSWER"))
        setup.answer = answer;
    setup.transientRoots = {"/media", "/run/media", "/tmp", "/var/tmp"};
    setup.scriptFolder = fs::temp_directory_path(ec);
    if (ec)
        setup.scriptFolder = "/tmp";
    else
        setup.transientRoots.push_back(setup.scriptFolder); // $TMPDIR
    setup.entryFolder = PathText::dataHome() / "applications";
    setup.processId = int(::getpid());
    return setup;
}

AppMover::AppMover(Setup setup, QObject* parent)
    : QObject(parent)
    , m_setup(std::move(setup))
{
    if (!m_setup.bundle.empty())
        m_setup.bundle = PathText::standardized(m_setup.bundle);
    m_setup.destination = PathText::standardized(m_setup.destination);
}

void AppMover::offerIfNeeded(std::shared_ptr<Prompter> prompter, std::function<void(bool)> done)
{
    if (!offerApplies()) {
        done(false);
        return;
    }
    const bool transient = isTransient(m_setup.bundle, m_setup.transientRoots);
    if (m_setup.answer) {
        if (*m_setup.answer == "move")
            move(transient, prompter, done);
        else
            done(false);
        return;
    }
    prompter->present(makeAlert(transient, PathText::parent(m_setup.bundle)),
                      [mover = QPointer(this), transient, prompter, done](Alert::Response answer) {
                          if (answer.suppressed)
                              Preferences::shared().setSuppressMoveToApplications(true);
                          if (mover && answer.button == 0)
                              mover->move(transient, prompter, done);
                          else
                              done(false);
                      });
}

bool AppMover::offerApplies() const
{
    if (m_setup.bundle.empty() || Preferences::shared().suppressMoveToApplications())
        return false;
    // Installs from `make install` or a package have no VERSION beside bin/ and never move.
    std::error_code ec;
    if (!fs::is_regular_file(m_setup.bundle / "VERSION", ec))
        return false;
    return !isInApplicationsFolder(m_setup.bundle, m_setup.destination, m_setup.home);
}

void AppMover::move(bool transient, const std::shared_ptr<Prompter>& prompter,
                    const std::function<void(bool)>& done)
{
    QtConcurrent::run(&WorkPools::transfers(), [setup = m_setup, transient] {
        return moveAndRelaunch(setup, transient);
    }).then(this, [prompter, done](const Outcome& outcome) {
        if (outcome.placed) {
            done(outcome.relaunched);
            return;
        }
        prompter->present(failureAlert(outcome.placed.error()),
                          [done](Alert::Response) { done(false); });
    });
}

bool AppMover::isInApplicationsFolder(const fs::path& bundle, const fs::path& destination,
                                      const fs::path& home)
{
    return isWithin(bundle, destination) || isWithin(bundle, home / "Applications");
}

bool AppMover::isTransient(const fs::path& bundle, const std::vector<fs::path>& roots)
{
    struct statvfs volume {};
    if (::statvfs(bundle.c_str(), &volume) == 0 && (volume.f_flag & ST_RDONLY) != 0)
        return true;
    return std::ranges::any_of(roots, [&](const fs::path& root) { return isWithin(bundle, root); });
}

Alert AppMover::makeAlert(bool transient, const fs::path& location)
{
    Alert alert;
    alert.style = Alert::Style::informational;
    alert.message = QStringLiteral("Quillo を「アプリケーション」フォルダに移動しますか？");
    alert.informativeText =
        (transient ? QStringLiteral("今は DMG（ディスクイメージ）の中から開いています。"
                                    "このままだと、DMG を取り出すと使えなくなります。")
                   : QStringLiteral("今は「%1」から開いています。")
                         .arg(PathText::displayName(location))) +
        QStringLiteral("\n移動すると Quillo を開き直します。設定・タグ・履歴はそのまま使えます。");
    alert.buttons = {QStringLiteral("「アプリケーション」へ移動"), QStringLiteral("移動しない")};
    alert.escapeButton = 1;
    alert.suppressionTitle = QStringLiteral("今後確認しない");
    return alert;
}

Alert AppMover::failureAlert(const Error& error)
{
    Alert alert;
    alert.style = Alert::Style::warning;
    alert.message = QStringLiteral("「アプリケーション」フォルダに移動できませんでした");
    alert.informativeText =
        error.description() +
        QStringLiteral(
            "\nファイルマネージャで Quillo のフォルダを ~/Applications へ移してください。");
    alert.buttons = {QStringLiteral("OK")};
    return alert;
}

Result<fs::path> AppMover::install(const fs::path& bundle, const fs::path& folder,
                                   bool keepOriginal)
{
    // Into itself, a move fails and a copy would never end.
    if (isWithin(folder, bundle))
        return std::unexpected(Error::fromErrno(EINVAL, folder));
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (ec)
        return std::unexpected(Error::fromErrno(ec.value(), folder));
    const fs::path target = folder / bundle.filename();
    if (physical(target) == physical(bundle))
        return target;
    std::optional<TrashedItem> trashed;
    if (FileCopier::identity(target)) {
        auto moved = Trash::moveToTrash(target);
        if (!moved)
            return std::unexpected(moved.error());
        trashed = *moved;
    }
    auto placed = keepOriginal ? copyInto(bundle, target) : moveInto(bundle, target);
    if (!placed) {
        if (trashed)
            (void)Trash::restore(*trashed);
        return std::unexpected(placed.error());
    }
    return target;
}

std::string AppMover::desktopEntry(const std::string& bundled, const fs::path& binary,
                                   const fs::path& icon)
{
    std::istringstream lines(bundled.empty() ? std::string(kPlainEntry) : bundled);
    std::string out;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("Exec="))
            line = "Exec=" + withProgram(std::string_view(line).substr(5), execProgram(binary));
        else if (line.starts_with("TryExec="))
            line = "TryExec=" + escapedValue(binary.native());
        else if (line.starts_with("Icon=") && !icon.empty())
            line = "Icon=" + escapedValue(icon.native());
        out += line + "\n";
    }
    return out;
}
