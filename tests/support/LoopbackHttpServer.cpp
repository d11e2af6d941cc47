#include "support/LoopbackHttpServer.h"

#include <QHostAddress>
#include <QMutex>
#include <QMutexLocker>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <map>
#include <stdexcept>

struct LoopbackHttpServer::State {
    mutable QMutex mutex;
    std::map<QByteArray, Route> routes;
    std::map<QByteArray, int> counts;
    std::map<QByteArray, QPair<QByteArray, Headers>> latest;
    int total = 0;
};

namespace {

using State = LoopbackHttpServer::State;
using Route = LoopbackHttpServer::Route;

struct Request {
    QByteArray method;
    QByteArray path;
    LoopbackHttpServer::Headers headers;
};

// The request line and header fields, up to the blank line.
Request parseHead(const QByteArray& head)
{
    const QList<QByteArray> lines = head.split('\n');
    const QList<QByteArray> first = lines.value(0).trimmed().split(' ');
    const QByteArray target = first.value(1);
    const qsizetype query = target.indexOf('?');
    Request request{first.value(0), query < 0 ? target : target.left(query), {}};
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QByteArray line = lines[i].trimmed();
        const qsizetype colon = line.indexOf(':');
        if (colon > 0)
            request.headers.append(
                {line.left(colon).trimmed().toLower(), line.mid(colon + 1).trimmed()});
    }
    return request;
}

QByteArray reasonPhrase(int status)
{
    switch (status) {
    case 200:
        return "OK";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 500:
        return "Internal Server Error";
    default:
        return "Status";
    }
}

QByteArray responseHead(const Route& route)
{
    QByteArray head =
        "HTTP/1.1 " + QByteArray::number(route.status) + ' ' + reasonPhrase(route.status) + "\r\n";
    for (const auto& [name, value] : route.headers)
        head += name + ": " + value + "\r\n";
    head += "Content-Length: " + QByteArray::number(route.body.size()) +
            "\r\nConnection: close\r\n\r\n";
    return head;
}

// Counts the request and picks its route (404 when none is registered).
Route record(State& state, const Request& request)
{
    QMutexLocker lock(&state.mutex);
    ++state.total;
    ++state.counts[request.path];
    state.latest[request.path] = {request.method, request.headers};
    const auto found = state.routes.find(request.path);
    if (found != state.routes.end())
        return found->second;
    Route missing;
    missing.status = 404;
    return missing;
}

void answer(QTcpSocket* socket, const Request& request, State& state)
{
    const Route route = record(state, request);
    if (route.stall)
        return;
    socket->write(responseHead(route));
    const bool withBody = request.method != "HEAD";
    if (route.stallAfter >= 0) {
        if (withBody)
            socket->write(route.body.left(route.stallAfter));
        return;
    }
    if (withBody)
        socket->write(route.body);
    // Sends what is buffered first, then closes.
    socket->disconnectFromHost();
}

void serve(QTcpSocket* socket, const std::shared_ptr<State>& state)
{
    struct Pending {
        QByteArray head;
        bool answered = false;
    };
    auto pending = std::make_shared<Pending>();
    QObject::connect(socket, &QTcpSocket::readyRead, socket, [socket, state, pending] {
        const QByteArray data = socket->readAll();
        if (pending->answered)
            return;
        pending->head += data;
        // Not HTTP (a TLS hello, say): refuse it as a plain server would.
        const char first = pending->head.isEmpty() ? 'A' : pending->head.front();
        if (first < 'A' || first > 'Z') {
            pending->answered = true;
            socket->write("HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\nConnection: "
                          "close\r\n\r\n");
            socket->disconnectFromHost();
            return;
        }
        const qsizetype end = pending->head.indexOf("\r\n\r\n");
        if (end < 0)
            return;
        pending->answered = true;
        answer(socket, parseHead(pending->head.left(end)), *state);
    });
    QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
}

} // namespace

LoopbackHttpServer::LoopbackHttpServer()
    : m_state(std::make_shared<State>())
    , m_thread(new QThread)
    , m_context(new QObject)
{
    m_thread->setObjectName(QStringLiteral("loopback-http"));
    m_context->moveToThread(m_thread);
    m_thread->start();
    QMetaObject::invokeMethod(
        m_context,
        [this, state = m_state] {
            auto* server = new QTcpServer(m_context);
            QObject::connect(server, &QTcpServer::newConnection, server, [server, state] {
                while (QTcpSocket* socket = server->nextPendingConnection())
                    serve(socket, state);
            });
            if (server->listen(QHostAddress::LocalHost, 0))
                m_port = server->serverPort();
        },
        Qt::BlockingQueuedConnection);
    if (m_port == 0)
        throw std::runtime_error("loopback HTTP server: cannot listen on 127.0.0.1");
}

LoopbackHttpServer::~LoopbackHttpServer()
{
    // The server and its connections go on their own thread; the bare context after it.
    QMetaObject::invokeMethod(
        m_context, [context = m_context] { qDeleteAll(context->children()); },
        Qt::BlockingQueuedConnection);
    m_thread->quit();
    m_thread->wait();
    delete m_context;
    delete m_thread;
}

void LoopbackHttpServer::route(const QByteArray& path, Route route)
{
    QMutexLocker lock(&m_state->mutex);
    m_state->routes[path] = std::move(route);
}

void LoopbackHttpServer::route(const QByteArray& path, int status, const QByteArray& body)
{
    Route plain;
    plain.status = status;
    plain.body = body;
    route(path, std::move(plain));
}

QUrl LoopbackHttpServer::url(const QByteArray& path) const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(m_port) + QString::fromUtf8(path));
}

int LoopbackHttpServer::requests(const QByteArray& path) const
{
    QMutexLocker lock(&m_state->mutex);
    const auto found = m_state->counts.find(path);
    return found == m_state->counts.end() ? 0 : found->second;
}

int LoopbackHttpServer::requests() const
{
    QMutexLocker lock(&m_state->mutex);
    return m_state->total;
}

QByteArray LoopbackHttpServer::lastMethod(const QByteArray& path) const
{
    QMutexLocker lock(&m_state->mutex);
    const auto found = m_state->latest.find(path);
    return found == m_state->latest.end() ? QByteArray() : found->second.first;
}

LoopbackHttpServer::Headers LoopbackHttpServer::lastHeaders(const QByteArray& path) const
{
    QMutexLocker lock(&m_state->mutex);
    const auto found = m_state->latest.find(path);
    return found == m_state->latest.end() ? Headers() : found->second.second;
}
