// The HTTP reply parser on its own: each framing fed whole, a byte at a time and in uneven
// pieces; the end of a connection; the answers it refuses; its limits to the byte.

#include "http/HttpReplyParser.h"

#include <QTest>

using namespace tarnaxe;

namespace {

// Feeds bytes in pieces of the given sizes, cycling through them.
HttpReplyParser parse(const QByteArray& bytes, const QList<int>& pieces = {1 << 30},
                      bool close = false)
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

const QList<QList<int>> kSplits = {{1 << 30}, {1}, {2, 7, 1, 13}};
const QByteArray kOk = "HTTP/1.1 200 OK\r\n";
const QByteArray kChunked = kOk + "Transfer-Encoding: chunked\r\n\r\n";

} // namespace

class TestHttpReplyParser : public QObject {
    Q_OBJECT

private slots:
    void readsReplies_data();
    void readsReplies();
    void refusesAnswers_data();
    void refusesAnswers();
    void closeEndsOnlyAnOpenEndedBody();
    void bytesAfterTheReplyMakeTheConnectionUnfit();
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
    const auto row = [](const char* name, const QByteArray& bytes, bool close, int status,
                        const char* reason, const QByteArray& body, bool keepAlive) {
        QTest::newRow(name) << bytes << close << status << QByteArray(reason) << body << keepAlive;
    };
    row("content length", kOk + "Content-Length: 5\r\n\r\n" + QByteArray("ab\tc\0", 5), false, 200,
        "OK", QByteArray("ab\tc\0", 5), true);
    row("reason with spaces, bare LF", "HTTP/1.1 500 Internal Server Error\nContent-Length: 1\n\nx",
        false, 500, "Internal Server Error", "x", true);
    row("no reason", "HTTP/1.1 503\r\nContent-Length: 0\r\n\r\n", false, 503, "", "", true);
    row("chunked, extension, trailer",
        kChunked + "10;n=v\r\n0123456789abcdef\r\na\r\nABCDEFGHIJ\r\nA\r\nabcdefghij\r\n00\r\n"
                   "X-Trailer: 1\r\n\r\n",
        false, 200, "OK", "0123456789abcdefABCDEFGHIJabcdefghij", true);
    row("chunks override a length",
        kOk + "Content-Length: 2\r\nTransfer-Encoding: Chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n", false,
        200, "OK", "abc", false);
    row("until the close", kOk + "\r\nto the end", true, 200, "OK", "to the end", false);
    row("connection close", kOk + "Connection: Close\r\nContent-Length: 3\r\n\r\nnot", false, 200,
        "OK", "not", false);
    row("HTTP/1.0 closes", "HTTP/1.0 200 OK\r\nContent-Length: 2\r\n\r\nok", false, 200, "OK", "ok",
        false);
    row("HTTP/1.0 keep-alive",
        "HTTP/1.0 200 OK\r\nConnection: keep-alive\r\nContent-Length: 2\r\n\r\nok", false, 200,
        "OK", "ok", true);
    row("interim replies skipped",
        "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: </a>\r\n\r\n"
        "HTTP/1.1 201 Created\r\nContent-Length: 1\r\n\r\n!",
        false, 201, "Created", "!", true);
    row("no content has no body", "HTTP/1.1 204 No Content\r\n\r\n", false, 204, "No Content", "",
        true);
    row("the same length twice, identity encoding",
        kOk + "Content-Length: 2, 2\r\nContent-Length: 2\r\nContent-Encoding: identity\r\n\r\nok",
        false, 200, "OK", "ok", true);
}

void TestHttpReplyParser::readsReplies()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, close);
    for (const QList<int>& split : kSplits) {
        const HttpReplyParser parser = parse(bytes, split, close);
        QVERIFY2(parser.complete(), qPrintable(parser.error()));
        QTEST(parser.status(), "status");
        QTEST(parser.reason(), "reason");
        QTEST(parser.body(), "body");
        QTEST(parser.keepAlive(), "keepAlive");
    }
    // Headers are found without regard to case, folded lines joined.
    const HttpReplyParser parser =
        parse(kOk + "location:  http://x/y \r\nX-Long: a\r\n b\r\nContent-Length: 0\r\n\r\n");
    QCOMPARE(parser.header("Location"), QByteArray("http://x/y"));
    QCOMPARE(parser.header("x-long"), QByteArray("a b"));
    QVERIFY(parser.header("Set-Cookie").isNull());
}

