// HttpTransport's own client against a scripted server: the framings of a reply, when the
// connection is kept and when it is not, the one resend after a kept connection closed,
// hostile answers, the request's head, and a streamed body over TLS.

#include "http/HttpTransport.h"
#include "support/DataupServer.h"
#include "support/ScriptedHttpServer.h"

#include <QCryptographicHash>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace tarnaxe;
using tarnaxe::test::DataupServer;
using tarnaxe::test::DataupServerOptions;
using tarnaxe::test::ScriptedAnswer;
using tarnaxe::test::ScriptedHttpServer;

namespace {

const QString kClosed = QStringLiteral("Connection closed by the server");

ScriptedAnswer dropped()
{
    ScriptedAnswer answer;
    answer.kind = ScriptedAnswer::Kind::DropAfterBody;
    return answer;
}

} // namespace

class TestHttpTransport : public QObject {
    Q_OBJECT

private slots:
    void init();
    void chunkedReplyKeepsTheConnection();
    void replyToTheCloseNeedsANewConnection();
    void connectionCloseIsHonoured_data();
    void connectionCloseIsHonoured();
    void idleConnectionClosedByTheServer_data();
    void idleConnectionClosedByTheServer();
    void keptConnectionClosedUnansweredIsSentOnceMore_data();
    void keptConnectionClosedUnansweredIsSentOnceMore();
    void keptConnectionClosedTwiceFails();
    void newConnectionClosedUnansweredIsNotSentAgain();
    void answerCutShort_data();
    void answerCutShort();
    void hostileAnswers_data();
    void hostileAnswers();
    void bodyOverTheLimit();
    void bytesBeyondTheLengthAreNotTrusted();
    void statusTexts_data();
    void statusTexts();
    void requestHead();
    void fileThatShrinksWhileSent();
    void nestedPostIsRefused();
    void streamedBodyOverTls();

private:
    HttpPostResult post(const QByteArray& text = "Field:value\t", const QString& file = {});
    QUrl url() const;
    QString writeFile(const QString& name, const QByteArray& bytes);

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<ScriptedHttpServer> m_server;
    std::unique_ptr<HttpTransport> m_transport;
};

void TestHttpTransport::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_server = std::make_unique<ScriptedHttpServer>();
    QVERIFY(m_server->listen());
    HttpTransportOptions options;
    options.inactivityTimeoutMs = 5000;
    m_transport = std::make_unique<HttpTransport>(options);
}

QUrl TestHttpTransport::url() const
{
    return HttpTransport::pageUrl(m_server->hostPort(), QStringLiteral("/dataup/Page.asp"), false);
}

HttpPostResult TestHttpTransport::post(const QByteArray& text, const QString& file)
{
    return m_transport->post(url(), text, file);
}

QString TestHttpTransport::writeFile(const QString& name, const QByteArray& bytes)
{
    const QString path = m_dir->filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
    return path;
}

