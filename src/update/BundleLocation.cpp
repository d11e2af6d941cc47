#include "update/BundleLocation.h"

#include "core/PathText.h"
#include "platform/FileReader.h"
#include "platform/ProcessInfo.h"

#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

// A version is a short line; anything longer cannot match one anyway.
constexpr size_t kVersionLimit = 256;

bool isWritable(const fs::path& path)
{
    return ::faccessat(AT_FDCWD, path.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

} // namespace

namespace BundleLocation {

std::optional<fs::path> bundleOf(const fs::path& executable)
{
    const fs::path program = PathText::standardized(executable);
    if (!program.is_absolute() || program.parent_path().filename() != "bin")
        return std::nullopt;
    const fs::path bundle = program.parent_path().parent_path();
    std::error_code error;
    if (bundle == bundle.root_path() || !fs::is_regular_file(bundle / "VERSION", error))
        return std::nullopt;
    return bundle;
}

std::optional<fs::path> running()
{
    const fs::path executable = ProcessInfo::executable();
    if (executable.empty())
        return std::nullopt;
    return bundleOf(executable);
}

Result<std::string> version(const fs::path& bundle)
{
    auto file = FileReader::open(bundle / "VERSION");
    if (!file)
        return std::unexpected(file.error());
    auto text = file->readUpTo(kVersionLimit);
    if (!text)
        return std::unexpected(text.error());
    const auto first = text->find_first_not_of(" \t\r\n");
    if (first == std::string::npos)
        return std::string();
    return text->substr(first, text->find_last_not_of(" \t\r\n") - first + 1);
}

bool isReplaceable(const fs::path& bundle)
{
    return isWritable(bundle) && isWritable(bundle.parent_path());
}

fs::path previousOf(const fs::path& bundle)
{
    fs::path previous = bundle;
    return previous.replace_filename(bundle.filename().native() + ".previous");
}

} // namespace BundleLocation
