#include "platform/VolumeInfo.h"

#include <sys/statvfs.h>

namespace VolumeInfo {

std::optional<int64_t> availableCapacity(const std::filesystem::path& path)
{
    struct statvfs info;
    if (::statvfs(path.c_str(), &info) != 0)
        return std::nullopt;
    return int64_t(info.f_bavail) * int64_t(info.f_frsize);
}

} // namespace VolumeInfo
