// Matching one palette query against 100,000 file-like names, as on every keystroke.
// Whole-program filtering is `quillo-tool fuzzy`, measured by bench/fuzzy.sh.
#include "palette/FuzzyMatcher.h"

#include <QStringList>
#include <benchmark/benchmark.h>

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

} // namespace

BENCHMARK_MAIN();
