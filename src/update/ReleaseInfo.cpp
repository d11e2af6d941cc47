#include "update/ReleaseInfo.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>
#include <cmath>

namespace {

// A URL text that parses; with `web`, also absolute http or https with a host.
std::optional<QUrl> urlValue(const QJsonValue& value, bool web)
{
    if (!value.isString())
        return std::nullopt;
    const QUrl url(value.toString(), QUrl::StrictMode);
    if (!url.isValid() || url.isEmpty())
        return std::nullopt;
    const QString scheme = url.scheme().toLower();
    if (web && ((scheme != u"http" && scheme != u"https") || url.host().isEmpty()))
        return std::nullopt;
    return url;
}

// JSON has only doubles: an integer is a number without a fraction, in range.
std::optional<qint64> integerValue(const QJsonValue& value)
{
    if (!value.isDouble())
        return std::nullopt;
    const double number = value.toDouble();
    if (std::trunc(number) != number || std::abs(number) > 9.0e15)
        return std::nullopt;
    return qint64(number);
}

// The leading ASCII digits of each non-empty piece, without leading zeros, so pieces
// of any length compare exactly.
QStringList numericPieces(const QString& version)
{
    QStringList pieces;
    for (const QString& piece : version.split(u'.', Qt::SkipEmptyParts)) {
        qsizetype end = 0;
        while (end < piece.size() && piece[end] >= u'0' && piece[end] <= u'9')
            ++end;
        qsizetype start = 0;
        while (start < end && piece[start] == u'0')
            ++start;
        pieces.append(piece.mid(start, end - start));
    }
    return pieces;
}

int compareNumbers(const QString& a, const QString& b)
{
    if (a.size() != b.size())
        return a.size() < b.size() ? -1 : 1;
    return a.compare(b);
}

} // namespace

std::optional<ReleaseInfo> ReleaseInfo::fromJson(const QByteArray& json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonObject object = document.object();
    ReleaseInfo release;
    const QJsonValue version = object.value(u"version");
    const std::optional<QUrl> download = urlValue(object.value(u"download"), true);
    if (!version.isString() || !download)
        return std::nullopt;
    release.version = version.toString();
    release.download = *download;
    // Optional keys may be absent or null, but not of another type.
    const QJsonValue build = object.value(u"build");
    if (!build.isUndefined() && !build.isNull()) {
        release.build = integerValue(build);
        if (!release.build)
            return std::nullopt;
    }
    const QJsonValue page = object.value(u"page");
    if (!page.isUndefined() && !page.isNull()) {
        const std::optional<QUrl> url = urlValue(page, false);
        if (!url)
            return std::nullopt;
        release.page = *url;
    }
    return release;
}

bool isNewer(const QString& version, const QString& current)
{
    const QStringList offered = numericPieces(version);
    const QStringList installed = numericPieces(current);
    for (qsizetype i = 0; i < std::max(offered.size(), installed.size()); ++i) {
        const int order = compareNumbers(offered.value(i), installed.value(i));
        if (order != 0)
            return order > 0;
    }
    return false;
}
