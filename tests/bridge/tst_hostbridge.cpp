// The host bridge: its HTTP rules as a pure function, then a real server on port 0 with a
// fake automation object per connection, reached through raw HTTP and WebSocket clients.

#include "bridge/BridgeHttp.h"
#include "bridge/BridgeProtocol.h"
#include "bridge/HostBridge.h"
#include "support/BridgeClient.h"
#include "support/FakeBridge.h"
#include "support/RawHttp.h"

#include <QSignalSpy>
#include <QTest>
#include <QTimer>

using namespace tarnaxe;
using namespace tarnaxe::test;

namespace {

const QStringList kExtraOrigins = {"HTTPS://Claims.Example.com", "http://intranet.example:8080"};

// name | the request head, "; " between lines, WS for the lines of a WebSocket handshake |
// the status (101: handed to the WebSocket server); texts in the answer ("!": not in it)
const QByteArray kRequests = R"(
upgrade without origin | WS; Host: 127.0.0.1:9 | 101
upgrade from a loopback page | WS; Host: [::1]:9; Origin: HTTP://LOCALHOST:3000 | 101
upgrade to a LAN address | WS; Host: 192.168.1.10:9 | 403; Host 192.168.1.10:9 is not a loopback name
upgrade to a bracketed IPv4 address | WS; Host: [127.0.0.1] | 403
upgrade from an http page of an https site | WS; Host: localhost; Origin: http://claims.example.com | 403
upgrade from a subdomain | WS; Host: localhost; Origin: https://x.claims.example.com | 403; Origin https://x.claims.example.com is not allowed
upgrade from a page with a path | WS; Host: localhost; Origin: http://localhost/page | 403
upgrade from a configured page | WS; Host: localhost; Origin: http://intranet.example:8080 | 101
upgrade to a rebound name | WS; Host: 127.0.0.1.evil.example:9 | 403; Host 127.0.0.1.evil.example:9 is not a loopback name
upgrade without host | WS | 403; Host header is missing
upgrade without key | GET / HTTP/1.1; Host: localhost; Upgrade: websocket | 400; Not a WebSocket handshake
two Host headers | WS; Host: localhost; Host: evil.example | 400; Bad request: more than one Host header
two Origin headers | WS; Host: localhost; Origin: http://localhost; Origin: https://evil.example | 400; more than one Origin
status | GET /status HTTP/1.1; Host: 127.0.0.1:9 | 200; Content-Type: application/json; {"x":1}; !Access-Control
status to a configured page | GET /status HTTP/1.1; Host: localhost; Origin: https://claims.example.com | 200; Access-Control-Allow-Origin: https://claims.example.com
status to a foreign page | GET /status HTTP/1.1; Host: localhost; Origin: https://claims.example.com:8443 | 200; !Access-Control
status to a rebound name | GET /status HTTP/1.1; Host: evil.example:9 | 403; !{"x":1}
preflight of a public page | OPTIONS /status HTTP/1.1; Host: localhost; Origin: https://claims.example.com; Access-Control-Request-Method: GET; Access-Control-Request-Headers: x-claim-id; Access-Control-Request-Private-Network: true | 204; Access-Control-Allow-Origin: https://claims.example.com; Access-Control-Allow-Methods: GET; Access-Control-Allow-Headers: x-claim-id; Access-Control-Allow-Private-Network: true
preflight of a loopback page | OPTIONS /status HTTP/1.1; Host: localhost; Origin: http://localhost:5173; Access-Control-Request-Method: GET | 204; Access-Control-Allow-Origin: http://localhost:5173; !Private-Network
preflight of a foreign page | OPTIONS /status HTTP/1.1; Host: localhost; Origin: https://evil.example; Access-Control-Request-Method: GET | 403; !Access-Control
other path | GET /status/x HTTP/1.1; Host: localhost | 404
other method | DELETE /status HTTP/1.1; Host: localhost | 405; Allow: GET, OPTIONS
)";

} // namespace

