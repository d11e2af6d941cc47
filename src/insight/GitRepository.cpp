#include "insight/GitRepository.h"

#include "core/PathText.h"
#include "platform/DirectoryScanner.h"
#include "platform/ProcessGroup.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QProcess>
#include <QSet>
#include <QStandardPaths>
#include <QtConcurrent/QtConcurrentRun>

namespace fs = std::filesystem;

namespace GitRepository {

namespace {

// The root as an argument for git. QProcess takes text, so a path whose bytes do not
// survive the round trip would name another folder: no run at all then.
std::optional<QString> argumentText(const fs::path& root)
{
    const QString text = QFile::decodeName(QByteArray::fromStdString(root.native()));
    if (QFile::encodeName(text).toStdString() != root.native())
        return std::nullopt;
    return text;
}

// Program options that must survive the trip through QString unchanged; anything
// else could leave a driver switched on under a name we did not mean.
bool isExactText(const QByteArray& bytes)
{
    return QString::fromUtf8(bytes).toUtf8() == bytes;
}

// Every filter driver the configuration names, switched off for this run: a clean
// or process filter runs whenever status looks at a file's contents. `config` is the
// output of `git config --null --get-regexp`: "key\nvalue\0" per entry, the key
// "filter.<name>.<variable>", where the name may contain dots itself.
std::optional<QStringList> filterOverrides(const QByteArray& config)
{
    QStringList options;
    QSet<QByteArray> names;
    for (const QByteArray& entry : config.split('\0')) {
        const QByteArray key = entry.left(entry.indexOf('\n'));
        const qsizetype dot = key.lastIndexOf('.');
        if (!key.startsWith("filter.") || dot < 7)
            continue;
        const QByteArray name = key.mid(7, dot - 7);
        if (names.contains(name))
            continue;
        if (name.contains('=') || !isExactText(name))
            return std::nullopt; // -c could not name it
        names.insert(name);
        for (const char* setting : {".clean=", ".smudge=", ".process=", ".required=false"})
            options << QStringLiteral("-c") << QString::fromUtf8("filter." + name + setting);
    }
    return options;
}

QStringList statusArguments(const QString& root, const QStringList& overrides)
{
    // core.fsmonitor may name a program from the repository's own config; a folder
    // someone hands us must not be able to run it. Populated submodules would run a
    // status of their own under their own filters: only their commits are compared.
    return QStringList{QStringLiteral("-C"), root, QStringLiteral("-c"),
                       QStringLiteral("core.fsmonitor=false")} +
           overrides +
           QStringList{QStringLiteral("status"),    QStringLiteral("--porcelain=v1"),
                       QStringLiteral("-z"),        QStringLiteral("--branch"),
                       QStringLiteral("--ignored"), QStringLiteral("--ignore-submodules=dirty")};
}

// Without optional locks the query never takes the index lock, so it neither
// disturbs a concurrent commit nor waits for other panes asking at the same time.
QProcessEnvironment gitEnvironment()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("GIT_OPTIONAL_LOCKS"), QStringLiteral("0"));
    return environment;
}

struct Finished {
    int exitCode = 0;
    QByteArray output;
};

// One git run, killed with everything it started once the deadline passes; nothing
// when it could not start, crashed or ran out of time.
std::optional<Finished> runGit(const QString& git, const QStringList& arguments,
                               const QDeadlineTimer& deadline)
{
    QProcess process;
    process.setProgram(git);
    process.setArguments(arguments);
    process.setProcessEnvironment(gitEnvironment());
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.setChildProcessModifier(ProcessGroup::leadNewGroup);
    process.start(QIODevice::ReadOnly);
    if (!process.waitForStarted(int(deadline.remainingTime())))
        return std::nullopt;
    Finished finished;
    for (;;) {
        if (process.waitForReadyRead(int(deadline.remainingTime()))) {
            finished.output += process.readAllStandardOutput();
            continue;
        }
        if (process.state() == QProcess::NotRunning ||
            process.waitForFinished(int(deadline.remainingTime())))
            break;
        ProcessGroup::killGroup(process.processId());
        process.waitForFinished(-1);
        return std::nullopt;
    }
    finished.output += process.readAllStandardOutput();
    if (process.exitStatus() != QProcess::NormalExit)
        return std::nullopt;
    finished.exitCode = process.exitCode();
    return finished;
}

} // namespace

std::optional<fs::path> root(const fs::path& path)
{
    fs::path current = PathText::standardized(path);
    if (!current.is_absolute())
        return std::nullopt;
    if (!DirectoryScanner::isDirectory(current))
        current = PathText::parent(current);
    for (;;) {
        if (DirectoryScanner::exists(current / ".git"))
            return current;
        if (current == "/")
            return std::nullopt;
        current = PathText::parent(current);
    }
}

std::optional<GitSnapshot> snapshot(const fs::path& root, std::chrono::milliseconds limit)
{
    const QString git = QStandardPaths::findExecutable(QStringLiteral("git"));
    const auto rootText = argumentText(root);
    if (git.isEmpty() || !rootText)
        return std::nullopt;
    const QDeadlineTimer deadline(limit);
    // Reading the configuration runs nothing; it exits 1 when no filter is named.
    const auto config =
        runGit(git,
               {QStringLiteral("-C"), *rootText, QStringLiteral("config"), QStringLiteral("--null"),
                QStringLiteral("--get-regexp"), QStringLiteral("^filter\\.")},
               deadline);
    if (!config || config->exitCode > 1)
        return std::nullopt;
    const auto overrides = filterOverrides(config->output);
    if (!overrides)
        return std::nullopt;
    const auto status = runGit(git, statusArguments(*rootText, *overrides), deadline);
    if (!status || status->exitCode != 0)
        return std::nullopt;
    return GitSnapshot::parse(status->output, root);
}

QFuture<std::optional<GitSnapshot>> snapshotInBackground(const fs::path& folder)
{
    return QtConcurrent::run([folder]() -> std::optional<GitSnapshot> {
        const auto found = root(folder);
        if (!found)
            return std::nullopt;
        return snapshot(*found);
    });
}

} // namespace GitRepository
