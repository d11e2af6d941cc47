#include "operations/ArchiveWriter.h"

#include "operations/TransferProgress.h"
#include "support/TempDir.h"
#include "support/ToolRun.h"

#include <atomic>
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

QString arg(const fs::path& path)
{
    return QString::fromLocal8Bit(path.native().c_str());
}

uint32_t le(const std::string& bytes, size_t at, int width)
{
    uint32_t value = 0;
    for (int i = width - 1; i >= 0; --i)
        value = value << 8 | static_cast<unsigned char>(bytes[at + size_t(i)]);
    return value;
}

struct CentralEntry {
    std::string name;
    bool utf8Flag = false;
    int method = 0;
    uint32_t mode = 0;
};

// The central directory as written, names as raw bytes.
std::vector<CentralEntry> centralDirectory(const fs::path& archive)
{
    const std::string bytes = readFile(archive);
    const size_t end = bytes.rfind(std::string("PK\5\6", 4));
    std::vector<CentralEntry> entries;
    if (end == std::string::npos)
        return entries;
    size_t at = le(bytes, end + 16, 4);
    for (uint32_t i = 0, count = le(bytes, end + 10, 2); i < count; ++i) {
        const size_t nameLength = le(bytes, at + 28, 2);
        entries.push_back({bytes.substr(at + 46, nameLength), (le(bytes, at + 8, 2) & 0x800) != 0,
                           int(le(bytes, at + 10, 2)), le(bytes, at + 38, 4) >> 16});
        at += 46 + nameLength + le(bytes, at + 30, 2) + le(bytes, at + 32, 2);
    }
    return entries;
}

const CentralEntry* findEntry(const std::vector<CentralEntry>& entries, const std::string& name)
{
    for (const CentralEntry& entry : entries) {
        if (entry.name == name)
            return &entry;
    }
    return nullptr;
}

// Every item below `root`: kind, mode, file times, contents or link target.
// (Info-ZIP's unzip drops a 0xFF byte from names, so the test names avoid it.)
std::set<std::string> tree(const fs::path& root)
{
    std::set<std::string> items;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        struct stat st;
        ::lstat(entry.path().c_str(), &st);
        std::string line =
            fs::relative(entry.path(), root).native() + " " + std::to_string(st.st_mode) + " ";
        if (S_ISLNK(st.st_mode))
            line += fs::read_symlink(entry.path()).native();
        else if (S_ISREG(st.st_mode))
            line += std::to_string(st.st_mtime) + " " +
                    std::to_string(std::hash<std::string>()(readFile(entry.path())));
        items.insert(line);
    }
    return items;
}

std::set<std::string> names(const fs::path& folder)
{
    std::set<std::string> found;
    for (const auto& entry : fs::directory_iterator(folder))
        found.insert(entry.path().filename().native());
    return found;
}

std::string randomBytes(size_t size)
{
    std::mt19937 generator(7);
    std::string bytes(size, '\0');
    for (char& byte : bytes)
        byte = char(generator());
    return bytes;
}

} // namespace

