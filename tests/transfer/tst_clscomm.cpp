// clsComm against a scripted HTTP server: the exact bytes of each kind of request, the
// attempts and their errors, progress, and the transport's time-out.

#include "support/ScriptedHttpServer.h"
#include "transfer/clsComm.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

using namespace tarnaxe;
using tarnaxe::test::ScriptedAnswer;
using tarnaxe::test::ScriptedHttpServer;

class TestClsComm : public QObject {
    Q_OBJECT

private slots:
    void init();
    void sendFileBody();
    void appendBody();
    void sendDataBodyAndProgress();
    void replyKeptAsBytes();
    void emptyReply();
    void fileSendsTryFourTimes_data();
    void fileSendsTryFourTimes();
    void sendDataTriesOnce();
    void failureKeepsEarlierResponse();
    void httpErrorsAreReadable_data();
    void httpErrorsAreReadable();
    void connectionRefused();
    void hostNotFound();
    void badServerName();
    void silentServerTimesOut();
    void slowButMovingUploadGoesThrough();
    void connectionReused();

private:
    QString writeFile(const QString& name, const QByteArray& bytes);
    clsComm& comm();

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<ScriptedHttpServer> m_server;
    std::unique_ptr<clsComm> m_comm;
};

void TestClsComm::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_server = std::make_unique<ScriptedHttpServer>();
    QVERIFY(m_server->listen());
    HttpTransportOptions options;
    options.inactivityTimeoutMs = 5000;
    m_comm = std::make_unique<clsComm>(options);
    m_comm->ServerName = m_server->hostPort();
}

QString TestClsComm::writeFile(const QString& name, const QByteArray& bytes)
{
    const QString path = m_dir->filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
    return path;
}

clsComm& TestClsComm::comm()
{
    return *m_comm;
}

void TestClsComm::sendFileBody()
{
    const QByteArray bytes("a\tb:c\0\xff\r\n", 9);
    comm().LocalFileSpec = writeFile(QStringLiteral("photo.jpg"), bytes);
    comm().PostPage = QStringLiteral("/dataup/WriteFile.asp");
    m_server->script({ScriptedAnswer::reply(200, "OK", "Status:SUCCESS\tLocation:L1\t")});

    QString error;
    QVERIFY(comm().SendFile(QStringLiteral("{G-1}.JPG"), error, QStringLiteral("{T-1}")));
    QCOMPARE(error, QStringLiteral("OK"));
    QCOMPARE(m_server->requests().size(), 1);
    const auto& request = m_server->requests().first();
    QCOMPARE(request.method, QByteArray("POST"));
    QCOMPARE(request.path, QByteArray("/dataup/WriteFile.asp"));
    QCOMPARE(request.body,
             QByteArray("FileName:{G-1}.JPG\tTransactionGUID:{T-1}\tFileSize:9\tFile:") + bytes);
    QCOMPARE(comm().ResponseData, QByteArray("Status:SUCCESS\tLocation:L1\t"));
}

void TestClsComm::appendBody()
{
    const QString chunk = writeFile(QStringLiteral("Chunk.jpg"), QByteArray(100, 'z'));
    comm().PostPage = QStringLiteral("/dataup/AppendToFile.asp");
    // LocalFileSpec plays no part in an append.
    comm().LocalFileSpec = writeFile(QStringLiteral("other"), "not sent");
    qint16 progressSeen = 0;
    connect(&comm(), &clsComm::Progress, this, [&progressSeen](qint16& p) { progressSeen = p; });

    QString error;
    QVERIFY(comm().AppendFileOnServer(QStringLiteral("C:\\x\\y.jpg"), chunk, 32768, error,
                                      QStringLiteral("{T-1}")));
    QCOMPARE(error, QStringLiteral("OK"));
    QCOMPARE(m_server->requests().first().body,
             "sLocation:C:\\x\\y.jpg\tTransactionGUID:{T-1}\tCurrSize:32768\tBlobSize:100\tBlob:" +
                 QByteArray(100, 'z'));
    QCOMPARE(progressSeen, qint16(0));
}

void TestClsComm::sendDataBodyAndProgress()
{
    comm().PostPage = QStringLiteral("/dataup/ReadAssignment.asp");
    QList<qint16> progress;
    connect(&comm(), &clsComm::Progress, this, [&progress](qint16& p) { progress << p; });
    m_server->script({ScriptedAnswer::reply(200, "OK", "Status:SUCCESS\t")});

    QString error;
    // Text goes out as Windows-1252, one byte per character.
    QVERIFY(comm().SendData(QStringLiteral("GUID:{G}\tCaption:Fender – Müller\t"), error));
    QCOMPARE(m_server->requests().first().body,
             QByteArray("GUID:{G}\tCaption:Fender \x96 M\xfcller\t"));
    QCOMPARE(progress, (QList<qint16>{12, 100}));
}

