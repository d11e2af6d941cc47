#pragma once

#include "platform/FileIdentity.h"

#include <QJsonArray>
#include <QJsonValue>
#include <QString>
#include <optional>

// How the journals write a file's identity: device and inode as decimal text, since
// a JSON number loses bits above 2^53.
namespace JournalJson {

inline QJsonValue encodeIdentity(const std::optional<FileIdentity>& identity)
{
    if (!identity)
        return QJsonValue();
    return QJsonArray{QString::number(identity->device), QString::number(identity->inode)};
}

inline std::optional<FileIdentity> decodeIdentity(const QJsonValue& value)
{
    const QJsonArray pair = value.toArray();
    bool deviceOk = false, inodeOk = false;
    const FileIdentity identity{pair.at(0).toString().toULongLong(&deviceOk),
                                pair.at(1).toString().toULongLong(&inodeOk)};
    if (pair.size() != 2 || !deviceOk || !inodeOk)
        return std::nullopt;
    return identity;
}

} // namespace JournalJson
