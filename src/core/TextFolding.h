#pragma once

#include <QString>

// Folding for "contains" searches that ignore case, diacritics and width:
// full-width and half-width forms, "É" and "e", "A" and "a" all fold alike.
namespace TextFolding {

QString fold(const QString& text);

// True when `haystack` contains `needle` after folding both. `foldedNeedle`
// must already be folded (fold once, test many names).
bool containsFolded(const QString& haystack, const QString& foldedNeedle);

} // namespace TextFolding
