#pragma once

#include "platform/FileIdentity.h"

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <filesystem>
#include <optional>

// One listed item. The ten fields below take part in equality; nameKey,
// iconName and identity are derived when the entry is read.
struct FileEntry {
    std::filesystem::path path; // as listed, links not resolved
    QString name;               // last component as shown; "/" for the root
    bool isFolder = false;      // a directory (or a link to one), not a package
    bool isPackage = false;     // always false on Linux
    bool isHidden = false;
    bool isSymbolicLink = false;
    std::optional<int64_t> size;         // absent for folders until a folder size is known
    std::optional<int64_t> dateModified; // nanoseconds since 1970, UTC
    QString kind;                        // Japanese type description, may be empty
    std::optional<QString> tagSortKey;   // only while sorting by tags

    QByteArray nameKey;                   // ICU collation key of name, made once when read
    QString iconName;                     // theme icon name for the MIME type
    std::optional<FileIdentity> identity; // absent when the item could not be stat'ed

    // The letter quillo-tool prints: d folder, f file, l link to a file or dangling,
    // L link to a folder.
    char typeLetter() const;

    bool operator==(const FileEntry& other) const;
};
