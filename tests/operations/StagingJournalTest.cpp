#include "operations/StagingJournal.h"

#include "platform/FileCopier.h"
#include "support/TempDir.h"
#include "support/ToolRun.h"

#include <QProcess>
#include <algorithm>
#include <csignal>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace fs = std::filesystem;
using Kind = StagingJournal::Kind;

namespace {

std::vector<std::string> names(const fs::path& folder)
{
    std::vector<std::string> out;
    for (const auto& entry : fs::directory_iterator(folder))
        out.push_back(entry.path().filename().native());
    std::sort(out.begin(), out.end());
    return out;
}

// A run that can no longer be alive: no pid reaches a billion.
ProcessStamp deadStamp(int n)
{
    return {999'999'000 + n, 1, ProcessStamp::current().bootId};
}

// Lets every copy run to its end.
struct Unobserved : CopyObserver {
    bool fileStarted(const fs::path&) override { return true; }
    bool dataCopied(int64_t) override { return true; }
    bool fileFinished() override { return true; }
};

void copyTo(const fs::path& from, const fs::path& to)
{
    Unobserved observer;
    ASSERT_TRUE(FileCopier::copyTree(from, to, observer));
}

} // namespace

// A process killed at each point of a transfer leaves its record; the next recovery
// leaves every item at its source or its destination, complete and visible.
TEST(StagingJournalTest, RecoveryFinishesOrUndoesWhatAKilledProcessLeft)
{
    TempDir dir;
    struct Case {
        const char* what;
        Kind kind;
        std::function<void(const fs::path& source, const fs::path& hidden,
                           const fs::path& destination)>
            killedAt;                   // the state the kill left
        bool copied;                    // the hidden copy of a move had been synced and marked
        std::vector<std::string> after; // what the folder holds after the recovery
        bool unfinished;
        std::function<void(const fs::path&, const fs::path&, const fs::path&)> since = {};
    };
    const auto nothing = [](const fs::path&, const fs::path&, const fs::path&) {};
    const auto copyToHidden = [](const fs::path& s, const fs::path& h, const fs::path&) {
        copyTo(s, h);
    };
    const auto copyToDestination = [](const fs::path& s, const fs::path&, const fs::path& d) {
        copyTo(s, d);
    };
    const Case cases[] = {
        {"copy midway", Kind::folder, copyToHidden, false, {"source"}, false},
        {"copy renamed", Kind::folder, copyToDestination, false, {"destination", "source"}, false},
        {"move midway", Kind::move, copyToHidden, false, {"source"}, false},
        {"move synced, not renamed", Kind::move, copyToHidden, true, {"destination"}, false},
        {"move renamed, source not removed",
         Kind::move,
         copyToDestination,
         true,
         {"destination"},
         false},
        {"move renamed, destination replaced since",
         Kind::move,
         copyToDestination,
         true,
         {"destination", "elsewhere", "source"},
         true,
         [](const fs::path& s, const fs::path&, const fs::path& d) {
             fs::rename(d, d.parent_path() / "elsewhere");
             copyTo(s, d);
         }},
        {"move with the copy gone", Kind::move, nothing, true, {"source"}, true},
        {"replacement copy, old item trashed",
         Kind::replaceCopy,
         copyToHidden,
         false,
         {"destination", "source"},
         false},
        {"replacement copy, old item still there",
         Kind::replaceCopy,
         [](const fs::path& s, const fs::path& h, const fs::path& d) {
             copyTo(s, h), copyTo(s, d);
         },
         false,
         {"destination", "source"},
         false},
        {"replacement move, old item trashed",
         Kind::replaceMove,
         [](const fs::path& s, const fs::path& h, const fs::path&) { fs::rename(s, h); },
         false,
         {"destination"},
         false},
        {"replacement move, old item still there",
         Kind::replaceMove,
         [](const fs::path& s, const fs::path& h, const fs::path& d) {
             copyTo(s, d), fs::rename(s, h);
         },
         false,
         {"destination", "source"},
         true},
    };
    int n = 0;
    for (const Case& c : cases) {
        const fs::path folder = dir.folder("case" + std::to_string(++n));
        const fs::path source =
            dir.file("case" + std::to_string(n) + "/source/data", c.what).parent_path();
        const fs::path destination = folder / "destination";
        StagingJournal dead(folder / "journal", deadStamp(n));
        const bool staged = c.kind == Kind::folder || c.kind == Kind::move;
        const fs::path hidden =
            staged ? dead.stagingPath(destination) : folder / ".quillo-0123456789ab";
        // A plain copy has no entry of its own: its folder's entry covers it.
        auto ticket = c.kind == Kind::folder
                          ? StagingJournal::Ticket()
                          : dead.begin({c.kind, hidden, destination, source,
                                        FileCopier::identity(source), std::nullopt});
        c.killedAt(source, hidden, destination);
        if (c.copied)
            ticket.markCopied(FileCopier::identity(fs::exists(hidden) ? hidden : destination)
                                  .value_or(FileIdentity{}));
        if (c.since)
            c.since(source, hidden, destination);
        StagingJournal next(folder / "journal", ProcessStamp::current());
        const auto report = next.recover();
        std::vector<std::string> left = names(folder);
        std::erase(left, "journal");
        EXPECT_EQ(left, c.after) << c.what;
        for (const std::string& name : left)
            EXPECT_EQ(readFile(folder / name / "data"), c.what) << c.what << " " << name;
        EXPECT_EQ(report.unfinished.size(), c.unfinished ? 1u : 0u) << c.what;
        EXPECT_EQ(report.alertText().startsWith("前回の移動を完了できませんでした: "), c.unfinished)
            << c.what;
        EXPECT_TRUE(names(folder / "journal").empty()) << c.what;
    }
}

