#include "operations/BulkRenamer.h"

#include "operations/BulkRenameCommand.h"
#include "operations/RenameJournal.h"
#include "platform/FileCopier.h"
#include "support/TempDir.h"

#include <QUndoStack>
#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <map>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;
using Files = std::map<std::string, std::string>; // name → contents
using Names = std::vector<std::pair<std::string, std::string>>;
using Place = BulkRenamer::Place;

namespace {

void make(const TempDir& dir, const Files& files)
{
    for (const auto& [name, contents] : files)
        dir.file("items/" + name, contents);
}

std::vector<BulkRenamer::Pair> pairsIn(const fs::path& folder, const Names& names)
{
    std::vector<BulkRenamer::Pair> out;
    for (const auto& [from, to] : names)
        out.emplace_back(folder / from, folder / to);
    return out;
}

// A run that can no longer be alive: no pid reaches a billion.
ProcessStamp deadStamp(int n)
{
    return {999'999'000 + n, 1, ProcessStamp::current().bootId};
}

bool isEmptyFolder(const fs::path& folder)
{
    return !fs::exists(folder) || fs::is_empty(folder);
}

} // namespace

TEST(BulkRenamerTest, RenamesWithinTheSetAndKeepsNamesByteExact)
{
    const std::string longName(255, 'n');
    const struct {
        const char* what;
        Files before;
        Names pairs;
        Files after;
    } cases[] = {
        {"swap", {{"a", "A"}, {"b", "B"}}, {{"a", "b"}, {"b", "a"}}, {{"a", "B"}, {"b", "A"}}},
        {"cycle of three",
         {{"a", "1"}, {"b", "2"}, {"c", "3"}},
         {{"a", "b"}, {"b", "c"}, {"c", "a"}},
         {{"a", "3"}, {"b", "1"}, {"c", "2"}}},
        {"letter case only", {{"readme", "r"}}, {{"readme", "README"}}, {{"README", "r"}}},
        {"bytes that are not UTF-8, newlines, 255 bytes",
         {{"caf\xe9", "x"}, {longName, "y"}},
         {{"caf\xe9", "d\xe9j\xe0\nvu"}, {longName, "short"}},
         {{"d\xe9j\xe0\nvu", "x"}, {"short", "y"}}},
        {"an unchanged name is left alone",
         {{"a", "1"}, {"b", "2"}},
         {{"a", "a"}, {"b", "c"}},
         {{"a", "1"}, {"c", "2"}}},
    };
    for (const auto& c : cases) {
        TempDir dir;
        make(dir, c.before);
        RenameJournal journal(dir / "journal", ProcessStamp::current());
        const auto done = BulkRenamer::apply(pairsIn(dir / "items", c.pairs), journal);
        EXPECT_TRUE(done) << c.what;
        EXPECT_EQ(filesWithContents(dir / "items"), c.after) << c.what;
        EXPECT_TRUE(isEmptyFolder(dir / "journal")) << c.what;
    }
}

TEST(BulkRenamerTest, ShiftsAThousandNumberedFilesUpByOne)
{
    TempDir dir;
    Names names;
    Files after;
    for (int i = 1000; i >= 1; --i) {
        dir.file("items/" + std::to_string(i), std::to_string(i));
        names.emplace_back(std::to_string(i), std::to_string(i + 1));
        after[std::to_string(i + 1)] = std::to_string(i);
    }
    RenameJournal journal(dir / "journal", ProcessStamp::current());
    ASSERT_TRUE(BulkRenamer::apply(pairsIn(dir / "items", names), journal));
    EXPECT_EQ(filesWithContents(dir / "items"), after);
}

