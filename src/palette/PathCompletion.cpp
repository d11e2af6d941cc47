#include "palette/PathCompletion.h"

#include "core/PathText.h"
#include "files/DirectoryReader.h"
#include "platform/DirectoryScanner.h"

#include <algorithm>
#include <optional>

namespace fs = std::filesystem;

namespace {

const QString kTilde = QStringLiteral("~");
const QString kSlash = QStringLiteral("/");

// The form names are compared in: composed (names copied from some systems arrive
// decomposed, typed text is composed) and lower-cased.
QString matchKey(const QString& text)
{
    return text.normalized(QString::NormalizationForm_C).toLower();
}

// Folder names in `folder` that the prefix selects, in subfolderNames' order.
std::optional<QStringList> candidates(const fs::path& folder, const QString& prefix)
{
    auto names = PathCompletion::subfolderNames(folder);
    if (!names)
        return std::nullopt;
    const QString key = matchKey(prefix);
    const bool offerHidden = prefix.startsWith(QLatin1Char('.'));
    names->removeIf([&](const QString& name) {
        return (name.startsWith(QLatin1Char('.')) && !offerHidden) ||
               !matchKey(name).startsWith(key);
    });
    return names;
}

} // namespace

namespace PathCompletion {

std::optional<QStringList> subfolderNames(const fs::path& folder)
{
    const auto items = DirectoryScanner::scan(folder);
    if (!items)
        return std::nullopt;
    QStringList names;
    for (const ScannedItem& item : *items) {
        if (item.isDirectory() && PathText::isValidUtf8(item.name))
            names << QString::fromUtf8(item.name.data(), qsizetype(item.name.size()));
    }
    std::sort(names.begin(), names.end(), [](const QString& a, const QString& b) {
        const int order = a.compare(b, Qt::CaseInsensitive);
        return order != 0 ? order < 0 : a < b;
    });
    return names;
}

QString expand(const QString& text, const fs::path& base, const QString& home)
{
    if (text == kTilde)
        return home;
    if (text.startsWith(QStringLiteral("~/")))
        return home + text.mid(1);
    if (text.startsWith(kSlash))
        return text;
    const QString basePath = PathText::toStorableText(base);
    if (text.isEmpty())
        return basePath;
    if (basePath.endsWith(kSlash))
        return basePath + text;
    return basePath + kSlash + text;
}

QString complete(const QString& text, const fs::path& base, const QString& home)
{
    if (text == kTilde)
        return QStringLiteral("~/");
    const qsizetype split = text.lastIndexOf(kSlash) + 1;
    const QString folderPart = text.left(split);
    const QString prefix = text.mid(split);
    const auto names =
        candidates(PathText::fromStorableText(expand(folderPart, base, home)), prefix);
    if (!names || names->isEmpty())
        return text;
    if (names->size() == 1)
        return folderPart + names->front() + kSlash;
    const QString common = longestCommonPrefix(*names);
    return folderPart + (prefix.size() >= common.size() ? prefix : common);
}

QString longestCommonPrefix(const QStringList& texts)
{
    if (texts.isEmpty())
        return {};
    qsizetype length = texts.front().size();
    for (const QString& text : texts) {
        length = std::min(length, text.size());
        const auto first = texts.front().cbegin();
        length = std::mismatch(first, first + length, text.cbegin()).first - first;
    }
    // Never end between the halves of a surrogate pair.
    if (length > 0 && texts.front().at(length - 1).isHighSurrogate())
        --length;
    return texts.front().left(length);
}

std::vector<fs::path> siblingFolders(const fs::path& folder, bool includeHidden, int limit)
{
    auto entries =
        DirectoryReader::read(PathText::parent(PathText::standardized(folder)), includeHidden);
    if (!entries || limit <= 0)
        return {};
    std::erase_if(*entries, [](const FileEntry& entry) { return !entry.isFolder; });
    std::sort(entries->begin(), entries->end(), [](const FileEntry& a, const FileEntry& b) {
        return a.nameKey() != b.nameKey() ? a.nameKey() < b.nameKey()
                                          : a.pathBytes() < b.pathBytes();
    });
    std::vector<fs::path> folders;
    for (const FileEntry& entry : *entries) {
        if (folders.size() >= size_t(limit))
            break;
        folders.push_back(entry.path());
    }
    return folders;
}

} // namespace PathCompletion
