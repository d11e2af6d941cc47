#include "platform/SymbolicLinkRetarget.h"

#include "platform/FileCopier.h"
#include "platform/ItemStatus.h"

#include <cerrno>
#include <random>
#include <string>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

fs::path freshNameBeside(const fs::path& link)
{
    thread_local std::mt19937_64 generator{std::random_device{}()};
    const std::string& text = link.native();
    const auto slash = text.rfind('/');
    const fs::path parent = slash == std::string::npos ? fs::path(".")
                            : slash == 0               ? fs::path("/")
                                                       : fs::path(text.substr(0, slash));
    return parent / (".quillo-link-" + std::to_string(generator()));
}

} // namespace

Result<fs::path> retargetSymbolicLink(const fs::path& link, const fs::path& target)
{
    const auto status = ItemStatus::of(link);
    if (!status)
        return std::unexpected(Error::fromErrno(errno, link));
    if (!S_ISLNK(status->st_mode))
        return std::unexpected(Error::fromErrno(EINVAL, link));
    std::error_code ec;
    const fs::path old = fs::read_symlink(link, ec);
    if (ec)
        return std::unexpected(Error::fromErrno(ec.value(), link));
    if (target.empty())
        return std::unexpected(Error::fromErrno(EINVAL, link));
    for (int attempt = 0; attempt < 5; ++attempt) {
        const fs::path temporary = freshNameBeside(link);
        if (auto made = FileCopier::makeSymbolicLink(target, temporary); !made) {
            if (made.error().code == EEXIST)
                continue;
            return std::unexpected(Error::fromErrno(made.error().code, link));
        }
        if (auto moved = FileCopier::renameReplacing(temporary, link); !moved) {
            ::unlink(temporary.c_str());
            return std::unexpected(Error::fromErrno(moved.error().code, link));
        }
        return old;
    }
    return std::unexpected(Error::fromErrno(EEXIST, link));
}
