#include "ExchangeCommand.h"

#include "platform/AtomicFile.h"

#include <cstdio>

int runExchangeCommand(const std::vector<std::string>& arguments)
{
    std::vector<std::string> paths = arguments;
    if (!paths.empty() && paths.front() == "--")
        paths.erase(paths.begin());
    if (paths.size() != 2) {
        std::fputs("usage: quillo-tool exchange [--] A B\n", stderr);
        return 2;
    }
    if (const auto done = AtomicFile::exchange(paths[0], paths[1]); !done) {
        std::fprintf(stderr, "%s\n", done.error().description().toUtf8().constData());
        return 1;
    }
    return 0;
}
