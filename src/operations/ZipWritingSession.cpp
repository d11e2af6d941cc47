#include "operations/ZipWritingSession.h"

#include "core/PathText.h"
#include "operations/TransferProgress.h"
#include "platform/DirectoryScanner.h"
#include "platform/FileReader.h"

#include <algorithm>
#include <archive.h>
#include <archive_entry.h>
#include <array>
#include <cmath>
#include <locale.h>
#include <optional>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

// Large reads keep the system calls few; the buffer is all the memory a file costs.
constexpr size_t kReadBlock = 1 << 20;
constexpr int kOutputBlock = 1 << 20;
// Enough bytes to tell random data from text, few enough to cost nothing beside deflate.
constexpr size_t kSampleBytes = 16 * 1024;
constexpr size_t kSmallestSample = 512;

QString quoted(const fs::path& path)
{
    return QStringLiteral("「") + PathText::displayName(path) + QStringLiteral("」");
}

std::unexpected<ArchiveFailure> fail(QString detail)
{
    return std::unexpected(ArchiveFailure{std::move(detail), false});
}

std::unexpected<ArchiveFailure> readFailure(const fs::path& path, const Error& error)
{
    return fail(quoted(path) + QStringLiteral("を読み込めませんでした。") + error.description());
}

std::unexpected<ArchiveFailure> cancelled()
{
    return std::unexpected(ArchiveFailure{{}, true});
}

// The errno of lstat on `path`, 0 when it succeeds.
int lstatError(const fs::path& path)
{
    std::error_code error;
    (void)fs::symlink_status(path, error);
    return error.value();
}

// Deflate gains almost nothing on bytes whose distribution is nearly flat (compressed
// media, archives, random data). The order-0 entropy of a sample tells them apart from
// text; a histogram of n bytes underestimates it by about 185/n bits, hence the slack.
bool looksIncompressible(const char* data, size_t size)
{
    if (size < kSmallestSample)
        return false;
    const size_t n = std::min(size, kSampleBytes);
    std::array<uint32_t, 256> counts{};
    for (size_t i = 0; i < n; ++i)
        ++counts[static_cast<unsigned char>(data[i])];
    double bits = 0;
    for (const uint32_t count : counts) {
        if (count != 0) {
            const double p = double(count) / double(n);
            bits -= p * std::log2(p);
        }
    }
    return bits > 7.9 - 185.0 / double(n);
}

// libarchive's zip writer flags every non-ASCII name as UTF-8 when the thread's
// character set is UTF-8. A name that is not UTF-8 is written under the C locale, so
// that it goes in byte for byte without the flag; a UTF-8 name under C.UTF-8, whatever
// the process's locale is.
locale_t characterSetFor(const std::string& name)
{
    static const locale_t utf8 = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t(nullptr));
    static const locale_t plain = ::newlocale(LC_CTYPE_MASK, "C", locale_t(nullptr));
    const locale_t chosen = PathText::isValidUtf8(name) ? utf8 : plain;
    return chosen ? chosen : LC_GLOBAL_LOCALE;
}

} // namespace

ZipWritingSession::ZipWritingSession(int fd, TransferProgress& progress)
    : m_writer(archive_write_new())
    , m_entry(archive_entry_new())
    , m_fd(fd)
    , m_progress(progress)
    , m_buffer(kReadBlock)
{
}

ZipWritingSession::~ZipWritingSession()
{
    archive_entry_free(m_entry);
    // Without a close the free writes nothing more: a failed archive stays as it is.
    archive_write_free(m_writer);
}

ArchiveResult<std::unique_ptr<ZipWritingSession>>
ZipWritingSession::open(int fd, TransferProgress& progress)
{
    std::unique_ptr<ZipWritingSession> session(new ZipWritingSession(fd, progress));
    archive* writer = session->m_writer;
    if (!writer || !session->m_entry)
        return fail(Error::fromErrno(ENOMEM).description());
    // Level 6 is Info-ZIP's default, so archives come out as compact as zip's.
    if (archive_write_set_format_zip(writer) != ARCHIVE_OK ||
        archive_write_set_format_option(writer, "zip", "compression-level", "6") != ARCHIVE_OK ||
        archive_write_set_bytes_per_block(writer, kOutputBlock) != ARCHIVE_OK ||
        archive_write_set_bytes_in_last_block(writer, 1) != ARCHIVE_OK ||
        archive_write_open2(writer, session.get(), nullptr, &ZipWritingSession::writeOut, nullptr,
                            nullptr) != ARCHIVE_OK)
        return std::unexpected(session->writeFailure());
    return session;
}

ssize_t ZipWritingSession::writeOut(archive* writer, void* session, const void* bytes,
                                    size_t length)
{
    auto* self = static_cast<ZipWritingSession*>(session);
    if (const int error = writeAll(self->m_fd, {static_cast<const char*>(bytes), length})) {
        self->m_writeError = error;
        archive_set_error(writer, error, "write failed");
        return -1;
    }
    return ssize_t(length);
}

ArchiveResult<void> ZipWritingSession::add(const fs::path& item)
{
    const fs::path path = PathText::standardized(item);
    const std::string name = path.filename().native();
    if (name.empty() || name == "/")
        return readFailure(path, Error::fromErrno(EINVAL));
    const auto scanned = DirectoryScanner::statPath(path);
    if (!scanned)
        return readFailure(path, Error::fromErrno(lstatError(path)));
    return addEntry(path, name, *scanned);
}

ArchiveResult<void> ZipWritingSession::close()
{
    if (archive_write_close(m_writer) != ARCHIVE_OK)
        return std::unexpected(writeFailure());
    return {};
}

