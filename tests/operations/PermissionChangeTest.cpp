#include "operations/PermissionChange.h"

#include "operations/FileOperationManager.h"
#include "support/TempDir.h"

#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QUndoStack>
#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using PermissionChange::Request;

namespace {

mode_t modeOf(const fs::path& path)
{
    struct stat st {};
    EXPECT_EQ(::lstat(path.c_str(), &st), 0) << path;
    return st.st_mode & 07777;
}

// Every path below the root (the root too) with its permission bits.
std::map<std::string, mode_t> modes(const fs::path& root)
{
    std::map<std::string, mode_t> out{{".", modeOf(root)}};
    for (auto it =
             fs::recursive_directory_iterator(root, fs::directory_options::skip_permission_denied);
         it != fs::recursive_directory_iterator(); ++it)
        out[it->path().lexically_relative(root).native()] = modeOf(it->path());
    return out;
}

class CountingPrompter : public Prompter {
public:
    std::vector<Alert> shown;
    void present(const Alert& alert, std::function<void(Alert::Response)> done) override
    {
        shown.push_back(alert);
        QTimer::singleShot(0, [done] { done({0, false}); });
    }
};

// Runs as an ordinary user while it lives (the test runs as root, whom no
// permission would ever stop).
class OrdinaryUser {
public:
    // Everything in the tree becomes the user's but the items named in `kept`.
    OrdinaryUser(const fs::path& tree, std::vector<std::string> kept)
    {
        const passwd* nobody = ::getpwnam("nobody");
        m_uid = nobody ? nobody->pw_uid : 65534;
        for (auto it = fs::recursive_directory_iterator(tree);
             it != fs::recursive_directory_iterator(); ++it) {
            if (std::find(kept.begin(), kept.end(), it->path().filename()) != kept.end()) {
                it.disable_recursion_pending();
                continue;
            }
            EXPECT_EQ(::lchown(it->path().c_str(), m_uid, -1), 0);
        }
        EXPECT_EQ(::lchown(tree.c_str(), m_uid, -1), 0);
        EXPECT_EQ(::seteuid(m_uid), 0);
    }
    ~OrdinaryUser() { EXPECT_EQ(::seteuid(0), 0); }

private:
    uid_t m_uid = 0;
};

} // namespace

TEST(PermissionChangeTest, ChangesWhatIsAskedAndNeverFollowsLinks)
{
    struct Case {
        const char* what;
        bool recursive;
        std::map<std::string, mode_t> after; // the rest keep their modes
    };
    const Case cases[] = {
        {"file", false, {{"f", 0600}}},
        {"folder alone", false, {{"d", 0700}}},
        {"folder with contents",
         true,
         {{"d", 0700}, {"d/in", 0600}, {"d/sub", 0700}, {"d/sub/deep", 0600}}},
    };
    for (const Case& c : cases) {
        TempDir dir;
        dir.file("f", "x");
        dir.file("d/in", "x");
        dir.file("d/sub/deep", "x");
        dir.file("outside", "x");
        dir.link("d/sub/link", "../../outside");
        for (const char* name : {"f", "d/in", "d/sub/deep", "outside"})
            ::chmod((dir / name).c_str(), 0644);
        for (const char* name : {"d", "d/sub"})
            ::chmod((dir / name).c_str(), 0755);
        auto expected = modes(dir.path());
        for (const auto& [name, mode] : c.after)
            expected[name] = mode;
        const fs::path item = dir / (std::string(c.what) == "file" ? "f" : "d");
        // Group and others lose everything; files keep their execute bits as they were.
        const auto out = PermissionChange::apply({{item}, 0700, 0777, 0666, c.recursive});
        EXPECT_TRUE(out.failures.empty()) << c.what;
        EXPECT_EQ(modes(dir.path()), expected) << c.what;
        EXPECT_EQ(out.changed.size(), c.after.size()) << c.what;
        EXPECT_TRUE(PermissionChange::replay(out.changed, false).empty());
        EXPECT_EQ(modeOf(dir / "outside"), 0644u) << c.what;
        EXPECT_EQ(modeOf(dir / "d"), 0755u) << c.what;
    }
}

// What can be changed is changed, the rest is reported, and undo restores every
// mode that was changed.
TEST(PermissionChangeTest, RecursiveChangeReportsUnreachablePartsAndUndoes)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "items of another user, out of reach, can only be made by root";
    TempDir dir;
    const fs::path top = dir / "top";
    dir.file("top/a", "x");
    dir.file("top/opened/inside", "x"); // reachable once the change opens its folder
    dir.file("top/locked/hidden", "x"); // another user's: neither readable nor changeable
    dir.file("top/root-owned", "x");
    dir.link("top/dangling", "nowhere");
    for (const char* name : {"top/a", "top/opened/inside", "top/locked/hidden", "top/root-owned"})
        ::chmod((dir / name).c_str(), 0600);
    for (const char* name : {"top", "top/locked"})
        ::chmod((dir / name).c_str(), 0700);
    ::chmod((dir / "top/opened").c_str(), 0);
    const auto before = modes(top);

    FileOperationManager manager;
    auto prompter = std::make_shared<CountingPrompter>();
    manager.setFallbackPrompter(prompter);
    QSignalSpy changed(&manager, &FileOperationManager::foldersChanged);
    {
        OrdinaryUser user(dir.path(), {"locked", "root-owned"});
        std::optional<PermissionChange::Outcome> out;
        manager.changePermissions({{top}, 0755, 0777, 0666, true}, prompter,
                                  [&](auto o) { out = std::move(o); });
        ASSERT_TRUE(QTest::qWaitFor([&] { return out.has_value(); }, 20000));

        std::vector<std::string> failed;
        for (const Error& error : out->failures)
            failed.push_back(error.path.lexically_relative(top).native());
        std::sort(failed.begin(), failed.end());
        EXPECT_EQ(failed, (std::vector<std::string>{"locked", "root-owned"}));
        ASSERT_EQ(prompter->shown.size(), 1u);
        EXPECT_EQ(prompter->shown[0].message,
                  QStringLiteral("2 項目のアクセス権を変更できませんでした。"));
        EXPECT_TRUE(prompter->shown[0].informativeText.contains(QStringLiteral("root-owned")));
        for (const auto& [name, mode] : std::map<std::string, mode_t>{
                 {"", 0755}, {"a", 0644}, {"opened", 0755}, {"opened/inside", 0644}})
            EXPECT_EQ(modeOf(top / name), mode) << name;
        EXPECT_EQ(out->changed.size(), 4u);

        EXPECT_EQ(manager.undoStack().undoText(), QStringLiteral("アクセス権の変更"));
        manager.undoStack().undo();
        ASSERT_TRUE(QTest::qWaitFor([&] { return changed.count() == 2; }, 20000));
    }
    EXPECT_EQ(modes(top), before);
    EXPECT_EQ(prompter->shown.size(), 1u);
}
