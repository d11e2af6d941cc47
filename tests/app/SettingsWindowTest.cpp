#include "app/SettingsWindow.h"

#include "app/EditorLauncher.h"
#include "app/ExternalAppSettings.h"
#include "app/TerminalLauncher.h"
#include "app/Theme.h"
#include "core/Preferences.h"
#include "palette/FolderHistory.h"
#include "support/TempDir.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTime>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QRadioButton>
#include <QStandardItemModel>
#include <QTabWidget>
#include <QTest>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>

namespace {

// Desktop entries in the scratch data folder, written before GIO first reads the
// application folders: an installed Konsole, a Ghostty removed by the user, an editor
// that is none of the known ones.
class FakeApplications : public ::testing::Environment {
public:
    void SetUp() override
    {
        const auto apps =
            std::filesystem::path(qgetenv("XDG_DATA_HOME").toStdString()) / "applications";
        std::filesystem::create_directories(apps);
        const std::pair<const char*, const char*> entries[] = {
            {"org.kde.konsole.desktop", "Name=Konsole\nExec=/bin/true\n"},
            {"com.mitchellh.ghostty.desktop", "Name=Ghostty\nExec=/bin/true\nHidden=true\n"},
            {"zettai-editor.desktop", "Name=Zettai Editor\nExec=/bin/true %F\n"},
        };
        for (const auto& [name, body] : entries)
            std::ofstream(apps / name) << "[Desktop Entry]\nType=Application\n" << body;
    }
};
const auto* const fakeApplications = ::testing::AddGlobalTestEnvironment(new FakeApplications);

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
        {"openTerminalInNewTab", [&] { return p.openTerminalInNewTab(); }},
        {"mirrorTagsToExtendedAttributes", [&] { return p.mirrorTagsToAttributes(); }},
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

TEST_F(SettingsWindowTest, TerminalListShowsTheCatalogueAndStoresAChoice)
{
    Preferences& p = Preferences::shared();
    auto* box = window.findChild<QComboBox*>("terminalApp");
    ASSERT_TRUE(box);
    const std::vector<ExternalApp> known = TerminalLauncher::catalogue();
    ASSERT_EQ(box->count(), int(known.size()) + 2); // a separator, then the chooser
    const auto* rows = static_cast<QStandardItemModel*>(box->model());
    int konsole = -1;
    for (size_t i = 0; i < known.size(); ++i) {
        SCOPED_TRACE(known[i].name.toStdString());
        const bool installed = known[i].isInstalled();
        EXPECT_EQ(box->itemText(int(i)),
                  installed ? known[i].name : known[i].name + "（未インストール）");
        EXPECT_EQ(rows->item(int(i))->isEnabled(), installed);
        if (known[i].name == "Konsole")
            konsole = int(i);
    }
    EXPECT_TRUE(box->findText("Ghostty（未インストール）") >= 0);
    EXPECT_EQ(box->itemText(box->count() - 1), "その他のアプリを選ぶ…");
    EXPECT_EQ(box->currentText(), TerminalLauncher::selected(std::nullopt)->name);

    ASSERT_GE(konsole, 0);
    box->setCurrentIndex(konsole);
    Q_EMIT box->activated(konsole);
    EXPECT_EQ(p.terminalIdentifier(), "org.kde.konsole");

    // A stored terminal that is gone shows the one used instead.
    p.setTerminalIdentifier("com.mitchellh.ghostty");
    EXPECT_EQ(box->currentText(), TerminalLauncher::selected(p.terminalIdentifier())->name);
    EXPECT_NE(box->currentText(), "Ghostty（未インストール）");
}

TEST_F(SettingsWindowTest, AnyApplicationCanBeChosenAsTheEditor)
{
    Preferences& p = Preferences::shared();
    auto* group = window.findChild<ExternalAppSettings*>();
    auto* box = window.findChild<QComboBox*>("editorApp");
    ASSERT_TRUE(group && box);
    const int knownCount = int(EditorLauncher::catalogue().size());
    window.show();
    Q_EMIT box->activated(box->count() - 1);
    auto* chooser = window.findChild<QDialog*>("applicationChooser");
    ASSERT_TRUE(chooser && group->chooserSearchField() && group->chooserList());
    EXPECT_TRUE(chooser->isVisible());
    QTest::keyClicks(group->chooserSearchField(), "zettai");
    QListWidgetItem* current = group->chooserList()->currentItem();
    ASSERT_TRUE(current);
    EXPECT_EQ(current->text(), "Zettai Editor");
    QTest::keyClick(group->chooserSearchField(), Qt::Key_Return);
    EXPECT_EQ(p.editorIdentifier(), "zettai-editor.desktop");
    // Listed after the known editors, and shown as the one in use.
    EXPECT_EQ(box->itemText(knownCount), "Zettai Editor");
    EXPECT_EQ(box->currentIndex(), knownCount);

    // Escape leaves the choice as it was.
    Q_EMIT box->activated(box->count() - 1);
    ASSERT_TRUE(QTest::qWaitFor([&] { return group->chooserSearchField() != nullptr; }));
    QTest::keyClick(group->chooserSearchField(), Qt::Key_Escape);
    EXPECT_EQ(p.editorIdentifier(), "zettai-editor.desktop");
    EXPECT_EQ(box->currentText(), "Zettai Editor");
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