void TestHttpReplyParser::refusesAnswers_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("error");
    const auto row = [](const char* name, const QByteArray& bytes, const char* error) {
        QTest::newRow(name) << bytes << QString::fromLatin1(error);
    };
    const char* notHttp = "it does not begin with an HTTP/1.x status line";
    const char* notField = "a header line is not \"Name: value\"";
    const char* badLength = "its Content-Length is not a number";
    const char* tooLarge = "its body is larger than 64 MiB";
    const char* notHex = "a chunk size is not a hexadecimal number";
    const char* bigHead = "its headers are larger than 64 KiB";
    row("garbage", "\x16\x03\x01 binary\r\n\r\n", notHttp);
    row("HTTP/2", "HTTP/2 200\r\n\r\n", notHttp);
    row("two-digit status", "HTTP/1.1 20 OK\r\n\r\n", notHttp);
    row("status glued to reason", "HTTP/1.1 200OK\r\n\r\n", notHttp);
    row("status below 100", "HTTP/1.1 099 Odd\r\n\r\n", "its status 99 does not exist");
    row("header without colon", kOk + "Content-Length 2\r\n\r\nok", notField);
    row("space before colon", kOk + "Content-Length : 2\r\n\r\nok", notField);
    row("continuation first", kOk + " folded\r\n\r\n", "its first header line is a continuation");
    row("length not a number", kOk + "Content-Length: 12a\r\n\r\n", badLength);
    row("negative length", kOk + "Content-Length: -1\r\n\r\n", badLength);
    row("length overflows", kOk + "Content-Length: 18446744073709551617\r\n\r\n", badLength);
    row("two lengths", kOk + "Content-Length: 2\r\nContent-Length: 3\r\n\r\nok",
        "it gives two different Content-Lengths");
    row("length over the limit", kOk + "Content-Length: 67108865\r\n\r\n", tooLarge);
    row("chunk size overflows", kChunked + "1FFFFFFFFFFFFFFFF\r\nx", "a chunk size is too large");
    row("chunk over the limit", kChunked + "4000001\r\n", tooLarge);
    row("chunk size not hexadecimal", kChunked + "-5\r\n", notHex);
    row("chunk size missing", kChunked + "\r\n", notHex);
    row("chunk longer than said", kChunked + "2\r\nabc\r\n0\r\n\r\n",
        "a chunk is longer than its size says");
    row("endless chunk size line", kChunked + "1;" + QByteArray(5000, 'e'),
        "a chunk size line is longer than 4096 bytes");
    row("other transfer coding", kOk + "Transfer-Encoding: gzip, chunked\r\n\r\n",
        "its transfer coding gzip, chunked is not supported");
    row("compressed", kOk + "Content-Encoding: br\r\nContent-Length: 2\r\n\r\nok",
        "it is encoded as br, which was not asked for");
    row("switching protocols", "HTTP/1.1 101 Switching Protocols\r\nUpgrade: h2c\r\n\r\n",
        "the server switched to another protocol");
    row("headers over 64 KiB", kOk + "X-Filler: " + QByteArray(70 * 1024, 'f') + "\r\n\r\n",
        bigHead);
    row("endless interim replies", QByteArray("HTTP/1.1 100 Continue\r\n\r\n").repeated(4000),
        bigHead);
}

void TestHttpReplyParser::refusesAnswers()
{
    QFETCH(QByteArray, bytes);
    for (const QList<int>& split : kSplits) {
        const HttpReplyParser parser = parse(bytes, split);
        QVERIFY(parser.failed());
        QTEST(parser.error(), "error");
        QVERIFY(!parser.cutShort() && !parser.keepAlive() && parser.body().isEmpty());
    }
}

void TestHttpReplyParser::closeEndsOnlyAnOpenEndedBody()
{
    for (const QByteArray& bytes :
         {kOk + "Content-Length: 10\r\n\r\nabc", kChunked + "5\r\nab", kChunked + "5\r\nabcde\r\n",
          kOk + "Content-Len", QByteArray("HTTP/1.1 2"), QByteArray()}) {
        HttpReplyParser parser = parse(bytes);
        QVERIFY2(!parser.complete() && !parser.failed(), bytes.constData());
        QCOMPARE(parser.started(), !bytes.isEmpty());
        parser.closed();
        QVERIFY(parser.failed() && parser.cutShort());
        QCOMPARE(parser.error(),
                 QStringLiteral("the connection closed before the reply was complete"));
    }
}

void TestHttpReplyParser::bytesAfterTheReplyMakeTheConnectionUnfit()
{
    HttpReplyParser parser = parse(kOk + "Content-Length: 2\r\n\r\nok");
    QVERIFY(parser.keepAlive());
    parser.feed("HTTP/1.1 200 OK\r\n");
    QCOMPARE(parser.body(), QByteArray("ok"));
    QVERIFY(parser.complete() && !parser.keepAlive());
    parser = parse(kOk + "Content-Length: 2\r\n\r\nokay"); // in the same read
    QCOMPARE(parser.body(), QByteArray("ok"));
    QVERIFY(parser.complete() && !parser.keepAlive());
}

void TestHttpReplyParser::limitsAreExact()
{
    // A body of exactly the limit is read; one byte more is refused, whatever the framing.
    const QByteArray full(qsizetype(HttpReplyParser::kMaxBodyBytes), 'b');
    HttpReplyParser parser = parse(kOk + "\r\n" + full, {1 << 30}, true);
    QVERIFY2(parser.complete(), qPrintable(parser.error()));
    QCOMPARE(parser.body().size(), full.size());
    for (const QByteArray& over :
         {kOk + "\r\n" + full + "b",
          kChunked + QByteArray::number(full.size(), 16) + "\r\n" + full + "\r\n1\r\n"}) {
        parser = parse(over);
        QCOMPARE(parser.error(), QStringLiteral("its body is larger than 64 MiB"));
        QVERIFY(parser.body().isEmpty());
    }
    // Headers of exactly 64 KiB, status line and blank line included, are read.
    QByteArray head = kOk + "Content-Length: 0\r\nX-Filler: ";
    head += QByteArray(HttpReplyParser::kMaxHeadBytes - head.size() - 4, 'f') + "\r\n\r\n";
    QVERIFY(parse(head).complete());
    QCOMPARE(parse(head.insert(head.size() - 10, 'f')).error(),
             QStringLiteral("its headers are larger than 64 KiB"));
}

QTEST_GUILESS_MAIN(TestHttpReplyParser)
#include "tst_httpreplyparser.moc"
