#pragma once

#include "platform/DirectoryScanner.h"
#include "platform/FileIdentity.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <filesystem>
#include <optional>

// How the journals read their records and write a file's identity.
namespace JournalJson {

// The object a record holds; nullopt when the file is unreadable, larger than
// `maxBytes` or not a JSON object.
inline std::optional<QJsonObject> readObject(const std::filesystem::path& file, size_t maxBytes)
{
    const auto bytes = DirectoryScanner::readSmallFile(file, maxBytes);
    if (!bytes)
        return std::nullopt;
    QJsonParseError error;
    const QJsonDocument document =
        QJsonDocument::fromJson(QByteArray::fromStdString(*bytes), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    return document.object();
}

// Device and inode as decimal text: a JSON number loses bits above 2^53.
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
