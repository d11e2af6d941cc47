#include "app/LegacyMigration.h"

#include "core/AppDefaults.h"
#include "support/TempDir.h"

#include <QStandardPaths>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

class LegacyMigrationTest : public ::testing::Test {
protected:
    // Tarv's settings file in the scratch config folder.
    void writeTarvSettings(const std::vector<std::pair<QString, QVariant>>& values)
    {
        QSettings tarv(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                           QStringLiteral("/Tarv/Tarv.conf"),
                       QSettings::IniFormat);
        for (const auto& [key, value] : values)
            tarv.setValue(key, value);
        tarv.sync();
        ASSERT_EQ(tarv.status(), QSettings::NoError);
    }
    QSettings& standard() { return AppDefaults::standard(); }

    ScratchSettings settings;
    TempDir dataHome;
};

TEST_F(LegacyMigrationTest, CopiesOnlyKeysQuilloHasNotSet)
{
    writeTarvSettings({
        {"tarv.sortKey", "size"},
        {"tarv.showHiddenFiles", true},
        {"tarv.previewZoom", 1.5},
        {"group.tarv.inner.tarv.key", "nested"},
        {"vimKeyBindings", true},
        {"confirmPaneTransfer", true},
    });
    standard().setValue("quillo.previewZoom", 2.0);
    standard().setValue("confirmPaneTransfer", false);

    LegacyMigration::runIfNeeded(standard(), dataHome.path());

    EXPECT_EQ(standard().value("quillo.sortKey").toString(), "size");
    EXPECT_TRUE(standard().value("quillo.showHiddenFiles").toBool());
    EXPECT_EQ(standard().value("group.quillo.inner.quillo.key").toString(), "nested");
    EXPECT_TRUE(standard().value("vimKeyBindings").toBool());
    // Values already set in Quillo win.
    EXPECT_EQ(standard().value("quillo.previewZoom").toDouble(), 2.0);
    EXPECT_FALSE(standard().value("confirmPaneTransfer").toBool());
    EXPECT_FALSE(standard().contains("tarv.sortKey"));
    EXPECT_TRUE(standard().value(LegacyMigration::kDoneKey).toBool());
}

TEST_F(LegacyMigrationTest, RunsOnceAndMarksItselfDoneEvenWithNothingToDo)
{
    LegacyMigration::runIfNeeded(standard(), dataHome.path());
    EXPECT_TRUE(standard().value(LegacyMigration::kDoneKey).toBool());
    EXPECT_FALSE(standard().contains("quillo.sortKey"));

    // Once done, later Tarv settings and data are left alone.
    writeTarvSettings({{"tarv.sortKey", "kind"}});
    dataHome.file("tarv/tags.json", "{}");
    LegacyMigration::runIfNeeded(standard(), dataHome.path());
    EXPECT_FALSE(standard().contains("quillo.sortKey"));
    EXPECT_TRUE(fs::exists(dataHome / "tarv/tags.json"));
    EXPECT_FALSE(fs::exists(dataHome / "Quillo"));
}

TEST_F(LegacyMigrationTest, MovesTheDataFolderOnlyWhenQuilloHasNone)
{
    dataHome.file("tarv/tags.json", "old tags");
    LegacyMigration::runIfNeeded(standard(), dataHome.path());
    EXPECT_EQ(readFile(dataHome / "Quillo/tags.json"), "old tags");
    EXPECT_FALSE(fs::exists(dataHome / "tarv"));

    // A second user profile: both exist, so neither is touched.
    ScratchSettings fresh;
    TempDir both;
    both.file("tarv/tags.json", "old");
    both.file("Quillo/tags.json", "new");
    LegacyMigration::runIfNeeded(AppDefaults::standard(), both.path());
    EXPECT_EQ(readFile(both / "tarv/tags.json"), "old");
    EXPECT_EQ(readFile(both / "Quillo/tags.json"), "new");
    EXPECT_TRUE(AppDefaults::standard().value(LegacyMigration::kDoneKey).toBool());
}

} // namespace
