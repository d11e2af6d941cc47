#include "preview/FilePreview.h"

#include <QMimeDatabase>
#include <QMimeType>
#include <QString>
#include <array>
#include <string_view>

namespace {

using namespace std::string_view_literals;

constexpr std::array kMarkdown = {"md"sv, "markdown"sv, "mdown"sv, "mkd"sv, "mkdn"sv};
constexpr std::array kHtml = {"html"sv, "htm"sv, "xhtml"sv};
constexpr std::array kCsv = {"csv"sv, "tsv"sv, "tab"sv};
// TypeScript sources: the desktop calls .ts a video stream, so the MIME database is
// never asked about them.
constexpr std::array kSourceCode = {"ts"sv, "mts"sv, "cts"sv, "tsx"sv};

template <size_t N>
bool contains(const std::array<std::string_view, N>& set, std::string_view extension)
{
    for (const std::string_view member : set) {
        if (member == extension)
            return true;
    }
    return false;
}

// Lower-cased extension bytes without the dot; empty for none.
std::string lowerExtension(const std::filesystem::path& file)
{
    std::string extension = file.filename().extension().native();
    if (!extension.empty())
        extension.erase(0, 1);
    for (char& c : extension) {
        if (c >= 'A' && c <= 'Z')
            c = char(c - 'A' + 'a');
    }
    return extension;
}

// The type of the extension alone: the name is a stand-in, so whole-name globs
// ("Makefile") and the file's content never take part.
std::optional<QMimeType> typeOfExtension(const std::string& extension)
{
    if (extension.empty())
        return std::nullopt;
    static const QMimeDatabase database;
    const QMimeType type = database.mimeTypeForFile(
        QLatin1String("x.") + QString::fromUtf8(extension), QMimeDatabase::MatchExtension);
    if (!type.isValid() || type.isDefault())
        return std::nullopt;
    return type;
}

// A family of types: one type and its descendants, or every type whose name begins
// with a prefix (the whole of image/*, say), and their descendants.
struct Family {
    const char* name;
    bool prefix = false;
};

bool conforms(const QMimeType& type, const Family& family)
{
    const QLatin1String name(family.name);
    if (!family.prefix)
        return type.inherits(name);
    if (type.name().startsWith(name))
        return true;
    for (const QString& ancestor : type.allAncestors()) {
        if (ancestor.startsWith(name))
            return true;
    }
    return false;
}

const Family kImage{"image/", true};
const Family kPdf{"application/pdf"};
const Family kAudio{"audio/", true};
const Family kVideo{"video/", true};

// What the platform viewers and the preview window can show.
const Family kVisual[] = {
    kImage,
    kPdf,
    kAudio,
    kVideo,
    {"application/vnd.ms-powerpoint", true},
    {"application/vnd.openxmlformats-officedocument.presentationml.", true},
    {"application/vnd.oasis.opendocument.presentation", true},
    {"application/vnd.apple.keynote"},
    {"application/vnd.ms-excel", true},
    {"application/vnd.openxmlformats-officedocument.spreadsheetml.", true},
    {"application/vnd.oasis.opendocument.spreadsheet", true},
    {"application/vnd.apple.numbers"},
    {"application/vnd.openxmlformats-officedocument.wordprocessingml.document"},
    {"application/msword"},
    {"application/vnd.apple.pages"},
    {"application/rtf"},
};

// The first bytes of a file without a telling name: no NUL and hardly any control
// characters. Bytes above ASCII count as text, so Shift_JIS and Latin-1 pass too.
bool looksLikeText(QByteArrayView head)
{
    head = head.first(std::min<qsizetype>(head.size(), 4096));
    if (head.contains('\0'))
        return false;
    qsizetype controls = 0;
    for (const char ch : head) {
        const auto c = static_cast<unsigned char>(ch);
        if ((c < 0x20 || c == 0x7F) && c != '\t' && c != '\n' && c != '\r' && c != '\f' &&
            c != 0x1B)
            ++controls;
    }
    return controls * 20 <= head.size();
}

} // namespace

namespace FilePreview {

std::optional<PreviewKind> kind(const std::filesystem::path& file)
{
    const std::string extension = lowerExtension(file);
    if (contains(kSourceCode, extension))
        return std::nullopt;
    if (contains(kMarkdown, extension))
        return PreviewKind::markdown;
    if (contains(kHtml, extension))
        return PreviewKind::html;
    if (contains(kCsv, extension))
        return PreviewKind::csv;
    const std::optional<QMimeType> type = typeOfExtension(extension);
    if (!type)
        return std::nullopt;
    for (const Family& family : kVisual) {
        if (conforms(*type, family))
            return PreviewKind::visual;
    }
    return std::nullopt;
}

PreviewViewer viewer(const std::filesystem::path& file)
{
    const std::optional<QMimeType> type = typeOfExtension(lowerExtension(file));
    if (!type)
        return PreviewViewer::quickLook;
    if (conforms(*type, kPdf))
        return PreviewViewer::pdf;
    if (conforms(*type, kAudio) || conforms(*type, kVideo))
        return PreviewViewer::media;
    if (conforms(*type, kImage))
        return PreviewViewer::image;
    return PreviewViewer::quickLook;
}

bool isPlainText(const std::filesystem::path& file, QByteArrayView head)
{
    if (kind(file))
        return false;
    const std::string extension = lowerExtension(file);
    if (contains(kSourceCode, extension))
        return true;
    if (const std::optional<QMimeType> type = typeOfExtension(extension))
        return type->inherits(QStringLiteral("text/plain"));
    return looksLikeText(head);
}

const char* name(PreviewKind kind)
{
    switch (kind) {
    case PreviewKind::markdown:
        return "markdown";
    case PreviewKind::html:
        return "html";
    case PreviewKind::csv:
        return "csv";
    case PreviewKind::visual:
        break;
    }
    return "visual";
}

const char* name(PreviewViewer viewer)
{
    switch (viewer) {
    case PreviewViewer::image:
        return "image";
    case PreviewViewer::pdf:
        return "pdf";
    case PreviewViewer::media:
        return "media";
    case PreviewViewer::quickLook:
        break;
    }
    return "quickLook";
}

} // namespace FilePreview
