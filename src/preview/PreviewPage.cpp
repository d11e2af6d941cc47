#include "preview/PreviewPage.h"

#include "core/AppDefaults.h"
#include "core/FileUri.h"
#include "core/PathText.h"
#include "platform/FileReader.h"
#include "preview/CSVRenderer.h"
#include "preview/HtmlText.h"
#include "preview/MarkdownRenderer.h"
#include "preview/Utf8Validator.h"

#include <QRegularExpression>

namespace {

// Written after "--accent: #rrggbb", which it closes.
const char kBaseStyle[] =
    R"css(; --text: #1f2328; --muted: #59636e; --border: #d1d9e0; --code-bg: #f6f8fa; --bg: transparent; }
@media (prefers-color-scheme: dark) { :root { --text: #e6edf3; --muted: #9198a1; --border: #3d444d; --code-bg: rgba(110,118,129,0.18); } }
html { font-size: 15px; }
body { font-family: -apple-system, "Hiragino Sans", "Helvetica Neue", sans-serif; color: var(--text); background: var(--bg); line-height: 1.7; margin: 0; padding: 20px 28px 48px; max-width: 900px; word-wrap: break-word; }
h1, h2, h3, h4, h5, h6 { line-height: 1.3; margin: 1.6em 0 0.6em; font-weight: 600; }
h1 { font-size: 1.9em; padding-bottom: 0.3em; border-bottom: 1px solid var(--border); margin-top: 0.4em; }
h2 { font-size: 1.45em; padding-bottom: 0.25em; border-bottom: 1px solid var(--border); }
h3 { font-size: 1.2em; } h4 { font-size: 1.05em; } h5, h6 { font-size: 0.95em; color: var(--muted); }
p, ul, ol, blockquote, pre, table { margin: 0 0 1em; }
a { color: var(--accent); text-decoration: none; } a:hover { text-decoration: underline; }
code { font-family: "SF Mono", Menlo, monospace; font-size: 0.88em; background: var(--code-bg); padding: 0.15em 0.4em; border-radius: 5px; }
pre { background: var(--code-bg); padding: 14px 16px; border-radius: 8px; overflow-x: auto; line-height: 1.5; }
pre code { background: none; padding: 0; font-size: 0.86em; }
blockquote { margin-left: 0; padding: 0 1em; color: var(--muted); border-left: 4px solid var(--border); }
ul, ol { padding-left: 1.8em; } li + li { margin-top: 0.25em; } li > ul, li > ol { margin: 0.25em 0 0; }
li.task { list-style: none; margin-left: -1.4em; } li.task input { margin-right: 0.4em; accent-color: var(--accent); }
hr { border: none; border-top: 1px solid var(--border); margin: 2em 0; }
table { border-collapse: collapse; display: block; overflow-x: auto; }
th, td { border: 1px solid var(--border); padding: 6px 12px; } th { font-weight: 600; background: var(--code-bg); }
table.front-matter { font-size: 0.9em; color: var(--muted); } table.front-matter th { text-align: left; }
img { max-width: 100%; border-radius: 4px; }
)css";

const QLatin1String kDefaultAccent("#3584e4");

// From the raw bytes, so folder names that are not UTF-8 still resolve; QUrl would
// mangle them.
QString folderUrl(const std::filesystem::path& file)
{
    const std::filesystem::path folder =
        PathText::parent(PathText::standardized(std::filesystem::absolute(file)));
    QString url = QString::fromStdString(FileUri::fromPath(folder));
    if (!url.endsWith(QLatin1Char('/')))
        url += QLatin1Char('/');
    return url;
}

QString unreadable(const std::filesystem::path& file)
{
    return QStringLiteral("<p>「") + HtmlText::escaped(PathText::displayName(file)) +
           QStringLiteral("」を読めませんでした。</p>");
}

Result<QString> markdownFragment(const std::filesystem::path& file)
{
    Result<FileReader> reader = FileReader::open(file);
    bool more = false;
    const Result<std::string> bytes =
        reader ? reader->readUpTo(size_t(PreviewPage::kMarkdownLimit), &more)
               : Result<std::string>(std::unexpected(reader.error()));
    if (!bytes)
        return std::unexpected(bytes.error());
    const std::string_view text(bytes->data(),
                                more ? Utf8Validator::wholeCharacters(*bytes) : bytes->size());
    QString fragment =
        MarkdownRenderer::render(QString::fromUtf8(text.data(), qsizetype(text.size())));
    // Only the first kMarkdownLimit bytes were read: a last paragraph says the text goes on.
    if (more)
        fragment += QStringLiteral("\n<p>…</p>");
    return fragment;
}

} // namespace

namespace PreviewPage {

QString page(const QString& fragment, const std::filesystem::path& file, const QString& accentHex,
             bool csvStyle)
{
    QString out;
    out.reserve(fragment.size() + 8192);
    out += QLatin1String("<!DOCTYPE html>\n<html lang=\"ja\">\n<head>\n<meta charset=\"utf-8\">\n"
                         "<base href=\"");
    out += folderUrl(file);
    out += QLatin1String("\">\n<title>");
    HtmlText::appendEscaped(out, PathText::displayName(file));
    out += QLatin1String("</title>\n<style>\n:root { color-scheme: light dark; --accent: ");
    out += accentHex;
    out += QLatin1String(kBaseStyle);
    if (csvStyle)
        out += CSVRenderer::tableStyleSheet();
    out += QLatin1String("\n</style>\n</head>\n<body>\n");
    out += fragment;
    out += QLatin1String("\n</body>\n</html>");
    return out;
}

Result<QString> fragment(const std::filesystem::path& file, PreviewKind kind)
{
    if (kind == PreviewKind::markdown)
        return markdownFragment(file);
    if (kind == PreviewKind::csv)
        return CSVRenderer::renderFile(file);
    // Other kinds are shown by the web view or a viewer themselves, never as our page.
    return std::unexpected(Error::fromErrno(EINVAL, file));
}

QString build(const std::filesystem::path& file, PreviewKind kind, const QString& accentHex)
{
    const Result<QString> body = fragment(file, kind);
    return page(body ? *body : unreadable(file), file, accentHex, kind == PreviewKind::csv);
}

QString accentFromSettings()
{
    static const QRegularExpression form(QStringLiteral("^#?([0-9A-Fa-f]{6})$"));
    const QVariant value = AppDefaults::store().value(QStringLiteral("themeAccentColor"));
    if (value.typeId() == QMetaType::QString) {
        const QRegularExpressionMatch match = form.match(value.toString().trimmed());
        if (match.hasMatch())
            return QLatin1Char('#') + match.captured(1).toLower();
    }
    return kDefaultAccent;
}

} // namespace PreviewPage
