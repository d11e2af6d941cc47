#include "support/TempDir.h"
#include "support/ToolRun.h"
#include "tags/TagStore.h"

#include <QProcessEnvironment>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

class QuilloToolTagsTest : public ::testing::Test {
protected:
    ToolRun tags(std::vector<std::string> paths)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("QUILLO_TAGS_PATH"), QString::fromStdString(file.native()));
        paths.insert(paths.begin(), "tags");
        return runTool(paths, {}, env);
    }

    static int64_t modified(const fs::path& path)
    {
        struct stat st;
        return ::stat(path.c_str(), &st) == 0 ? st.st_mtim.tv_sec * 1000000000 + st.st_mtim.tv_nsec
                                              : -1;
    }

    TempDir scratch;
    fs::path file = scratch / "lib" / "tags.json";
};

} // namespace

TEST_F(QuilloToolTagsTest, PrintsExplicitTagsInTreeOrderAndNeverWrites)
{
    const fs::path report = scratch.file("report.pdf"), plain = scratch.file("plain.txt");
    const fs::path spaced = scratch.file("with space");
    {
        TagStore store(file);
        const Tag client = *store.createTag(QStringLiteral("Work/Client"));
        const Tag urgent = *store.createTag(QStringLiteral("Urgent"));
        store.assign(urgent.id, {report});
        store.assign(client.id, {report, spaced});
        store.assign(TagStore::favoritesID, {report});
        store.waitForSaved();
    }
    const std::string before = readFile(file);
    const int64_t stamp = modified(file);
    const ToolRun r = tags({report.native(), plain.native(), spaced.native()});
    EXPECT_EQ(r.status, 0) << r.err;
    // Stored order is by name: Urgent, Work, Work/Client, お気に入り.
    EXPECT_EQ(r.out, report.native() + "\tUrgent\tWork/Client\tお気に入り\n" + plain.native() +
                         "\n" + spaced.native() + "\tWork/Client\n");
    EXPECT_EQ(readFile(file), before);
    EXPECT_EQ(modified(file), stamp);
}

TEST_F(QuilloToolTagsTest, MissingLibraryMeansNoTagsAndCreatesNothing)
{
    const ToolRun r = tags({"/some/where"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "/some/where\n");
    EXPECT_FALSE(fs::exists(file.parent_path()));
}

TEST_F(QuilloToolTagsTest, CorruptLibraryIsReportedAndLeftAlone)
{
    scratch.file("lib/tags.json", "{ not json");
    const ToolRun r = tags({"/x"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("を読めません"), std::string::npos);
    EXPECT_EQ(readFile(file), "{ not json");
    EXPECT_EQ(std::distance(fs::directory_iterator(file.parent_path()), fs::directory_iterator()),
              1);
}
