#pragma once

#include <QString>
#include <array>
#include <optional>

// The five list columns double as sort keys; raw values are what the settings store.
enum class FileSortKey { name, dateModified, size, kind, tags };

inline constexpr std::array<FileSortKey, 5> kAllFileSortKeys = {
    FileSortKey::name, FileSortKey::dateModified, FileSortKey::size, FileSortKey::kind,
    FileSortKey::tags};

QString rawValue(FileSortKey key);
std::optional<FileSortKey> fileSortKeyFromRaw(const QString& raw);

// A sort: which key and which direction. The ordering itself lives in files/FileSorter.
struct FileSort {
    FileSortKey key = FileSortKey::name;
    bool ascending = true;

    // A click on a column: the same key turns the direction, another key sorts
    // ascending by it.
    FileSort clicked(FileSortKey column) const
    {
        return column == key ? FileSort{key, !ascending} : FileSort{column, true};
    }

    bool operator==(const FileSort&) const = default;
};
