#include "insight/GitRepository.h"

#include "core/PathText.h"
#include "platform/DirectoryScanner.h"

#include <QFile>
#include <QProcess>
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

QStringList statusArguments(const QString& root)
{
    // core.fsmonitor may name a program from the repository's own config; a folder
    // someone hands us must not be able to run it.
    return {QStringLiteral("-C"),       root,
            QStringLiteral("-c"),       QStringLiteral("core.fsmonitor=false"),
            QStringLiteral("status"),   QStringLiteral("--porcelain=v1"),
            QStringLiteral("-z"),       QStringLiteral("--branch"),
            QStringLiteral("--ignored")};
}

// Without optional locks the query never takes the index lock, so it neither
// disturbs a concurrent commit nor waits for other panes asking at the same time.
QProcessEnvironment statusEnvironment()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("GIT_OPTIONAL_LOCKS"), QStringLiteral("0"));
    return environment;
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

std::optional<GitSnapshot> snapshot(const fs::path& root)
{
    const QString git = QStandardPaths::findExecutable(QStringLiteral("git"));
    const auto rootText = argumentText(root);
    if (git.isEmpty() || !rootText)
        return std::nullopt;
    QProcess process;
    process.setProgram(git);
    process.setArguments(statusArguments(*rootText));
    process.setProcessEnvironment(statusEnvironment());
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(QIODevice::ReadOnly);
    if (!process.waitForStarted(-1))
        return std::nullopt;
    QByteArray output;
    while (process.waitForReadyRead(-1))
        output += process.readAllStandardOutput();
    process.waitForFinished(-1);
    output += process.readAllStandardOutput();
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return std::nullopt;
    return GitSnapshot::parse(output, root);
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
