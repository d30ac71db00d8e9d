// The HTTP side of the host bridge: /status and its preflight for pages, the Host and
// Origin rules that keep other sites out of the WebSocket, and malformed requests.

#include "bridge/BridgeHttp.h"
#include "bridge/HostBridge.h"
#include "support/FakeBridge.h"
#include "support/RawHttp.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

namespace {

const QStringList kExtraOrigins = {QStringLiteral("HTTPS://Claims.Example.com"),
                                   QStringLiteral("http://intranet.example:8080")};

QByteArray withPort(QByteArray text, quint16 port)
{
    return text.replace("PORT", QByteArray::number(port));
}

} // namespace

class TestBridgeHttp : public QObject {
    Q_OBJECT

private slots:
    void cleanup();

    void statusCarriesCorsHeadersForAllowedOriginsOnly_data();
    void statusCarriesCorsHeadersForAllowedOriginsOnly();
    void statusIsRefusedToForeignHost();
    void preflightIsAnswered_data();
    void preflightIsAnswered();
    void otherPathsAreNotFound();
    void handshakeIsRefusedWithReason_data();
    void handshakeIsRefusedWithReason();
    void malformedHandshakeIsRefused_data();
    void malformedHandshakeIsRefused();
    void handshakeIsAccepted_data();
    void handshakeIsAccepted();
    void requestHeadArrivingInPiecesIsAwaited();
    void oversizedRequestHeadIsRefused();
    void loopbackHosts_data();
    void loopbackHosts();
    void allowedOrigins_data();
    void allowedOrigins();

private:
    quint16 startBridge();

    FakeBridge m_bridge;
};

quint16 TestBridgeHttp::startBridge()
{
    HostBridgeOptions options;
    options.allowedOrigins = kExtraOrigins;
    return m_bridge.start(options);
}

void TestBridgeHttp::cleanup()
{
    m_bridge.reset();
}

void TestBridgeHttp::statusCarriesCorsHeadersForAllowedOriginsOnly_data()
{
    QTest::addColumn<QByteArray>("origin");
    QTest::addColumn<bool>("allowed");
    QTest::newRow("no origin") << QByteArray() << false;
    QTest::newRow("page on localhost") << QByteArray("http://localhost:8080") << true;
    QTest::newRow("page on 127.0.0.1") << QByteArray("http://127.0.0.1") << true;
    QTest::newRow("configured origin") << QByteArray("https://claims.example.com") << true;
    QTest::newRow("configured host, other port")
        << QByteArray("https://claims.example.com:8443") << false;
    QTest::newRow("foreign page") << QByteArray("https://evil.example") << false;
}

void TestBridgeHttp::statusCarriesCorsHeadersForAllowedOriginsOnly()
{
    QFETCH(QByteArray, origin);
    QFETCH(bool, allowed);
    const quint16 port = startBridge();
    QByteArray request = withPort("GET /status HTTP/1.1\r\nHost: 127.0.0.1:PORT\r\n", port);
    if (!origin.isEmpty())
        request += "Origin: " + origin + "\r\n";
    const HttpReply reply = httpExchange(port, request + "\r\n");

    QCOMPARE(reply.status, 200);
    QVERIFY(reply.closed);
    QCOMPARE(reply.header("content-type"), QByteArray("application/json"));
    QCOMPARE(reply.header("connection"), QByteArray("close"));
    QCOMPARE(QJsonDocument::fromJson(reply.body).object(),
             QJsonObject({{"name", "TarnAxe"}, {"version", "9.9.9"}, {"protocol", 1}}));
    QCOMPARE(reply.has("access-control-allow-origin"), allowed);
    if (allowed) {
        QCOMPARE(reply.header("access-control-allow-origin"), origin);
        QCOMPARE(reply.header("vary"), QByteArray("Origin"));
    }
    QCOMPARE(m_bridge.objects.size(), 0);
}

