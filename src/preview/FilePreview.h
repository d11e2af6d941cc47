#pragma once

#include <QByteArrayView>
#include <filesystem>
#include <optional>

// How the preview shows a file, decided from its name (extension) alone, so that a
// selection can be classified without touching the disk.
enum class PreviewKind { markdown, html, csv, visual };
// The viewer for a file of the visual kind.
enum class PreviewViewer { image, pdf, media, quickLook };

namespace FilePreview {

// None: not previewable as a page or by a viewer.
std::optional<PreviewKind> kind(const std::filesystem::path& file);
PreviewViewer viewer(const std::filesystem::path& file);
// Text to be shown as plain text: text/* (and its descendants) by name, or, for a
// name without extension, content that looks like text (`head` is the file's first
// bytes).
bool isPlainText(const std::filesystem::path& file, QByteArrayView head);

const char* name(PreviewKind kind);     // "markdown", "html", "csv", "visual"
const char* name(PreviewViewer viewer); // "image", "pdf", "media", "quickLook"

} // namespace FilePreview
