#include "platform/ProcessInfo.h"

#include <unistd.h>

namespace ProcessInfo {

bool runsAsRoot()
{
    return ::geteuid() == 0;
}

} // namespace ProcessInfo
