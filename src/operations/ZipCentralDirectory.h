#pragma once

#include "platform/Error.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

// What a zip's central directory declares, read without trusting it: every offset
// and length is checked against the file before it is used. Read before anything
// is expanded, to refuse bombs and to choose how old names are decoded.
struct ZipCentralDirectory {
    enum class Status {
        absent, // no end record: not a zip, or one that is read front to back
        found,
        damaged,     // an end record whose directory or entries do not fit the file
        overlapping, // entries share their bytes: the classic zip bomb
    };

    Status status = Status::absent;
    // Uncompressed sizes, each rounded up to whole 4 KiB blocks.
    int64_t declaredBytes = 0;
    std::vector<uint16_t> methods; // compression methods used, each once
    // Names without the UTF-8 flag (or a Unicode path field) that are not UTF-8.
    std::vector<std::string> legacyNames;
    std::optional<std::string> nameWithNul;
    bool encrypted = false;

    static Result<ZipCentralDirectory> read(const std::filesystem::path& archive);
};
