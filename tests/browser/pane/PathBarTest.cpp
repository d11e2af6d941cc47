#include "browser/pane/PathBar.h"

#include "browser/WindowTesting.h"
#include "core/PathText.h"

#include <QApplication>
#include <QLineEdit>
#include <QSemaphore>

namespace fs = std::filesystem;
using namespace testing_pane;

namespace {

class PathBarTest : public PaneTest {
protected:
    void SetUp() override
    {
        PaneTest::SetUp();
        for (const char* name : {"project", "parts"})
            dir.folder(name);
        dir.file("projection.txt");
        window = openWindow(dir.path());
        window->show();
        QApplication::setActiveWindow(window.get());
        ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
        field = window->activePane()->findChild<PathBar*>()->findChild<QLineEdit*>();
        ASSERT_NE(field, nullptr);
    }

    // Ctrl+L, then the text typed over the selected location.
    void typePath(const QString& text)
    {
        QTest::keyClick(window->activePane()->listView(), Qt::Key_L, Qt::ControlModifier);
        ASSERT_TRUE(field->hasFocus());
        QTest::keyClicks(field, text);
        ASSERT_EQ(field->text(), text);
    }

    std::unique_ptr<BrowserWindow> window;
    QLineEdit* field = nullptr;
};

// What completes to what is the completion's own test; here, that the field takes it.
TEST_F(PathBarTest, TabCompletesInTheFieldAndKeepsTheFocus)
{
    typePath("proj");
    QTest::keyClick(field, Qt::Key_Tab);
    EXPECT_TRUE(QTest::qWaitFor([&] { return field->text() == "project/"; }, kTimeoutMs))
        << field->text().toStdString();
    EXPECT_TRUE(field->hasFocus());
    EXPECT_EQ(field->cursorPosition(), field->text().size());
}

TEST_F(PathBarTest, ResultForTextChangedMeanwhileIsDropped)
{
    typePath("proj");
    // Every pool thread held, so the completion cannot run before the next key.
    QThreadPool* pool = QThreadPool::globalInstance();
    QSemaphore started, gate;
    for (int i = 0; i < pool->maxThreadCount(); ++i)
        pool->start([&] {
            started.release();
            gate.acquire();
        });
    ASSERT_TRUE(started.tryAcquire(pool->maxThreadCount(), kTimeoutMs));
    QTest::keyClick(field, Qt::Key_Tab);
    QTest::keyClicks(field, "e");
    gate.release(pool->maxThreadCount());
    ASSERT_TRUE(settle());
    EXPECT_EQ(field->text().toStdString(), "proje");
    EXPECT_TRUE(field->hasFocus());
}

TEST_F(PathBarTest, ReturnOpensTheTypedFolderOrTheFilesFolder)
{
    const struct {
        QString typed;
        fs::path folder;
        QStringList selected;
    } cases[] = {
        {"parts", dir / "parts", {}}, // relative to the pane's folder
        {PathText::display(dir / "projection.txt"), dir.path(), {"projection.txt"}},
    };
    for (const auto& c : cases) {
        typePath(c.typed);
        QTest::keyClick(field, Qt::Key_Return);
        PaneView& pane = *window->activePane();
        EXPECT_TRUE(QTest::qWaitFor([&] { return pane.location() == Location::folder(c.folder); },
                                    kTimeoutMs))
            << c.typed.toStdString();
        ASSERT_TRUE(waitForListing(pane));
        EXPECT_EQ(selectedNames(pane), c.selected) << c.typed.toStdString();
    }
}

TEST_F(PathBarTest, ShiftTabStillLeavesTheField)
{
    typePath("proj");
    QTest::keyClick(field, Qt::Key_Backtab, Qt::ShiftModifier);
    EXPECT_FALSE(field->hasFocus());
    EXPECT_FALSE(window->activePane()->findChild<PathBar*>()->isEditing());
}

} // namespace
