#include "preview/MarkdownRenderer.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct Case {
    const char* name;
    QString markdown;
    QString html;
};

void expectRendered(std::initializer_list<Case> cases)
{
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(MarkdownRenderer::render(c.markdown).toStdString(), c.html.toStdString());
    }
}

TEST(MarkdownRendererTest, HeadingsGetUniqueSlugs)
{
    expectRendered({
        {"repeated title and punctuation only", u"# Intro\n## Intro\n### !!!\n#### (*)"_s,
         u"<h1 id=\"intro\">Intro</h1>\n<h2 id=\"intro-1\">Intro</h2>\n"
         u"<h3 id=\"section\">!!!</h3>\n<h4 id=\"section-1\">(*)</h4>\n"_s},
        {"Japanese keeps kana and kanji", u"# 日本語の  見出し　です"_s,
         u"<h1 id=\"日本語の-見出しです\">日本語の  見出し　です</h1>\n"_s},
        {"letters beyond the BMP stay, emoji go", u"# 𠮷野家 😀 1"_s,
         u"<h1 id=\"𠮷野家-1\">𠮷野家 😀 1</h1>\n"_s},
        {"markup leaves the slug, the text goes inline", u"## The `render()` *API* & more_stuff"_s,
         u"<h2 id=\"the-render-api-morestuff\">The <code>render()</code> <em>API</em> &amp; "
         u"more_stuff</h2>\n"_s},
        {"after a byte order mark", u"\uFEFF# Title"_s, u"<h1 id=\"title\">Title</h1>\n"_s},
        {"no space, or seven levels, is a paragraph", u"#tag\n\n####### seven"_s,
         u"<p>#tag</p>\n<p>####### seven</p>\n"_s},
    });
}

TEST(MarkdownRendererTest, ParagraphsAndInlineText)
{
    expectRendered({
        {"words, escapes, URLs and code",
         u"snake_case_word \\*not em\\* see https://example.com/a_b. Use `a*b<c>` or *this*"_s,
         u"<p>snake_case_word *not em* see <a "
         u"href=\"https://example.com/a_b\">https://example.com/a_b</a>. Use "
         u"<code>a*b&lt;c&gt;</code> or <em>this</em></p>\n"_s},
        {"lines join, two spaces break", u"one  \ntwo\r\nthree\n\nnext"_s,
         u"<p>one<br>\ntwo\nthree</p>\n<p>next</p>\n"_s},
        {"links, images and raw tags",
         u"[site](https://a.b \"Home\") ![logo](i.png) <kbd>K</kbd> <https://x.y/?a&b>"_s,
         u"<p><a href=\"https://a.b\" title=\"Home\">site</a> <img src=\"i.png\" alt=\"logo\"> "
         u"<kbd>K</kbd> <a href=\"https://x.y/?a&amp;b\">https://x.y/?a&amp;b</a></p>\n"_s},
        {"typed marker characters stay text", u"`a` \uE0000\uE001"_s,
         u"<p><code>a</code> \uFFFD0\uFFFD</p>\n"_s},
        {"a block start ends a paragraph", u"text\n# H\nmore\n- item\nlast\n> q"_s,
         u"<p>text</p>\n<h1 id=\"h\">H</h1>\n<p>more</p>\n<ul>\n<li>item\nlast</li>\n</ul>\n"
         u"<blockquote>\n<p>q</p>\n</blockquote>\n"_s},
    });
}

TEST(MarkdownRendererTest, CodeRulesQuotesAndHtml)
{
    expectRendered({
        {"fence with a language", u"```swift \nlet a = \"<b>\" & c\n  **x**\n```\nafter"_s,
         u"<pre><code class=\"language-swift\">let a = &quot;&lt;b&gt;&quot; &amp; c\n  "
         u"**x**</code></pre>\n<p>after</p>\n"_s},
        {"unclosed fence runs to the end", u"~~~\nx\n```\n\n# not a heading"_s,
         u"<pre><code>x\n```\n\n# not a heading</code></pre>\n"_s},
        {"rules", u"---\n* * *\n ___ \n--\n-*-"_s, u"<hr>\n<hr>\n<hr>\n<p>--\n-*-</p>\n"_s},
        {"quotes nest", u"> # Title\n> > inner\n>text\nafter"_s,
         u"<blockquote>\n<h1 id=\"title\">Title</h1>\n<blockquote>\n<p>inner</p>\n"
         u"</blockquote>\n<p>text</p>\n</blockquote>\n<p>after</p>\n"_s},
        {"raw HTML runs to a blank line",
         u"<div align=\"center\">\n  <img src=\"x.png\">\n*kept*\n\n</div>"_s,
         u"<div align=\"center\">\n  <img src=\"x.png\">\n*kept*\n</div>\n"_s},
    });
}

