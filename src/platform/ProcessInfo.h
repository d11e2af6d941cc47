#pragma once

// Facts about the running process itself.
namespace ProcessInfo {

// The effective user is root.
bool runsAsRoot();

} // namespace ProcessInfo
