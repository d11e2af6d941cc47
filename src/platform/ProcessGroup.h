#pragma once

#include <cstdint>

// A child that starts programs of its own (git running a helper, a shell running a
// command) is put in a process group of its own, so that stopping it stops them too.
namespace ProcessGroup {

// Makes the calling process the leader of a new group. Async-signal-safe: meant for
// the child between fork and exec (QProcess::setChildProcessModifier).
void leadNewGroup();
// SIGKILL to every process of the group `leader` leads.
void killGroup(int64_t leader);

} // namespace ProcessGroup
