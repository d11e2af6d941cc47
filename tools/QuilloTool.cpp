// quillo-tool: the engines on the command line, for scripts and benchmarks.
#include "ListCommand.h"
#include "TransferCommands.h"
#include "TrashCommand.h"
#include "core/AppLocale.h"

#include <QCoreApplication>
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
    printUsage();
    printTransferUsage();
    return 2;
}
