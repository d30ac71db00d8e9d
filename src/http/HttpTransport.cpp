#include "http/HttpTransport.h"

#include "http/HttpConnection.h"
#include "http/PrefixedFileDevice.h"
#include "platform/Logging.h"

#include <QElapsedTimer>

namespace tarnaxe {

namespace {

// A body up to this size (every chunk and its fields) goes out with its head in one write.
constexpr qint64 kInMemoryBody = 256 * 1024;

// For servers that leave the reason phrase out.
QString standardReason(int status)
{
    static constexpr struct {
        int status;
        const char* reason;
    } kReasons[] = {
        {300, "Multiple Choices"},
        {301, "Moved Permanently"},
        {302, "Found"},
        {303, "See Other"},
        {304, "Not Modified"},
        {307, "Temporary Redirect"},
        {308, "Permanent Redirect"},
        {400, "Bad Request"},
        {401, "Unauthorized"},
        {403, "Forbidden"},
        {404, "Not Found"},
        {405, "Method Not Allowed"},
        {408, "Request Timeout"},
        {409, "Conflict"},
        {411, "Length Required"},
        {413, "Content Too Large"},
        {414, "URI Too Long"},
        {415, "Unsupported Media Type"},
        {429, "Too Many Requests"},
        {500, "Internal Server Error"},
        {501, "Not Implemented"},
        {502, "Bad Gateway"},
        {503, "Service Unavailable"},
        {504, "Gateway Timeout"},
        {505, "HTTP Version Not Supported"},
    };
    for (const auto& [code, reason] : kReasons) {
        if (code == status)
            return QString::fromLatin1(reason);
    }
    return {};
}

QString httpStatusText(const HttpReplyParser& reply)
{
    const int status = reply.status();
    QString text = QStringLiteral("HTTP %1").arg(status);
    QString reason = QString::fromLatin1(reply.reason()).trimmed();
    if (reason.isEmpty())
        reason = standardReason(status);
    if (!reason.isEmpty())
        text += QLatin1Char(' ') + reason;
    if (status >= 300 && status < 400) {
        // Never followed: a server that moved should be configured where it now is.
        const QString target = QString::fromUtf8(reply.header("Location"));
        if (!target.isEmpty())
            text += QStringLiteral(" (redirect to %1 not followed)").arg(target);
    }
    return text;
}

HttpPostResult postResult(const HttpExchangeResult& exchange, const QString& filePath)
{
    HttpPostResult result;
    const HttpReplyParser& reply = exchange.reply;
    if (!exchange.bodyError.isEmpty())
        result.error = QStringLiteral("Cannot read %1: %2").arg(filePath, exchange.bodyError);
    else if (!exchange.error.isEmpty())
        result.error = exchange.error;
    else if (reply.failed())
        result.error = QStringLiteral("Invalid reply from the server: ") + reply.error();
    else if (reply.status() >= 200 && reply.status() < 300) {
        result.error = kHttpNoError;
        result.body = reply.body();
    } else
        result.error = httpStatusText(reply);
    return result;
}

} // namespace

HttpTransport::HttpTransport(HttpTransportOptions options)
    : m_options(std::move(options)), m_connection(std::make_unique<HttpConnection>())
{}

HttpTransport::~HttpTransport() = default;

QUrl HttpTransport::pageUrl(const QString& server, const QString& page, bool secure)
{
    const QString host = server.trimmed();
    if (host.isEmpty() || host.contains(QLatin1Char('/')) || host.contains(QLatin1Char('@')))
        return {};
    QString path = page;
    if (!path.startsWith(QLatin1Char('/')))
        path.prepend(QLatin1Char('/'));
    const QUrl url(QStringLiteral("%1://%2%3")
                       .arg(secure ? QStringLiteral("https") : QStringLiteral("http"), host, path),
                   QUrl::StrictMode);
    return url.isValid() && !url.host().isEmpty() ? url : QUrl();
}

QByteArray HttpTransport::requestHead(const QUrl& url, qint64 contentLength)
{
    if (m_headStart.isEmpty() || url != m_headUrl) {
        QByteArray target =
            url.toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::RemoveFragment);
        if (target.isEmpty())
            target = "/";
        QByteArray host = url.host(QUrl::FullyEncoded).toLatin1();
        if (host.contains(':'))
            host = '[' + host + ']';
        const bool secure = url.scheme() == QLatin1String("https");
        if (url.port() >= 0 && url.port() != (secure ? 443 : 80))
            host += ':' + QByteArray::number(url.port());
        // Replies are read as they come, so none may be compressed.
        m_headStart = "POST " + target + " HTTP/1.1\r\nHost: " + host +
                      "\r\nUser-Agent: Mozilla/5.0 (compatible; TarnAxe/" TARNAXE_VERSION_TEXT
                      ")\r\nAccept-Encoding: identity\r\nConnection: keep-alive\r\n"
                      "Content-Type: application/octet-stream\r\nContent-Length: ";
        m_headUrl = url;
    }
    return m_headStart + QByteArray::number(contentLength) + "\r\n\r\n";
}

HttpPostResult HttpTransport::post(const QUrl& url, const QByteArray& text, const QString& filePath)
{
    HttpPostResult result;
    const bool secure = url.scheme() == QLatin1String("https");
    if (!url.isValid() || url.host().isEmpty() ||
        (!secure && url.scheme() != QLatin1String("http"))) {
        result.error = QStringLiteral("Invalid server address");
        return result;
    }
    if (m_busy) {
        // Only reachable from an event handled while this transport waits for a reply.
        result.error = QStringLiteral("Another request to the server is under way");
        return result;
    }
    PrefixedFileDevice body(text, filePath);
    if (!body.open(QIODevice::ReadOnly)) {
        result.error = QStringLiteral("Cannot read %1: %2").arg(filePath, body.errorString());
        return result;
    }
    QByteArray head = requestHead(url, body.size());
    QIODevice* rest = &body;
    if (body.size() <= kInMemoryBody) {
        head.reserve(head.size() + body.size());
        const QByteArray bytes = body.readAll();
        if (bytes.size() != body.size()) {
            result.error = QStringLiteral("Cannot read %1: %2").arg(filePath, body.errorString());
            return result;
        }
        head += bytes;
        rest = nullptr;
    }
    const HttpEndpoint endpoint{url.host(QUrl::FullyEncoded), quint16(url.port(secure ? 443 : 80)),
                                secure, m_options.extraCaCertificates};

    QElapsedTimer elapsed;
    elapsed.start();
    m_busy = true;
    HttpExchangeResult exchange =
        m_connection->exchange(endpoint, head, rest, m_options.inactivityTimeoutMs);
    if (exchange.reused && exchange.unanswered) {
        // A kept connection that closes before any answer was most often closed by the
        // server while idle, and the request never reached it; so it is sent once more on
        // a new connection. A server that read the request and then dropped the connection
        // without a word sees it twice: the pages where that could do harm are idempotent
        // on the server (see the design notes).
        qCDebug(lcHttp) << "kept connection closed before an answer; sending again";
        if (body.seek(0))
            exchange = m_connection->exchange(endpoint, head, rest, m_options.inactivityTimeoutMs);
    }
    m_busy = false;
    result = postResult(exchange, filePath);
    qCDebug(lcHttp) << "POST" << url.toString() << "->" << result.error << result.body.size()
                    << "bytes in" << elapsed.elapsed() << "ms";
    return result;
}

} // namespace tarnaxe
