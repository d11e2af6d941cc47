#include "operations/BulkRename.h"

#include "core/PathText.h"

#include <gtest/gtest.h>
#include <limits>

namespace fs = std::filesystem;
using Mode = BulkRenameOptions::Mode;
using CaseStyle = BulkRenameOptions::CaseStyle;

namespace {

const QString kInvalid = QStringLiteral("正規表現が正しくありません。");
const QString kExists = QStringLiteral("同じ名前の項目がすでにあります。");
const QString kDuplicate = QStringLiteral("ほかの項目と同じ名前になります。");
const QString kEmpty = QStringLiteral("名前を入力してください。");
const QString kSlash = QStringLiteral("名前に「/」は使えません。");

BulkRenameOptions replace(const char* find, const char* replacement, bool caseSensitive = false)
{
    BulkRenameOptions o;
    o.find = QString::fromUtf8(find);
    o.replacement = QString::fromUtf8(replacement);
    o.caseSensitive = caseSensitive;
    return o;
}

BulkRenameOptions regex(const char* pattern, const char* templateText, bool caseSensitive = false)
{
    BulkRenameOptions o;
    o.mode = Mode::regex;
    o.pattern = QString::fromUtf8(pattern);
    o.templateText = QString::fromUtf8(templateText);
    o.caseSensitive = caseSensitive;
    return o;
}

BulkRenameOptions sequence(const char* prefix, int start, int step, int digits)
{
    BulkRenameOptions o;
    o.mode = Mode::sequence;
    o.prefix = QString::fromUtf8(prefix);
    o.start = start;
    o.step = step;
    o.digits = digits;
    return o;
}

BulkRenameOptions changeCase(CaseStyle style)
{
    BulkRenameOptions o;
    o.mode = Mode::changeCase;
    o.caseStyle = style;
    return o;
}

BulkRenameOptions withExtension(BulkRenameOptions o)
{
    o.includeExtension = true;
    return o;
}

std::vector<BulkRenameItem> items(std::initializer_list<std::string> names)
{
    std::vector<BulkRenameItem> out;
    for (const std::string& name : names)
        out.push_back({fs::path("/folder") / name, false});
    return out;
}

std::vector<std::optional<QString>> problems(const std::vector<BulkRenamePreview>& rows)
{
    std::vector<std::optional<QString>> out;
    for (const BulkRenamePreview& row : rows)
        out.push_back(row.problem);
    return out;
}

} // namespace

TEST(BulkRenameTest, NewNames)
{
    constexpr int kMax = std::numeric_limits<int>::max();
    struct Case {
        BulkRenameOptions options;
        const char* name;
        int index;
        const char* expected; // nullptr: the pattern is rejected
        bool isDirectory = false;
    };
    const Case cases[] = {
        {sequence("", 1, 1, 3), "photo.JPG", 0, "001.JPG"},
        {sequence("", 1, 1, 3), "b.png", 1, "002.png"},
        {sequence("", 1, 1, 3), "c", 2, "003"},
        {sequence("", 1, 1, 0), "a.txt", 0, "1.txt"},
        {sequence("", 1, 1, 12), "a.txt", 0, "0000000001.txt"},
        {sequence("img_", 5, 10, 2), "a.b.txt", 3, "img_35.txt"},
        {withExtension(sequence("img_", 5, 10, 2)), "a.txt", 0, "img_05.txt"},
        {sequence("", 1, -2, 3), "a", 3, "-05"},
        {sequence("", kMax, kMax, 1), "a", kMax, "4611686016279904256"},
        {sequence("第", 1, 1, 2), "photos.d", 0, "第01", true},
        {replace("", "x"), "a.txt", 0, "a.txt"},
        {replace("a", "x"), "BANANA.TXT", 0, "BxNxNx.TXT"},
        {replace("A", "x", true), "Banana.txt", 0, "Banana.txt"},
        {replace("data", "x"), "data.data", 0, "x.data"},
        {withExtension(replace("data", "x")), "data.data", 0, "x.x"},
        {replace("写真", "photo"), "写真 写真.jpg", 0, "photo photo.jpg"},
        {regex("(\\d+)-(.*)", "$2-$1"), "12-abc.txt", 0, "abc-12.txt"},
        {withExtension(regex("(\\d+)-(.*)", "$2-$1")), "12-abc.txt", 0, "abc.txt-12"},
        {regex("abc", "X"), "ABC.abc", 0, "X.abc"},
        {regex("abc", "X", true), "ABC.txt", 0, "ABC.txt"},
        {regex("\\d+", "[$0]"), "a1b22.txt", 0, "a[1]b[22].txt"},
        {regex("", "x"), "a.txt", 0, "a.txt"},
        {regex("(", "x"), "a.txt", 0, nullptr},
        {regex("(a)", "$9"), "a.txt", 0, nullptr},
        {regex("(a)", "$9"), "b.txt", 0, "b.txt"}, // no match, so the template is never used
        {changeCase(CaseStyle::lower), "ÄBC Déf.TXT", 0, "äbc déf.TXT"},
        {changeCase(CaseStyle::upper), "straße.txt", 0, "STRASSE.txt"},
        {changeCase(CaseStyle::capitalized), "hello wORLD-foo.txt", 0, "Hello World-Foo.txt"},
        {changeCase(CaseStyle::upper), "ｆｉｌｅ名前 abc.txt", 0, "ＦＩＬＥ名前 ABC.txt"},
        {changeCase(CaseStyle::lower), "ＡＢＣ日本語ＸＹ.PDF", 0, "ａｂｃ日本語ｘｙ.PDF"},
        {changeCase(CaseStyle::capitalized), "東京 tokyo ÉTÉ.md", 0, "東京 Tokyo Été.md"},
        {withExtension(changeCase(CaseStyle::upper)), "a.txt", 0, "A.TXT"},
        {changeCase(CaseStyle::upper), ".zshrc", 0, ".ZSHRC"},
        {changeCase(CaseStyle::upper), "my.folder", 0, "MY.FOLDER", true},
    };
    for (const Case& c : cases) {
        const auto name =
            BulkRename::newName(QString::fromUtf8(c.name), c.isDirectory, c.index, c.options);
        if (c.expected)
            EXPECT_EQ(name.value_or(QStringLiteral("<invalid>")), QString::fromUtf8(c.expected))
                << c.name;
        else
            EXPECT_FALSE(name.has_value()) << c.name;
    }
}

