// quillo-tool: the engines on the command line, for scripts and benchmarks.
#include "ArchiveCommands.h"
#include "CheckUpdateCommand.h"
#include "ExchangeCommand.h"
#include "FuzzyCommand.h"
#include "GitStatusCommand.h"
#include "ListCommand.h"
#include "PreviewCommands.h"
#include "RenameCommand.h"
#include "TagsCommand.h"
#include "TransferCommands.h"
#include "TrashCommand.h"
#include "WatchCommand.h"
#include "core/AppLocale.h"

#include <QCoreApplication>
#include <cstdio>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    installAppLocale();
    // Raw argv: QCoreApplication::arguments() would re-decode names that are not UTF-8.
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (!arguments.empty() && arguments.front() == "list")
        return runListCommand({arguments.begin() + 1, arguments.end()});
    if (!arguments.empty() && arguments.front() == "trash")
        return runTrashCommand({arguments.begin() + 1, arguments.end()});
    const std::string command = arguments.empty() ? std::string() : arguments.front();
    const std::vector<std::string> rest(arguments.begin() + (arguments.empty() ? 0 : 1),
                                        arguments.end());
    if (command == "copy")
        return runCopyCommand(rest);
    if (command == "move")
        return runMoveCommand(rest);
    if (command == "du")
        return runDuCommand(rest);
    if (command == "git-status")
        return runGitStatusCommand(rest);
    if (command == "watch")
        return runWatchCommand(rest);
    if (command == "tags")
        return runTagsCommand(rest);
    if (command == "fuzzy")
        return runFuzzyCommand(rest);
    if (command == "romaji")
        return runRomajiCommand(rest);
    if (command == "markdown")
        return runMarkdownCommand(rest);
    if (command == "csv")
        return runCsvCommand(rest);
    if (command == "preview-kind")
        return runPreviewKindCommand(rest);
    if (command == "rename")
        return runRenameCommand(rest);
    if (command == "compress")
        return runCompressCommand(rest);
    if (command == "expand")
        return runExpandCommand(rest);
    if (command == "exchange")
        return runExchangeCommand(rest);
    if (command == "check-update")
        return runCheckUpdateCommand(rest);
    printUsage();
    printTransferUsage();
    std::fputs("       quillo-tool git-status DIR\n", stderr);
    std::fputs("       quillo-tool watch DIR [--seconds N]\n", stderr);
    std::fputs("       quillo-tool tags PATH...\n", stderr);
    std::fputs("       quillo-tool fuzzy QUERY < LINES\n", stderr);
    std::fputs("       quillo-tool romaji TEXT\n", stderr);
    printPreviewUsage();
    printRenameUsage();
    printArchiveUsage();
    printCheckUpdateUsage();
    return 2;
}
