#include "http/HttpConnection.h"

#include <QEventLoop>
#include <QIODevice>
#include <QNetworkProxy>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QTcpSocket>
#include <QTimer>
#include <cerrno>
#include <sys/socket.h>

namespace tarnaxe {

namespace {

// A large body is read from its file in pieces of this size, and a piece is read only
// when less than kLowWater waits in the socket: memory stays under a megabyte for a file
// of any size, and the kernel always has the next bytes to send.
constexpr qint64 kPiece = 256 * 1024;
constexpr qint64 kLowWater = 512 * 1024;

QString socketErrorText(const QTcpSocket& socket, const QList<QSslError>& sslErrors)
{
    switch (socket.error()) {
    case QAbstractSocket::ConnectionRefusedError:
        return QStringLiteral("Connection refused");
    case QAbstractSocket::HostNotFoundError:
        return QStringLiteral("Host not found");
    case QAbstractSocket::RemoteHostClosedError:
        return QStringLiteral("Connection closed by the server");
    case QAbstractSocket::SocketTimeoutError:
        return QStringLiteral("Timed out");
    case QAbstractSocket::SslHandshakeFailedError: {
        QStringList reasons;
        for (const QSslError& error : sslErrors)
            reasons << error.errorString();
        reasons.removeDuplicates();
        return QStringLiteral("SSL handshake failed: ") +
               (reasons.isEmpty() ? socket.errorString() : reasons.join(QStringLiteral("; ")));
    }
    default:
        return socket.errorString();
    }
}

QSslConfiguration tlsConfiguration(const QList<QSslCertificate>& extraCaCertificates)
{
    QSslConfiguration config = QSslConfiguration::defaultConfiguration();
    // Qt loads the system's roots as a handshake needs them, but only as long as no CA
    // list is set; a list with the office's CAs must therefore name the system's too.
    if (!extraCaCertificates.isEmpty())
        config.setCaCertificates(QSslConfiguration::systemCaCertificates() + extraCaCertificates);
    config.setPeerVerifyMode(QSslSocket::VerifyPeer);
    return config;
}

} // namespace

struct HttpConnection::Exchange {
    QByteArray head;
    QIODevice* body = nullptr;
    int timeoutMs = 0;
    bool sending = false;
    bool allQueued = false;
    bool finished = false;
    QElapsedTimer lastMove;
    QEventLoop* loop = nullptr;
    QTimer* idle = nullptr;
    HttpExchangeResult result;
};

HttpConnection::HttpConnection() = default;

HttpConnection::~HttpConnection()
{
    close();
}

HttpExchangeResult HttpConnection::exchange(const HttpEndpoint& endpoint, QByteArray head,
                                            QIODevice* body, int inactivityTimeoutMs)
{
    Exchange x;
    x.head = std::move(head);
    x.body = body;
    x.timeoutMs = inactivityTimeoutMs;
    x.result.reused = reusable(endpoint);
    QEventLoop loop;
    QTimer idle;
    idle.setSingleShot(true);
    QObject::connect(&idle, &QTimer::timeout, &loop, [this] { onIdleTimer(); });
    x.loop = &loop;
    x.idle = &idle;
    x.lastMove.start();
    m_exchange = &x;
    if (x.result.reused)
        startSending();
    else
        open(endpoint);
    if (!x.finished) {
        idle.start(inactivityTimeoutMs);
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    }
    m_exchange = nullptr;
    // A connection is kept only where the next request can start cleanly: the whole of
    // this one went out and the reply ended where its framing said.
    if (!x.result.error.isEmpty() || !x.result.bodyError.isEmpty() || !x.allQueued ||
        pendingBytes() > 0 || !x.result.reply.keepAlive())
        close();
    return std::move(x.result);
}

void HttpConnection::close()
{
    if (!m_socket)
        return;
    // Nothing the socket says while it goes down belongs to an exchange.
    Exchange* const current = std::exchange(m_exchange, nullptr);
    QObject::disconnect(m_socket.get(), nullptr, nullptr, nullptr);
    m_socket->abort();
    m_socket.reset();
    m_exchange = current;
}

bool HttpConnection::reusable(const HttpEndpoint& endpoint) const
{
    if (!m_socket || !(m_endpoint == endpoint) ||
        m_socket->state() != QAbstractSocket::ConnectedState)
        return false;
    if (endpoint.secure && !static_cast<QSslSocket*>(m_socket.get())->isEncrypted())
        return false;
    // Bytes that came between exchanges answer nothing that was asked: the stream is out
    // of step with the requests.
    if (m_socket->bytesAvailable() > 0)
        return false;
    // A server closes idle connections; Qt learns of it only when its loop next turns.
    // The kernel already knows, and asking it spares a request sent into a closed
    // connection.
    const qintptr fd = m_socket->socketDescriptor();
    if (fd < 0)
        return true;
    char byte = 0;
    const ssize_t got = ::recv(int(fd), &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    if (got == 0)
        return false;
    if (got < 0)
        return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
    // Unread TLS records may be session tickets, sent after the handshake; plain bytes
    // are as unasked as those above.
    return endpoint.secure;
}

void HttpConnection::open(const HttpEndpoint& endpoint)
{
    close();
    m_endpoint = endpoint;
    m_sslErrors.clear();
    std::unique_ptr<QTcpSocket> socket;
    if (endpoint.secure) {
        auto ssl = std::make_unique<QSslSocket>();
        ssl->setSslConfiguration(tlsConfiguration(endpoint.extraCaCertificates));
        QSslSocket* raw = ssl.get();
        QObject::connect(raw, &QSslSocket::encrypted, raw, [this] {
            moved();
            startSending();
        });
        QObject::connect(raw, &QSslSocket::sslErrors, raw,
                         [this](const QList<QSslError>& errors) { m_sslErrors += errors; });
        // Counted where the encrypted bytes reach the kernel, so that the socket's
        // buffers never hold more than a few pieces.
        QObject::connect(raw, &QSslSocket::encryptedBytesWritten, raw, [this] {
            moved();
            sendMore();
        });
        socket = std::move(ssl);
    } else {
        socket = std::make_unique<QTcpSocket>();
        QObject::connect(socket.get(), &QIODevice::bytesWritten, socket.get(), [this] {
            moved();
            sendMore();
        });
    }
    QTcpSocket* raw = socket.get();
    // The server is the office's web application, reached directly.
    raw->setProxy(QNetworkProxy::NoProxy);
    QObject::connect(raw, &QAbstractSocket::connected, raw, [this, raw] {
        // Each request goes out in one write or in large pieces; nothing is gained by
        // holding a last small segment back for an acknowledgement.
        raw->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        moved();
        if (!m_endpoint.secure)
            startSending();
    });
    QObject::connect(raw, &QIODevice::readyRead, raw, [this] { onReadyRead(); });
    QObject::connect(raw, &QAbstractSocket::errorOccurred, raw, [this] { onSocketError(); });
    QObject::connect(raw, &QAbstractSocket::disconnected, raw, [this] { onSocketError(); });
    m_socket = std::move(socket);
    if (endpoint.secure)
        static_cast<QSslSocket*>(raw)->connectToHostEncrypted(endpoint.host, endpoint.port);
    else
        raw->connectToHost(endpoint.host, endpoint.port);
}

qint64 HttpConnection::pendingBytes() const
{
    if (!m_socket)
        return 0;
    qint64 pending = m_socket->bytesToWrite();
    if (m_endpoint.secure)
        pending += static_cast<QSslSocket*>(m_socket.get())->encryptedBytesToWrite();
    return pending;
}

void HttpConnection::moved()
{
    if (m_exchange)
        m_exchange->lastMove.restart();
}

void HttpConnection::startSending()
{
    Exchange* const x = m_exchange;
    if (!x || x->sending || x->finished)
        return;
    x->sending = true;
    m_socket->write(std::exchange(x->head, {}));
    sendMore();
    // A request held whole is written now rather than when the loop next turns. A
    // streamed body is left to the socket's write notifications, one piece per turn of
    // the loop, so that a fast reader cannot keep the loop from seeing the reply.
    if (x->allQueued)
        m_socket->flush();
}

void HttpConnection::sendMore()
{
    Exchange* const x = m_exchange;
    if (!x || !x->sending || x->finished)
        return;
    while (!x->allQueued && pendingBytes() < kLowWater) {
        if (!x->body || x->body->atEnd()) {
            x->allQueued = true;
            break;
        }
        const qint64 want = qMin(kPiece, x->body->size() - x->body->pos());
        QByteArray piece(qsizetype(want), Qt::Uninitialized);
        if (x->body->read(piece.data(), want) != want) {
            x->result.bodyError = x->body->errorString();
            finish();
            return;
        }
        m_socket->write(piece);
    }
}

void HttpConnection::onReadyRead()
{
    Exchange* const x = m_exchange;
    if (!x || x->finished)
        return;
    moved();
    HttpReplyParser& reply = x->result.reply;
    reply.feed(m_socket->readAll());
    if (reply.complete() || reply.failed())
        finish();
}

void HttpConnection::onSocketError()
{
    Exchange* const x = m_exchange;
    if (!x || x->finished)
        return;
    HttpReplyParser& reply = x->result.reply;
    // What came before the close still waits in the socket's buffer.
    if (m_socket->bytesAvailable() > 0)
        reply.feed(m_socket->readAll());
    if (reply.complete() || reply.failed()) {
        finish();
        return;
    }
    const QAbstractSocket::SocketError error = m_socket->error();
    if (error == QAbstractSocket::RemoteHostClosedError ||
        error == QAbstractSocket::UnknownSocketError) {
        reply.closed();
        x->result.unanswered = !reply.started();
        if (!reply.complete())
            x->result.error = QStringLiteral("Connection closed by the server");
    } else {
        x->result.error = socketErrorText(*m_socket, m_sslErrors);
    }
    finish();
}

void HttpConnection::onIdleTimer()
{
    Exchange* const x = m_exchange;
    if (!x || x->finished)
        return;
    const qint64 quiet = x->lastMove.elapsed();
    if (quiet < x->timeoutMs) {
        x->idle->start(int(x->timeoutMs - quiet));
        return;
    }
    x->result.error = QStringLiteral("Timed out");
    finish();
}

void HttpConnection::finish()
{
    Exchange* const x = m_exchange;
    x->finished = true;
    x->idle->stop();
    x->loop->quit();
}

} // namespace tarnaxe
