#include "operations/FileTransfer.h"

#include "core/PathText.h"
#include "platform/DirectoryScanner.h"
#include "platform/FileCopier.h"
#include "platform/FileCopierLinks.h"

#include <QUuid>
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

// The copy is written under a hidden name beside its destination and renamed into
// place when complete, so that after a crash or a kill no partial item stands
// under a visible name.
fs::path stagingPath(const fs::path& destination)
{
    const QByteArray tag = QUuid::createUuid().toRfc4122().toHex().left(12);
    return PathText::parent(destination) / (".quillo-copy-" + tag.toStdString());
}

// Errors inside the staging copy are reported under the name the user asked for.
Error visibleError(Error error, const fs::path& staging, const fs::path& destination)
{
    const std::string& path = error.path.native();
    const std::string& prefix = staging.native();
    if (path.starts_with(prefix) && (path.size() == prefix.size() || path[prefix.size()] == '/'))
        error.path = fs::path(destination.native() + path.substr(prefix.size()));
    return error;
}

Result<void> copyWith(const fs::path& source, const fs::path& destination,
                      TransferProgress& progress, FileCopier::Options options)
{
    if (DirectoryScanner::exists(destination))
        return existsError(destination);
    const fs::path staging = stagingPath(destination);
    ProgressObserver observer(progress);
    auto copied = FileCopier::copyTree(source, staging, observer, options);
    // Bytes of a file cut short still count as done, as the poller last showed them.
    progress.fileFinished();
    if (copied && !progress.isCancelled()) {
        // Something that appeared at the destination meanwhile is never replaced.
        copied = FileCopier::renameNoReplace(staging, destination);
        if (copied && options.links)
            options.links->moved(staging, destination);
        if (copied)
            return {};
    }
    if (options.links)
        options.links->forget(staging);
    (void)FileCopier::removeCopy(staging);
    if (progress.isCancelled())
        return std::unexpected(Error::cancellation());
    return std::unexpected(visibleError(copied.error(), staging, destination));
}

} // namespace

namespace FileTransfer {

Result<void> copyItem(const fs::path& source, const fs::path& destination,
                      TransferProgress& progress, CopiedLinks* links)
{
    return copyWith(source, destination, progress, {.links = links});
}

Result<void> moveItem(const fs::path& source, const fs::path& destination, bool sameVolume,
                      TransferProgress& progress, CopiedLinks* links)
{
    if (DirectoryScanner::exists(destination))
        return existsError(destination);
    if (sameVolume) {
        const auto renamed = FileCopier::renameNoReplace(source, destination);
        if (renamed || renamed.error().code != EXDEV)
            return renamed;
    }
    // The source goes only once its copy is on disk.
    if (auto copied = copyWith(source, destination, progress, {.syncData = true, .links = links});
        !copied)
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
