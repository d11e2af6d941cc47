#include "operations/FileOperationManager.h"

#include "core/PathText.h"
#include "core/Preferences.h"
#include "operations/FileOperation.h"
#include "operations/OperationsStore.h"
#include "platform/FileCopier.h"
#include "support/Lists.h"
#include "support/TempDir.h"

#include <QTest>
#include <QTimer>
#include <QUndoStack>
#include <deque>
#include <gtest/gtest.h>
#include <map>

namespace fs = std::filesystem;

namespace {

using Paths = std::vector<fs::path>;
using Response = Alert::Response;
enum Conflict { keepBoth, replace, skip, stop };

// Answers from a queue (then with the default button), one event-loop turn later.
class ScriptedPrompter : public Prompter {
public:
    std::deque<Response> answers;
    std::vector<Alert> shown;
    std::function<void(const Alert&)> onPresent;

    void present(const Alert& alert, std::function<void(Response)> done) override
    {
        shown.push_back(alert);
        if (onPresent)
            onPresent(alert);
        const Response answer =
            answers.empty() ? Response{alert.defaultButton, false} : answers.front();
        if (!answers.empty())
            answers.pop_front();
        QTimer::singleShot(0, [done, answer] { done(answer); });
    }
    QStringList messages() const { return textsOf(shown, &Alert::message); }
};

// Every path below the folder with the contents of its files ("/" for folders).
std::map<std::string, std::string> listing(const fs::path& root)
{
    std::map<std::string, std::string> out;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        // Lexical: fs::relative would resolve a link to what it points at.
        const std::string relative = entry.path().lexically_relative(root).native();
        out[relative] = entry.is_directory() ? "/" : readFile(entry.path());
    }
    return out;
}

std::vector<FileItem> items(std::initializer_list<fs::path> paths)
{
    std::vector<FileItem> out;
    for (const fs::path& path : paths)
        out.push_back({path, FileCopier::identity(path)});
    return out;
}

class FileOperationManagerTest : public ::testing::Test {
public:
    TempDir dir;
    FileOperationManager manager;
    std::shared_ptr<ScriptedPrompter> prompter = std::make_shared<ScriptedPrompter>();

    FileOperationManagerTest() { manager.setFallbackPrompter(prompter); }

    // Runs an asynchronous call and answers what it passed to its callback.
    template <typename T = Paths, typename Call>
    T await(Call call)
    {
        std::optional<T> result;
        call([&](T value) { result = std::move(value); });
        EXPECT_TRUE(QTest::qWaitFor([&] { return result.has_value(); }, 20000));
        return result.value_or(T{});
    }
    Paths transfer(std::vector<FileItem> sources, const fs::path& folder, TransferMode mode)
    {
        return await([&](auto done) { manager.transfer(sources, folder, mode, prompter, done); });
    }
    Paths trash(std::vector<FileItem> sources)
    {
        return await([&](auto done) { manager.moveToTrash(sources, prompter, done); });
    }
    Paths deleteNow(std::vector<FileItem> sources)
    {
        return await([&](auto done) { manager.deletePermanently(sources, prompter, done); });
    }
    std::optional<fs::path> rename(const FileItem& item, const QString& name)
    {
        return await<std::optional<fs::path>>(
            [&](auto done) { manager.rename(item, name, prompter, done); });
    }
    std::optional<fs::path> create(const fs::path& folder, bool isFolder)
    {
        return await<std::optional<fs::path>>([&](auto done) {
            isFolder ? manager.createFolder(folder, prompter, done)
                     : manager.createFile(folder, prompter, done);
        });
    }
    Paths bulkRename(const fs::path& item, const QString& newName)
    {
        return await([&](auto done) {
            manager.bulkRename({{{item, std::nullopt}, newName}}, prompter, done);
        });
    }
    std::optional<fs::path> archive(const fs::path& item, bool compress)
    {
        return await<std::optional<fs::path>>([&](auto done) {
            compress ? manager.compress(items({item}), prompter, done)
                     : manager.expand({item, std::nullopt}, prompter, done);
        });
    }
    Paths links(std::vector<FileItem> targets, const fs::path& folder)
    {
        return await(
            [&](auto done) { manager.makeSymbolicLinks(targets, folder, prompter, done); });
    }
    void undoOrRedo(bool undo)
    {
        int changes = 0;
        const auto connection =
            QObject::connect(&manager, &FileOperationManager::foldersChanged, [&] { ++changes; });
        undo ? manager.undoStack().undo() : manager.undoStack().redo();
        EXPECT_TRUE(QTest::qWaitFor([&] { return changes > 0; }, 20000));
        QObject::disconnect(connection);
    }
};