// Whatever fails, every item is back under its old name and the record is gone.
TEST(BulkRenamerTest, AFailurePutsEveryItemBack)
{
    const Files before{{"a", "1"}, {"b", "2"}, {"c", "3"}};
    const struct {
        const char* what;
        Names pairs;
        bool intruder;  // "d" appears between the phases
        bool noJournal; // the journal's folder cannot be made
        int code;
        const char* failing;
    } cases[] = {
        {"a final name taken", {{"a", "b"}, {"b", "a"}, {"c", "d"}}, true, false, EEXIST, "c"},
        {"an item listed twice", {{"a", "x"}, {"a", "y"}}, false, false, ENOENT, "a"},
        {"a missing item", {{"b", "x"}, {"gone", "y"}}, false, false, ENOENT, "gone"},
        {"no journal", {{"a", "b"}, {"b", "a"}}, false, true, ENOTDIR, "a"},
    };
    for (const auto& c : cases) {
        TempDir dir;
        make(dir, before);
        const fs::path journalFolder =
            c.noJournal ? dir.file("plain") / "journal" : dir / "journal";
        RenameJournal journal(journalFolder, ProcessStamp::current());
        const auto done = BulkRenamer::apply(pairsIn(dir / "items", c.pairs), journal,
                                             [&] { dir.file("items/d", "x"); });
        ASSERT_FALSE(done) << c.what;
        EXPECT_EQ(done.error().error.code, c.code) << c.what;
        EXPECT_EQ(done.error().name, QString::fromUtf8(c.failing)) << c.what;
        EXPECT_TRUE(done.error().rolledBack) << c.what;
        Files expected = before;
        if (c.intruder)
            expected["d"] = "x";
        EXPECT_EQ(filesWithContents(dir / "items"), expected) << c.what;
        EXPECT_TRUE(isEmptyFolder(journalFolder)) << c.what;
    }
}

