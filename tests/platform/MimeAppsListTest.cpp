#include "platform/MimeAppsList.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

// As desktops and people leave it: comments, odd spacing, a duplicate key, CRLF
// on one line and no newline at the very end.
const QByteArray kRealistic = "# written by hand\n"
                              "[Added Associations]\n"
                              "text/html=firefox.desktop;\n"
                              "\n"
                              "[Default Applications]\n"
                              "  # indented comment\n"
                              "application/pdf = org.gnome.Evince.desktop;okular.desktop;\r\n"
                              "text/html=chromium.desktop;\n"
                              "image/png=eog.desktop;\n"
                              "text/html=firefox.desktop;\n"
                              "\n"
                              "[Removed Associations]\n"
                              "text/plain=vim.desktop;";

MimeAppsList parsed(const QByteArray& bytes)
{
    Result<MimeAppsList> list = MimeAppsList::parse(bytes);
    EXPECT_TRUE(list.has_value()) << bytes.constData();
    return list.value_or(MimeAppsList());
}

TEST(MimeAppsListTest, ReadsDefaultsAndWritesBackByteForByte)
{
    MimeAppsList list = parsed(kRealistic);
    EXPECT_EQ(list.serialize(), kRealistic);
    // The last duplicate is the one desktops use; other groups do not count.
    EXPECT_EQ(list.defaults("text/html"), QStringList{"firefox.desktop"});
    EXPECT_EQ(list.defaults("application/pdf"),
              (QStringList{"org.gnome.Evince.desktop", "okular.desktop"}));
    EXPECT_EQ(list.defaultValue("text/plain"), std::nullopt);

    list.setDefaultValue("image/png", "a.desktop;eog.desktop;");
    list.setDefaultValue("text/csv", "a.desktop;");
    list.setDefaultValue("application/pdf", "a.desktop;");
    list.setDefaultValue("text/html", std::nullopt); // every entry, or the earlier one shows
    EXPECT_EQ(list.serialize(), QByteArray("# written by hand\n"
                                           "[Added Associations]\n"
                                           "text/html=firefox.desktop;\n"
                                           "\n"
                                           "[Default Applications]\n"
                                           "  # indented comment\n"
                                           "application/pdf = a.desktop;\r\n"
                                           "image/png=a.desktop;eog.desktop;\n"
                                           "text/csv=a.desktop;\n"
                                           "\n"
                                           "[Removed Associations]\n"
                                           "text/plain=vim.desktop;"));
    EXPECT_EQ(parsed(list.serialize()).defaults("text/csv"), QStringList{"a.desktop"});
}

TEST(MimeAppsListTest, AddsTheGroupWhenMissing)
{
    const struct {
        QByteArray before;
        QByteArray after;
    } cases[] = {
        {"", "[Default Applications]\ntext/csv=a.desktop;\n"},
        {"[Added Associations]\r\nx/y=b.desktop;",
         "[Added Associations]\r\nx/y=b.desktop;\r\n\r\n[Default Applications]\r\n"
         "text/csv=a.desktop;\r\n"},
        {"[Default Applications]", "[Default Applications]\ntext/csv=a.desktop;\n"},
    };
    for (const auto& c : cases) {
        MimeAppsList list = parsed(c.before);
        list.setDefaultValue("text/csv", "a.desktop;");
        EXPECT_EQ(list.serialize(), c.after) << c.before.constData();
    }
}

TEST(MimeAppsListTest, RejectsWhatItCannotRead)
{
    const struct {
        QByteArray bytes;
        int code;
    } cases[] = {
        {QByteArray("\x7f"
                    "ELF\x02\x01\x01\0\0\0",
                    10),
         EILSEQ},
        {"[Default Applications]\ntext/html=caf\xe9.desktop;\n", EILSEQ},
        {"[Default Applications]\njust some words\n", EBADMSG},
        {"text/html=firefox.desktop;\n[Default Applications]\n", EBADMSG},
        {"[Default Applications\n", EBADMSG},
        {"[Default Applications] extra\n", EBADMSG},
        {"[]\n", EBADMSG},
        {"[Default Applications]\n =firefox.desktop;\n", EBADMSG},
        {"[Default Applications]\ntext/html]=firefox.desktop;\n", EBADMSG},
    };
    for (const auto& c : cases) {
        Result<MimeAppsList> list = MimeAppsList::parse(c.bytes);
        ASSERT_FALSE(list.has_value()) << c.bytes.constData();
        EXPECT_EQ(list.error().code, c.code) << c.bytes.constData();
    }
}

TEST(MimeAppsListTest, LoadsMissingAsEmptyAndSavesThroughALink)
{
    TempDir dir;
    Result<MimeAppsList> missing = MimeAppsList::load(dir / "mimeapps.list");
    ASSERT_TRUE(missing.has_value());
    EXPECT_TRUE(missing->serialize().isEmpty());

    const fs::path target = dir.file("dotfiles/mimeapps.list", "[Default Applications]\n");
    const fs::path link = dir.link("mimeapps.list", "dotfiles/mimeapps.list");
    Result<MimeAppsList> list = MimeAppsList::load(link);
    ASSERT_TRUE(list.has_value());
    list->setDefaultValue("text/csv", "a.desktop;");
    ASSERT_TRUE(list->save(link).has_value());
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(readFile(target), "[Default Applications]\ntext/csv=a.desktop;\n");

    dir.file("bad.list", "not an association list\n");
    Result<MimeAppsList> bad = MimeAppsList::load(dir / "bad.list");
    ASSERT_FALSE(bad.has_value());
    EXPECT_EQ(bad.error(), Error::fromErrno(EBADMSG, dir / "bad.list"));
}

} // namespace
