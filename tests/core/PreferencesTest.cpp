#include "core/Preferences.h"

#include "core/AppDefaults.h"
#include "support/TempDir.h"

#include <QSignalSpy>
#include <fstream>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

TEST(PreferencesTest, WritesOnlyTheSuiteNamedInTheEnvironment)
{
    struct Case {
        const char* suite; // nullptr: not set
        const char* file;
    };
    for (const Case& c : {Case{nullptr, "Quillo"}, Case{"Work", "Work"}, Case{"a/b", "Quillo"},
                          Case{"..", "Quillo"}}) {
        SCOPED_TRACE(c.suite ? c.suite : "unset");
        const ScratchSettings settings;
        if (c.suite)
            qputenv("QUILLO_DEFAULTS_SUITE", c.suite);
        AppDefaults::resetForTesting();
        Preferences::shared().setShowHiddenFiles(true);
        EXPECT_NE(readFile(settings.file(c.file)).find("showHiddenFiles=true"), std::string::npos);
        const fs::directory_iterator files(settings.file(c.file).parent_path());
        EXPECT_EQ(std::distance(begin(files), end(files)), 1);
    }
}

TEST(PreferencesTest, ReadsStoredValuesAndFallsBackForMissingOrWrongTypes)
{
    struct Case {
        const char* name;
        std::string ini;
        bool hidden, sizes, colors, vim;
        FileSort sort;
    };
    const Case cases[] = {
        {"missing", "", false, true, true, false, {FileSortKey::name, true}},
        {"stored",
         "showHiddenFiles=true\ncalculateFolderSizes=false\ncolorFoldersByTag=false\n"
         "vimKeyBindings=true\nsortKey=size\nsortAscending=false\n",
         true,
         false,
         false,
         true,
         {FileSortKey::size, false}},
        {"wrong types",
         "showHiddenFiles=1\ncalculateFolderSizes=no\ncolorFoldersByTag=a, b\n"
         "vimKeyBindings=yes\nsortKey=Size\nsortAscending=0\n",
         false,
         true,
         true,
         false,
         {FileSortKey::name, true}},
    };
    const ScratchSettings settings;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        fs::create_directories(settings.file("Quillo").parent_path());
        std::ofstream(settings.file("Quillo")) << "[General]\n" << c.ini;
        AppDefaults::resetForTesting();
        const Preferences& prefs = Preferences::shared();
        EXPECT_EQ(prefs.showHiddenFiles(), c.hidden);
        EXPECT_EQ(prefs.calculateFolderSizes(), c.sizes);
        EXPECT_EQ(prefs.colorFoldersByTag(), c.colors);
        EXPECT_EQ(prefs.vimKeyBindings(), c.vim);
        EXPECT_EQ(prefs.sort(), c.sort);
    }
    // Values of another type set in this session count as missing too.
    AppDefaults::store().setValue("sortKey", 3);
    AppDefaults::store().setValue("showHiddenFiles", 1);
    EXPECT_EQ(Preferences::shared().sort().key, FileSortKey::name);
    EXPECT_FALSE(Preferences::shared().showHiddenFiles());
}

TEST(PreferencesTest, SettersWriteAndNotifyOnlyOnChange)
{
    const ScratchSettings settings;
    Preferences& prefs = Preferences::shared();
    QSignalSpy spy(&prefs, &Preferences::displayPreferencesChanged);
    prefs.setSort({FileSortKey::name, true}); // the default already
    EXPECT_EQ(spy.count(), 0);
    EXPECT_FALSE(fs::exists(settings.file("Quillo")));

    const FileSort bySize{FileSortKey::size, false};
    prefs.setSort(bySize);
    prefs.setSort(bySize);
    prefs.setVimKeyBindings(true);
    prefs.setVimKeyBindings(true);
    EXPECT_EQ(spy.count(), 2);
    AppDefaults::resetForTesting(); // read back from the file
    EXPECT_EQ(prefs.sort(), bySize);
    EXPECT_TRUE(prefs.vimKeyBindings());
}

} // namespace
