// Browsing with the preview on: a window over 1,000 mixed files (Markdown, CSV, PNG,
// PDF, text) while Down is held at the keyboard's repeat rate. Prints the longest
// main-thread stall, how many files the preview actually showed, the time from
// selecting a 100 KB Markdown file to its page on screen, the time to the first
// preview after start (web engine start included) and the memory the preview adds.
// Targets: no stall over 16 ms; a 100 KB Markdown file on screen within 150 ms.
// Usage: PreviewBrowseBench [DIR [DOWNS]]   (DIR made when missing, default
// $TMPDIR/quillo-bench-preview-1k; DOWNS, the Down presses, default all 999)
#include "MixedFolder.h"
#include "app/Application.h"
#include "browser/pane/FileListModel.h"
#include "browser/pane/PaneView.h"
#include "browser/preview/PanePreview.h"
#include "browser/preview/PreviewWidget.h"
#include "browser/window/BrowserWindow.h"
#include "core/Preferences.h"
#include "files/FileNode.h"
#include "files/PaneState.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QKeyEvent>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr int kFiles = MixedFolder::kFiles;
constexpr int kRepeatMs = 30; // keyboard autorepeat

// Resident kilobytes of this process and every process below it (the web engine's).
long residentKb(const std::string& pid)
{
    long kb = 0;
    std::ifstream status("/proc/" + pid + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0)
            kb = std::stol(line.substr(6));
    }
    std::error_code error;
    for (const auto& task : fs::directory_iterator("/proc/" + pid + "/task", error)) {
        std::ifstream children(task.path() / "children");
        for (std::string child; children >> child;)
            kb += residentKb(child);
    }
    return kb;
}

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

// Waits in the event loop until `done` holds or the time is up; returns whether it held.
template <typename Done>
bool waitFor(Done done, int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (!done() && timer.elapsed() < ms)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    return done();
}

double threadCpuMs()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

// Gaps between the turns of a 1 ms timer: how long the main thread did not come back
// to its event loop, in wall time and in its own CPU time (the difference is time
// spent waiting for a core).
class StallWatch : public QObject {
public:
    StallWatch()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(1);
        connect(&m_timer, &QTimer::timeout, this, [this] {
            const double gap = double(m_clock.nsecsElapsed()) / 1e6;
            const double cpu = threadCpuMs();
            m_clock.restart();
            m_worst = std::max(m_worst, gap);
            m_worstCpu = std::max(m_worstCpu, cpu - m_cpu);
            m_cpu = cpu;
            m_over += gap > 16 ? 1 : 0;
            m_gaps.push_back(gap);
        });
    }
    void start()
    {
        m_clock.start();
        m_cpu = threadCpuMs();
        m_timer.start();
    }
    void stop() { m_timer.stop(); }
    double worst() const { return m_worst; }
    double worstCpu() const { return m_worstCpu; }
    int over() const { return m_over; }
    double percentile(double p) const
    {
        std::vector<double> sorted = m_gaps;
        std::sort(sorted.begin(), sorted.end());
        return sorted.empty() ? 0 : sorted[size_t(p * double(sorted.size() - 1))];
    }

private:
    QTimer m_timer;
    QElapsedTimer m_clock;
    double m_cpu = 0;
    std::vector<double> m_gaps;
    double m_worst = 0;
    double m_worstCpu = 0;
    int m_over = 0;
};

} // namespace

namespace {

// Times the events the main thread handles: those over 16 ms at the outermost level
// by receiver class and event type, and every paint by widget (with its parents), in
// wall and in CPU time of the main thread, so that a stall can be traced to what
// caused it and told apart from waiting for a core.
class TimedApplication : public QApplication {
public:
    using QApplication::QApplication;

