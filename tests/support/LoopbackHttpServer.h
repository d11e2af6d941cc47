#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QUrl>
#include <memory>

class QObject;
class QThread;

// A tiny HTTP/1.1 server on 127.0.0.1 (a free port) for tests. It answers the routes
// registered on it from a thread of its own, so a test may block its main thread
// (running a child process to the end) while requests are served. Unknown paths get
// 404. Every answer carries Content-Length and closes the connection.
class LoopbackHttpServer {
public:
    using Headers = QList<QPair<QByteArray, QByteArray>>;

    struct Route {
        int status = 200;
        Headers headers; // besides Content-Length and Connection
        QByteArray body; // any size
        // Never answers: the connection stays open until the client gives up.
        bool stall = false;
        // When not negative: sends the headers (with the full Content-Length) and this
        // many bytes of the body, then holds the connection open.
        qint64 stallAfter = -1;
    };

    LoopbackHttpServer();
    ~LoopbackHttpServer();
    LoopbackHttpServer(const LoopbackHttpServer&) = delete;
    LoopbackHttpServer& operator=(const LoopbackHttpServer&) = delete;

    // Registers or replaces the answer for a path ("/version.json"; the query is ignored).
    void route(const QByteArray& path, Route route);
    void route(const QByteArray& path, int status, const QByteArray& body);

    quint16 port() const { return m_port; }
    // http://127.0.0.1:PORT followed by the path.
    QUrl url(const QByteArray& path) const;

    // Requests received so far, for one path or in all.
    int requests(const QByteArray& path) const;
    int requests() const;
    // The method and headers of the latest request for a path (header names lower-case).
    QByteArray lastMethod(const QByteArray& path) const;
    Headers lastHeaders(const QByteArray& path) const;

    struct State;

private:
    std::shared_ptr<State> m_state;
    QThread* m_thread = nullptr;
    QObject* m_context = nullptr; // lives in m_thread, parent of the listening socket
    quint16 m_port = 0;
};
