// The freedesktop.org Trash specification, applied the way GIO applies it: the home
// trash for the home file system, a per-volume trash directory elsewhere, and never a
// copy to another device in the name of trashing.
#include "platform/Trash.h"

#include "platform/FileDescriptor.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kInfoSuffix = ".trashinfo";
// files/NAME and info/NAME.trashinfo must both fit in one name.
constexpr size_t kMaxTrashName = NAME_MAX - kInfoSuffix.size();

using Fd = FileDescriptor;

// Who may use a folder as (part of) a trash directory.
enum class Access {
    ownedByUs,   // ours, not writable by others (the home trash, files/, info/)
    privateToUs, // ours and closed to everybody else (.Trash/$uid, .Trash-$uid)
};

struct TrashDir {
    fs::path root;
    fs::path topdir; // empty for the home trash: its Path keys are absolute
    Fd files;
    Fd info;
};

std::unexpected<Error> failure(int code, const fs::path& path)
{
    return std::unexpected(Error::fromErrno(code, path));
}

// Opens (and, when asked, first makes with mode 0700) a folder below `parent` that must
// be a real folder, not a link, belonging to us.
Result<Fd> openTrashFolder(int parent, const char* name, bool create, Access access)
{
    bool made = false;
    if (create) {
        if (::mkdirat(parent, name, 0700) == 0)
            made = true;
        else if (errno != EEXIST)
            return failure(errno, name);
    }
    Fd fd(::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (fd.get() < 0)
        return failure(errno, name);
    if (made)
        ::fchmod(fd.get(), 0700); // the umask may have taken the owner's bits
    struct stat st;
    if (::fstat(fd.get(), &st) != 0)
        return failure(errno, name);
    const mode_t forbidden = access == Access::privateToUs ? 0077 : 0022;
    if (st.st_uid != ::getuid() || (st.st_mode & forbidden) != 0)
        return failure(EPERM, name);
    return fd;
}

// Fills in files/ and info/ of a trash directory whose root is open.
Result<void> openParts(TrashDir& trash, int root)
{
    auto files = openTrashFolder(root, "files", true, Access::ownedByUs);
    if (!files)
        return std::unexpected(files.error());
    auto info = openTrashFolder(root, "info", true, Access::ownedByUs);
    if (!info)
        return std::unexpected(info.error());
    trash.files = std::move(*files);
    trash.info = std::move(*info);
    return {};
}

fs::path dataHome()
{
    const char* xdg = std::getenv("XDG_DATA_HOME");
    if (xdg && *xdg == '/')
        return fs::path(xdg);
    const char* home = std::getenv("HOME");
    return fs::path(home && *home ? home : "/") / ".local" / "share";
}

// Makes the missing folders of `path` with mode 0700, like `mkdir -p`.
bool makeFolders(const fs::path& path)
{
    if (::mkdir(path.c_str(), 0700) == 0 || errno == EEXIST)
        return true;
    if (errno != ENOENT || path == path.parent_path())
        return false;
    return makeFolders(path.parent_path()) && (::mkdir(path.c_str(), 0700) == 0 || errno == EEXIST);
}

// The device of the home trash, or of its nearest existing ancestor before it is made.
std::optional<dev_t> homeTrashDevice(const fs::path& trash)
{
    for (fs::path p = trash;; p = p.parent_path()) {
        struct stat st;
        if (::stat(p.c_str(), &st) == 0)
            return st.st_dev;
        if (errno != ENOENT || p == p.parent_path())
            return std::nullopt;
    }
}

Result<TrashDir> homeTrash()
{
    TrashDir trash;
    const fs::path data = dataHome();
    trash.root = data / "Trash";
    if (!makeFolders(data))
        return failure(errno, data);
    Fd parent(::open(data.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (parent.get() < 0)
        return failure(errno, data);
    auto root = openTrashFolder(parent.get(), "Trash", true, Access::ownedByUs);
    if (!root)
        return std::unexpected(root.error());
    if (auto parts = openParts(trash, root->get()); !parts)
        return std::unexpected(parts.error());
    return trash;
}

// The mount point holding `folder` (a physical path): the highest ancestor on its device.
fs::path topdirOf(const fs::path& folder, dev_t device)
{
    fs::path top = folder;
    while (top != top.parent_path()) {
        struct stat st;
        if (::stat(top.parent_path().c_str(), &st) != 0 || st.st_dev != device)
            break;
        top = top.parent_path();
    }
    return top;
}

// $topdir/.Trash/$uid, used only when the administrator's .Trash is a real folder
// with the sticky bit; then our own $topdir/.Trash-$uid.
Result<TrashDir> volumeTrash(const fs::path& topdir)
{
    Fd top(::open(topdir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (top.get() < 0)
        return failure(errno, topdir);
    const std::string uid = std::to_string(::getuid());
    TrashDir trash;
    trash.topdir = topdir;
    Fd shared(::openat(top.get(), ".Trash", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat st;
    if (shared.get() >= 0 && ::fstat(shared.get(), &st) == 0 && (st.st_mode & S_ISVTX)) {
        auto root = openTrashFolder(shared.get(), uid.c_str(), true, Access::privateToUs);
        if (root && openParts(trash, root->get())) {
            trash.root = topdir / ".Trash" / uid;
            return trash;
        }
    }
    const std::string own = ".Trash-" + uid;
    auto root = openTrashFolder(top.get(), own.c_str(), true, Access::privateToUs);
    if (!root)
        return std::unexpected(root.error());
    if (auto parts = openParts(trash, root->get()); !parts)
        return std::unexpected(parts.error());
    trash.root = topdir / own;
    return trash;
}

// The trash directory for an item on `device` whose folder is `folder`, or why none.
Result<TrashDir> trashFor(const fs::path& folder, dev_t device)
{
    const fs::path home = dataHome() / "Trash";
    if (homeTrashDevice(home) == device)
        return homeTrash();
    char* resolved = ::realpath(folder.c_str(), nullptr);
    if (!resolved)
        return failure(errno, folder);
    const fs::path physical(resolved);
    std::free(resolved);
    return volumeTrash(topdirOf(physical, device));
}

// Percent-encoding of the raw bytes: unreserved characters and "/" stay, the rest %XX.
std::string percentEncoded(std::string_view bytes)
{
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(bytes.size());
    for (const char ch : bytes) {
        const auto c = static_cast<unsigned char>(ch);
        const bool keep = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                          (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.' || c == '~' ||
                          c == '/';
        if (keep) {
            out += ch;
        } else {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 0xF];
        }
    }
    return out;
}

std::string deletionDate()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    char text[32];
    const size_t n = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &local);
    return std::string(text, n);
}

// Bytes cut to at most `limit` without splitting a UTF-8 sequence.
std::string_view truncated(std::string_view bytes, size_t limit)
{
    if (bytes.size() <= limit)
        return bytes;
    size_t end = limit;
    while (end > 0 && (static_cast<unsigned char>(bytes[end]) & 0xC0) == 0x80)
        --end;
    return bytes.substr(0, end);
}

// The n-th name to try in the trash: NAME, then NAME.2.ext, NAME.3.ext … (the extension
// stays last so the trash still shows the right kind), shortened to fit beside ".trashinfo".
std::string trashName(std::string_view name, unsigned n)
{
    size_t dot = name.rfind('.');
    if (dot == 0 || dot == std::string_view::npos || dot + 1 == name.size() ||
        name.size() - dot > 32)
        dot = name.size();
    const std::string_view base = name.substr(0, dot);
    const std::string_view ext = name.substr(dot);
    const std::string counter = n > 1 ? "." + std::to_string(n) : std::string();
    const size_t room = kMaxTrashName - std::min(kMaxTrashName, ext.size() + counter.size());
    std::string out(truncated(base, room));
    if (out.empty())
        out = "item";
    return out + counter + std::string(ext);
}

// Writes info/NAME.trashinfo with O_EXCL and syncs it. 0, EEXIST when the name is
// taken, or another errno.
int writeInfo(const TrashDir& trash, const std::string& name, const std::string& contents)
{
    const std::string file = name + std::string(kInfoSuffix);
    Fd fd(::openat(trash.info.get(), file.c_str(),
                   O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (fd.get() < 0)
        return errno;
    int error = writeAll(fd.get(), contents);
    if (error == 0 && ::fsync(fd.get()) != 0)
        error = errno;
    if (error != 0)
        ::unlinkat(trash.info.get(), file.c_str(), 0);
    return error;
}

// renameat2 with RENAME_NOREPLACE; where the file system cannot do that, a checked rename.
int renameNoReplace(int fromDir, const char* from, int toDir, const char* to)
{
    if (::renameat2(fromDir, from, toDir, to, RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL)
        return errno;
    struct stat st;
    if (::fstatat(toDir, to, &st, AT_SYMLINK_NOFOLLOW) == 0)
        return EEXIST;
    return ::renameat(fromDir, from, toDir, to) == 0 ? 0 : errno;
}

// The item as an absolute, lexically clean path. The last component must name the item
// itself: "", ".", ".." and "/" would otherwise normalize to a folder around it.
std::optional<fs::path> absoluteItem(const fs::path& path)
{
    std::string text = path.native();
    while (text.size() > 1 && text.back() == '/')
        text.pop_back();
    const std::string_view name = std::string_view(text).substr(text.rfind('/') + 1);
    if (name.empty() || name == "." || name == "..")
        return std::nullopt;
    fs::path item(std::move(text));
    if (item.is_relative()) {
        char* cwd = ::getcwd(nullptr, 0);
        if (!cwd)
            return std::nullopt;
        item = fs::path(cwd) / item;
        std::free(cwd);
    }
    return item.lexically_normal();
}

std::string infoContents(const TrashDir& trash, const fs::path& item)
{
    std::string original = item.native();
    if (!trash.topdir.empty()) {
        // Relative to the volume, from the physical folder the topdir was found from.
        char* resolved = ::realpath(item.parent_path().c_str(), nullptr);
        const fs::path folder = resolved ? fs::path(resolved) : item.parent_path();
        std::free(resolved);
        original = (folder / item.filename()).lexically_relative(trash.topdir).native();
    }
    return "[Trash Info]\nPath=" + percentEncoded(original) + "\nDeletionDate=" + deletionDate() +
           "\n";
}

// A mount point field of /proc/self/mountinfo, with its octal escapes (\040 ...) undone.
std::string unescapedMountField(std::string_view field)
{
    std::string out;
    for (size_t i = 0; i < field.size(); ++i) {
        const auto octal = [&](size_t k) { return field[k] >= '0' && field[k] <= '7'; };
        if (field[i] == '\\' && i + 3 < field.size() && octal(i + 1) && octal(i + 2) &&
            octal(i + 3)) {
            out += static_cast<char>((field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 +
                                     (field[i + 3] - '0'));
            i += 3;
        } else {
            out += field[i];
        }
    }
    return out;
}

bool listedAsMountPoint(const fs::path& physical)
{
    FILE* table = std::fopen("/proc/self/mountinfo", "re");
    if (!table)
        return false;
    char* line = nullptr;
    size_t capacity = 0;
    bool found = false;
    while (!found && ::getline(&line, &capacity, table) > 0) {
        // ID PARENT MAJ:MIN ROOT MOUNTPOINT ...
        std::string_view rest(line);
        for (int field = 0; field < 4 && !rest.empty(); ++field)
            rest.remove_prefix(std::min(rest.size(), rest.find(' ') + 1));
        found = unescapedMountField(rest.substr(0, rest.find(' '))) == physical.native();
    }
    std::free(line);
    std::fclose(table);
    return found;
}

// A mount point cannot leave its place, and its own trash would lie inside it: it is
// refused before any trash folder is made on the file system around it.
bool isMountPoint(const fs::path& item, const struct stat& st)
{
    struct stat parent;
    if (::stat(item.parent_path().c_str(), &parent) == 0 && parent.st_dev != st.st_dev)
        return true;
    char* resolved = ::realpath(item.parent_path().c_str(), nullptr);
    if (!resolved)
        return false;
    const fs::path physical = fs::path(resolved) / item.filename();
    std::free(resolved);
    return listedAsMountPoint(physical);
}

// Error codes that mean this volume has no trash we may use.
bool meansNoTrash(int code)
{
    return code == EROFS || code == EXDEV;
}

} // namespace

namespace Trash {

Result<TrashedItem> moveToTrash(const fs::path& path)
{
    const auto item = absoluteItem(path);
    if (!item)
        return failure(EINVAL, path);
    struct stat st;
    if (::lstat(item->c_str(), &st) != 0)
        return failure(errno, path);
    if (isMountPoint(*item, st))
        return failure(kMountPoint, path);
    auto trash = trashFor(item->parent_path(), st.st_dev);
    if (!trash)
        return failure(kNoTrash, path);
    const std::string contents = infoContents(*trash, *item);
    const std::string name = item->filename().native();
    constexpr unsigned kAttempts = 1u << 20;
    for (unsigned n = 1; n <= kAttempts; ++n) {
        const std::string candidate = trashName(name, n);
        struct stat taken;
        if (::fstatat(trash->files.get(), candidate.c_str(), &taken, AT_SYMLINK_NOFOLLOW) == 0)
            continue;
        if (const int error = writeInfo(*trash, candidate, contents); error == EEXIST)
            continue;
        else if (error != 0)
            return failure(meansNoTrash(error) ? kNoTrash : error, path);
        const int moved =
            renameNoReplace(AT_FDCWD, item->c_str(), trash->files.get(), candidate.c_str());
        if (moved != 0) {
            const std::string info = candidate + std::string(kInfoSuffix);
            ::unlinkat(trash->info.get(), info.c_str(), 0);
            if (moved == EEXIST)
                continue;
            return failure(meansNoTrash(moved) ? kNoTrash : moved, path);
        }
        return TrashedItem{*item, trash->root / "files" / candidate,
                           trash->root / "info" / (candidate + std::string(kInfoSuffix))};
    }
    return failure(EEXIST, path);
}

Result<void> restore(const TrashedItem& item)
{
    // Only ever remove the info file that belongs to the trashed item.
    if (item.info.filename().native() !=
        item.trashed.filename().native() + std::string(kInfoSuffix))
        return failure(EINVAL, item.info);
    // A plain rename cannot leave the volume: EXDEV comes back instead of a copy.
    if (const int error =
            renameNoReplace(AT_FDCWD, item.trashed.c_str(), AT_FDCWD, item.original.c_str()))
        return failure(error, error == EEXIST ? item.original : item.trashed);
    // The item is back; a leftover info file without its item is ignored by every reader.
    ::unlink(item.info.c_str());
    return {};
}

} // namespace Trash
