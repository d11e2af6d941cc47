#include "core/SettingsFormat.h"

#include "core/AppDefaults.h"
#include "support/TempDir.h"

#include <QDateTime>
#include <QRect>
#include <fstream>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

std::vector<std::string> corruptCopies(const fs::path& folder, const std::string& name)
{
    std::vector<std::string> found;
    for (const auto& item : fs::directory_iterator(folder)) {
        if (item.path().filename().native().starts_with(name + ".conf.corrupt-"))
            found.push_back(readFile(item.path()));
    }
    return found;
}

// Values of every kind the settings hold, under keys that need escaping.
const QSettings::SettingsMap& awkwardValues()
{
    static const QSettings::SettingsMap values{
        {"plain", "text"},
        {"spaced", "  leading and trailing  "},
        {"punctuation", "a;b,c=d \"quoted\" back\\slash"},
        {"lines", "one\ntwo\tthree\x01"},
        {"at", "@not a type"},
        {"nul", QString::fromUtf8("a\0"
                                  "1f",
                                  4)}, // an escape followed by hex digits
        {"unicode", QString::fromUtf8("日本語 😀")},
        {"number", 42},
        {"real", 0.25},
        {"yes", true},
        {"bytes", QByteArray("\0\x01\xff(a)", 6)},
        {"list", QStringList{"a", "b, c", ""}},
        {"emptyList", QStringList{}},
        {"map", QVariantMap{{"inode/directory", "x.desktop"}, {"n", 3}}},
        {"when", QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC)},
        {"rect", QRect(1, 2, 30, 40)},
        {"sidebar/sections/1/name", "Places"},
        {"General/key", "a section called General"},
        {QString::fromUtf8("ключ with space/日本"), "escaped key"},
    };
    return values;
}

void writeAll(QSettings& settings)
{
    for (auto it = awkwardValues().begin(); it != awkwardValues().end(); ++it)
        settings.setValue(it.key(), it.value());
    settings.sync();
}

} // namespace

TEST(SettingsFormatTest, FilesOfQtsIniFormatReadBackTheSameBothWays)
{
    TempDir dir;
    const QString byQt = QString::fromStdString((dir / "qt.conf").native());
    const QString byUs = QString::fromStdString((dir / "ours.conf").native());
    {
        QSettings qt(byQt, QSettings::IniFormat);
        writeAll(qt);
        QSettings ours(byUs, SettingsFormat::format());
        writeAll(ours);
    }
    const QSettings qtReadsQt(byQt, QSettings::IniFormat);
    const QSettings weReadQt(byQt, SettingsFormat::format());
    const QSettings qtReadsUs(byUs, QSettings::IniFormat);
    ASSERT_EQ(weReadQt.allKeys().size(), awkwardValues().size());
    for (const QString& key : awkwardValues().keys()) {
        const QVariant expected = qtReadsQt.value(key);
        EXPECT_EQ(weReadQt.value(key), expected) << key.toStdString();
        EXPECT_EQ(qtReadsUs.value(key), expected) << key.toStdString();
    }
    EXPECT_TRUE(corruptCopies(dir.path(), "qt.conf").empty());
}

TEST(SettingsFormatTest, DamagedFileIsSetAsideBeforeTheFirstWriteAndItsKeysStillRead)
{
    struct Case {
        const char* suite; // nullptr: the standard file
        std::string text;
        bool damaged;
    };
    const std::string good = "[General]\n; a comment\n\nshowHiddenFiles=true\n";
    const Case cases[] = {
        {nullptr, good + "[sidebar]\r\nwidth = 200 ; a note\r\n", false},
        {nullptr, good + "this line is garbage\n[sidebar]\nwidth=200\n", true},
        {"Work", good + "[sidebar\nwidth=200\n", true},
        {nullptr, good + "=no key\n[sidebar]\nwidth=200\n", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        const ScratchSettings settings;
        const std::string name = c.suite ? c.suite : "Quillo";
        const fs::path file = settings.file(name);
        fs::create_directories(file.parent_path());
        std::ofstream(file) << c.text;
        if (c.suite)
            qputenv("QUILLO_DEFAULTS_SUITE", c.suite);
        AppDefaults::resetForTesting();
        QSettings& store = AppDefaults::store();
        EXPECT_EQ(store.value("showHiddenFiles"), "true");
        EXPECT_EQ(store.value("sidebar/width").toInt(), 200);

        store.setValue("written", 1);
        AppDefaults::save(store);
        AppDefaults::flush();
        EXPECT_NE(readFile(file).find("written=1"), std::string::npos);
        EXPECT_EQ(corruptCopies(file.parent_path(), name),
                  c.damaged ? std::vector<std::string>{c.text} : std::vector<std::string>{});
    }
}
