#pragma once

#include "operations/ArchiveEntryCheck.h"
#include "operations/ArchiveExpandLimits.h"
#include "operations/ZipNameCharset.h"

#include <filesystem>
#include <optional>
#include <string>

class ExtractionTree;
struct archive;
struct archive_entry;

// Reads one archive with libarchive into an extraction tree, entry by entry, with
// the checks that keep a hostile archive from escaping the tree or filling the disk.
class ArchiveUnpacker {
public:
    ArchiveUnpacker(ExtractionTree& tree, TransferProgress& progress,
                    const ArchiveExpandLimits& limits);
    ~ArchiveUnpacker();
    ArchiveUnpacker(const ArchiveUnpacker&) = delete;
    ArchiveUnpacker& operator=(const ArchiveUnpacker&) = delete;

    ArchiveResult<void> unpack(const std::filesystem::path& archive);

private:
    ArchiveResult<void> checkBeforeWriting(const std::filesystem::path& archive);
    ArchiveResult<void> unpackEntry(archive_entry* entry);
    ArchiveResult<void> writeItem(const std::string& path, archive_entry* entry,
                                  const std::string& target);
    ArchiveResult<void> writeData(const std::string& path, archive_entry* entry, bool existing);
    ArchiveResult<void> checkGrowth(archive_entry* entry, int64_t produced, int64_t end,
                                    int64_t consumed) const;
    ArchiveFailure readFailure() const;
    std::string decoded(const char* name);
    int64_t advance();

    ExtractionTree& m_tree;
    TransferProgress& m_progress;
    const ArchiveExpandLimits& m_limits;
    archive* m_reader = nullptr;
    bool m_opened = false;
    ArchiveEntryCheck m_check;
    std::optional<ZipNameCharset> m_charset; // for zips with names in a legacy code page
    std::optional<int64_t> m_budget;         // bytes that may be written; nullopt: unknown
    int64_t m_written = 0;                   // by finished files, in whole blocks
    double m_ratio = 1;
    int64_t m_lastPosition = 0;
};
