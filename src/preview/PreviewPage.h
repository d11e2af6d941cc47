#pragma once

#include "platform/Error.h"
#include "preview/FilePreview.h"

#include <QString>
#include <filesystem>

// The HTML page around a Markdown or CSV fragment: the shared template with the
// accent colour and the folder of the file as base URL.
namespace PreviewPage {

// Markdown files are read up to this many bytes; the rest is left out and the page
// says where it stopped.
inline constexpr qint64 kMarkdownLimit = 32 * 1024 * 1024;

// `accentHex` is "#rrggbb".
QString page(const QString& fragment, const std::filesystem::path& file, const QString& accentHex,
             bool csvStyle);
// The fragment for a file of the markdown or csv kind, read from disk (Markdown up to
// kMarkdownLimit bytes). Runs off the main thread.
Result<QString> fragment(const std::filesystem::path& file, PreviewKind kind);
// The page for a file of the markdown or csv kind, read from disk; a file that cannot
// be read gives the page with "「name」を読めませんでした。". Runs off the main thread.
QString build(const std::filesystem::path& file, PreviewKind kind, const QString& accentHex);
// The accent of the settings (the chosen colour, else the default blue), for the tool.
QString accentFromSettings();

} // namespace PreviewPage
