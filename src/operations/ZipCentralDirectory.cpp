#include "operations/ZipCentralDirectory.h"

#include "core/PathText.h"
#include "platform/FileReader.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

namespace {

using Status = ZipCentralDirectory::Status;

constexpr uint32_t kEndSignature = 0x06054b50;
constexpr uint32_t kZip64EndSignature = 0x06064b50;
constexpr uint32_t kZip64LocatorSignature = 0x07064b50;
constexpr uint32_t kCentralSignature = 0x02014b50;
constexpr uint32_t kLocalSignature = 0x04034b50;
constexpr size_t kEndSize = 22, kZip64EndSize = 56, kLocatorSize = 20;
constexpr size_t kCentralSize = 46, kLocalSize = 30;
constexpr uint16_t kUtf8Flag = 0x0800;

uint16_t u16(const char* p)
{
    return uint16_t(uint8_t(p[0]) | uint8_t(p[1]) << 8);
}
uint32_t u32(const char* p)
{
    return uint32_t(u16(p)) | uint32_t(u16(p + 2)) << 16;
}
uint64_t u64(const char* p)
{
    return uint64_t(u32(p)) | uint64_t(u32(p + 4)) << 32;
}

// Exactly `length` bytes at `offset`, or nothing (past the end, or a read error).
Result<std::optional<std::string>> readExactly(const FileReader& file, uint64_t offset,
                                               uint64_t length)
{
    if (offset > uint64_t(file.size()) || length > uint64_t(file.size()) - offset)
        return std::nullopt;
    std::string bytes(size_t(length), '\0');
    const auto got = file.readAt(int64_t(offset), bytes.data(), bytes.size());
    if (!got)
        return std::unexpected(got.error());
    if (*got != length)
        return std::nullopt;
    return bytes;
}

struct EndRecord {
    uint64_t position = 0; // where the directory ends
    uint64_t size = 0;     // of the directory
    uint64_t offset = 0;   // of the directory, as declared
};

// The Zip64 end record the locator before the plain end record points to, if any.
Result<void> readZip64End(const FileReader& file, std::string_view locator, EndRecord& end)
{
    if (locator.size() < kLocatorSize || u32(locator.data()) != kZip64LocatorSignature)
        return {};
    // Where the locator says, else right before it (a zip with bytes prepended).
    const uint64_t locatorAt = end.position - kLocatorSize;
    if (locatorAt < kZip64EndSize)
        return {};
    for (const uint64_t at : {u64(locator.data() + 8), locatorAt - kZip64EndSize}) {
        const auto record = readExactly(file, at, kZip64EndSize);
        if (!record)
            return std::unexpected(record.error());
        if (*record && at <= locatorAt - kZip64EndSize &&
            u32((*record)->data()) == kZip64EndSignature) {
            end = {at, u64((*record)->data() + 40), u64((*record)->data() + 48)};
            return {};
        }
    }
    return {};
}

// The last end-of-directory record whose comment fits in the file.
Result<std::optional<EndRecord>> findEnd(const FileReader& file)
{
    const uint64_t tailLength = std::min<uint64_t>(file.size(), kEndSize + 0xffff + kLocatorSize);
    const uint64_t tailStart = uint64_t(file.size()) - tailLength;
    const auto tail = readExactly(file, tailStart, tailLength);
    if (!tail)
        return std::unexpected(tail.error());
    if (!*tail || tailLength < kEndSize)
        return std::nullopt;
    const std::string& bytes = **tail;
    for (size_t at = bytes.size() - kEndSize + 1; at-- > 0;) {
        const char* p = bytes.data() + at;
        if (u32(p) != kEndSignature || at + kEndSize + u16(p + 20) > bytes.size())
            continue;
        EndRecord end{tailStart + at, u32(p + 12), u32(p + 16)};
        const std::string_view locator =
            at >= kLocatorSize ? std::string_view(bytes).substr(at - kLocatorSize, kLocatorSize)
                               : std::string_view();
        const auto zip64 = readZip64End(file, locator, end);
        if (!zip64)
            return std::unexpected(zip64.error());
        return end;
    }
    return std::nullopt;
}

struct Sizes {
    uint64_t compressed, uncompressed, offset;
    bool unicodePath = false;
};

// The Zip64 values replacing the 0xffffffff fields, and whether a Unicode path is given.
void readExtras(std::string_view extra, Sizes& sizes)
{
    const bool wide[3] = {sizes.uncompressed == 0xffffffff, sizes.compressed == 0xffffffff,
                          sizes.offset == 0xffffffff};
    while (extra.size() >= 4) {
        const uint16_t id = u16(extra.data()), length = u16(extra.data() + 2);
        const std::string_view data = extra.substr(4, length);
        if (id == 0x0001) {
            uint64_t* fields[3] = {&sizes.uncompressed, &sizes.compressed, &sizes.offset};
            size_t at = 0;
            for (int i = 0; i < 3; ++i) {
                if (wide[i] && at + 8 <= data.size()) {
                    *fields[i] = u64(data.data() + at);
                    at += 8;
                }
            }
        } else if (id == 0x7075) {
            sizes.unicodePath = true;
        }
        extra.remove_prefix(std::min(extra.size(), size_t(4) + length));
    }
}

int64_t saturatedAdd(int64_t total, uint64_t bytes)
{
    constexpr uint64_t block = 4096, most = uint64_t(std::numeric_limits<int64_t>::max());
    const uint64_t rounded = bytes > most - block ? most : (bytes + block - 1) / block * block;
    return rounded > most - uint64_t(total) ? int64_t(most) : total + int64_t(rounded);
}

// Whether each entry's local header and data lie before the directory, apart from
// every other entry's.
Result<Status> checkRanges(const FileReader& file,
                           std::vector<std::pair<uint64_t, uint64_t>>& ranges,
                           uint64_t directoryStart)
{
    std::ranges::sort(ranges);
    uint64_t previousEnd = 0;
    for (auto& [start, compressed] : ranges) {
        const auto local = readExactly(file, start, kLocalSize);
        if (!local)
            return std::unexpected(local.error());
        if (!*local || u32((*local)->data()) != kLocalSignature)
            return Status::damaged;
        const uint64_t header =
            kLocalSize + u16((*local)->data() + 26) + u16((*local)->data() + 28);
        if (start < previousEnd || compressed > directoryStart - start ||
            header > directoryStart - start - compressed)
            return Status::overlapping;
        previousEnd = start + header + compressed;
    }
    return Status::found;
}

} // namespace

