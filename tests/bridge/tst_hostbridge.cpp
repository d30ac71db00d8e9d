// The host bridge serving WebSocket clients: a real server on port 0, real clients, a fake
// automation object per connection; calls, events, order, and the objects' lifetime.

#include "bridge/HostBridge.h"
#include "support/FakeBridge.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTest>
#include <QWebSocket>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace tarnaxe;
using namespace tarnaxe::test;
using tarnaxe::test::FakeDispatchable;

namespace {

const QStringList kExtraOrigins = {QStringLiteral("https://claims.example.com")};

QJsonObject parseObject(const QByteArray& text)
{
    return QJsonDocument::fromJson(text).object();
}

// A WebSocket client that keeps every frame it receives, events and answers together in
// the order they came, which is what these tests look at.
class Client {
public:
    explicit Client(const QString& origin = {}) : socket(origin)
    {
        QObject::connect(
            &socket, &QWebSocket::textMessageReceived, &socket,
            [this](const QString& text) { received.append(parseObject(text.toUtf8())); });
    }

    bool open(quint16 port)
    {
        QSignalSpy connected(&socket, &QWebSocket::connected);
        socket.open(QUrl(QStringLiteral("ws://127.0.0.1:%1/").arg(port)));
        return connected.wait(5000);
    }

    void send(const QByteArray& frame) { socket.sendTextMessage(QString::fromUtf8(frame)); }

    // Sends a call and returns its answer (events that come first are kept in received).
    QJsonObject call(const QByteArray& frame)
    {
        const qsizetype before = received.size();
        send(frame);
        qsizetype found = -1;
        // A timeout shows as the empty answer, which no test expects.
        (void)QTest::qWaitFor(
            [&] {
                for (qsizetype i = before; i < received.size() && found < 0; ++i) {
                    if (received[i].contains(QLatin1String("id")))
                        found = i;
                }
                return found >= 0;
            },
            5000);
        return found >= 0 ? received[found] : QJsonObject();
    }

    QWebSocket socket;
    QList<QJsonObject> received;
};

} // namespace

class TestHostBridge : public QObject {
    Q_OBJECT

private slots:
    void cleanup();

    void callsAreAnsweredWithOneObjectPerConnection();
    void eventsReachTheClient();
    void configuredOriginCanCall();
    void burstOfCallsIsAnsweredInOrder();
    void badFramesAreAnsweredAndConnectionStaysUsable();
    void objectIsDestroyedWhenConnectionCloses_data();
    void objectIsDestroyedWhenConnectionCloses();
    void connectionDroppedDuringNestedLoopKeepsObjectUntilCallReturns();
    void listenNamesThePortThatIsTaken();
    void adoptsAnInheritedListeningSocket();
    void systemdSocketIsRecognised_data();
    void systemdSocketIsRecognised();

private:
    quint16 startBridge(HostBridgeOptions options = {});

    FakeBridge m_bridge;
};

quint16 TestHostBridge::startBridge(HostBridgeOptions options)
{
    if (options.allowedOrigins.isEmpty())
        options.allowedOrigins = kExtraOrigins;
    return m_bridge.start(options);
}

void TestHostBridge::cleanup()
{
    m_bridge.reset();
}

void TestHostBridge::callsAreAnsweredWithOneObjectPerConnection()
{
    const quint16 port = startBridge();
    QVERIFY(port != 0);
    QSignalSpy opened(m_bridge.get(), &HostBridge::connectionOpened);

    Client first;
    QVERIFY(first.open(port));
    QTRY_COMPARE(opened.count(), 1);
    QCOMPARE(m_bridge->connectionCount(), 1);
    QCOMPARE(first.call(R"({"id":1,"member":"Init"})"), QJsonObject({{"id", 1}, {"result", "OK"}}));
    QCOMPARE(first.call(R"({"id":2,"member":"TheNameOf","kind":"get","args":["Photos",1]})"),
             QJsonObject({{"id", 2}, {"result", "Photos#1"}}));
    QCOMPARE(first.call(R"({"id":3,"member":"Caption","kind":"put","args":["mine"]})"),
             QJsonObject({{"id", 3}, {"result", QJsonValue::Null}}));
    QCOMPARE(first.call(R"({"id":4,"member":"Caption","kind":"get"})"),
             QJsonObject({{"id", 4}, {"result", "mine"}}));

    // A second page gets its own object, which knows nothing of the first one's state.
    Client second;
    QVERIFY(second.open(port));
    QTRY_COMPARE(m_bridge->connectionCount(), 2);
    QCOMPARE(m_bridge.objects.size(), 2);
    QCOMPARE(second.call(R"({"id":1,"member":"Caption","kind":"get"})"),
             QJsonObject({{"id", 1}, {"result", ""}}));
}