TEST(ArchiveWriterTest, ATreeComesBackWhole)
{
    TempDir scratch;
    const fs::path item = scratch.folder("写真");
    std::string text;
    for (int i = 0; i < 200; ++i)
        text += "line " + std::to_string(i) + " of a text that compresses well\n";
    scratch.file("写真/深い/さらに/note.txt", text);
    scratch.folder("写真/空");
    ::chmod(scratch.file("写真/run.sh", "#!/bin/sh\n").c_str(), 0750);
    scratch.link("写真/link", "深い/さらに/note.txt");
    scratch.file("写真/caf\xe9\x81.txt", "not UTF-8");
    scratch.file("写真/" + std::string(255, 'n'), "long");
    scratch.file("写真/random.bin", randomBytes(100'000));
    setModificationTime(item / "run.sh", 1'600'000'000);

    const fs::path archive = ArchiveWriter::destinationFor({item});
    ASSERT_EQ(archive, scratch / "写真.zip");
    TransferProgress progress;
    const auto made = ArchiveWriter::compress({item}, archive, progress);
    ASSERT_TRUE(made) << made.error().detail.toStdString();

    EXPECT_EQ(runProgram("unzip", {"-tq", arg(archive)}).status, 0);
    const ToolRun python = runProgram(
        "python3",
        {"-c", "import sys, zipfile; print(zipfile.ZipFile(sys.argv[1]).testzip())", arg(archive)});
    EXPECT_EQ(python.out, "None\n") << python.err;

    const auto entries = centralDirectory(archive);
    EXPECT_EQ(entries.size(), 10u);
    const CentralEntry* folder = findEntry(entries, "写真/空/");
    const CentralEntry* raw = findEntry(entries, "写真/caf\xe9\x81.txt");
    const CentralEntry* ascii = findEntry(entries, "写真/" + std::string(255, 'n'));
    const CentralEntry* link = findEntry(entries, "写真/link");
    const CentralEntry* random = findEntry(entries, "写真/random.bin");
    const CentralEntry* note = findEntry(entries, "写真/深い/さらに/note.txt");
    ASSERT_TRUE(folder && raw && ascii && link && random && note);
    EXPECT_TRUE(folder->utf8Flag);
    EXPECT_FALSE(raw->utf8Flag);
    EXPECT_EQ(link->mode, S_IFLNK | 0777u);
    EXPECT_EQ(findEntry(entries, "写真/run.sh")->mode, S_IFREG | 0750u);
    EXPECT_EQ(random->method, 0);
    EXPECT_EQ(note->method, 8);

    const fs::path out = scratch.folder("out");
    ASSERT_EQ(runProgram("unzip", {"-q", arg(archive), "-d", arg(out)}).status, 0);
    EXPECT_EQ(tree(out / "写真"), tree(item));
    EXPECT_EQ(names(scratch.path()), (std::set<std::string>{"写真", "写真.zip", "out"}));
}

TEST(ArchiveWriterTest, DestinationNames)
{
    TempDir scratch;
    scratch.file("a.zip");
    const fs::path p = scratch.path();
    const struct {
        std::vector<fs::path> items;
        fs::path archive;
    } cases[] = {
        {{p / "a.txt"}, p / "a.txt.zip"},
        {{p / "写真/"}, p / "写真.zip"},
        {{p / "a.txt", p / "b"}, p / "アーカイブ.zip"},
        {{p / "a"}, p / "a 2.zip"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ArchiveWriter::destinationFor(c.items), c.archive);
}

TEST(ArchiveWriterTest, ACancelLeavesNothing)
{
    TempDir scratch;
    const fs::path big = scratch.file("big");
    fs::resize_file(big, 256 << 20);
    const auto before = names(scratch.path());

    TransferProgress early;
    early.cancel();
    auto made = ArchiveWriter::compress({big}, scratch / "big.zip", early);
    ASSERT_FALSE(made);
    EXPECT_TRUE(made.error().cancelled);

    // Cancelled once the first block is in, as the panel's button would.
    TransferProgress late;
    std::atomic<bool> stop = false;
    std::thread canceller([&] {
        while (!stop && late.snapshot().bytesDone == 0)
            std::this_thread::yield();
        late.cancel();
    });
    made = ArchiveWriter::compress({big}, scratch / "big.zip", late);
    stop = true;
    canceller.join();
    ASSERT_FALSE(made);
    EXPECT_TRUE(made.error().cancelled);
    EXPECT_EQ(names(scratch.path()), before);
}

TEST(ArchiveWriterTest, AnUnreadableSourceFailsTheWholeArchive)
{
    TempDir scratch;
    scratch.file("items/a.txt", "a");
    ASSERT_EQ(::mkfifo((scratch / "items/pipe").c_str(), 0644), 0);
    const auto before = names(scratch.path());
    const struct {
        std::vector<fs::path> items;
        QString detail;
    } cases[] = {
        {{scratch / "items"}, "「pipe」は特殊なファイルのため、圧縮できません。"},
        {{scratch / "items/a.txt", scratch / "gone"},
         "「gone」を読み込めませんでした。ファイルまたはフォルダが見つかりません。"},
    };
    for (const auto& c : cases) {
        TransferProgress progress;
        const auto made = ArchiveWriter::compress(c.items, scratch / "x.zip", progress);
        ASSERT_FALSE(made);
        EXPECT_EQ(made.error().detail, c.detail);
        EXPECT_EQ(names(scratch.path()), before);
    }
}
