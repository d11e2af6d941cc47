#include "platform/DefaultApplication.h"

#include "support/TempDir.h"

#include <QDeadlineTimer>
#include <QThread>
#include <fstream>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

void writeText(const fs::path& path, const std::string& text)
{
    fs::create_directories(path.parent_path());
    std::ofstream(path) << text;
}

void writeApp(const fs::path& applications, const std::string& id, const fs::path& marker)
{
    writeText(applications / id, "[Desktop Entry]\nType=Application\nName=" + id +
                                     "\nExec=/usr/bin/touch " + marker.native() +
                                     "\nMimeType=text/csv;\n");
}

bool appears(const fs::path& path)
{
    QDeadlineTimer deadline(10000);
    while (!fs::exists(path) && !deadline.hasExpired())
        QThread::msleep(20);
    return fs::exists(path);
}

} // namespace

// With Quillo made the default for a type, opening such a file from Quillo must go
// to the next application, never back to Quillo.
TEST(DefaultApplicationTest, PassesOverQuilloWhenItIsTheDefault)
{
    const fs::path data = qEnvironmentVariable("XDG_DATA_HOME").toStdString();
    const fs::path config = qEnvironmentVariable("XDG_CONFIG_HOME").toStdString();
    TempDir dir;
    writeApp(data / "applications", DefaultApplication::kOwnDesktopId, dir / "ours");
    writeApp(data / "applications", "other-viewer.desktop", dir / "other");
    // GIO maps types to applications through the folder's cache, as
    // update-desktop-database writes it.
    writeText(data / "applications/mimeinfo.cache", std::string("[MIME Cache]\ntext/csv=") +
                                                        DefaultApplication::kOwnDesktopId +
                                                        ";other-viewer.desktop;\n");
    writeText(config / "mimeapps.list", std::string("[Default Applications]\ntext/csv=") +
                                            DefaultApplication::kOwnDesktopId +
                                            ";other-viewer.desktop;\n");

    const fs::path table = dir.file("table.csv", "a,b\n1,2\n");
    const auto opened = DefaultApplication::open(table);
    ASSERT_TRUE(opened.has_value()) << opened.error().detail.toStdString();
    EXPECT_TRUE(appears(dir / "other"));
    EXPECT_FALSE(fs::exists(dir / "ours"));
}
