// Matching one palette query against 100,000 file-like names, as on every keystroke.
// With `--filter QUERY FILE` it instead reads names (one a line) from FILE, prints the
// matching ones best first, and exits: the same job as `fzf --filter QUERY < FILE`.
#include "palette/FuzzyMatcher.h"

#include <QFile>
#include <QStringList>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>

using namespace Qt::StringLiterals;

namespace {

constexpr int kNames = 100'000;

// Mostly ASCII names in nested folders, one in five Japanese, a few with accents.
QStringList makeNames(int count)
{
    static const char16_t* const words[] = {u"report",      u"Budget", u"invoice", u"draft",
                                            u"FileBrowser", u"notes",  u"資料",    u"議事録",
                                            u"Café",        u"photo"};
    static const char16_t* const extensions[] = {u"pdf", u"txt", u"jpg", u"cpp", u"md"};
    QStringList names;
    names.reserve(count);
    for (int i = 0; i < count; ++i) {
        const auto word = [&](int k) { return QString::fromUtf16(words[(i / k + k) % 10]); };
        names.append(u"src/%1/%2_%3-%4.%5"_s.arg(word(7), word(3), word(1))
                         .arg(i)
                         .arg(QString::fromUtf16(extensions[i % 5])));
    }
    return names;
}

void matchAll(benchmark::State& state, const QString& query)
{
    const QStringList names = makeNames(kNames);
    int64_t matches = 0;
    for (auto _ : state) {
        matches = 0;
        for (const QString& name : names)
            matches += FuzzyMatcher::match(query, name).has_value();
        benchmark::DoNotOptimize(matches);
    }
    state.counters["matches"] = double(matches);
    state.counters["names"] = kNames;
}

BENCHMARK_CAPTURE(matchAll, many_hits, u"rep"_s)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(matchAll, few_hits, u"fbrinv99"_s)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(matchAll, japanese, u"資料議"_s)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(matchAll, no_hits, u"zzq"_s)->Unit(benchmark::kMillisecond);

int filter(const QString& query, const char* path)
{
    QFile file(QString::fromLocal8Bit(path));
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", path);
        return 2;
    }
    const QStringList names = QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
    std::vector<std::pair<int64_t, qsizetype>> hits;
    for (qsizetype i = 0; i < names.size(); ++i) {
        if (const auto match = FuzzyMatcher::match(query, names[i]))
            hits.emplace_back(-match->score, i);
    }
    std::ranges::sort(hits);
    QByteArray out;
    for (const auto& [score, index] : hits)
        out += names[index].toUtf8() + '\n';
    std::fwrite(out.constData(), 1, size_t(out.size()), stdout);
    return hits.empty() ? 1 : 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 4 && std::strcmp(argv[1], "--filter") == 0)
        return filter(QString::fromLocal8Bit(argv[2]), argv[3]);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