// Only the same folder, also reached through a link to it, makes a copy beside the
// item or skips a move; a hard link to the item in another folder is another item
// whose name is taken, so the user is asked.
TEST_F(FileOperationManagerTest, IntoItsOwnOrAnInnerFolder)
{
    dir.file("a.txt", "A");
    dir.folder("d");
    dir.link("here", ".");
    fs::create_hard_link(dir / "a.txt", dir.folder("g") / "a.txt");
    const auto both = items({dir / "a.txt", dir / "d"});
    const auto one = items({dir / "a.txt"});
    const QStringList asked{"「a.txt」という名前の項目がすでにこの場所にあります。"};
    struct Case {
        std::vector<FileItem> sources;
        fs::path folder;
        TransferMode mode;
        Paths made;
        QStringList shown; // the conflict question is answered with Skip
    };
    const Case cases[] = {
        {both, dir.path(), TransferMode::move, {}, {}},
        {both, dir.path(), TransferMode::copy, {dir / "a のコピー.txt", dir / "d のコピー"}, {}},
        {one, dir / "here", TransferMode::copy, {dir / "here/a のコピー 2.txt"}, {}},
        {one, dir / "here", TransferMode::move, {}, {}},
        {one, dir / "g", TransferMode::copy, {}, asked},
        {one, dir / "g", TransferMode::move, {}, asked},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.folder.native() + (c.mode == TransferMode::move ? " move" : " copy"));
        prompter->shown.clear();
        prompter->answers = {{skip, false}};
        EXPECT_EQ(transfer(c.sources, c.folder, c.mode), c.made);
        EXPECT_EQ(prompter->messages(), c.shown);
    }
    EXPECT_EQ(readFile(dir / "a のコピー 2.txt"), "A");
    EXPECT_EQ(fs::hard_link_count(dir / "a.txt"), 2u);
    prompter->shown.clear();

    // A folder into one inside it is refused before anything moves.
    dir.folder("A/B");
    const auto before = listing(dir.path());
    for (const TransferMode mode : {TransferMode::move, TransferMode::copy}) {
        EXPECT_TRUE(transfer(items({dir / "a.txt", dir / "A"}), dir / "A/B", mode).empty());
        EXPECT_EQ(listing(dir.path()), before);
    }
    EXPECT_EQ(prompter->messages(), (QStringList{"「A」をその中に移動することはできません。",
                                                 "「A」をその中にコピーすることはできません。"}));
    EXPECT_EQ(manager.undoStack().count(), 2); // the two copies only
}

// Hard links among the items of one transfer stay links, as with cp -a: across items,
// within one, and when a move between file systems copies (the sources going one by
// one, the last link is a lone file by the time it is moved).
TEST_F(FileOperationManagerTest, HardLinksAmongTheItemsStayLinks)
{
    const QByteArray tmp = qgetenv("TMPDIR");
    qputenv("TMPDIR", "/dev/shm");
    const TempDir shm;
    tmp.isNull() ? qunsetenv("TMPDIR") : qputenv("TMPDIR", tmp);
    const bool otherVolume =
        FileCopier::identity(shm / ".")->device != FileCopier::identity(dir / ".")->device;
    for (const auto& [mode, into] : {std::pair{TransferMode::copy, dir / "copies"},
                                     std::pair{TransferMode::move, shm / "moved"}}) {
        if (mode == TransferMode::move && !otherVolume)
            continue;
        const std::string name = mode == TransferMode::copy ? "c" : "m";
        const fs::path from = dir.file(name + "/x", "data").parent_path();
        fs::create_hard_link(from / "x", from / "y");
        fs::create_hard_link(from / "x", dir.folder(name + "/sub") / "z");
        fs::create_directories(into);
        EXPECT_EQ(transfer(items({from / "x", from / "y", from / "sub"}), into, mode).size(), 3u);
        const auto copy = FileCopier::identity(into / "x");
        for (const char* link : {"y", "sub/z"})
            EXPECT_EQ(FileCopier::identity(into / link), copy) << link;
        EXPECT_EQ(fs::hard_link_count(into / "x"), 3u);
        EXPECT_EQ(readFile(into / "sub/z"), "data");
        EXPECT_EQ(fs::exists(from / "x"), mode == TransferMode::copy);
        if (mode == TransferMode::move) { // and back again
            undoOrRedo(true);
            EXPECT_EQ(FileCopier::identity(from / "sub/z"), FileCopier::identity(from / "x"));
            EXPECT_EQ(fs::hard_link_count(from / "y"), 3u);
        }
    }
    EXPECT_TRUE(prompter->shown.empty());
}

