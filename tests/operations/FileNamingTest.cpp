#include "operations/FileNaming.h"

#include "core/PathText.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <set>

namespace fs = std::filesystem;
using FileNaming::Style;

namespace {

QString kana(int count)
{
    return QString(count, QChar(0x3042)); // あ: three UTF-8 bytes
}

} // namespace

TEST(FileNamingTest, ValidationMessagesInOrder)
{
    const QString blank = QStringLiteral("名前を入力してください。");
    const QString slash = QStringLiteral("名前に「/」は使えません。");
    const QString tooLong = QStringLiteral("名前が長すぎます。");
    struct Case {
        QString name;
        std::optional<QString> error;
    };
    const Case cases[] = {
        {QString(), blank},
        {QStringLiteral("   "), blank},
        {QStringLiteral("\n\t\u3000"), blank},
        {QStringLiteral(" a "), std::nullopt},
        {QStringLiteral("a/b"), slash},
        {QStringLiteral("/"), slash},
        {QStringLiteral(" / "), slash},
        {QStringLiteral("."), QStringLiteral("「.」は名前として使えません。")},
        {QStringLiteral(".."), QStringLiteral("「..」は名前として使えません。")},
        {QStringLiteral(" .."), std::nullopt},
        {QStringLiteral("..."), std::nullopt},
        {QStringLiteral("a:b\x01"), std::nullopt},
        {QString(255, QLatin1Char('a')), std::nullopt},
        {QString(256, QLatin1Char('a')), tooLong},
        {kana(85), std::nullopt},
        {kana(86), tooLong},
        {kana(84) + QStringLiteral("abc"), std::nullopt},
        {kana(84) + QStringLiteral("abcd"), tooLong},
        // A slash beats the length test, emptiness beats everything.
        {QString(300, QLatin1Char('/')), slash},
        {QString(300, QLatin1Char(' ')), blank},
    };
    for (const Case& c : cases)
        EXPECT_EQ(FileNaming::validationError(c.name), c.error) << c.name.size();
}

TEST(FileNamingTest, SplitKeepsTheLastExtensionOfFilesOnly)
{
    struct Case {
        const char* name;
        bool isDirectory;
        const char* base;
        const char* ext;
    };
    const Case cases[] = {
        {"archive.tar.gz", false, "archive.tar", "gz"},
        {"メモ.txt", false, "メモ", "txt"},
        {".zshrc", false, ".zshrc", ""},
        {".config.json", false, ".config", "json"},
        {"a.", false, "a.", ""},
        {"README", false, "README", ""},
        {"Photos.app", true, "Photos.app", ""},
        {"名称未設定フォルダ", true, "名称未設定フォルダ", ""},
    };
    for (const Case& c : cases) {
        const auto parts = FileNaming::split(QString::fromUtf8(c.name), c.isDirectory);
        EXPECT_EQ(parts.base, QString::fromUtf8(c.base)) << c.name;
        EXPECT_EQ(parts.ext, QString::fromUtf8(c.ext)) << c.name;
    }
}

TEST(FileNamingTest, StripCopySuffix)
{
    // "ホ" + combining handakuten is the decomposed form of "ポ".
    const QString decomposed = QStringLiteral("レホ\u309Aート");
    struct Case {
        QString base;
        QString stripped;
    };
    const Case cases[] = {
        {QStringLiteral("メモ のコピー 12"), QStringLiteral("メモ")},
        {QStringLiteral("メモ のコピー"), QStringLiteral("メモ")},
        {QStringLiteral(" のコピー"), QStringLiteral(" のコピー")},
        {QStringLiteral(" のコピー 3"), QStringLiteral(" のコピー 3")},
        {QStringLiteral("メモのコピー"), QStringLiteral("メモのコピー")},
        {QStringLiteral("メモ のコピー 2 x"), QStringLiteral("メモ のコピー 2 x")},
        {QStringLiteral("メモ のコピー2"), QStringLiteral("メモ のコピー2")},
        {QStringLiteral("a のコピー のコピー 2"), QStringLiteral("a のコピー")},
        {decomposed, QStringLiteral("レポート")},
        {decomposed + QStringLiteral(" のコピー 4"), QStringLiteral("レポート")},
    };
    for (const Case& c : cases)
        EXPECT_EQ(FileNaming::stripCopySuffix(c.base), c.stripped) << c.base.toStdString();
}

