// The HTTP reply parser on its own: each framing, fed whole, a byte at a time and in
// uneven pieces; the end of a connection; and the answers it refuses.

#include "http/HttpReplyParser.h"

#include <QTest>

using namespace tarnaxe;

namespace {

// Feeds bytes in pieces of the given sizes, cycling through them.
HttpReplyParser parse(const QByteArray& bytes, const QList<int>& pieces, bool close)
{
    HttpReplyParser parser;
    qsizetype at = 0;
    for (int i = 0; at < bytes.size(); ++i) {
        const qsizetype size = qMin<qsizetype>(pieces[i % pieces.size()], bytes.size() - at);
        parser.feed(QByteArrayView(bytes).sliced(at, size));
        at += size;
    }
    if (close)
        parser.closed();
    return parser;
}

const QList<QList<int>> kSplits = {{1 << 30}, {1}, {2, 7, 1, 13}, {5, 64}};

} // namespace

class TestHttpReplyParser : public QObject {
    Q_OBJECT

private slots:
    void readsReplies_data();
    void readsReplies();
    void refusesAnswers_data();
    void refusesAnswers();
    void closeEndsOnlyAnOpenEndedBody();
    void nothingBeforeTheClose();
    void bytesAfterTheReplyMakeTheConnectionUnfit();
    void headersAreFoundWithoutRegardToCase();
    void limitsAreExact();
};

void TestHttpReplyParser::readsReplies_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("close"); // the server closes after the bytes
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("reason");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("keepAlive");

    QTest::newRow("content length")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nab\tc\0", 43) << false << 200
        << QByteArray("OK") << QByteArray("ab\tc\0", 5) << true;
    QTest::newRow("empty body") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n")
                                << false << 200 << QByteArray("OK") << QByteArray() << true;
    QTest::newRow("reason with spaces, bare LF")
        << QByteArray("HTTP/1.1 500 Internal Server Error\nContent-Length: 1\n\nx") << false << 500
        << QByteArray("Internal Server Error") << QByteArray("x") << true;
    QTest::newRow("no reason") << QByteArray("HTTP/1.1 503\r\nContent-Length: 0\r\n\r\n") << false
                               << 503 << QByteArray() << QByteArray() << true;
    QTest::newRow("chunked with extension and trailer")
        << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                      "5\r\nHello\r\n7;name=value\r\n, world\r\n00\r\nX-Trailer: 1\r\n\r\n")
        << false << 200 << QByteArray("OK") << QByteArray("Hello, world") << true;
    QTest::newRow("chunk sizes in either case")
        << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: Chunked\r\n\r\n"
                      "a\r\n0123456789\r\nA\r\nabcdefghij\r\n0\r\n\r\n")
        << false << 200 << QByteArray("OK") << QByteArray("0123456789abcdefghij") << true;
    QTest::newRow("chunks override a length")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 2\r\nTransfer-Encoding: chunked\r\n\r\n"
                      "3\r\nabc\r\n0\r\n\r\n")
        << false << 200 << QByteArray("OK") << QByteArray("abc") << false;
    QTest::newRow("until the close")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n\r\nto the end") << true
        << 200 << QByteArray("OK") << QByteArray("to the end") << false;
    QTest::newRow("connection close")
        << QByteArray("HTTP/1.1 404 Not Found\r\nConnection: Close\r\nContent-Length: 3\r\n\r\nnot")
        << false << 404 << QByteArray("Not Found") << QByteArray("not") << false;
    QTest::newRow("HTTP/1.0 closes by default")
        << QByteArray("HTTP/1.0 200 OK\r\nContent-Length: 2\r\n\r\nok") << false << 200
        << QByteArray("OK") << QByteArray("ok") << false;
    QTest::newRow("HTTP/1.0 keep-alive")
        << QByteArray("HTTP/1.0 200 OK\r\nConnection: keep-alive\r\nContent-Length: 2\r\n\r\nok")
        << false << 200 << QByteArray("OK") << QByteArray("ok") << true;
    QTest::newRow("interim replies skipped")
        << QByteArray("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: </a>\r\n\r\n"
                      "HTTP/1.1 201 Created\r\nContent-Length: 1\r\n\r\n!")
        << false << 201 << QByteArray("Created") << QByteArray("!") << true;
    QTest::newRow("no content has no body")
        << QByteArray("HTTP/1.1 204 No Content\r\n\r\n") << false << 204 << QByteArray("No Content")
        << QByteArray() << true;
    QTest::newRow("the same length twice")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 2, 2\r\nContent-Length: 2\r\n\r\nok")
        << false << 200 << QByteArray("OK") << QByteArray("ok") << true;
    QTest::newRow("identity encoding")
        << QByteArray(
               "HTTP/1.1 200 OK\r\nContent-Encoding: identity\r\nContent-Length: 2\r\n\r\nok")
        << false << 200 << QByteArray("OK") << QByteArray("ok") << true;
}

