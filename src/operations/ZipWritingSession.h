#pragma once

#include "operations/ArchiveFailure.h"

#include <filesystem>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

struct archive;
struct archive_entry;
struct ScannedItem;
class FileReader;
class TransferProgress;

// One zip archive being written by libarchive to an open descriptor: items are added
// with everything below them (folders as folder entries, links as links, regular
// files read and written in blocks), then the archive is closed. A file whose first
// block looks like random bytes is stored rather than deflated, since deflating it
// costs time and saves nothing.
class ZipWritingSession {
public:
    // `fd` stays the caller's; the session only writes to it.
    static ArchiveResult<std::unique_ptr<ZipWritingSession>> open(int fd,
                                                                  TransferProgress& progress);
    ~ZipWritingSession();
    ZipWritingSession(const ZipWritingSession&) = delete;
    ZipWritingSession& operator=(const ZipWritingSession&) = delete;

    // `item` becomes a top-level entry under its own name.
    ArchiveResult<void> add(const std::filesystem::path& item);
    // Writes the central directory; the archive is then complete.
    ArchiveResult<void> close();

private:
    ZipWritingSession(int fd, TransferProgress& progress);

    ArchiveResult<void> addEntry(const std::filesystem::path& path, const std::string& entryName,
                                 const ScannedItem& item);
    ArchiveResult<void> addFolder(const std::filesystem::path& path, const std::string& entryName,
                                  const ScannedItem& item);
    ArchiveResult<void> addLink(const std::filesystem::path& path, const std::string& entryName,
                                const ScannedItem& item);
    ArchiveResult<void> addFile(const std::filesystem::path& path, const std::string& entryName,
                                const ScannedItem& item);
    ArchiveResult<void> copyData(const std::filesystem::path& path, FileReader& reader,
                                 size_t firstBlock);
    void describe(const std::string& entryName, const ScannedItem& item);
    ArchiveResult<void> writeHeader(const std::string& entryName);
    void setStored(bool stored);
    ArchiveFailure writeFailure() const;
    static ssize_t writeOut(archive* writer, void* session, const void* bytes, size_t length);

    archive* m_writer = nullptr;
    archive_entry* m_entry = nullptr;
    int m_fd;
    int m_writeError = 0; // errno of the last failed write to m_fd
    bool m_stored = false;
    TransferProgress& m_progress;
    std::vector<char> m_buffer;
};