Result<ZipCentralDirectory> ZipCentralDirectory::read(const std::filesystem::path& archive)
{
    const auto file = FileReader::open(archive);
    if (!file)
        return std::unexpected(file.error());
    const auto end = findEnd(*file);
    if (!end)
        return std::unexpected(end.error());
    ZipCentralDirectory result;
    if (!*end)
        return result;
    result.status = Status::damaged;
    const EndRecord record = **end;
    if (record.size > record.position || record.offset > record.position - record.size)
        return result;
    // Bytes before the zip (a self-extracting stub) move every offset by the same amount.
    const uint64_t start = record.position - record.size, shift = start - record.offset;
    const auto directory = readExactly(*file, start, record.size);
    if (!directory)
        return std::unexpected(directory.error());
    if (!*directory)
        return result;
    std::string_view rest = **directory;
    std::vector<std::pair<uint64_t, uint64_t>> ranges;
    while (!rest.empty()) {
        const char* p = rest.data();
        if (rest.size() < kCentralSize || u32(p) != kCentralSignature)
            return result;
        const uint16_t flags = u16(p + 8), method = u16(p + 10);
        const size_t nameLength = u16(p + 28), extraLength = u16(p + 30);
        const size_t length = kCentralSize + nameLength + extraLength + u16(p + 32);
        if (length > rest.size())
            return result;
        const std::string_view name = rest.substr(kCentralSize, nameLength);
        Sizes sizes{u32(p + 20), u32(p + 24), u32(p + 42)};
        readExtras(rest.substr(kCentralSize + nameLength, extraLength), sizes);
        if (sizes.offset > record.offset)
            return result;
        ranges.emplace_back(sizes.offset + shift, sizes.compressed);
        result.encrypted = result.encrypted || (flags & 1);
        if (std::ranges::find(result.methods, method) == result.methods.end())
            result.methods.push_back(method);
        if (!result.nameWithNul && name.find('\0') != std::string_view::npos)
            result.nameWithNul = std::string(name);
        if (!(flags & kUtf8Flag) && !sizes.unicodePath && !PathText::isValidUtf8(name))
            result.legacyNames.emplace_back(name);
        result.declaredBytes = saturatedAdd(result.declaredBytes, sizes.uncompressed);
        rest.remove_prefix(length);
    }
    const auto verdict = checkRanges(*file, ranges, start);
    if (!verdict)
        return std::unexpected(verdict.error());
    result.status = *verdict;
    return result;
}