void TestBridgeHttp::statusIsRefusedToForeignHost()
{
    // A page on a name rebound to 127.0.0.1 is same-origin with us as far as the browser
    // knows; only the Host header gives it away.
    const quint16 port = startBridge();
    const HttpReply reply = httpExchange(
        port, withPort("GET /status HTTP/1.1\r\nHost: evil.example:PORT\r\n\r\n", port));
    QCOMPARE(reply.status, 403);
    QVERIFY(!reply.body.contains("TarnAxe"));
}

void TestBridgeHttp::preflightIsAnswered_data()
{
    QTest::addColumn<QByteArray>("origin");
    QTest::addColumn<bool>("privateNetwork");
    QTest::addColumn<int>("status");
    QTest::newRow("public page asking for the private network")
        << QByteArray("https://claims.example.com") << true << 204;
    QTest::newRow("loopback page") << QByteArray("http://localhost:5173") << false << 204;
    QTest::newRow("foreign page") << QByteArray("https://evil.example") << true << 403;
}

void TestBridgeHttp::preflightIsAnswered()
{
    QFETCH(QByteArray, origin);
    QFETCH(bool, privateNetwork);
    QFETCH(int, status);
    const quint16 port = startBridge();
    QByteArray request = withPort("OPTIONS /status HTTP/1.1\r\nHost: 127.0.0.1:PORT\r\n", port);
    request += "Origin: " + origin + "\r\nAccess-Control-Request-Method: GET\r\n" +
               "Access-Control-Request-Headers: x-claim-id\r\n";
    if (privateNetwork)
        request += "Access-Control-Request-Private-Network: true\r\n";
    const HttpReply reply = httpExchange(port, request + "\r\n");

    QCOMPARE(reply.status, status);
    if (status != 204) {
        QVERIFY(!reply.has("access-control-allow-origin"));
        QVERIFY(!reply.has("access-control-allow-private-network"));
        return;
    }
    QCOMPARE(reply.header("access-control-allow-origin"), origin);
    QCOMPARE(reply.header("access-control-allow-methods"), QByteArray("GET"));
    QCOMPARE(reply.header("access-control-allow-headers"), QByteArray("x-claim-id"));
    QCOMPARE(reply.has("access-control-allow-private-network"), privateNetwork);
    if (privateNetwork)
        QCOMPARE(reply.header("access-control-allow-private-network"), QByteArray("true"));
}

void TestBridgeHttp::otherPathsAreNotFound()
{
    const quint16 port = startBridge();
    QCOMPARE(
        httpExchange(port, withPort("GET /status/x HTTP/1.1\r\nHost: localhost:PORT\r\n\r\n", port))
            .status,
        404);
    QCOMPARE(
        httpExchange(port, withPort("GET / HTTP/1.1\r\nHost: localhost:PORT\r\n\r\n", port)).status,
        404);
    QCOMPARE(httpExchange(port, "not http at all\r\n\r\n").status, 400);
}

void TestBridgeHttp::handshakeIsRefusedWithReason_data()
{
    QTest::addColumn<QByteArray>("host");
    QTest::addColumn<QByteArray>("origin");
    QTest::addColumn<QByteArray>("reason");
    const QByteArray loopback = "127.0.0.1:PORT";
    QTest::newRow("foreign host") << QByteArray("evil.example") << QByteArray()
                                  << QByteArray("Host evil.example is not a loopback name");
    QTest::newRow("rebound name that starts like loopback")
        << QByteArray("127.0.0.1.evil.example:PORT") << QByteArray()
        << QByteArray("Host 127.0.0.1.evil.example:PORT is not a loopback name");
    QTest::newRow("no host") << QByteArray() << QByteArray()
                             << QByteArray("Host header is missing");
    QTest::newRow("foreign origin") << loopback << QByteArray("https://evil.example")
                                    << QByteArray("Origin https://evil.example is not allowed");
    QTest::newRow("lookalike origin")
        << loopback << QByteArray("http://localhost.evil.example")
        << QByteArray("Origin http://localhost.evil.example is not allowed");
    QTest::newRow("opaque origin")
        << loopback << QByteArray("null") << QByteArray("Origin null is not allowed");
}

