#pragma once

#include "palette/PaletteCommand.h"
#include "tags/Tag.h"

#include <QString>
#include <filesystem>
#include <variant>
#include <vector>

// One result of the palette.
struct PaletteItem {
    struct Folder {
        std::filesystem::path path;
        bool operator==(const Folder&) const = default;
    };
    struct File {
        std::filesystem::path path;
        bool operator==(const File&) const = default;
    };
    // A typed path, always a folder.
    struct Path {
        std::filesystem::path path;
        bool operator==(const Path&) const = default;
    };
    using Kind = std::variant<PaletteCommand, Tag, Folder, File, Path>;

    // A freedesktop icon name ("folder"), or a path whose own icon is shown.
    struct Icon {
        enum class Type { Symbol, File } type = Type::Symbol;
        QString name;
        std::filesystem::path path;
        bool operator==(const Icon&) const = default;

        static Icon symbol(const QString& name) { return {Type::Symbol, name, {}}; }
        static Icon file(const std::filesystem::path& path) { return {Type::File, {}, path}; }
    };

    QString id;
    Kind kind;
    QString title;
    QString subtitle;
    QString detail;
    Icon icon;
    std::vector<int> highlights; // grapheme indices of the title
    double score = 0;

    // The folder a folder, path or file result stands for (a file's own path);
    // empty for commands and tags.
    std::filesystem::path location() const;
    bool isFile() const { return std::holds_alternative<File>(kind); }
};

// What the first character of the query asks for.
enum class PaletteMode { Empty, Mixed, Command, Path, File, Sidebar };

namespace PaletteModes {

PaletteMode detect(const QString& query);
// The text searched for: the query without the character that chose the mode.
// The path mode keeps it, since "/" and "~" belong to the path.
QString searchText(const QString& query, PaletteMode mode);

} // namespace PaletteModes
