#pragma once

#include <QString>
#include <string_view>

// Japanese type descriptions and icon names, looked up in the MIME database by
// name only (no content sniffing) and cached per lower-cased extension, because
// one lookup costs microseconds and a folder can hold 100,000 names. Thread-safe.
struct KindInfo {
    QString kind;     // e.g. "PNG 画像"
    QString iconName; // e.g. "image-png"
};

namespace KindCache {

// Every KindInfo handed out lives as long as the program: a listed entry keeps a
// pointer to its kind instead of two strings.
const KindInfo& forFolder();
const KindInfo& forFileName(std::string_view nameBytes);
// The one shared KindInfo equal to (kind, iconName).
const KindInfo& intern(const QString& kind, const QString& iconName);

} // namespace KindCache