TEST(FileNamingTest, UniquePathProbesEachStyle)
{
    const fs::path folder("/folder");
    auto under = [&](const char* name) { return folder / name; };
    struct Case {
        const char* wished;
        bool isDirectory;
        Style style;
        std::set<std::string> taken;
        const char* result;
    };
    const Case cases[] = {
        {"メモ.txt", false, Style::copy, {"メモ.txt"}, "メモ のコピー.txt"},
        {"メモ.txt", false, Style::copy, {"メモ.txt", "メモ のコピー.txt"}, "メモ のコピー 2.txt"},
        {"メモ のコピー 2.txt",
         false,
         Style::copy,
         {"メモ.txt", "メモ のコピー.txt", "メモ のコピー 2.txt"},
         "メモ のコピー 3.txt"},
        {"archive.tar.gz", false, Style::copy, {}, "archive.tar のコピー.gz"},
        {"Photos.app", true, Style::copy, {}, "Photos.app のコピー"},
        {"名称未設定フォルダ", true, Style::numbered, {}, "名称未設定フォルダ"},
        {"名称未設定フォルダ",
         true,
         Style::numbered,
         {"名称未設定フォルダ", "名称未設定フォルダ 2"},
         "名称未設定フォルダ 3"},
        {"名称未設定.txt", false, Style::numbered, {"名称未設定.txt"}, "名称未設定 2.txt"},
        // The numbered style keeps an earlier copy suffix.
        {"a のコピー.zip", false, Style::numbered, {"a のコピー.zip"}, "a のコピー 2.zip"},
    };
    for (const Case& c : cases) {
        auto exists = [&](const fs::path& p) {
            EXPECT_EQ(p.parent_path(), folder);
            return c.taken.contains(p.filename().native());
        };
        EXPECT_EQ(FileNaming::uniquePath(under(c.wished), c.isDirectory, c.style, exists),
                  under(c.result))
            << c.wished;
    }
}

TEST(FileNamingTest, ExistenceProbeDoesNotFollowLinks)
{
    TempDir scratch;
    scratch.link("名称未設定フォルダ", "nowhere");
    const fs::path wished = scratch / "名称未設定フォルダ";
    EXPECT_TRUE(FileNaming::exists(wished));
    EXPECT_FALSE(FileNaming::exists(scratch / "名称未設定フォルダ 2"));
    EXPECT_EQ(FileNaming::uniquePath(wished, true, Style::numbered, FileNaming::exists),
              scratch / "名称未設定フォルダ 2");
}

TEST(FileNamingTest, NamesThatAreNotUtf8KeepTheirBytes)
{
    TempDir scratch;
    const std::string name = "r\xff\xfe"
                             "port.txt";
    const fs::path wished = scratch.file(name);
    EXPECT_EQ(FileNaming::uniquePath(wished, false, Style::numbered, FileNaming::exists).native(),
              (scratch.path() / "r\xff\xfe"
                                "port 2.txt")
                  .native());
    EXPECT_EQ(FileNaming::uniquePath(wished, false, Style::copy, FileNaming::exists).native(),
              (scratch.path() / "r\xff\xfe"
                                "port のコピー.txt")
                  .native());
    const fs::path copy = scratch.file("r\xff\xfe"
                                       "port のコピー 2.txt");
    EXPECT_EQ(FileNaming::uniquePath(copy, false, Style::copy, FileNaming::exists).native(),
              (scratch.path() / "r\xff\xfe"
                                "port のコピー.txt")
                  .native());
    // Each escaped byte counts once towards the limit.
    const QString storable = PathText::toStorableText(std::string(254, 'a') + "\xff");
    EXPECT_EQ(FileNaming::validationError(storable), std::nullopt);
    EXPECT_TRUE(FileNaming::validationError(storable + QLatin1Char('b')).has_value());
}
