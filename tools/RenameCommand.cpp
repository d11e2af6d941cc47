#include "RenameCommand.h"

#include "core/PathText.h"
#include "operations/BulkRename.h"
#include "operations/BulkRenamer.h"
#include "operations/RenameJournal.h"
#include "operations/RenameSelection.h"

#include <QSet>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string_view>

namespace fs = std::filesystem;
using Options = BulkRenameOptions;

namespace {

struct Request {
    Options options;
    bool dryRun = false;
    std::vector<fs::path> paths;
};

void write(const std::string& text, FILE* stream)
{
    std::fwrite(text.data(), 1, text.size(), stream);
}

std::optional<int> number(const std::string& text)
{
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

std::optional<Options::Mode> modeFrom(const std::string& text)
{
    if (text == "case")
        return Options::Mode::changeCase;
    return Options::modeFrom(QString::fromStdString(text));
}

// Rule texts as storable text, so that bytes of a name that are not UTF-8 can be matched.
QString ruleText(const std::string& value)
{
    return PathText::toStorableText(fs::path(value));
}

// One option and its value; false when the option or its value is not one we know.
bool takeValue(const std::string& option, const std::string& value, Options& options)
{
    std::optional<int> integer;
    if (option == "--mode") {
        const auto mode = modeFrom(value);
        options.mode = mode.value_or(options.mode);
        return mode.has_value();
    }
    if (option == "--case") {
        const auto style = Options::caseStyleFrom(QString::fromStdString(value));
        options.caseStyle = style.value_or(options.caseStyle);
        return style.has_value();
    }
    if (option == "--find")
        options.find = ruleText(value);
    else if (option == "--replace")
        options.replacement = ruleText(value);
    else if (option == "--pattern")
        options.pattern = ruleText(value);
    else if (option == "--template")
        options.templateText = ruleText(value);
    else if (option == "--prefix")
        options.prefix = ruleText(value);
    else if (option == "--start" && (integer = number(value)))
        options.start = *integer;
    else if (option == "--step" && (integer = number(value)))
        options.step = *integer;
    else if (option == "--digits" && (integer = number(value)))
        options.digits = *integer;
    else
        return false;
    return true;
}

std::optional<Request> parse(const std::vector<std::string>& arguments)
{
    Request request;
    bool modeGiven = false, optionsEnded = false;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (optionsEnded || !argument.starts_with("--"))
            request.paths.emplace_back(argument);
        else if (argument == "--")
            optionsEnded = true;
        else if (argument == "--dry-run")
            request.dryRun = true;
        else if (argument == "--case-sensitive")
            request.options.caseSensitive = true;
        else if (argument == "--include-extension")
            request.options.includeExtension = true;
        else if (i + 1 < arguments.size() &&
                 takeValue(argument, arguments[i + 1], request.options)) {
            modeGiven = modeGiven || argument == "--mode";
            ++i;
        } else {
            return std::nullopt;
        }
    }
    if (!modeGiven || request.paths.empty())
        return std::nullopt;
    return request;
}

// Items named from the working folder, made absolute with one getcwd for all.
std::optional<std::vector<fs::path>> absolutePaths(const std::vector<fs::path>& arguments)
{
    std::error_code error;
    const fs::path cwd = fs::current_path(error);
    std::vector<fs::path> paths;
    paths.reserve(arguments.size());
    for (const fs::path& argument : arguments) {
        paths.push_back(
            PathText::standardized(argument.is_absolute() || error ? argument : cwd / argument));
        // Compared as text: a path object made per item costs more than the rename.
        const std::string& path = paths.back().native();
        const std::string& first = paths.front().native();
        const size_t slash = path.rfind('/');
        if (path == "/" || slash != first.rfind('/') ||
            path.compare(0, slash, first, 0, slash) != 0)
            return std::nullopt;
    }
    return paths;
}

// The selection in order, found in one read of its folder, with the folder's other
// names; nullopt after saying what is wrong (status 2: the arguments, 1: the file
// system).
std::optional<RenameSelection> readSelection(const std::vector<fs::path>& arguments, int& status)
{
    const auto paths = absolutePaths(arguments);
    if (!paths) {
        std::fputs("quillo-tool rename: the items must be in one folder\n", stderr);
        status = 2;
        return std::nullopt;
    }
    auto selection = RenameSelection::read(*paths);
    if (!selection) {
        const Error& error = selection.error();
        write(error.code == ENOENT && error.path != PathText::parent(paths->front())
                  ? "「" + PathText::displayName(error.path).toStdString() +
                        "」が見つかりません。\n"
                  : PathText::display(error.path).toStdString() + ": " +
                        error.description().toStdString() + "\n",
              stderr);
        status = 1;
        return std::nullopt;
    }
    status = 0;
    return std::move(*selection);
}

// "old<TAB>new<TAB>problem" lines; the pairs to rename (taking the rows' paths).
std::vector<BulkRenamer::Pair> printRows(std::vector<BulkRenamePreview>& rows, int& status)
{
    std::string out;
    std::vector<BulkRenamer::Pair> pairs;
    pairs.reserve(rows.size());
    for (BulkRenamePreview& row : rows) {
        const std::string newName = PathText::fromStorableText(row.newName).native();
        const std::string& path = row.url.native();
        const size_t slash = path.rfind('/');
        out.append(path, slash + 1).append(1, '\t').append(newName).append(1, '\t');
        out.append(row.problem.value_or(QString()).toStdString()).append(1, '\n');
        status = row.problem ? 1 : status;
        fs::path to(path.substr(0, slash + 1) + newName);
        pairs.emplace_back(std::move(row.url), std::move(to));
    }
    write(out, stdout);
    if (std::fflush(stdout) != 0)
        status = 1;
    return pairs;
}

} // namespace

void printRenameUsage()
{
    std::fputs("       quillo-tool rename [--dry-run] --mode replace|regex|sequence|case "
               "[--find T] [--replace T] [--pattern P] [--template T] [--case-sensitive] "
               "[--prefix T] [--start N] [--step N] [--digits N] "
               "[--case lower|upper|capitalized] [--include-extension] PATH...\n",
               stderr);
}

int runRenameCommand(const std::vector<std::string>& arguments)
{
    const auto request = parse(arguments);
    if (!request) {
        std::fputs("usage:\n", stderr);
        printRenameUsage();
        return 2;
    }
    int status = 0;
    auto selection = readSelection(request->paths, status);
    if (!selection)
        return status;
    auto rows = BulkRename::preview(selection->items, request->options, selection->otherNames);
    const auto pairs = printRows(rows, status);
    if (status != 0 || request->dryRun)
        return status;
    rows = {}; // memory for the rename to reuse
    // The identities the folder's read gave spare the rename a stat per item.
    const auto done = BulkRenamer::apply(pairs, RenameJournal::shared(), {}, selection->identities);
    if (!done) {
        write("「" + done.error().name.toStdString() + "」の名前を変更できませんでした。" +
                  done.error().error.description().toStdString() + "\n",
              stderr);
        if (!done.error().rolledBack)
            std::fputs("一部の項目は元の名前に戻せませんでした。\n", stderr);
        return 1;
    }
    return 0;
}
