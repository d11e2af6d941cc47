#include "CheckUpdateCommand.h"

#include "update/UpdateChecker.h"

#include <QCoreApplication>
#include <cstdio>

namespace {

const char usage[] = "quillo-tool check-update [--url URL] [--current VERSION]\n";

} // namespace

void printCheckUpdateUsage()
{
    std::fprintf(stderr, "       %s", usage);
}

int runCheckUpdateCommand(const std::vector<std::string>& arguments)
{
    QUrl url = UpdateChecker::feedUrl();
    QString current = UpdateChecker::currentVersion();
    for (size_t i = 0; i < arguments.size(); i += 2) {
        if (i + 1 >= arguments.size() || (arguments[i] != "--url" && arguments[i] != "--current")) {
            std::fprintf(stderr, "usage: %s", usage);
            return 2;
        }
        const QString value = QString::fromStdString(arguments[i + 1]);
        if (arguments[i] == "--url")
            url = QUrl(value);
        else
            current = value;
    }
    UpdateChecker checker;
    std::string line;
    int status = 1;
    checker.fetch(url, current, [&](const UpdateChecker::Result& result) {
        switch (result.kind) {
        case UpdateChecker::Result::available:
            line = "available\t" + result.release.version.toStdString() + '\t' +
                   result.release.download.toString(QUrl::FullyEncoded).toStdString();
            status = 0;
            break;
        case UpdateChecker::Result::upToDate:
            line = "up-to-date";
            status = 0;
            break;
        case UpdateChecker::Result::failed:
            line = "failed\t" + result.message.toStdString();
            break;
        }
        QCoreApplication::quit();
    });
    QCoreApplication::exec();
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stdout);
    return std::fflush(stdout) == 0 ? status : 1;
}
