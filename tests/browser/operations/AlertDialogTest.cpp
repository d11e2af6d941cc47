// Alerts keep their buttons in the alert's order whatever order the style's
// dialog button layout would give them, and Return and Escape keep their answers.
#include "browser/operations/DialogPrompter.h"

#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QProxyStyle>
#include <QPushButton>
#include <QTest>
#include <gtest/gtest.h>

namespace {

class LayoutStyle : public QProxyStyle {
public:
    explicit LayoutStyle(QDialogButtonBox::ButtonLayout layout)
        : m_layout(layout)
    {
    }
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* data) const override
    {
        if (hint == SH_DialogButtonLayout)
            return m_layout;
        return QProxyStyle::styleHint(hint, option, widget, data);
    }

private:
    QDialogButtonBox::ButtonLayout m_layout;
};

Alert alertWith(QStringList buttons, int defaultButton, int escapeButton, int destructiveButton)
{
    Alert alert;
    alert.message = QStringLiteral("「x」");
    alert.buttons = std::move(buttons);
    alert.defaultButton = defaultButton;
    alert.escapeButton = escapeButton;
    alert.destructiveButton = destructiveButton;
    return alert;
}

QStringList buttonsLeftToRight(QDialog& dialog)
{
    QList<QPushButton*> buttons;
    for (QPushButton* button : dialog.findChildren<QPushButton*>()) {
        if (button->isVisible())
            buttons.append(button);
    }
    std::sort(buttons.begin(), buttons.end(), [&](QPushButton* a, QPushButton* b) {
        return a->mapTo(&dialog, QPoint()).x() < b->mapTo(&dialog, QPoint()).x();
    });
    QStringList texts;
    for (QPushButton* button : buttons)
        texts.append(button->text());
    return texts;
}

} // namespace

TEST(AlertDialogTest, ButtonsStandInTheAlertsOrderUnderEveryDesktopLayout)
{
    struct Case {
        Alert alert;
        int onReturn;
        int onEscape;
    };
    const std::vector<Case> cases{
        {alertWith({"両方残す", "置き換える", "スキップ", "中止"}, 0, 3, -1), 0, 3},
        // Return cancels; deleting needs a click.
        {alertWith({"削除", "キャンセル"}, 1, 1, 0), 1, 1},
        {alertWith({"「アプリケーション」へ移動", "移動しない"}, 0, -1, -1), 0, -1},
        {alertWith({"OK"}, 0, -1, -1), 0, 0},
    };
    for (const auto layout : {QDialogButtonBox::WinLayout, QDialogButtonBox::MacLayout,
                              QDialogButtonBox::KdeLayout, QDialogButtonBox::GnomeLayout}) {
        QApplication::setStyle(new LayoutStyle(layout));
        for (const Case& c : cases) {
            for (const auto key : {Qt::Key_Return, Qt::Key_Escape}) {
                SCOPED_TRACE(testing::Message()
                             << layout << " " << c.alert.buttons.join(',').toStdString() << " key "
                             << key);
                QWidget window;
                window.show();
                int answer = -2;
                DialogPrompter(&window).present(c.alert,
                                                [&](Alert::Response r) { answer = r.button; });
                auto* dialog = window.findChild<QDialog*>();
                ASSERT_TRUE(dialog);
                EXPECT_EQ(dialog->windowModality(), Qt::WindowModal);
                ASSERT_TRUE(QTest::qWaitForWindowExposed(dialog));
                EXPECT_EQ(buttonsLeftToRight(*dialog), c.alert.buttons);
                QTest::keyClick(dialog, key);
                EXPECT_EQ(answer, key == Qt::Key_Return ? c.onReturn
                                  : c.onEscape < 0      ? -2
                                                        : c.onEscape);
            }
        }
    }
    QApplication::setStyle(QStringLiteral("Fusion"));
}
