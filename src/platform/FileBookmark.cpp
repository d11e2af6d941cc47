#include "platform/FileBookmark.h"

#include "platform/DirectoryEntries.h"
#include "platform/FileDescriptor.h"

#include <array>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

constexpr char kMagic[4] = {'Q', 'B', 'M', '1'};
constexpr size_t kHeader = sizeof(kMagic) + 2 * sizeof(uint64_t);

void appendNumber(QByteArray& out, uint64_t value)
{
    for (int i = 0; i < 8; ++i)
        out.append(char((value >> (8 * i)) & 0xFF));
}

uint64_t readNumber(const char* bytes)
{
    uint64_t value = 0;
    for (int i = 0; i < 8; ++i)
        value |= uint64_t(uint8_t(bytes[i])) << (8 * i);
    return value;
}

// The name in `folder` whose entry has the inode, by getdents alone (no stat per entry).
std::optional<std::string> nameWithInode(const fs::path& folder, uint64_t inode)
{
    FileDescriptor fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.get() < 0)
        return std::nullopt;
    std::array<char, 32768> buffer;
    std::optional<std::string> found;
    // Inodes are unique per file system; the caller checks the device.
    DirectoryEntries::forEachWithInode(fd.get(), buffer.data(), buffer.size(),
                                       [&](const char* name, unsigned char, uint64_t ino) {
                                           if (ino == inode && !found)
                                               found = name;
                                       });
    return found;
}

} // namespace

std::optional<FileBookmark> FileBookmark::make(const fs::path& path)
{
    struct stat st;
    if (::lstat(path.c_str(), &st) != 0)
        return std::nullopt;
    return FileBookmark{uint64_t(st.st_dev), uint64_t(st.st_ino), path};
}

QByteArray FileBookmark::encoded(const fs::path& impliedPath) const
{
    QByteArray out(kMagic, sizeof(kMagic));
    appendNumber(out, device);
    appendNumber(out, inode);
    if (path != impliedPath)
        out.append(path.native().data(), qsizetype(path.native().size()));
    return out;
}

std::optional<FileBookmark> FileBookmark::decode(const QByteArray& bytes,
                                                 const fs::path& impliedPath)
{
    if (size_t(bytes.size()) < kHeader || std::memcmp(bytes.data(), kMagic, sizeof(kMagic)) != 0)
        return std::nullopt;
    FileBookmark bookmark;
    bookmark.device = readNumber(bytes.data() + sizeof(kMagic));
    bookmark.inode = readNumber(bytes.data() + sizeof(kMagic) + 8);
    bookmark.path =
        size_t(bytes.size()) == kHeader
            ? impliedPath
            : fs::path(std::string(bytes.data() + kHeader, size_t(bytes.size()) - kHeader));
    if (!bookmark.path.is_absolute())
        return std::nullopt;
    return bookmark;
}

bool FileBookmark::matches(const fs::path& candidate) const
{
    struct stat st;
    return ::lstat(candidate.c_str(), &st) == 0 && uint64_t(st.st_dev) == device &&
           uint64_t(st.st_ino) == inode;
}

std::optional<fs::path> FileBookmark::resolve(const std::vector<fs::path>& moreFolders) const
{
    if (matches(path))
        return path;
    std::vector<fs::path> folders{path.parent_path()};
    folders.insert(folders.end(), moreFolders.begin(), moreFolders.end());
    for (const fs::path& folder : folders) {
        if (const auto name = nameWithInode(folder, inode)) {
            const fs::path candidate = folder / *name;
            if (matches(candidate))
                return candidate;
        }
    }
    return std::nullopt;
}