void TestHostBridge::eventsReachTheClient()
{
    const quint16 port = startBridge();
    Client client;
    QVERIFY(client.open(port));
    QTRY_COMPARE(m_bridge.objects.size(), 1);

    // An event raised by a call arrives before the call's answer.
    const QJsonObject answer =
        client.call(R"({"id":1,"member":"Raise","args":["BUSY","Save Collected Information"]})");
    QCOMPARE(answer, QJsonObject({{"id", 1}, {"result", QJsonValue::Null}}));
    QCOMPARE(client.received.size(), 2);
    QCOMPARE(client.received[0],
             QJsonObject({{"event", "IOStatus"},
                          {"args", QJsonArray{"BUSY", "Save Collected Information"}}}));

    // And one raised on its own, as a timer of the agent would.
    emit m_bridge.objects[0]->eventRaised(QStringLiteral("PublishInfo"), {});
    QTRY_COMPARE(client.received.size(), 3);
    QCOMPARE(client.received[2], QJsonObject({{"event", "PublishInfo"}, {"args", QJsonArray()}}));
}

void TestHostBridge::configuredOriginCanCall()
{
    const quint16 port = startBridge();
    Client client(QStringLiteral("https://claims.example.com"));
    QVERIFY(client.open(port));
    QCOMPARE(client.call(R"({"id":1,"member":"Init"})"),
             QJsonObject({{"id", 1}, {"result", "OK"}}));
}

void TestHostBridge::burstOfCallsIsAnsweredInOrder()
{
    const quint16 port = startBridge();
    Client client;
    QVERIFY(client.open(port));
    constexpr int calls = 1000;
    for (int i = 0; i < calls; ++i) {
        if (i % 10 == 0)
            client.send(QByteArray(R"({"id":)") + QByteArray::number(i) +
                        R"(,"member":"TheNameOf","kind":"get","args":["Files",)" +
                        QByteArray::number(i) + "]}");
        else
            client.send(QByteArray(R"({"id":)") + QByteArray::number(i) +
                        R"(,"member":"Echo","args":[)" + QByteArray::number(i) + "]}");
    }
    QTRY_COMPARE_WITH_TIMEOUT(client.received.size(), calls, 30000);
    for (int i = 0; i < calls; ++i) {
        const QJsonValue expected =
            i % 10 == 0 ? QJsonValue(QStringLiteral("Files#%1").arg(i)) : QJsonValue(i);
        QCOMPARE(client.received[i], QJsonObject({{"id", i}, {"result", expected}}));
    }
}

void TestHostBridge::badFramesAreAnsweredAndConnectionStaysUsable()
{
    const quint16 port = startBridge();
    Client client;
    QVERIFY(client.open(port));
    QByteArray large = R"({"id":3,"member":"Init"})";
    large.insert(1, QByteArray(1048577 - large.size(), ' '));

    client.send("not json");
    client.socket.sendBinaryMessage(QByteArray("\x01\x02", 2));
    client.send(large);
    client.send(R"({"id":4,"member":"Launch"})");
    client.send(R"({"id":5,"member":"Init"})");
    QTRY_COMPARE_WITH_TIMEOUT(client.received.size(), 5, 10000);

    const QJsonValue none(QJsonValue::Null);
    auto description = [&](int i) {
        return client.received[i].value("error").toObject().value("description").toString();
    };
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(client.received[i].value("id"), none);
        QCOMPARE(client.received[i].value("error").toObject().value("number"), QJsonValue(-1));
    }
    QVERIFY2(description(0).startsWith("Frame is not valid JSON"), qPrintable(description(0)));
    QVERIFY2(description(1).contains("Binary"), qPrintable(description(1)));
    QCOMPARE(description(2), QStringLiteral("Frame too large: 1048577 bytes (limit 1048576)"));
    QCOMPARE(client.received[3].value("error").toObject().value("number"), QJsonValue(438));
    QCOMPARE(client.received[4], QJsonObject({{"id", 5}, {"result", "OK"}}));
    QCOMPARE(client.socket.state(), QAbstractSocket::ConnectedState);
    QCOMPARE(m_bridge.objects.at(0)->callCount(), 1);
}

void TestHostBridge::objectIsDestroyedWhenConnectionCloses_data()
{
    QTest::addColumn<bool>("abort");
    QTest::newRow("closing handshake") << false;
    QTest::newRow("dropped socket") << true;
}

