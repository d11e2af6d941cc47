#include "preview/PreviewFileKind.h"

namespace {

struct KindRow {
    PreviewFileKind kind;
    const char* raw;
    const char* title;
    std::initializer_list<const char*> mimeTypes;
};

// The desktop names several of these types by more than one MIME name (aliases);
// mimeapps.list entries are looked up by the name a file manager reports, so the
// canonical names of shared-mime-info come first and common aliases follow.
const KindRow kRows[] = {
    {PreviewFileKind::pdf, "pdf", "PDF", {"application/pdf"}},
    {PreviewFileKind::markdown,
     "markdown",
     "Markdown（.md）",
     {"text/markdown", "text/x-markdown"}},
    {PreviewFileKind::html, "html", "HTML", {"text/html"}},
    {PreviewFileKind::csv, "csv", "CSV・TSV", {"text/csv", "text/tab-separated-values"}},
    {PreviewFileKind::image,
     "image",
     "画像（PNG・JPEG・GIF・HEIC・WebP など）",
     {"image/png", "image/jpeg", "image/gif", "image/heif", "image/webp", "image/tiff", "image/bmp",
      "image/svg+xml"}},
    {PreviewFileKind::video,
     "video",
     "動画（MP4・MOV など）",
     {"video/mp4", "video/quicktime", "video/x-m4v"}},
    {PreviewFileKind::audio,
     "audio",
     "音声（MP3・M4A・WAV など）",
     {"audio/mpeg", "audio/mp4", "audio/x-wav", "audio/x-aiff"}},
};

const KindRow& row(PreviewFileKind kind)
{
    return kRows[static_cast<int>(kind)];
}

} // namespace

QString rawValue(PreviewFileKind kind)
{
    return QString::fromLatin1(row(kind).raw);
}

std::optional<PreviewFileKind> previewFileKindFromRaw(const QString& raw)
{
    for (const KindRow& r : kRows) {
        if (raw == QLatin1String(r.raw))
            return r.kind;
    }
    return std::nullopt;
}

QString title(PreviewFileKind kind)
{
    return QString::fromUtf8(row(kind).title);
}

QStringList mimeTypes(PreviewFileKind kind)
{
    QStringList types;
    for (const char* type : row(kind).mimeTypes)
        types << QString::fromLatin1(type);
    return types;
}
