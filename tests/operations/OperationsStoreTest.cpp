#include "operations/OperationsStore.h"

#include "operations/FileOperation.h"

#include <QPointer>
#include <QSignalSpy>
#include <QTest>
#include <gtest/gtest.h>

namespace {

TEST(OperationsStoreTest, TitleFractionAndDetailFollowTheCounters)
{
    struct Case {
        FileOperation::Kind kind;
        int count;
        int64_t total;
        int64_t done;
        const char* name;
        const char* title;
        std::optional<double> fraction;
        const char* detail;
    };
    using K = FileOperation::Kind;
    const Case cases[] = {
        {K::copy, 3, 4'000'000, 1'200'000, "a.txt", "3 項目をコピー中…", 0.3,
         "1.2 MB / 4.0 MB ・ a.txt"},
        {K::move, 1, 0, 0, "空", "1 項目を移動中…", std::nullopt, "空"},
        {K::deleteItems, 2, 0, 0, "", "2 項目を削除中…", std::nullopt, ""},
        {K::compress, 5, 1000, 0, "", "5 項目を圧縮中…", 0.0, "0 バイト / 1.0 KB"},
        {K::expand, 1, 1000, 2500, "x", "1 項目を展開中…", 1.0, "2.5 KB / 1.0 KB ・ x"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.title);
        FileOperation operation(c.kind, c.count);
        operation.setTotalBytes(c.total);
        operation.progress().fileStarted(QString::fromUtf8(c.name));
        operation.progress().setCurrentFileBytes(c.done);
        operation.syncFromProgress();
        EXPECT_EQ(operation.title(), QString::fromUtf8(c.title));
        EXPECT_DOUBLE_EQ(operation.fraction().value_or(-1), c.fraction.value_or(-1));
        EXPECT_EQ(operation.detail(), QString::fromUtf8(c.detail));
    }
}

TEST(OperationsStoreTest, ShowsOnlyWhatOutlivesTheDelayAndHidesWhenEmpty)
{
    OperationsStore store;
    QSignalSpy shown(&store, &OperationsStore::showRequested);
    QSignalSpy hidden(&store, &OperationsStore::hideRequested);
    QSignalSpy removed(&store, &OperationsStore::operationRemoved);

    auto* quick = new FileOperation(FileOperation::Kind::copy, 1);
    QPointer<FileOperation> quickGuard(quick);
    store.start(quick);
    store.finish(quick);
    EXPECT_EQ(hidden.count(), 1);
    EXPECT_TRUE(store.operations().empty());

    auto* first = new FileOperation(FileOperation::Kind::copy, 1);
    auto* second = new FileOperation(FileOperation::Kind::move, 2);
    store.start(first);
    store.start(second);
    ASSERT_EQ(store.operations().size(), 2u);
    // The quick one's timer fired before these; only the running ones bring the panel up.
    ASSERT_TRUE(shown.wait(10000));
    EXPECT_TRUE(QTest::qWaitFor([&] { return shown.count() == 2; }, 10000));

    store.finish(first);
    EXPECT_EQ(hidden.count(), 1); // the other one still runs
    EXPECT_TRUE(first->isFinished());
    store.finish(second);
    EXPECT_EQ(hidden.count(), 2);
    EXPECT_EQ(removed.count(), 3);
    EXPECT_TRUE(QTest::qWaitFor([&] { return quickGuard.isNull(); }, 10000)); // not kept
}

} // namespace
