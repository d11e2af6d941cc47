#include "operations/FileTransfer.h"

#include "core/PathText.h"
#include "platform/DirectoryScanner.h"
#include "platform/FileCopier.h"

#include <QtGlobal>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

// Carries the copier's stages into the shared progress record; returning false
// stops the copy at the next file or chunk after a cancel.
class ProgressObserver final : public CopyObserver {
public:
    explicit ProgressObserver(TransferProgress& progress)
        : m_progress(progress)
    {
    }
    bool fileStarted(const fs::path& source) override
    {
        m_progress.fileStarted(PathText::displayName(source));
        return !m_progress.isCancelled();
    }
    bool dataCopied(int64_t bytesOfThisFile) override
    {
        m_progress.setCurrentFileBytes(bytesOfThisFile);
        return !m_progress.isCancelled();
    }
    bool fileFinished() override
    {
        m_progress.fileFinished();
        return !m_progress.isCancelled();
    }

private:
    TransferProgress& m_progress;
};

std::unexpected<Error> existsError(const fs::path& destination)
{
    return std::unexpected(Error::fromErrno(EEXIST, destination));
}

Result<void> copyWith(const fs::path& source, const fs::path& destination,
                      TransferProgress& progress, FileCopier::Options options)
{
    if (DirectoryScanner::exists(destination))
        return existsError(destination);
    ProgressObserver observer(progress);
    const auto copied = FileCopier::copyTree(source, destination, observer, options);
    // Bytes of a file cut short still count as done, as the poller last showed them.
    progress.fileFinished();
    if (copied && !progress.isCancelled())
        return {};
    // Someone else's item that appeared at the destination after our check stays.
    const bool raced =
        !copied && copied.error().code == EEXIST && copied.error().path == destination;
    if (!raced)
        (void)FileCopier::removeCopy(destination);
    if (progress.isCancelled())
        return std::unexpected(Error::cancellation());
    return copied;
}

} // namespace

namespace FileTransfer {

Result<void> copyItem(const fs::path& source, const fs::path& destination,
                      TransferProgress& progress)
{
    return copyWith(source, destination, progress, {});
}

Result<void> moveItem(const fs::path& source, const fs::path& destination, bool sameVolume,
                      TransferProgress& progress)
{
    if (DirectoryScanner::exists(destination))
        return existsError(destination);
    if (sameVolume) {
        const auto renamed = FileCopier::renameNoReplace(source, destination);
        if (renamed || renamed.error().code != EXDEV)
            return renamed;
    }
    // The source goes only once its copy is on disk.
    if (auto copied = copyWith(source, destination, progress, {.syncData = true}); !copied)
        return copied;
    return FileCopier::removeTree(source);
}

int64_t totalSize(const std::vector<fs::path>& paths)
{
    int64_t total = 0;
    for (const fs::path& path : paths) {
        if (__builtin_add_overflow(total, FileCopier::totalSize(path), &total))
            qFatal("FileTransfer::totalSize: overflow");
    }
    return total;
}

bool isDirectory(const fs::path& path)
{
    const auto item = DirectoryScanner::statPath(path);
    return item && S_ISDIR(item->mode);
}

bool isSameFile(const fs::path& a, const fs::path& b)
{
    const auto first = FileCopier::identity(a);
    const auto second = FileCopier::identity(b);
    return first && second && *first == *second;
}

bool isSameVolume(const fs::path& a, const fs::path& b)
{
    const auto first = FileCopier::identity(a);
    const auto second = FileCopier::identity(b);
    return first && second && first->device == second->device;
}

} // namespace FileTransfer