TEST(MarkdownRendererTest, Lists)
{
    expectRendered({
        {"ordered from three", u"3. three\n4) four"_s,
         u"<ol start=\"3\">\n<li>three</li>\n<li>four</li>\n</ol>\n"_s},
        {"nested", u"- a\n  - b\n    1. c\n  - d\n- e"_s,
         u"<ul>\n<li>a\n<ul>\n<li>b\n<ol>\n<li>c</li>\n</ol>\n</li>\n<li>d</li>\n</ul>\n</li>\n"
         u"<li>e</li>\n</ul>\n"_s},
        {"tasks", u"- [ ] todo\n- [X] done\n- [x] *too*\n- [x]\n- [y] no"_s,
         u"<ul>\n<li class=\"task\"><input type=\"checkbox\" disabled>todo</li>\n"
         u"<li class=\"task\"><input type=\"checkbox\" disabled checked>done</li>\n"
         u"<li class=\"task\"><input type=\"checkbox\" disabled checked><em>too</em></li>\n"
         u"<li>[x]</li>\n<li>[y] no</li>\n</ul>\n"_s},
        {"another kind starts another list", u"- a\n1. b\n\n+ c"_s,
         u"<ul>\n<li>a</li>\n</ul>\n<ol>\n<li>b</li>\n</ol>\n<ul>\n<li>c</li>\n</ul>\n"_s},
        {"blank lines, later paragraphs and code in an item",
         u"1. a\n\n   more\n   ```\n   code\n   ```\n\n2. b\n\nafter"_s,
         u"<ol>\n<li>a\n<p>more</p>\n<pre><code>code</code></pre>\n</li>\n<li>b</li>\n</ol>\n"
         u"<p>after</p>\n"_s},
    });
}

TEST(MarkdownRendererTest, TablesAndFrontMatter)
{
    expectRendered({
        {"aligned columns",
         u"| a | b | c | d |\n|:--|--:|:-:|---|\n| 1 | **2** | 3 | 4 | 5 |\nx|y\nnot a row"_s,
         u"<table>\n<thead><tr><th style=\"text-align:left\">a</th><th "
         u"style=\"text-align:right\">b</th><th style=\"text-align:center\">c</th><th>d</th>"
         u"</tr></thead>\n<tbody>\n<tr><td style=\"text-align:left\">1</td><td "
         u"style=\"text-align:right\"><strong>2</strong></td><td "
         u"style=\"text-align:center\">3</td><td>4</td><td>5</td></tr>\n"
         u"<tr><td style=\"text-align:left\">x</td><td style=\"text-align:right\">y</td></tr>\n"
         u"</tbody>\n</table>\n<p>not a row</p>\n"_s},
        {"a bar without a separator is text", u"a | b\n| c |"_s, u"<p>a | b\n| c |</p>\n"_s},
        {"front matter", u"---\ntitle: A & B: \"C\"\nplain\ndate: 2024-01-02\n---\n# Doc"_s,
         u"<table class=\"front-matter\">\n<tr><th>title</th><td>A &amp; B: &quot;C&quot;</td>"
         u"</tr>\n<tr><th>date</th><td>2024-01-02</td></tr>\n\n</table>\n"
         u"<h1 id=\"doc\">Doc</h1>\n"_s},
        {"unclosed front matter is text", u"---\ntitle: x\n"_s, u"<hr>\n<p>title: x</p>\n"_s},
    });
}

TEST(MarkdownRendererTest, TableSeparators)
{
    const std::pair<QString, bool> rows[] = {
        {u"---"_s, true},      {u" |:-:| --: |"_s, true}, {u"-|-"_s, true},
        {u"| - - |"_s, false}, {u"||---"_s, false},       {u"---||"_s, false},
        {u"|"_s, false},       {u":-:-"_s, false},        {u"|--　|"_s, false},
    };
    for (const auto& [line, separator] : rows)
        EXPECT_EQ(MarkdownRenderer::isTableSeparator(line), separator) << line.toStdString();
}

TEST(MarkdownRendererTest, DeepNestingIsBounded)
{
    const QString html = MarkdownRenderer::render(QString(u">"_s.repeated(100000) + u" x"_s));
    EXPECT_EQ(html.count(u"<blockquote>"_s), 48);
    EXPECT_TRUE(html.contains(u"<p>&gt;"_s));
}

} // namespace
