// Sorting a 100,000-item folder the way a pane does, per key, and making the
// name collation keys that reading a folder pays for.
#include "files/FileSorter.h"

#include <QCoreApplication>
#include <benchmark/benchmark.h>

namespace {

constexpr int kCount = 100'000;

std::vector<FileEntry> makeEntries()
{
    const QString kinds[] = {QStringLiteral("PNG 画像"), QStringLiteral("平文テキストドキュメント"),
                             QStringLiteral("PDF ドキュメント"), QStringLiteral("フォルダー"),
                             QStringLiteral("不明")};
    std::vector<FileEntry> entries(kCount);
    for (int i = 0; i < kCount; ++i) {
        FileEntry& e = entries[size_t(i)];
        switch (i % 4) {
        case 0:
            e.setName(QStringLiteral("file%1.txt").arg(i));
            break;
        case 1:
            e.setName(QStringLiteral("IMG_%1.JPG").arg(i, 5, 10, QLatin1Char('0')));
            break;
        case 2:
            e.setName(QStringLiteral("報告書_%1.docx").arg(i));
            break;
        default:
            e.setName(QStringLiteral("Report %1 v%2.pdf").arg(i).arg(i % 13));
        }
        const QByteArray key = FileSorter::collationKey(e.name());
        e.setNameKey({key.constData(), size_t(key.size())});
        e.size = (int64_t(i) * 2654435761) % 1000003;
        e.dateModified = (int64_t(i) * 40503) % 99991 * 1'000'000'000;
        e.setKind(KindCache::intern(kinds[i % 5], QString()));
    }
    return entries;
}

void sortBy(benchmark::State& state, FileSortKey key)
{
    const std::vector<FileEntry> entries = makeEntries();
    const FileSorter sorter(FileSort{key, true});
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<FileEntry> copy = entries;
        state.ResumeTiming();
        sorter.sort(copy);
        benchmark::DoNotOptimize(copy.data());
    }
}

void collationKeys(benchmark::State& state)
{
    const std::vector<FileEntry> entries = makeEntries();
    for (auto _ : state) {
        for (const FileEntry& e : entries)
            benchmark::DoNotOptimize(FileSorter::collationKey(e.name()));
    }
}

} // namespace

BENCHMARK_CAPTURE(sortBy, name, FileSortKey::name)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(sortBy, size, FileSortKey::size)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(sortBy, dateModified, FileSortKey::dateModified)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(sortBy, kind, FileSortKey::kind)->Unit(benchmark::kMillisecond);
BENCHMARK(collationKeys)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
