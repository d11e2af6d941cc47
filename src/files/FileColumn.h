#pragma once

#include "core/FileSort.h"

#include <Qt>
#include <array>

// Presentation of the five list columns. Columns and sort keys share raw values.
struct FileColumn {
    FileSortKey key;
    const char* title; // UTF-8
    int initialWidth;
    int minimumWidth;
    Qt::Alignment headerAlignment;
};

inline constexpr std::array<FileColumn, 5> kFileColumns = {{
    {FileSortKey::name, "名前", 320, 120, Qt::AlignLeft},
    {FileSortKey::dateModified, "変更日", 150, 50, Qt::AlignLeft},
    {FileSortKey::size, "サイズ", 80, 50, Qt::AlignRight},
    {FileSortKey::kind, "種類", 140, 50, Qt::AlignLeft},
    {FileSortKey::tags, "タグ", 150, 50, Qt::AlignLeft},
}};
