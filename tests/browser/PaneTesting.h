#pragma once

// Helpers shared by the browser tests: waiting for background readings, reading
// rows back by name, and collecting the model tester's complaints.

#include "browser/pane/FileListModel.h"
#include "browser/pane/PaneView.h"
#include "core/Preferences.h"
#include "files/FileNode.h"
#include "files/PaneState.h"
#include "support/TempDir.h"

#include <QAbstractItemModelTester>
#include <QCoreApplication>
#include <QItemSelectionModel>
#include <QTest>
#include <QThreadPool>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>

namespace testing_pane {

constexpr int kTimeoutMs = 10000;

inline void resetPreferences()
{
    Preferences::shared().setVimKeyBindings(false);
    Preferences::shared().setShowHiddenFiles(false);
    Preferences::shared().setSort(FileSort{});
    // The list takes the pane's whole width; the preview's own tests turn it on.
    Preferences::shared().setMarkdownPreview(false);
}

inline bool waitForListing(PaneView& pane)
{
    return QTest::qWaitFor([&] { return !pane.state().isLoading(); }, kTimeoutMs);
}

// Lets every background reading finish and delivers its result, so that a result
// that should have been dropped has had its chance to show.
inline bool settle()
{
    const bool done = QThreadPool::globalInstance()->waitForDone(kTimeoutMs);
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    return done;
}

// Default preferences around each case, and a scratch folder.
class PaneTest : public ::testing::Test {
protected:
    void SetUp() override { resetPreferences(); }
    void TearDown() override { resetPreferences(); }

    TempDir dir;
};

// A shown pane whose first listing has arrived.
inline std::unique_ptr<PaneView> openPane(const std::filesystem::path& folder)
{
    auto pane = std::make_unique<PaneView>(Location::folder(folder));
    pane->resize(900, 600);
    pane->show();
    EXPECT_TRUE(waitForListing(*pane));
    return pane;
}

inline void go(PaneView& pane, const std::filesystem::path& folder)
{
    pane.navigate(Location::folder(folder));
    EXPECT_TRUE(waitForListing(pane));
}

inline QStringList rowNames(const QAbstractItemModel& model, const QModelIndex& parent = {})
{
    QStringList names;
    for (int row = 0; row < model.rowCount(parent); ++row)
        names << model.index(row, 0, parent).data().toString();
    return names;
}

// The row under `parent` that shows this text, or an invalid index.
inline QModelIndex rowTitled(const QAbstractItemModel& model, const QString& title,
                             const QModelIndex& parent = {})
{
    for (int row = 0; row < model.rowCount(parent); ++row) {
        if (model.index(row, 0, parent).data().toString() == title)
            return model.index(row, 0, parent);
    }
    return {};
}

inline QModelIndex indexOfPath(const FileListModel& model, const std::filesystem::path& path)
{
    FileNode* node = model.root() ? model.root()->findByPath(path) : nullptr;
    return node ? model.indexForNode(node) : QModelIndex();
}

inline QStringList selectedNames(const PaneView& pane)
{
    QStringList names;
    for (const std::filesystem::path& path : pane.selectedPaths())
        names << QString::fromStdString(path.filename().string());
    names.sort();
    return names;
}

inline void select(PaneView& pane, const std::filesystem::path& path)
{
    const QModelIndex index = indexOfPath(*pane.model(), path);
    pane.listView()->setCurrentIndex(index);
    pane.listView()->selectionModel()->select(index, QItemSelectionModel::ClearAndSelect |
                                                         QItemSelectionModel::Rows);
}

inline void expandAndWait(PaneView& pane, const std::filesystem::path& folder)
{
    pane.listView()->expand(indexOfPath(*pane.model(), folder));
    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return pane.model()->root()->findByPath(folder)->childrenLoaded(); }, kTimeoutMs));
}

// Collects what QAbstractItemModelTester reports while it is alive.
class ModelTesterLog {
public:
    ModelTesterLog()
    {
        s_messages.clear();
        s_previous = qInstallMessageHandler(&ModelTesterLog::handle);
    }
    ~ModelTesterLog() { qInstallMessageHandler(s_previous); }
    QStringList messages() const { return s_messages; }

private:
    static void handle(QtMsgType type, const QMessageLogContext& context, const QString& text)
    {
        if (context.category && QByteArrayView(context.category) == "qt.modeltest")
            s_messages << text;
        else if (s_previous)
            s_previous(type, context, text);
    }
    static inline QStringList s_messages;
    static inline QtMessageHandler s_previous = nullptr;
};

} // namespace testing_pane
