#pragma once

#include "platform/Error.h"

#include <QString>
#include <filesystem>
#include <vector>

// Links to a selection, named "memo のリンク.txt" after each item and made free
// with the numbered style ("memo のリンク 2.txt"), each holding the item's
// absolute path.
namespace SymbolicLinks {

// The wished name for a link to an item called `name` (storable text).
QString linkName(const QString& name, bool isDirectory);

struct Outcome {
    std::vector<std::filesystem::path> made;
    std::vector<Error> failures; // each naming the link it wished to make; later items go on
};

Outcome make(const std::vector<std::filesystem::path>& items, const std::filesystem::path& folder);

} // namespace SymbolicLinks
