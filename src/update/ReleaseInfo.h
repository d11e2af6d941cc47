#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <optional>

// The release manifest ("version.json") that the update check reads.
struct ReleaseInfo {
    QString version;             // dotted numbers
    std::optional<qint64> build; // build number, when given
    QUrl download;               // the release archive, an absolute http(s) URL
    QUrl page;                   // the release notes, when given

    // Decodes the manifest; nullopt when it is not a JSON object, a required key is
    // missing or any known key has the wrong type.
    static std::optional<ReleaseInfo> fromJson(const QByteArray& json);

    bool operator==(const ReleaseInfo&) const = default;
};

// Whether `version` is later than `current`, comparing the leading numbers of their
// dotted pieces ("1.10" > "1.9", "1.2" == "1.2.0", "2b" counts as 2).
bool isNewer(const QString& version, const QString& current);
