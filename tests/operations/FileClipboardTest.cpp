#include "operations/FileClipboard.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

using Paths = std::vector<fs::path>;

TEST(FileClipboardTest, RoundTripsRawPathsInOrderWithTheCutFlag)
{
    const Paths paths{fs::path("/tmp/b z/ファイル.txt"), fs::path(std::string("/tmp/bad\xff\xfe")),
                      fs::path("/tmp/line\nbreak%41#?"), fs::path("/a")};
    for (const bool cut : {false, true}) {
        SCOPED_TRACE(cut);
        const auto data = FileClipboard::makeMimeData(paths, cut);
        EXPECT_EQ(FileClipboard::pathsIn(*data), paths);
        EXPECT_EQ(FileClipboard::isCutIn(*data), cut);
        EXPECT_EQ(data->data("application/x-kde-cutselection"), cut ? "1" : "0");
        EXPECT_TRUE(
            data->data("x-special/gnome-copied-files").startsWith(cut ? "cut\n" : "copy\n"));
        // Each name survives in the forms other programs read on their own.
        EXPECT_EQ(data->data("text/uri-list").count("\r\n"), 4);
        EXPECT_TRUE(data->data("text/uri-list").contains("file:///tmp/bad%FF%FE\r\n"));
        EXPECT_TRUE(data->text().contains("ファイル.txt"));
    }
}

TEST(FileClipboardTest, ReadsWhatOtherProgramsWriteAndIgnoresNonFiles)
{
    struct Case {
        const char* name;
        std::vector<std::pair<QString, QByteArray>> formats;
        Paths paths;
        bool cut;
    };
    const Case cases[] = {
        {"text only", {{"text/plain", "/etc/passwd"}}, {}, false},
        {"web address", {{"text/uri-list", "https://example.com/a\r\n"}}, {}, false},
        {"remote host", {{"text/uri-list", "file://server/share/a\r\n"}}, {}, false},
        {"mixed, comment, localhost",
         {{"text/uri-list", "# c\r\nhttps://x/y\r\nfile://localhost/a%20b\r\nfile:///c\r\n"}},
         {"/a b", "/c"},
         false},
        {"gnome cut only",
         {{"x-special/gnome-copied-files", "cut\nfile:///x\nfile:///y"}},
         {"/x", "/y"},
         true},
        {"kde cut",
         {{"text/uri-list", "file:///k\n"}, {"application/x-kde-cutselection", "1"}},
         {"/k"},
         true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        QMimeData data;
        for (const auto& [format, bytes] : c.formats)
            data.setData(format, bytes);
        EXPECT_EQ(FileClipboard::pathsIn(data), c.paths);
        EXPECT_EQ(FileClipboard::isCutIn(data), c.cut);
    }
}

TEST(FileClipboardTest, SystemClipboardIsReadAfreshEachTime)
{
    FileClipboard::write({"/one", "/two"}, true);
    EXPECT_TRUE(FileClipboard::hasFiles());
    EXPECT_TRUE(FileClipboard::isCut());
    EXPECT_EQ(FileClipboard::filePaths(), (Paths{"/one", "/two"}));

    FileClipboard::clear();
    EXPECT_FALSE(FileClipboard::hasFiles());
    EXPECT_FALSE(FileClipboard::isCut());
}

} // namespace
