#pragma once

#include <QString>

// Whether a typed filter finds a title, for the lists that filter as one types (the
// tag editor, the shortcut settings): the fuzzy matcher over both texts folded for
// case, width and accents, then over the title's romaji.
namespace SearchFilter {

bool matches(const QString& query, const QString& title);

// The title's romaji, transcribed once per title for the life of the program. Main
// thread only.
const QString& romajiOf(const QString& title);

} // namespace SearchFilter
