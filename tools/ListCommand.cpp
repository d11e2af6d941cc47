#include "ListCommand.h"

#include "core/FileSort.h"
#include "core/PathText.h"
#include "files/DirectoryReader.h"
#include "files/FileSorter.h"
#include "files/PaneError.h"

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <optional>

namespace {

struct ListOptions {
    bool includeHidden = false;
    FileSort sort;
    std::filesystem::path folder;
};

std::optional<ListOptions> parse(const std::vector<std::string>& arguments)
{
    ListOptions options;
    bool haveFolder = false;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string& a = arguments[i];
        if (a == "--hidden") {
            options.includeHidden = true;
        } else if (a == "--descending") {
            options.sort.ascending = false;
        } else if (a == "--sort" && i + 1 < arguments.size()) {
            const auto key = fileSortKeyFromRaw(QString::fromStdString(arguments[++i]));
            if (!key)
                return std::nullopt;
            options.sort.key = *key;
        } else if (!haveFolder && (a.empty() || a.front() != '-')) {
            options.folder = a;
            haveFolder = true;
        } else {
            return std::nullopt;
        }
    }
    if (!haveFolder)
        return std::nullopt;
    return options;
}

// Floor division, so that dates before 1970 round towards the past like ls does.
int64_t seconds(int64_t nanoseconds)
{
    int64_t s = nanoseconds / 1'000'000'000;
    if (nanoseconds % 1'000'000'000 < 0)
        --s;
    return s;
}

void appendNumber(std::string& out, const std::optional<int64_t>& number)
{
    if (!number) {
        out += '-';
        return;
    }
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, *number).ptr;
    out.append(digits, end);
}

void appendLine(std::string& out, const FileEntry& entry)
{
    out += entry.typeLetter();
    out += '\t';
    appendNumber(out, entry.size);
    out += '\t';
    appendNumber(out,
                 entry.dateModified ? std::optional(seconds(*entry.dateModified)) : std::nullopt);
    out += '\t';
    const std::string_view path = entry.pathBytes();
    const size_t slash = path.rfind('/');
    out += PathText::escapedName(slash == std::string::npos
                                     ? std::string_view(path)
                                     : std::string_view(path).substr(slash + 1));
    out += '\n';
}

void write(const std::string& text, FILE* stream)
{
    std::fwrite(text.data(), 1, text.size(), stream);
}

} // namespace

void printUsage()
{
    std::fputs("usage: quillo-tool list [--hidden] [--sort name|dateModified|size|kind|tags] "
               "[--descending] DIR\n",
               stderr);
}

int runListCommand(const std::vector<std::string>& arguments)
{
    const auto options = parse(arguments);
    if (!options) {
        printUsage();
        return 2;
    }
    auto entries = DirectoryReader::read(options->folder, options->includeHidden);
    if (!entries) {
        const PaneError error = paneError(entries.error(), options->folder);
        write(error.message.toStdString() + "\n", stderr);
        return 1;
    }
    FileSorter(options->sort).sort(*entries);
    // Whole buffers rather than lines: a big folder is written in a few system calls.
    constexpr size_t kFlushAt = 1 << 20;
    std::string out;
    out.reserve(kFlushAt + 4096);
    for (const FileEntry& entry : *entries) {
        appendLine(out, entry);
        if (out.size() >= kFlushAt) {
            write(out, stdout);
            out.clear();
        }
    }
    write(out, stdout);
    // The process ends next: tearing 100,000 entries down one by one only costs time.
    static auto* kept = new std::vector<FileEntry>(std::move(*entries));
    (void)kept;
    return std::fflush(stdout) == 0 ? 0 : 1;
}
