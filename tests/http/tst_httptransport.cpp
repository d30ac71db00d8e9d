// HttpTransport against a scripted server: one answer on a kept connection (whether the
// connection is kept after it, its error text, answers cut short or refused), the one resend
// after a kept connection closed, the request's head, and the time-out that only a silent
// server meets.

#include "http/HttpTransport.h"
#include "support/ScriptedHttpServer.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace tarnaxe;
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
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_server = std::make_unique<ScriptedHttpServer>();
        QVERIFY(m_server->listen());
        m_transport = std::make_unique<HttpTransport>(HttpTransportOptions{5000, {}});
    }

    void oneAnswer_data()
    {
        QTest::addColumn<ScriptedAnswer>("answer");
        QTest::addColumn<int>("idleMs");
        QTest::addColumn<QString>("error");
        QTest::addColumn<int>("connections"); // for the three requests
        const auto row = [](const char* name, const QByteArray& answer, int connections,
                            const QString& error = kHttpNoError, bool closeAfter = false) {
            QTest::newRow(name) << ScriptedAnswer::raw(answer, closeAfter) << 0 << error
                                << connections;
        };
        const auto status = [&row](const char* name, const QByteArray& head, const QString& error) {
            row(name, head + "Content-Length: 0\r\n\r\n", 1, error);
        };
        // Unless closeAfter, the server leaves its side open: only the reply's words count.
        row("chunked", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nok\r\n0\r\n\r\n",
            1);
        row("to the close", "HTTP/1.1 200 OK\r\n\r\nto the end", 2, kHttpNoError, true);
        // The stream is out of step: the bytes too many come with the reply.
        row("bytes beyond the length", "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nokxyz", 2);
        row("invalid answer", QByteArray("\x00\xff garbage\r\n\r\n", 14), 2,
            QStringLiteral("Invalid reply from the server: it does not begin with an HTTP/1.x "
                           "status line"));
        // An answer that began is never sent for again, on a kept connection too.
        const QByteArray cut = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nonly this";
        row("cut short", cut, 2, kClosed, true);
        QTest::newRow("cut short, then silence")
            << ScriptedAnswer::raw(cut) << 0 << QStringLiteral("Timed out") << 2;
        status("the server's reason", "HTTP/1.1 500 Database Down\r\n", "HTTP 500 Database Down");
        status("standard reason when none", "HTTP/1.1 503\r\n", "HTTP 503 Service Unavailable");
        status("redirect", "HTTP/1.1 301\r\nLocation: https://new.example/P.asp\r\n",
               "HTTP 301 Moved Permanently (redirect to https://new.example/P.asp not followed)");
        status("no content is success", "HTTP/1.1 204 No Content\r\n", kHttpNoError);
        // Seen by the socket while the loop turned, or only when the next request goes.
        ScriptedAnswer closing = ScriptedAnswer::reply(200, "OK");
        closing.closeAfter = true;
        QTest::newRow("closed while idle") << closing << 100 << kHttpNoError << 2;
    }

    void oneAnswer()
    {
        QFETCH(ScriptedAnswer, answer);
        QFETCH(int, idleMs);
        setTimeout(500);
        m_server->script({ScriptedAnswer::reply(200, "OK", "first"), answer,
                          ScriptedAnswer::reply(200, "OK", "third")});
        QCOMPARE(post().body, QByteArray("first"));
        const HttpPostResult result = post(); // on the kept connection
        QTEST(result.error, "error");
        if (!result.ok())
            QVERIFY(result.body.isEmpty());
        if (idleMs > 0)
            QTest::qWait(idleMs);
        QCOMPARE(post().body, QByteArray("third"));
        QCOMPARE(m_server->requests().size(), 3);
        QTEST(m_server->connectionsAccepted(), "connections");
    }

    void keptConnectionClosedUnansweredIsSentOnceMore_data()
    {
        QTest::addColumn<int>("size");
        QTest::newRow("body sent whole") << 40000;
        QTest::newRow("body streamed from disk") << (3 << 20);
    }

    void keptConnectionClosedUnansweredIsSentOnceMore()
    {
        QFETCH(int, size);
        const QByteArray bytes(size, 'c');
        const QString file = writeFile(bytes);
        m_server->script({ScriptedAnswer::reply(200, "OK", "first"), dropped(),
                          ScriptedAnswer::reply(200, "OK", "again"), dropped(), dropped(),
                          dropped(), ScriptedAnswer::reply(200, "OK", "never")});
        QCOMPARE(post("a\t", file).error, kHttpNoError);
        const HttpPostResult result = post("b\t", file);
        QCOMPARE(result.body, QByteArray("again"));
        const auto& requests = m_server->requests();
        QCOMPARE(requests.size(), 3);
        QCOMPARE(requests[1].head, requests[2].head);
        // Not the default port, so the Host header names it; replies are parsed as they come,
        // so none may be compressed.
        for (const QByteArray& line : {"Host: " + m_server->hostPort().toLatin1(),
                                       "Content-Length: " + QByteArray::number(size + 2),
                                       QByteArray("Content-Type: application/octet-stream"),
                                       QByteArray("Accept-Encoding: identity")})
            QVERIFY2(requests[1].head.contains("\r\n" + line + "\r\n") ||
                         requests[1].head.endsWith("\r\n" + line),
                     requests[1].head.constData());
        QVERIFY(requests[1].head.startsWith("POST /dataup/P.asp HTTP/1.1\r\n"));
        QCOMPARE(requests[1].body, "b\t" + bytes);
        QCOMPARE(requests[2].body, "b\t" + bytes);
        // Only once: a second close of a kept connection is the error.
        QCOMPARE(post().error, kClosed);
        QCOMPARE(requests.size(), 5);
        // A new connection closed unanswered is not tried again.
        QCOMPARE(post().error, kClosed);
        QCOMPARE(requests.size(), 6);
        QCOMPARE(m_server->connectionsAccepted(), 4);
    }

    void onlyStillnessTimesOut()
    {
        // The server takes 256 KiB every 20 ms of a 16 MiB body: well over twice the 500 ms
        // allowed without progress, but bytes keep moving. (Well under a second's worth fits
        // in the kernel's socket buffers, so the client sees the pace.)
        setTimeout(500);
        const QByteArray bytes(16 << 20, 's');
        ScriptedAnswer slow = ScriptedAnswer::reply(200, "OK", "done");
        slow.readPerTick = 256 * 1024;
        slow.readIntervalMs = 20;
        m_server->script({slow, ScriptedAnswer::silence()});
        const HttpPostResult result = post("Head:\t", writeFile(bytes));
        QVERIFY2(result.ok(), qPrintable(result.error));
        QCOMPARE(m_server->requests().first().body, "Head:\t" + bytes);
        QCOMPARE(post().error, QStringLiteral("Timed out"));
        QCOMPARE(m_server->requests().size(), 2);
    }

    void nestedPostIsRefused()
    {
        // An event handled while the transport waits must not start a second exchange on its
        // one connection.
        setTimeout(500);
        m_server->script({ScriptedAnswer::silence()});
        QString nested;
        QTimer::singleShot(50, this, [this, &nested] { nested = post().error; });
        QCOMPARE(post().error, QStringLiteral("Timed out"));
        QCOMPARE(nested, QStringLiteral("Another request to the server is under way"));
        QCOMPARE(m_server->requests().size(), 1);
    }

private:
    HttpPostResult post(const QByteArray& text = "Field:value\t", const QString& file = {})
    {
        return m_transport->post(
            HttpTransport::pageUrl(m_server->hostPort(), QStringLiteral("/dataup/P.asp"), false),
            text, file);
    }
    void setTimeout(int ms) { m_transport->setOptions({ms, {}}); }
    QString writeFile(const QByteArray& bytes)
    {
        QFile file(m_dir->filePath(QStringLiteral("f")));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            qFatal("cannot write %s", qPrintable(file.fileName()));
        return file.fileName();
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<ScriptedHttpServer> m_server;
    std::unique_ptr<HttpTransport> m_transport;
};

QTEST_GUILESS_MAIN(TestHttpTransport)
#include "tst_httptransport.moc"