void TestHttpReplyParser::readsReplies()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, close);
    QFETCH(int, status);
    QFETCH(QByteArray, reason);
    QFETCH(QByteArray, body);
    QFETCH(bool, keepAlive);

    for (const QList<int>& split : kSplits) {
        const HttpReplyParser parser = parse(bytes, split, close);
        QVERIFY2(parser.complete(), qPrintable(parser.error()));
        QVERIFY(parser.started());
        QCOMPARE(parser.status(), status);
        QCOMPARE(parser.reason(), reason);
        QCOMPARE(parser.body(), body);
        QCOMPARE(parser.keepAlive(), keepAlive);
    }
}

void TestHttpReplyParser::refusesAnswers_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("error");

    const QString notHttp = QStringLiteral("it does not begin with an HTTP/1.x status line");
    QTest::newRow("garbage") << QByteArray("\x16\x03\x01 binary\r\n\r\n") << notHttp;
    QTest::newRow("HTTP/2") << QByteArray("HTTP/2 200\r\n\r\n") << notHttp;
    QTest::newRow("two-digit status") << QByteArray("HTTP/1.1 20 OK\r\n\r\n") << notHttp;
    QTest::newRow("status glued to reason") << QByteArray("HTTP/1.1 200OK\r\n\r\n") << notHttp;
    QTest::newRow("status below 100")
        << QByteArray("HTTP/1.1 099 Odd\r\n\r\n") << QStringLiteral("its status 99 does not exist");
    QTest::newRow("header without colon")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Length 2\r\n\r\nok")
        << QStringLiteral("a header line is not \"Name: value\"");
    QTest::newRow("space before colon")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Length : 2\r\n\r\nok")
        << QStringLiteral("a header line is not \"Name: value\"");
    QTest::newRow("continuation first")
        << QByteArray("HTTP/1.1 200 OK\r\n folded\r\n\r\n")
        << QStringLiteral("its first header line is a continuation");
    QTest::newRow("length not a number")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 12a\r\n\r\n")
        << QStringLiteral("its Content-Length is not a number");
    QTest::newRow("negative length") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: -1\r\n\r\n")
                                     << QStringLiteral("its Content-Length is not a number");
    QTest::newRow("length overflows")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 99999999999999999999999\r\n\r\n")
        << QStringLiteral("its Content-Length is not a number");
    QTest::newRow("two lengths")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 2\r\nContent-Length: 3\r\n\r\nok")
        << QStringLiteral("it gives two different Content-Lengths");
    QTest::newRow("length over the limit")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 67108865\r\n\r\n")
        << QStringLiteral("its body is larger than 64 MiB");
    QTest::newRow("chunk size overflows")
        << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                      "1FFFFFFFFFFFFFFFF\r\nx")
        << QStringLiteral("a chunk size is too large");
    QTest::newRow("chunk over the limit")
        << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n4000001\r\n")
        << QStringLiteral("its body is larger than 64 MiB");
    QTest::newRow("chunk size not hexadecimal")
        << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nxyz\r\n")
        << QStringLiteral("a chunk size is not a hexadecimal number");
    QTest::newRow("chunk size missing")
        << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n\r\n")
        << QStringLiteral("a chunk size is not a hexadecimal number");
    QTest::newRow("chunk longer than said")
        << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nabc\r\n0\r\n\r\n")
        << QStringLiteral("a chunk is longer than its size says");
    QTest::newRow("endless chunk size line")
        << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1;") +
               QByteArray(5000, 'e')
        << QStringLiteral("a chunk size line is longer than 4096 bytes");
    QTest::newRow("other transfer coding")
        << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: gzip, chunked\r\n\r\n")
        << QStringLiteral("its transfer coding gzip, chunked is not supported");
    QTest::newRow("compressed")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 2\r\n\r\nok")
        << QStringLiteral("it is encoded as gzip, which was not asked for");
    QTest::newRow("switching protocols")
        << QByteArray("HTTP/1.1 101 Switching Protocols\r\nUpgrade: h2c\r\n\r\n")
        << QStringLiteral("the server switched to another protocol");
    QTest::newRow("headers over 64 KiB")
        << QByteArray("HTTP/1.1 200 OK\r\n") + QByteArray("X-Filler: ") +
               QByteArray(70 * 1024, 'f') + "\r\n\r\n"
        << QStringLiteral("its headers are larger than 64 KiB");
    QByteArray interims;
    for (int i = 0; i < 4000; ++i)
        interims += "HTTP/1.1 100 Continue\r\n\r\n";
    QTest::newRow("endless interim replies")
        << interims << QStringLiteral("its headers are larger than 64 KiB");
}

