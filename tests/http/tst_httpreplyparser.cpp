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

} // namespace

class TestHttpReplyParser : public QObject {
    Q_OBJECT

private slots:
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

    void closeEndsOnlyAnOpenEndedBody()
    {
        for (const QByteArray& bytes : {kOk + "Content-Length: 10\r\n\r\nabc",
                                        kChunked + "5\r\nabcde\r\n", QByteArray("HTTP/1.1 2")}) {
            HttpReplyParser parser = parse(bytes);
            QVERIFY2(!parser.complete() && !parser.failed() && parser.started(), bytes.data());
            parser.closed();
            QVERIFY(parser.failed() && parser.cutShort());
        }
        QVERIFY(!parse({}).started());
        // Bytes after the reply, in the same read or later, make the connection unfit.
        HttpReplyParser parser = parse(kOk + "Content-Length: 2\r\n\r\nokay");
        QVERIFY(parser.complete() && !parser.keepAlive());
        parser = parse(kOk + "Content-Length: 2\r\n\r\nok");
        parser.feed("HTTP/1.1 200 OK\r\n");
        QCOMPARE(parser.body(), QByteArray("ok"));
        QVERIFY(parser.complete() && !parser.keepAlive());
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
            QCOMPARE(parse(over).error(), QStringLiteral("its body is larger than 64 MiB"));
        // Headers of exactly 64 KiB, status line and blank line included, are read.
        QByteArray head = kOk + "Content-Length: 0\r\nX-Filler: ";
        head += QByteArray(HttpReplyParser::kMaxHeadBytes - head.size() - 4, 'f') + "\r\n\r\n";
        QVERIFY(parse(head).complete());
        QCOMPARE(parse(head.insert(20, 'f')).error(),
                 QStringLiteral("its headers are larger than 64 KiB"));
    }
};

QTEST_GUILESS_MAIN(TestHttpReplyParser)
#include "tst_httpreplyparser.moc"
