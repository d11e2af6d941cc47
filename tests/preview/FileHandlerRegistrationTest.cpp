#include "preview/FileHandlerRegistration.h"

#include "core/AppDefaults.h"
#include "core/Preferences.h"
#include "support/TempDir.h"

#include <QTest>
#include <gtest/gtest.h>

namespace {

using Registration = FileHandlerRegistration;

const QByteArray kOthers = "# mine\n[Added Associations]\napplication/pdf=okular.desktop;\n\n";

MimeAppsList parsed(const QByteArray& bytes)
{
    return MimeAppsList::parse(bytes).value_or(MimeAppsList());
}

// One switch, with the remembered handlers carried along as the settings would.
struct Switch {
    MimeAppsList list;
    Registration::Handlers previous;

    void set(PreviewFileKind kind, bool on)
    {
        Registration::Applied applied = Registration::apply(list, kind, on, previous);
        list = std::move(applied.list);
        previous = Registration::merged(previous, applied.remembered);
    }
};

TEST(FileHandlerRegistrationTest, OffPutsBackWhatOnReplaced)
{
    const struct {
        const char* name;
        QByteArray defaults; // the [Default Applications] lines before
        QByteArray afterOff; // the same lines after on, on again and off
    } cases[] = {
        {"no entry", "image/png=eog.desktop;\n", "image/png=eog.desktop;\n"},
        {"another app", "application/pdf = org.gnome.Evince.desktop;\n",
         "application/pdf = org.gnome.Evince.desktop;\n"},
        {"us, not first", "application/pdf=okular.desktop;app.quillo.Quillo.desktop;\n",
         "application/pdf=okular.desktop;app.quillo.Quillo.desktop;\n"},
        // Made default by hand: off still means another application opens it.
        {"us first already", "application/pdf=app.quillo.Quillo.desktop;okular.desktop;\n",
         "application/pdf=okular.desktop;\n"},
        {"only us already", "application/pdf=app.quillo.Quillo.desktop;\n", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Switch pdf{parsed(kOthers + "[Default Applications]\n" + c.defaults), {}};
        EXPECT_EQ(Registration::isDefault(pdf.list, PreviewFileKind::pdf),
                  c.defaults.startsWith("application/pdf=app.quillo"));
        pdf.set(PreviewFileKind::pdf, true);
        pdf.set(PreviewFileKind::pdf, true);
        EXPECT_TRUE(Registration::isDefault(pdf.list, PreviewFileKind::pdf));
        EXPECT_FALSE(Registration::isDefault(pdf.list, PreviewFileKind::html));
        pdf.set(PreviewFileKind::pdf, false);
        EXPECT_FALSE(Registration::isDefault(pdf.list, PreviewFileKind::pdf));
        EXPECT_EQ(pdf.list.serialize(), kOthers + "[Default Applications]\n" + c.afterOff);
        EXPECT_TRUE(pdf.previous.isEmpty());
    }
}

TEST(FileHandlerRegistrationTest, AChoiceMadeMeanwhileStays)
{
    Switch pdf{parsed("[Default Applications]\napplication/pdf=org.gnome.Evince.desktop;\n"), {}};
    pdf.set(PreviewFileKind::pdf, true);
    pdf.list.setDefaultValue("application/pdf", "okular.desktop;");
    pdf.set(PreviewFileKind::pdf, false);
    EXPECT_EQ(pdf.list.defaultValue("application/pdf"), "okular.desktop;");
    EXPECT_TRUE(pdf.previous.isEmpty());

    // On again after such a choice still remembers the first handler only.
    pdf.list.setDefaultValue("application/pdf", "org.gnome.Evince.desktop;");
    pdf.set(PreviewFileKind::pdf, true);
    pdf.list.setDefaultValue("application/pdf", "okular.desktop;");
    pdf.set(PreviewFileKind::pdf, true);
    pdf.set(PreviewFileKind::pdf, false);
    EXPECT_EQ(pdf.list.defaultValue("application/pdf"), "org.gnome.Evince.desktop;");
}

// Desktops offer an application for a type only when its entry lists the type.
TEST(FileHandlerRegistrationTest, TheDesktopEntryListsEveryKindsTypes)
{
    const auto entry = std::filesystem::path(__FILE__).parent_path() / "../../data/quillo.desktop";
    QStringList listed;
    for (const QString& line : QString::fromStdString(readFile(entry)).split(u'\n')) {
        if (line.startsWith(u"MimeType="))
            listed = line.mid(9).split(u';');
    }
    EXPECT_TRUE(listed.contains("inode/directory"));
    for (PreviewFileKind kind : kAllPreviewFileKinds) {
        for (const QString& type : mimeTypes(kind))
            EXPECT_TRUE(listed.contains(type)) << type.toStdString();
    }
}

class FileHandlerFileTest : public ::testing::Test {
protected:
    ScratchSettings settings;
    TempDir dir;
    std::filesystem::path file = dir / "config/mimeapps.list";

    std::optional<Registration::Failure> set(PreviewFileKind kind, bool on)
    {
        bool finished = false;
        std::optional<Registration::Failure> failure;
        Registration(file).setDefaultInBackground(kind, on, qApp,
                                                  [&](std::optional<Registration::Failure> f) {
                                                      failure = std::move(f);
                                                      finished = true;
                                                  });
        EXPECT_TRUE(QTest::qWaitFor([&] { return finished; }));
        return failure;
    }
};

TEST_F(FileHandlerFileTest, OffAfterARestartRestoresExactly)
{
    const std::string before = "[Default Applications]\r\ntext/csv=libreoffice-calc.desktop;\r\n";
    dir.file("config/mimeapps.list", before);
    EXPECT_EQ(set(PreviewFileKind::csv, true), std::nullopt);
    EXPECT_EQ(Registration(file).defaultKinds(), QList{PreviewFileKind::csv});

    AppDefaults::flush();
    AppDefaults::resetForTesting(); // the settings read back from disk, as after a restart
    EXPECT_EQ(Preferences::shared().previousFileHandlers(),
              (Registration::Handlers{{"text/csv", "libreoffice-calc.desktop;"},
                                      {"text/tab-separated-values", Registration::noEntry}}));
    EXPECT_EQ(set(PreviewFileKind::csv, false), std::nullopt);
    EXPECT_EQ(readFile(file), before);
    EXPECT_TRUE(Preferences::shared().previousFileHandlers().isEmpty());
}

TEST_F(FileHandlerFileTest, AnUnreadableFileIsLeftAlone)
{
    const std::string garbage("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16);
    dir.file("config/mimeapps.list", garbage);
    const std::optional<Registration::Failure> failure = set(PreviewFileKind::image, true);
    ASSERT_TRUE(failure);
    EXPECT_FALSE(failure->whileWriting);
    EXPECT_EQ(failure->message(),
              "mimeapps.list を読み取れないため、既定のアプリケーションを変更できませんでした。");
    EXPECT_EQ(readFile(file), garbage);
    EXPECT_TRUE(Preferences::shared().previousFileHandlers().isEmpty());
    EXPECT_FALSE(Registration(file).defaultKinds().has_value());
}

} // namespace
