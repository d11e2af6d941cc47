#include "browser/apps/ApplicationChooser.h"

#include <QLineEdit>
#include <QListWidget>
#include <QSignalSpy>
#include <QTest>
#include <QWidget>
#include <gtest/gtest.h>

namespace {

class ApplicationChooserTest : public ::testing::Test {
protected:
    QWidget window;
    ApplicationChooser chooser{{{"org.gnome.gedit.desktop", "Text Editor", {}},
                                {"org.kde.kate.desktop", "Kate", "kate"},
                                {"gimp.desktop", "GNU Image Manipulation Program", {}},
                                {"writer.desktop", "テキストエディタ", {}}},
                               "その他のアプリケーション…",
                               &window};
    QSignalSpy chosen{&chooser, &ApplicationChooser::applicationChosen};

    void SetUp() override
    {
        window.show();
        chooser.open();
    }

    QStringList shown() const
    {
        QStringList names;
        for (int row = 0; row < chooser.list()->count(); ++row) {
            if (!chooser.list()->item(row)->isHidden())
                names.append(chooser.list()->item(row)->text());
        }
        return names;
    }
};

TEST_F(ApplicationChooserTest, TypingFiltersByNameOrIdIgnoringCase)
{
    const std::pair<const char*, QStringList> cases[] = {
        {"", {"Text Editor", "Kate", "GNU Image Manipulation Program", "テキストエディタ"}},
        {"EDIT", {"Text Editor"}},
        {"kde", {"Kate"}},
        {"エディタ", {"テキストエディタ"}},
        {"nothing", {}},
    };
    for (const auto& [query, expected] : cases) {
        SCOPED_TRACE(query);
        chooser.searchField()->setText(QString::fromUtf8(query));
        EXPECT_EQ(shown(), expected);
        QListWidgetItem* current = chooser.list()->currentItem();
        if (expected.isEmpty())
            EXPECT_TRUE(!current || current->isHidden());
        else
            EXPECT_EQ(current->text(), expected.first());
    }
}

TEST_F(ApplicationChooserTest, ArrowsWalkTheFilteredListAndReturnPicks)
{
    QTest::keyClicks(chooser.searchField(), "a");
    ASSERT_EQ(shown(), QStringList({"Kate", "GNU Image Manipulation Program"}));
    QTest::keyClick(chooser.searchField(), Qt::Key_Down);
    EXPECT_EQ(chooser.list()->currentItem()->text(), "GNU Image Manipulation Program");
    QTest::keyClick(chooser.searchField(), Qt::Key_Return);
    ASSERT_EQ(chosen.count(), 1);
    EXPECT_EQ(chosen.first().first().toString(), "gimp.desktop");
    EXPECT_FALSE(chooser.isVisible());
}

TEST_F(ApplicationChooserTest, EscapeOrNoMatchPicksNothing)
{
    QTest::keyClicks(chooser.searchField(), "nothing");
    QTest::keyClick(chooser.searchField(), Qt::Key_Return);
    EXPECT_TRUE(chooser.isVisible());
    QTest::keyClick(chooser.searchField(), Qt::Key_Escape);
    EXPECT_FALSE(chooser.isVisible());
    EXPECT_EQ(chosen.count(), 0);
}

TEST_F(ApplicationChooserTest, ChooseIsWindowModalAndHandsTheIdOver)
{
    QString picked;
    ApplicationChooser* dialog =
        ApplicationChooser::choose(&window, "x", {{"kate.desktop", "Kate", {}}},
                                   [&picked](const QString& id) { picked = id; });
    EXPECT_EQ(dialog->windowModality(), Qt::WindowModal);
    EXPECT_TRUE(dialog->isVisible());
    QTest::keyClick(dialog->searchField(), Qt::Key_Return);
    EXPECT_EQ(picked, "kate.desktop");
}

} // namespace