void TestHttpTransport::chunkedReplyKeepsTheConnection()
{
    m_server->script({ScriptedAnswer::raw("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                                          "7\r\nStatus:\r\n8;x=y\r\nSUCCESS\t\r\n0\r\n\r\n"),
                      ScriptedAnswer::reply(200, "OK", "second")});
    HttpPostResult result = post();
    QCOMPARE(result.error, kHttpNoError);
    QCOMPARE(result.body, QByteArray("Status:SUCCESS\t"));
    result = post();
    QCOMPARE(result.error, kHttpNoError);
    QCOMPARE(result.body, QByteArray("second"));
    QCOMPARE(m_server->requests().size(), 2);
    QCOMPARE(m_server->connectionsAccepted(), 1);
}

void TestHttpTransport::replyToTheCloseNeedsANewConnection()
{
    m_server->script(
        {ScriptedAnswer::raw("HTTP/1.1 200 OK\r\n\r\nStatus:SUCCESS\tto the end", true),
         ScriptedAnswer::reply(200, "OK", "second")});
    HttpPostResult result = post();
    QCOMPARE(result.error, kHttpNoError);
    QCOMPARE(result.body, QByteArray("Status:SUCCESS\tto the end"));
    result = post();
    QCOMPARE(result.error, kHttpNoError);
    QCOMPARE(result.body, QByteArray("second"));
    QCOMPARE(m_server->requests().size(), 2);
    QCOMPARE(m_server->connectionsAccepted(), 2);
}

void TestHttpTransport::connectionCloseIsHonoured_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<int>("connections");

    // The server leaves its side open in every case: only the reply's words count.
    QTest::newRow("Connection: close")
        << QByteArray("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 2\r\n\r\nok") << 2;
    QTest::newRow("HTTP/1.0") << QByteArray("HTTP/1.0 200 OK\r\nContent-Length: 2\r\n\r\nok") << 2;
    QTest::newRow("HTTP/1.0 keep-alive")
        << QByteArray("HTTP/1.0 200 OK\r\nConnection: Keep-Alive\r\nContent-Length: 2\r\n\r\nok")
        << 1;
    QTest::newRow("error reply kept")
        << QByteArray("HTTP/1.1 500 Internal Server Error\r\nContent-Length: 4\r\n\r\noops") << 1;
}

void TestHttpTransport::connectionCloseIsHonoured()
{
    QFETCH(QByteArray, answer);
    QFETCH(int, connections);

    m_server->script({ScriptedAnswer::raw(answer), ScriptedAnswer::reply(200, "OK", "second")});
    (void)post();
    const HttpPostResult result = post();
    QCOMPARE(result.error, kHttpNoError);
    QCOMPARE(result.body, QByteArray("second"));
    QCOMPARE(m_server->requests().size(), 2);
    QCOMPARE(m_server->connectionsAccepted(), connections);
}

void TestHttpTransport::idleConnectionClosedByTheServer_data()
{
    QTest::addColumn<int>("idleMs");

    // Seen by the socket while the loop turned, or only by the kernel when the next
    // request is about to go.
    QTest::newRow("while idle") << 100;
    QTest::newRow("right after the reply") << 0;
}

void TestHttpTransport::idleConnectionClosedByTheServer()
{
    QFETCH(int, idleMs);

    ScriptedAnswer first = ScriptedAnswer::reply(200, "OK", "first");
    first.closeAfter = true;
    m_server->script({first, ScriptedAnswer::reply(200, "OK", "second")});
    QCOMPARE(post().body, QByteArray("first"));
    if (idleMs > 0)
        QTest::qWait(idleMs);
    const HttpPostResult result = post();
    QCOMPARE(result.error, kHttpNoError);
    QCOMPARE(result.body, QByteArray("second"));
    QCOMPARE(m_server->requests().size(), 2);
    QCOMPARE(m_server->connectionsAccepted(), 2);
}

void TestHttpTransport::keptConnectionClosedUnansweredIsSentOnceMore_data()
{
    QTest::addColumn<int>("size");

    QTest::newRow("body sent whole") << 40000;
    QTest::newRow("body streamed from disk") << (3 << 20);
}

void TestHttpTransport::keptConnectionClosedUnansweredIsSentOnceMore()
{
    QFETCH(int, size);

    const QByteArray bytes(size, 'c');
    const QString file = writeFile(QStringLiteral("chunk"), bytes);
    m_server->script({ScriptedAnswer::reply(200, "OK", "first"), dropped(),
                      ScriptedAnswer::reply(200, "OK", "again")});
    QCOMPARE(post("a\t", file).error, kHttpNoError);
    const HttpPostResult result = post("b\t", file);
    QCOMPARE(result.error, kHttpNoError);
    QCOMPARE(result.body, QByteArray("again"));
    QCOMPARE(m_server->requests().size(), 3);
    QCOMPARE(m_server->connectionsAccepted(), 2);
    // The same request both times.
    QCOMPARE(m_server->requests()[1].head, m_server->requests()[2].head);
    QCOMPARE(m_server->requests()[1].body, "b\t" + bytes);
    QCOMPARE(m_server->requests()[2].body, "b\t" + bytes);
}

