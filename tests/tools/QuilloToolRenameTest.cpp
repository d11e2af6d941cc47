#include "support/TempDir.h"
#include "support/ToolRun.h"

#include <gtest/gtest.h>
#include <map>

namespace fs = std::filesystem;
using Files = std::map<std::string, std::string>; // name → contents

namespace {

class QuilloToolRenameTest : public ::testing::Test {
protected:
    // The tool with its data folder (the rename journal) inside the scratch folder. The
    // arguments reach it through bash from standard input, as raw bytes: QProcess would
    // re-encode names that are not UTF-8.
    ToolRun rename(const std::vector<std::string>& arguments)
    {
        std::string input;
        for (const std::string& argument : arguments)
            input += argument + '\0';
        return runProgramWithInput(
            "/bin/bash",
            {"-c", "mapfile -d '' a; XDG_DATA_HOME=\"$1\" exec \"$0\" rename \"${a[@]}\"",
             QString::fromStdString(quilloTool()), QString::fromStdString(data.native())},
            input);
    }

    TempDir scratch;
    fs::path data = scratch.folder("data");
    fs::path items = scratch.folder("items");
};

} // namespace

TEST_F(QuilloToolRenameTest, PrintsEachRowAndAppliesOnlyARuleWithoutProblems)
{
    const struct {
        const char* what;
        Files before;
        std::vector<std::string> rule;
        std::vector<std::string> selected;
        int status;
        std::string out;
        Files after;
    } cases[] = {
        {"a dry run changes nothing",
         {{"photo.JPG", "1"}, {"b.png", "2"}, {"c", "3"}},
         {"--dry-run", "--mode", "sequence", "--start", "1", "--digits", "3"},
         {"photo.JPG", "b.png", "c"},
         0,
         "photo.JPG\t001.JPG\t\nb.png\t002.png\t\nc\t003\t\n",
         {{"photo.JPG", "1"}, {"b.png", "2"}, {"c", "3"}}},
        {"numbering in the given order",
         {{"x.txt", "1"}, {"y.txt", "2"}, {"z.txt", "3"}, {"other", "o"}},
         {"--mode", "sequence", "--prefix", "img_", "--start", "10", "--step", "5", "--digits",
          "4"},
         {"z.txt", "x.txt", "y.txt"},
         0,
         "z.txt\timg_0010.txt\t\nx.txt\timg_0015.txt\t\ny.txt\timg_0020.txt\t\n",
         {{"img_0010.txt", "3"}, {"img_0015.txt", "1"}, {"img_0020.txt", "2"}, {"other", "o"}}},
        {"bytes that are not UTF-8 stay as they were",
         {{"caf\xe9-a.txt", "1"}},
         {"--mode", "replace", "--find", "A", "--replace", "b"},
         {"caf\xe9-a.txt"},
         0,
         "caf\xe9-a.txt\tcbf\xe9-b.txt\t\n",
         {{"cbf\xe9-b.txt", "1"}}},
        {"a name another item has",
         {{"A.txt", "1"}, {"B.txt", "2"}, {"a.TXT", "3"}},
         {"--mode", "case", "--case", "lower"},
         {"A.txt", "B.txt"},
         1,
         "A.txt\ta.txt\t同じ名前の項目がすでにあります。\nB.txt\tb.txt\t\n",
         {{"A.txt", "1"}, {"B.txt", "2"}, {"a.TXT", "3"}}},
    };
    for (const auto& c : cases) {
        fs::remove_all(items);
        for (const auto& [name, contents] : c.before)
            scratch.file("items/" + name, contents);
        std::vector<std::string> arguments = c.rule;
        for (const std::string& name : c.selected)
            arguments.push_back((items / name).native());
        const ToolRun r = rename(arguments);
        EXPECT_EQ(r.status, c.status) << c.what << ": " << r.err;
        EXPECT_EQ(r.out, c.out) << c.what;
        EXPECT_EQ(filesWithContents(items), c.after) << c.what;
        const fs::path journal = data / "Quillo" / "renames";
        EXPECT_TRUE(!fs::exists(journal) || fs::is_empty(journal)) << c.what;
    }
}

TEST_F(QuilloToolRenameTest, RefusesArgumentsItCannotUse)
{
    const std::string a = scratch.file("items/a", "1").native();
    const std::string other = scratch.file("elsewhere/b", "2").native();
    const std::vector<std::string> refused[] = {
        {a},
        {"--mode", "shuffle", a},
        {"--mode", "sequence", "--digits", "three", a},
        {"--mode", "sequence", "--digits"},
        {"--mode", "sequence", "--colour", "red", a},
        {"--mode", "sequence"},
        {"--mode", "sequence", a, other},
    };
    for (const auto& arguments : refused) {
        const ToolRun r = rename(arguments);
        EXPECT_EQ(r.status, 2) << arguments.size() << " " << arguments[0];
        EXPECT_EQ(r.out, "");
    }
    EXPECT_EQ(rename({"--mode", "sequence", (items / "gone").native()}).status, 1);
    EXPECT_EQ(filesWithContents(items), (Files{{"a", "1"}}));
}
