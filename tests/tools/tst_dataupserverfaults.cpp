// dataup-server failing on purpose, and refusing what it must refuse, as a raw HTTP client
// sees it: injected faults, the body limit, wrong methods, and fault rules from afar.

#include "support/DataupServer.h"
#include "support/RawHttp.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QNetworkInterface>
#include <QTcpSocket>
#include <QTest>

using namespace tarnaxe::test;

namespace {

const QByteArray kBegin = "Code:BEGINTRANS\t";

QByteArray postRequest(const QByteArray& path, const QByteArray& body)
{
    return "POST " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n" +
           "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

} // namespace

class TestDataupServerFaults : public QObject {
    Q_OBJECT

private:
    DataupServer server{DataupServerOptions{false, 64 * 1024, {}}};

    qsizetype transactionCount() { return server.transactions().size(); }

    HttpReply begin()
    {
        return httpExchange(server.port(),
                            postRequest("/dataup/BeginAttachmentTransaction.asp", kBegin));
    }

private slots:
    void initTestCase() { QVERIFY2(server.start(), qPrintable(server.error())); }

    void cleanupTestCase()
    {
        server.stop();
        QCOMPARE(server.exitCode(), 0);
    }

    void cleanup() { QVERIFY(server.clearFaults()); }

    void eachFaultAsTheClientSeesIt()
    {
        QVERIFY(server.setFaults(R"([
            {"page": "/dataup/BeginAttachmentTransaction.asp", "after": 0, "times": 1, "action": "http500"},
            {"page": "/dataup/BeginAttachmentTransaction.asp", "after": 1, "times": 1, "action": "drop"},
            {"page": "/dataup/BeginAttachmentTransaction.asp", "after": 2, "times": 1, "action": "garbage"},
            {"page": "/dataup/BeginAttachmentTransaction.asp", "after": 3, "times": 1, "action": "no-status"},
            {"page": "/dataup/BeginAttachmentTransaction.asp", "after": 4, "times": 1, "action": "delay:300"}
        ])"));
        const qsizetype before = transactionCount();

        HttpReply reply = begin();
        QCOMPARE(reply.status, 500);
        QCOMPARE(transactionCount(), before);

        reply = begin();
        QCOMPARE(reply.status, 0); // not one byte came back
        QVERIFY(reply.closed);
        QVERIFY(reply.headers.isEmpty() && reply.body.isEmpty());
        QCOMPARE(transactionCount(), before);

        reply = begin();
        QCOMPARE(reply.status, 200);
        QVERIFY(!reply.body.isEmpty());
        QVERIFY(!reply.body.contains('\t') && !reply.body.contains(':'));
        QCOMPARE(transactionCount(), before);

        reply = begin();
        QCOMPARE(reply.status, 200);
        const DataupReply fields = parseDataupReply(reply.body);
        QVERIFY(!fields.malformed && !fields.fields.isEmpty());
        QVERIFY(!fields.has("Status"));
        QCOMPARE(transactionCount(), before);

        QElapsedTimer timer;
        timer.start();
        reply = begin();
        QVERIFY(timer.elapsed() >= 300);
        QCOMPARE(parseDataupReply(reply.body).value("Status"), QByteArray("SUCCESS"));
        QCOMPARE(transactionCount(), before + 1);

        // Every rule has had its turn; requests pass again.
        QCOMPARE(parseDataupReply(begin().body).value("Status"), QByteArray("SUCCESS"));
        QCOMPARE(transactionCount(), before + 2);
    }

    void rulesCountFromWhenTheyWereSet()
    {
        QCOMPARE(parseDataupReply(begin().body).value("Status"), QByteArray("SUCCESS"));
        QVERIFY(server.setFaults(R"([{"page": "/dataup/BeginAttachmentTransaction.asp",
                                     "after": 2, "times": 2, "action": "http500"}])"));
        QList<int> statuses;
        for (int i = 0; i < 5; ++i)
            statuses.append(begin().status);
        QCOMPARE(statuses, (QList<int>{200, 200, 500, 500, 200}));
        int status = 0;
        const QByteArray rules = server.request("GET", "/_faults", {}, &status);
        QCOMPARE(status, 200);
        QVERIFY2(rules.contains("\"remaining\": 0") && rules.contains("\"seen\": 5"),
                 rules.constData());
        // Other pages are not counted.
        QVERIFY(
            server.setFaults(R"([{"page": "/dataup/ReadAssignment.asp", "action": "http500"}])"));
        QCOMPARE(begin().status, 200);
    }

