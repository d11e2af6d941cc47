#include "support/TempDir.h"

#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

struct ToolRun {
    int status = -1;
    std::string out;
    std::string err;
};

std::string slurp(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// Runs a program with raw argument bytes (QProcess would re-encode them), output
// captured in files beside the test's scratch folder.
ToolRun run(const std::vector<std::string>& argv, const TempDir& scratch)
{
    const fs::path outPath = scratch / "stdout.txt";
    const fs::path errPath = scratch / "stderr.txt";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    std::vector<char*> args;
    for (const auto& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    pid_t pid = 0;
    ToolRun result;
    if (posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ) == 0) {
        int status = 0;
        waitpid(pid, &status, 0);
        result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    result.out = slurp(outPath);
    result.err = slurp(errPath);
    return result;
}

std::string tool()
{
    const char* path = std::getenv("QUILLO_TOOL");
    return path ? path : "quillo-tool";
}

// The listing folder lives one level down so that the captured output files
// do not show up in it.
class QuilloToolListTest : public ::testing::Test {
protected:
    ToolRun list(std::vector<std::string> options)
    {
        std::vector<std::string> argv = {tool(), "list"};
        argv.insert(argv.end(), options.begin(), options.end());
        argv.push_back(folder.native());
        return run(argv, scratch);
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
    std::istringstream lines(r.out);
    std::vector<std::string> got;
    for (std::string line; std::getline(lines, line);)
        got.push_back(line.substr(0, 1) + line.substr(line.rfind('\t') + 1));
    EXPECT_EQ(got,
              (std::vector<std::string>{"fbad\\xff\\x5cname", "ldangling", "fFile2.txt",
                                        "ffile10.txt", "fnew\\x0aline\\x09tab", "dsub", "LtoSub"}));
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
        {{"--sort", "size"}, "dir small big "},
        {{"--sort", "size", "--descending"}, "big small dir "},
        {{"--hidden", "--sort", "size"}, "dir small .dot big "},
        {{"--hidden"}, ".dot big dir small "},
        {{"--sort", "tags", "--descending"}, "big dir small "},
    };
    for (const Case& c : cases) {
        const ToolRun r = list(c.options);
        EXPECT_EQ(r.status, 0) << r.err;
        std::istringstream lines(r.out);
        std::string names;
        for (std::string line; std::getline(lines, line);)
            names += line.substr(line.rfind('\t') + 1) + " ";
        EXPECT_EQ(names, c.names) << c.options.back();
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
    EXPECT_EQ(run({tool()}, scratch).status, 2);

    const ToolRun missing = run({tool(), "list", (scratch / "gone").native()}, scratch);
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err, "「gone」が見つかりません。\n");
    EXPECT_EQ(missing.out, "");
}

TEST_F(QuilloToolListTest, UnreadableFolderGivesThePermissionMessage)
{
    const fs::path locked = scratch.folder("locked");
    scratch.file("locked/inside");
    ASSERT_EQ(::chmod(locked.c_str(), 0700), 0);
    std::vector<std::string> argv;
    if (::geteuid() == 0) {
        // Root reads anything, so run as nobody; it needs to reach the binary and the
        // scratch folder, and the folder stays unreadable to it.
        const fs::path copy = scratch / "quillo-tool";
        fs::copy_file(tool(), copy);
        ASSERT_EQ(::chmod(scratch.path().c_str(), 0755), 0);
        argv = {"setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups", copy.native()};
    } else {
        ASSERT_EQ(::chmod(locked.c_str(), 0000), 0);
        argv = {tool()};
    }
    argv.insert(argv.end(), {"list", locked.native()});
    const ToolRun r = run(argv, scratch);
    EXPECT_EQ(r.status, 1) << r.err;
    EXPECT_EQ(r.err, "「locked」を開くアクセス権がありません。\n"
                     "このフォルダは所有者以外が読めない設定になっています。\n");
    EXPECT_EQ(r.out, "");
}
