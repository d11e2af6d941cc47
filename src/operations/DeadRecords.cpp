#include "operations/DeadRecords.h"

#include "platform/DirectoryScanner.h"
#include "platform/FileCopier.h"

#include <atomic>
#include <string>
#include <string_view>

namespace fs = std::filesystem;

namespace DeadRecords {

namespace {

constexpr std::string_view kRecordSuffix = ".json";

// Claim names must differ within one process too: two journals recover in parallel.
std::atomic<uint64_t> claims{0};

} // namespace

void claim(const fs::path& folder, const ProcessStamp& owner,
           const std::function<void(const fs::path&)>& settle)
{
    const auto items = DirectoryScanner::scan(folder);
    if (!items)
        return;
    for (const ScannedItem& item : *items) {
        const std::string& name = item.name;
        if (!name.ends_with(kRecordSuffix))
            continue;
        const ProcessStamp writer = ProcessStamp::parse(name.substr(0, name.find('.')));
        if (writer.pid == 0 || writer == owner || writer.isRunning())
            continue;
        const fs::path claimed = folder / (owner.text() + ".claim-" + std::to_string(++claims) +
                                           std::string(kRecordSuffix));
        if (FileCopier::renameNoReplace(folder / name, claimed))
            settle(claimed);
    }
}

} // namespace DeadRecords
