#include "preview/Thumbnails.h"

#include "core/FileUri.h"
#include "support/TempDir.h"

#include <QImage>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

TEST(ThumbnailsTest, UriKeepsUnreservedBytesAndSlashesAndEncodesTheRest)
{
    const struct {
        std::string path;
        std::string uri;
    } rows[] = {
        {"/home/jens/photos/me.png", "file:///home/jens/photos/me.png"},
        {"/a b/c~d_e-f.g", "file:///a%20b/c~d_e-f.g"},
        {"/x#y%z?w", "file:///x%23y%25z%3Fw"},
        {"/bad\xff\x80name", "file:///bad%FF%80name"},
        {"/日", "file:///%E6%97%A5"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(FileUri::fromPath(row.path), row.uri) << row.path;
}

TEST(ThumbnailsTest, NameIsTheMd5OfTheUri)
{
    EXPECT_EQ(Thumbnails::md5Name("/home/jens/photos/me.png"),
              "c6ee772d9e49320e97ec29a7eb5b1697.png");
    EXPECT_EQ(Thumbnails::md5Name("/tmp/a b#c%d\xff.png"), "bfcaa2142b5ea4e33177c0d5389f9fea.png");
}

namespace {

void writeThumbnail(const fs::path& file, const char* size, int64_t mtime, int pixels)
{
    const fs::path folder = fs::path(qgetenv("XDG_CACHE_HOME").toStdString()) / "thumbnails" / size;
    fs::create_directories(folder);
    QImage image(pixels, pixels, QImage::Format_RGB32);
    image.fill(Qt::red);
    image.setText("Thumb::URI", QString::fromStdString(FileUri::fromPath(file)));
    image.setText("Thumb::MTime", QString::number(mtime));
    const std::string name = (folder / Thumbnails::md5Name(file)).native();
    ASSERT_TRUE(image.save(QString::fromStdString(name), "PNG"));
}

} // namespace

TEST(ThumbnailsTest, FindTakesTheLargestThumbnailOfTheCurrentVersion)
{
    TempDir dir;
    const fs::path file = dir.file("photo one.jpg", "x");
    setModificationTime(file, 1'700'000'000);
    EXPECT_EQ(Thumbnails::find(file), std::nullopt);

    writeThumbnail(file, "normal", 1'700'000'000, 128);
    writeThumbnail(file, "large", 1'700'000'000, 256);
    // Made before the file last changed: it shows the old content.
    writeThumbnail(file, "x-large", 1'600'000'000, 512);
    const auto found = Thumbnails::find(file);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->parent_path().filename(), "large");
    EXPECT_EQ(found->filename(), Thumbnails::md5Name(file));

    setModificationTime(file, 1'700'000'001);
    EXPECT_EQ(Thumbnails::find(file), std::nullopt);
}
