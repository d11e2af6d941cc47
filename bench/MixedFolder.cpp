#include "MixedFolder.h"

#include <QImage>
#include <QPainter>
#include <QPdfWriter>
#include <QRandomGenerator>
#include <cstdio>
#include <fstream>
#include <string>

namespace fs = std::filesystem;

namespace {

constexpr int kFiles = MixedFolder::kFiles;
constexpr int kBigMarkdown = 100 * 1024;
const char* const kComplete = ".complete";

// Prose with headings, lists and code, and now and then a table, as documents are.
std::string markdown(int bytes, int seed)
{
    std::string text;
    for (int part = 0; int(text.size()) < bytes; ++part) {
        text += "## Section " + std::to_string(part) + " of note " + std::to_string(seed) + "\n\n";
        for (int paragraph = 0; paragraph < 3; ++paragraph)
            text += "Some *emphasis*, some **strong** text, `code` and a [link](other.md). "
                    "Lorem ipsum dolor sit amet, consectetur adipiscing elit, sed do eiusmod "
                    "tempor incididunt ut labore et dolore magna aliqua. Ut enim ad minim "
                    "veniam, quis nostrud exercitation ullamco laboris nisi ut aliquip.\n\n";
        text += "- item one\n- item two\n  - nested item\n\n";
        text += "```cpp\nint main()\n{\n    return 0;\n}\n```\n\n";
        if (part % 4 == 3) {
            text += "| a | b | c |\n|---|---|---|\n";
            for (int row = 0; row < 5; ++row)
                text += "| " + std::to_string(row) + " | cell | ~~old~~ |\n";
            text += "\n";
        }
    }
    text.resize(size_t(bytes));
    return text;
}

void write(const fs::path& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

void makePng(const fs::path& path, int seed)
{
    QImage image(800, 600, QImage::Format_RGB32);
    QRandomGenerator random{quint32(seed)};
    for (int y = 0; y < image.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x)
            line[x] = qRgb((x + seed) % 256, (y * 2) % 256, int(random.bounded(64)) + (seed % 128));
    }
    image.save(QString::fromStdString(path.string()), "PNG");
}

void makePdf(const fs::path& path, int seed)
{
    QPdfWriter writer(QString::fromStdString(path.string()));
    QPainter painter(&writer);
    for (int page = 0; page < 1 + seed % 3; ++page) {
        if (page > 0)
            writer.newPage();
        for (int line = 0; line < 40; ++line)
            painter.drawText(
                200, 300 + line * 250,
                QStringLiteral("Page %1, line %2 of document %3").arg(page).arg(line).arg(seed));
    }
}

std::string csv(int rows)
{
    std::string text = "id,name,city,amount,date,note\n";
    for (int row = 0; row < rows; ++row)
        text += std::to_string(row) + ",name " + std::to_string(row) + ",Tokyo," +
                std::to_string(row * 37 % 1000) + ".5,2024-01-02,\"quoted, text\"\n";
    return text;
}

} // namespace

namespace MixedFolder {

fs::path file(const fs::path& folder, int index)
{
    const int kind = index % 10;
    const char* ext = kind < 3   ? "md"
                      : kind < 5 ? "csv"
                      : kind < 7 ? "png"
                      : kind < 8 ? "pdf"
                                 : "txt";
    char name[32];
    std::snprintf(name, sizeof name, "file-%04d.%s", index, ext);
    return folder / name;
}

void make(const fs::path& folder)
{
    fs::create_directories(folder);
    for (int i = 0; i < kFiles; ++i) {
        const int kind = i % 10;
        const fs::path path = file(folder, i);
        if (kind < 3)
            write(
                path,
                markdown(isBigMarkdown(i) ? kBigMarkdown : 5 * 1024 + (i * 7919) % (95 * 1024), i));
        else if (kind < 5)
            write(path, csv(50 + (i * 31) % 2000));
        else if (kind < 7)
            makePng(path, i);
        else if (kind < 8)
            makePdf(path, i);
        else
            write(path,
                  "plain text file " + std::to_string(i) + "\n" + std::string(2000, 'x') + "\n");
    }
    write(folder / kComplete, "");
}

bool isComplete(const fs::path& folder)
{
    return fs::exists(folder / kComplete);
}

} // namespace MixedFolder
