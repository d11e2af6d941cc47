#pragma once

#include <QByteArray>
#include <QString>
#include <filesystem>
#include <vector>

// Finds tagged items that another program moved, from their bookmarks. Pure file
// system work for a background thread.
namespace MovedItemSearch {

struct Record {
    QString key;         // where the item was (NFC path text)
    QByteArray bookmark; // FileBookmark bytes
};

struct Found {
    QString key;                 // where it was
    std::filesystem::path where; // where it is now
};

// Records whose bookmarked path is gone and whose item was found elsewhere: in
// its old folder, below a folder found moved earlier in the search, or in one of
// `moreFolders`. Records are searched parents first. A record whose path holds
// another file now (an editor saving by rename) comes back with the same path, so
// that its bookmark is made anew.
std::vector<Found> search(std::vector<Record> records,
                          const std::vector<std::filesystem::path>& moreFolders);

} // namespace MovedItemSearch
