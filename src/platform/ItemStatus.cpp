#include "platform/ItemStatus.h"

namespace ItemStatus {

std::optional<struct stat> of(const std::filesystem::path& path)
{
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0)
        return std::nullopt;
    return st;
}

} // namespace ItemStatus
