#include "operations/ArchiveExtractor.h"

#include "core/PathText.h"
#include "operations/ArchiveExpandLimits.h"
#include "operations/ArchiveUnpacker.h"
#include "operations/FileNaming.h"
#include "operations/StagingJournal.h"
#include "platform/DirectoryScanner.h"
#include "platform/ExtractionTree.h"
#include "platform/FileCopier.h"
#include "platform/FileReader.h"

#include <QUuid>
#include <cerrno>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

constexpr int kMoveAttempts = 100;

ArchiveFailure fromError(const Error& error)
{
    return ArchiveFailure{error.description()};
}

// The archive's name without its extension; "x.tar.gz" gives "x".
fs::path folderNameFor(const fs::path& archive)
{
    QString base = FileNaming::split(PathText::toStorableText(archive.filename()), false).base;
    if (base.endsWith(QStringLiteral(".tar"), Qt::CaseInsensitive) && base.size() > 4)
        base.chop(4);
    return PathText::fromStorableText(base);
}

// Moves the expansion to `wished`, or to the next free numbered name when another
// item takes that name first.
ArchiveResult<fs::path> moveTo(const fs::path& wished, bool isDirectory,
                               const std::function<Result<void>(const fs::path&)>& move)
{
    for (int attempt = 0; attempt < kMoveAttempts; ++attempt) {
        const fs::path destination = FileNaming::uniquePath(
            wished, isDirectory, FileNaming::Style::numbered, FileNaming::exists);
        const auto moved = move(destination);
        if (moved)
            return destination;
        if (moved.error().code != EEXIST)
            return std::unexpected(fromError(moved.error()));
    }
    return std::unexpected(fromError(Error::fromErrno(EEXIST, wished)));
}

// One top-level item goes beside the archive under its own name; several stay
// together in the folder, which takes the archive's name.
ArchiveResult<fs::path> place(ExtractionTree& tree, const fs::path& archive)
{
    if (auto finished = tree.finish(); !finished)
        return std::unexpected(fromError(finished.error()));
    const fs::path folder = archive.parent_path();
    if (auto removed = FileCopier::removeCopy(tree.path() / "__MACOSX");
        !removed && removed.error().code != ENOENT)
        return std::unexpected(fromError(removed.error()));
    auto items = DirectoryScanner::scan(tree.path());
    if (!items)
        return std::unexpected(fromError(items.error()));
    std::erase_if(*items, [](const ScannedItem& item) { return item.name == ".DS_Store"; });
    if (items->empty())
        return std::unexpected(ArchiveFailure{QStringLiteral("アーカイブに項目がありません。")});
    if (items->size() == 1) {
        const ScannedItem& item = items->front();
        auto moved = moveTo(folder / item.name, S_ISDIR(item.mode),
                            [&](const fs::path& to) { return tree.moveOut(item.name, to); });
        if (moved)
            FileCopier::removeCopy(tree.path()); // what is left: a ".DS_Store" at most
        return moved;
    }
    if (auto opened = tree.openToOthers(); !opened)
        return std::unexpected(fromError(opened.error()));
    return moveTo(folder / folderNameFor(archive), true,
                  [&](const fs::path& to) { return FileCopier::renameNoReplace(tree.path(), to); });
}

} // namespace

namespace ArchiveExtractor {

ArchiveResult<fs::path> expand(const fs::path& archive, TransferProgress& progress)
{
    return expand(archive, progress, ArchiveExpandLimits{});
}

ArchiveResult<fs::path> expand(const fs::path& archive, TransferProgress& progress,
                               const ArchiveExpandLimits& limits)
{
    std::error_code error; // only a relative path needs the working folder
    const fs::path source = PathText::standardized(fs::absolute(archive, error));
    // Only a regular file (or a link to one) is read: a FIFO would block the reader.
    if (const auto file = FileReader::open(source); !file) {
        if (file.error().code == EINVAL)
            return std::unexpected(ArchiveFailure{
                QStringLiteral("アーカイブが壊れているか、対応していない形式です。")});
        return std::unexpected(fromError(file.error()));
    }
    const fs::path staging =
        source.parent_path() /
        (".quillo-expand-" + QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString());
    // Recorded first, so that a kill leaves nothing for longer than the next start.
    const StagingJournal::Ticket ticket =
        StagingJournal::shared().begin({StagingJournal::Kind::folder, staging});
    auto tree = ExtractionTree::create(staging);
    if (!tree)
        return std::unexpected(fromError(tree.error()));
    const auto unpacked = ArchiveUnpacker(*tree, progress, limits).unpack(source);
    const auto result = unpacked ? place(*tree, source) : std::unexpected(unpacked.error());
    if (!result)
        FileCopier::removeCopy(staging); // nothing partial stays behind
    return result;
}

} // namespace ArchiveExtractor
