#pragma once

#include "core/FileSort.h"
#include "files/FileEntry.h"

#include <QByteArray>
#include <QString>
#include <memory>
#include <vector>

class FileNode;

// The one order of every list: the key in the chosen direction, tagged items
// first when sorting by tags, then the name ascending; stable. Names and kinds are
// compared through ICU collation keys (numeric, case-insensitive) made once per
// string rather than once per comparison.
class FileSorter {
public:
    explicit FileSorter(FileSort sort)
        : m_sort(sort)
    {
    }

    // -1, 0 or 1 by the key alone.
    int compare(const FileEntry& a, const FileEntry& b) const;
    // The full order.
    bool areInIncreasingOrder(const FileEntry& a, const FileEntry& b) const;

    std::vector<FileEntry> sorted(std::vector<FileEntry> entries) const;
    void sort(std::vector<FileEntry>& entries) const;
    void sort(std::vector<std::unique_ptr<FileNode>>& nodes) const;

    // Collation key for text (names, kinds, tag keys); thread-safe.
    static QByteArray collationKey(const QString& text);
    // Localized standard comparison of two texts: -1, 0 or 1.
    static int localizedCompare(const QString& a, const QString& b);

private:
    FileSort m_sort;
};
