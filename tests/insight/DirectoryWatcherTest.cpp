#include "insight/DirectoryWatcher.h"

#include "platform/Inotify.h"
#include "support/TempDir.h"

#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <algorithm>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

constexpr int kTimeoutMs = 20000;

bool waitFor(const std::function<bool()>& condition)
{
    return QTest::qWaitFor(condition, kTimeoutMs);
}

void touch(const fs::path& path, std::string_view text = "x")
{
    std::ofstream(path, std::ios::app) << text;
}

// Every batch the handler received, in order.
struct Batches {
    std::vector<std::vector<fs::path>> received;

    DirectoryWatcher::Handler handler()
    {
        return [this](const std::vector<fs::path>& paths) { received.push_back(paths); };
    }
    bool contains(const fs::path& path) const
    {
        return std::ranges::any_of(received, [&](const auto& batch) {
            return std::ranges::find(batch, path) != batch.end();
        });
    }
    bool waitFor(const fs::path& path) const
    {
        return ::waitFor([&] { return contains(path); });
    }
};

std::atomic<int> g_watchesAdded{0};
std::atomic<int> g_watchesAddedOnMainThread{0};

void countWatch(const fs::path&)
{
    ++g_watchesAdded;
    if (QThread::currentThread() == QCoreApplication::instance()->thread())
        ++g_watchesAddedOnMainThread;
}

class DirectoryWatcherTest : public ::testing::Test {
protected:
    // Adding a watch looks a path up, which hangs on a dead mount: never on the main thread.
    void SetUp() override
    {
        g_watchesAdded = 0;
        g_watchesAddedOnMainThread = 0;
        Inotify::addWatchObserver = countWatch;
    }
    void TearDown() override
    {
        Inotify::addWatchObserver = nullptr;
        EXPECT_GT(g_watchesAdded, 0);
        EXPECT_EQ(g_watchesAddedOnMainThread, 0);
    }

    // A watcher whose initial walk has finished; a folder made just before may have
    // been reported as changed, which is forgotten.
    std::unique_ptr<DirectoryWatcher> watch(const fs::path& folder, double latency = 0.05,
                                            int budget = DirectoryWatcher::kDefaultBudget)
    {
        auto watcher =
            std::make_unique<DirectoryWatcher>(folder, latency, batches.handler(), budget);
        QSignalSpy ready(watcher.get(), &DirectoryWatcher::ready);
        EXPECT_TRUE(ready.wait(kTimeoutMs));
        EXPECT_TRUE(watcher->isReady());
        EXPECT_TRUE(watcher->isWatching());
        QCoreApplication::processEvents();
        batches.received.clear();
        return watcher;
    }

    TempDir scratch;
    Batches batches;
};

} // namespace

