#pragma once

#include "update/ReleaseInfo.h"

#include <QObject>
#include <QUrl>
#include <chrono>
#include <functional>

class QNetworkAccessManager;
class QNetworkReply;

// Asks the release manifest on the web whether a newer Quillo exists. Lives on the
// main thread; the network work is Qt's own and the answer comes back on this thread.
class UpdateChecker : public QObject {
    Q_OBJECT
public:
    struct Result {
        enum Kind { available, upToDate, failed };
        Kind kind = failed;
        ReleaseInfo release; // for available
        QString message;     // for failed: what went wrong, without advice
    };

    explicit UpdateChecker(QObject* parent = nullptr);
    ~UpdateChecker() override;

    // $QUILLO_UPDATE_URL when it holds an http(s) URL, else our release endpoint.
    static QUrl feedUrl();
    // The version this program was built as; "0" when unknown.
    static QString currentVersion();

    // Loads the manifest at `url` (never from a cache) and compares it with `current`.
    // `done` runs once, later, on this object's thread; never after it is destroyed.
    void fetch(const QUrl& url, const QString& current, std::function<void(Result)> done);

    // How long a transfer may stall before it fails; 15 seconds unless a test shortens it.
    void setTimeout(std::chrono::milliseconds timeout) { m_timeout = timeout; }

private:
    Result resultOf(QNetworkReply* reply, const QString& current, bool tooLarge) const;

    QNetworkAccessManager* m_network;
    std::chrono::milliseconds m_timeout{15'000};
};
