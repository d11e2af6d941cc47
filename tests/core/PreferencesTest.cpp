#include "core/Preferences.h"

#include "core/AppDefaults.h"
#include "support/TempDir.h"

#include <QSignalSpy>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace fs = std::filesystem;

namespace {

std::string readFile(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream out;
    out << in.rdbuf();
    return out.str();
}

// Each case gets its own config folder and no suite; the stores are reopened.
class PreferencesTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_oldConfig = qgetenv("XDG_CONFIG_HOME");
        qputenv("XDG_CONFIG_HOME", QByteArray::fromStdString(m_config.path().string()));
        qunsetenv("QUILLO_DEFAULTS_SUITE");
        AppDefaults::resetForTesting();
    }
    void TearDown() override
    {
        AppDefaults::resetForTesting();
        qunsetenv("QUILLO_DEFAULTS_SUITE");
        qputenv("XDG_CONFIG_HOME", m_oldConfig);
    }

    fs::path confFile(const std::string& name) const
    {
        return m_config.path() / "Quillo" / (name + ".conf");
    }
    void writeStandard(const std::string& ini) const
    {
        m_config.file("Quillo/Quillo.conf", "[General]\n" + ini);
        AppDefaults::resetForTesting();
    }

private:
    TempDir m_config;
    QByteArray m_oldConfig;
};

TEST_F(PreferencesTest, WritesTheSuiteNamedInTheEnvironment)
{
    struct Case {
        const char* suite; // nullptr: not set
        const char* file;
    };
    for (const Case& c : {Case{nullptr, "Quillo"}, Case{"Work", "Work"}, Case{"a/b", "Quillo"},
                          Case{"..", "Quillo"}}) {
        SCOPED_TRACE(c.suite ? c.suite : "unset");
        fs::remove_all(confFile("x").parent_path());
        if (c.suite)
            qputenv("QUILLO_DEFAULTS_SUITE", c.suite);
        else
            qunsetenv("QUILLO_DEFAULTS_SUITE");
        AppDefaults::resetForTesting();
        Preferences::shared().setShowHiddenFiles(true);
        EXPECT_NE(readFile(confFile(c.file)).find("showHiddenFiles=true"), std::string::npos);
        size_t files = 0;
        for ([[maybe_unused]] const auto& item :
             fs::directory_iterator(confFile(c.file).parent_path()))
            ++files;
        EXPECT_EQ(files, 1u);
    }
}

TEST_F(PreferencesTest, ReadsStoredValuesAndFallsBackForMissingOrWrongTypes)
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
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        writeStandard(c.ini);
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

TEST_F(PreferencesTest, SettersWriteAndNotifyOnlyOnChange)
{
    Preferences& prefs = Preferences::shared();
    QSignalSpy spy(&prefs, &Preferences::displayPreferencesChanged);

    prefs.setSort({FileSortKey::name, true}); // the default already
    EXPECT_EQ(spy.count(), 0);
    EXPECT_FALSE(AppDefaults::store().contains("sortKey"));
    EXPECT_FALSE(fs::exists(confFile("Quillo")));

    const FileSort bySize{FileSortKey::size, false};
    prefs.setSort(bySize);
    EXPECT_EQ(spy.count(), 1);
    prefs.setSort(bySize);
    EXPECT_EQ(spy.count(), 1);
    AppDefaults::resetForTesting();
    EXPECT_EQ(prefs.sort(), bySize);

    prefs.setVimKeyBindings(true);
    prefs.setVimKeyBindings(true);
    EXPECT_EQ(spy.count(), 2);
    AppDefaults::resetForTesting();
    EXPECT_TRUE(prefs.vimKeyBindings());
}

} // namespace
