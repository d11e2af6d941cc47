#include "core/AppDefaults.h"
#include "support/TempDir.h"
#include "support/ToolRun.h"

#include <gtest/gtest.h>

namespace {

struct Case {
    std::vector<std::string> arguments;
    int status;
    std::string out; // the whole output, or a part of it when `part` is set
    bool part = false;
    std::string err = {};
};

} // namespace

TEST(QuilloToolPreviewTest, PrintsFragmentsPagesAndKinds)
{
    ScratchSettings settings; // the tool reads the accent from here
    AppDefaults::store().setValue(QStringLiteral("themeAccentColor"), QStringLiteral("#A0B1C2"));
    AppDefaults::save(AppDefaults::store());
    AppDefaults::flush();
    TempDir dir;
    const std::string csv = dir.file("t.csv", "a;b\n1;x\n").native();
    const std::string markdown = dir.file("ノート &.md", "# 見出し\n").native();
    const std::string table =
        "<p class=\"csv-meta\">2 行 × 2 列（区切り：セミコロン）</p>\n"
        "<table class=\"csv\">\n<thead><tr><th "
        "class=\"rn\"></th><th>a</th><th>b</th></tr></thead>\n"
        "<tbody>\n<tr><td class=\"rn\">1</td><td class=\"num\">1</td><td>x</td></tr>\n"
        "</tbody>\n</table>\n";
    const Case cases[] = {
        {{"csv", csv}, 0, table},
        {{"csv", csv, "--page"}, 0, "--accent: #a0b1c2; --text:", true},
        {{"csv", "--page", csv},
         0,
         "}\n\n</style>\n</head>\n<body>\n" + table + "</body>\n</html>\n",
         true},
        {{"markdown", markdown}, 0, "見出し</h1>", true},
        {{"markdown", markdown, "--page"}, 0, "<title>ノート &amp;.md</title>", true},
        {{"markdown", (dir / "gone.md").native()},
         1,
         "",
         false,
         "「gone.md」を読めませんでした。\nファイルまたはフォルダが見つかりません。\n"},
        {{"markdown"}, 2, ""},
        {{"csv", csv, csv}, 2, ""},
        {{"preview-kind", "a/README.MD", "b.pptx", "c", "t\tx.heic", "d.ts"},
         0,
         "markdown\t-\ta/README.MD\nvisual\tquickLook\tb.pptx\nnone\t-\tc\n"
         "visual\timage\tt\\x09x.heic\nnone\t-\td.ts\n"},
        {{"preview-kind"}, 2, ""},
    };
    for (const Case& c : cases) {
        const ToolRun r = runTool(c.arguments);
        const std::string label = c.arguments.front() + " " + std::to_string(c.arguments.size());
        EXPECT_EQ(r.status, c.status) << label;
        if (c.part)
            EXPECT_NE(r.out.find(c.out), std::string::npos) << label << "\n" << r.out;
        else
            EXPECT_EQ(r.out, c.out) << label;
        if (!c.err.empty())
            EXPECT_EQ(r.err, c.err) << label;
    }
}
