#pragma once

#include <QString>
#include <filesystem>
#include <functional>
#include <optional>

// Checking and inventing file names. Pure apart from the existence probe passed in.
// Names that are not valid UTF-8 go through PathText's storable text form, so their
// bytes survive a split and a suffix.
namespace FileNaming {

enum class Style {
    copy,     // "名前 のコピー", "名前 のコピー 2", …
    numbered, // "名前", "名前 2", …
};

struct SplitName {
    QString base;
    QString ext; // without the dot; may be empty
};

// The message to show for an unacceptable name, or nullopt.
std::optional<QString> validationError(const QString& name);
SplitName split(const QString& name, bool isDirectory);
QString stripCopySuffix(const QString& base);

// `wished` itself or a sibling with a derived name that does not exist.
std::filesystem::path uniquePath(const std::filesystem::path& wished, bool isDirectory, Style style,
                                 const std::function<bool(const std::filesystem::path&)>& exists);

// The probe every caller uses: lstat succeeds (a dangling link exists).
bool exists(const std::filesystem::path& path);

} // namespace FileNaming
