#include "FuzzyCommand.h"

#include "palette/FuzzyMatcher.h"
#include "palette/Romaji.h"
#include "platform/FileDescriptor.h"

#include <QList>
#include <QString>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <numeric>
#include <string_view>
#include <sys/mman.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

// Lines are handed to the workers in blocks of about this many bytes.
constexpr size_t blockBytes = 256 * 1024;
// Score spans up to this size are ranked by counting; wider ones by a stable sort.
constexpr uint64_t countingRange = 1 << 22;

// A necessary condition for a match, checked on the raw bytes so that most lines are
// rejected before anything is decoded or allocated. Each step stands for one code point
// of the query, and the steps must be met in order.
class BytePrefilter {
public:
    explicit BytePrefilter(const QString& query)
    {
        // The matcher drops a white-space character with whatever combines with it; as
        // only ASCII surely starts a new character, non-ASCII after white space is skipped.
        bool afterSpace = false;
        for (const char32_t c : query.toUcs4()) {
            if (QChar::isSpace(c)) {
                afterSpace = true;
            } else if (c < 0x80) {
                // Only İ (U+0130) and the Kelvin sign lower-case into ASCII from outside it.
                const char lower = char(c >= 'A' && c <= 'Z' ? c + 32 : c);
                steps.push_back({fold(char(c)), lower == 'i' || lower == 'k'});
                afterSpace = false;
            } else if (!afterSpace && c != 0x130 && c != 0x212A) {
                // ASCII never lower-cases out of ASCII, so the line needs a non-ASCII byte.
                steps.push_back({0, true});
            }
        }
    }

    bool admits(std::string_view line) const
    {
        if (steps.empty())
            return true;
        size_t k = 0;
        for (const char byte : line) {
            const Step& step = steps[k];
            if (fold(byte) == step.folded || (step.nonAscii && (byte & 0x80) != 0)) {
                if (++k == steps.size())
                    return true;
            }
        }
        return false;
    }

private:
    // Equal for both cases of an ASCII letter; other bytes may collide, which only
    // lets a line through to the real matcher.
    static unsigned char fold(char byte) { return (unsigned char)(byte) | 0x20; }

    struct Step {
        unsigned char folded; // 0 when only a non-ASCII byte will do
        bool nonAscii;        // any byte of 0x80 and above also meets the step
    };
    std::vector<Step> steps;
};

struct Hit {
    int64_t score;
    size_t offset;
    size_t length;
};

// Standard input in memory: mapped when it is a regular file, which spares copying it,
// read otherwise into anonymous memory that grows by remapping rather than copying.
class Input {
public:
    Input() = default;
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;
    ~Input()
    {
        if (area != MAP_FAILED)
            ::munmap(area, length);
    }

    bool load(int fd)
    {
        struct stat status;
        if (::fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) {
            const off_t at = ::lseek(fd, 0, SEEK_CUR);
            // Mapping starts at a page boundary; a stream not at its start is read instead.
            if (at == 0 && status.st_size > 0 && map(fd, size_t(status.st_size)))
                return true;
            if (at >= 0 && status.st_size > at)
                return readAll(fd, size_t(status.st_size - at) + 1);
        }
        // Larger pipe buffers mean fewer reads; refused above the system's limit.
        ::fcntl(fd, F_SETPIPE_SZ, 1 << 20);
        return readAll(fd, size_t(8) << 20);
    }

    std::string_view view() const { return {static_cast<const char*>(area), size}; }

private:
    bool map(int fd, size_t fileSize)
    {
        area = ::mmap(nullptr, fileSize, PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd, 0);
        if (area == MAP_FAILED)
            return false;
        size = length = fileSize;
        return true;
    }

