#pragma once

#include <QString>
#include <filesystem>
#include <string_view>

// Conversions between byte-exact paths and the text people see. Paths stay
// std::filesystem::path everywhere; text is made only for showing and storing.
namespace PathText {

// Lexical standardization: no "." or ".." components, no repeated or trailing
// slashes. Links are never resolved. A relative path stays relative.
std::filesystem::path standardized(const std::filesystem::path& path);

// The parent folder of a standardized absolute path; "/" for "/".
std::filesystem::path parent(const std::filesystem::path& path);

// The last component as shown: "/" for the root, invalid bytes as U+FFFD.
QString displayName(const std::filesystem::path& path);

// The whole path as shown (invalid bytes as U+FFFD).
QString display(const std::filesystem::path& path);

// As shown with the home folder written "~": "~" for home itself, "~/rest" below it,
// else the whole path. A home of "/" abbreviates nothing.
QString abbreviated(const std::filesystem::path& path, const std::filesystem::path& home);
QString abbreviated(const std::filesystem::path& path); // against homeFolder()

// Text to path: UTF-8 bytes. For text typed by people or read from our files.
std::filesystem::path fromText(const QString& text);

// Lossless text form for persisting a path: UTF-8 where valid, and any byte that
// is not part of valid UTF-8 written as U+DC80+byte (as Python's surrogateescape).
QString toStorableText(const std::filesystem::path& path);
std::filesystem::path fromStorableText(const QString& text);

// Name bytes with control characters, backslashes and invalid UTF-8 escaped as \xHH.
std::string escapedName(std::string_view bytes);

// True when the bytes are valid UTF-8.
bool isValidUtf8(std::string_view bytes);

// The user's home folder ($HOME, else the password database).
std::filesystem::path homeFolder();

// $XDG_DATA_HOME as bytes, or ~/.local/share when it is unset or relative.
std::filesystem::path dataHome();

} // namespace PathText