    void badRulesAreRefused()
    {
        int status = 0;
        for (const QByteArray& json :
             {QByteArray("{nope"), QByteArray(R"({"page": "/x"})"),
              QByteArray(R"([{"page": "/dataup/ReadMIE.asp", "action": "explode"}])"),
              QByteArray(R"([{"page": "/dataup/ReadMIE.asp", "action": "http500", "after": -1}])"),
              QByteArray(R"([{"action": "http500"}])")}) {
            server.request("POST", "/_faults", json, &status);
            QCOMPARE(status, 400);
        }
        const QJsonDocument rules =
            QJsonDocument::fromJson(server.request("GET", "/_faults", {}, &status));
        QVERIFY(rules.isArray() && rules.array().isEmpty());
    }

    void faultsOnlyFromThisMachine()
    {
        QString address;
        for (const QHostAddress& candidate : QNetworkInterface::allAddresses()) {
            if (candidate.protocol() == QAbstractSocket::IPv4Protocol && !candidate.isLoopback())
                address = candidate.toString();
        }
        if (address.isEmpty())
            QSKIP("this machine has no address besides loopback");
        DataupServer wide{DataupServerOptions{false, 0, {"--listen", "0.0.0.0:0"}}};
        QVERIFY2(wide.start(), qPrintable(wide.error()));
        const QByteArray rule = R"([{"page": "/dataup/ReadMIE.asp", "action": "http500"}])";
        const QByteArray request = "POST /_faults HTTP/1.1\r\nHost: x\r\nConnection: close\r\n"
                                   "Content-Length: " +
                                   QByteArray::number(rule.size()) + "\r\n\r\n" + rule;
        QTcpSocket socket;
        socket.connectToHost(QHostAddress(address), wide.port());
        QVERIFY(socket.waitForConnected(5000));
        socket.write(request);
        QByteArray answer;
        while (socket.waitForReadyRead(5000))
            answer += socket.readAll();
        QVERIFY2(answer.startsWith("HTTP/1.1 403"), answer.constData());
        const QJsonDocument rules = QJsonDocument::fromJson(wide.request("GET", "/_faults"));
        QVERIFY(rules.isArray() && rules.array().isEmpty());
        // The same request over loopback is taken.
        QCOMPARE(httpExchange(wide.port(), request).status, 200);
        wide.stop();
        QCOMPARE(wide.exitCode(), 0);
    }

    void bodyLimitMethodsAndPaths()
    {
        // 64 KiB limit: a declared larger body is refused before it is read.
        const QByteArray big = "Code:BEGINTRANS\tFile:" + QByteArray(70 * 1024, 'x');
        QCOMPARE(httpExchange(server.port(), postRequest("/dataup/WriteFile.asp", big)).status,
                 413);
        const QByteArray head = "POST /dataup/WriteFile.asp HTTP/1.1\r\nHost: x\r\n"
                                "Content-Length: 5000000000\r\n\r\n";
        QCOMPARE(httpExchange(server.port(), head).status, 413);

        const HttpReply get =
            httpExchange(server.port(), "GET /dataup/ReadAssignment.asp HTTP/1.1\r\nHost: x\r\n"
                                        "Connection: close\r\n\r\n");
        QCOMPARE(get.status, 405);
        QCOMPARE(get.header("allow"), QByteArray("POST"));
        int status = 0;
        server.request("PUT", "/dataup/AppendToFile.asp", "x", &status);
        QCOMPARE(status, 405);
        server.post("/dataup/NoSuchPage.asp", "GUID:x\t", &status);
        QCOMPARE(status, 404);
        server.request("GET", "/api/transactions/%7Bnope%7D", {}, &status);
        QCOMPARE(status, 404);
    }

    void thousandsOfRequestsOnOneConnection()
    {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, server.port());
        QVERIFY(socket.waitForConnected(5000));
        const QByteArray request = "POST /dataup/ReadAssignment.asp HTTP/1.1\r\nHost: x\r\n"
                                   "Content-Length: 7\r\n\r\nGUID:x\t";
        const QByteArray expected = "Status:FAILURE\tErrorMessage:Assignment not found\t";
        for (int i = 0; i < 300; ++i) {
            socket.write(request);
            QByteArray answer;
            while (!answer.endsWith(expected)) {
                QVERIFY2(socket.waitForReadyRead(5000), qPrintable(QString::number(i)));
                answer += socket.readAll();
            }
            QVERIFY(answer.startsWith("HTTP/1.1 200"));
            QVERIFY(!answer.toLower().contains("connection: close"));
        }
        QCOMPARE(socket.state(), QAbstractSocket::ConnectedState);
    }
};

QTEST_GUILESS_MAIN(TestDataupServerFaults)
#include "tst_dataupserverfaults.moc"