void TestHttpTransport::keptConnectionClosedTwiceFails()
{
    m_server->script({ScriptedAnswer::reply(200, "OK", "first"), dropped(), dropped(),
                      ScriptedAnswer::reply(200, "OK", "never")});
    QCOMPARE(post().error, kHttpNoError);
    QCOMPARE(post().error, kClosed);
    QCOMPARE(m_server->requests().size(), 3);
    QCOMPARE(m_server->connectionsAccepted(), 2);
}

void TestHttpTransport::newConnectionClosedUnansweredIsNotSentAgain()
{
    m_server->script({dropped(), ScriptedAnswer::reply(200, "OK", "never")});
    QCOMPARE(post().error, kClosed);
    QCOMPARE(m_server->requests().size(), 1);
}

void TestHttpTransport::answerCutShort_data()
{
    QTest::addColumn<QByteArray>("answer");

    QTest::newRow("in the status line") << QByteArray("HTTP/1.1 2");
    QTest::newRow("in the headers") << QByteArray("HTTP/1.1 200 OK\r\nContent-Le");
    QTest::newRow("shorter than its length")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nonly this");
    QTest::newRow("before the last chunk")
        << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n");
}

void TestHttpTransport::answerCutShort()
{
    QFETCH(QByteArray, answer);

    // On a kept connection too: an answer that began is never sent for again.
    m_server->script({ScriptedAnswer::reply(200, "OK"), ScriptedAnswer::raw(answer, true),
                      ScriptedAnswer::reply(200, "OK", "never")});
    QCOMPARE(post().error, kHttpNoError);
    QCOMPARE(post().error, kClosed);
    QCOMPARE(m_server->requests().size(), 2);

    // The same answer from a server that then says nothing more.
    HttpTransportOptions options;
    options.inactivityTimeoutMs = 300;
    m_transport->setOptions(options);
    m_server->script({ScriptedAnswer::raw(answer)});
    QCOMPARE(post().error, QStringLiteral("Timed out"));
}

void TestHttpTransport::hostileAnswers_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QString>("error");

    QTest::newRow("garbage") << QByteArray("\x00\xff garbage\r\n\r\n", 14)
                             << "it does not begin with an HTTP/1.x status line";
    QTest::newRow("headers without end")
        << QByteArray("HTTP/1.1 200 OK\r\n") + QByteArray(100 * 1024, 'h')
        << "its headers are larger than 64 KiB";
    QTest::newRow("length over the limit")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 1000000000\r\n\r\nx")
        << "its body is larger than 64 MiB";
    QTest::newRow("length of 20 digits")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 18446744073709551617\r\n\r\n")
        << "its Content-Length is not a number";
    QTest::newRow("chunk size that overflows")
        << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                      "10000000000000001\r\nabc")
        << "a chunk size is too large";
    QTest::newRow("chunk size that is not one")
        << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n-5\r\nabc")
        << "a chunk size is not a hexadecimal number";
    QTest::newRow("compressed")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Encoding: br\r\nContent-Length: 1\r\n\r\nx")
        << "it is encoded as br, which was not asked for";
}

void TestHttpTransport::hostileAnswers()
{
    QFETCH(QByteArray, answer);
    QFETCH(QString, error);

    m_server->script({ScriptedAnswer::raw(answer), ScriptedAnswer::reply(200, "OK", "next")});
    QCOMPARE(post().error, QStringLiteral("Invalid reply from the server: ") + error);
    // The connection that carried the answer is not used again.
    const HttpPostResult next = post();
    QCOMPARE(next.error, kHttpNoError);
    QCOMPARE(next.body, QByteArray("next"));
    QCOMPARE(m_server->connectionsAccepted(), 2);
}

