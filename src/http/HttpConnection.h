#pragma once
// The one keep-alive connection of an HttpTransport, and one request and its reply on it,
// run in a local event loop on the caller's thread: no thread of its own, no hop between
// threads for each request.

#include "http/HttpReplyParser.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QList>
#include <QSslCertificate>
#include <QSslError>
#include <QString>
#include <memory>

class QEventLoop;
class QIODevice;
class QTcpSocket;
class QTimer;

namespace tarnaxe {

struct HttpEndpoint {
    QString host; // a name or an address, without brackets
    quint16 port = 0;
    bool secure = false;
    QList<QSslCertificate> extraCaCertificates;

    bool operator==(const HttpEndpoint&) const = default;
};

struct HttpExchangeResult {
    HttpReplyParser reply; // complete() when the server answered
    QString error;         // empty when the server answered
    // The request went on a connection that an earlier exchange had opened.
    bool reused = false;
    // The connection closed before any byte of an answer came: the server may never
    // have seen the request, or seen it and dropped the connection.
    bool unanswered = false;
    QString bodyError; // the body's source failed while it was sent
};

class HttpConnection {
public:
    HttpConnection();
    ~HttpConnection();
    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;

    // Sends head (and whatever of the body it already holds), then the rest of body, if
    // any, read from where it stands as the socket drains, and waits for the reply. User
    // input is left for later while it waits; other events are handled.
    HttpExchangeResult exchange(const HttpEndpoint& endpoint, QByteArray head, QIODevice* body,
                                int inactivityTimeoutMs);

    // Drops the connection; the next exchange opens a new one.
    void close();

private:
    struct Exchange;

    bool reusable(const HttpEndpoint& endpoint) const;
    void open(const HttpEndpoint& endpoint);
    qint64 pendingBytes() const;
    void moved();
    void startSending();
    void sendMore();
    void onReadyRead();
    void onSocketError();
    void onIdleTimer();
    void finish();

    std::unique_ptr<QTcpSocket> m_socket;
    HttpEndpoint m_endpoint;
    QList<QSslError> m_sslErrors;
    Exchange* m_exchange = nullptr;
};

} // namespace tarnaxe
