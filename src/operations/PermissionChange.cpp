#include "operations/PermissionChange.h"

#include "core/PathText.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace PermissionChange {

namespace {

constexpr mode_t permissionBits = 07777;
constexpr int listedFailures = 5;

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
        return ::openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    }

    void contentsOf(int fd, const fs::path& path)
    {
        if (fd < 0)
            return fail(errno, path);
        DIR* dir = ::fdopendir(fd);
        if (!dir) {
            fail(errno, path);
            ::close(fd);
            return;
        }
        std::vector<std::string> names;
        errno = 0;
        while (const dirent* entry = ::readdir(dir)) {
            const std::string_view name = entry->d_name;
            if (name != "." && name != "..")
                names.emplace_back(name);
        }
        if (errno != 0)
            fail(errno, path);
        for (const std::string& name : names)
            item(::dirfd(dir), name.c_str(), path / name);
        ::closedir(dir);
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
    for (const fs::path& item : request.items) {
        const fs::path path = PathText::standardized(item);
        walker.item(AT_FDCWD, path.c_str(), path);
    }
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

Alert failureAlert(const std::vector<Error>& failures)
{
    Alert alert;
    alert.style = Alert::Style::warning;
    alert.message =
        QStringLiteral("%1 項目のアクセス権を変更できませんでした。").arg(failures.size());
    QStringList lines;
    for (size_t i = 0; i < failures.size() && i < listedFailures; ++i)
        lines << QStringLiteral("「%1」: %2")
                     .arg(PathText::display(failures[i].path), failures[i].description());
    if (failures.size() > listedFailures)
        lines << QStringLiteral("ほか %1 項目").arg(failures.size() - listedFailures);
    alert.informativeText = lines.join(QLatin1Char('\n'));
    alert.buttons = {QStringLiteral("OK")};
    return alert;
}

} // namespace PermissionChange

namespace {

UndoReport reportOf(const std::vector<PermissionChange::Change>& changes,
                    std::vector<Error> failures)
{
    UndoReport report;
    for (const PermissionChange::Change& change : changes) {
        const fs::path folder = PathText::parent(change.path);
        if (std::find(report.folders.begin(), report.folders.end(), folder) == report.folders.end())
            report.folders.push_back(folder);
    }
    if (!failures.empty())
        report.failures.push_back(PermissionChange::failureAlert(failures));
    return report;
}

} // namespace

PermissionCommand::PermissionCommand(std::vector<PermissionChange::Change> changes, UndoRunner run)
    : FileUndoCommand(QStringLiteral("アクセス権の変更"), std::move(run))
    , m_changes(std::move(changes))
{
}

std::function<UndoReport()> PermissionCommand::undoWork()
{
    return [changes = m_changes] {
        return reportOf(changes, PermissionChange::replay(changes, false));
    };
}

std::function<UndoReport()> PermissionCommand::redoWork()
{
    return [changes = m_changes] {
        return reportOf(changes, PermissionChange::replay(changes, true));
    };
}
