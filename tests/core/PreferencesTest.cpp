#include "core/Preferences.h"

#include "core/AppDefaults.h"
#include "support/TempDir.h"

#include <QSignalSpy>
#include <fstream>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

// The preferences as read from a settings file holding `ini` under [General].
const Preferences& preferencesFrom(const ScratchSettings& settings, const std::string& ini)
{
    fs::create_directories(settings.file("Quillo").parent_path());
    std::ofstream(settings.file("Quillo")) << "[General]\n" << ini;
    AppDefaults::resetForTesting();
    return Preferences::shared();
}

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
        AppDefaults::flush();
        EXPECT_NE(readFile(settings.file(c.file)).find("showHiddenFiles=true"), std::string::npos);
        const fs::directory_iterator files(settings.file(c.file).parent_path());
        EXPECT_EQ(std::distance(begin(files), end(files)), 1);
    }
}

// Every value read back at once; the defaults unless a row says otherwise.
struct Values {
    bool hidden = false, sizes = true, colors = true, vim = false;
    FileSort sort{FileSortKey::name, true};
    bool updates = true, preview = true;
    double zoom = 1.0, fraction = 0.5;
    bool operator==(const Values&) const = default;
};

void PrintTo(const Values& v, std::ostream* out)
{
    *out << v.hidden << v.sizes << v.colors << v.vim << " sort " << int(v.sort.key)
         << v.sort.ascending << " " << v.updates << v.preview << " " << v.zoom << " " << v.fraction;
}

Values valuesOf(const Preferences& p)
{
    return {p.showHiddenFiles(),
            p.calculateFolderSizes(),
            p.colorFoldersByTag(),
            p.vimKeyBindings(),
            p.sort(),
            p.checkForUpdates(),
            p.markdownPreview(),
            p.previewZoom(),
            p.markdownPreviewFraction()};
}

TEST(PreferencesTest, ReadsStoredValuesAndFallsBackForMissingOrWrongTypes)
{
    const struct {
        const char* name;
        std::string ini;
        Values expected;
    } cases[] = {
        {"missing", "", {}},
        {"stored",
         "showHiddenFiles=true\ncalculateFolderSizes=false\ncolorFoldersByTag=false\n"
         "vimKeyBindings=true\nsortKey=size\nsortAscending=false\ncheckForUpdates=false\n"
         "markdownPreview=false\npreviewZoom=1.25\nmarkdownPreviewFraction=0.3\n",
         {true, false, false, true, {FileSortKey::size, false}, false, false, 1.25, 0.3}},
        {"wrong types",
         "showHiddenFiles=1\ncalculateFolderSizes=no\ncolorFoldersByTag=a, b\n"
         "vimKeyBindings=yes\nsortKey=Size\nsortAscending=0\ncheckForUpdates=nope\n"
         "markdownPreview=1\npreviewZoom=big\nmarkdownPreviewFraction=0.3x\n",
         {}},
        {"whole numbers", "previewZoom=2\nmarkdownPreviewFraction=1\n", {.zoom = 2.0}},
        {"out of range", "previewZoom=-1\nmarkdownPreviewFraction=-0.2\n", {}},
        {"not finite", "previewZoom=inf\nmarkdownPreviewFraction=nan\n", {}},
        {"lists", "previewZoom=1, 2\nmarkdownPreview=true, false\n", {}},
    };
    const ScratchSettings settings;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(valuesOf(preferencesFrom(settings, c.ini)), c.expected);
    }
    // Values of another type set in this session count as missing too.
    AppDefaults::store().setValue("sortKey", 3);
    AppDefaults::store().setValue("showHiddenFiles", 1);
    EXPECT_EQ(Preferences::shared().sort().key, FileSortKey::name);
    EXPECT_FALSE(Preferences::shared().showHiddenFiles());
}

TEST(PreferencesTest, PreviousFileHandlersAreTextToTextOrEmpty)
{
    const ScratchSettings settings;
    Preferences& prefs = Preferences::shared();
    EXPECT_TRUE(prefs.previousFileHandlers().isEmpty());
    const QMap<QString, QString> handlers{{"inode/directory", "org.gnome.Nautilus.desktop"},
                                          {"text/markdown", "org.gnome.TextEditor.desktop"}};
    QSignalSpy changed(&prefs, &Preferences::changed);
    prefs.setPreviousFileHandlers(handlers);
    prefs.setPreviousFileHandlers(handlers);
    EXPECT_EQ(changed.count(), 1);
    AppDefaults::resetForTesting(); // read back from the file
    EXPECT_EQ(prefs.previousFileHandlers(), handlers);

    const QVariant notTextToText[] = {
        QStringLiteral("inode/directory"),
        QVariantMap{{"inode/directory", 3}},
        QVariantMap{{"inode/directory", "a.desktop"}, {"text/plain", QVariantList{"b"}}},
        QVariantList{"inode/directory", "a.desktop"},
    };
    for (const QVariant& value : notTextToText) {
        AppDefaults::store().setValue("previousFileHandlers", value);
        EXPECT_TRUE(prefs.previousFileHandlers().isEmpty()) << value.typeName();
    }
    prefs.setPreviousFileHandlers({}); // clears what it cannot read
    EXPECT_FALSE(AppDefaults::store().contains("previousFileHandlers"));
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

    // Settings that change no listing say so only through changed().
    QSignalSpy changed(&prefs, &Preferences::changed);
    prefs.setCheckForUpdates(false);
    prefs.setPreviewZoom(1.5);
    prefs.setPreviewZoom(1.5);
    prefs.setPreviewZoom(0);               // not a zoom: ignored
    prefs.setMarkdownPreviewFraction(1.0); // not a share: ignored
    prefs.setMarkdownPreviewFraction(0.25);
    EXPECT_EQ(spy.count(), 2);
    EXPECT_EQ(changed.count(), 3);
    AppDefaults::resetForTesting(); // read back from the file
    EXPECT_EQ(prefs.sort(), bySize);
    EXPECT_TRUE(prefs.vimKeyBindings());
    EXPECT_FALSE(prefs.checkForUpdates());
    EXPECT_DOUBLE_EQ(prefs.previewZoom(), 1.5);
    EXPECT_DOUBLE_EQ(prefs.markdownPreviewFraction(), 0.25);
}

// Changes are written on a thread of their own, in order: the main thread never
// waits for the disk.
TEST(PreferencesTest, SavesLeaveTheMainThreadAndKeepTheirOrder)
{
    const ScratchSettings settings;
    const SettingsWrites writes;
    Preferences& prefs = Preferences::shared();
    for (int i = 1; i <= 20; ++i) {
        prefs.setShowHiddenFiles(i % 2 == 1);
        prefs.setPreviewZoom(i);
    }
    EXPECT_FALSE(prefs.showHiddenFiles()) << "reads see the last change at once";
    EXPECT_DOUBLE_EQ(prefs.previewZoom(), 20);
    AppDefaults::flush();
    EXPECT_GT(writes.total(), 0);
    EXPECT_EQ(writes.onMainThread(), 0);
    const std::string text = readFile(settings.file("Quillo"));
    EXPECT_NE(text.find("showHiddenFiles=false"), std::string::npos) << text;
    EXPECT_NE(text.find("previewZoom=20"), std::string::npos) << text;
}

} // namespace
