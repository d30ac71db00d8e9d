#include "bridge/BridgeHttp.h"

#include <QHostAddress>
#include <QUrl>

namespace tarnaxe {

namespace {

QByteArray reasonPhrase(int status)
{
    switch (status) {
    case 200:
        return "OK";
    case 204:
        return "No Content";
    case 400:
        return "Bad Request";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 431:
        return "Request Header Fields Too Large";
    }
    return "Error";
}

bool isToken(QByteArrayView text)
{
    if (text.isEmpty())
        return false;
    for (char c : text) {
        if (c <= ' ' || c >= 127 || c == ':')
            return false;
    }
    return true;
}

bool isPort(QByteArrayView text)
{
    if (text.size() > 5)
        return false;
    for (char c : text) {
        if (c < '0' || c > '9')
            return false;
    }
    return true;
}

bool hasToken(const QByteArray& list, QByteArrayView token)
{
    for (const QByteArray& item : list.split(',')) {
        if (item.trimmed().compare(token, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

int effectivePort(const QUrl& url)
{
    const QString scheme = url.scheme().toLower();
    return url.port(scheme == QLatin1String("https")  ? 443
                    : scheme == QLatin1String("http") ? 80
                                                      : -1);
}

void addHeader(HttpHeaders& headers, const char* name, const QByteArray& value)
{
    headers.append(qMakePair(QByteArray(name), value));
}

QByteArray refusalResponse(int status, const QString& reason)
{
    return httpResponse(status, {{"Content-Type", "text/plain; charset=utf-8"}},
                        reason.toUtf8() + '\n');
}

} // namespace

QByteArray HttpRequestHead::header(QByteArrayView name) const
{
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

bool HttpRequestHead::hasHeader(QByteArrayView name) const
{
    return headerCount(name) > 0;
}

int HttpRequestHead::headerCount(QByteArrayView name) const
{
    int count = 0;
    for (const auto& entry : headers) {
        if (entry.first.compare(name, Qt::CaseInsensitive) == 0)
            ++count;
    }
    return count;
}

QByteArray HttpRequestHead::path() const
{
    const qsizetype query = target.indexOf('?');
    return query < 0 ? target : target.left(query);
}

std::optional<HttpRequestHead> parseRequestHead(const QByteArray& head)
{
    const QList<QByteArray> lines = head.split('\n');
    if (lines.isEmpty())
        return std::nullopt;
    auto stripCr = [](QByteArray line) {
        if (line.endsWith('\r'))
            line.chop(1);
        return line;
    };
    const QList<QByteArray> requestLine = stripCr(lines.first()).split(' ');
    if (requestLine.size() != 3 || !isToken(requestLine[0]) || requestLine[1].isEmpty() ||
        !requestLine[2].startsWith("HTTP/1."))
        return std::nullopt;

    HttpRequestHead result;
    result.method = requestLine[0];
    result.target = requestLine[1];
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QByteArray line = stripCr(lines[i]);
        if (line.isEmpty())
            continue;
        // Folded continuation lines are obsolete and a known smuggling vector: refuse them.
        if (line.startsWith(' ') || line.startsWith('\t'))
            return std::nullopt;
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0 || !isToken(QByteArrayView(line).first(colon)))
            return std::nullopt;
        result.headers.append({line.left(colon), line.mid(colon + 1).trimmed()});
    }
    return result;
}

bool isLoopbackHost(const QByteArray& hostHeader)
{
    const QByteArray text = hostHeader.trimmed();
    QByteArray host;
    bool bracketed = false;
    if (text.startsWith('[')) {
        const qsizetype end = text.indexOf(']');
        if (end < 0)
            return false;
        const QByteArray rest = text.mid(end + 1);
        if (!rest.isEmpty() && !(rest.startsWith(':') && isPort(QByteArrayView(rest).sliced(1))))
            return false;
        host = text.mid(1, end - 1);
        bracketed = true;
    } else {
        const qsizetype colon = text.indexOf(':');
        if (colon >= 0 && !isPort(QByteArrayView(text).sliced(colon + 1)))
            return false;
        host = colon >= 0 ? text.left(colon) : text;
    }
    if (host.isEmpty())
        return false;
    if (!bracketed && host.compare("localhost", Qt::CaseInsensitive) == 0)
        return true;
    QHostAddress address;
    if (!address.setAddress(QString::fromLatin1(host)))
        return false;
    const bool isV6 = address.protocol() == QAbstractSocket::IPv6Protocol;
    return bracketed == isV6 && address.isLoopback();
}

bool isOriginAllowed(const QString& origin, const QStringList& extraOrigins)
{
    const QUrl url(origin, QUrl::StrictMode);
    // An Origin is scheme, host and port only; anything else did not come from a browser.
    if (!url.isValid() || url.host().isEmpty() || !url.userInfo().isEmpty() ||
        !url.path().isEmpty() || url.hasQuery() || url.hasFragment())
        return false;
    const QString scheme = url.scheme().toLower();
    const QString host = url.host().toLower();
    if (scheme == QLatin1String("http") &&
        (host == QLatin1String("127.0.0.1") || host == QLatin1String("localhost") ||
         host == QLatin1String("::1")))
        return true;
    for (const QString& entry : extraOrigins) {
        const QUrl allowed(entry.trimmed(), QUrl::StrictMode);
        if (!allowed.isValid() || allowed.host().isEmpty())
            continue;
        if (allowed.scheme().compare(scheme, Qt::CaseInsensitive) == 0 &&
            allowed.host().compare(host, Qt::CaseInsensitive) == 0 &&
            effectivePort(allowed) == effectivePort(url))
            return true;
    }
    return false;
}

QByteArray httpResponse(int status, const HttpHeaders& headers, const QByteArray& body)
{
    QByteArray text =
        "HTTP/1.1 " + QByteArray::number(status) + ' ' + reasonPhrase(status) + "\r\n";
    for (const auto& [name, value] : headers)
        text += name + ": " + value + "\r\n";
    if (status != 204)
        text += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
    text += "Connection: close\r\n\r\n";
    text += body;
    return text;
}

HttpDecision decideRequest(const HttpRequestHead& head, const QStringList& allowedOrigins,
                           const QByteArray& statusBody)
{
    HttpDecision decision;
    auto refuse = [&decision](int status, const QString& reason) {
        decision.refusal = reason;
        decision.response = refusalResponse(status, reason);
        return decision;
    };

    // Whichever of two such headers another reader (a proxy, the WebSocket code) takes, it
    // must be the one checked here: a request with two is refused.
    for (const char* name : {"Host", "Origin"}) {
        if (head.headerCount(name) > 1)
            return refuse(
                400,
                QStringLiteral("Bad request: more than one %1 header").arg(QLatin1String(name)));
    }

    // Checked for every request, not only upgrades: a page on a rebound DNS name would
    // otherwise be same-origin with the agent.
    const QByteArray host = head.header("Host");
    if (host.isEmpty())
        return refuse(403, QStringLiteral("Host header is missing"));
    if (!isLoopbackHost(host))
        return refuse(
            403, QStringLiteral("Host %1 is not a loopback name").arg(QString::fromLatin1(host)));

    const bool hasOrigin = head.hasHeader("Origin");
    const QByteArray origin = head.header("Origin");
    const bool originAllowed =
        hasOrigin && isOriginAllowed(QString::fromLatin1(origin), allowedOrigins);
    const QString originRefusal =
        QStringLiteral("Origin %1 is not allowed")
            .arg(hasOrigin ? QString::fromLatin1(origin) : QStringLiteral("(none)"));

    if (hasToken(head.header("Upgrade"), "websocket")) {
        if (hasOrigin && !originAllowed)
            return refuse(403, originRefusal);
        // The WebSocket server would drop such a request without a word; say why instead.
        if (head.method != "GET" || head.header("Sec-WebSocket-Key").isEmpty() ||
            head.header("Sec-WebSocket-Version") != "13")
            return refuse(400, QStringLiteral("Not a WebSocket handshake: expected GET with "
                                              "Sec-WebSocket-Key and Sec-WebSocket-Version 13"));
        decision.upgrade = true;
        return decision;
    }

    if (head.path() != "/status") {
        decision.response =
            httpResponse(404, {{"Content-Type", "text/plain; charset=utf-8"}}, "Not found\n");
        return decision;
    }

    HttpHeaders cors;
    if (originAllowed)
        cors = {{"Access-Control-Allow-Origin", origin}, {"Vary", "Origin"}};

    if (head.method == "GET") {
        HttpHeaders headers = {{"Content-Type", "application/json"}, {"Cache-Control", "no-store"}};
        headers += cors;
        decision.response = httpResponse(200, headers, statusBody);
        return decision;
    }
    if (head.method == "OPTIONS") {
        if (!originAllowed)
            return refuse(403, originRefusal);
        HttpHeaders headers = cors;
        addHeader(headers, "Access-Control-Allow-Methods", "GET");
        if (const QByteArray requested = head.header("Access-Control-Request-Headers");
            !requested.isEmpty())
            addHeader(headers, "Access-Control-Allow-Headers", requested);
        // Chromium asks before a public page may reach a private or loopback address.
        if (head.header("Access-Control-Request-Private-Network")
                .compare("true", Qt::CaseInsensitive) == 0)
            addHeader(headers, "Access-Control-Allow-Private-Network", "true");
        addHeader(headers, "Access-Control-Max-Age", "600");
        decision.response = httpResponse(204, headers, {});
        return decision;
    }
    decision.response = httpResponse(405, {{"Allow", "GET, OPTIONS"}}, {});
    return decision;
}

} // namespace tarnaxe
