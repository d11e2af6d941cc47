// quillo-tool: the engines on the command line, for scripts and benchmarks.
#include "ListCommand.h"
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
    printUsage();
    return 2;
}