// The real thing: a process killed between the phases, every item under its
// temporary name; the next start finishes the rename.
TEST(BulkRenamerTest, RecoveryFinishesARenameKilledBetweenThePhases)
{
    TempDir dir;
    make(dir, {{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", "4"}});
    const auto pairs = pairsIn(dir / "items", {{"a", "b"}, {"b", "c"}, {"c", "a"}, {"d", "e"}});
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(ready[0]);
        RenameJournal journal(dir / "journal", ProcessStamp::current());
        (void)BulkRenamer::apply(pairs, journal, [&] {
            (void)!::write(ready[1], "!", 1);
            ::pause();
        });
        ::_exit(1);
    }
    ::close(ready[1]);
    char signal = 0;
    const bool between = ::read(ready[0], &signal, 1) == 1;
    ::close(ready[0]);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    ASSERT_TRUE(between);
    EXPECT_EQ(filesWithContents(dir / "items").begin()->first.substr(0, 15), ".quillo-rename-");

    RenameJournal next(dir / "journal", ProcessStamp::current());
    const auto report = next.recover();
    EXPECT_EQ(filesWithContents(dir / "items"),
              (Files{{"a", "3"}, {"b", "1"}, {"c", "2"}, {"e", "4"}}));
    EXPECT_EQ(report.finished, 4);
    EXPECT_EQ(report.alertText(),
              "前回、名前の変更が途中で終了しました。4 項目の名前の変更を完了しました。");
    EXPECT_TRUE(isEmptyFolder(dir / "journal"));
}

// States a kill can leave, made by hand: forward once every item has left its old
// name, else back; a name taken since sends an item to its other name or leaves it.
TEST(BulkRenamerTest, RecoveryFinishesOrRollsBackByWhereTheItemsAre)
{
    const struct {
        const char* what;
        std::vector<Place> places;
        bool intruder; // "d" made after the kill
        Files after;
        int finished, rolledBack;
    } cases[] = {
        {"no item moved yet",
         {Place::old, Place::old, Place::old},
         false,
         {{"a", "1"}, {"b", "2"}, {"c", "3"}},
         0,
         0},
        {"phase one midway",
         {Place::temporary, Place::old, Place::old},
         false,
         {{"a", "1"}, {"b", "2"}, {"c", "3"}},
         0,
         1},
        {"phase one done",
         {Place::temporary, Place::temporary, Place::temporary},
         false,
         {{"b", "1"}, {"c", "2"}, {"d", "3"}},
         3,
         0},
        {"phase two midway",
         {Place::renamed, Place::temporary, Place::temporary},
         false,
         {{"b", "1"}, {"c", "2"}, {"d", "3"}},
         2,
         0},
        {"rolling back midway",
         {Place::old, Place::temporary, Place::temporary},
         false,
         {{"a", "1"}, {"b", "2"}, {"c", "3"}},
         0,
         2},
        {"a new name taken since",
         {Place::temporary, Place::temporary, Place::temporary},
         true,
         {{"b", "1"}, {"c", "2"}, {"d", "x"}, {".quillo-rename-test-2", "3"}},
         2,
         0},
    };
    for (const auto& c : cases) {
        TempDir dir;
        make(dir, {{"a", "1"}, {"b", "2"}, {"c", "3"}});
        const fs::path items = dir / "items";
        const Names names{{"a", "b"}, {"b", "c"}, {"c", "d"}};
        RenameJournal::Plan plan{{items}, ".quillo-rename-test-", {}};
        for (const auto& [from, to] : names)
            plan.steps.push_back({0, from, to, FileCopier::identity(items / from)});
        RenameJournal dead(dir / "journal", deadStamp(1));
        ASSERT_TRUE(dead.begin(plan));
        for (size_t i = 0; i < names.size(); ++i) {
            if (c.places[i] != Place::old)
                fs::rename(plan.oldPath(i), plan.temporaryPath(i));
        }
        for (size_t i = 0; i < names.size(); ++i) {
            if (c.places[i] == Place::renamed)
                fs::rename(plan.temporaryPath(i), plan.newPath(i));
        }
        if (c.intruder)
            dir.file("items/d", "x");
        RenameJournal next(dir / "journal", ProcessStamp::current());
        const auto report = next.recover();
        EXPECT_EQ(filesWithContents(items), c.after) << c.what;
        EXPECT_EQ(report.finished, c.finished) << c.what;
        EXPECT_EQ(report.rolledBack, c.rolledBack) << c.what;
        EXPECT_EQ(report.leftAt.size(), c.intruder ? 1u : 0u) << c.what;
        EXPECT_TRUE(isEmptyFolder(dir / "journal")) << c.what;
        if (c.intruder) {
            EXPECT_TRUE(report.alertText().endsWith(
                "2 項目の名前の変更を完了しました。次の項目は一時的な名前のまま残っています:\n" +
                QString::fromStdString((items / ".quillo-rename-test-2").native())));
        }
    }
}

TEST(BulkRenamerTest, RecoveryLeavesRunningRenamesAndSetsCorruptRecordsAside)
{
    TempDir dir;
    const fs::path item = dir.file("items/a", "1");
    const fs::path journal = dir / "journal";
    RenameJournal live(journal, ProcessStamp::current());
    const RenameJournal::Plan plan{
        {dir / "items"}, ".quillo-rename-live-", {{0, "a", "b", FileCopier::identity(item)}}};
    ASSERT_TRUE(live.begin(plan));
    fs::rename(item, dir / "items/.quillo-rename-live-0");
    const std::string dead = deadStamp(2).text();
    dir.file("journal/" + dead + ".1.json", "{\"steps\": [{\"folder\": 12");
    // A record that would move a file that is not ours under a name not ours.
    dir.file("journal/" + dead + ".2.json",
             "{\"temporaryPrefix\":\"aXRlbXM=\",\"folders\":[\"" +
                 QByteArray::fromStdString(dir.path().native()).toBase64().toStdString() +
                 "\"],\"steps\":[{\"folder\":0,\"old\":\"YQ==\",\"new\":\"Yg==\","
                 "\"identity\":[\"1\",\"2\"]}]}");
    RenameJournal next(journal, deadStamp(3));
    EXPECT_TRUE(next.recover().isEmpty());
    EXPECT_EQ(filesWithContents(dir / "items"), (Files{{".quillo-rename-live-0", "1"}}));
    size_t corrupt = 0;
    for (const auto& [name, contents] : filesWithContents(journal))
        corrupt += name.ends_with(".corrupt");
    EXPECT_EQ(corrupt, 2u);
    EXPECT_EQ(filesWithContents(journal).size(), 3u);
}

TEST(BulkRenamerTest, UndoAndRedoRenameEverythingBackAndAgain)
{
    TempDir dir;
    make(dir, {{"a", "1"}, {"b", "2"}});
    const auto pairs = pairsIn(dir / "items", {{"a", "b"}, {"b", "c"}});
    ASSERT_TRUE(BulkRenamer::apply(pairs, RenameJournal::shared()));
    UndoReport last;
    QUndoStack stack;
    stack.push(new BulkRenameCommand(pairs, [&](auto work) { last = work(); }));
    EXPECT_EQ(stack.undoText(), "名前の変更");
    stack.undo();
    EXPECT_EQ(filesWithContents(dir / "items"), (Files{{"a", "1"}, {"b", "2"}}));
    EXPECT_EQ(last.moves.size(), 2u);
    EXPECT_EQ(last.folders, std::vector<fs::path>{dir / "items"});
    dir.file("items/c", "taken");
    stack.redo();
    EXPECT_EQ(filesWithContents(dir / "items"), (Files{{"a", "1"}, {"b", "2"}, {"c", "taken"}}));
    ASSERT_EQ(last.failures.size(), 1u);
    EXPECT_EQ(last.failures[0].message, "「b」をやり直せませんでした。");
    EXPECT_TRUE(last.moves.empty());
}