TEST(BulkRenameTest, RawValuesRoundTripInOrder)
{
    const QStringList modes{"replace", "regex", "sequence", "changeCase"};
    for (int i = 0; i < modes.size(); ++i) {
        EXPECT_EQ(BulkRenameOptions::rawValue(Mode(i)), modes[i]);
        EXPECT_EQ(BulkRenameOptions::modeFrom(modes[i]), Mode(i));
    }
    const QStringList styles{"lower", "upper", "capitalized"};
    for (int i = 0; i < styles.size(); ++i) {
        EXPECT_EQ(BulkRenameOptions::rawValue(CaseStyle(i)), styles[i]);
        EXPECT_EQ(BulkRenameOptions::caseStyleFrom(styles[i]), CaseStyle(i));
    }
    EXPECT_FALSE(BulkRenameOptions::modeFrom("Replace"));
    EXPECT_FALSE(BulkRenameOptions::caseStyleFrom(""));
}

TEST(BulkRenameTest, PreviewProblems)
{
    const auto none = std::nullopt;
    struct Case {
        const char* what;
        BulkRenameOptions options;
        std::vector<BulkRenameItem> items;
        QSet<QString> otherNames;
        std::vector<std::optional<QString>> problems;
        std::vector<const char*> newNames;
    };
    const Case cases[] = {
        {"unselected item differs only in case",
         changeCase(CaseStyle::lower),
         items({"A.txt", "B.txt"}),
         {"a.txt", "c.txt"},
         {kExists, none},
         {"a.txt", "b.txt"}},
        {"beyond ASCII too",
         replace("x", "y"),
         items({"Äx.TXT", "bx"}),
         {"äy.txt"},
         {kExists, none},
         {"Äy.TXT", "by"}},
        {"two rows meet, case aside",
         replace("1", "2"),
         items({"a1.txt", "A2.TXT", "b1"}),
         {},
         {kDuplicate, none, none},
         {"a2.txt", "A2.TXT", "b2"}},
        {"a new name may be another selected item's old name",
         sequence("", 3, 1, 1),
         items({"2", "3"}),
         {"5"},
         {none, none},
         {"3", "4"}},
        {"names the rule leaves alone stay, even beside their case twins",
         replace("x", "y"),
         items({"readme", "README", "ax"}),
         {"readme"},
         {none, none, none},
         {"readme", "README", "ay"}},
        {"pattern does not compile",
         regex("[", "x"),
         items({"a", "b"}),
         {},
         {kInvalid, kInvalid},
         {"a", "b"}},
        {"template names a missing group in one row",
         regex("(b)", "$2"),
         items({"a", "b"}),
         {},
         {kInvalid, kInvalid},
         {"a", "b"}},
        {"the name check comes before collisions",
         withExtension(replace("x.txt", "")),
         items({"x.txt", "X.TXT", "y"}),
         {""},
         {kEmpty, kEmpty, none},
         {"", "", "y"}},
        {"a slash is refused",
         replace("-", "/"),
         items({"a-b", "c"}),
         {"a/b"},
         {kSlash, none},
         {"a/b", "c"}},
    };
    for (const Case& c : cases) {
        const auto rows = BulkRename::preview(c.items, c.options, c.otherNames);
        ASSERT_EQ(rows.size(), c.items.size()) << c.what;
        EXPECT_EQ(problems(rows), c.problems) << c.what;
        for (size_t i = 0; i < rows.size(); ++i) {
            EXPECT_EQ(rows[i].url, c.items[i].url) << c.what;
            EXPECT_EQ(rows[i].oldName, PathText::toStorableText(c.items[i].url.filename()));
            EXPECT_EQ(rows[i].newName, QString::fromUtf8(c.newNames[i])) << c.what;
        }
    }
}

// Bytes that are not UTF-8 come back unchanged wherever the rule leaves them alone.
TEST(BulkRenameTest, NamesThatAreNotUtf8KeepTheirBytes)
{
    struct Case {
        BulkRenameOptions options;
        std::string expected;
    };
    const Case cases[] = {
        {replace("-", "_"), "caf\xe9_\xff\xfe.txt"},
        {regex("^(\\w+)(.*)-", "$1$2+$1"), "caf\xe9+caf\xff\xfe.txt"},
        {changeCase(CaseStyle::upper), "CAF\xe9-\xff\xfe.txt"},
        {changeCase(CaseStyle::capitalized), "Caf\xe9-\xff\xfe.txt"},
        {sequence("n", 7, 1, 1), "n7.txt"},
    };
    const std::vector<BulkRenameItem> selection{{fs::path("/f/caf\xe9-\xff\xfe.txt"), false}};
    for (const Case& c : cases) {
        const auto rows = BulkRename::preview(selection, c.options, {});
        ASSERT_EQ(rows.size(), 1u);
        EXPECT_EQ(rows[0].problem, std::nullopt) << c.expected;
        EXPECT_EQ(PathText::fromStorableText(rows[0].newName).native(), c.expected);
    }
}