TEST_F(FileOperationManagerTest, ConflictQuestionOffersApplyToAllWhileMoreRemain)
{
    for (const char* name : {"1", "2", "3"}) {
        dir.file(std::string("src/") + name, "new");
        dir.file(std::string("dst/") + name, "old");
    }
    const auto sources = items({dir / "src/1", dir / "src/2", dir / "src/3"});

    prompter->answers = {{skip, false}, {skip, false}, {skip, false}};
    EXPECT_TRUE(transfer(sources, dir / "dst", TransferMode::copy).empty());
    ASSERT_EQ(prompter->shown.size(), 3u);
    const Alert& first = prompter->shown.front();
    EXPECT_EQ(first.message, "「1」という名前の項目がすでにこの場所にあります。");
    EXPECT_EQ(first.informativeText, "置き換えると、元の項目はゴミ箱に移動します。");
    EXPECT_EQ(first.buttons, (QStringList{"両方残す", "置き換える", "スキップ", "中止"}));
    EXPECT_EQ(first.defaultButton, 0);
    EXPECT_EQ(first.escapeButton, 3);
    EXPECT_EQ(first.suppressionTitle, "残りのすべてに適用");
    EXPECT_EQ(prompter->shown[1].suppressionTitle, "残りのすべてに適用");
    EXPECT_TRUE(prompter->shown[2].suppressionTitle.isEmpty());

    prompter->shown.clear();
    prompter->answers = {{keepBoth, true}};
    EXPECT_EQ(transfer(sources, dir / "dst", TransferMode::copy),
              (Paths{dir / "dst/1 のコピー", dir / "dst/2 のコピー", dir / "dst/3 のコピー"}));
    EXPECT_EQ(prompter->shown.size(), 1u);

    prompter->answers = {{stop, false}};
    EXPECT_TRUE(transfer(sources, dir / "dst", TransferMode::move).empty());
    EXPECT_EQ(readFile(dir / "src/3"), "new");
}

TEST_F(FileOperationManagerTest, ReplaceSendsTheOldItemToTheTrashAndUndoRestoresBoth)
{
    dir.file("src/a", "new");
    dir.file("dst/a", "old");
    const auto before = listing(dir.path());
    prompter->answers = {{replace, false}};
    EXPECT_EQ(transfer(items({dir / "src/a"}), dir / "dst", TransferMode::move),
              Paths{dir / "dst/a"});
    EXPECT_EQ(readFile(dir / "dst/a"), "new");
    EXPECT_FALSE(fs::exists(dir / "src/a"));
    EXPECT_TRUE(std::ranges::any_of(
        fs::directory_iterator(PathText::homeFolder() / "data/Trash/files"),
        [](const fs::directory_entry& entry) { return readFile(entry.path()) == "old"; }));
    EXPECT_EQ(manager.undoStack().undoText(), "移動");

    undoOrRedo(true);
    EXPECT_EQ(listing(dir.path()), before);

    // Never when the item to replace holds the source.
    dir.file("A/A", "inner");
    prompter->answers = {{replace, false}};
    EXPECT_TRUE(transfer(items({dir / "A/A"}), dir.path(), TransferMode::move).empty());
    EXPECT_EQ(prompter->messages().back(), "「A」は元を含んでいるため置き換えできません。");
    EXPECT_EQ(readFile(dir / "A/A"), "inner");
}

TEST_F(FileOperationManagerTest, FailedOrChangedItemsAreReportedAndTheRestContinues)
{
    dir.file("x", "x");
    dir.file("y", "y");
    dir.folder("dst");
    const auto seen = items({dir / "x"});
    fs::rename(dir / "x", dir / "x.old"); // another file now stands at the path
    dir.file("x", "other");
    std::vector<FileItem> sources = seen;
    sources.push_back({dir / "missing", std::nullopt});
    sources.push_back({dir / "y", std::nullopt});

    EXPECT_EQ(transfer(sources, dir / "dst", TransferMode::copy), Paths{dir / "dst/y"});
    EXPECT_EQ(prompter->messages(), (QStringList{"「x」は変更されたため、処理しませんでした。",
                                                 "「missing」をコピーできませんでした。"}));
    EXPECT_EQ(prompter->shown.at(1).informativeText, "ファイルまたはフォルダが見つかりません。");

    prompter->shown.clear();
    EXPECT_TRUE(trash(seen).empty());
    EXPECT_FALSE(rename(seen.front(), "z"));
    EXPECT_EQ(prompter->messages(), QStringList(2, "「x」は変更されたため、処理しませんでした。"));
    EXPECT_EQ(readFile(dir / "x"), "other");
}