    bool notify(QObject* receiver, QEvent* event) override
    {
        // Events of other threads (the PDF renderer's, the pools') pass through here too.
        const bool paint = event->type() == QEvent::Paint && m_depth > 0;
        if (!m_recording || (m_depth > 0 && !paint) || QThread::currentThread() != thread())
            return QApplication::notify(receiver, event);
        ++m_depth;
        QElapsedTimer wall;
        wall.start();
        const double cpuBefore = threadCpuMs();
        const bool handled = QApplication::notify(receiver, event);
        const double ms = double(wall.nsecsElapsed()) / 1e6;
        const double cpu = threadCpuMs() - cpuBefore;
        --m_depth;
        if (paint) {
            std::string key = receiver->metaObject()->className();
            for (QObject* up = receiver->parent(); up && key.size() < 80; up = up->parent())
                key += std::string(" < ") + up->metaObject()->className();
            m_paints[key].add(ms, cpu);
        } else if (ms > 16 || cpu > 8) {
            m_slow[std::string(receiver->metaObject()->className()) + ", type " +
                   std::to_string(int(event->type()))]
                .add(ms, cpu);
        }
        return handled;
    }
    void record(bool on)
    {
        m_recording = on;
        if (on) {
            m_slow.clear();
            m_paints.clear();
        }
    }
    void print() const
    {
        std::printf("  events over 16 ms or 8 ms of CPU (receiver, QEvent type):\n");
        print(m_slow);
        std::printf("  paints by widget:\n");
        print(m_paints);
    }

private:
    struct Stat {
        int count = 0;
        double total = 0;
        double cpu = 0;
        double worst = 0;
        double worstCpu = 0;
        void add(double ms, double cpuMs)
        {
            ++count;
            total += ms;
            cpu += cpuMs;
            worst = std::max(worst, ms);
            worstCpu = std::max(worstCpu, cpuMs);
        }
    };
    static void print(const std::map<std::string, Stat>& stats)
    {
        std::vector<std::pair<std::string, Stat>> sorted(stats.begin(), stats.end());
        std::sort(sorted.begin(), sorted.end(),
                  [](const auto& a, const auto& b) { return a.second.total > b.second.total; });
        for (size_t i = 0; i < sorted.size() && i < 6; ++i) {
            const Stat& stat = sorted[i].second;
            std::printf(
                "    %s\n      %5d, total %7.1f ms (CPU %7.1f), worst %6.1f ms (CPU %6.1f)\n",
                sorted[i].first.c_str(), stat.count, stat.total, stat.cpu, stat.worst,
                stat.worstCpu);
        }
    }

