#include "files/FileEntry.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr size_t kHeader = 2 * sizeof(uint32_t);

uint32_t lengthAt(const char* bytes, size_t slot)
{
    uint32_t length;
    std::memcpy(&length, bytes + slot * sizeof(uint32_t), sizeof length);
    return length;
}

} // namespace

void FileEntry::Free::operator()(char* bytes) const
{
    std::free(bytes);
}

FileEntry::FileEntry(const FileEntry& other)
    : isFolder(other.isFolder)
    , isPackage(other.isPackage)
    , isHidden(other.isHidden)
    , isSymbolicLink(other.isSymbolicLink)
    , size(other.size)
    , dateModified(other.dateModified)
    , tagSortKey(other.tagSortKey)
    , identity(other.identity)
    , m_name(other.m_name ? std::make_unique<QString>(*other.m_name) : nullptr)
    , m_kind(other.m_kind)
{
    setPathBytesAndNameKey(other.pathBytes(), other.nameKey());
}

FileEntry& FileEntry::operator=(const FileEntry& other)
{
    if (this != &other)
        *this = FileEntry(other);
    return *this;
}

std::string_view FileEntry::pathBytes() const
{
    if (!m_bytes)
        return {};
    return {m_bytes.get() + kHeader, lengthAt(m_bytes.get(), 0)};
}

std::string_view FileEntry::nameBytes() const
{
    const std::string_view path = pathBytes();
    const size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

QString FileEntry::name() const
{
    if (m_name)
        return *m_name;
    const std::string_view path = pathBytes();
    if (path == "/")
        return QStringLiteral("/");
    const std::string_view bytes = nameBytes();
    return QString::fromUtf8(bytes.data(), qsizetype(bytes.size()));
}

void FileEntry::setName(const QString& name)
{
    m_name = std::make_unique<QString>(name);
}

const QString& FileEntry::kind() const
{
    static const QString none;
    return m_kind ? m_kind->kind : none;
}

const QString& FileEntry::iconName() const
{
    static const QString none;
    return m_kind ? m_kind->iconName : none;
}

std::string_view FileEntry::nameKey() const
{
    if (!m_bytes)
        return {};
    return {m_bytes.get() + kHeader + lengthAt(m_bytes.get(), 0), lengthAt(m_bytes.get(), 1)};
}

void FileEntry::setPathBytes(std::string_view path)
{
    setPathBytesAndNameKey(path, nameKey());
}

void FileEntry::setNameKey(std::string_view key)
{
    setPathBytesAndNameKey(pathBytes(), key);
}

// The old block may hold either view, so the new one is filled before it goes.
void FileEntry::setPathBytesAndNameKey(std::string_view path, std::string_view key)
{
    if (path.empty() && key.empty()) {
        m_bytes.reset();
        return;
    }
    auto* bytes = static_cast<char*>(std::malloc(kHeader + path.size() + key.size()));
    if (!bytes)
        throw std::bad_alloc();
    const uint32_t lengths[2] = {uint32_t(path.size()), uint32_t(key.size())};
    std::memcpy(bytes, lengths, kHeader);
    if (!path.empty())
        std::memcpy(bytes + kHeader, path.data(), path.size());
    if (!key.empty())
        std::memcpy(bytes + kHeader + path.size(), key.data(), key.size());
    m_bytes.reset(bytes);
}

char FileEntry::typeLetter() const
{
    if (isSymbolicLink)
        return isFolder ? 'L' : 'l';
    return isFolder ? 'd' : 'f';
}

// nameKey and iconName follow from the other fields, so they stay out of equality.
bool FileEntry::operator==(const FileEntry& other) const
{
    return pathBytes() == other.pathBytes() && name() == other.name() &&
           isFolder == other.isFolder && isPackage == other.isPackage &&
           isHidden == other.isHidden && isSymbolicLink == other.isSymbolicLink &&
           size == other.size && dateModified == other.dateModified && kind() == other.kind() &&
           tagSortKey == other.tagSortKey;
}
