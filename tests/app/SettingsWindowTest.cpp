#include "app/SettingsWindow.h"

#include "app/Theme.h"
#include "core/Preferences.h"
#include "palette/FolderHistory.h"
#include "support/TempDir.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QDateTime>
#include <QLabel>
#include <QRadioButton>
#include <QTabWidget>
#include <QTest>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>

namespace {

class SettingsWindowTest : public ::testing::Test {
protected:
    ScratchSettings settings;
    SettingsWindow window;

    QAbstractButton* buttonNamed(const QString& accessibleName) const
    {
        for (QAbstractButton* button : window.findChildren<QAbstractButton*>()) {
            if (button->accessibleName() == accessibleName || button->text() == accessibleName)
                return button;
        }
        return nullptr;
    }
};

TEST_F(SettingsWindowTest, CheckboxesWriteAndFollowPreferences)
{
    Preferences& p = Preferences::shared();
    const std::pair<const char*, std::function<bool()>> settingsShown[] = {
        {"showHiddenFiles", [&] { return p.showHiddenFiles(); }},
        {"calculateFolderSizes", [&] { return p.calculateFolderSizes(); }},
        {"confirmPaneTransfer", [&] { return p.confirmPaneTransfer(); }},
        {"vimKeyBindings", [&] { return p.vimKeyBindings(); }},
        {"checkForUpdates", [&] { return p.checkForUpdates(); }},
        {"colorFoldersByTag", [&] { return p.colorFoldersByTag(); }},
    };
    for (const auto& [name, read] : settingsShown) {
        SCOPED_TRACE(name);
        auto* box = window.findChild<QCheckBox*>(QString::fromUtf8(name));
        ASSERT_TRUE(box);
        EXPECT_FALSE(box->text().isEmpty());
        const bool before = read();
        EXPECT_EQ(box->isChecked(), before);
        box->click();
        EXPECT_EQ(read(), !before);
        box->click();
        EXPECT_EQ(read(), before);
    }
    // A change made elsewhere (the menu, the transfer alert) shows here too.
    p.setShowHiddenFiles(true);
    p.setConfirmPaneTransfer(false);
    EXPECT_TRUE(window.findChild<QCheckBox*>("showHiddenFiles")->isChecked());
    EXPECT_FALSE(window.findChild<QCheckBox*>("confirmPaneTransfer")->isChecked());
}

TEST_F(SettingsWindowTest, AppearanceAndAccentApplyAtOnce)
{
    Theme& theme = Theme::shared();
    theme.setAppearance(Theme::Appearance::light);
    EXPECT_TRUE(window.findChild<QRadioButton*>("light")->isChecked());

    window.findChild<QRadioButton*>("dark")->click();
    EXPECT_EQ(theme.appearance(), Theme::Appearance::dark);
    window.findChild<QRadioButton*>("system")->click();
    EXPECT_EQ(theme.appearance(), Theme::Appearance::system);

    // The swatches and the system choice are one group; the theme's own test covers the palette.
    QAbstractButton* systemAccent = buttonNamed(QStringLiteral("システム"));
    ASSERT_TRUE(systemAccent);
    EXPECT_TRUE(systemAccent->isChecked());
    for (const Theme::Preset& preset : Theme::presets()) {
        SCOPED_TRACE(preset.name.toStdString());
        QAbstractButton* swatch = buttonNamed(preset.name);
        ASSERT_TRUE(swatch);
        swatch->click();
        EXPECT_EQ(theme.accentHex(), preset.hex);
        EXPECT_FALSE(systemAccent->isChecked());
    }
    systemAccent->click();
    EXPECT_FALSE(theme.accentHex());
    EXPECT_FALSE(buttonNamed(Theme::presets().constLast().name)->isChecked());
}

TEST_F(SettingsWindowTest, AccentSwatchesWorkFromTheKeyboard)
{
    window.tabs()->setCurrentIndex(1);
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    window.findChild<QRadioButton*>("system")->setFocus();
    // Tab leaves the radio group and walks the swatches in order.
    QStringList visited;
    for (int i = 0; i < 4; ++i) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        visited << QApplication::focusWidget()->accessibleName();
    }
    const QList<Theme::Preset>& presets = Theme::presets();
    EXPECT_EQ(visited,
              QStringList({presets[0].name, presets[1].name, presets[2].name, presets[3].name}));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
    EXPECT_EQ(Theme::shared().accentHex(), presets[3].hex);
    Theme::shared().setAccentHex(std::nullopt);
}