ArchiveResult<void> ZipWritingSession::addEntry(const fs::path& path, const std::string& entryName,
                                                const ScannedItem& item)
{
    if (m_progress.isCancelled())
        return cancelled();
    if (S_ISDIR(item.mode))
        return addFolder(path, entryName, item);
    if (S_ISLNK(item.mode))
        return addLink(path, entryName, item);
    if (S_ISREG(item.mode))
        return addFile(path, entryName, item);
    // A FIFO or a device has no contents to keep; leaving it out silently would not
    // be the archive that was asked for.
    return fail(quoted(path) + QStringLiteral("は特殊なファイルのため、圧縮できません。"));
}

ArchiveResult<void> ZipWritingSession::addFolder(const fs::path& path, const std::string& entryName,
                                                 const ScannedItem& item)
{
    describe(entryName, item);
    if (auto written = writeHeader(entryName); !written)
        return written;
    auto children = DirectoryScanner::scan(path);
    if (!children)
        return readFailure(path, children.error());
    // Byte order, so that the same tree always gives the same archive.
    std::sort(children->begin(), children->end(),
              [](const ScannedItem& a, const ScannedItem& b) { return a.name < b.name; });
    for (const ScannedItem& child : *children) {
        const fs::path childPath = path / child.name;
        std::optional<ScannedItem> again;
        if (child.statFailed) {
            again = DirectoryScanner::statPath(childPath);
            const int error = again ? 0 : lstatError(childPath);
            // Gone since the folder was listed: there is nothing left to keep.
            if (error == ENOENT)
                continue;
            if (!again)
                return readFailure(childPath, Error::fromErrno(error != 0 ? error : EIO));
        }
        const std::string childName = entryName + '/' + child.name;
        if (auto added = addEntry(childPath, childName, again ? *again : child); !added)
            return added;
    }
    return {};
}

ArchiveResult<void> ZipWritingSession::addLink(const fs::path& path, const std::string& entryName,
                                               const ScannedItem& item)
{
    std::error_code error;
    const fs::path target = fs::read_symlink(path, error);
    if (error)
        return readFailure(path, Error::fromErrno(error.value()));
    describe(entryName, item);
    archive_entry_copy_symlink(m_entry, target.c_str());
    return writeHeader(entryName);
}

ArchiveResult<void> ZipWritingSession::addFile(const fs::path& path, const std::string& entryName,
                                               const ScannedItem& item)
{
    auto reader = FileReader::open(path);
    if (!reader)
        return readFailure(path, reader.error());
    // The size when opened is what goes in: the header of a stored entry carries it.
    const int64_t size = reader->size();
    m_progress.fileStarted(PathText::displayName(path));
    const size_t first = size_t(std::min<int64_t>(size, int64_t(m_buffer.size())));
    const auto got = reader->read(m_buffer.data(), first);
    if (!got)
        return readFailure(path, got.error());
    if (*got < first)
        return fail(quoted(path) + QStringLiteral("は読み込み中に変更されました。"));
    // An empty file stores as nothing at all; deflate would add a few bytes.
    setStored(size == 0 || looksIncompressible(m_buffer.data(), first));
    describe(entryName, item);
    archive_entry_set_size(m_entry, size);
    if (auto written = writeHeader(entryName); !written)
        return written;
    if (auto copied = copyData(path, *reader, first); !copied)
        return copied;
    m_progress.fileFinished();
    return {};
}

// The first block is in the buffer already; the rest follows block by block, with a
// cancel honoured between blocks.
ArchiveResult<void> ZipWritingSession::copyData(const fs::path& path, FileReader& reader,
                                                size_t firstBlock)
{
    const int64_t size = reader.size();
    size_t block = firstBlock;
    for (int64_t done = 0;;) {
        if (block > 0 && archive_write_data(m_writer, m_buffer.data(), block) < ssize_t(block))
            return std::unexpected(writeFailure());
        done += int64_t(block);
        m_progress.setCurrentFileBytes(done);
        if (done >= size)
            return {};
        if (m_progress.isCancelled())
            return cancelled();
        block = size_t(std::min<int64_t>(size - done, int64_t(m_buffer.size())));
        const auto got = reader.read(m_buffer.data(), block);
        if (!got)
            return readFailure(path, got.error());
        if (*got < block)
            return fail(quoted(path) + QStringLiteral("は読み込み中に変更されました。"));
    }
}

void ZipWritingSession::describe(const std::string& entryName, const ScannedItem& item)
{
    archive_entry_clear(m_entry);
    archive_entry_copy_pathname(m_entry, entryName.c_str());
    archive_entry_set_mode(m_entry, item.mode);
    archive_entry_set_mtime(m_entry, item.modifiedNs / 1'000'000'000,
                            long(item.modifiedNs % 1'000'000'000));
}

ArchiveResult<void> ZipWritingSession::writeHeader(const std::string& entryName)
{
    const locale_t previous = ::uselocale(characterSetFor(entryName));
    const int status = archive_write_header(m_writer, m_entry);
    ::uselocale(previous);
    if (status < ARCHIVE_WARN)
        return std::unexpected(writeFailure());
    return {};
}

// Applies to the entries written after it; libarchive allows it between entries.
void ZipWritingSession::setStored(bool stored)
{
    if (stored == m_stored)
        return;
    m_stored = stored;
    if (stored)
        archive_write_zip_set_compression_store(m_writer);
    else
        archive_write_zip_set_compression_deflate(m_writer);
}

ArchiveFailure ZipWritingSession::writeFailure() const
{
    int code = m_writeError;
    if (code == 0)
        code = archive_errno(m_writer) > 0 ? archive_errno(m_writer) : EIO;
    return ArchiveFailure{QStringLiteral("アーカイブを書き込めませんでした。") +
                              Error::fromErrno(code).description(),
                          false};
}
