#pragma once

#include <QString>

// Turns Japanese text into lower-case Latin letters so that typed Latin letters can find
// Japanese titles. Safe to call from several threads.
namespace Romaji {

// Kanji and kana by their readings; other text lower-cased without diacritics; no white space.
QString transcribe(const QString& text);

// The path taken when the reading dictionary cannot be loaded: only kana are transcribed,
// kanji stay as they are.
QString transcribeKanaOnly(const QString& text);

} // namespace Romaji
