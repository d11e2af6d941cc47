#include "palette/PaletteModel.h"

#include "core/AppDefaults.h"
#include "palette/CommandUsage.h"
#include "palette/FolderHistory.h"
#include "palette/Romaji.h"
#include "support/Lists.h"
#include "support/TempDir.h"

#include <QTest>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

PaletteCommand command(const char* action, const char* title, const char* english = "")
{
    PaletteCommand c;
    c.action = QString::fromLatin1(action);
    c.title = QString::fromUtf8(title);
    c.menuPath = QStringLiteral("ファイル");
    c.searchAliases << Romaji::transcribe(c.title);
    if (*english)
        c.searchAliases << QString::fromLatin1(english);
    return c;
}

std::vector<PaletteCommand> someCommands()
{
    return {command("newFolder:", "新規フォルダ", "New Folder"),
            command("moveToTrash:", "ゴミ箱に入れる", "Move to Trash Delete"),
            command("copy:", "コピー", "Copy"),
            command("toggleSplit:", "2画面表示", "Split Dual Pane"),
            command("checkForUpdates:", "アップデートを確認")};
}

QStringList titles(const PaletteModel& model)
{
    return textsOf(model.items(), &PaletteItem::title);
}

class PaletteModelTest : public ::testing::Test {
protected:
    PaletteModelTest()
        : history(dir / "history.sqlite")
    {
        AppDefaults::store().remove("paletteCommandUsage");
    }
    ~PaletteModelTest() override { AppDefaults::store().remove("paletteCommandUsage"); }

    PaletteModel::Context context()
    {
        PaletteModel::Context c;
        c.commands = someCommands();
        c.currentFolder = dir.path();
        c.home = dir.path();
        return c;
    }

    TempDir dir;
    FolderHistory history;
};

} // namespace

TEST(PaletteModes, FirstCharacterChoosesTheMode)
{
    const std::vector<std::pair<QString, PaletteMode>> cases = {
        {"", PaletteMode::Empty},       {">", PaletteMode::Command},
        {">new", PaletteMode::Command}, {"/usr", PaletteMode::Path},
        {"~/", PaletteMode::Path},      {"~", PaletteMode::Path},
        {"@main", PaletteMode::File},   {"#tag", PaletteMode::Sidebar},
        {"new", PaletteMode::Mixed},    {" >", PaletteMode::Mixed},
    };
    for (const auto& [query, mode] : cases)
        EXPECT_EQ(PaletteModes::detect(query), mode) << query.toStdString();
    EXPECT_EQ(PaletteModes::searchText(">new", PaletteMode::Command), "new");
    EXPECT_EQ(PaletteModes::searchText("~/Doc", PaletteMode::Path), "~/Doc");
}

TEST_F(PaletteModelTest, CommandModeListsEveryCommandAndFindsThemByRomajiAndEnglish)
{
    PaletteModel model(context(), history);
    model.setQuery(">");
    EXPECT_EQ(model.items().size(), someCommands().size());

    const std::vector<std::pair<QString, QString>> cases = {
        {"shinki", "新規フォルダ"},  {"gomibako", "ゴミ箱に入れる"}, {"kopi", "コピー"},
        {"trash", "ゴミ箱に入れる"}, {"split", "2画面表示"},         {"delete", "ゴミ箱に入れる"},
    };
    for (const auto& [query, title] : cases) {
        model.setQuery(query);
        ASSERT_FALSE(model.items().empty()) << query.toStdString();
        EXPECT_EQ(model.items().front().title, title) << query.toStdString();
        // An alias match has nothing to highlight in the title.
        EXPECT_TRUE(model.items().front().highlights.empty());
    }
    model.setQuery("コピ");
    ASSERT_FALSE(model.items().empty());
    EXPECT_EQ(model.items().front().highlights, (std::vector<int>{0, 1}));
}

TEST_F(PaletteModelTest, UsageRaisesACommandAndFillsTheRecentList)
{
    PaletteModel model(context(), history);
    EXPECT_TRUE(model.items().empty());
    EXPECT_EQ(model.emptyText(), "フォルダを開くと、ここに履歴が出ます");

    model.recordUse(someCommands()[2]); // コピー
    model.setQuery("x");
    model.setQuery("");
    EXPECT_EQ(titles(model), QStringList{"コピー"});

    model.setQuery(">");
    EXPECT_EQ(model.items().front().title, "コピー");
}

TEST(CommandUsage, CountsUsesAndIgnoresValuesOfTheWrongType)
{
    TempDir dir;
    AppDefaults::store().remove("paletteCommandUsage");
    const QDateTime first = QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC);
    CommandUsage::record("copy:", first);
    CommandUsage::record("copy:", first.addSecs(60));
    const auto usage = CommandUsage::all();
    EXPECT_EQ(usage.value("copy:").count, 2);
    EXPECT_EQ(usage.value("copy:").lastUse, 1'700'000'060);

    AppDefaults::store().setValue("paletteCommandUsage", QStringLiteral("garbage"));
    EXPECT_TRUE(CommandUsage::all().isEmpty());
    QVariantMap map{{"paste:", QStringLiteral("3")}, {"cut:", QVariantList{4.0, 10.0}}};
    AppDefaults::store().setValue("paletteCommandUsage", map);
    EXPECT_EQ(CommandUsage::all().keys(), QStringList{"cut:"});
    CommandUsage::record("paste:", first); // a bad entry starts again at 1
    EXPECT_EQ(CommandUsage::all().value("paste:").count, 1);
    AppDefaults::store().remove("paletteCommandUsage");
}

