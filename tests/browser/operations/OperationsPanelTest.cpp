// The operations panel stays above the windows, so it must never stand over one
// of their dialogs (the conflict question's buttons were hidden behind it).
#include "browser/operations/OperationsPanel.h"

#include "browser/operations/DialogPrompter.h"
#include "operations/OperationsStore.h"

#include <QDialog>
#include <QScreen>
#include <QTest>
#include <gtest/gtest.h>

TEST(OperationsPanelTest, NeverCoversADialogOfTheWindowItSitsOn)
{
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    for (const QSize size : {QSize(screen.width() - 40, screen.height() - 40), QSize(440, 220)}) {
        for (const bool dialogFirst : {false, true}) {
            SCOPED_TRACE(testing::Message() << size.width() << " dialog first " << dialogFirst);
            OperationsStore store;
            QWidget window;
            window.resize(size);
            window.move(screen.center() - window.rect().center());
            window.show();
            OperationsPanel panel(store);
            panel.setAnchor([&] { return &window; });
            Alert alert;
            alert.message = QStringLiteral("「a」という名前の項目がすでにあります。");
            alert.buttons = {"両方残す", "置き換える", "スキップ", "中止"};
            alert.escapeButton = 3;
            if (!dialogFirst)
                Q_EMIT store.showRequested();
            DialogPrompter(&window).present(alert, {});
            if (dialogFirst)
                Q_EMIT store.showRequested();
            auto* dialog = window.findChild<QDialog*>();
            ASSERT_TRUE(dialog && QTest::qWaitForWindowExposed(dialog));
            auto clear = [&] {
                return !panel.isVisible() ||
                       !panel.frameGeometry().intersects(dialog->frameGeometry());
            };
            EXPECT_TRUE(QTest::qWaitFor(clear, 2000));
            if (size.width() > 440) {
                EXPECT_TRUE(panel.isVisible());
                EXPECT_TRUE(window.frameGeometry().contains(panel.frameGeometry()));
            }
            // The dialog answered, the panel is back.
            QTest::keyClick(dialog, Qt::Key_Escape);
            EXPECT_TRUE(QTest::qWaitFor([&] { return panel.isVisible(); }, 2000));
        }
    }
}
