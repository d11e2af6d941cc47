#include "operations/FileClipboard.h"

#include "core/FileUri.h"
#include "core/PathText.h"

#include <QClipboard>
#include <QGuiApplication>

namespace fs = std::filesystem;

namespace {

const QString kUriList = QStringLiteral("text/uri-list");
const QString kGnomeFiles = QStringLiteral("x-special/gnome-copied-files");
const QString kKdeCut = QStringLiteral("application/x-kde-cutselection");

std::vector<fs::path> pathsOfLines(const QList<QByteArray>& lines)
{
    std::vector<fs::path> paths;
    for (const QByteArray& line : lines) {
        if (line.trimmed().isEmpty() || line.startsWith('#'))
            continue;
        if (auto path = FileUri::toPath(line.trimmed()))
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
        uris << QByteArray::fromStdString(FileUri::fromPath(path));
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
