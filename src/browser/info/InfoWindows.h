#pragma once

#include <QWidget>
#include <filesystem>
#include <vector>

// Opens 情報を見る: one window per item (an item's open window comes forward instead
// of a second one), up to ten; a single summary for more.
namespace InfoWindows {

inline constexpr size_t kMaxItemWindows = 10;

// The windows opened or brought forward. `parent` (a browser window) keeps them
// above it; without one they are ordinary windows.
std::vector<QWidget*> open(const std::vector<std::filesystem::path>& items,
                           QWidget* parent = nullptr);

} // namespace InfoWindows
