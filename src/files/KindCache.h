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

KindInfo forFolder();
KindInfo forFileName(std::string_view nameBytes);

} // namespace KindCache
