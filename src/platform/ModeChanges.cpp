#include "platform/ModeChanges.h"

#include "platform/FileCopierSupport.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace ModeChanges {

namespace {

constexpr mode_t permissionBits = 07777;

// fchmodat with AT_SYMLINK_NOFOLLOW goes through an O_PATH descriptor in glibc, so a
// link that took the item's place meanwhile is refused instead of followed.
int setMode(int folder, const char* name, mode_t mode)
{
    return ::fchmodat(folder, name, mode, AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
}

class Walker {
public:
    Walker(const Request& request, Outcome& out)
        : m_request(request)
        , m_out(out)
    {
    }

    void item(int folder, const char* name, const fs::path& path)
    {
        struct stat st {};
        if (::fstatat(folder, name, &st, AT_SYMLINK_NOFOLLOW) != 0)
            return fail(errno, path);
        if (S_ISLNK(st.st_mode))
            return;
        const bool isFolder = S_ISDIR(st.st_mode);
        const mode_t mask = isFolder ? m_request.folderMask : m_request.fileMask;
        const mode_t old = st.st_mode & permissionBits;
        const Change change{path, old,
                            static_cast<mode_t>((old & ~mask) | (m_request.value & mask))};
        if (!isFolder || !m_request.recursive) {
            set(folder, name, change);
            return;
        }
        int fd = open(folder, name);
        // A folder we may not read yet may become readable by the change itself.
        if (fd < 0 && errno == EACCES) {
            if (set(folder, name, change))
                contentsOf(open(folder, name), path);
            return;
        }
        contentsOf(fd, path);
        set(folder, name, change);
    }

private:
    static int open(int folder, const char* name)
    {
        return FileCopierSupport::openAt(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    }

    void contentsOf(int descriptor, const fs::path& path)
    {
        if (descriptor < 0)
            return fail(errno, path);
        const FileDescriptor folder(descriptor);
        const auto names = FileCopierSupport::readNames(folder.get());
        if (!names)
            return fail(errno, path);
        for (const std::string& name : *names)
            item(folder.get(), name.c_str(), path / name);
    }

    // False when the item could not be changed (and is reported).
    bool set(int folder, const char* name, const Change& change)
    {
        if (change.oldMode == change.newMode)
            return true;
        if (const int code = setMode(folder, name, change.newMode)) {
            fail(code, change.path);
            return false;
        }
        m_out.changed.push_back(change);
        return true;
    }

    void fail(int code, const fs::path& path)
    {
        m_out.failures.push_back(Error::fromErrno(code, path));
    }

    const Request& m_request;
    Outcome& m_out;
};

} // namespace

Outcome apply(const Request& request)
{
    Outcome out;
    Walker walker(request, out);
    for (const fs::path& item : request.items)
        walker.item(AT_FDCWD, item.c_str(), item);
    return out;
}

std::vector<Error> replay(const std::vector<Change>& changes, bool forward)
{
    std::vector<Error> failures;
    const auto one = [&](const Change& change) {
        const mode_t mode = forward ? change.newMode : change.oldMode;
        if (const int code = setMode(AT_FDCWD, change.path.c_str(), mode))
            failures.push_back(Error::fromErrno(code, change.path));
    };
    if (forward) {
        for (const Change& change : changes)
            one(change);
    } else {
        for (auto it = changes.rbegin(); it != changes.rend(); ++it)
            one(*it);
    }
    return failures;
}

} // namespace ModeChanges