void TestClsComm::replyKeptAsBytes()
{
    comm().PostPage = QStringLiteral("/dataup/ReadMIE.asp");
    const QByteArray reply("Status:SUCCESS\tExportSize:4\tExport:\x00\x80\xff\t\t", 41);
    m_server->script({ScriptedAnswer::reply(200, "OK", reply)});
    QString error;
    QVERIFY(comm().SendData(QStringLiteral("GUID:{G}\t"), error));
    QCOMPARE(comm().ResponseData, reply);
}

void TestClsComm::emptyReply()
{
    comm().PostPage = QStringLiteral("/dataup/CommitAttachmentTransaction.asp");
    comm().ResponseData = "left over";
    QString error;
    QVERIFY(comm().SendData(QStringLiteral("TransactionGUID:{T}\t"), error));
    QCOMPARE(error, QStringLiteral("OK"));
    QCOMPARE(comm().ResponseData, QByteArray());
}

void TestClsComm::fileSendsTryFourTimes_data()
{
    QTest::addColumn<int>("failures");
    QTest::addColumn<bool>("append");

    QTest::newRow("send file: 3 failures then success") << 3 << false;
    QTest::newRow("send file: 4 failures") << 4 << false;
    QTest::newRow("append: 3 failures then success") << 3 << true;
    QTest::newRow("append: 4 failures") << 4 << true;
}

void TestClsComm::fileSendsTryFourTimes()
{
    QFETCH(int, failures);
    QFETCH(bool, append);

    const QString file = writeFile(QStringLiteral("f.bin"), "12345");
    comm().LocalFileSpec = file;
    comm().PostPage = QStringLiteral("/dataup/WriteFile.asp");
    QList<ScriptedAnswer> answers;
    for (int i = 1; i <= failures; ++i)
        answers << ScriptedAnswer::reply(500 + i, "Failure " + QByteArray::number(i));
    answers << ScriptedAnswer::reply(200, "OK", "Status:SUCCESS\t");
    m_server->script(answers);

    QString error;
    const bool sent = append ? comm().AppendFileOnServer(QStringLiteral("L"), file, 0, error,
                                                         QStringLiteral("{T}"))
                             : comm().SendFile(QStringLiteral("R"), error, QStringLiteral("{T}"));
    QCOMPARE(m_server->requests().size(), qMin(failures + 1, 4));
    // Every attempt carries the same body.
    QCOMPARE(m_server->requests().first().body, m_server->requests().last().body);
    if (failures < 4) {
        QVERIFY(sent);
        QCOMPARE(error, QStringLiteral("OK"));
    } else {
        QVERIFY(!sent);
        QCOMPARE(error, QStringLiteral("HTTP 504 Failure 4"));
    }
}

void TestClsComm::sendDataTriesOnce()
{
    comm().PostPage = QStringLiteral("/dataup/ReadAssignment.asp");
    m_server->script({ScriptedAnswer::reply(503, "Service Unavailable"),
                      ScriptedAnswer::reply(200, "OK", "Status:SUCCESS\t")});
    QList<qint16> progress;
    connect(&comm(), &clsComm::Progress, this, [&progress](qint16& p) { progress << p; });
    QString error;
    QVERIFY(!comm().SendData(QStringLiteral("GUID:{G}\t"), error));
    QCOMPARE(error, QStringLiteral("HTTP 503 Service Unavailable"));
    QCOMPARE(m_server->requests().size(), 1);
    QCOMPARE(progress, QList<qint16>{12});
}

void TestClsComm::failureKeepsEarlierResponse()
{
    comm().PostPage = QStringLiteral("/dataup/ReadAssignment.asp");
    m_server->script({ScriptedAnswer::reply(200, "OK", "Status:SUCCESS\t"),
                      ScriptedAnswer::reply(500, "Internal Server Error")});
    QString error;
    QVERIFY(comm().SendData(QStringLiteral("GUID:{G}\t"), error));
    QVERIFY(!comm().SendData(QStringLiteral("GUID:{G}\t"), error));
    QCOMPARE(error, QStringLiteral("HTTP 500 Internal Server Error"));
    QCOMPARE(comm().ResponseData, QByteArray("Status:SUCCESS\t"));
}

void TestClsComm::httpErrorsAreReadable_data()
{
    QTest::addColumn<ScriptedAnswer>("answer");
    QTest::addColumn<QString>("error");

    ScriptedAnswer redirect = ScriptedAnswer::reply(302, "Found");
    redirect.headers << qMakePair(QByteArray("Location"), QByteArray("http://elsewhere/x"));
    QTest::newRow("redirect is not followed")
        << redirect << "HTTP 302 Found (redirect to http://elsewhere/x not followed)";
    QTest::newRow("not found") << ScriptedAnswer::reply(404, "Not Found") << "HTTP 404 Not Found";
    ScriptedAnswer dropped;
    dropped.kind = ScriptedAnswer::Kind::DropAfterBody;
    QTest::newRow("connection dropped") << dropped << "Connection closed by the server";
    ScriptedAnswer droppedEarly;
    droppedEarly.kind = ScriptedAnswer::Kind::DropAfterHead;
    QTest::newRow("dropped mid-body") << droppedEarly << "Connection closed by the server";
}

