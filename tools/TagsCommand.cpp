#include "TagsCommand.h"

#include "core/PathText.h"
#include "tags/TagLibraryFile.h"
#include "tags/TagStore.h"
#include "tags/TagTree.h"

#include <QString>
#include <cstdio>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

void write(const std::string& text, FILE* stream)
{
    std::fwrite(text.data(), 1, text.size(), stream);
}

std::string tagColumns(const TagTree& tree, const TaggedItem& item)
{
    std::string out;
    for (const Tag& tag : tree.inSortedOrder(item.tagIDs))
        out += '\t' + tag.name.toStdString();
    return out;
}

} // namespace

int runTagsCommand(const std::vector<std::string>& arguments)
{
    if (arguments.empty()) {
        std::fputs("usage: quillo-tool tags PATH...\n", stderr);
        return 2;
    }
    const fs::path file = TagStore::defaultFilePath();
    TagLibraryFile::Reading reading = TagLibraryFile::read(file);
    if (reading.status == TagLibraryFile::ReadStatus::unusable) {
        const QString message = QStringLiteral("タグのファイル「") + PathText::display(file) +
                                QStringLiteral("」を読めません。\n");
        write(message.toStdString(), stderr);
        return 1;
    }
    const TagTree tree(std::move(reading.library.tags), reading.library.manualOrder);
    for (const std::string& argument : arguments) {
        std::string line = PathText::escapedName(argument);
        // Relative paths name items below the working folder, as a shell user means.
        fs::path path(argument);
        if (path.is_relative())
            path = fs::current_path() / path;
        const auto found = reading.library.items.constFind(TagStore::key(path));
        if (found != reading.library.items.constEnd())
            line += tagColumns(tree, found.value());
        write(line + '\n', stdout);
    }
    return 0;
}
