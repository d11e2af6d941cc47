#include "platform/UserFolders.h"

#include <QByteArray>
#include <fstream>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

using Kind = UserFolders::Kind;

TEST(UserFoldersTest, ReadsUserDirsByteExactAndListsEachFolderOnce)
{
    // The test main points HOME and XDG_CONFIG_HOME into a scratch folder.
    const fs::path home(qgetenv("HOME").toStdString());
    const fs::path settings = fs::path(qgetenv("XDG_CONFIG_HOME").toStdString()) / "user-dirs.dirs";
    fs::create_directories(settings.parent_path());
    struct Case {
        const char* name;
        std::string file; // empty: no file
        std::vector<UserFolders::Folder> folders;
    };
    const Case cases[] = {
        {"no settings: the desktop by tradition",
         "",
         {{Kind::home, home}, {Kind::desktop, home / "Desktop"}}},
        {"raw bytes and a disabled desktop",
         "XDG_DESKTOP_DIR=\"$HOME/\"\nXDG_DOCUMENTS_DIR=\"$HOME/文書\"\n"
         "XDG_DOWNLOAD_DIR=\"/srv/dl\xff\"\n",
         {{Kind::home, home},
          {Kind::documents, home / "文書"},
          {Kind::downloads, std::string("/srv/dl\xff")}}},
        {"the same folder twice",
         "XDG_DESKTOP_DIR=\"$HOME/Desktop\"\nXDG_DOCUMENTS_DIR=\"$HOME/Desktop/\"\n"
         "XDG_DOWNLOAD_DIR=\"$HOME\"\n",
         {{Kind::home, home}, {Kind::desktop, home / "Desktop"}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        fs::remove(settings);
        if (!c.file.empty())
            std::ofstream(settings) << c.file;
        const std::vector<UserFolders::Folder> folders = UserFolders::standard();
        ASSERT_EQ(folders.size(), c.folders.size());
        for (size_t i = 0; i < folders.size(); ++i) {
            EXPECT_EQ(folders[i].kind, c.folders[i].kind) << i;
            EXPECT_EQ(folders[i].path.native(), c.folders[i].path.native()) << i;
        }
    }
}

} // namespace
