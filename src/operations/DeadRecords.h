#pragma once

#include "platform/ProcessStamp.h"

#include <filesystem>
#include <functional>

// The journal records that processes no longer running left in a folder. Each one
// is claimed by renaming it to a name of `owner`'s, so that of several processes
// recovering at once only one settles it; a record claimed and then left by a death
// of its own is claimed again by the next one. Records are "STAMP….json".
namespace DeadRecords {

// Hands every record claimed to `settle`, which removes it or sets it aside.
void claim(const std::filesystem::path& folder, const ProcessStamp& owner,
           const std::function<void(const std::filesystem::path& claimed)>& settle);

} // namespace DeadRecords
