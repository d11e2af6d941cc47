// One keystroke in the palette (target: under 16 ms on the main thread) with 5,000
// history folders, 10,000 indexed files and about a hundred commands, for queries
// typed one character at a time.
#include "palette/FolderHistory.h"
#include "palette/PaletteModel.h"
#include "palette/Romaji.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

namespace fs = std::filesystem;

namespace {

const char* const kWords[] = {"src",    "Documents", "プロジェクト", "report", "資料",
                              "build",  "Photos",    "議事録",       "quillo", "invoice",
                              "drafts", "tests",     "会計",         "music",  "アーカイブ"};
constexpr size_t kWordCount = std::size(kWords);

fs::path pathOf(size_t i, int depth)
{
    fs::path path = "/home/user";
    for (int level = 0; level < depth; ++level)
        path /= std::string(kWords[(i / (level + 1) + size_t(level) * 7) % kWordCount]) + "-" +
                std::to_string(i % (97 + level));
    return path;
}

std::vector<PaletteCommand> commands()
{
    const char* const titles[] = {
        "新規フォルダ", "新規ファイル", "ゴミ箱に入れる",     "コピー",       "ペースト",
        "名前を変更",   "2画面表示",    "隠しファイルを表示", "パスをコピー", "タグを編集"};
    std::vector<PaletteCommand> list;
    for (int i = 0; i < 100; ++i) {
        PaletteCommand command;
        command.title = QString::fromUtf8(titles[i % 10]) + QString::number(i);
        command.action = QStringLiteral("command%1:").arg(i);
        command.menuPath = QStringLiteral("ファイル");
        command.searchAliases << Romaji::transcribe(command.title) << QStringLiteral("New Folder");
        list.push_back(std::move(command));
    }
    return list;
}

struct Fixture {
    QTemporaryDir dir;
    std::unique_ptr<FolderHistory> history;
    std::unique_ptr<PaletteModel> model;

    Fixture()
    {
        history = std::make_unique<FolderHistory>(fs::path(dir.path().toStdString()) / "h.sqlite");
        const QDateTime now = QDateTime::currentDateTimeUtc();
        for (size_t i = 0; i < 5000; ++i)
            history->visit(pathOf(i, 2 + int(i % 4)), now.addSecs(-qint64(i) * 60));
        PaletteModel::Context context;
        context.commands = commands();
        context.currentFolder = "/home/user";
        context.home = "/home/user";
        std::vector<FileIndex::Entry> files;
        for (size_t i = 0; i < 10000; ++i)
            files.push_back(
                {pathOf(i, 1 + int(i % 5)) / ("file" + std::to_string(i) + ".txt"), false});
        context.currentChildren.assign(files.begin(), files.begin() + 200);
        model = std::make_unique<PaletteModel>(std::move(context), *history);
        model->setFileIndexForTesting(std::move(files));
    }
};

Fixture& fixture()
{
    static Fixture f;
    return f;
}

// Each iteration types the whole query, one character per keystroke.
void typeQuery(benchmark::State& state, const QString& query)
{
    PaletteModel& model = *fixture().model;
    for (auto _ : state) {
        for (qsizetype n = 1; n <= query.size(); ++n)
            model.setQuery(query.left(n));
        benchmark::DoNotOptimize(model.items().data());
    }
    state.counters["keystrokes"] = double(query.size());
}

void BM_MixedQuery(benchmark::State& state)
{
    typeQuery(state, QStringLiteral("reportq"));
}
void BM_RomajiQuery(benchmark::State& state)
{
    typeQuery(state, QStringLiteral("shinki"));
}
void BM_FileQuery(benchmark::State& state)
{
    typeQuery(state, QStringLiteral("@file12"));
}

} // namespace

BENCHMARK(BM_MixedQuery)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RomajiQuery)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FileQuery)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
