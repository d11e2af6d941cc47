#pragma once

#include <filesystem>

// Facts about the running process itself.
namespace ProcessInfo {

// The effective user is root.
bool runsAsRoot();

// The program file this process runs, links resolved by the kernel; empty when unknown.
std::filesystem::path executable();

} // namespace ProcessInfo