void TestBridgeHttp::handshakeIsRefusedWithReason()
{
    QFETCH(QByteArray, host);
    QFETCH(QByteArray, origin);
    QFETCH(QByteArray, reason);
    const quint16 port = startBridge();
    const HttpReply reply =
        httpExchange(port, upgradeRequest(host.isEmpty() ? QByteArray() : withPort(host, port),
                                          origin.isEmpty() ? QByteArray() : origin));
    QCOMPARE(reply.status, 403);
    QVERIFY(reply.closed);
    QCOMPARE(reply.body.trimmed(), withPort(reason, port));
    QCOMPARE(m_bridge.objects.size(), 0);
    QCOMPARE(m_bridge->connectionCount(), 0);
}

void TestBridgeHttp::malformedHandshakeIsRefused_data()
{
    QTest::addColumn<QByteArray>("headers");
    QTest::addColumn<QByteArray>("reason");
    const QByteArray host = "Host: 127.0.0.1:PORT\r\n";
    const QByteArray upgrade =
        "Upgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Version: 13\r\n";
    const QByteArray key = "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n";
    QTest::newRow("no key") << host + upgrade << QByteArray("Sec-WebSocket-Key");
    // Whichever header a proxy or the WebSocket code reads, it must be the one we checked.
    QTest::newRow("a second Host") << host + "Host: evil.example\r\n" + upgrade + key
                                   << QByteArray("more than one Host header");
    QTest::newRow("a second Origin")
        << host + "Origin: http://localhost\r\nOrigin: https://evil.example\r\n" + upgrade + key
        << QByteArray("more than one Origin header");
}

void TestBridgeHttp::malformedHandshakeIsRefused()
{
    QFETCH(QByteArray, headers);
    QFETCH(QByteArray, reason);
    const quint16 port = startBridge();
    const HttpReply reply =
        httpExchange(port, withPort("GET / HTTP/1.1\r\n" + headers + "\r\n", port));
    QCOMPARE(reply.status, 400);
    QVERIFY(reply.closed);
    QVERIFY2(reply.body.contains(reason), reply.body.constData());
    QCOMPARE(m_bridge.objects.size(), 0);
    // The server is not left in a state that refuses the next, proper handshake.
    QCOMPARE(httpExchange(port, upgradeRequest(withPort("127.0.0.1:PORT", port), {})).status, 101);
    QTRY_COMPARE(m_bridge.objects.size(), 1);
}

void TestBridgeHttp::handshakeIsAccepted_data()
{
    QTest::addColumn<QByteArray>("host");
    QTest::addColumn<QByteArray>("origin");
    QTest::newRow("no origin") << QByteArray("127.0.0.1:PORT") << QByteArray();
    QTest::newRow("localhost page")
        << QByteArray("localhost:PORT") << QByteArray("http://localhost:3000");
    QTest::newRow("IPv6 loopback") << QByteArray("[::1]:PORT") << QByteArray("http://[::1]:8000");
    QTest::newRow("other 127 address") << QByteArray("127.0.0.2") << QByteArray("http://127.0.0.1");
    QTest::newRow("configured origin")
        << QByteArray("127.0.0.1:PORT") << QByteArray("https://claims.example.com");
    QTest::newRow("configured origin with port")
        << QByteArray("localhost") << QByteArray("http://intranet.example:8080");
}

void TestBridgeHttp::handshakeIsAccepted()
{
    QFETCH(QByteArray, host);
    QFETCH(QByteArray, origin);
    const quint16 port = startBridge();
    const HttpReply reply = httpExchange(port, upgradeRequest(withPort(host, port), origin));
    QCOMPARE(reply.status, 101);
    QTRY_COMPARE(m_bridge.objects.size(), 1);
}

void TestBridgeHttp::requestHeadArrivingInPiecesIsAwaited()
{
    const quint16 port = startBridge();
    const QByteArray request = upgradeRequest(withPort("127.0.0.1:PORT", port), QByteArray());
    const HttpReply reply =
        httpExchange(port, {request.left(20), request.mid(20, 40), request.mid(60)});
    QCOMPARE(reply.status, 101);
    QTRY_COMPARE(m_bridge.objects.size(), 1);
}

