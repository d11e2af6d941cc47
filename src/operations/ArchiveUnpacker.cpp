#include "operations/ArchiveUnpacker.h"

#include "core/PathText.h"
#include "operations/TransferProgress.h"
#include "operations/ZipCentralDirectory.h"
#include "platform/ExtractionTree.h"

#include <algorithm>
#include <archive.h>
#include <archive_entry.h>
#include <cerrno>

namespace fs = std::filesystem;

namespace {

constexpr size_t kReadBlock = size_t(1) << 20;
constexpr int64_t kBlock = 4096;

// The largest output per input byte each compression can produce (measured on
// zeros, the best case, and rounded up): a valid stream never exceeds it.
constexpr double kDeflate = 1032, kLz4 = 260, kLzw = 33'000, kLzma = 10'000, kZstd = 33'000;
constexpr double kBzip2 = 1'200'000, kUnknown = 1'200'000;

ArchiveFailure failure(const char* text)
{
    return ArchiveFailure{QString::fromUtf8(text)};
}

ArchiveFailure corrupt()
{
    return failure("アーカイブが壊れているか、対応していない形式です。");
}

ArchiveFailure unsafe(std::string_view name)
{
    return ArchiveFailure{QStringLiteral("安全でない項目が含まれています: ") +
                          QString::fromUtf8(PathText::escapedName(name))};
}

ArchiveFailure oversized()
{
    return failure("展開後のサイズが異常に大きいため中止しました。");
}

ArchiveFailure noSpace()
{
    return failure("展開先の空き容量が足りません。");
}

ArchiveFailure encrypted()
{
    return failure("パスワードで保護されたアーカイブは展開できません。");
}

ArchiveFailure fromError(const Error& error)
{
    if (error.code == ENOSPC || error.code == EDQUOT)
        return noSpace();
    return ArchiveFailure{error.description()};
}

int64_t roundedUp(int64_t bytes)
{
    return (bytes + kBlock - 1) / kBlock * kBlock;
}

double zipMethodRatio(uint16_t method)
{
    switch (method) {
    case 0:
        return 1;
    case 8:
        return kDeflate;
    case 12:
        return kBzip2;
    case 14:
    case 95:
        return kLzma;
    case 93:
        return kZstd;
    default:
        return kUnknown;
    }
}

double filterRatio(int code)
{
    switch (code) {
    case ARCHIVE_FILTER_NONE:
        return 1;
    case ARCHIVE_FILTER_GZIP:
        return kDeflate;
    case ARCHIVE_FILTER_BZIP2:
        return kBzip2;
    case ARCHIVE_FILTER_COMPRESS:
        return kLzw;
    case ARCHIVE_FILTER_LZMA:
    case ARCHIVE_FILTER_XZ:
    case ARCHIVE_FILTER_LZIP:
        return kLzma;
    case ARCHIVE_FILTER_ZSTD:
        return kZstd;
    case ARCHIVE_FILTER_LZ4:
        return kLz4;
    default:
        return kUnknown;
    }
}

// How far the archive's contents may outgrow the bytes read for them.
double allowedRatio(archive* reader, const std::vector<uint16_t>& zipMethods)
{
    double ratio = kUnknown;
    switch (archive_format(reader) & ARCHIVE_FORMAT_BASE_MASK) {
    case ARCHIVE_FORMAT_ZIP:
        ratio = 1;
        for (const uint16_t method : zipMethods)
            ratio = std::max(ratio, zipMethodRatio(method));
        if (zipMethods.empty()) // read front to back: any method may follow
            ratio = kUnknown;
        break;
    case ARCHIVE_FORMAT_TAR:
    case ARCHIVE_FORMAT_CPIO:
    case ARCHIVE_FORMAT_ISO9660:
    case ARCHIVE_FORMAT_AR:
    case ARCHIVE_FORMAT_EMPTY:
        ratio = 1;
        break;
    }
    for (int i = 0; i < archive_filter_count(reader); ++i)
        ratio *= filterRatio(archive_filter_code(reader, i));
    return ratio;
}

// Formats and filters that read in-process only: no mtree (it opens the files it
// names), no filters that run external programs.
archive* newReader()
{
    archive* reader = archive_read_new();
    for (const auto support :
         {archive_read_support_format_zip,     archive_read_support_format_tar,
          archive_read_support_format_cpio,    archive_read_support_format_7zip,
          archive_read_support_format_rar,     archive_read_support_format_rar5,
          archive_read_support_format_iso9660, archive_read_support_format_cab,
          archive_read_support_format_lha,     archive_read_support_format_xar,
          archive_read_support_format_ar,      archive_read_support_format_empty,
          archive_read_support_filter_gzip,    archive_read_support_filter_bzip2,
          archive_read_support_filter_xz,      archive_read_support_filter_lzma,
          archive_read_support_filter_lzip,    archive_read_support_filter_zstd,
          archive_read_support_filter_lz4,     archive_read_support_filter_compress})
        support(reader);
    return reader;
}

ExtractionTree::Stamp modificationTime(archive_entry* entry)
{
    if (!archive_entry_mtime_is_set(entry))
        return {};
    return {true, int64_t(archive_entry_mtime(entry)), archive_entry_mtime_nsec(entry)};
}

// Owners, set-id bits and the sticky bit are never restored.
mode_t permissions(archive_entry* entry)
{
    return archive_entry_perm(entry) & 0777;
}

} // namespace

