#pragma once

#include "platform/DiskUsage.h"

#include <QDateTime>
#include <QString>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <sys/types.h>

// What the information window shows about one item, from one lstat (cheap enough
// for the main thread). Links are described as links, never followed.
struct ItemFacts {
    bool exists = false;
    mode_t mode = 0; // st_mode of the item itself
    uid_t uid = 0;
    gid_t gid = 0;
    QString owner;
    QString group;
    int64_t size = 0;
    int64_t onDisk = 0;
    std::optional<QDateTime> created;
    QDateTime modified;
    QDateTime accessed;
    std::optional<std::filesystem::path> linkTarget;
    QString kind;
    QString mimeType;
    QString iconName;

    static ItemFacts read(const std::filesystem::path& path);

    bool isFolder() const;
    bool isLink() const;
    // The owner (or root) may change the permission bits.
    bool canChangeMode() const;
};

namespace InfoText {

// "1.2 MB（1,234,567 バイト）"
QString size(int64_t bytes);
QString date(const std::optional<QDateTime>& time);

} // namespace InfoText
