#pragma once
// One HTTP exchange with the web application's server: a POST whose body is a text
// followed, when asked, by the bytes of a local file streamed from disk, over a keep-alive
// connection of the transport's own. The caller waits in a local event loop, so the user
// interface keeps drawing. Certificates are always verified; offices whose server uses a
// private CA give its certificates here.

#include <QByteArray>
#include <QList>
#include <QSslCertificate>
#include <QString>
#include <QUrl>
#include <memory>

namespace tarnaxe {

class HttpConnection;

inline const QString kHttpNoError = QStringLiteral("No Error");

struct HttpTransportOptions {
    // An exchange gives up with "Timed out" when no byte has moved either way for this
    // long; a slow upload that keeps moving never times out.
    int inactivityTimeoutMs = 60000;
    // Trusted in addition to the system's store.
    QList<QSslCertificate> extraCaCertificates;
};

struct HttpPostResult {
    // kHttpNoError after a 2xx reply; otherwise a readable reason ("HTTP 500 Internal
    // Server Error", "Connection refused", "SSL handshake failed: ...", "Timed out").
    QString error;
    QByteArray body; // the reply's body after a 2xx reply
    bool ok() const { return error == kHttpNoError; }
};

class HttpTransport {
public:
    explicit HttpTransport(HttpTransportOptions options = {});
    ~HttpTransport();
    HttpTransport(const HttpTransport&) = delete;
    HttpTransport& operator=(const HttpTransport&) = delete;

    // "http://" or "https://" + server (which may carry ":port") + page; an invalid
    // result is an empty URL.
    static QUrl pageUrl(const QString& server, const QString& page, bool secure);

    // One POST attempt. The connection is kept for the next exchange with the same server;
    // a request that finds a kept connection closed by the server is sent once more on a
    // new one.
    HttpPostResult post(const QUrl& url, const QByteArray& text, const QString& filePath = {});

    const HttpTransportOptions& options() const { return m_options; }
    void setOptions(HttpTransportOptions options) { m_options = std::move(options); }

private:
    QByteArray requestHead(const QUrl& url, qint64 contentLength);

    HttpTransportOptions m_options;
    std::unique_ptr<HttpConnection> m_connection;
    bool m_busy = false;
    // The head of the last URL's requests up to the length, built once for many posts.
    QUrl m_headUrl;
    QByteArray m_headStart;
};

} // namespace tarnaxe
