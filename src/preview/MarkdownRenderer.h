#pragma once

#include <QString>
#include <QStringView>

// Markdown to an HTML fragment with a fixed, small grammar of its own: front matter,
// headings with stable ids, fenced code, tables, nested and task lists, quotes,
// rules, raw HTML and an inline pass. Never fails; unmatched markers stay text.
namespace MarkdownRenderer {

QString render(QStringView markdown);

} // namespace MarkdownRenderer