    int m_depth = 0;
    bool m_recording = false;
    std::map<std::string, Stat> m_slow;
    std::map<std::string, Stat> m_paints;
};

struct Browse {
    double worstStall = 0;
    double worstCpu = 0;
    double p99 = 0;
    int stallsOver16 = 0;
    int passed = 0;
    size_t shown = 0;
    double seconds = 0;
};

// Down every kRepeatMs from the first row to the last, as a held key does.
// With the preview hidden (`preview` null) it waits for nothing but the keys.
Browse holdDown(PaneView& pane, PreviewWidget* preview, int downs)
{
    pane.listView()->selectRow(0);
    const fs::path last = pane.model()->root()->child(downs)->entry.path();
    std::set<std::string> shown;
    fs::path latest;
    if (preview)
        QObject::connect(preview, &PreviewWidget::fileShown, &pane, [&](const fs::path& file) {
            shown.insert(file.native());
            latest = file;
        });
    Browse result;
    StallWatch watch;
    QTimer repeat;
    repeat.setTimerType(Qt::PreciseTimer);
    repeat.setInterval(kRepeatMs);
    QObject::connect(&repeat, &QTimer::timeout, &pane, [&] {
        QCoreApplication::postEvent(
            pane.listView(),
            new QKeyEvent(QEvent::KeyPress, Qt::Key_Down, Qt::NoModifier, QString(), true));
        if (++result.passed == downs)
            repeat.stop();
    });
    QElapsedTimer clock;
    clock.start();
    watch.start();
    repeat.start();
    waitFor([&] { return result.passed == downs; }, downs * kRepeatMs * 4);
    if (preview)
        waitFor([&] { return latest == last; }, 5000);
    watch.stop();
    result.seconds = double(clock.elapsed()) / 1000;
    result.worstStall = watch.worst();
    result.worstCpu = watch.worstCpu();
    result.p99 = watch.percentile(0.99);
    result.stallsOver16 = watch.over();
    result.shown = shown.size();
    if (preview)
        QObject::disconnect(preview, &PreviewWidget::fileShown, &pane, nullptr);
    return result;
}

// Milliseconds from selecting the file to its page on screen; -1 when it never shows.
double timeToShown(PaneView& pane, PreviewWidget& preview, const fs::path& file)
{
    bool done = false;
    const auto connection =
        QObject::connect(&preview, &PreviewWidget::fileShown, &pane,
                         [&](const fs::path& shown) { done = done || shown == file; });
    QElapsedTimer clock;
    clock.start();
    pane.selectPaths({file});
    const bool shown = waitFor([&] { return done; }, 30000);
    const double ms = double(clock.nsecsElapsed()) / 1e6;
    QObject::disconnect(connection);
    return shown ? ms : -1;
}

struct Figures {
    int downs = 0;
    Browse listOnly, browse;
    std::vector<double> big, bigAfterText;
    double firstMs = 0, firstSinceStart = 0;
    long listKb = 0, firstKb = 0, browsedKb = 0;
};

// After a page (the web view on screen) and after a text file (the web view hidden).
void timeBigMarkdown(PaneView& pane, PreviewWidget& preview, const fs::path& folder,
                     Figures& figures)
{
    for (int index : {200, 400, 600, 800, 0}) {
        timeToShown(pane, preview, MixedFolder::file(folder, index + 1)); // a small page
        figures.big.push_back(timeToShown(pane, preview, MixedFolder::file(folder, index)));
        timeToShown(pane, preview, MixedFolder::file(folder, index + 8)); // a text file
        figures.bigAfterText.push_back(
            timeToShown(pane, preview, MixedFolder::file(folder, index)));
    }
}

void report(const Figures& f, const TimedApplication& app)
{
    std::printf("holding Down over %d files every %d ms (%.1f s), preview hidden, then shown:\n",
                f.downs + 1, kRepeatMs, f.browse.seconds);
    std::printf("  longest main-thread stall:     %7.1f ms, %7.1f ms (target 16)\n",
                f.listOnly.worstStall, f.browse.worstStall);
    std::printf("    of which its own CPU time:   %7.1f ms, %7.1f ms\n", f.listOnly.worstCpu,
                f.browse.worstCpu);
    std::printf("  99th percentile of the gaps:   %7.1f ms, %7.1f ms\n", f.listOnly.p99,
                f.browse.p99);
    std::printf("  gaps over 16 ms:               %7d, %7d\n", f.listOnly.stallsOver16,
                f.browse.stallsOver16);
    std::printf("  files shown by the preview:    %7zu of %d\n", f.browse.shown, f.downs + 1);
    std::printf("  with the preview, the main thread's slowest work:\n");
    app.print();
    std::printf("100 KB Markdown, selection to page: %8.1f ms median of %zu (target 150)\n",
                median(f.big), f.big.size());
    std::printf("  the same after a text file:       %8.1f ms\n", median(f.bigAfterText));
    std::printf("first preview, selection to page:   %8.1f ms (web engine start included)\n",
                f.firstMs);
    std::printf("first preview since process start:  %8.1f ms\n", f.firstSinceStart);
    std::printf("memory added by the preview (RSS, web engine processes included):\n");
    std::printf("  after the first page:             %8.1f MB\n", (f.firstKb - f.listKb) / 1024.0);
    std::printf("  after browsing every file:        %8.1f MB\n",
                (f.browsedKb - f.listKb) / 1024.0);
}

// Settings, caches and data in a scratch folder: the user's own stay untouched.
void useScratchFolders(const QTemporaryDir& scratch)
{
    for (const char* key : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
        qputenv(key, (scratch.path() + QLatin1Char('/') + QLatin1String(key)).toUtf8());
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
}

fs::path benchFolder(int argc, char** argv)
{
    const QByteArray tmp = qEnvironmentVariableIsEmpty("TMPDIR") ? "/tmp" : qgetenv("TMPDIR");
    const fs::path folder =
        argc > 1 ? fs::path(argv[1]) : fs::path(tmp.toStdString()) / "quillo-bench-preview-1k";
    if (!MixedFolder::isComplete(folder)) {
        std::printf("making %d files in %s\n", kFiles, folder.c_str());
        MixedFolder::make(folder);
    }
    return folder;
}

} // namespace

int main(int argc, char** argv)
{
    QElapsedTimer sinceStart;
    sinceStart.start();
    QTemporaryDir scratch;
    useScratchFolders(scratch);
    Application::prepareProcess();
    TimedApplication app(argc, argv);
    Application::configure();
    QElapsedTimer making;
    making.start();
    const fs::path folder = benchFolder(argc, argv);
    const qint64 madeMs = making.elapsed(); // not part of the start
    Figures figures;
    figures.downs = argc > 2 ? std::clamp(std::atoi(argv[2]), 1, kFiles - 1) : kFiles - 1;

    Preferences::shared().setMarkdownPreview(false);
    auto* window = new BrowserWindow(PaneLayout::onePane(Location::folder(folder).toText()));
    window->resize(1400, 900);
    window->show();
    PaneView& pane = *window->activePane();
    if (!waitFor([&] { return !pane.state().isLoading() && pane.model()->rowCount() > 0; },
                 30000)) {
        std::fprintf(stderr, "the folder was not listed\n");
        return 1;
    }
    figures.listKb = residentKb("self");

    Preferences::shared().setMarkdownPreview(true);
    PreviewWidget& preview = *pane.preview()->previewWidget();
    figures.firstMs = timeToShown(pane, preview, MixedFolder::file(folder, 0));
    figures.firstSinceStart = double(sinceStart.elapsed() - madeMs);
    figures.firstKb = residentKb("self");

    Preferences::shared().setMarkdownPreview(false);
    app.record(true);
    figures.listOnly = holdDown(pane, nullptr, figures.downs);
    app.record(false);
    std::printf("holding Down with the preview hidden, the main thread's slowest work:\n");
    app.print();
    Preferences::shared().setMarkdownPreview(true);
    app.record(true);
    figures.browse = holdDown(pane, &preview, figures.downs);
    app.record(false);
    figures.browsedKb = residentKb("self");

    timeBigMarkdown(pane, preview, folder, figures);
    report(figures, app);
    delete window;
    return 0;
}
