#pragma once

#include "platform/Error.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

// One "user." extended attribute of an item, never following symbolic links. An
// item that cannot carry user attributes (a file system without them, a link, a
// device) fails with ENOTSUP, which unsupported() tells apart from real errors.
namespace ExtendedAttributes {

// The value, or nullopt when the item has no such attribute.
Result<std::optional<std::string>> read(const std::filesystem::path& path, const char* name);
Result<void> write(const std::filesystem::path& path, const char* name, std::string_view value);
// Removing an attribute that is not there succeeds.
Result<void> remove(const std::filesystem::path& path, const char* name);

bool unsupported(const Error& error);

} // namespace ExtendedAttributes
