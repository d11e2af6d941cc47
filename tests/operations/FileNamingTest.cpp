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
        {QStringLiteral(" / "), slash},
        {QStringLiteral("."), QStringLiteral("「.」は名前として使えません。")},
        {QStringLiteral(".."), QStringLiteral("「..」は名前として使えません。")},
        {QStringLiteral(" .."), std::nullopt},
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
        {QStringLiteral(" のコピー"), QStringLiteral(" のコピー")},
        {QStringLiteral("メモ のコピー"), QStringLiteral("メモ")},
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
    struct Case {
        const char* wished;
        bool isDirectory;
        Style style;
        std::set<std::string> taken;
        const char* result;
    };
    const std::string memo = "メモ.txt", copy = "メモ のコピー.txt", copy2 = "メモ のコピー 2.txt";
    const std::string untitled = "名称未設定フォルダ";
    const Case cases[] = {
        {"メモ.txt", false, Style::copy, {memo}, "メモ のコピー.txt"},
        {"メモ.txt", false, Style::copy, {memo, copy}, "メモ のコピー 2.txt"},
        {"メモ のコピー 2.txt", false, Style::copy, {memo, copy, copy2}, "メモ のコピー 3.txt"},
        {"archive.tar.gz", false, Style::copy, {}, "archive.tar のコピー.gz"},
        {"Photos.app", true, Style::copy, {}, "Photos.app のコピー"},
        {"名称未設定フォルダ", true, Style::numbered, {}, "名称未設定フォルダ"},
        {"名称未設定フォルダ",
         true,
         Style::numbered,
         {untitled, untitled + " 2"},
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
        EXPECT_EQ(FileNaming::uniquePath(folder / c.wished, c.isDirectory, c.style, exists),
                  folder / c.result)
            << c.wished;
    }
}

// On disk: links count without being followed, and names that are not UTF-8 keep their bytes.
TEST(FileNamingTest, ExistingItemsOnDisk)
{
    TempDir scratch;
    const fs::path link = scratch.link("名称未設定フォルダ", "nowhere");
    EXPECT_EQ(FileNaming::uniquePath(link, true, Style::numbered, FileNaming::exists),
              scratch / "名称未設定フォルダ 2");

    const std::string bad = "r\xff\xfe";
    const fs::path wished = scratch.file(bad + "port.txt");
    struct Case {
        fs::path wished;
        Style style;
        std::string result;
    } cases[] = {
        {wished, Style::numbered, bad + "port 2.txt"},
        {wished, Style::copy, bad + "port のコピー.txt"},
        {scratch.file(bad + "port のコピー 2.txt"), Style::copy, bad + "port のコピー.txt"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(FileNaming::uniquePath(c.wished, false, c.style, FileNaming::exists).native(),
                  (scratch / c.result).native());
    // Each escaped byte counts once towards the limit.
    const QString storable = PathText::toStorableText(std::string(254, 'a') + "\xff");
    EXPECT_EQ(FileNaming::validationError(storable), std::nullopt);
    EXPECT_TRUE(FileNaming::validationError(storable + QLatin1Char('b')).has_value());
}
