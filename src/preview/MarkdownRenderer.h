#pragma once

#include <QHash>
#include <QString>
#include <QStringView>
#include <optional>
#include <span>
#include <utility>
#include <vector>

// Markdown to an HTML fragment with a fixed, small grammar of its own: front matter,
// headings with stable ids, fenced code, tables, nested and task lists, quotes,
// rules, raw HTML and an inline pass. Never fails; unmatched markers stay text.
namespace MarkdownRenderer {

// Lines are views into the document (or into a quote's or item's lines with their
// markers and indentation cut off), never copies.
using Lines = std::span<const QStringView>;
// How often each slug was handed out in this document.
using SlugTable = QHash<QString, int>;

struct FrontMatter {
    std::vector<std::pair<QString, QString>> pairs;
    qsizetype bodyStart = 0; // where the text after the closing delimiter begins
};

struct Heading {
    int level = 0; // 0: not a heading
    QStringView text;
};

struct ListMarker {
    bool found = false;
    bool ordered = false;
    int indent = 0;        // columns before the marker (a tab counts four)
    int contentColumn = 0; // column of the item's text
    int number = 1;        // of an ordered item
    QStringView text;      // the item's text, trimmed
};

QString render(QStringView markdown);

// The block pass; appends to `out`. `depth` bounds the nesting of quotes and lists.
void renderBlocks(Lines lines, SlugTable& slugs, QString& out, int depth = 0);
// Both return the index of the first line after the block.
qsizetype renderList(Lines lines, qsizetype start, SlugTable& slugs, QString& out, int depth);
qsizetype renderTable(Lines lines, qsizetype start, QString& out);

// Empty when the text does not begin with a closed front matter block.
std::optional<FrontMatter> frontMatter(QStringView text);
Heading heading(QStringView line);
QString uniqueSlug(QStringView text, SlugTable& slugs);
bool isHorizontalRule(QStringView line);
bool isTableSeparator(QStringView line);
std::vector<QStringView> tableCells(QStringView line);
ListMarker listMarker(QStringView line);
bool isBlockStart(QStringView line);
// The inline pass over the text of a paragraph, heading, cell or list item.
QString inlineText(QStringView text);
void appendInline(QStringView text, QString& out);

} // namespace MarkdownRenderer
