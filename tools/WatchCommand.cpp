#include "WatchCommand.h"

#include "core/PathText.h"
#include "files/PaneError.h"
#include "insight/DirectoryWatcher.h"
#include "platform/Inotify.h"

#include <QCoreApplication>
#include <QTimer>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <optional>

namespace fs = std::filesystem;

namespace {

// What a pane uses.
constexpr double kLatency = 0.3;
// Keeps the milliseconds within a timer's range.
constexpr double kMaxSeconds = 1e6;

struct WatchOptions {
    fs::path folder;
    std::optional<double> seconds;
};

std::optional<double> parseSeconds(const std::string& text)
{
    double value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || !(value >= 0 && value <= kMaxSeconds))
        return std::nullopt;
    return value;
}

std::optional<WatchOptions> parse(const std::vector<std::string>& arguments)
{
    WatchOptions options;
    bool haveFolder = false;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string& a = arguments[i];
        if (a == "--seconds" && i + 1 < arguments.size()) {
            options.seconds = parseSeconds(arguments[++i]);
            if (!options.seconds)
                return std::nullopt;
        } else if (!haveFolder && (a.empty() || a.front() != '-')) {
            options.folder = a;
            haveFolder = true;
        } else {
            return std::nullopt;
        }
    }
    if (!haveFolder)
        return std::nullopt;
    return options;
}

void write(const std::string& text, FILE* stream)
{
    std::fwrite(text.data(), 1, text.size(), stream);
}

// One line per batch, flushed at once: whoever reads it is waiting for it.
void printBatch(const std::vector<fs::path>& paths)
{
    std::string line;
    for (size_t i = 0; i < paths.size(); ++i) {
        if (i > 0)
            line += '\t';
        line += PathText::escapedName(paths[i].native());
    }
    line += '\n';
    write(line, stdout);
    std::fflush(stdout);
}

} // namespace

int runWatchCommand(const std::vector<std::string>& arguments)
{
    const auto options = parse(arguments);
    if (!options) {
        std::fputs("usage: quillo-tool watch DIR [--seconds N]\n", stderr);
        return 2;
    }
    // Reading the folder is the test that it is one and may be read.
    if (const auto readable = Inotify::subfolderNames(options->folder, true); !readable) {
        write(paneError(readable.error(), options->folder).message.toStdString() + "\n", stderr);
        return 1;
    }
    DirectoryWatcher watcher(options->folder, kLatency, printBatch);
    QObject::connect(&watcher, &DirectoryWatcher::ready, [&watcher, &options] {
        if (watcher.isWatching())
            return;
        // Readable but not watchable: the user's inotify limits are spent.
        const QString message = QStringLiteral("「") + PathText::displayName(options->folder) +
                                QStringLiteral("」の変更を監視できません。\n");
        write(message.toStdString(), stderr);
        QCoreApplication::exit(1);
    });
    if (options->seconds)
        QTimer::singleShot(int(std::lround(*options->seconds * 1000)), QCoreApplication::instance(),
                           &QCoreApplication::quit);
    return QCoreApplication::exec();
}
