#include "update/UpdateChecker.h"

#include "core/MainThread.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <memory>

namespace {

const char defaultFeed[] = "https://quillo.app/releases/version.json";
// A manifest is a few hundred bytes; anything far larger is not one.
constexpr qint64 maxManifestBytes = 1 << 20;

QString unreadable()
{
    return QStringLiteral("最新版の情報を読めませんでした");
}

// Short Japanese texts for the transport errors people meet; Qt's own text otherwise.
QString transportMessage(const QNetworkReply& reply)
{
    switch (reply.error()) {
    case QNetworkReply::ConnectionRefusedError:
        return QStringLiteral("サーバーに接続できませんでした");
    case QNetworkReply::HostNotFoundError:
        return QStringLiteral("サーバーが見つかりませんでした");
    case QNetworkReply::TimeoutError:
    case QNetworkReply::OperationCanceledError: // the transfer timeout aborts the reply
        return QStringLiteral("サーバーからの応答がありませんでした");
    case QNetworkReply::RemoteHostClosedError:
        return QStringLiteral("サーバーとの接続が切れました");
    case QNetworkReply::SslHandshakeFailedError:
        return QStringLiteral("サーバーと安全に接続できませんでした");
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::NetworkSessionFailedError:
        return QStringLiteral("ネットワークにつながっていません");
    case QNetworkReply::ProxyConnectionRefusedError:
    case QNetworkReply::ProxyNotFoundError:
    case QNetworkReply::ProxyTimeoutError:
    case QNetworkReply::ProxyConnectionClosedError:
        return QStringLiteral("プロキシに接続できませんでした");
    case QNetworkReply::TooManyRedirectsError:
    case QNetworkReply::InsecureRedirectError:
        return QStringLiteral("サーバーの転送先をたどれませんでした");
    case QNetworkReply::ProtocolUnknownError:
        return QStringLiteral("この URL には対応していません");
    default:
        return reply.errorString();
    }
}

} // namespace

UpdateChecker::UpdateChecker(QObject* parent)
    : QObject(parent)
    , m_network(new QNetworkAccessManager(this))
{
}

UpdateChecker::~UpdateChecker()
{
    // A fetch still under way ends without calling back into a half-destroyed owner.
    for (QNetworkReply* reply : m_network->findChildren<QNetworkReply*>())
        reply->disconnect(this);
}

QUrl UpdateChecker::feedUrl()
{
    const QUrl url(qEnvironmentVariable("QUILLO_UPDATE_URL"), QUrl::StrictMode);
    const QString scheme = url.scheme().toLower();
    if (url.isValid() && (scheme == u"http" || scheme == u"https") && !url.host().isEmpty())
        return url;
    return QUrl(QString::fromLatin1(defaultFeed));
}

QString UpdateChecker::currentVersion()
{
#ifdef QUILLO_VERSION
    const QString version = QStringLiteral(QUILLO_VERSION);
#else
    const QString version;
#endif
    return version.isEmpty() ? QStringLiteral("0") : version;
}

void UpdateChecker::fetch(const QUrl& url, const QString& current, std::function<void(Result)> done)
{
    QUILLO_ASSERT_MAIN_THREAD();
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    request.setTransferTimeout(int(m_timeout.count()));
    request.setRawHeader("Accept", "application/json");
    QNetworkReply* reply = m_network->get(request);
    auto tooLarge = std::make_shared<bool>(false);
    connect(reply, &QNetworkReply::downloadProgress, this, [reply, tooLarge](qint64 received) {
        if (received > maxManifestBytes && !*tooLarge) {
            *tooLarge = true;
            reply->abort();
        }
    });
    connect(reply, &QNetworkReply::finished, this,
            [this, reply, current, tooLarge, done = std::move(done)] {
                reply->deleteLater();
                done(resultOf(reply, current, *tooLarge));
            });
}

UpdateChecker::Result UpdateChecker::resultOf(QNetworkReply* reply, const QString& current,
                                              bool tooLarge) const
{
    if (tooLarge)
        return {Result::failed, {}, unreadable()};
    // A status means the server answered; only then is the error about the answer.
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (status.isValid() && (status.toInt() < 200 || status.toInt() > 299))
        return {Result::failed,
                {},
                QStringLiteral("サーバーが ") + QString::number(status.toInt()) +
                    QStringLiteral(" を返しました")};
    if (reply->error() != QNetworkReply::NoError)
        return {Result::failed, {}, transportMessage(*reply)};
    const std::optional<ReleaseInfo> release = ReleaseInfo::fromJson(reply->readAll());
    if (!release)
        return {Result::failed, {}, unreadable()};
    if (isNewer(release->version, current))
        return {Result::available, *release, {}};
    return {Result::upToDate, {}, {}};
}
