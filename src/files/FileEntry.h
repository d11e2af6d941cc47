#pragma once

#include "files/KindCache.h"
#include "platform/FileIdentity.h"

#include <QString>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>

// One listed item. A folder of a million items holds a million of these, so the
// path and the name's collation key share one small allocation, the path is built
// as a std::filesystem::path only when asked for (libstdc++ keeps every component
// of a path as a path of its own, several hundred bytes each), the shown name is
// made from the path's bytes when asked for, and the kind is a pointer to a shared
// KindInfo. Everything but the collation key and the icon name takes part in
// equality.
struct FileEntry {
    bool isFolder = false;  // a directory (or a link to one), not a package
    bool isPackage = false; // always false on Linux
    bool isHidden = false;
    bool isSymbolicLink = false;
    std::optional<int64_t> size;          // absent for folders until a folder size is known
    std::optional<int64_t> dateModified;  // nanoseconds since 1970, UTC
    std::optional<QString> tagSortKey;    // only while sorting by tags
    std::optional<FileIdentity> identity; // absent when the item could not be stat'ed

    FileEntry() = default;
    FileEntry(const FileEntry& other);
    FileEntry& operator=(const FileEntry& other);
    FileEntry(FileEntry&&) noexcept = default;
    FileEntry& operator=(FileEntry&&) noexcept = default;

    // As listed, links not resolved; byte-exact.
    std::filesystem::path path() const { return std::filesystem::path(pathBytes()); }
    std::string_view pathBytes() const;
    // The raw bytes of the last component of pathBytes().
    std::string_view nameBytes() const;
    void setPath(const std::filesystem::path& path) { setPathBytes(path.native()); }
    void setPathBytes(std::string_view path);

    // The last component as shown ("/" for the root), unless setName gave another.
    QString name() const;
    void setName(const QString& name);

    // Japanese type description, may be empty; the theme icon name for the MIME type.
    const QString& kind() const;
    const QString& iconName() const;
    // `info` must outlive the entry: one from KindCache.
    void setKind(const KindInfo& info) { m_kind = &info; }

    // ICU collation key of name, made once when read (empty until then).
    std::string_view nameKey() const;
    void setNameKey(std::string_view key);
    // Both at once, in one allocation.
    void setPathBytesAndNameKey(std::string_view path, std::string_view key);

    // The letter quillo-tool prints: d folder, f file, l link to a file or dangling,
    // L link to a folder.
    char typeLetter() const;

    bool operator==(const FileEntry& other) const;

private:
    // One block: path length, key length (uint32 each), path bytes, key bytes.
    struct Free {
        void operator()(char* bytes) const;
    };

    std::unique_ptr<char, Free> m_bytes;
    std::unique_ptr<QString> m_name; // rare, so kept out of line; null: made from the path
    const KindInfo* m_kind = nullptr;
};
