#include "TransferCommands.h"

#include "ProgressPoller.h"
#include "core/PathText.h"
#include "operations/FileTransfer.h"
#include "platform/DirectoryScanner.h"
#include "platform/FileCopierLinks.h"
#include "platform/TreeSize.h"

#include <cstdio>
#include <filesystem>
#include <optional>

namespace fs = std::filesystem;

namespace {

struct TransferLine {
    bool progress = false;
    std::vector<fs::path> sources;
    fs::path folder;
};

std::optional<TransferLine> parse(const std::vector<std::string>& arguments)
{
    TransferLine line;
    std::vector<fs::path> paths;
    bool options = true;
    for (const std::string& a : arguments) {
        if (options && a == "--progress")
            line.progress = true;
        else if (options && a == "--")
            options = false;
        else if (options && a.size() > 1 && a.front() == '-')
            return std::nullopt;
        else
            paths.emplace_back(a);
    }
    if (paths.size() < 2)
        return std::nullopt;
    line.folder = paths.back();
    paths.pop_back();
    line.sources = std::move(paths);
    return line;
}

void writeError(const char* format, const fs::path& path, const QString& description)
{
    std::fprintf(stderr, format, PathText::escapedName(path.native()).c_str(),
                 description.toStdString().c_str());
}

int runTransfer(const std::vector<std::string>& arguments, bool move)
{
    const auto line = parse(arguments);
    if (!line) {
        printTransferUsage();
        return 2;
    }
    const char* failed =
        move ? "「%s」を移動できませんでした。%s\n" : "「%s」をコピーできませんでした。%s\n";
    TransferProgress progress;
    ProgressPoller poller(progress, line->progress);
    CopiedLinks links; // hard links among the sources stay links
    int status = 0;
    for (const fs::path& given : line->sources) {
        const fs::path source = PathText::standardized(given);
        const fs::path destination = line->folder / source.filename();
        if (source.filename().empty()) {
            writeError(failed, given, Error::fromErrno(EINVAL).description());
            status = 1;
            continue;
        }
        const auto result =
            move ? FileTransfer::moveItem(source, destination,
                                          FileTransfer::isSameVolume(source, line->folder),
                                          progress, &links)
                 : FileTransfer::copyItem(source, destination, progress, &links);
        if (!result) {
            const Error& error = result.error();
            writeError(failed, error.path.empty() ? source : error.path, error.description());
            status = 1;
            if (error.cancelled)
                break;
        }
    }
    return status;
}

} // namespace

int runCopyCommand(const std::vector<std::string>& arguments)
{
    return runTransfer(arguments, false);
}

int runMoveCommand(const std::vector<std::string>& arguments)
{
    return runTransfer(arguments, true);
}

int runDuCommand(const std::vector<std::string>& arguments)
{
    if (arguments.empty()) {
        printTransferUsage();
        return 2;
    }
    int status = 0;
    int64_t total = 0;
    for (const std::string& argument : arguments) {
        const fs::path path(argument);
        if (!DirectoryScanner::exists(path)) {
            writeError("「%s」を読めませんでした。%s\n", path,
                       Error::fromErrno(ENOENT).description());
            status = 1;
            continue;
        }
        const TreeSize::Measure size = TreeSize::measure(path);
        if (!size.complete) {
            writeError(
                "「%s」には読み取れないフォルダがあるため、実際より大きい可能性があります。%s\n",
                path, QString());
            status = 1;
        }
        total += size.bytes;
        std::printf("%lld\t%s\n", static_cast<long long>(size.bytes),
                    PathText::escapedName(path.native()).c_str());
    }
    if (arguments.size() > 1)
        std::printf("%lld\ttotal\n", static_cast<long long>(total));
    return std::fflush(stdout) == 0 ? status : 1;
}

void printTransferUsage()
{
    std::fputs("       quillo-tool copy [--progress] SRC... DESTDIR\n"
               "       quillo-tool move [--progress] SRC... DESTDIR\n"
               "       quillo-tool du PATH...\n"
               "       quillo-tool trash PATH...\n",
               stderr);
}