void TestBridgeHttp::oversizedRequestHeadIsRefused()
{
    const quint16 port = startBridge();
    const QByteArray request = withPort("GET /status HTTP/1.1\r\nHost: 127.0.0.1:PORT\r\n", port) +
                               "X-Fill: " + QByteArray(kMaxRequestHeadBytes, 'a');
    const HttpReply reply = httpExchange(port, request);
    QCOMPARE(reply.status, 431);
    QVERIFY(reply.closed);
}

void TestBridgeHttp::loopbackHosts_data()
{
    QTest::addColumn<QByteArray>("host");
    QTest::addColumn<bool>("loopback");
    QTest::newRow("localhost") << QByteArray("localhost") << true;
    QTest::newRow("localhost, port, capitals") << QByteArray("LocalHost:29170") << true;
    QTest::newRow("127.0.0.1") << QByteArray("127.0.0.1") << true;
    QTest::newRow("127.0.0.1 with port") << QByteArray("127.0.0.1:29170") << true;
    QTest::newRow("elsewhere in 127/8") << QByteArray("127.3.2.1") << true;
    QTest::newRow("[::1]") << QByteArray("[::1]") << true;
    QTest::newRow("[::1] with port") << QByteArray("[::1]:29170") << true;
    QTest::newRow("bare ::1") << QByteArray("::1") << false;
    QTest::newRow("bracketed IPv4") << QByteArray("[127.0.0.1]") << false;
    QTest::newRow("foreign name") << QByteArray("evil.example") << false;
    QTest::newRow("name under 127.0.0.1") << QByteArray("127.0.0.1.evil.example") << false;
    QTest::newRow("name under localhost") << QByteArray("localhost.evil.example") << false;
    QTest::newRow("LAN address") << QByteArray("192.168.1.10:29170") << false;
    QTest::newRow("any address") << QByteArray("0.0.0.0") << false;
    QTest::newRow("bad port") << QByteArray("127.0.0.1:http") << false;
    QTest::newRow("junk after bracket") << QByteArray("[::1]x") << false;
    QTest::newRow("empty") << QByteArray() << false;
}

void TestBridgeHttp::loopbackHosts()
{
    QFETCH(QByteArray, host);
    QFETCH(bool, loopback);
    QCOMPARE(isLoopbackHost(host), loopback);
}

void TestBridgeHttp::allowedOrigins_data()
{
    QTest::addColumn<QString>("origin");
    QTest::addColumn<bool>("allowed");
    QTest::newRow("localhost") << "http://localhost" << true;
    QTest::newRow("localhost with port") << "http://localhost:5173" << true;
    QTest::newRow("127.0.0.1 with port") << "http://127.0.0.1:8080" << true;
    QTest::newRow("[::1]") << "http://[::1]:3000" << true;
    QTest::newRow("loopback in capitals") << "HTTP://LOCALHOST:1" << true;
    QTest::newRow("configured") << "https://claims.example.com" << true;
    QTest::newRow("configured, host in capitals") << "https://CLAIMS.example.com" << true;
    QTest::newRow("configured, default port spelt out") << "https://claims.example.com:443" << true;
    QTest::newRow("configured host, other scheme") << "http://claims.example.com" << false;
    QTest::newRow("configured host, other port") << "https://claims.example.com:8443" << false;
    QTest::newRow("configured with port") << "http://intranet.example:8080" << true;
    QTest::newRow("configured with port, default port") << "http://intranet.example" << false;
    QTest::newRow("subdomain of configured") << "https://x.claims.example.com" << false;
    QTest::newRow("foreign") << "https://evil.example" << false;
    QTest::newRow("lookalike") << "http://localhost.evil.example" << false;
    QTest::newRow("opaque") << "null" << false;
    QTest::newRow("empty") << "" << false;
    QTest::newRow("with a path") << "http://localhost/page" << false;
    QTest::newRow("with user info") << "http://user@localhost" << false;
}

void TestBridgeHttp::allowedOrigins()
{
    QFETCH(QString, origin);
    QFETCH(bool, allowed);
    QCOMPARE(isOriginAllowed(origin, kExtraOrigins), allowed);
}

QTEST_GUILESS_MAIN(TestBridgeHttp)
#include "tst_bridgehttp.moc"