    bool readAll(int fd, size_t capacity)
    {
        area =
            ::mmap(nullptr, capacity, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (area == MAP_FAILED)
            return false;
        length = capacity;
        // Huge pages, where the system allows them, save most of the page faults.
        ::madvise(area, length, MADV_HUGEPAGE);
        for (;;) {
            if (size == length) {
                void* larger = ::mremap(area, length, length * 2, MREMAP_MAYMOVE);
                if (larger == MAP_FAILED)
                    return false;
                area = larger;
                length *= 2;
                ::madvise(area, length, MADV_HUGEPAGE);
            }
            const ssize_t got = ::read(fd, static_cast<char*>(area) + size, length - size);
            if (got == 0)
                return true;
            if (got < 0 && errno != EINTR)
                return false;
            if (got > 0)
                size += size_t(got);
        }
    }

    void* area = MAP_FAILED;
    size_t length = 0; // of the mapping
    size_t size = 0;   // of the data
};

// Blocks of whole lines covering the data in order.
std::vector<std::string_view> blocksOf(std::string_view data)
{
    std::vector<std::string_view> blocks;
    size_t start = 0;
    while (start < data.size()) {
        size_t end = std::min(start + blockBytes, data.size());
        if (end < data.size()) {
            const void* newline = std::memchr(data.data() + end, '\n', data.size() - end);
            end =
                newline ? size_t(static_cast<const char*>(newline) - data.data()) + 1 : data.size();
        }
        blocks.push_back(data.substr(start, end - start));
        start = end;
    }
    return blocks;
}

void matchBlock(std::string_view block, size_t base, const QString& query,
                const BytePrefilter& prefilter, std::vector<Hit>& hits)
{
    size_t start = 0;
    while (start < block.size()) {
        const void* newline = std::memchr(block.data() + start, '\n', block.size() - start);
        const size_t end =
            newline ? size_t(static_cast<const char*>(newline) - block.data()) : block.size();
        const std::string_view line = block.substr(start, end - start);
        if (prefilter.admits(line)) {
            const QString text = QString::fromUtf8(line.data(), qsizetype(line.size()));
            if (const auto match = FuzzyMatcher::match(query, text))
                hits.push_back({match->score, base + start, line.size()});
        }
        start = end + 1;
    }
}

// The hits of every block, blocks in input order; the blocks are shared out among threads.
std::vector<std::vector<Hit>> matchAll(std::string_view data, const QString& query)
{
    const BytePrefilter prefilter(query);
    const std::vector<std::string_view> blocks = blocksOf(data);
    std::vector<std::vector<Hit>> found(blocks.size());
    std::atomic<size_t> next = 0;
    const auto work = [&] {
        for (size_t b = next++; b < blocks.size(); b = next++) {
            const size_t base = size_t(blocks[b].data() - data.data());
            matchBlock(blocks[b], base, query, prefilter, found[b]);
        }
    };
    const size_t threads =
        std::min<size_t>(std::clamp(std::thread::hardware_concurrency(), 1u, 8u), blocks.size());
    std::vector<std::jthread> helpers;
    for (size_t i = 1; i < threads; ++i)
        helpers.emplace_back(work);
    work();
    return found;
}

// Best first, equal scores in input order.
std::vector<Hit> ranked(const std::vector<std::vector<Hit>>& found)
{
    size_t total = 0;
    int64_t low = std::numeric_limits<int64_t>::max();
    int64_t high = std::numeric_limits<int64_t>::min();
    for (const auto& hits : found) {
        total += hits.size();
        for (const Hit& hit : hits) {
            low = std::min(low, hit.score);
            high = std::max(high, hit.score);
        }
    }
    std::vector<Hit> order;
    order.reserve(total);
    if (total > 0 && uint64_t(high) - uint64_t(low) < countingRange) {
        // Scores span a small range, so a counting sort is both stable and linear.
        std::vector<size_t> starts(size_t(high - low) + 2, 0);
        for (const auto& hits : found) {
            for (const Hit& hit : hits)
                ++starts[size_t(high - hit.score) + 1];
        }
        std::partial_sum(starts.begin(), starts.end(), starts.begin());
        order.resize(total);
        for (const auto& hits : found) {
            for (const Hit& hit : hits)
                order[starts[size_t(high - hit.score)]++] = hit;
        }
        return order;
    }
    for (const auto& hits : found)
        order.insert(order.end(), hits.begin(), hits.end());
    std::ranges::stable_sort(order, std::ranges::greater(), &Hit::score);
    return order;
}

// Printed through one reused buffer, flushed in large writes.
bool print(const std::vector<Hit>& hits, std::string_view data)
{
    constexpr size_t chunk = size_t(4) << 20;
    constexpr size_t prefix = std::numeric_limits<int64_t>::digits10 + 3; // sign, tab
    std::string out;
    out.reserve(chunk);
    for (const Hit& hit : hits) {
        const size_t need = prefix + hit.length + 1;
        if (out.size() + need > std::max(chunk, need)) {
            if (writeAll(STDOUT_FILENO, out) != 0)
                return false;
            out.clear();
        }
        const size_t at = out.size();
        out.resize_and_overwrite(at + need, [&](char* begin, size_t) {
            char* p = std::to_chars(begin + at, begin + at + prefix, hit.score).ptr;
            *p++ = '\t';
            std::memcpy(p, data.data() + hit.offset, hit.length);
            p += hit.length;
            *p++ = '\n';
            return size_t(p - begin);
        });
    }
    return writeAll(STDOUT_FILENO, out) == 0;
}

void complain(const char* what)
{
    const int error = errno;
    const QString message = QString::fromUtf8(what) + QStringLiteral(": ") +
                            QString::fromLocal8Bit(std::strerror(error)) + u'\n';
    const QByteArray bytes = message.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
}

} // namespace

int runFuzzyCommand(const std::vector<std::string>& arguments)
{
    if (arguments.size() != 1) {
        std::fputs("usage: quillo-tool fuzzy QUERY < LINES\n", stderr);
        return 2;
    }
    const QString query = QString::fromUtf8(arguments.front());
    Input input;
    if (!input.load(STDIN_FILENO)) {
        complain("標準入力を読めません");
        return 1;
    }
    const std::vector<Hit> hits = ranked(matchAll(input.view(), query));
    if (!print(hits, input.view())) {
        complain("標準出力に書き込めません");
        return 1;
    }
    return 0;
}

int runRomajiCommand(const std::vector<std::string>& arguments)
{
    if (arguments.size() != 1) {
        std::fputs("usage: quillo-tool romaji TEXT\n", stderr);
        return 2;
    }
    const QByteArray latin = Romaji::transcribe(QString::fromUtf8(arguments.front())).toUtf8();
    std::string line(latin.constData(), size_t(latin.size()));
    line += '\n';
    return writeAll(STDOUT_FILENO, line) == 0 ? 0 : 1;
}