TEST_F(SettingsWindowTest, FolderHistoryIsClearedAndPrunedFromTheGeneralPage)
{
    TempDir dir;
    const auto kept = dir.folder("kept"), gone = dir.folder("gone");
    FolderHistory& history = FolderHistory::shared();
    history.clear();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    history.visit(kept, now);
    history.visit(gone, now);
    std::filesystem::remove(gone);
    SettingsWindow window;
    auto* prune = window.findChild<QAbstractButton*>(QStringLiteral("removeMissingFolders"));
    auto* clear = window.findChild<QAbstractButton*>(QStringLiteral("clearFolderHistory"));
    ASSERT_TRUE(prune && clear);
    prune->click();
    ASSERT_TRUE(QTest::qWaitFor([&] { return history.entries().size() == 1; }));
    EXPECT_EQ(history.entries().front().path, kept);
    clear->click();
    EXPECT_TRUE(history.entries().empty());
}

TEST_F(SettingsWindowTest, FileKindSwitchesShowAndChangeTheDefaults)
{
    const auto file =
        std::filesystem::path(qgetenv("XDG_CONFIG_HOME").toStdString()) / "mimeapps.list";
    const auto write = [&](const std::string& bytes) {
        std::ofstream(file, std::ios::binary) << bytes;
    };
    auto* pdf = window.findChild<QCheckBox*>("fileHandler-pdf");
    auto* html = window.findChild<QCheckBox*>("fileHandler-html");
    auto* alert = window.findChild<QLabel*>("fileHandlerAlert");
    ASSERT_TRUE(pdf && html && alert);
    EXPECT_EQ(pdf->text(), "PDF");
    const auto settled = [&] {
        return QTest::qWaitFor([&] { return pdf->isEnabled() && html->isEnabled(); });
    };

    // Read again each time the page is shown.
    write("[Default Applications]\ntext/html=app.quillo.Quillo.desktop;\n");
    QTabWidget* tabs = window.tabs();
    for (int i = 0; i < tabs->count(); ++i) {
        if (tabs->tabText(i) == QStringLiteral("連携"))
            tabs->setCurrentIndex(i);
    }
    ASSERT_EQ(tabs->tabText(tabs->currentIndex()), QStringLiteral("連携"));
    window.show();
    ASSERT_TRUE(settled());
    EXPECT_TRUE(html->isChecked());
    EXPECT_FALSE(pdf->isChecked());

    pdf->click();
    ASSERT_TRUE(settled());
    EXPECT_TRUE(pdf->isChecked());
    EXPECT_EQ(readFile(file), "[Default Applications]\ntext/html=app.quillo.Quillo.desktop;\n"
                              "application/pdf=app.quillo.Quillo.desktop;\n");
    EXPECT_TRUE(alert->isHidden());

    const std::string garbage = "[Default Applications]\n\xff\xfe\n";
    write(garbage);
    html->click();
    ASSERT_TRUE(settled());
    EXPECT_TRUE(html->isChecked()); // back as it was
    EXPECT_FALSE(alert->isHidden());
    EXPECT_EQ(alert->text(),
              "mimeapps.list を読み取れないため、既定のアプリケーションを変更できませんでした。");
    EXPECT_EQ(readFile(file), garbage);
    window.close();
}

TEST_F(SettingsWindowTest, OneSharedWindowThatEscapeCloses)
{
    SettingsWindow::showShared();
    SettingsWindow* shared = SettingsWindow::sharedIfOpen();
    ASSERT_TRUE(shared);
    SettingsWindow::showShared();
    EXPECT_EQ(SettingsWindow::sharedIfOpen(), shared);
    EXPECT_TRUE(shared->isVisible());

    auto* box = shared->findChild<QCheckBox*>("showHiddenFiles");
    box->setFocus();
    QTest::keyClick(box, Qt::Key_Escape);
    EXPECT_FALSE(shared->isVisible());
    SettingsWindow::showShared(); // the same window comes back
    EXPECT_EQ(SettingsWindow::sharedIfOpen(), shared);
    EXPECT_TRUE(shared->isVisible());
    shared->close();
}

} // namespace