TEST(StagingJournalTest, RecordsOfRunningProcessesAndOtherItemsAreNeverTouched)
{
    TempDir dir;
    const fs::path source = dir.file("source", "s");
    const fs::path journal = dir / "journal";
    // This process is running: its staged copy stays, in the very folder that a dead
    // process staged in too. A listed item not named as ours is never removed.
    StagingJournal live(journal, ProcessStamp::current());
    StagingJournal dead(journal, deadStamp(0));
    const fs::path ours = live.stagingPath(dir / "a");
    std::ofstream(ours) << "partial";
    (void)dead.stagingPath(dir / "b");
    const fs::path notOurs = dir.file("visible", "mine");
    const auto deadTicket = dead.begin({Kind::replaceCopy, notOurs, dir / "b", source, {}, {}});
    StagingJournal next(journal, deadStamp(1));
    const auto report = next.recover();
    EXPECT_TRUE(report.isEmpty());
    EXPECT_EQ(readFile(ours), "partial");
    EXPECT_EQ(readFile(notOurs), "mine");
    EXPECT_EQ(names(journal), std::vector<std::string>{ProcessStamp::current().text() + ".json"});
}

// An expansion's hidden folder is listed by its whole name.
TEST(StagingJournalTest, ArchivesLeftByAKilledProcessAreRemoved)
{
    TempDir dir;
    const fs::path journal = dir / "journal";
    const std::string uuid = "0b5f6e0e-6b43-4a57-9d8c-2b1f3c4d5e6f";
    const fs::path expanding = dir.folder(".quillo-expand-" + uuid);
    dir.file(".quillo-expand-" + uuid + "/inner/data", "partial");
    const fs::path unlisted = dir.folder(".quillo-expand-1b5f6e0e-6b43-4a57-9d8c-2b1f3c4d5e6f");
    const fs::path tooShort = dir.folder(".quillo-expand-x");
    StagingJournal dead(journal, deadStamp(0));
    const auto tickets = {dead.begin({Kind::folder, expanding}),
                          dead.begin({Kind::folder, tooShort})};
    StagingJournal next(journal, ProcessStamp::current());
    const auto report = next.recover();
    EXPECT_EQ(report.removed, std::vector<fs::path>{expanding});
    EXPECT_EQ(names(dir.path()),
              (std::vector<std::string>{unlisted.filename(), tooShort.filename(), "journal"}));
}

// The real thing: quillo-tool is killed the moment its staging copy appears, while
// its data is still being written.
TEST(StagingJournalTest, KilledCopyIsRemovedByTheNextRecovery)
{
    TempDir dir;
    const std::string contents(size_t(64) << 20, 'x');
    const fs::path source = dir.file("large", contents);
    const fs::path target = dir.folder("target");
    const fs::path data = dir.folder("data");
    const int watch = ::inotify_init1(IN_CLOEXEC);
    ASSERT_GE(::inotify_add_watch(watch, target.c_str(), IN_CREATE), 0);

    QProcess tool;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_DATA_HOME", QString::fromStdString(data.native()));
    tool.setProcessEnvironment(environment);
    tool.start(
        QString::fromStdString(quilloTool()),
        {"copy", QString::fromStdString(source.native()), QString::fromStdString(target.native())});
    ASSERT_TRUE(tool.waitForStarted());
    pollfd ready{watch, POLLIN, 0};
    const bool created = ::poll(&ready, 1, 30'000) == 1;
    ::kill(pid_t(tool.processId()), SIGKILL);
    tool.waitForFinished();
    ::close(watch);
    ASSERT_TRUE(created);
    const auto midway = names(target);
    ASSERT_EQ(midway.size(), 1u);
    ASSERT_TRUE(midway[0].starts_with(".quillo-copy-")) << midway[0] << ": finished too soon";

    StagingJournal next(data / "Quillo" / "transfers", ProcessStamp::current());
    const auto report = next.recover();
    EXPECT_EQ(report.removed, std::vector<fs::path>{target / midway[0]});
    EXPECT_TRUE(names(target).empty());
    EXPECT_TRUE(names(data / "Quillo" / "transfers").empty());
    EXPECT_EQ(readFile(source), contents);
}