void TestHostBridge::objectIsDestroyedWhenConnectionCloses()
{
    QFETCH(bool, abort);
    const quint16 port = startBridge();
    QSignalSpy closed(m_bridge.get(), &HostBridge::connectionClosed);
    Client client;
    QVERIFY(client.open(port));
    QTRY_COMPARE(m_bridge.objects.size(), 1);
    const QPointer<FakeDispatchable> object = m_bridge.objects[0];
    QCOMPARE(client.call(R"({"id":1,"member":"Init"})").value("result"), QJsonValue("OK"));

    if (abort)
        client.socket.abort();
    else
        client.socket.close();
    QTRY_VERIFY(object.isNull());
    QCOMPARE(closed.count(), 1);
    QCOMPARE(m_bridge->connectionCount(), 0);
}

void TestHostBridge::connectionDroppedDuringNestedLoopKeepsObjectUntilCallReturns()
{
    const quint16 port = startBridge();
    QSignalSpy closed(m_bridge.get(), &HostBridge::connectionClosed);
    Client dropped;
    QVERIFY(dropped.open(port));
    QTRY_COMPARE(m_bridge.objects.size(), 1);
    const QPointer<FakeDispatchable> object = m_bridge.objects[0];

    // What happens while the call sits in its nested loop, as under a modal dialog.
    Client other;
    bool scenarioDone = false;
    object->whileWaiting = [&] {
        dropped.socket.abort();
        QTRY_COMPARE(closed.count(), 1);
        QTest::qWait(50); // room for any deferred deletion to run
        QVERIFY2(object, "object destroyed under its running call");
        QVERIFY(object->isWaiting());

        QVERIFY(other.open(port));
        QCOMPARE(other.call(R"({"id":1,"member":"Init"})"),
                 QJsonObject({{"id", 1}, {"result", "OK"}}));
        QVERIFY(object);
        scenarioDone = true;
    };
    dropped.send(R"({"id":1,"member":"Wait"})");
    QTRY_VERIFY(scenarioDone);
    QTRY_VERIFY(object.isNull());

    QCOMPARE(m_bridge->connectionCount(), 1);
    QCOMPARE(other.call(R"({"id":2,"member":"Init"})"), QJsonObject({{"id", 2}, {"result", "OK"}}));
}

void TestHostBridge::listenNamesThePortThatIsTaken()
{
    QTcpServer holder;
    QVERIFY(holder.listen(QHostAddress::LocalHost, 0));
    HostBridgeOptions options;
    options.port = holder.serverPort();
    HostBridge bridge(options, [] { return std::make_unique<FakeDispatchable>(); });
    QString error;
    QVERIFY(!bridge.listen(&error));
    QCOMPARE(error, QStringLiteral("port %1 is already in use").arg(holder.serverPort()));
}

void TestHostBridge::adoptsAnInheritedListeningSocket()
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    QVERIFY(fd >= 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    QCOMPARE(::bind(fd, reinterpret_cast<sockaddr*>(&address), length), 0);
    QCOMPARE(::listen(fd, 16), 0);
    QCOMPARE(::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length), 0);
    const quint16 boundPort = ntohs(address.sin_port);

    HostBridgeOptions options;
    options.listenFd = fd;
    const quint16 port = startBridge(options);
    QCOMPARE(port, boundPort);
    Client client;
    QVERIFY(client.open(port));
    QCOMPARE(client.call(R"({"id":1,"member":"Init"})"),
             QJsonObject({{"id", 1}, {"result", "OK"}}));
}

void TestHostBridge::systemdSocketIsRecognised_data()
{
    QTest::addColumn<QByteArray>("pid");
    QTest::addColumn<QByteArray>("fds");
    QTest::addColumn<int>("expected");
    const QByteArray self = QByteArray::number(::getpid());
    QTest::newRow("ours") << self << QByteArray("1") << 3;
    QTest::newRow("ours, several") << self << QByteArray("2") << 3;
    QTest::newRow("meant for our parent")
        << QByteArray::number(::getppid()) << QByteArray("1") << -1;
    QTest::newRow("no sockets") << self << QByteArray("0") << -1;
    QTest::newRow("garbage") << QByteArray("x") << QByteArray("1") << -1;
    QTest::newRow("not activated") << QByteArray() << QByteArray() << -1;
}

void TestHostBridge::systemdSocketIsRecognised()
{
    QFETCH(QByteArray, pid);
    QFETCH(QByteArray, fds);
    QFETCH(int, expected);
    if (!pid.isEmpty()) {
        qputenv("LISTEN_PID", pid);
        qputenv("LISTEN_FDS", fds);
    }
    QCOMPARE(systemdListenFd(), expected);
    // Never left for a child process to pick up.
    QVERIFY(!qEnvironmentVariableIsSet("LISTEN_PID"));
    QVERIFY(!qEnvironmentVariableIsSet("LISTEN_FDS"));
}

QTEST_GUILESS_MAIN(TestHostBridge)
#include "tst_hostbridge.moc"