ArchiveUnpacker::ArchiveUnpacker(ExtractionTree& tree, TransferProgress& progress,
                                 const ArchiveExpandLimits& limits)
    : m_tree(tree)
    , m_progress(progress)
    , m_limits(limits)
{
}

ArchiveUnpacker::~ArchiveUnpacker()
{
    if (m_reader)
        archive_read_free(m_reader);
}

ArchiveResult<void> ArchiveUnpacker::unpack(const fs::path& archive)
{
    m_reader = newReader();
    if (archive_read_open_filename(m_reader, archive.c_str(), kReadBlock) != ARCHIVE_OK)
        return std::unexpected(readFailure());
    m_opened = true;
    for (bool first = true;; first = false) {
        if (m_progress.isCancelled())
            return std::unexpected(ArchiveFailure{{}, true});
        archive_entry* entry = nullptr;
        const int status = archive_read_next_header(m_reader, &entry);
        if (status == ARCHIVE_EOF)
            return {};
        if (status < ARCHIVE_WARN)
            return std::unexpected(readFailure());
        if (first) {
            if (auto checked = checkBeforeWriting(archive); !checked)
                return checked;
        }
        if (auto done = unpackEntry(entry); !done)
            return done;
    }
}

// With the format known and nothing written yet: the zip directory's verdict, the
// code page of old names, the ratio allowed and the space the declared sizes need.
ArchiveResult<void> ArchiveUnpacker::checkBeforeWriting(const fs::path& archive)
{
    int64_t declared = 0;
    std::vector<uint16_t> methods;
    if ((archive_format(m_reader) & ARCHIVE_FORMAT_BASE_MASK) == ARCHIVE_FORMAT_ZIP) {
        const auto directory = ZipCentralDirectory::read(archive);
        if (!directory)
            return std::unexpected(fromError(directory.error()));
        using Status = ZipCentralDirectory::Status;
        if (directory->status == Status::damaged)
            return std::unexpected(corrupt());
        if (directory->status == Status::overlapping)
            return std::unexpected(failure("項目のデータが重なり合う不正なアーカイブです。"));
        if (directory->nameWithNul)
            return std::unexpected(unsafe(*directory->nameWithNul));
        if (directory->encrypted)
            return std::unexpected(encrypted());
        declared = directory->declaredBytes;
        methods = directory->methods;
        if (!directory->legacyNames.empty())
            m_charset.emplace(ZipNameCharset::chooseFor(directory->legacyNames));
    }
    m_ratio = m_limits.ratio.value_or(allowedRatio(m_reader, methods));
    if (const auto available = m_limits.freeSpace(m_tree.path())) {
        // Keep a little room for the file system's own bookkeeping.
        m_budget = *available - std::min(*available / 50, int64_t(64) << 20);
        if (declared > *m_budget)
            return std::unexpected(noSpace());
    }
    return {};
}

std::string ArchiveUnpacker::decoded(const char* name)
{
    if (m_charset && !PathText::isValidUtf8(name)) {
        if (auto text = m_charset->decode(name))
            return std::move(*text);
    }
    return name;
}

ArchiveResult<void> ArchiveUnpacker::unpackEntry(archive_entry* entry)
{
    const char* rawName = archive_entry_pathname(entry);
    if (!rawName)
        return std::unexpected(corrupt());
    const std::string name = decoded(rawName);
    const char* hardLink = archive_entry_hardlink(entry);
    const mode_t type = archive_entry_filetype(entry);
    const auto path = ArchiveEntryCheck::relativePath(name, type == AE_IFDIR && !hardLink);
    if (!path || !m_check.admitsPath(*path))
        return std::unexpected(unsafe(name));
    if (path->empty()) // the folder itself ("./")
        return {};
    if (archive_entry_is_encrypted(entry))
        return std::unexpected(encrypted());
    std::string target;
    if (hardLink) {
        const auto linked = ArchiveEntryCheck::relativePath(decoded(hardLink), false);
        if (!linked || !m_check.admitsHardLinkTo(*linked))
            return std::unexpected(unsafe(name));
        target = *linked;
    } else if (type == AE_IFLNK) {
        const char* linkTarget = archive_entry_symlink(entry);
        if (!linkTarget)
            return std::unexpected(corrupt());
        target = decoded(linkTarget);
        if (!m_check.admitsSymbolicLink(*path, target))
            return std::unexpected(unsafe(name));
    } else if (type != AE_IFREG && type != AE_IFDIR) {
        return std::unexpected(ArchiveFailure{
            QStringLiteral("展開できない種類の項目（デバイスなど）が含まれています: ") +
            QString::fromUtf8(PathText::escapedName(name))});
    }
    m_progress.fileStarted(PathText::displayName(fs::path(*path)));
    auto written = writeItem(*path, entry, target);
    m_progress.fileFinished();
    return written;
}

