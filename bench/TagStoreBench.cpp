// Loading a tag library of 50,000 tagged items (target: under 200 ms) and the
// per-row lookups a pane makes on every repaint, which must not grow with the
// library.
#include "core/PathText.h"
#include "platform/AtomicFile.h"
#include "tags/TagLibraryFile.h"
#include "tags/TagStore.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

namespace fs = std::filesystem;

namespace {

constexpr int kTags = 60;

// A library of `items` items, each with one to three of 60 tags in a three-level tree.
fs::path makeLibrary(const QTemporaryDir& dir, int items)
{
    QList<Tag> tags;
    for (int i = 0; i < kTags; ++i) {
        const QString name = i < 10   ? QStringLiteral("分類%1").arg(i)
                             : i < 30 ? QStringLiteral("分類%1/Client %2").arg(i % 10).arg(i)
                                      : QStringLiteral("分類%1/Client %2/年度 %3")
                                            .arg(i % 10)
                                            .arg(10 + i % 20)
                                            .arg(2000 + i);
        tags.append(Tag{QUuid::createUuid(), name, QStringLiteral("#3478F6")});
    }
    // A library that was saved before always has its favourites tag.
    tags.append(
        Tag{TagStore::favoritesID, QStringLiteral("お気に入り"), QStringLiteral("#FFD60A")});
    QHash<QString, TaggedItem> library;
    for (int i = 0; i < items; ++i) {
        const QString path =
            QStringLiteral("/home/user/プロジェクト/%1/資料 %2.pdf").arg(i / 100).arg(i);
        // A bookmark of an item at its recorded path: device and inode only.
        TaggedItem item{path, QByteArray(20, char(i % 251)), {}};
        for (int k = 0; k <= i % 3; ++k)
            item.tagIDs.insert(tags[(i * 7 + k * 13) % kTags].id);
        library.insert(path, item);
    }
    const fs::path file = fs::path(dir.path().toStdString()) / "tags.json";
    const QByteArray json = TagLibraryFile::encode(tags, library, false);
    (void)AtomicFile::write(file, std::string_view(json.data(), size_t(json.size())));
    return file;
}

void BM_LoadLibrary(benchmark::State& state)
{
    QTemporaryDir dir;
    const fs::path file = makeLibrary(dir, int(state.range(0)));
    for (auto _ : state) {
        TagStore store(file);
        benchmark::DoNotOptimize(store.itemsByPath().size());
    }
    state.counters["bytes"] = double(fs::file_size(file));
}
BENCHMARK(BM_LoadLibrary)->Arg(50'000)->Unit(benchmark::kMillisecond)->UseRealTime();

// The file alone: reading and decoding, without building the store.
void BM_ReadLibraryFile(benchmark::State& state)
{
    QTemporaryDir dir;
    const fs::path file = makeLibrary(dir, int(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(TagLibraryFile::read(file).library.items.size());
}
BENCHMARK(BM_ReadLibraryFile)->Arg(50'000)->Unit(benchmark::kMillisecond)->UseRealTime();

// One visible row: explicit tags, all tags, folder colour and sort key.
void BM_RowLookups(benchmark::State& state)
{
    QTemporaryDir dir;
    const fs::path file = makeLibrary(dir, int(state.range(0)));
    TagStore store(file);
    std::vector<fs::path> rows;
    for (int i = 0; i < 40; ++i)
        rows.push_back(PathText::fromText(QStringLiteral("/home/user/プロジェクト/%1/資料 %2.pdf")
                                              .arg(i * 37 / 100)
                                              .arg(i * 37)));
    size_t n = 0;
    for (auto _ : state) {
        const fs::path& row = rows[n++ % rows.size()];
        benchmark::DoNotOptimize(store.explicitTags(row));
        benchmark::DoNotOptimize(store.tags(row));
        benchmark::DoNotOptimize(store.folderColor(row));
        benchmark::DoNotOptimize(store.tagSortKey(row));
    }
}
BENCHMARK(BM_RowLookups)->Arg(1'000)->Arg(50'000)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
