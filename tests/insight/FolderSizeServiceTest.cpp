#include "insight/FolderSizeService.h"

#include "files/DirectoryReader.h"
#include "support/TempDir.h"

#include <QTest>
#include <QThreadPool>
#include <atomic>
#include <gtest/gtest.h>
#include <mutex>
#include <semaphore>

namespace fs = std::filesystem;

namespace {

// A walk that reports the path length as the size and blocks until released, so
// the tests can see what is running and in which order.
struct GatedWalk {
    std::counting_semaphore<64> gate{0};
    std::atomic<int> inside{0};
    std::atomic<int> mostInside{0};
    std::mutex mutex;
    std::vector<std::string> started;

    FolderSizeService::Walk walk()
    {
        return [this](const fs::path& folder) {
            {
                std::lock_guard lock(mutex);
                started.push_back(folder.native());
            }
            const int now = ++inside;
            int seen = mostInside.load();
            while (now > seen && !mostInside.compare_exchange_weak(seen, now)) {
            }
            gate.acquire();
            --inside;
            return TreeSize::Measure{int64_t(folder.native().size())};
        };
    }
};

struct Delivery {
    std::vector<std::pair<std::string, int64_t>> received;
    FolderSizeService::Completion completion()
    {
        return [this](const fs::path& folder, TreeSize::Measure size) {
            received.emplace_back(folder.native(), size.bytes);
        };
    }
};

char kOwnerA = 'a';
char kOwnerB = 'b';

} // namespace

TEST(FolderSizeServiceTest, RunsTwoAtATimeInOrderAndAnswersCachedFoldersAtOnce)
{
    GatedWalk gated;
    FolderSizeService service(gated.walk());
    Delivery delivery;
    service.request({"/a", "/bb", "/ccc", "/dddd"}, &kOwnerA, delivery.completion());
    EXPECT_EQ(service.running(), 2);
    EXPECT_EQ(service.queuedCount(), 2u);
    const auto startedCount = [&] {
        std::lock_guard lock(gated.mutex);
        return gated.started.size();
    };
    // One walk ends at a time, so the queue's order shows in what starts next.
    ASSERT_TRUE(QTest::qWaitFor([&] { return startedCount() == 2; }, 5000));
    gated.gate.release(1);
    ASSERT_TRUE(QTest::qWaitFor([&] { return startedCount() == 3; }, 5000));
    EXPECT_EQ(gated.started[2], "/ccc");
    gated.gate.release(1);
    ASSERT_TRUE(QTest::qWaitFor([&] { return startedCount() == 4; }, 5000));
    EXPECT_EQ(gated.started[3], "/dddd");
    gated.gate.release(2);
    ASSERT_TRUE(QTest::qWaitFor([&] { return delivery.received.size() == size_t(4); }, 5000));
    EXPECT_LE(gated.mostInside.load(), 2);
    EXPECT_EQ(service.running(), 0);

    Delivery again;
    service.request({"/ccc"}, &kOwnerA, again.completion());
    ASSERT_EQ(again.received.size(), size_t(1))
        << "a cached folder is answered before request returns";
    EXPECT_EQ(again.received.front().second, 4);
    EXPECT_EQ(gated.started.size(), size_t(4)) << "no second walk for a cached folder";
}

TEST(FolderSizeServiceTest, ChangeBelowDropsEveryEnclosingFolder)
{
    FolderSizeService service([](const fs::path&) { return TreeSize::Measure{7}; });
    Delivery delivery;
    const std::vector<fs::path> folders = {"/t/a", "/t/a/b", "/t/a/b/c", "/t/other", "/t"};
    service.request(folders, &kOwnerA, delivery.completion());
    ASSERT_TRUE(QTest::qWaitFor([&] { return delivery.received.size() == folders.size(); }, 5000));

    service.invalidate("/t/a/b/c/file");
    for (const char* dropped : {"/t/a/b/c", "/t/a/b", "/t/a", "/t"})
        EXPECT_FALSE(service.cachedSize(dropped)) << dropped;
    EXPECT_EQ(service.cachedSize("/t/other"), TreeSize::Measure{7});
}

TEST(FolderSizeServiceTest, CancelledOwnerGetsNothingButTheSizeIsCached)
{
    GatedWalk gated;
    FolderSizeService service(gated.walk());
    Delivery left, stayed;
    service.request({"/left"}, &kOwnerA, left.completion());
    service.request({"/stayed"}, &kOwnerB, stayed.completion());
    service.cancel(&kOwnerA);
    gated.gate.release(2);
    ASSERT_TRUE(QTest::qWaitFor([&] { return stayed.received.size() == size_t(1); }, 5000));
    ASSERT_TRUE(QTest::qWaitFor([&] { return service.running() == 0; }, 5000));
    EXPECT_TRUE(left.received.empty());
    EXPECT_EQ(service.cachedSize("/left"), TreeSize::Measure{5});

    // Coming back: the next request answers from the cache.
    service.request({"/left"}, &kOwnerA, left.completion());
    EXPECT_EQ(left.received.size(), size_t(1));
}

TEST(FolderSizeServiceTest, RepeatedRequestWhileWaitingWalksOnce)
{
    GatedWalk gated;
    FolderSizeService service(gated.walk());
    Delivery first, second;
    service.request({"/1", "/2", "/waits"}, &kOwnerA, first.completion());
    service.request({"/waits"}, &kOwnerA, second.completion());
    EXPECT_EQ(service.queuedCount(), 1u);
    gated.gate.release(3);
    ASSERT_TRUE(QTest::qWaitFor([&] { return second.received.size() == 1; }, 5000));
    ASSERT_TRUE(QTest::qWaitFor([&] { return service.running() == 0; }, 5000));
    EXPECT_EQ(gated.started.size(), 3u);
    EXPECT_EQ(first.received.size(), 2u) << "the newer completion answers";
}

TEST(FolderSizeServiceTest, FolderIsListedWhileTwoWalksAreBusy)
{
    // The global pool as on a two-core machine, where listings and walks once queued together.
    QThreadPool& global = *QThreadPool::globalInstance();
    const int threads = global.maxThreadCount();
    global.setMaxThreadCount(2);
    GatedWalk gated;
    FolderSizeService service(gated.walk());
    Delivery delivery;
    service.request({"/big", "/bigger"}, &kOwnerA, delivery.completion());
    ASSERT_TRUE(QTest::qWaitFor([&] { return gated.inside == 2; }, 5000));

    TempDir dir;
    dir.file("listed");
    auto listing = DirectoryReader::readInBackground(dir.path(), false);
    const bool listed = QTest::qWaitFor([&] { return listing.isFinished(); }, 5000);
    gated.gate.release(2);
    ASSERT_TRUE(QTest::qWaitFor([&] { return delivery.received.size() == 2u; }, 5000));
    global.setMaxThreadCount(threads);
    ASSERT_TRUE(listed) << "the listing waited for the walks";
    EXPECT_EQ(listing.takeResult()->nodes.size(), 1u);
}
