// The HTTP client. The reply parser fed whole, a byte at a time and in uneven pieces: each
// framing, the answers it refuses, its limits to the byte. The transport against a scripted
// server: one answer on a kept connection, the one resend after a kept connection closed, the
// request's head, the time-out that only a silent server meets.

#include "http/HttpReplyParser.h"
#include "http/HttpTransport.h"
#include "support/ScriptedHttpServer.h"
#include "support/TableFolder.h"

#include <QTest>
#include <QTimer>

using namespace tarnaxe;
using tarnaxe::test::ok;
using tarnaxe::test::ScriptedAnswer;
using tarnaxe::test::ScriptedHttpServer;

namespace {

// Feeds bytes in pieces of the given sizes, cycling through them.
HttpReplyParser parse(const QByteArray& bytes, const QList<int>& pieces = {1 << 30},
                      bool close = false)
{
    HttpReplyParser parser;
    for (qsizetype at = 0, i = 0; at < bytes.size(); at += pieces[i++ % pieces.size()])
        parser.feed(QByteArrayView(bytes).sliced(at).first(
            qMin<qsizetype>(pieces[i % pieces.size()], bytes.size() - at)));
    if (close)
        parser.closed();
    return parser;
}

const QList<QList<int>> kSplits = {{1 << 30}, {1}, {2, 7, 1, 13}};
const QByteArray kOk = "HTTP/1.1 200 OK\r\n";
const QByteArray kChunked = kOk + "Transfer-Encoding: chunked\r\n\r\n";

const QString kClosed = "Connection closed by the server";

} // namespace

class TestHttp : public QObject {
    Q_OBJECT

private slots:
    void init()
    {
        m_server = std::make_unique<ScriptedHttpServer>();
        QVERIFY(m_server->listen());
        m_transport = std::make_unique<HttpTransport>(HttpTransportOptions{5000, {}});
    }

