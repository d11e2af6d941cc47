// Watching a big tree: the time from constructing the watcher to ready() (the
// whole tree watched), and the CPU the process uses afterwards while nothing in
// the tree changes.
// Usage: WatchStartBench [benchmark flags] DIR
#include "insight/DirectoryWatcher.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <sys/resource.h>

namespace {

std::filesystem::path g_tree;
constexpr int kIdleMs = 5000;

void waitUntilReady(DirectoryWatcher& watcher)
{
    if (watcher.isReady())
        return;
    QEventLoop loop;
    QObject::connect(&watcher, &DirectoryWatcher::ready, &loop, &QEventLoop::quit);
    loop.exec();
}

double cpuSeconds()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    auto seconds = [](const timeval& t) { return double(t.tv_sec) + double(t.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void BM_WatchStart(benchmark::State& state)
{
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        DirectoryWatcher watcher(g_tree, 0.3, [](const auto&) {});
        waitUntilReady(watcher);
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(elapsed.count());
        state.counters["folders"] = watcher.watchedFolderCount();
    }
}
BENCHMARK(BM_WatchStart)
    ->UseManualTime()
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true)
    ->Unit(benchmark::kMillisecond);

// Reported as the iteration's time: CPU seconds over the idle period, not wall time.
void BM_IdleCpu(benchmark::State& state)
{
    for (auto _ : state) {
        DirectoryWatcher watcher(g_tree, 0.3, [](const auto&) {});
        waitUntilReady(watcher);
        const double before = cpuSeconds();
        QEventLoop loop;
        QTimer::singleShot(kIdleMs, &loop, &QEventLoop::quit);
        loop.exec();
        const double used = cpuSeconds() - before;
        state.SetIterationTime(used);
        state.counters["idle_s"] = kIdleMs / 1000.0;
        state.counters["folders"] = watcher.watchedFolderCount();
    }
}
BENCHMARK(BM_IdleCpu)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (argc != 2) {
        std::fputs("usage: WatchStartBench [benchmark flags] DIR\n", stderr);
        return 2;
    }
    g_tree = argv[1];
    QCoreApplication app(argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