void TestHttpTransport::bodyOverTheLimit()
{
    // Chunks and a body that runs to the close grow to the limit and no further.
    QByteArray chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
    const QByteArray piece(1 << 20, 'p');
    for (int i = 0; i < 65; ++i)
        chunked += "100000\r\n" + piece + "\r\n";
    const QByteArray toTheClose = "HTTP/1.1 200 OK\r\n\r\n" + QByteArray(65 << 20, 'c');
    for (const QByteArray& answer : {chunked, toTheClose}) {
        m_server->script({ScriptedAnswer::raw(answer, true)});
        QCOMPARE(post().error,
                 QStringLiteral("Invalid reply from the server: its body is larger than 64 MiB"));
    }
}

void TestHttpTransport::bytesBeyondTheLengthAreNotTrusted()
{
    // The reply says 2 bytes and sends 5: the stream is out of step, so the next request
    // goes on a new connection, where the next answer is read as it should be. (The three
    // bytes too many come with the reply or after it; either way they are seen.)
    m_server->script({ScriptedAnswer::raw("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nokxyz"),
                      ScriptedAnswer::reply(200, "OK", "second")});
    QCOMPARE(post().body, QByteArray("ok"));
    const HttpPostResult result = post();
    QCOMPARE(result.error, kHttpNoError);
    QCOMPARE(result.body, QByteArray("second"));
    QCOMPARE(m_server->connectionsAccepted(), 2);
}

void TestHttpTransport::statusTexts_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QString>("error");

    QTest::newRow("the server's reason")
        << QByteArray("HTTP/1.1 500 Database Down\r\nContent-Length: 0\r\n\r\n")
        << "HTTP 500 Database Down";
    QTest::newRow("standard reason when none")
        << QByteArray("HTTP/1.1 503\r\nContent-Length: 0\r\n\r\n")
        << "HTTP 503 Service Unavailable";
    QTest::newRow("blank reason") << QByteArray("HTTP/1.1 404   \r\nContent-Length: 0\r\n\r\n")
                                  << "HTTP 404 Not Found";
    QTest::newRow("unknown status without reason")
        << QByteArray("HTTP/1.1 599\r\nContent-Length: 0\r\n\r\n") << "HTTP 599";
    QTest::newRow("redirect without reason")
        << QByteArray("HTTP/1.1 301\r\nLocation: https://new.example/dataup/Page.asp\r\n"
                      "Content-Length: 0\r\n\r\n")
        << "HTTP 301 Moved Permanently (redirect to https://new.example/dataup/Page.asp not "
           "followed)";
    QTest::newRow("redirect without location")
        << QByteArray("HTTP/1.1 307 Temporary Redirect\r\nContent-Length: 0\r\n\r\n")
        << "HTTP 307 Temporary Redirect";
    QTest::newRow("no content is success")
        << QByteArray("HTTP/1.1 204 No Content\r\n\r\n") << QString(kHttpNoError);
    QTest::newRow("after an interim reply")
        << QByteArray("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 403 Forbidden\r\nContent-Length: "
                      "0\r\n\r\n")
        << "HTTP 403 Forbidden";
}

void TestHttpTransport::statusTexts()
{
    QFETCH(QByteArray, answer);
    QFETCH(QString, error);

    m_server->script({ScriptedAnswer::raw(answer)});
    const HttpPostResult result = post();
    QCOMPARE(result.error, error);
    QVERIFY(result.body.isEmpty());
}

void TestHttpTransport::requestHead()
{
    const QString file = writeFile(QStringLiteral("f"), "file bytes");
    QCOMPARE(post("Text:1\t", file).error, kHttpNoError);
    const QByteArray head = m_server->requests().first().head;
    QList<QByteArray> lines;
    for (const QByteArray& line : head.split('\n'))
        lines << line.trimmed();
    QCOMPARE(lines.first(), QByteArray("POST /dataup/Page.asp HTTP/1.1"));
    QVERIFY(head.startsWith("POST /dataup/Page.asp HTTP/1.1\r\n"));
    // Not the default port, so the Host header names it.
    QVERIFY2(lines.contains("Host: " + m_server->hostPort().toLatin1()), head.constData());
    QVERIFY2(lines.contains("Content-Length: 17"), head.constData());
    QVERIFY2(lines.contains("Content-Type: application/octet-stream"), head.constData());
    // Replies are parsed as they come, so none may be compressed.
    QVERIFY2(lines.contains("Accept-Encoding: identity"), head.constData());
    QCOMPARE(m_server->requests().first().body, QByteArray("Text:1\tfile bytes"));
}

