#include "ArchiveCommands.h"

#include "core/PathText.h"
#include "operations/ArchiveExtractor.h"
#include "operations/ArchiveWriter.h"
#include "operations/TransferProgress.h"
#include "platform/Error.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <optional>
#include <thread>

namespace fs = std::filesystem;

namespace {

std::atomic<bool> g_interrupted = false;

extern "C" void interruptArchive(int)
{
    g_interrupted = true;
}

// A signal handler may not take the progress lock, so a thread of its own turns
// Ctrl+C into a cancel; the engine then removes what it had written.
class InterruptWatch {
public:
    explicit InterruptWatch(TransferProgress& progress)
        : m_progress(progress)
    {
        std::signal(SIGINT, interruptArchive);
        std::signal(SIGTERM, interruptArchive);
        m_thread = std::thread([this] { run(); });
    }
    ~InterruptWatch()
    {
        {
            std::lock_guard lock(m_mutex);
            m_done = true;
        }
        m_wake.notify_one();
        m_thread.join();
    }

private:
    void run()
    {
        std::unique_lock lock(m_mutex);
        while (!m_wake.wait_for(lock, std::chrono::milliseconds(100), [this] { return m_done; })) {
            if (g_interrupted)
                m_progress.cancel();
        }
    }

    TransferProgress& m_progress;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_done = false;
    std::thread m_thread;
};

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
        InterruptWatch watch(progress);
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
        InterruptWatch watch(progress);
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