void TestHttpReplyParser::refusesAnswers()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, error);

    for (const QList<int>& split : kSplits) {
        const HttpReplyParser parser = parse(bytes, split, false);
        QVERIFY(parser.failed());
        QCOMPARE(parser.error(), error);
        QVERIFY(!parser.cutShort());
        QVERIFY(!parser.keepAlive());
        QVERIFY(parser.body().isEmpty());
    }
}

void TestHttpReplyParser::closeEndsOnlyAnOpenEndedBody()
{
    const QByteArray cutShort[] = {
        "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc",
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nab",
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nabcde\r\n",
        "HTTP/1.1 200 OK\r\nContent-Len",
        "HTTP/1.1 2",
    };
    for (const QByteArray& bytes : cutShort) {
        HttpReplyParser parser = parse(bytes, {1 << 30}, false);
        QVERIFY2(!parser.complete() && !parser.failed(), bytes.constData());
        parser.closed();
        QVERIFY2(parser.failed(), bytes.constData());
        QVERIFY(parser.cutShort());
        QCOMPARE(parser.error(),
                 QStringLiteral("the connection closed before the reply was complete"));
    }
}

void TestHttpReplyParser::nothingBeforeTheClose()
{
    HttpReplyParser parser;
    parser.feed({});
    QVERIFY(!parser.started());
    parser.closed();
    QVERIFY(parser.failed());
    QVERIFY(parser.cutShort());
    QVERIFY(!parser.started());
}

void TestHttpReplyParser::bytesAfterTheReplyMakeTheConnectionUnfit()
{
    HttpReplyParser parser =
        parse("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok", {1 << 30}, false);
    QVERIFY(parser.keepAlive());
    parser.feed("HTTP/1.1 200 OK\r\n");
    QVERIFY(parser.complete());
    QCOMPARE(parser.body(), QByteArray("ok"));
    QVERIFY(!parser.keepAlive());

    // More bytes than the length said, in the same read.
    parser = parse("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nokay", {1 << 30}, false);
    QVERIFY(parser.complete());
    QCOMPARE(parser.body(), QByteArray("ok"));
    QVERIFY(!parser.keepAlive());
}

void TestHttpReplyParser::headersAreFoundWithoutRegardToCase()
{
    const HttpReplyParser parser =
        parse("HTTP/1.1 302 Found\r\nlocation:  http://elsewhere/x \r\nX-Long: a\r\n b\r\n"
              "Content-Length: 0\r\n\r\n",
              {3}, false);
    QVERIFY(parser.complete());
    QCOMPARE(parser.header("Location"), QByteArray("http://elsewhere/x"));
    QCOMPARE(parser.header("x-long"), QByteArray("a b"));
    QVERIFY(parser.header("Set-Cookie").isNull());
}

void TestHttpReplyParser::limitsAreExact()
{
    // A body of exactly the limit is read; one byte more is refused, whatever the framing.
    const qint64 limit = HttpReplyParser::kMaxBodyBytes;
    const QByteArray full(qsizetype(limit), 'b');

    HttpReplyParser parser;
    parser.feed("HTTP/1.1 200 OK\r\n\r\n");
    parser.feed(full);
    parser.closed();
    QVERIFY2(parser.complete(), qPrintable(parser.error()));
    QCOMPARE(parser.body().size(), limit);

    parser = {};
    parser.feed("HTTP/1.1 200 OK\r\n\r\n");
    parser.feed(full);
    parser.feed("b");
    QVERIFY(parser.failed());
    QCOMPARE(parser.error(), QStringLiteral("its body is larger than 64 MiB"));
    QVERIFY(parser.body().isEmpty());

    parser = {};
    parser.feed("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n");
    parser.feed(QByteArray::number(limit, 16) + "\r\n");
    QVERIFY(!parser.failed());
    parser.feed(full);
    parser.feed("\r\n1\r\n");
    QVERIFY(parser.failed());
    QCOMPARE(parser.error(), QStringLiteral("its body is larger than 64 MiB"));

    // Headers of exactly 64 KiB, status line and blank line included, are read.
    QByteArray head = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\nX-Filler: ";
    head += QByteArray(HttpReplyParser::kMaxHeadBytes - head.size() - 4, 'f') + "\r\n\r\n";
    QCOMPARE(head.size(), HttpReplyParser::kMaxHeadBytes);
    parser = parse(head, {1 << 30}, false);
    QVERIFY2(parser.complete(), qPrintable(parser.error()));
    parser = parse(head.insert(head.size() - 10, 'f'), {1 << 30}, false);
    QVERIFY(parser.failed());
    QCOMPARE(parser.error(), QStringLiteral("its headers are larger than 64 KiB"));
}

QTEST_GUILESS_MAIN(TestHttpReplyParser)
#include "tst_httpreplyparser.moc"
