#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

// Names of users and groups from the system's account databases.
namespace UserNames {

// Nothing when the id has no entry.
std::optional<std::string> user(uid_t uid);
std::optional<std::string> group(gid_t gid);
// Whether this process may change the mode of an item owned by `owner` (owner or root).
bool mayChangeModeOf(uid_t owner);

} // namespace UserNames
