#include "PreviewCommands.h"

#include "core/PathText.h"
#include "preview/FilePreview.h"
#include "preview/PreviewPage.h"

#include <cstdio>
#include <filesystem>
#include <optional>

namespace {

struct PageRequest {
    std::filesystem::path file;
    bool page = false;
};

std::optional<PageRequest> parse(const std::vector<std::string>& arguments)
{
    PageRequest request;
    bool haveFile = false;
    for (const std::string& argument : arguments) {
        if (argument == "--page") {
            request.page = true;
        } else if (!haveFile && !argument.empty() && argument.front() != '-') {
            request.file = argument;
            haveFile = true;
        } else {
            return std::nullopt;
        }
    }
    if (!haveFile)
        return std::nullopt;
    return request;
}

bool write(const QByteArray& bytes, FILE* stream)
{
    return std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream) == size_t(bytes.size());
}

int runPage(const std::vector<std::string>& arguments, PreviewKind kind, const char* usage)
{
    const std::optional<PageRequest> request = parse(arguments);
    if (!request) {
        std::fputs(usage, stderr);
        return 2;
    }
    const Result<QString> fragment = PreviewPage::fragment(request->file, kind);
    if (!fragment) {
        write((QStringLiteral("「") + PathText::displayName(request->file) +
               QStringLiteral("」を読めませんでした。\n") + fragment.error().description() +
               QLatin1Char('\n'))
                  .toUtf8(),
              stderr);
        return 1;
    }
    const QString text = request->page ? PreviewPage::page(*fragment, request->file,
                                                           PreviewPage::accentFromSettings(),
                                                           kind == PreviewKind::csv)
                                       : *fragment;
    const bool written =
        write(text.toUtf8(), stdout) && (text.endsWith(QLatin1Char('\n')) || write("\n", stdout));
    return written && std::fflush(stdout) == 0 ? 0 : 1;
}

} // namespace

int runMarkdownCommand(const std::vector<std::string>& arguments)
{
    return runPage(arguments, PreviewKind::markdown, "usage: quillo-tool markdown FILE [--page]\n");
}

int runCsvCommand(const std::vector<std::string>& arguments)
{
    return runPage(arguments, PreviewKind::csv, "usage: quillo-tool csv FILE [--page]\n");
}

int runPreviewKindCommand(const std::vector<std::string>& arguments)
{
    if (arguments.empty()) {
        std::fputs("usage: quillo-tool preview-kind FILE...\n", stderr);
        return 2;
    }
    std::string out;
    for (const std::string& argument : arguments) {
        const std::filesystem::path file(argument);
        const std::optional<PreviewKind> kind = FilePreview::kind(file);
        out += kind ? FilePreview::name(*kind) : "none";
        out += '\t';
        out += kind == PreviewKind::visual ? FilePreview::name(FilePreview::viewer(file)) : "-";
        out += '\t';
        out += PathText::escapedName(argument);
        out += '\n';
    }
    const bool written = std::fwrite(out.data(), 1, out.size(), stdout) == out.size();
    return written && std::fflush(stdout) == 0 ? 0 : 1;
}

void printPreviewUsage()
{
    std::fputs("       quillo-tool markdown FILE [--page]\n", stderr);
    std::fputs("       quillo-tool csv FILE [--page]\n", stderr);
    std::fputs("       quillo-tool preview-kind FILE...\n", stderr);
}
