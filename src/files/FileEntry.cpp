#include "files/FileEntry.h"

char FileEntry::typeLetter() const
{
    if (isSymbolicLink)
        return isFolder ? 'L' : 'l';
    return isFolder ? 'd' : 'f';
}

// nameKey and iconName follow from the other fields, so they stay out of equality.
bool FileEntry::operator==(const FileEntry& other) const
{
    return path == other.path && name == other.name && isFolder == other.isFolder &&
           isPackage == other.isPackage && isHidden == other.isHidden &&
           isSymbolicLink == other.isSymbolicLink && size == other.size &&
           dateModified == other.dateModified && kind == other.kind &&
           tagSortKey == other.tagSortKey;
}
