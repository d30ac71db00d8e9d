#include "platform/HttpTransport.h"

#include "platform/Logging.h"
#include "platform/PrefixedFileDevice.h"
#include "platform/SocketTuning.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslConfiguration>
#include <QSslError>
#include <QTimer>

namespace tarnaxe {

namespace {

constexpr qint64 kInMemoryBody = 256 * 1024;

QString httpStatusText(QNetworkReply* reply, int status)
{
    QString text = QStringLiteral("HTTP %1").arg(status);
    const QString reason =
        reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toString().trimmed();
    if (!reason.isEmpty())
        text += QLatin1Char(' ') + reason;
    if (status >= 300 && status < 400) {
        // Never followed: a server that moved should be configured where it now is.
        const QString target = QString::fromUtf8(reply->rawHeader("Location"));
        if (!target.isEmpty())
            text += QStringLiteral(" (redirect to %1 not followed)").arg(target);
    }
    return text;
}

QString networkErrorText(QNetworkReply* reply, const QList<QSslError>& sslErrors, bool timedOut)
{
    if (timedOut)
        return QStringLiteral("Timed out");
    switch (reply->error()) {
    case QNetworkReply::ConnectionRefusedError:
        return QStringLiteral("Connection refused");
    case QNetworkReply::HostNotFoundError:
        return QStringLiteral("Host not found");
    case QNetworkReply::RemoteHostClosedError:
        return QStringLiteral("Connection closed by the server");
    case QNetworkReply::TimeoutError:
        return QStringLiteral("Timed out");
    case QNetworkReply::SslHandshakeFailedError: {
        QStringList reasons;
        for (const QSslError& error : sslErrors)
            reasons << error.errorString();
        reasons.removeDuplicates();
        return QStringLiteral("SSL handshake failed: ") +
               (reasons.isEmpty() ? reply->errorString() : reasons.join(QStringLiteral("; ")));
    }
    default:
        return reply->errorString();
    }
}

} // namespace

HttpTransport::HttpTransport(HttpTransportOptions options)
    : m_options(std::move(options)), m_network(std::make_unique<QNetworkAccessManager>())
{
    m_network->setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
}

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

HttpPostResult HttpTransport::post(const QUrl& url, const QByteArray& text, const QString& filePath)
{
    HttpPostResult result;
    if (!url.isValid()) {
        result.error = QStringLiteral("Invalid server address");
        return result;
    }
    auto* body = new PrefixedFileDevice(text, filePath);
    if (!body->open(QIODevice::ReadOnly)) {
        result.error = QStringLiteral("Cannot read %1: %2").arg(filePath, body->errorString());
        delete body;
        return result;
    }

    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader,
                      QByteArrayLiteral("application/octet-stream"));
    request.setHeader(QNetworkRequest::ContentLengthHeader, body->size());
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    if (url.scheme() == QLatin1String("https")) {
        QSslConfiguration ssl = QSslConfiguration::defaultConfiguration();
        if (!m_options.extraCaCertificates.isEmpty())
            ssl.addCaCertificates(m_options.extraCaCertificates);
        request.setSslConfiguration(ssl);
    }

    QElapsedTimer elapsed;
    elapsed.start();
    QNetworkReply* reply = nullptr;
    if (body->size() <= kInMemoryBody) {
        // Small bodies (a chunk and its fields) are handed over whole: Qt's HTTP thread
        // then sends them without asking this thread for each 16 KiB piece, which halves
        // the time of a chunk post.
        const QByteArray bytes = body->readAll();
        const bool complete = bytes.size() == body->size();
        const QString why = body->errorString();
        delete body;
        if (!complete) {
            result.error = QStringLiteral("Cannot read %1: %2").arg(filePath, why);
            return result;
        }
        reply = m_network->post(request, bytes);
    } else {
        reply = m_network->post(request, body);
        body->setParent(reply);
    }

    QEventLoop loop;
    QTimer idle;
    idle.setSingleShot(true);
    idle.setInterval(m_options.inactivityTimeoutMs);
    bool timedOut = false;
    QList<QSslError> sslErrors;
    const auto moved = [&idle] {
        idle.start();
    };
    QObject::connect(reply, &QNetworkReply::uploadProgress, &idle, moved);
    QObject::connect(reply, &QNetworkReply::downloadProgress, &idle, moved);
    QObject::connect(reply, &QNetworkReply::sslErrors, &loop,
                     [&sslErrors](const QList<QSslError>& errors) { sslErrors += errors; });
    QObject::connect(&idle, &QTimer::timeout, &loop, [&timedOut, reply] {
        timedOut = true;
        reply->abort();
    });
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    // A new connection is tuned once its first request is on its way.
    bool newConnection = false;
    QObject::connect(reply, &QNetworkReply::socketStartedConnecting, &loop,
                     [&newConnection] { newConnection = true; });
    QObject::connect(reply, &QNetworkReply::requestSent, &loop, [&newConnection, &url] {
        if (newConnection)
            disableNagleTowardPort(
                quint16(url.port(url.scheme() == QLatin1String("https") ? 443 : 80)));
    });
    idle.start();
    if (!reply->isFinished())
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    idle.stop();

    const QVariant statusAttribute = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    const int status = statusAttribute.isValid() ? statusAttribute.toInt() : 0;
    if (!timedOut && status >= 200 && status < 300 && reply->error() == QNetworkReply::NoError) {
        result.error = kHttpNoError;
        result.body = reply->readAll();
    } else if (!timedOut && status != 0) {
        result.error = httpStatusText(reply, status);
    } else {
        result.error = networkErrorText(reply, sslErrors, timedOut);
    }
    qCDebug(lcTransfer) << "POST" << url.toString() << "->" << result.error << result.body.size()
                        << "bytes in" << elapsed.elapsed() << "ms";
    // Deleted here rather than later: a deferred delete would wait for the main loop,
    // and thousands of chunk posts can run before it turns.
    delete reply;
    return result;
}

} // namespace tarnaxe
