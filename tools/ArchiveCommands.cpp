#include "ArchiveCommands.h"

#include "ProgressPoller.h"
#include "core/PathText.h"
#include "operations/ArchiveExtractor.h"
#include "operations/ArchiveWriter.h"
#include "operations/TransferProgress.h"
#include "platform/Error.h"

#include <cstdio>
#include <filesystem>
#include <optional>

namespace fs = std::filesystem;

namespace {

std::optional<std::vector<fs::path>> parsePaths(const std::vector<std::string>& arguments)
{
    std::vector<fs::path> paths;
    bool options = true;
    for (const std::string& a : arguments) {
        if (options && a == "--")
            options = false;
        else if (options && a.size() > 1 && a.front() == '-')
            return std::nullopt;
        else
            paths.emplace_back(a);
    }
    if (paths.empty())
        return std::nullopt;
    return paths;
}

int report(const ArchiveResult<fs::path>& made, const QString& message)
{
    if (!made) {
        const ArchiveFailure& failure = made.error();
        const QString detail =
            failure.cancelled ? Error::cancellation().description() : failure.detail;
        const QString line = message + detail + QLatin1Char('\n');
        std::fputs(line.toStdString().c_str(), stderr);
        return 1;
    }
    std::fwrite(made->native().data(), 1, made->native().size(), stdout);
    std::fputc('\n', stdout);
    return std::fflush(stdout) == 0 ? 0 : 1;
}

} // namespace

int runCompressCommand(const std::vector<std::string>& arguments)
{
    const auto paths = parsePaths(arguments);
    if (!paths) {
        printArchiveUsage();
        return 2;
    }
    std::vector<fs::path> items;
    for (const fs::path& path : *paths)
        items.push_back(PathText::standardized(fs::absolute(path)));
    TransferProgress progress;
    ArchiveResult<fs::path> made = ArchiveWriter::destinationFor(items);
    {
        ProgressPoller poller(progress, false);
        if (auto written = ArchiveWriter::compress(items, *made, progress); !written)
            made = std::unexpected(written.error());
    }
    return report(made, QStringLiteral("圧縮できませんでした。"));
}

int runExpandCommand(const std::vector<std::string>& arguments)
{
    const auto paths = parsePaths(arguments);
    if (!paths || paths->size() != 1) {
        printArchiveUsage();
        return 2;
    }
    const fs::path archive = PathText::standardized(fs::absolute(paths->front()));
    TransferProgress progress;
    ArchiveResult<fs::path> made;
    {
        ProgressPoller poller(progress, false);
        made = ArchiveExtractor::expand(archive, progress);
    }
    const QString name = QString::fromStdString(PathText::escapedName(archive.filename().native()));
    return report(made, QStringLiteral("「") + name + QStringLiteral("」を展開できませんでした。"));
}

void printArchiveUsage()
{
    std::fputs("       quillo-tool compress PATH...\n"
               "       quillo-tool expand ARCHIVE\n",
               stderr);
}
