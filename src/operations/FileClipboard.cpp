#include "operations/FileClipboard.h"

#include "core/PathText.h"

#include <QClipboard>
#include <QGuiApplication>

namespace fs = std::filesystem;

namespace {

const QString kUriList = QStringLiteral("text/uri-list");
const QString kGnomeFiles = QStringLiteral("x-special/gnome-copied-files");
const QString kKdeCut = QStringLiteral("application/x-kde-cutselection");

bool isUnreserved(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_' || c == '~' || c == '/';
}

// From the raw bytes, so names that are not UTF-8 survive (QUrl would mangle them).
QByteArray fileUri(const fs::path& path)
{
    static const char hex[] = "0123456789ABCDEF";
    QByteArray uri("file://");
    for (const unsigned char c : path.native()) {
        if (isUnreserved(c)) {
            uri += char(c);
        } else {
            uri += '%';
            uri += hex[c >> 4];
            uri += hex[c & 0xF];
        }
    }
    return uri;
}

// A local file URI to its path bytes; nullopt for anything else.
std::optional<fs::path> pathOf(QByteArray uri)
{
    uri = uri.trimmed();
    if (!uri.startsWith("file://"))
        return std::nullopt;
    QByteArray rest = uri.mid(7);
    const qsizetype slash = rest.indexOf('/');
    if (slash < 0)
        return std::nullopt;
    const QByteArray host = rest.left(slash);
    if (!host.isEmpty() && host != "localhost")
        return std::nullopt;
    const QByteArray bytes = QByteArray::fromPercentEncoding(rest.mid(slash));
    return fs::path(bytes.toStdString());
}

std::vector<fs::path> pathsOfLines(const QList<QByteArray>& lines)
{
    std::vector<fs::path> paths;
    for (const QByteArray& line : lines) {
        if (line.trimmed().isEmpty() || line.startsWith('#'))
            continue;
        if (auto path = pathOf(line))
            paths.push_back(std::move(*path));
    }
    return paths;
}

QClipboard* clipboard()
{
    return QGuiApplication::clipboard();
}

} // namespace

namespace FileClipboard {

std::unique_ptr<QMimeData> makeMimeData(const std::vector<fs::path>& paths, bool cut)
{
    QList<QByteArray> uris;
    QStringList texts;
    for (const fs::path& path : paths) {
        uris << fileUri(path);
        texts << PathText::display(path);
    }
    auto data = std::make_unique<QMimeData>();
    data->setData(kUriList, uris.join("\r\n") + "\r\n");
    data->setData(kGnomeFiles, QByteArray(cut ? "cut\n" : "copy\n") + uris.join('\n'));
    data->setData(kKdeCut, cut ? "1" : "0");
    data->setText(texts.join('\n')); // for pasting the paths into editors
    return data;
}

std::vector<fs::path> pathsIn(const QMimeData& data)
{
    if (data.hasFormat(kUriList)) {
        auto paths = pathsOfLines(data.data(kUriList).split('\n'));
        if (!paths.empty())
            return paths;
    }
    if (data.hasFormat(kGnomeFiles)) {
        QList<QByteArray> lines = data.data(kGnomeFiles).split('\n');
        if (!lines.isEmpty())
            lines.removeFirst(); // "copy" or "cut"
        return pathsOfLines(lines);
    }
    return {};
}

bool isCutIn(const QMimeData& data)
{
    if (data.hasFormat(kGnomeFiles)) {
        const QByteArray gnome = data.data(kGnomeFiles);
        return gnome.left(gnome.indexOf('\n')).trimmed() == "cut";
    }
    return data.hasFormat(kKdeCut) && data.data(kKdeCut).trimmed() == "1";
}

bool hasFiles()
{
    return !filePaths().empty();
}

std::vector<fs::path> filePaths()
{
    const QMimeData* data = clipboard()->mimeData();
    return data ? pathsIn(*data) : std::vector<fs::path>{};
}

bool isCut()
{
    const QMimeData* data = clipboard()->mimeData();
    return data && isCutIn(*data);
}

void write(const std::vector<fs::path>& paths, bool cut)
{
    clipboard()->setMimeData(makeMimeData(paths, cut).release());
}

void clear()
{
    clipboard()->clear();
}

} // namespace FileClipboard
