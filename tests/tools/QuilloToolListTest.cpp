#include "support/TempDir.h"
#include "support/ToolRun.h"

#include <gtest/gtest.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

// The type letter and name of every line: "f:name d:other ".
std::string typesAndNames(const std::string& out)
{
    std::istringstream lines(out);
    std::string names;
    for (std::string line; std::getline(lines, line);)
        names += line.substr(0, 1) + ":" + line.substr(line.rfind('\t') + 1) + " ";
    return names;
}

class QuilloToolListTest : public ::testing::Test {
protected:
    ToolRun list(std::vector<std::string> options)
    {
        options.insert(options.begin(), "list");
        options.push_back(folder.native());
        return runTool(options);
    }

    TempDir scratch;
    fs::path folder = scratch.folder("listing");
};

} // namespace

TEST_F(QuilloToolListTest, PrintsOneLinePerItem)
{
    setModificationTime(scratch.file("listing/file10.txt", "0123456789"), 1'000'000'000);
    setModificationTime(scratch.file("listing/File2.txt", "xy"), 1'000'000'001);
    setModificationTime(scratch.folder("listing/sub"), 5);
    scratch.file("listing/bad\xff\\name");
    scratch.file("listing/new\nline\ttab");
    scratch.link("listing/toSub", "sub");
    scratch.link("listing/dangling", "missing");
    scratch.file("listing/.secret");
    scratch.file("listing/.DS_Store");

    const ToolRun r = list({});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(typesAndNames(r.out), "f:bad\\xff\\x5cname l:dangling f:File2.txt f:file10.txt "
                                    "f:new\\x0aline\\x09tab d:sub L:toSub ");
    EXPECT_NE(r.out.find("f\t10\t1000000000\tfile10.txt\n"), std::string::npos);
    EXPECT_NE(r.out.find("d\t-\t5\tsub\n"), std::string::npos);
    EXPECT_NE(r.out.find("L\t-\t"), std::string::npos);
}

TEST_F(QuilloToolListTest, OptionsChooseHiddenItemsKeyAndDirection)
{
    scratch.file("listing/big", std::string(300, 'b'));
    scratch.file("listing/small", "s");
    scratch.folder("listing/dir");
    scratch.file("listing/.dot", "dd");
    scratch.file("listing/.localized");

    struct Case {
        std::vector<std::string> options;
        std::string names;
    };
    const Case cases[] = {
        {{"--sort", "size"}, "d:dir f:small f:big "},
        {{"--sort", "size", "--descending"}, "f:big f:small d:dir "},
        {{"--hidden", "--sort", "size"}, "d:dir f:small f:.dot f:big "},
        {{"--hidden"}, "f:.dot f:big d:dir f:small "},
        {{"--sort", "tags", "--descending"}, "f:big d:dir f:small "},
    };
    for (const Case& c : cases) {
        const ToolRun r = list(c.options);
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(typesAndNames(r.out), c.names) << c.options.back();
    }
}

TEST_F(QuilloToolListTest, BadUsageAndMissingFolder)
{
    for (const auto& options : std::vector<std::vector<std::string>>{
             {"--sort", "colour"}, {"--bogus"}, {"--sort"}, {"extra-folder"}}) {
        const ToolRun r = list(options);
        EXPECT_EQ(r.status, 2) << options.front();
        EXPECT_NE(r.err.find("usage"), std::string::npos);
        EXPECT_EQ(r.out, "");
    }
    EXPECT_EQ(runTool({}).status, 2);

    const ToolRun missing = runTool({"list", (scratch / "gone").native()});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err, "「gone」が見つかりません。\n");
    EXPECT_EQ(missing.out, "");
}

TEST_F(QuilloToolListTest, UnreadableFolderGivesThePermissionMessage)
{
    const fs::path locked = scratch.folder("locked");
    scratch.file("locked/inside");
    ASSERT_EQ(::chmod(locked.c_str(), 0700), 0);
    ToolRun r;
    if (::geteuid() == 0) {
        // Root reads anything, so run as nobody; it needs to reach the binary and the
        // scratch folder, and the folder stays unreadable to it.
        const fs::path copy = scratch / "quillo-tool";
        fs::copy_file(quilloTool(), copy);
        ASSERT_EQ(::chmod(scratch.path().c_str(), 0755), 0);
        r = runProgram("setpriv",
                       {"--reuid=nobody", "--regid=nogroup", "--clear-groups",
                        QString::fromStdString(copy), "list", QString::fromStdString(locked)});
    } else {
        ASSERT_EQ(::chmod(locked.c_str(), 0000), 0);
        r = runTool({"list", locked.native()});
    }
    EXPECT_EQ(r.status, 1) << r.err;
    EXPECT_EQ(r.err, "「locked」を開くアクセス権がありません。\n"
                     "このフォルダは所有者以外が読めない設定になっています。\n");
    EXPECT_EQ(r.out, "");
}
