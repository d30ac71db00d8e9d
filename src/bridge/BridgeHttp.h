#pragma once
// The HTTP side of the host bridge: reading a request head, the Host and Origin rules that
// keep other sites out, and the plain answers (/status, preflight, refusals).

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>
#include <optional>

namespace tarnaxe {

inline constexpr qsizetype kMaxRequestHeadBytes = 16 * 1024;

using HttpHeaders = QList<QPair<QByteArray, QByteArray>>;

struct HttpRequestHead {
    QByteArray method;
    QByteArray target; // path and query as sent
    HttpHeaders headers;

    // The first header of that name, matched without regard to case; empty when absent.
    QByteArray header(QByteArrayView name) const;
    bool hasHeader(QByteArrayView name) const;
    int headerCount(QByteArrayView name) const;
    QByteArray path() const;
};

// Parses a request head (request line and header lines, without the blank line that ends
// it); nullopt when it is not HTTP/1.x.
std::optional<HttpRequestHead> parseRequestHead(const QByteArray& head);

// True when a Host header names this machine: localhost, 127.x.x.x or [::1], with any port.
bool isLoopbackHost(const QByteArray& hostHeader);

// Pages served over http from 127.0.0.1, localhost or [::1] on any port, and the exact
// origins configured (scheme and host compared without regard to case).
bool isOriginAllowed(const QString& origin, const QStringList& extraOrigins);

QByteArray httpResponse(int status, const HttpHeaders& headers, const QByteArray& body);

// What to do with one request head.
struct HttpDecision {
    bool upgrade = false; // hand the socket to the WebSocket server
    QByteArray response;  // otherwise the whole answer, after which the socket is closed
    QString refusal;      // the reason when the request was refused, for the log
};

HttpDecision decideRequest(const HttpRequestHead& head, const QStringList& allowedOrigins,
                           const QByteArray& statusBody);

} // namespace tarnaxe