void TestClsComm::httpErrorsAreReadable()
{
    QFETCH(ScriptedAnswer, answer);
    QFETCH(QString, error);

    comm().PostPage = QStringLiteral("/dataup/WriteFile.asp");
    comm().LocalFileSpec = writeFile(QStringLiteral("big.bin"), QByteArray(4 << 20, 'b'));
    // A request is sent again only when a kept connection closes before any answer; a
    // dropped connection is never kept, so every attempt is one request.
    m_server->script(QList<ScriptedAnswer>(16, answer));
    QString got;
    QVERIFY(!comm().SendFile(QStringLiteral("R"), got, QStringLiteral("{T}")));
    QCOMPARE(got, error);
    QCOMPARE(m_server->requests().size(), clsComm::kFileAttempts);
}

void TestClsComm::connectionRefused()
{
    const quint16 port = m_server->port();
    m_server.reset(); // nothing listens there now
    comm().ServerName = QStringLiteral("127.0.0.1:%1").arg(port);
    comm().PostPage = QStringLiteral("/dataup/ReadAssignment.asp");
    QString error;
    QVERIFY(!comm().SendData(QStringLiteral("GUID:{G}\t"), error));
    QCOMPARE(error, QStringLiteral("Connection refused"));
}

void TestClsComm::hostNotFound()
{
    comm().ServerName = QStringLiteral("no-such-host.invalid");
    comm().PostPage = QStringLiteral("/dataup/ReadAssignment.asp");
    QString error;
    QVERIFY(!comm().SendData(QStringLiteral("GUID:{G}\t"), error));
    QCOMPARE(error, QStringLiteral("Host not found"));
}

void TestClsComm::badServerName()
{
    comm().PostPage = QStringLiteral("/dataup/ReadAssignment.asp");
    for (const QString& server : {QString(), QStringLiteral("http://host/x"),
                                  QStringLiteral("user@host"), QStringLiteral("host:99999")}) {
        comm().ServerName = server;
        QString error;
        QVERIFY2(!comm().SendData(QStringLiteral("GUID:{G}\t"), error), qPrintable(server));
        QCOMPARE(error, QStringLiteral("Invalid server address"));
    }
    QCOMPARE(m_server->requests().size(), 0);
}

void TestClsComm::silentServerTimesOut()
{
    HttpTransportOptions options;
    options.inactivityTimeoutMs = 300;
    comm().transport().setOptions(options);
    comm().PostPage = QStringLiteral("/dataup/ReadAssignment.asp");
    m_server->script({ScriptedAnswer::silence()});
    QString error;
    QVERIFY(!comm().SendData(QStringLiteral("GUID:{G}\t"), error));
    QCOMPARE(error, QStringLiteral("Timed out"));
    QCOMPARE(m_server->requests().size(), 1);
}

void TestClsComm::slowButMovingUploadGoesThrough()
{
    // The server takes 256 KiB every 20 ms of a 48 MiB body: about four seconds in all,
    // more than twice the 1.5 s without progress allowed, but bytes keep moving. (Well
    // under a second's worth fits in the kernel's socket buffers, so the client sees the
    // pace.)
    HttpTransportOptions options;
    options.inactivityTimeoutMs = 1500;
    comm().transport().setOptions(options);
    const QByteArray bytes = QByteArray(48 << 20, 's');
    comm().LocalFileSpec = writeFile(QStringLiteral("slow.bin"), bytes);
    comm().PostPage = QStringLiteral("/dataup/WriteFile.asp");
    ScriptedAnswer slow = ScriptedAnswer::reply(200, "OK", "Status:SUCCESS\t");
    slow.readPerTick = 256 * 1024;
    slow.readIntervalMs = 20;
    m_server->script({slow});
    QElapsedTimer timer;
    timer.start();
    QString error;
    QVERIFY2(comm().SendFile(QStringLiteral("R"), error, QStringLiteral("{T}")), qPrintable(error));
    QVERIFY2(timer.elapsed() > 2 * options.inactivityTimeoutMs, "the server did not hold back");
    QCOMPARE(m_server->requests().size(), 1);
    QCOMPARE(m_server->requests().first().body.size(), 54 + bytes.size());
    QVERIFY(m_server->requests().first().body.endsWith(bytes));
}

void TestClsComm::connectionReused()
{
    comm().PostPage = QStringLiteral("/dataup/AppendToFile.asp");
    const QString chunk = writeFile(QStringLiteral("Chunk"), QByteArray(32768, 'c'));
    for (int i = 0; i < 20; ++i) {
        QString error;
        QVERIFY(comm().AppendFileOnServer(QStringLiteral("L"), chunk, qint64(i) * 32768, error,
                                          QStringLiteral("{T}")));
    }
    QCOMPARE(m_server->requests().size(), 20);
    QCOMPARE(m_server->connectionsAccepted(), 1);
}

QTEST_GUILESS_MAIN(TestClsComm)
#include "tst_clscomm.moc"
