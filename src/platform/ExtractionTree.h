#pragma once

#include "platform/Error.h"
#include "platform/FileDescriptor.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

// A fresh folder that an archive is expanded into. Everything is made through
// descriptors opened below the folder with O_NOFOLLOW, one component at a time, so
// no name, link or concurrent change can place anything outside it. Relative paths
// are '/'-separated and already checked: no empty, "." or ".." component.
class ExtractionTree {
public:
    struct Stamp {
        bool set = false;
        int64_t seconds = 0;
        long nanoseconds = 0;
    };

    // Makes the folder (mkdir; it must not exist), mode 0700 while it fills.
    static Result<ExtractionTree> create(const std::filesystem::path& folder);
    ExtractionTree(ExtractionTree&&) noexcept = default;
    ExtractionTree& operator=(ExtractionTree&&) noexcept = default;

    const std::filesystem::path& path() const { return m_path; }

    // Its mode and time are applied by finish(), after its contents.
    Result<void> makeFolder(std::string_view relative, mode_t mode, Stamp modified);
    // A new regular file to write, replacing anything but a folder of that name; or,
    // with `existing`, the file already there (a hard link whose data comes later).
    Result<void> startFile(std::string_view relative, bool existing = false);
    Result<void> write(std::string_view data, int64_t offset);
    // Extends the file to `size` (a sparse tail), then sets its mode and time.
    Result<void> finishFile(int64_t size, mode_t mode, Stamp modified);
    Result<void> makeSymbolicLink(std::string_view relative, std::string_view target,
                                  Stamp modified);
    Result<void> makeHardLink(std::string_view relative, std::string_view existing);

    // Modes and times of the folders made, deepest first.
    Result<void> finish();
    // The folder itself to the mode a new folder gets (0755 less the umask).
    Result<void> openToOthers();
    // Renames the top-level item `name` to `destination` without replacing anything
    // (EEXIST when taken).
    Result<void> moveOut(std::string_view name, const std::filesystem::path& destination);

private:
    struct FolderStamp {
        std::string relative;
        mode_t mode;
        Stamp modified;
    };

    ExtractionTree(std::filesystem::path path, FileDescriptor root)
        : m_path(std::move(path))
        , m_root(std::move(root))
    {
    }
    std::unexpected<Error> failure(std::string_view relative, int code) const;
    Result<FileDescriptor> openFolder(std::string_view relative, bool create) const;
    Result<int> parentFolder(std::string_view relative, std::string_view& leaf);

    std::filesystem::path m_path;
    FileDescriptor m_root;
    std::string m_cachedFolder; // the parent used last, kept open: entries come grouped
    FileDescriptor m_cachedFd;
    FileDescriptor m_file;
    std::string m_fileName;
    int64_t m_fileEnd = 0;
    std::vector<FolderStamp> m_folders;
};
