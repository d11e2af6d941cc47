#pragma once

#include "operations/ArchiveFailure.h"
#include "platform/VolumeInfo.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>

class TransferProgress;

// The guards against archives that expand without end. The defaults are the real
// ones; tests replace them to reach the limits with small archives.
struct ArchiveExpandLimits {
    // Free bytes of the volume holding a folder; nullopt when unknown.
    std::function<std::optional<int64_t>(const std::filesystem::path&)> freeSpace =
        VolumeInfo::availableCapacity;
    // Bytes any entry may produce beyond what its compression allows, so that small
    // entries read from a buffer filled earlier never trip the ratio.
    int64_t entryAllowance = int64_t(8) << 20;
    // Replaces the expansion ratio the archive's compression allows.
    std::optional<double> ratio;
};

namespace ArchiveExtractor {

ArchiveResult<std::filesystem::path> expand(const std::filesystem::path& archive,
                                            TransferProgress& progress,
                                            const ArchiveExpandLimits& limits);

} // namespace ArchiveExtractor
