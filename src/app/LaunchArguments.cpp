#include "app/LaunchArguments.h"

#include "core/FileUri.h"
#include "core/PathText.h"

namespace fs = std::filesystem;

QList<QByteArray> LaunchArguments::items(int argc, char** argv)
{
    QList<QByteArray> items;
    bool optionsEnded = false;
    for (int i = 1; i < argc; ++i) {
        const QByteArray argument(argv[i]);
        if (argument.isEmpty())
            continue;
        if (!optionsEnded && argument == "--") {
            optionsEnded = true;
            continue;
        }
        if (!optionsEnded && argument.startsWith('-'))
            continue;
        if (FileUri::isUri(argument)) {
            if (auto path = FileUri::toPath(argument))
                items.append(QByteArray::fromStdString(path->native()));
            continue;
        }
        items.append(argument);
    }
    return items;
}

std::vector<fs::path> LaunchArguments::resolved(const QList<QByteArray>& items,
                                                const fs::path& workingFolder)
{
    std::vector<fs::path> paths;
    for (const QByteArray& item : items) {
        if (item.isEmpty())
            continue;
        fs::path path(item.toStdString());
        if (path.is_relative())
            path = workingFolder / path;
        // Without a known launch folder a relative item names nothing.
        if (path.is_relative())
            continue;
        paths.push_back(PathText::standardized(path));
    }
    return paths;
}