TEST_F(FileOperationManagerTest, CancelKeepsFinishedItemsAndTheirUndo)
{
    for (const char* name : {"a", "b", "c"})
        dir.file(std::string("src/") + name, name);
    dir.file("dst/b", "old");
    // The user cancels from the panel while the second item's question is up.
    prompter->onPresent = [](const Alert&) {
        OperationsStore::shared().operations().back()->progress().cancel();
    };
    prompter->answers = {{keepBoth, false}};
    EXPECT_EQ(transfer(items({dir / "src/a", dir / "src/b", dir / "src/c"}), dir / "dst",
                       TransferMode::copy),
              Paths{dir / "dst/a"});
    EXPECT_EQ(listing(dir / "dst"), (std::map<std::string, std::string>{{"a", "a"}, {"b", "old"}}));
    ASSERT_EQ(manager.undoStack().count(), 1);
    undoOrRedo(true);
    EXPECT_FALSE(fs::exists(dir / "dst/a"));
}

TEST_F(FileOperationManagerTest, ImmediateDeletionAsksWithReturnOnCancel)
{
    dir.file("one", "1");
    dir.file("two", "2");
    const auto both = items({dir / "one", dir / "two"});
    EXPECT_TRUE(deleteNow(both).empty()); // Return
    EXPECT_TRUE(deleteNow({both[0]}).empty());
    EXPECT_EQ(prompter->messages(),
              (QStringList{"2 項目をすぐに削除しますか？", "「one」をすぐに削除しますか？"}));
    const Alert& alert = prompter->shown.at(0);
    EXPECT_EQ(alert.informativeText, "ゴミ箱を使わずに削除します。この操作は取り消せません。");
    EXPECT_EQ(alert.buttons, (QStringList{"削除", "キャンセル"}));
    EXPECT_EQ(alert.buttons.value(alert.defaultButton), "キャンセル");
    EXPECT_EQ(alert.buttons.value(alert.destructiveButton), "削除");
    EXPECT_TRUE(fs::exists(dir / "one") && fs::exists(dir / "two"));

    prompter->answers = {{0, false}};
    EXPECT_EQ(deleteNow(both), (Paths{dir / "one", dir / "two"}));
    EXPECT_TRUE(listing(dir.path()).empty());
    EXPECT_EQ(manager.undoStack().count(), 0);
}

