#include "platform/Trash.h"
#include "platform/TrashTesting.h"

#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

namespace fs = std::filesystem;
using namespace TrashTesting;

namespace {

// This test program's own mount namespace, entered once: mounts made in it vanish when
// the program ends, whatever happens. Empty when the system does not allow it.
std::string privateMountsUnavailable()
{
    static const std::string reason = [] {
        if (::unshare(CLONE_NEWNS) != 0)
            return std::string("cannot make a mount namespace: ") + std::strerror(errno);
        if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            return std::string("cannot make mounts private: ") + std::strerror(errno);
        return std::string();
    }();
    return reason;
}

class Mount {
public:
    Mount(const char* source, const fs::path& point, const char* type, unsigned long flags)
        : m_point(point)
    {
        fs::create_directories(point);
        m_ok = ::mount(source, point.c_str(), type, flags, nullptr) == 0;
    }
    ~Mount()
    {
        if (m_ok)
            ::umount2(m_point.c_str(), MNT_DETACH);
    }
    bool ok() const { return m_ok; }
    bool makeReadOnly() const
    {
        return ::mount(nullptr, m_point.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
    }

private:
    fs::path m_point;
    bool m_ok = false;
};

} // namespace

class TrashVolumeTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (const std::string reason = privateMountsUnavailable(); !reason.empty())
            GTEST_SKIP() << reason;
    }

    // A fresh tmpfs below the scratch folder, unmounted when the test ends.
    fs::path newVolume()
    {
        const fs::path point = scratch / ("volume" + std::to_string(m_mounts.size()));
        m_mounts.push_back(std::make_unique<Mount>("quillo-test", point, "tmpfs", 0));
        if (!m_mounts.back()->ok())
            return {};
        ::chmod(point.c_str(), 0755);
        return point;
    }
    Mount& lastMount() { return *m_mounts.back(); }

    TempDir scratch;

private:
    std::vector<std::unique_ptr<Mount>> m_mounts;
};

TEST_F(TrashVolumeTest, ChoosesOnlyTrustworthyTrashDirectories)
{
    const std::string own = ".Trash-" + kUid;
    const auto folder = [](const fs::path& p, mode_t mode) {
        fs::create_directory(p);
        ::chmod(p.c_str(), mode);
    };
    struct Case {
        const char* what;
        std::function<void(const fs::path& volume)> prepare;
        std::string trash; // relative to the volume; empty: no usable trash
    };
    const Case cases[] = {
        {"none yet", [](const fs::path&) {}, own},
        {"sticky .Trash", [&](const fs::path& v) { folder(v / ".Trash", 01777); },
         ".Trash/" + kUid},
        {"sticky .Trash with ours",
         [&](const fs::path& v) {
             folder(v / ".Trash", 01777);
             folder(v / ".Trash" / kUid, 0700);
         },
         ".Trash/" + kUid},
        {"no sticky bit", [&](const fs::path& v) { folder(v / ".Trash", 0777); }, own},
        {".Trash is a link",
         [&](const fs::path& v) {
             folder(v / "elsewhere", 01777);
             fs::create_directory_symlink("elsewhere", v / ".Trash");
         },
         own},
        {".Trash/$uid is a link",
         [&](const fs::path& v) {
             folder(v / ".Trash", 01777);
             folder(v / "elsewhere", 0700);
             fs::create_directory_symlink("../elsewhere", v / ".Trash" / kUid);
         },
         own},
        {".Trash-$uid is a link",
         [&](const fs::path& v) {
             folder(v / "elsewhere", 0700);
             fs::create_directory_symlink("elsewhere", v / own);
         },
         ""},
        {".Trash-$uid open to others", [&](const fs::path& v) { folder(v / own, 0755); }, ""},
        {".Trash-$uid someone else's",
         [&](const fs::path& v) {
             folder(v / own, 0700);
             ASSERT_EQ(::chown((v / own).c_str(), ::getuid() + 1, ::getgid()), 0);
         },
         ""},
    };
    const size_t homeEntries = entryCount(homeTrash() / "info");
    for (const Case& c : cases) {
        const fs::path volume = newVolume();
        ASSERT_FALSE(volume.empty()) << "cannot mount a tmpfs";
        c.prepare(volume);
        // Reached through a link: Path is relative to the physical mount point.
        fs::create_directories(volume / "dir");
        const fs::path via = scratch / ("via-" + volume.filename().native());
        fs::create_directory_symlink(volume / "dir", via);
        const fs::path item = via / "x y";
        std::ofstream(item) << c.what;
        const auto trashed = Trash::moveToTrash(item);
        EXPECT_EQ(entryCount(volume / "elsewhere"), 0u) << c.what;
        if (c.trash.empty()) {
            ASSERT_FALSE(trashed) << c.what;
            EXPECT_EQ(trashed.error(), Error::fromErrno(Trash::kNoTrash, item)) << c.what;
            EXPECT_EQ(readFile(item), c.what);
            continue;
        }
        ASSERT_TRUE(trashed) << c.what << " " << trashed.error().code;
        EXPECT_EQ(trashed->original, item);
        EXPECT_EQ(trashed->trashed, volume / c.trash / "files" / "x y") << c.what;
        EXPECT_EQ(pathKey(trashed->info), "dir/x%20y") << c.what;
        EXPECT_EQ(modeOf(volume / c.trash) & 077, 0u) << c.what;
        ASSERT_TRUE(Trash::restore(*trashed)) << c.what;
        EXPECT_EQ(readFile(item), c.what);
    }
    EXPECT_EQ(entryCount(homeTrash() / "info"), homeEntries);
}

TEST_F(TrashVolumeTest, ReadOnlyAndBindMountsHaveNoTrash)
{
    const size_t homeEntries = entryCount(homeTrash() / "info");
    for (const bool trashExists : {false, true}) {
        const fs::path volume = newVolume();
        ASSERT_FALSE(volume.empty()) << "cannot mount a tmpfs";
        if (trashExists) {
            for (const char* part : {"files", "info"})
                fs::create_directories(volume / (".Trash-" + kUid) / part);
            ::chmod((volume / (".Trash-" + kUid)).c_str(), 0700);
        }
        std::ofstream(volume / "item") << "ro";
        ASSERT_TRUE(lastMount().makeReadOnly());
        const auto result = Trash::moveToTrash(volume / "item");
        ASSERT_FALSE(result) << trashExists;
        EXPECT_EQ(result.error().code, Trash::kNoTrash) << trashExists;
        EXPECT_EQ(readFile(volume / "item"), "ro");
    }
    // A bind mount of a folder of the home file system: same device, but no rename across.
    const fs::path source = scratch.folder("source");
    std::ofstream(source / "item") << "bound";
    Mount bound(source.c_str(), scratch / "bound", nullptr, MS_BIND);
    ASSERT_TRUE(bound.ok());
    const auto result = Trash::moveToTrash(scratch / "bound" / "item");
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().code, Trash::kNoTrash);
    EXPECT_EQ(readFile(source / "item"), "bound");
    EXPECT_EQ(entryCount(homeTrash() / "info"), homeEntries);
}
