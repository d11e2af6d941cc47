#include "browser/preview/PreviewLoader.h"

#include "browser/preview/TextPreview.h"
#include "core/PathText.h"
#include "platform/AtomicFile.h"
#include "platform/FileReader.h"
#include "preview/PreviewPage.h"

#include <QCoreApplication>
#include <QStandardPaths>
#include <system_error>

namespace fs = std::filesystem;

std::optional<PreviewContent> PreviewLoader::prepare(const Request& request)
{
    if (!request.current())
        return std::nullopt;
    if (request.kind == PreviewKind::markdown || request.kind == PreviewKind::csv)
        return generatedPage(request);
    if (request.kind == PreviewKind::html)
        return htmlFile(request);
    return otherFile(request);
}

QString PreviewLoader::unreadableMessage(const fs::path& file)
{
    return QStringLiteral("「%1」を読めませんでした。").arg(PathText::displayName(file));
}

std::optional<PreviewContent> PreviewLoader::generatedPage(const Request& request)
{
    const QString html = PreviewPage::build(request.file, *request.kind, request.accentHex);
    if (!request.current())
        return std::nullopt;
    const fs::path folder = pagesFolder();
    PreviewContent content;
    if (folder.empty()) {
        content.message = unreadableMessage(request.file);
        return content;
    }
    // A file rather than setHtml: setHtml is limited to 2 MB, and one way for every
    // size keeps large documents from behaving differently.
    const fs::path page = folder / (request.pageName.toStdString() + ".html");
    const QByteArray bytes = html.toUtf8();
    if (!AtomicFile::writeUnsynced(page,
                                   std::string_view(bytes.constData(), size_t(bytes.size())))) {
        content.message = unreadableMessage(request.file);
        return content;
    }
    content.shows = PreviewContent::Shows::page;
    content.page = page;
    return content;
}

PreviewContent PreviewLoader::htmlFile(const Request& request)
{
    // The engine reads the file itself; a FIFO or device under an .html name would
    // hold one of its loader threads forever.
    std::error_code error;
    const auto status = fs::status(request.file, error);
    PreviewContent content;
    if (error || !fs::is_regular_file(status)) {
        content.message = error ? unreadableMessage(request.file) : QString();
        return content;
    }
    content.shows = PreviewContent::Shows::page;
    content.page = request.file;
    return content;
}

PreviewContent PreviewLoader::otherFile(const Request& request)
{
    PreviewContent content;
    Result<FileReader> reader = FileReader::open(request.file);
    bool more = false;
    Result<QByteArray> head =
        reader ? reader->readBytesUpTo(size_t(kTextLimit), &more) : std::unexpected(reader.error());
    if (!head) {
        // A FIFO, socket or device gets the card without a message; it is not broken.
        if (head.error().code != EINVAL)
            content.message = unreadableMessage(request.file);
        return content;
    }
    if (FilePreview::isPlainText(request.file, *head)) {
        content.shows = PreviewContent::Shows::text;
        content.text = TextPreview::decode(*head, more);
    }
    return content;
}

fs::path PreviewLoader::pagesFolder()
{
    static const fs::path folder = [] {
        QString base = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
        if (base.isEmpty())
            base = QStandardPaths::writableLocation(QStandardPaths::TempLocation);
        const fs::path made =
            fs::path(base.toStdString()) /
            ("quillo-preview-" + std::to_string(QCoreApplication::applicationPid()));
        std::error_code error;
        fs::create_directories(made, error);
        fs::permissions(made, fs::perms::owner_all, error);
        if (error)
            return fs::path();
        qAddPostRoutine([] {
            std::error_code ignored;
            fs::remove_all(pagesFolder(), ignored);
        });
        return made;
    }();
    return folder;
}

void PreviewLoader::removePages(const QString& prefix, const QString& keep)
{
    const fs::path folder = pagesFolder();
    if (folder.empty())
        return;
    const std::string start = prefix.toStdString();
    const std::string kept = keep.isEmpty() ? std::string() : keep.toStdString() + ".html";
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(start) && name != kept)
            fs::remove(entry.path(), error);
    }
}
