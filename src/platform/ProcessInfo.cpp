#include "platform/ProcessInfo.h"

#include <unistd.h>

namespace ProcessInfo {

bool runsAsRoot()
{
    return ::geteuid() == 0;
}

std::filesystem::path executable()
{
    std::error_code error;
    std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::filesystem::path() : program;
}

} // namespace ProcessInfo
