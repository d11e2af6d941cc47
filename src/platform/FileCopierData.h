#pragma once

#include "platform/Error.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <sys/stat.h>

class CopyObserver;

// The bytes of the regular files of one copy: a clone where the file system can,
// else copy_file_range in chunks, else read and write. The holes of a sparse
// source stay holes, as with cp -a.
class FileDataCopier {
public:
    explicit FileDataCopier(CopyObserver& observer)
        : m_observer(observer)
    {
    }

    // `out` is new and empty; `st` describes `in`.
    Result<void> copy(int in, int out, const struct stat& st, const std::filesystem::path& srcPath,
                      const std::filesystem::path& dstPath);

private:
    Result<bool> copyExtents(int in, int out, const struct stat& st,
                             const std::filesystem::path& srcPath,
                             const std::filesystem::path& dstPath);
    Result<off_t> copyRange(int in, int out, off_t from, off_t to,
                            const std::filesystem::path& srcPath,
                            const std::filesystem::path& dstPath);
    Result<void> copyToEnd(int in, int out, const std::filesystem::path& srcPath,
                           const std::filesystem::path& dstPath);
    Result<void> copyByBuffer(int in, int out, int64_t done, const std::filesystem::path& srcPath,
                              const std::filesystem::path& dstPath);
    char* buffer();

    CopyObserver& m_observer;
    std::optional<dev_t> m_cloneFailedFrom; // the source device where FICLONE did not work
    bool m_rangeCopyFailed = false;         // copy_file_range refused these two files
    std::unique_ptr<char[]> m_buffer;
};
