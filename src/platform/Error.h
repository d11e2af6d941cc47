#pragma once

#include <QString>
#include <expected>
#include <filesystem>

// A failure of an engine call: the errno it came from (or a cancellation) and
// the path it concerned. Engines return std::expected<T, Error>.
struct Error {
    int code = 0; // errno; 0 with cancelled set means the user stopped the work
    std::filesystem::path path;
    bool cancelled = false;

    static Error fromErrno(int code, std::filesystem::path path = {})
    {
        return Error{code, std::move(path), false};
    }
    static Error cancellation() { return Error{0, {}, true}; }

    // Japanese description of the errno, for messages shown to people.
    QString description() const;

    bool operator==(const Error&) const = default;
};

template <typename T>
using Result = std::expected<T, Error>;
