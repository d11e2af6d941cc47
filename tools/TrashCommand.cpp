#include "TrashCommand.h"

#include "core/PathText.h"
#include "platform/Trash.h"

#include <QString>
#include <cstdio>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

void write(const std::string& text, FILE* stream)
{
    std::fwrite(text.data(), 1, text.size(), stream);
}

QString reason(const Error& error)
{
    if (error.code == Trash::kNoTrash)
        return QStringLiteral("このボリュームには使えるゴミ箱がありません。");
    return error.description();
}

void reportFailure(const fs::path& path, const Error& error)
{
    const QString message = QStringLiteral("「") + PathText::displayName(path) +
                            QStringLiteral("」をゴミ箱に入れられません。\n") + reason(error) +
                            QLatin1Char('\n');
    write(message.toStdString(), stderr);
}

} // namespace

int runTrashCommand(const std::vector<std::string>& arguments)
{
    if (arguments.empty()) {
        std::fputs("usage: quillo-tool trash PATH...\n", stderr);
        return 2;
    }
    int status = 0;
    for (const std::string& argument : arguments) {
        const fs::path path(argument);
        const auto trashed = Trash::moveToTrash(path);
        if (!trashed) {
            reportFailure(path, trashed.error());
            status = 1;
            continue;
        }
        write(PathText::escapedName(trashed->original.native()) + '\t' +
                  PathText::escapedName(trashed->trashed.native()) + '\n',
              stdout);
    }
    return std::fflush(stdout) == 0 ? status : 1;
}
