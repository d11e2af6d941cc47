#include "preview/FilePreview.h"

#include <gtest/gtest.h>
#include <string>

namespace {

// "none" for no kind, "-" for the viewer of a kind that has none.
std::string describe(const std::filesystem::path& file)
{
    const std::optional<PreviewKind> kind = FilePreview::kind(file);
    if (!kind)
        return "none";
    std::string text = FilePreview::name(*kind);
    if (*kind == PreviewKind::visual)
        text += std::string(" ") + FilePreview::name(FilePreview::viewer(file));
    return text;
}

} // namespace

TEST(FilePreviewTest, KindAndViewerFromTheExtension)
{
    const std::pair<const char*, const char*> cases[] = {
        {"/d/README.MD", "markdown"},
        {"/d/notes.mkdn", "markdown"},
        {"/d/page.xhtml", "html"},
        {"/d/Page.HTM", "html"},
        {"/d/data.tab", "csv"},
        {"/d/data.TSV", "csv"},
        {"/d/app.ts", "none"},
        {"/d/view.tsx", "none"},
        {"/d/mod.mts", "none"},
        {"/d/talk.pptx", "visual quickLook"},
        {"/d/sheet.ods", "visual quickLook"},
        {"/d/letter.docx", "visual quickLook"},
        {"/d/letter.rtf", "visual quickLook"},
        {"/d/clip.mov", "visual media"},
        {"/d/song.MP3", "visual media"},
        {"/d/paper.pdf", "visual pdf"},
        {"/d/photo.heic", "visual image"},
        {"/d/icon.svg", "visual image"},
        {"/d/Makefile", "none"},
        {"/d/photo", "none"},
        {"/d/.png", "none"},
        {"/d/main.cpp", "none"},
        {"/d/archive.zip", "none"},
        {"/d/thing.qqqunknown", "none"},
        {"/d/dir.png/file", "none"},
        {"/d/bad\xff.png", "visual image"},
    };
    for (const auto& [file, expected] : cases)
        EXPECT_EQ(describe(file), expected) << file;
}

TEST(FilePreviewTest, PlainTextByTypeOrByContent)
{
    struct Case {
        const char* file;
        std::string head;
        bool text;
    };
    const Case cases[] = {
        {"/d/main.cpp", "\x01\x02", true}, // the name decides, not the bytes
        {"/d/run.sh", "", true},
        {"/d/data.json", "", true},
        {"/d/conf.yaml", "", true},
        {"/d/app.ts", "", true},
        {"/d/notes.txt", "", true},
        {"/d/README.md", "# a", false},
        {"/d/data.csv", "a,b", false},
        {"/d/photo.png", "abc", false},
        {"/d/archive.zip", "abc", false},
        {"/d/LICENSE", "Permission is hereby granted", true},
        {"/d/メモ", "日本語の文章", true},
        {"/d/sjis", "\x93\xfa\x96\x7b\x8c\xea\n", true},
        {"/d/empty", "", true},
        {"/d/blob", std::string("ab\0cd", 5), false},
        {"/d/blob.qqqunknown", "\x01\x02\x03\x04\x05\x06\x07\x08", false},
        {"/d/escapes", "\x1b[1mbold\x1b[0m\r\n", true},
    };
    for (const Case& c : cases)
        EXPECT_EQ(FilePreview::isPlainText(c.file, c.head), c.text) << c.file;
}
