#pragma once

#include <QString>
#include <expected>

// Why packing or unpacking stopped: a Japanese explanation for the alert's
// informative text, or a cancel (which shows nothing).
struct ArchiveFailure {
    QString detail;
    bool cancelled = false;
};

template <typename T>
using ArchiveResult = std::expected<T, ArchiveFailure>;
