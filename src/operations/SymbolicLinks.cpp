#include "operations/SymbolicLinks.h"

#include "core/PathText.h"
#include "operations/FileNaming.h"
#include "platform/DirectoryScanner.h"
#include "platform/FileCopier.h"

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace SymbolicLinks {

QString linkName(const QString& name, bool isDirectory)
{
    const FileNaming::SplitName split = FileNaming::split(name, isDirectory);
    const QString base = split.base + QStringLiteral(" のリンク");
    return split.ext.isEmpty() ? base : base + QLatin1Char('.') + split.ext;
}

namespace {

bool isFolder(const fs::path& path)
{
    const auto item = DirectoryScanner::statPath(path);
    return item && S_ISDIR(item->mode);
}

Result<fs::path> makeOne(const fs::path& item, const fs::path& folder)
{
    const bool isDirectory = isFolder(item);
    const QString name = linkName(PathText::toStorableText(item.filename()), isDirectory);
    const fs::path wished = folder / PathText::fromStorableText(name);
    Result<void> made;
    // Another program may take the free name between the probe and the link.
    for (int attempt = 0; attempt < 3; ++attempt) {
        const fs::path path = FileNaming::uniquePath(
            wished, isDirectory, FileNaming::Style::numbered, FileNaming::exists);
        made = FileCopier::makeSymbolicLink(item, path);
        if (made)
            return path;
        if (made.error().code != EEXIST)
            break;
    }
    return std::unexpected(Error::fromErrno(made.error().code, wished));
}

} // namespace

Outcome make(const std::vector<fs::path>& items, const fs::path& folder)
{
    Outcome out;
    for (const fs::path& item : items) {
        if (auto made = makeOne(PathText::standardized(item), folder))
            out.made.push_back(*made);
        else
            out.failures.push_back(made.error());
    }
    return out;
}

} // namespace SymbolicLinks