TEST_F(FileOperationManagerTest, EveryOperationUndoesAndRedoes)
{
    struct Case {
        const char* action;
        std::function<void(FileOperationManagerTest&)> perform;
        const char* appears; // relative to the scratch folder; null for none
    };
    const Case cases[] = {
        {"コピー",
         [](auto& t) { t.transfer(items({t.dir / "f/a"}), t.dir / "g", TransferMode::copy); },
         "g/a"},
        {"移動", [](auto& t) { t.transfer(items({t.dir / "f"}), t.dir / "g", TransferMode::move); },
         "g/f/a"},
        {"ゴミ箱に入れる", [](auto& t) { t.trash(items({t.dir / "f"})); }, nullptr},
        {"名前の変更", [](auto& t) { t.rename(items({t.dir / "f/a"}).front(), "A"); }, "f/A"},
        {"新規フォルダ", [](auto& t) { t.create(t.dir / "g", true); }, "g/名称未設定フォルダ"},
        {"新規ファイル", [](auto& t) { t.create(t.dir / "f", false); }, "f/名称未設定.txt"},
        {"名前の変更", [](auto& t) { t.bulkRename(t.dir / "f/a", "b"); }, "f/b"},
        {"圧縮", [](auto& t) { t.archive(t.dir / "f", true); }, "f.zip"},
        {"展開", [](auto& t) { t.archive(t.dir / "z.zip", false); }, "f 2/a"},
        {"シンボリックリンクの作成", [](auto& t) { t.links(items({t.dir / "f/a"}), t.dir / "g"); },
         "g/a のリンク"},
    };
    dir.file("f/a", "a");
    dir.folder("g");
    ASSERT_TRUE(archive(dir / "f", true));
    fs::rename(dir / "f.zip", dir / "z.zip");
    manager.undoStack().clear();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.action);
        const auto before = listing(dir.path());
        c.perform(*this);
        const auto after = listing(dir.path());
        EXPECT_NE(after, before);
        if (c.appears)
            EXPECT_TRUE(after.contains(c.appears));
        EXPECT_EQ(manager.undoStack().undoText(), c.action);
        undoOrRedo(true);
        EXPECT_EQ(listing(dir.path()), before);
        undoOrRedo(false);
        EXPECT_EQ(listing(dir.path()), after);
        undoOrRedo(true); // back to the start for the next case
    }
    EXPECT_TRUE(prompter->shown.empty());

    // Renames that change nothing or would clash are refused; a change of letter case is not.
    dir.file("readme", "r");
    dir.file("b", "b");
    const auto renamed = [&](const char* from, const char* to) {
        return rename({dir / from, std::nullopt}, to);
    };
    EXPECT_EQ(renamed("readme", "README"), dir / "README");
    EXPECT_EQ(readFile(dir / "README"), "r");
    EXPECT_FALSE(renamed("README", "README"));
    EXPECT_FALSE(renamed("b", "README"));
    fs::create_hard_link(dir / "b", dir / "B"); // another item, though the same file
    EXPECT_FALSE(renamed("b", "B"));
    EXPECT_FALSE(renamed("b", "x/y"));
    ASSERT_EQ(prompter->shown.size(), 3u);
    EXPECT_EQ(prompter->messages().mid(0, 2),
              (QStringList{"「README」という名前はすでに使われています。別の名前を選んでください。",
                           "「B」という名前はすでに使われています。別の名前を選んでください。"}));
    EXPECT_FALSE(prompter->shown[2].message.isEmpty()); // the naming rules' own message
    EXPECT_EQ(readFile(dir / "b"), "b");
}

TEST_F(FileOperationManagerTest, LinksAreNamedAfterTheirItemsAndPointAtThem)
{
    dir.file("memo.txt");
    dir.folder("a.b");
    const Paths made = links(items({dir / "memo.txt", dir / "a.b", dir / "memo.txt"}), dir.path());
    EXPECT_EQ(made, (Paths{dir / "memo のリンク.txt", dir / "a.b のリンク",
                           dir / "memo のリンク 2.txt"}));
    EXPECT_EQ(fs::read_symlink(made[1]), dir / "a.b");
    EXPECT_EQ(fs::read_symlink(made[2]), dir / "memo.txt");

    // A folder that is not there: each link fails on its own, with its name.
    EXPECT_TRUE(links(items({dir / "memo.txt"}), dir / "gone").empty());
    EXPECT_EQ(prompter->messages(), QStringList{"「memo のリンク.txt」を作成できませんでした。"});
}

TEST_F(FileOperationManagerTest, PaneTransferConfirmationAbbreviatesHomeAndCanBeTurnedOff)
{
    const ScratchSettings settings;
    const auto confirm = [&](int count, const fs::path& where, TransferMode mode) {
        return await<bool>(
            [&](auto done) { manager.confirmTransfer(count, where, mode, prompter, done); });
    };
    prompter->answers = {{1, false}, {0, true}};
    EXPECT_FALSE(confirm(2, PathText::homeFolder() / "dest", TransferMode::copy));
    EXPECT_TRUE(confirm(1, PathText::homeFolder(), TransferMode::move));
    ASSERT_EQ(prompter->shown.size(), 2u);
    EXPECT_EQ(prompter->shown[0].message, "2 項目をコピーします");
    EXPECT_EQ(prompter->shown[0].informativeText, "コピー先: ~/dest");
    EXPECT_EQ(prompter->shown[0].buttons, (QStringList{"コピー", "キャンセル"}));
    EXPECT_EQ(prompter->shown[0].suppressionTitle, "今後は確認しない");
    EXPECT_EQ(prompter->shown[1].informativeText, "移動先: ~");
    EXPECT_FALSE(Preferences::shared().confirmPaneTransfer());

    EXPECT_TRUE(confirm(3, "/srv", TransferMode::copy)); // no longer asks
    Preferences::shared().setConfirmPaneTransfer(true);
    confirm(3, "/srv", TransferMode::copy);
    EXPECT_EQ(prompter->shown.size(), 3u);
    EXPECT_EQ(prompter->shown.back().informativeText, "コピー先: /srv");
}

} // namespace
