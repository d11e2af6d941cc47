#pragma once

#include <QString>
#include <QStringList>
#include <array>
#include <optional>

// The families of files for which Quillo can become the desktop's default
// application: one switch each on the integration settings page.
enum class PreviewFileKind { pdf, markdown, html, csv, image, video, audio };

inline constexpr std::array kAllPreviewFileKinds = {
    PreviewFileKind::pdf,   PreviewFileKind::markdown, PreviewFileKind::html,  PreviewFileKind::csv,
    PreviewFileKind::image, PreviewFileKind::video,    PreviewFileKind::audio,
};

QString rawValue(PreviewFileKind kind);
// Exact, case-sensitive match of a raw value.
std::optional<PreviewFileKind> previewFileKindFromRaw(const QString& raw);
// The title shown in the settings window.
QString title(PreviewFileKind kind);
// The MIME types claimed when Quillo becomes the default for the kind, in order.
QStringList mimeTypes(PreviewFileKind kind);
