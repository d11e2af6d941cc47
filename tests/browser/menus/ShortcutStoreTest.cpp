#include "browser/menus/ShortcutStore.h"

#include "browser/WindowTesting.h"
#include "browser/settings/ShortcutSettingsPage.h"
#include "core/AppDefaults.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidget>

using namespace testing_pane;

namespace {

const QString kNewWindow = QStringLiteral("newWindow:|新規ウィンドウ");
const QString kNewTab = QStringLiteral("newWindowForTab:|新規タブ");
const QString kNewFolder = QStringLiteral("newFolder:|新規フォルダ");
const QString kTypePath = QStringLiteral("editPath:|パスを入力…");
const QString kGoToFolder = QStringLiteral("editPath:|フォルダへ移動…");
const QString kBack = QStringLiteral("goBack:|戻る");
const QString kHome = QStringLiteral("goToHome:|ホーム");

KeyCombo combo(const char* text)
{
    return KeyCombo::fromKeySequence(keys(text));
}

class ShortcutStoreTest : public ::testing::Test {
protected:
    std::unique_ptr<BrowserWindow> openWindow() { return testing_pane::openWindow(dir.path()); }
    void storeRaw(const QByteArray& value)
    {
        AppDefaults::store().setValue(QStringLiteral("shortcutOverrides"), value);
    }

    ScratchSettings settings;
    TempDir dir;
    ShortcutStore& store = ShortcutStore::shared();
};

TEST_F(ShortcutStoreTest, AShortcutEqualToTheDefaultRemovesTheOverride)
{
    auto window = openWindow();
    EXPECT_EQ(store.set(combo("Meta+Ctrl+N"), kNewFolder), "");
    EXPECT_EQ(store.overrides().value(kNewFolder), combo("Meta+Ctrl+N"));
    EXPECT_EQ(menuItem(*window, kNewFolder)->shortcut(), keys("Meta+Ctrl+N"));

    EXPECT_EQ(store.set(combo("Ctrl+Shift+N"), kNewFolder), "");
    EXPECT_TRUE(store.overrides().isEmpty());
    EXPECT_FALSE(AppDefaults::store().contains(QStringLiteral("shortcutOverrides")));
    EXPECT_EQ(menuItem(*window, kNewFolder)->shortcut(), keys("Ctrl+Shift+N"));

    // An empty combo is an override of its own: the item has no shortcut then.
    EXPECT_EQ(store.set(KeyCombo{}, kNewFolder), "");
    EXPECT_TRUE(menuItem(*window, kNewFolder)->shortcuts().isEmpty());
    EXPECT_EQ(store.reset(kNewFolder), "");
    EXPECT_EQ(menuItem(*window, kNewFolder)->shortcut(), keys("Ctrl+Shift+N"));
}

TEST_F(ShortcutStoreTest, ItemsWithOneActionAreCustomisedByTitle)
{
    auto window = openWindow();
    EXPECT_EQ(store.set(combo("Meta+Ctrl+G"), kGoToFolder), "");
    EXPECT_EQ(menuItem(*window, kGoToFolder)->shortcut(), keys("Meta+Ctrl+G"));
    EXPECT_EQ(menuItem(*window, kTypePath)->shortcut(), keys("Ctrl+L"));
    EXPECT_EQ(store.combo(kTypePath), combo("Ctrl+L"));
    store.resetAll();
    EXPECT_EQ(menuItem(*window, kGoToFolder)->shortcut(), keys("Ctrl+Shift+G"));
}

TEST_F(ShortcutStoreTest, AShortcutInUseIsRefusedWithTheOtherTitle)
{
    auto window = openWindow();
    EXPECT_EQ(store.set(combo("Ctrl+N"), kNewTab), "「新規ウィンドウ」で使われています。");
    EXPECT_TRUE(store.overrides().isEmpty());
    EXPECT_EQ(menuItem(*window, kNewTab)->shortcut(), keys("Ctrl+T"));

    // Once the first item lets go of the key, the second may take it.
    EXPECT_EQ(store.set(combo("Meta+Ctrl+N"), kNewWindow), "");
    EXPECT_EQ(store.set(combo("Ctrl+N"), kNewTab), "");
    // Going back to a default that another item took is refused as well.
    EXPECT_EQ(store.reset(kNewWindow), "「新規タブ」で使われています。");
    store.resetAll();
}

TEST_F(ShortcutStoreTest, UnreadableOverridesLeaveEveryItemAtItsDefault)
{
    auto window = openWindow();
    const QByteArray values[] = {
        "not json",
        "[]",
        R"({"newWindow:|新規ウィンドウ": {"key": 5, "modifiers": 0}})",
        R"({"newFolder:|新規フォルダ": {"key": "n", "modifiers": 262144},
            "newWindow:|新規ウィンドウ": {"key": "m"}})",
    };
    for (const QByteArray& value : values) {
        storeRaw(value);
        store.apply();
        EXPECT_TRUE(store.overrides().isEmpty()) << value.toStdString();
        for (const ShortcutStore::Item& entry : store.items()) {
            EXPECT_EQ(entry.combo, entry.defaultCombo) << entry.identifier.toStdString();
            QAction* action = menuItem(*window, entry.identifier);
            ASSERT_NE(action, nullptr) << entry.identifier.toStdString();
            if (!entry.defaultCombo.isEmpty())
                EXPECT_EQ(action->shortcut(), entry.defaultCombo.toKeySequence());
        }
    }
}

