#pragma once

#include "platform/Error.h"

#include <filesystem>
#include <optional>
#include <string>

// The self-contained folder Quillo runs from when it was installed from a release
// archive: <bundle>/bin/quillo with the release's version in <bundle>/VERSION. A build
// installed with `make install` or a package has no VERSION beside bin/ and is no bundle.
namespace BundleLocation {

// The bundle holding `executable`, when it is one.
std::optional<std::filesystem::path> bundleOf(const std::filesystem::path& executable);

// The bundle of the running program (/proc/self/exe, links resolved by the kernel).
std::optional<std::filesystem::path> running();

// The text of <bundle>/VERSION without surrounding white space.
Result<std::string> version(const std::filesystem::path& bundle);

// Whether this process may rename the bundle aside and put another in its place:
// both the bundle and its folder must be writable to us.
bool isReplaceable(const std::filesystem::path& bundle);

// The sibling the installed bundle is moved to while the new one moves in.
std::filesystem::path previousOf(const std::filesystem::path& bundle);

} // namespace BundleLocation