void TestHttpTransport::fileThatShrinksWhileSent()
{
    // The server reads slowly, so the client is still reading the file from disk when it
    // is cut to 1 MiB.
    const QString path = writeFile(QStringLiteral("shrinks"), QByteArray(48 << 20, 's'));
    ScriptedAnswer slow = ScriptedAnswer::reply(200, "OK");
    slow.readPerTick = 64 * 1024;
    slow.readIntervalMs = 10;
    m_server->script({slow});
    QTimer::singleShot(200, this, [path] { QFile::resize(path, 1 << 20); });
    const HttpPostResult result = post("Head:\t", path);
    QCOMPARE(result.error,
             QStringLiteral("Cannot read %1: The file became shorter while it was sent").arg(path));
}

void TestHttpTransport::nestedPostIsRefused()
{
    // An event handled while the transport waits must not start a second exchange on its
    // one connection.
    HttpTransportOptions options;
    options.inactivityTimeoutMs = 500;
    m_transport->setOptions(options);
    m_server->script({ScriptedAnswer::silence()});
    QString nested;
    QTimer::singleShot(50, this, [this, &nested] { nested = post().error; });
    QCOMPARE(post().error, QStringLiteral("Timed out"));
    QCOMPARE(nested, QStringLiteral("Another request to the server is under way"));
    QCOMPARE(m_server->requests().size(), 1);
}

void TestHttpTransport::streamedBodyOverTls()
{
    DataupServerOptions serverOptions;
    serverOptions.tls = true;
    DataupServer server(serverOptions);
    QVERIFY2(server.start(), qPrintable(server.error()));
    HttpTransportOptions options;
    options.extraCaCertificates = QSslCertificate::fromPath(server.caCertificatePath());
    QVERIFY(!options.extraCaCertificates.isEmpty());
    HttpTransport transport(options);
    const auto page = [&server](const char* name) {
        return HttpTransport::pageUrl(server.hostPort(), QString::fromLatin1(name), true);
    };

    HttpPostResult result =
        transport.post(page("/dataup/BeginAttachmentTransaction.asp"), "Code:BEGINTRANS\t");
    QCOMPARE(result.error, kHttpNoError);
    const test::DataupReply begun = test::parseDataupReply(result.body);
    const QByteArray transaction = begun.value("TransactionGUID");
    QVERIFY(!transaction.isEmpty());

    // Well over the size sent in one write, and not a multiple of any buffer.
    QByteArray bytes(3 * (1 << 20) + 12345, Qt::Uninitialized);
    for (qsizetype i = 0; i < bytes.size(); ++i)
        bytes[i] = char((i * 131) >> 3);
    const QString path = writeFile(QStringLiteral("large.bin"), bytes);
    result = transport.post(page("/dataup/WriteFile.asp"),
                            "FileName:large.bin\tTransactionGUID:" + transaction +
                                "\tFileSize:" + QByteArray::number(bytes.size()) + "\tFile:",
                            path);
    QCOMPARE(result.error, kHttpNoError);
    QCOMPARE(test::parseDataupReply(result.body).value("Status"), QByteArray("SUCCESS"));

    const QJsonArray files = server.transaction(QString::fromLatin1(transaction))
                                 .value(QLatin1String("files"))
                                 .toArray();
    QCOMPARE(files.size(), 1);
    const QJsonObject stored = files.first().toObject();
    QCOMPARE(stored.value(QLatin1String("size")).toInteger(), bytes.size());
    QCOMPARE(
        stored.value(QLatin1String("sha256")).toString(),
        QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex()));
}

QTEST_GUILESS_MAIN(TestHttpTransport)
#include "tst_httptransport.moc"
