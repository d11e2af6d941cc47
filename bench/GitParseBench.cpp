// Parsing `git status --porcelain=v1 -z --branch --ignored` output the way a pane
// does on every refresh. Given a file (saved git output), that output is parsed;
// otherwise 100,000 modified files in 1,000 folders are made up.
// Usage: GitParseBench [benchmark flags] [OUTPUT_FILE]
#include "insight/GitSnapshot.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>

namespace {

QByteArray madeUpOutput()
{
    QByteArray output("## main...origin/main [ahead 1]");
    output.append('\0');
    char record[64];
    for (int i = 0; i < 100'000; ++i) {
        const int length =
            std::snprintf(record, sizeof record, " M src/module%03d/file%05d.cpp", i % 1000, i);
        output.append(record, length);
        output.append('\0');
    }
    return output;
}

void parse(benchmark::State& state, const QByteArray& output)
{
    size_t entries = 0;
    for (auto _ : state) {
        auto snapshot = std::make_unique<GitSnapshot>(GitSnapshot::parse(output, "/home/me/repo"));
        entries = snapshot->statuses.size();
        benchmark::DoNotOptimize(entries);
        // The old snapshot goes when the pane drops it, not as part of parsing.
        state.PauseTiming();
        snapshot.reset();
        state.ResumeTiming();
    }
    state.counters["entries"] = double(entries);
    state.counters["bytes"] = double(output.size());
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    QByteArray output;
    if (argc > 1) {
        std::ifstream file(argv[1], std::ios::binary);
        if (!file) {
            std::cerr << "cannot read " << argv[1] << '\n';
            return 1;
        }
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        output = QByteArray::fromStdString(bytes);
    } else {
        output = madeUpOutput();
    }
    benchmark::RegisterBenchmark("GitSnapshot::parse", parse, output)
        ->Unit(benchmark::kMillisecond);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
