#include "operations/ArchiveExpandLimits.h"
#include "operations/ArchiveExtractor.h"
#include "operations/TransferProgress.h"
#include "support/TempDir.h"

#include <archive.h>
#include <archive_entry.h>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

// One item of a hostile archive, written with libarchive exactly as given.
struct Item {
    std::string name;
    mode_t type = AE_IFREG;
    std::string data = {}; // contents, or a symbolic link's target
    mode_t perm = 0644;
    std::string hardLink = {};
    int64_t zeros = 0; // that many zero bytes instead of `data`
};

using Format = std::function<void(archive*)>;

const Format pax = [](archive* a) { archive_write_set_format_pax(a); };
const Format zip = [](archive* a) { archive_write_set_format_zip(a); };
const Format tarGz = [](archive* a) {
    archive_write_set_format_pax(a);
    archive_write_add_filter_gzip(a);
};

void writeArchive(const fs::path& path, const Format& format, const std::vector<Item>& items)
{
    archive* a = archive_write_new();
    format(a);
    ASSERT_EQ(archive_write_open_filename(a, path.c_str()), ARCHIVE_OK);
    const std::string zeros(1 << 20, '\0');
    for (const Item& item : items) {
        archive_entry* e = archive_entry_new();
        archive_entry_copy_pathname(e, item.name.c_str());
        archive_entry_set_filetype(e, item.type);
        archive_entry_set_perm(e, item.perm);
        archive_entry_set_mtime(e, 1'700'000'000, 0);
        if (item.type == AE_IFLNK)
            archive_entry_copy_symlink(e, item.data.c_str());
        if (!item.hardLink.empty())
            archive_entry_copy_hardlink(e, item.hardLink.c_str());
        const bool hasData = item.type == AE_IFREG && item.hardLink.empty();
        archive_entry_set_size(e,
                               hasData ? (item.zeros ? item.zeros : int64_t(item.data.size())) : 0);
        ASSERT_GE(archive_write_header(a, e), ARCHIVE_WARN) << item.name; // a warning: binary name
        if (hasData)
            archive_write_data(a, item.data.data(), item.data.size());
        for (int64_t left = item.zeros; left > 0; left -= int64_t(zeros.size()))
            archive_write_data(a, zeros.data(), size_t(std::min<int64_t>(left, zeros.size())));
        archive_entry_free(e);
    }
    archive_write_close(a);
    archive_write_free(a);
}

uint32_t crc32(std::string_view bytes)
{
    uint32_t crc = 0xffffffff;
    for (const unsigned char c : bytes) {
        crc ^= c;
        for (int k = 0; k < 8; ++k)
            crc = (crc >> 1) ^ (0xedb88320 & (0 - (crc & 1)));
    }
    return ~crc;
}

void put(std::string& out, uint64_t value, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        out += char(value >> (8 * i) & 0xff);
}

struct RawEntry {
    std::string name; // raw bytes
    std::string data;
    uint16_t flags = 0;
};

// A stored zip written byte by byte. With `shareHeader`, every central record
// points at the first local header: entries overlapping in the file.
std::string rawZip(const std::vector<RawEntry>& entries, bool shareHeader = false)
{
    std::string out, directory;
    for (const RawEntry& e : entries) {
        const size_t offset = shareHeader && !out.empty() ? 0 : out.size();
        const uint32_t crc = crc32(e.data);
        auto common = [&](std::string& s) {
            put(s, 20, 2), put(s, e.flags, 2), put(s, 0, 2), put(s, 0, 4), put(s, crc, 4);
            put(s, e.data.size(), 4), put(s, e.data.size(), 4), put(s, e.name.size(), 2);
            put(s, 0, 2);
        };
        if (!shareHeader || out.empty()) {
            put(out, 0x04034b50, 4), common(out);
            out += e.name + e.data;
        }
        put(directory, 0x02014b50, 4), put(directory, 0x031e, 2), common(directory);
        put(directory, 0, 6), put(directory, 0100644u << 16, 4), put(directory, offset, 4);
        directory += e.name;
    }
    const size_t start = out.size();
    out += directory;
    put(out, 0x06054b50, 4), put(out, 0, 4), put(out, entries.size(), 2);
    put(out, entries.size(), 2), put(out, directory.size(), 4), put(out, start, 4), put(out, 0, 2);
    return out;
}

void writeBytes(const fs::path& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

std::set<std::string> namesIn(const fs::path& folder)
{
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.insert(entry.path().filename().native());
    return names;
}

ArchiveResult<fs::path> expand(const fs::path& archive, const ArchiveExpandLimits& limits = {})
{
    TransferProgress progress;
    return ArchiveExtractor::expand(archive, progress, limits);
}

// The expansion fails with `detail` and leaves the archive alone in its folder.
void expectRefused(const fs::path& archive, const QString& detail,
                   const ArchiveExpandLimits& limits = {})
{
    const auto result = expand(archive, limits);
    ASSERT_FALSE(result) << archive.filename();
    EXPECT_TRUE(result.error().detail.startsWith(detail))
        << result.error().detail.toStdString() << " / " << detail.toStdString();
    EXPECT_EQ(namesIn(archive.parent_path()), std::set<std::string>{archive.filename()});
}

const QString kUnsafe = QStringLiteral("安全でない項目が含まれています: ");
const QString kOversized = QStringLiteral("展開後のサイズが異常に大きいため中止しました。");
const QString kNoSpace = QStringLiteral("展開先の空き容量が足りません。");

} // namespace

TEST(ArchiveExtractorSafetyTest, HostileEntriesRefuseTheWholeArchive)
{
    TempDir dir;
    const fs::path box = dir.folder("box");
    const std::string outside = (dir / "outside").native();
    struct Case {
        const char* what;
        std::vector<Item> items;
        QString detail = kUnsafe;
    };
    const std::string deviceText = "展開できない種類の項目（デバイスなど）が含まれています: ";
    const QString device = QString::fromStdString(deviceText);
    const Case cases[] = {
        {"zip-slip", {{"ok.txt"}, {"../outside"}}},
        {"deeper zip-slip", {{"a/../../outside"}}},
        {"absolute name", {{outside}}},
        {"empty component", {{"a//b"}}},
        {"long component", {{std::string(256, 'n')}}},
        {"link to /etc, then a file in it", {{"etc", AE_IFLNK, "/etc"}, {"etc/quillo-evil"}}},
        {"link leaving the folder", {{"up", AE_IFLNK, "../outside"}}},
        {"file written through an inside link",
         {{"real", AE_IFDIR, {}, 0755}, {"l", AE_IFLNK, "real"}, {"l/x"}}},
        {"link resolving through a later link",
         {{"esc", AE_IFLNK, "a/b/up/../outside"}, {"a/b/up", AE_IFLNK, "../.."}}},
        {"link resolving through an earlier link",
         {{"a/b/up", AE_IFLNK, "../.."}, {"esc", AE_IFLNK, "a/b/up/../outside"}}},
        {"hard link to /etc/hostname", {{"h", AE_IFREG, {}, 0644, "/etc/hostname"}}},
        {"hard link upwards", {{"h", AE_IFREG, {}, 0644, "../outside"}}},
        {"hard link to a link", {{"l", AE_IFLNK, "."}, {"sub/h", AE_IFREG, {}, 0644, "l"}}},
        {"device node", {{"tty", AE_IFCHR}}, device},
        {"fifo", {{"pipe", AE_IFIFO}}, device},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const fs::path archive = box / "hostile.tar";
        writeArchive(archive, pax, c.items);
        expectRefused(archive, c.detail);
        EXPECT_FALSE(fs::exists(fs::symlink_status(dir / "outside")));
        EXPECT_FALSE(fs::exists("/etc/quillo-evil"));
        fs::remove(archive);
    }
}

TEST(ArchiveExtractorSafetyTest, NoSetIdBitsOwnersOrEscapesWhenAllowed)
{
    TempDir dir;
    const fs::path archive = dir.folder("box") / "modes.tar";
    writeArchive(archive, pax,
                 {{"m/setuid", AE_IFREG, "x", 04755},
                  {"m/shared", AE_IFDIR, {}, 02775},
                  {"m/sticky", AE_IFDIR, {}, 01777},
                  {"m/inside", AE_IFLNK, "shared/../setuid"},
                  {"m/again", AE_IFREG, {}, 0644, "m/setuid"}});
    const auto result = expand(archive);
    ASSERT_TRUE(result) << result.error().detail.toStdString();
    EXPECT_EQ(*result, dir / "box" / "m");
    const auto mode = [&](const char* name) { return fs::status(*result / name).permissions(); };
    EXPECT_EQ(int(mode("setuid")), 0755);
    EXPECT_EQ(int(mode("shared")), 0775);
    EXPECT_EQ(int(mode("sticky")), 0777);
    EXPECT_EQ(fs::read_symlink(*result / "inside"), "shared/../setuid");
    EXPECT_EQ(readFile(*result / "again"), "x");
    EXPECT_EQ(fs::hard_link_count(*result / "setuid"), 2u);
}

TEST(ArchiveExtractorSafetyTest, ZipBombsAreStopped)
{
    TempDir dir;
    const fs::path box = dir.folder("box");
    // Every central record pointing at one local header.
    writeBytes(box / "overlap.zip", rawZip({{"a", "aaaa"}, {"b", "aaaa"}, {"c", "aaaa"}}, true));
    expectRefused(box / "overlap.zip",
                  QStringLiteral("項目のデータが重なり合う不正なアーカイブです。"));
    fs::remove(box / "overlap.zip");

    const fs::path bomb = box / "bomb.zip";
    writeArchive(bomb, zip, {{"zeros", AE_IFREG, {}, 0644, {}, int64_t(16) << 20}});
    // Within deflate's ratio, but over a stricter one.
    expectRefused(bomb, kOversized, {.entryAllowance = 1 << 20, .ratio = 50});
    // Declaring 1,000 bytes, in the local header and the directory, and producing 16 MiB.
    std::string bytes = readFile(bomb);
    const size_t directory = bytes.rfind("PK\x01\x02");
    ASSERT_NE(directory, std::string::npos);
    for (const size_t size : {size_t(22), directory + 24})
        bytes.replace(size, 4, std::string("\xe8\x03\0\0", 4));
    writeBytes(bomb, bytes);
    expectRefused(bomb, kOversized);
}

TEST(ArchiveExtractorSafetyTest, ExpansionStopsBeforeTheVolumeFills)
{
    TempDir dir;
    const fs::path box = dir.folder("box");
    int asked = 0;
    const ArchiveExpandLimits small{.freeSpace = [&](const fs::path& folder) {
        asked += folder.parent_path() == box;
        return std::optional<int64_t>(int64_t(1) << 20);
    }};
    // Declared sizes over the free space: refused before writing anything.
    writeArchive(box / "big.zip", zip, {{"big", AE_IFREG, {}, 0644, {}, int64_t(2) << 20}});
    expectRefused(box / "big.zip", kNoSpace, small);
    EXPECT_EQ(asked, 1);
    fs::remove(box / "big.zip");
    // No sizes known before: stopped while writing.
    writeArchive(box / "big.tar.gz", tarGz,
                 {{"a", AE_IFREG, "a"}, {"big", AE_IFREG, {}, 0644, {}, int64_t(4) << 20}});
    expectRefused(box / "big.tar.gz", kNoSpace, small);
}

TEST(ArchiveExtractorSafetyTest, DamagedEncryptedAndNulNamedZipsAreRefused)
{
    TempDir dir;
    const fs::path box = dir.folder("box");
    const std::string good = rawZip({{"a.txt", "hello"}, {"b.txt", "world"}});
    const QString corrupt = QStringLiteral("アーカイブが壊れているか、対応していない形式です。");
    std::string badCrc = good;
    badCrc[badCrc.find("hello")] = 'j';
    const struct {
        const char* what;
        std::string bytes;
        QString detail;
    } cases[] = {
        {"noise", std::string(5000, '\x5a'), corrupt},
        {"truncated in the second entry", good.substr(0, 60), corrupt},
        {"bad checksum", badCrc, corrupt},
        {"directory past the end",
         good.substr(0, good.size() - 6) + std::string("\xff\xff\0\0\0\0", 6), corrupt},
        {"nul in a name", rawZip({{std::string("a\0b", 3), "x"}}), kUnsafe},
        {"encrypted", rawZip({{"a", "x", 1}}),
         QStringLiteral("パスワードで保護されたアーカイブは展開できません。")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        writeBytes(box / "x.zip", c.bytes);
        expectRefused(box / "x.zip", c.detail);
    }
}

// Names without the UTF-8 flag that are not UTF-8: CP932 when all of them decode
// as CP932, else CP437; UTF-8 names (flagged or not) stay as they are.
TEST(ArchiveExtractorSafetyTest, LegacyZipNamesAreDecoded)
{
    TempDir dir;
    const std::string sjisTest = "\x83\x65\x83\x58\x83\x67"; // テスト in CP932
    const std::string sjisFolder = "\x93\xfa\x96\x7b";       // 日本
    const struct {
        const char* what;
        std::vector<RawEntry> entries;
        std::set<std::string> names; // below the folder named after the archive
    } cases[] = {
        {"Japanese Windows",
         {{sjisTest + ".txt", "a"}, {sjisFolder + "/x.txt", "b"}},
         {"テスト.txt", "日本"}},
        {"not CP932 either",
         {{"\x81\xff.txt", "a"}, {sjisTest + ".txt", "b"}},
         {"ü\u00a0.txt", "âeâXâg.txt"}}, // \xff is a no-break space in CP437
        {"UTF-8 without the flag kept",
         {{"\xc3\xbc.txt", "a"}, {sjisTest + ".txt", "b"}, {"é.txt", "c", 0x800}},
         {"ü.txt", "テスト.txt", "é.txt"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const fs::path box = dir.folder(c.what);
        writeBytes(box / "names.zip", rawZip(c.entries));
        const auto result = expand(box / "names.zip");
        ASSERT_TRUE(result) << result.error().detail.toStdString();
        EXPECT_EQ(*result, box / "names");
        EXPECT_EQ(namesIn(*result), c.names);
    }
}

// Tar names are bytes: kept exactly, whatever they are.
TEST(ArchiveExtractorSafetyTest, TarNamesStayByteExact)
{
    TempDir dir;
    const Format gnu = [](archive* a) { archive_write_set_format_gnutar(a); };
    for (const Format& format : {pax, gnu}) {
        const fs::path archive = dir.folder("box") / "names.tar";
        writeArchive(archive, format, {{"\xff\xfe.txt", AE_IFREG, "a"}, {"\x83\x65.txt"}});
        const auto result = expand(archive);
        ASSERT_TRUE(result) << result.error().detail.toStdString();
        EXPECT_EQ(namesIn(*result), (std::set<std::string>{"\xff\xfe.txt", "\x83\x65.txt"}));
        fs::remove_all(dir / "box");
    }
}
