#pragma once

#include "platform/Error.h"

#include <filesystem>

// Points the symbolic link `link` at `target`: a new link is made beside it under a
// fresh hidden name and renamed over it, so the name never goes missing. Returns the
// old target; EINVAL when `link` is not a link or `target` is empty.
Result<std::filesystem::path> retargetSymbolicLink(const std::filesystem::path& link,
                                                   const std::filesystem::path& target);