TEST_F(DirectoryWatcherTest, FolderDeletedOrRenamedAwayIsReportedAsTheFolder)
{
    struct Case {
        const char* name;
        std::function<void(const fs::path& base)> act;
    };
    const Case cases[] = {
        {"deleted", [](const fs::path& base) { fs::remove_all(base / "p/shown"); }},
        {"renamed", [](const fs::path& base) { fs::rename(base / "p/shown", base / "away"); }},
        {"parent renamed", [](const fs::path& base) { fs::rename(base / "p", base / "q"); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const fs::path base = scratch.folder(c.name);
        const fs::path shown = scratch.folder(std::string(c.name) + "/p/shown/sub");
        batches.received.clear();
        const auto watcher = watch(shown.parent_path());
        c.act(base);
        EXPECT_TRUE(batches.waitFor(shown.parent_path()));
    }
    // Gone before the pool could add its watch: the pane must still learn it.
    const fs::path early = scratch.folder("early/shown");
    fs::remove(early);
    const DirectoryWatcher watcher(early, 0.05, batches.handler());
    EXPECT_TRUE(batches.waitFor(early));
}

TEST_F(DirectoryWatcherTest, BurstsArriveAsOneBatchEach)
{
    // Nothing is read while the test body runs, so each burst is complete before
    // the watcher sees it; the latency only has to outlast the second burst.
    const fs::path root = scratch.folder("root");
    setModificationTime(root, 1'000'000'000); // quiet for long
    const auto watcher = watch(root, 2.0);
    for (const char* name : {"f1", "f2", "f3"})
        touch(root / name);
    ASSERT_TRUE(waitFor([&] { return !batches.received.empty(); }));
    EXPECT_EQ(batches.received[0], (std::vector<fs::path>{root / "f1", root / "f2", root / "f3"}));

    // Read one by one now, and still held back until the latency has passed.
    for (const char* name : {"g1", "g2", "g1"}) {
        touch(root / name);
        QCoreApplication::processEvents();
    }
    EXPECT_EQ(batches.received.size(), 1u);
    ASSERT_TRUE(waitFor([&] { return batches.received.size() >= 2; }));
    EXPECT_EQ(batches.received[1], (std::vector<fs::path>{root / "g1", root / "g2"}));
}

TEST_F(DirectoryWatcherTest, FoldersFollowTheTreeAsItChanges)
{
    const fs::path root = scratch.folder("root");
    scratch.folder("outside/x/y/z");
    const auto watcher = watch(root);
    ASSERT_EQ(watcher->watchedFolderCount(), 1);

    fs::create_directory(root / "new");
    ASSERT_TRUE(batches.waitFor(root / "new"));
    touch(root / "new/inside");
    EXPECT_TRUE(batches.waitFor(root / "new/inside"));

    // Made faster than the watcher can follow: the walk finds what the events missed.
    fs::create_directories(root / "p/q/r");
    ASSERT_TRUE(waitFor([&] { return watcher->watchedFolderCount() == 5; }));
    touch(root / "p/q/r/deep");
    EXPECT_TRUE(batches.waitFor(root / "p/q/r/deep"));

    fs::rename(scratch / "outside/x", root / "x");
    ASSERT_TRUE(waitFor([&] { return watcher->watchedFolderCount() == 8; }));
    touch(root / "x/y/z/moved-in");
    EXPECT_TRUE(batches.waitFor(root / "x/y/z/moved-in"));

    // Renamed inside the tree: the paths below follow the new name.
    fs::rename(root / "x", root / "x2");
    ASSERT_TRUE(batches.waitFor(root / "x2"));
    ASSERT_TRUE(waitFor([&] { return watcher->watchedFolderCount() == 8; }));
    touch(root / "x2/y/z/renamed");
    EXPECT_TRUE(batches.waitFor(root / "x2/y/z/renamed"));

    // Moved away and deleted folders leave nothing watched behind.
    fs::rename(root / "x2", scratch / "away");
    fs::remove_all(root / "p");
    EXPECT_TRUE(waitFor([&] { return watcher->watchedFolderCount() == 2; }));
}

TEST_F(DirectoryWatcherTest, FoldersBeyondTheBudgetAreWatchedOnlyWhenAskedFor)
{
    const fs::path root = scratch.folder("root");
    scratch.folder("root/a/c");
    scratch.folder("root/b/d");
    const auto watcher = watch(root, 0.05, 2);
    EXPECT_EQ(watcher->watchedFolderCount(), 2);

    fs::create_directory(root / "new");
    ASSERT_TRUE(batches.waitFor(root / "new"));
    EXPECT_EQ(watcher->watchedFolderCount(), 2);

    watcher->watchFolder(root / "a/c");
    ASSERT_TRUE(waitFor([&] { return watcher->watchedFolderCount() == 3; }));
    touch(root / "a/c/file");
    EXPECT_TRUE(batches.waitFor(root / "a/c/file"));
}

// The walk watches every folder below, through a root that is itself a link, but
// follows no link inside, so a loop ends it.
TEST_F(DirectoryWatcherTest, TheWalkWatchesTheTreeButFollowsNoLinkInside)
{
    const fs::path root = scratch.folder("root/a/b").parent_path().parent_path();
    const fs::path existing = scratch.file("root/a/b/old.txt", "old");
    scratch.folder("outside/o");
    scratch.link("root/a/loop", "..");
    scratch.link("root/self", ".");
    scratch.link("root/out", (scratch / "outside").native());
    const fs::path shown = scratch.link("shown", root.native());
    const auto watcher = watch(shown);
    EXPECT_EQ(watcher->watchedFolderCount(), 3);

    touch(root / "a/b/new");
    touch(existing);
    EXPECT_TRUE(batches.waitFor(shown / "a/b/new"));
    EXPECT_TRUE(batches.waitFor(shown / "a/b/old.txt"));
}

TEST_F(DirectoryWatcherTest, LostEventsReportTheRootAndWatchWhatWasMissed)
{
    int queueLimit = 0;
    std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> queueLimit;
    if (queueLimit <= 0 || queueLimit > 100000)
        GTEST_SKIP() << "queue limit " << queueLimit;
    const fs::path root = scratch.folder("root");
    const auto watcher = watch(root);
    // More events than the kernel keeps, then a folder whose creation is lost.
    for (int i = 0; i <= queueLimit; ++i)
        touch(root / ("f" + std::to_string(i)), "");
    fs::create_directory(root / "late");
    ASSERT_TRUE(batches.waitFor(root));
    ASSERT_TRUE(waitFor([&] { return watcher->watchedFolderCount() == 2; }));
    touch(root / "late/file");
    EXPECT_TRUE(batches.waitFor(root / "late/file"));
}

TEST_F(DirectoryWatcherTest, DestroyingTheWatcherInTheHandlerOrDuringTheWalkIsSafe)
{
    const fs::path root = scratch.folder("root");
    int calls = 0;
    DirectoryWatcher* watcher = nullptr;
    watcher = new DirectoryWatcher(root, 0, [&](const std::vector<fs::path>&) {
        ++calls;
        delete watcher;
    });
    touch(root / "one");
    ASSERT_TRUE(waitFor([&] { return calls == 1; }));
    touch(root / "two");
    QTest::qWait(200);
    EXPECT_EQ(calls, 1);

    for (int i = 0; i < 300; ++i)
        scratch.folder("big/" + std::to_string(i % 10) + "/" + std::to_string(i));
    auto walking = std::make_unique<DirectoryWatcher>(scratch / "big", 0, batches.handler());
    walking.reset();
    touch(scratch / "big/after");
    QTest::qWait(200);
    EXPECT_TRUE(batches.received.empty());
}
