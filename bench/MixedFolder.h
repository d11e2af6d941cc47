#pragma once

#include <filesystem>

// The folder the preview benchmark browses: 1,000 files of ten kinds in turn
// (Markdown of 5 to 100 KB, CSV, PNG images, small PDFs, text), so that holding Down
// passes every kind again and again.
namespace MixedFolder {

inline constexpr int kFiles = 1000;

std::filesystem::path file(const std::filesystem::path& folder, int index);
// The Markdown files of exactly 100 KB: 0, 200, 400, 600 and 800.
inline bool isBigMarkdown(int index)
{
    return index % 200 == 0;
}
void make(const std::filesystem::path& folder);
// Made to the end by make() (an interrupted run is made again).
bool isComplete(const std::filesystem::path& folder);

} // namespace MixedFolder