    void readsReplies_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("keepAlive");
        // Each reply is followed by the close, which ends only a body without a length.
        const auto row = [](const char* name, const QByteArray& bytes, int status,
                            const QByteArray& body, bool keepAlive) {
            QTest::newRow(name) << bytes << status << body << keepAlive;
        };
        row("length", kOk + "Content-Length: 5\r\n\r\n" + QByteArray("ab\tc\0", 5), 200,
            QByteArray("ab\tc\0", 5), true);
        row("bare LF, no reason", "HTTP/1.1 503\nContent-Length: 1\n\nx", 503, "x", true);
        row("chunked, extension, trailer",
            kChunked + "10;n=v\r\n0123456789abcdef\r\nA\r\nabcdefghij\r\n00\r\nX-T: 1\r\n\r\n", 200,
            "0123456789abcdefabcdefghij", true);
        row("chunks override a length",
            kOk + "Content-Length: 2\r\nTransfer-Encoding: Chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n",
            200, "abc", false);
        row("until the close", kOk + "\r\nto the end", 200, "to the end", false);
        row("HTTP/1.0 keep-alive",
            "HTTP/1.0 200 OK\r\nConnection: keep-alive\r\nContent-Length: 2\r\n\r\nok", 200, "ok",
            true);
        row("interim replies skipped",
            "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early\r\nLink: </a>\r\n\r\n"
            "HTTP/1.1 201 Created\r\nContent-Length: 1\r\n\r\n!",
            201, "!", true);
        row("no content", "HTTP/1.1 204 No Content\r\n\r\n", 204, "", true);
        // Bytes after the reply, in a later read too, make the connection unfit.
        row("bytes after the reply", kOk + "Content-Length: 2\r\n\r\nokHTTP/1.1 200 OK\r\n", 200,
            "ok", false);
        row("one length twice, identity",
            kOk +
                "Content-Length: 2, 2\r\nContent-Length: 2\r\nContent-Encoding: identity\r\n\r\nok",
            200, "ok", true);
    }

    void readsReplies()
    {
        QFETCH(QByteArray, bytes);
        for (const QList<int>& split : kSplits) {
            const HttpReplyParser parser = parse(bytes, split, true);
            QVERIFY2(parser.complete(), qPrintable(parser.error()));
            QTEST(parser.status(), "status");
            QTEST(parser.body(), "body");
            QTEST(parser.keepAlive(), "keepAlive");
        }
        // Headers are found without regard to case, folded lines joined.
        const HttpReplyParser parser =
            parse("HTTP/1.1 200 Fine Day\r\nX-Long: a\r\n b\r\nContent-Length: 0\r\n\r\n");
        QCOMPARE(parser.reason(), QByteArray("Fine Day"));
        QCOMPARE(parser.header("x-long"), QByteArray("a b"));
        QVERIFY(parser.header("Set-Cookie").isNull());
    }

    void refusesAnswers_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("error");
        const auto row = [](const QByteArray& bytes, const char* error) {
            QTest::newRow(error) << bytes << QString::fromLatin1(error);
        };
        row("\x16\x03\x01 binary\r\n\r\n", "it does not begin with an HTTP/1.x status line");
        row("HTTP/1.1 099 Odd\r\n\r\n", "its status 99 does not exist");
        row(kOk + "Content-Length 2\r\n\r\nok", "a header line is not \"Name: value\"");
        row(kOk + " folded\r\n\r\n", "its first header line is a continuation");
        row(kOk + "Content-Length: 18446744073709551617\r\n\r\n",
            "its Content-Length is not a number");
        row(kOk + "Content-Length: 2\r\nContent-Length: 3\r\n\r\nok",
            "it gives two different Content-Lengths");
        row(kOk + "Content-Length: 67108865\r\n\r\n", "its body is larger than 64 MiB");
        row(kChunked + "1FFFFFFFFFFFFFFFF\r\nx", "a chunk size is too large");
        row(kChunked + "-5\r\n", "a chunk size is not a hexadecimal number");
        row(kChunked + "2\r\nabc\r\n0\r\n\r\n", "a chunk is longer than its size says");
        row(kChunked + "1;" + QByteArray(5000, 'e'), "a chunk size line is longer than 4096 bytes");
        row(kOk + "Transfer-Encoding: gzip, chunked\r\n\r\n",
            "its transfer coding gzip, chunked is not supported");
        row(kOk + "Content-Encoding: br\r\nContent-Length: 2\r\n\r\nok",
            "it is encoded as br, which was not asked for");
        row("HTTP/1.1 101 Switching Protocols\r\nUpgrade: h2c\r\n\r\n",
            "the server switched to another protocol");
        row(QByteArray("HTTP/1.1 100 Continue\r\n\r\n").repeated(4000),
            "its headers are larger than 64 KiB");
    }

    void refusesAnswers()
    {
        QFETCH(QByteArray, bytes);
        for (const QList<int>& split : kSplits) {
            const HttpReplyParser parser = parse(bytes, split);
            QTEST(parser.error(), "error");
            QVERIFY(parser.failed() && !parser.cutShort() && !parser.keepAlive());
            QVERIFY(parser.body().isEmpty());
        }
    }

    void limitsAreExact()
    {
        // A body of exactly the limit is read; one byte more is refused, whatever the framing.
        const QByteArray full(qsizetype(HttpReplyParser::kMaxBodyBytes), 'b');
        HttpReplyParser parser = parse(kOk + "\r\n" + full, {1 << 30}, true);
        QVERIFY2(parser.complete(), qPrintable(parser.error()));
        QCOMPARE(parser.body().size(), full.size());
        for (const QByteArray& over :
             {kOk + "\r\n" + full + "b",
              kChunked + QByteArray::number(full.size(), 16) + "\r\n" + full + "\r\n1\r\n"})
            QCOMPARE(parse(over).error(), "its body is larger than 64 MiB");
        // Headers of exactly 64 KiB, status line and blank line included, are read.
        QByteArray head = kOk + "Content-Length: 0\r\nX-Filler: ";
        head += QByteArray(HttpReplyParser::kMaxHeadBytes - head.size() - 4, 'f') + "\r\n\r\n";
        QVERIFY(parse(head).complete());
        QCOMPARE(parse(head.insert(20, 'f')).error(), "its headers are larger than 64 KiB");
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
        row("to the close", "HTTP/1.1 200 OK\r\n\r\nto the end", 2, kHttpNoError, true);
        // The stream is out of step: the bytes too many come with the reply.
        row("bytes beyond the length", "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nokxyz", 2);
        row("invalid answer", QByteArray("\x00\xff garbage\r\n\r\n", 14), 2,
            QStringLiteral("Invalid reply from the server: it does not begin with an HTTP/1.x "
                           "status line"));
        // An answer that began is never sent for again, on a kept connection too.
        const QByteArray cut = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nonly this";
        row("cut short", cut, 2, kClosed, true);
        row("chunks cut short", kChunked + "5\r\nabcde\r\n", 2, kClosed, true);
        row("status line cut short", "HTTP/1.1 2", 2, kClosed, true);
        QTest::newRow("cut short, then silence")
            << ScriptedAnswer::raw(cut) << 0 << "Timed out" << 2;
        status("the server's reason", "HTTP/1.1 500 Database Down\r\n", "HTTP 500 Database Down");
        status("standard reason when none", "HTTP/1.1 503\r\n", "HTTP 503 Service Unavailable");
        status("redirect", "HTTP/1.1 301\r\nLocation: https://new.example/P.asp\r\n",
               "HTTP 301 Moved Permanently (redirect to https://new.example/P.asp not followed)");
        status("no content is success", "HTTP/1.1 204 No Content\r\n", kHttpNoError);
        // Seen by the socket while the loop turned, or only when the next request goes.
        ScriptedAnswer closing = ok();
        closing.closeAfter = true;
        QTest::newRow("closed while idle") << closing << 100 << kHttpNoError << 2;
    }

    void oneAnswer()
    {
        QFETCH(ScriptedAnswer, answer);
        QFETCH(int, idleMs);
        setTimeout(500);
        m_server->script({ok("first"), answer, ok("third")});
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
        const QString file = m_dir.write("f", bytes);
        const ScriptedAnswer drop = ScriptedAnswer::dropped();
        m_server->script({ok("first"), drop, ok("again"), drop, drop, drop, ok("never")});
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
            QVERIFY2((requests[1].head + "\r\n").contains("\r\n" + line + "\r\n"),
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

    void onlyStillnessTimesOutAndNothingNests()
    {
        // The server takes 256 KiB every 20 ms of a 16 MiB body: well over twice the 500 ms
        // allowed without progress, but bytes keep moving. (Well under a second's worth fits
        // in the kernel's socket buffers, so the client sees the pace.)
        setTimeout(500);
        const QByteArray bytes(16 << 20, 's');
        ScriptedAnswer slow = ok("done");
        slow.readPerTick = 256 * 1024;
        slow.readIntervalMs = 20;
        m_server->script({slow, ScriptedAnswer::silence()});
        const HttpPostResult result = post("Head:\t", m_dir.write("f", bytes));
        QVERIFY2(result.ok(), qPrintable(result.error));
        QCOMPARE(m_server->requests().first().body, "Head:\t" + bytes);
        // An event handled while the transport waits must not start a second exchange on its
        // one connection.
        QString nested;
        QTimer::singleShot(50, this, [this, &nested] { nested = post().error; });
        QCOMPARE(post().error, "Timed out");
        QCOMPARE(nested, "Another request to the server is under way");
        QCOMPARE(m_server->requests().size(), 2);
    }

private:
    HttpPostResult post(const QByteArray& text = "Field:value\t", const QString& file = {})
    {
        return m_transport->post(
            HttpTransport::pageUrl(m_server->hostPort(), "/dataup/P.asp", false), text, file);
    }
    void setTimeout(int ms) { m_transport->setOptions({ms, {}}); }

    test::TableFolder m_dir;
    std::unique_ptr<ScriptedHttpServer> m_server;
    std::unique_ptr<HttpTransport> m_transport;
};

QTEST_GUILESS_MAIN(TestHttp)
#include "tst_http.moc"
