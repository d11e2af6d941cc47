#include "platform/ProcessGroup.h"

#include <csignal>
#include <unistd.h>

namespace ProcessGroup {

void leadNewGroup()
{
    ::setpgid(0, 0);
}

void killGroup(int64_t leader)
{
    if (leader > 0)
        ::kill(-pid_t(leader), SIGKILL);
}

} // namespace ProcessGroup