class TestHostBridge : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { m_bridge.reset(); }

    void decisions_data()
    {
        QTest::addColumn<QByteArray>("head");
        QTest::addColumn<QByteArray>("expected");
        for (const QByteArray& line : kRequests.trimmed().split('\n')) {
            const QList<QByteArray> cells = line.split('|');
            QByteArray head = cells[1].trimmed().replace("; ", "\r\n");
            head.replace(
                "WS", "GET / HTTP/1.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                      "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13");
            QTest::newRow(cells[0].trimmed()) << head << cells[2].trimmed();
        }
    }
    void decisions()
    {
        QFETCH(QByteArray, head);
        QFETCH(QByteArray, expected);
        const HttpDecision decision =
            decideRequest(parseRequestHead(head).value(), kExtraOrigins, "{\"x\":1}");
        const QList<QByteArray> texts = expected.split(';');
        QCOMPARE(decision.upgrade, texts[0] == "101");
        if (decision.upgrade)
            return;
        QVERIFY2(decision.response.startsWith("HTTP/1.1 " + texts[0] + ' '),
                 decision.response.constData());
        QVERIFY(decision.response.contains("Connection: close\r\n"));
        for (QByteArray text : texts.mid(1)) {
            text = text.trimmed();
            const bool absent = text.startsWith('!');
            QVERIFY2(decision.response.contains(text.mid(absent ? 1 : 0)) != absent,
                     text.constData());
        }
    }

    void socketAnswers_data()
    {
        QTest::addColumn<QByteArray>("request"); // '|' parts are sent with a pause between
        QTest::addColumn<int>("status");
        const QByteArray upgrade = upgradeRequest("127.0.0.1:9", "http://127.0.0.1");
        QTest::newRow("handshake in pieces")
            << upgrade.left(20) + '|' + upgrade.mid(20, 40) + '|' + upgrade.mid(60) << 101;
        QTest::newRow("refused handshake") << upgradeRequest("evil.example", {}) << 403;
        QTest::newRow("not HTTP") << QByteArray("not http at all\r\n\r\n") << 400;
        QTest::newRow("head too large")
            << "GET /status HTTP/1.1\r\nX-Fill: " + QByteArray(kMaxRequestHeadBytes, 'a') << 431;
    }
    void socketAnswers()
    {
        QFETCH(QByteArray, request);
        QFETCH(int, status);
        const quint16 port = m_bridge.start({});
        const HttpReply reply = httpExchange(port, request.split('|'));
        QCOMPARE(reply.status, status);
        QVERIFY(reply.closed || status == 101);
        QCOMPARE(m_bridge.objects.size(), status == 101 ? 1 : 0);
        // Nothing is left behind that refuses the next, proper handshake.
        QCOMPARE(httpExchange(port, upgradeRequest("localhost", {})).status, 101);
        QTRY_COMPARE(m_bridge.objects.size(), status == 101 ? 2 : 1);
    }

    // Each page has its own object, its own events, and no deadline once connected (a
    // socket's deadline for its request head would cut every page off after a few seconds);
    // the object goes with the connection.
    void connectionsKeepToThemselvesUntilTheyClose()
    {
        m_bridge.start({});
        QSignalSpy closed(m_bridge.get(), &HostBridge::connectionClosed);
        BridgeClient first;
        BridgeClient second;
        QVERIFY(first.open(m_bridge.url()) && second.open(m_bridge.url()));
        first.call("Caption", "put", {"mine"});
        // An event raised in a call, and one raised on its own as a timer of the agent would.
        QCOMPARE(second.call("Caption", "get").value("result"), QJsonValue(""));
        first.call("Raise", "method", {"BUSY", "Saving"});
        emit m_bridge.objects[0]->eventRaised(QStringLiteral("PublishInfo"), {});
        QTRY_COMPARE(first.events.size(), 2);
        QCOMPARE(first.events[0],
                 QJsonObject({{"event", "IOStatus"}, {"args", QJsonArray{"BUSY", "Saving"}}}));
        QCOMPARE(first.events[1], QJsonObject({{"event", "PublishInfo"}, {"args", QJsonArray()}}));
        QCOMPARE(second.call("Init").value("result"), QJsonValue("OK"));
        QVERIFY(second.events.isEmpty());
        for (const QTimer* timer : m_bridge->findChildren<QTimer*>())
            QVERIFY2(!timer->isActive(), qPrintable(timer->objectName()));
        const QList<QPointer<FakeDispatchable>> objects = m_bridge.objects;
        first.socket().close();
        second.socket().abort();
        QTRY_VERIFY(objects[0].isNull() && objects[1].isNull());
        QCOMPARE(closed.count(), 2);
        QCOMPARE(m_bridge->connectionCount(), 0);
    }

    void everyFrameIsAnsweredInTurnAndTheConnectionStaysUsable()
    {
        m_bridge.start({});
        BridgeClient client;
        QVERIFY(client.open(m_bridge.url()));
        // Frames that are no call (text, binary, a byte over the limit) among calls 0 (at the
        // limit) and 4 to 49.
        QByteArray atLimit = R"({"id":0,"member":"Echo","args":[0]})";
        client.sendText(atLimit.insert(1, QByteArray(kMaxCallFrameBytes - atLimit.size(), ' ')));
        client.sendText("not json");
        client.socket().sendBinaryMessage(QByteArray("\x01\x02", 2));
        client.sendText(atLimit.insert(1, ' '));
        for (int i = 4; i < 50; ++i)
            client.sendText(R"({"id":)" + QByteArray::number(i) + R"(,"member":"Echo","args":[)" +
                            QByteArray::number(i) + "]}");
        QTRY_COMPARE(client.answers.size(), 50);
        for (int i = 0; i < 50; ++i) {
            const QJsonObject error = client.answers[i].value("error").toObject();
            QCOMPARE(client.answers[i],
                     i >= 1 && i <= 3 && error.value("number") == -1
                         ? QJsonObject({{"id", QJsonValue::Null}, {"error", error}})
                         : QJsonObject({{"id", i}, {"result", i}}));
        }
        QVERIFY(client.answers[2].value("error")["description"].toString().contains("Binary"));
        QCOMPARE(client.answers[3].value("error")["description"],
                 "Frame too large: 1048577 bytes (limit 1048576)");
    }

private:
    FakeBridge m_bridge;
};

QTEST_GUILESS_MAIN(TestHostBridge)
#include "tst_hostbridge.moc"
