#include "operations/ArchiveWriter.h"

#include "core/PathText.h"
#include "operations/FileNaming.h"
#include "operations/StagingJournal.h"
#include "operations/ZipWritingSession.h"
#include "platform/FileCopier.h"
#include "platform/FileDescriptor.h"

#include <cerrno>

namespace fs = std::filesystem;

namespace {

std::unexpected<ArchiveFailure> writeFailure(int code)
{
    return std::unexpected(ArchiveFailure{QStringLiteral("アーカイブを書き込めませんでした。") +
                                              Error::fromErrno(code).description(),
                                          false});
}

ArchiveResult<void> writeItems(int fd, const std::vector<fs::path>& items,
                               TransferProgress& progress)
{
    auto session = ZipWritingSession::open(fd, progress);
    if (!session)
        return std::unexpected(session.error());
    for (const fs::path& item : items) {
        if (auto added = (*session)->add(item); !added)
            return added;
    }
    return (*session)->close();
}

// Synced before the rename, so that the visible name never shows a torn archive.
ArchiveResult<void> publish(FileDescriptor fd, const fs::path& temporary, const fs::path& archive)
{
    if (fd.sync() != 0 || fd.close() != 0)
        return writeFailure(errno);
    if (auto renamed = FileCopier::renameNoReplace(temporary, archive); !renamed)
        return writeFailure(renamed.error().code);
    // The rename is only as durable as the folder entry that records it.
    (void)FileCopier::syncFolderOf(archive);
    return {};
}

} // namespace

namespace ArchiveWriter {

fs::path destinationFor(const std::vector<fs::path>& items)
{
    if (items.empty())
        return {};
    const fs::path first = PathText::standardized(items.front());
    const fs::path name = items.size() == 1 ? fs::path(first.filename().native() + ".zip")
                                            : PathText::fromText(QStringLiteral("アーカイブ.zip"));
    return FileNaming::uniquePath(PathText::parent(first) / name, false,
                                  FileNaming::Style::numbered, FileNaming::exists);
}

ArchiveResult<void> compress(const std::vector<fs::path>& items, const fs::path& archive,
                             TransferProgress& progress)
{
    if (items.empty())
        return std::unexpected(ArchiveFailure{Error::fromErrno(EINVAL).description(), false});
    const fs::path target = PathText::standardized(archive);
    // A staging name of the journal's: if we are killed, the next start removes it.
    const fs::path temporary = StagingJournal::shared().stagingPath(target);
    auto fd = FileCopier::createExclusive(temporary);
    if (!fd)
        return writeFailure(fd.error().code);
    auto written = writeItems(fd->get(), items, progress);
    if (written)
        written = publish(std::move(*fd), temporary, target);
    if (!written)
        (void)FileCopier::removeTree(temporary);
    return written;
}

} // namespace ArchiveWriter