TEST_F(PaletteModelTest, AFolderNamedLikeTheQueryOutranksAParentPathMatch)
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    history.visit("/data/report/old", now);
    history.visit("/data/other/report", now);
    PaletteModel model(context(), history);
    model.setQuery("report");
    ASSERT_EQ(model.items().size(), 2u);
    EXPECT_EQ(model.items()[0].title, "/data/other/report");
    EXPECT_EQ(model.items()[0].detail, "履歴");
    // The name's highlights are shown in the whole path.
    EXPECT_EQ(model.items()[0].highlights.front(), 12);
    EXPECT_GE(model.items()[0].score - model.items()[1].score, 19.0);
}

TEST_F(PaletteModelTest, HistoryUnderHomeShowsWithATilde)
{
    history.visit(dir / "Projects/quillo", QDateTime::currentDateTimeUtc());
    history.visit(dir.path(), QDateTime::currentDateTimeUtc());
    PaletteModel model(context(), history);
    QStringList shown = titles(model);
    shown.sort();
    EXPECT_EQ(shown, (QStringList{"~", "~/Projects/quillo"}));
}

TEST_F(PaletteModelTest, TagsMatchByNameOrRomaji)
{
    PaletteModel::Context c = context();
    c.tags = {Tag{QUuid::createUuid(), "仕事/顧客", "#FF0000"},
              Tag{QUuid::createUuid(), "red", "#00FF00"}};
    PaletteModel model(std::move(c), history);
    model.setQuery("#shigoto");
    ASSERT_EQ(titles(model), QStringList{"仕事/顧客"});
    EXPECT_EQ(model.items().front().detail, "タグ");
    model.setQuery("#red");
    ASSERT_EQ(titles(model), QStringList{"red"});
    EXPECT_EQ(model.items().front().highlights, (std::vector<int>{0, 1, 2}));
    model.setQuery("#zzz");
    EXPECT_EQ(model.emptyText(), "見つかりません");
}

TEST_F(PaletteModelTest, MixedModeSearchesTheCurrentFolderOnceEach)
{
    PaletteModel::Context c = context();
    const fs::path notes = dir.folder("notes");
    c.currentChildren = {{notes, true}, {dir.file("notes.txt"), false}};
    history.visit(notes, QDateTime::currentDateTimeUtc());
    PaletteModel model(std::move(c), history);
    model.setQuery("notes");
    // The history folder and the child are the same result, listed once.
    EXPECT_EQ(model.items().size(), 2u);
    EXPECT_EQ(model.items().front().location(), notes);
}

TEST_F(PaletteModelTest, HomeAndRootAreFoundByTheirNames)
{
    PaletteModel::Context c = context();
    c.places = {SidebarItem::folder(dir.path(), "ホーム"), SidebarItem::folder("/", "ルート")};
    c.sidebarItems = c.places;
    PaletteModel model(std::move(c), history);
    const QString ownName = QString::fromStdString(dir.path().filename().string());
    const std::vector<std::pair<QString, fs::path>> cases = {
        {"home", dir.path()},  {"ホーム", dir.path()},
        {"homu", dir.path()},  {ownName, dir.path()},
        {"#home", dir.path()}, {"~", dir.path()},
        {"root", "/"},         {"ルート", "/"},
        {"#root", "/"},        {"/", "/"},
    };
    for (const auto& [query, location] : cases) {
        model.setQuery(query);
        ASSERT_TRUE(QTest::qWaitFor([&] { return !model.items().empty(); }, 10000))
            << query.toStdString();
        EXPECT_EQ(model.items().front().location(), location) << query.toStdString();
    }
}

TEST_F(PaletteModelTest, FileModeIndexesInTheBackgroundAndSkipsDependencies)
{
    dir.file("app/src/main.cpp");
    dir.file("app/node_modules/lib/main.js");
    dir.file("app/.git/config");
    PaletteModel model(context(), history);
    model.setQuery("@main");
    EXPECT_TRUE(model.isIndexingFiles());
    EXPECT_EQ(model.emptyText(), "ファイルを集めています…");
    ASSERT_TRUE(QTest::qWaitFor([&] { return !model.isIndexingFiles(); }, 10000));
    EXPECT_EQ(titles(model), QStringList{"app/src/main.cpp"});
    EXPECT_TRUE(model.items().front().isFile());
}

TEST_F(PaletteModelTest, PathModeOffersTheTypedFoldersChildren)
{
    dir.folder("Documents");
    dir.folder("Docker");
    dir.folder(".dotfiles");
    dir.file("Doc.txt");
    PaletteModel model(context(), history);
    model.setQuery("~/Doc");
    EXPECT_TRUE(model.items().empty());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !model.items().empty(); }, 10000));
    QStringList found = titles(model);
    found.sort();
    EXPECT_EQ(found, (QStringList{"Docker", "Documents"}));
    EXPECT_TRUE(std::holds_alternative<PaletteItem::Path>(model.items().front().kind));

    model.setQuery("~/");
    EXPECT_EQ(model.items().front().title, "~"); // the typed folder itself first
    EXPECT_FALSE(titles(model).contains(".dotfiles"));
    model.setQuery("~/.d");
    EXPECT_EQ(titles(model), QStringList{".dotfiles"});
}

TEST_F(PaletteModelTest, SelectionMovesWithinTheResults)
{
    PaletteModel model(context(), history);
    model.setQuery(">");
    model.moveSelection(-1);
    EXPECT_EQ(model.selectedIndex(), 0);
    model.moveSelection(100);
    EXPECT_EQ(model.selectedIndex(), int(someCommands().size()) - 1);
    model.setQuery(">c");
    EXPECT_EQ(model.selectedIndex(), 0);
}