ArchiveResult<void> ArchiveUnpacker::writeItem(const std::string& path, archive_entry* entry,
                                               const std::string& target)
{
    Result<void> made;
    if (archive_entry_hardlink(entry)) {
        made = m_tree.makeHardLink(path, target);
        if (!made && made.error().code == ENOENT) // names nothing this archive made
            return std::unexpected(corrupt());
        // Formats such as cpio carry a linked file's data with its last link.
        if (made && archive_entry_size_is_set(entry) && archive_entry_size(entry) > 0)
            return writeData(path, entry, true);
    } else if (archive_entry_filetype(entry) == AE_IFLNK) {
        made = m_tree.makeSymbolicLink(path, target, modificationTime(entry));
    } else if (archive_entry_filetype(entry) == AE_IFDIR) {
        made = m_tree.makeFolder(path, permissions(entry), modificationTime(entry));
    } else {
        return writeData(path, entry, false);
    }
    if (!made)
        return std::unexpected(fromError(made.error()));
    return {};
}

// Bytes newly read from the archive file since the last call. Seeking formats
// (zip, 7z) read their index at the end first, so only forward movement counts.
int64_t ArchiveUnpacker::advance()
{
    const int64_t position = archive_filter_bytes(m_reader, -1);
    const int64_t forward = std::max<int64_t>(0, position - m_lastPosition);
    m_lastPosition = position;
    return forward;
}

ArchiveResult<void> ArchiveUnpacker::writeData(const std::string& path, archive_entry* entry,
                                               bool existing)
{
    if (auto started = m_tree.startFile(path, existing); !started)
        return std::unexpected(fromError(started.error()));
    int64_t produced = 0, consumed = 0, end = 0;
    while (true) {
        const void* block = nullptr;
        size_t size = 0;
        la_int64_t offset = 0;
        const int status = archive_read_data_block(m_reader, &block, &size, &offset);
        if (status == ARCHIVE_EOF)
            break;
        if (status != ARCHIVE_OK) // a warning here is a bad checksum: the bytes are wrong
            return std::unexpected(readFailure());
        if (m_progress.isCancelled())
            return std::unexpected(ArchiveFailure{{}, true});
        consumed += advance();
        produced += int64_t(size);
        end = std::max(end, int64_t(offset) + int64_t(size));
        if (auto fits = checkGrowth(entry, produced, end, consumed); !fits)
            return fits;
        if (auto wrote = m_tree.write({static_cast<const char*>(block), size}, offset); !wrote)
            return std::unexpected(fromError(wrote.error()));
        m_progress.setCurrentFileBytes(consumed);
    }
    const int64_t size = archive_entry_size_is_set(entry) ? archive_entry_size(entry) : end;
    if (auto finished = m_tree.finishFile(size, permissions(entry), modificationTime(entry));
        !finished)
        return std::unexpected(fromError(finished.error()));
    m_written += roundedUp(end);
    m_progress.setCurrentFileBytes(consumed);
    return {};
}

// Stops an entry that outgrows its declared size, the ratio its compression allows,
// or the free space of the destination.
ArchiveResult<void> ArchiveUnpacker::checkGrowth(archive_entry* entry, int64_t produced,
                                                 int64_t end, int64_t consumed) const
{
    if (archive_entry_size_is_set(entry) && end > archive_entry_size(entry))
        return std::unexpected(oversized());
    if (double(produced) > double(consumed) * m_ratio + double(m_limits.entryAllowance))
        return std::unexpected(oversized());
    if (m_budget && m_written + roundedUp(end) > *m_budget)
        return std::unexpected(noSpace());
    return {};
}

ArchiveFailure ArchiveUnpacker::readFailure() const
{
    // Before a successful open the reader has no format to ask.
    if (m_opened && archive_read_has_encrypted_entries(m_reader) > 0)
        return encrypted();
    switch (const int code = archive_errno(m_reader)) {
    case EACCES:
    case EPERM:
    case ENOENT:
    case EIO:
    case EISDIR:
    case ENOMEM:
        return fromError(Error::fromErrno(code));
    default:
        return corrupt();
    }
}