TEST_F(ShortcutStoreTest, StoredOverridesApplyToNewAndOpenWindows)
{
    storeRaw(R"({"newWindow:|新規ウィンドウ": {"key": "n", "modifiers": 1310720}})");
    auto first = openWindow();
    auto second = openWindow();
    EXPECT_EQ(menuItem(*first, kNewWindow)->shortcut(), keys("Meta+Ctrl+N"));

    EXPECT_EQ(store.set(combo("Ctrl+Alt+H"), kHome), "");
    EXPECT_EQ(menuItem(*first, kHome)->shortcut(), keys("Ctrl+Alt+H"));
    EXPECT_EQ(menuItem(*second, kHome)->shortcut(), keys("Ctrl+Alt+H"));

    first.reset(); // a closed window's items are forgotten
    store.resetAll();
    EXPECT_EQ(menuItem(*second, kHome)->shortcut(), keys("Ctrl+Shift+H"));
    EXPECT_EQ(menuItem(*second, kNewWindow)->shortcut(), keys("Ctrl+N"));
}

TEST_F(ShortcutStoreTest, ASecondShortcutGivesWayToAChosenOne)
{
    auto window = openWindow();
    EXPECT_EQ(menuItem(*window, kBack)->shortcuts(), (QList{keys("Ctrl+["), keys("Alt+Left")}));
    EXPECT_EQ(store.set(combo("Alt+Left"), kHome), "");
    EXPECT_EQ(menuItem(*window, kBack)->shortcuts(), QList{keys("Ctrl+[")});
    EXPECT_EQ(menuItem(*window, kHome)->shortcuts(), QList{keys("Alt+Left")});
    // Its own item may take it as the primary one, without listing it twice.
    store.resetAll();
    EXPECT_EQ(store.set(combo("Alt+Left"), kBack), "");
    EXPECT_EQ(menuItem(*window, kBack)->shortcuts(), QList{keys("Alt+Left")});
    store.resetAll();
    EXPECT_EQ(menuItem(*window, kBack)->shortcuts(), (QList{keys("Ctrl+["), keys("Alt+Left")}));
}

TEST_F(ShortcutStoreTest, TheSettingsPageRecordsTheNextKeyPress)
{
    auto window = openWindow();
    ShortcutSettingsPage page;
    page.show();
    auto* list = page.findChild<QTreeWidget*>(QStringLiteral("shortcuts"));
    auto* refusal = page.findChild<QLabel*>(QStringLiteral("refusal"));
    page.findChild<QLineEdit*>(QStringLiteral("filter"))->setText(QStringLiteral("新規フォルダ"));
    QList<QTreeWidgetItem*> shown;
    for (int i = 0; i < list->topLevelItemCount(); ++i) {
        if (!list->topLevelItem(i)->isHidden())
            shown << list->topLevelItem(i);
    }
    ASSERT_EQ(shown.size(), 1);
    QTreeWidgetItem* row = shown.front();
    EXPECT_EQ(row->text(2), "Ctrl+Shift+N");
    list->setCurrentItem(row);

    struct Step {
        int key;
        Qt::KeyboardModifiers modifiers;
        const char* refusal;
        const char* shortcut; // shown on the row afterwards
    };
    const Step steps[] = {
        {Qt::Key_A, {}, "Ctrl・Alt・Meta などの修飾キーと一緒に押してください。", "Ctrl+Shift+N"},
        {Qt::Key_N, Qt::ControlModifier, "「新規ウィンドウ」で使われています。", "Ctrl+Shift+N"},
        {Qt::Key_Escape, {}, "", "Ctrl+Shift+N"},
        {Qt::Key_F7, {}, "", "F7"},
        {Qt::Key_B, Qt::ShiftModifier, "", "Shift+B"},
    };
    for (const Step& step : steps) {
        QTest::keyClick(list, Qt::Key_Return);
        EXPECT_EQ(row->text(2), "キーを押してください…");
        QTest::keyClick(list, Qt::Key(step.key), step.modifiers);
        EXPECT_EQ(refusal->text(), QString::fromUtf8(step.refusal)) << step.key;
        EXPECT_EQ(row->text(2), QString::fromUtf8(step.shortcut)) << step.key;
    }
    EXPECT_EQ(menuItem(*window, kNewFolder)->shortcut(), keys("Shift+B"));

    const auto button = [&](const char* text) { return childWithText<QPushButton>(page, text); };
    button("ショートカットを外す")->click();
    EXPECT_TRUE(menuItem(*window, kNewFolder)->shortcuts().isEmpty());
    EXPECT_EQ(row->text(2), "");
    button("初期設定に戻す")->click();
    EXPECT_EQ(menuItem(*window, kNewFolder)->shortcut(), keys("Ctrl+Shift+N"));
    EXPECT_FALSE(button("すべて初期設定に戻す")->isEnabled());
}

} // namespace
