// clsComm and the reads of an assignment against a server that answers exactly what each
// case scripts: the bytes of each kind of request, the attempts and their errors, and
// every reply (and every quirk of its fields) that the reads must cope with.

#include "support/RecordingView.h"
#include "support/ScriptedHttpServer.h"
#include "transfer/AssignmentReads.h"
#include "transfer/clsComm.h"

#include <QTemporaryDir>
#include <QTest>

using namespace tarnaxe;
using tarnaxe::test::RecordingView;
using tarnaxe::test::ScriptedAnswer;
using tarnaxe::test::ScriptedHttpServer;

namespace {

enum class Send { File, Append, Data };
enum class Blob { Export, Ems, Mie };

ScriptedAnswer ok(const QByteArray& body)
{
    return ScriptedAnswer::reply(200, "OK", body);
}

} // namespace

Q_DECLARE_METATYPE(Send)
Q_DECLARE_METATYPE(Blob)

class TestClsComm : public QObject {
    Q_OBJECT

private slots:
    void init();
    void requestBodies();
    void attempts_data();
    void attempts();
    void noServerToTalkTo();
    void blobReplies_data();
    void blobReplies();
    void headerAndBasename();

private:
    QString writeFile(const QString& name, const QByteArray& bytes);

    QTemporaryDir m_dir;
    std::unique_ptr<ScriptedHttpServer> m_server;
    std::unique_ptr<clsComm> m_comm;
    RecordingView m_view;
};

void TestClsComm::init()
{
    m_server = std::make_unique<ScriptedHttpServer>();
    QVERIFY(m_server->listen());
    m_comm = std::make_unique<clsComm>();
    m_comm->ServerName = m_server->hostPort();
    m_view = RecordingView();
}

QString TestClsComm::writeFile(const QString& name, const QByteArray& bytes)
{
    QFile file(m_dir.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(file.fileName()));
    return file.fileName();
}

void TestClsComm::requestBodies()
{
    const QByteArray bytes("a\tb:c\0\xff\r\n", 9);
    m_comm->LocalFileSpec = writeFile(QStringLiteral("photo.jpg"), bytes);
    m_comm->PostPage = QStringLiteral("/dataup/WriteFile.asp");
    m_server->script({ok("Status:SUCCESS\tLocation:L1\t")});
    QList<qint16> progress;
    connect(m_comm.get(), &clsComm::Progress, this, [&progress](qint16& p) { progress << p; });
    QString error;
    QVERIFY(m_comm->SendFile(QStringLiteral("{G-1}.JPG"), error, QStringLiteral("{T-1}")));
    QCOMPARE(error, QStringLiteral("OK"));
    QCOMPARE(m_comm->ResponseData, QByteArray("Status:SUCCESS\tLocation:L1\t"));
    // LocalFileSpec plays no part in an append; text goes out as Windows-1252.
    QVERIFY(m_comm->AppendFileOnServer(QStringLiteral("C:\\x\\y.jpg"),
                                       writeFile(QStringLiteral("Chunk"), QByteArray(100, 'z')),
                                       32768, error, QStringLiteral("{T-1}")));
    QVERIFY(m_comm->SendData(QStringLiteral("GUID:{G}\tCaption:Fender – Müller\t"), error));
    QCOMPARE(m_comm->ResponseData, QByteArray()); // an empty reply leaves nothing behind
    const auto& requests = m_server->requests();
    QCOMPARE(requests.size(), 3);
    QCOMPARE(requests[0].method, QByteArray("POST"));
    QCOMPARE(requests[0].path, QByteArray("/dataup/WriteFile.asp"));
    QCOMPARE(requests[0].body,
             "FileName:{G-1}.JPG\tTransactionGUID:{T-1}\tFileSize:9\tFile:" + bytes);
    QCOMPARE(requests[1].body,
             "sLocation:C:\\x\\y.jpg\tTransactionGUID:{T-1}\tCurrSize:32768\tBlobSize:100\tBlob:" +
                 QByteArray(100, 'z'));
    QCOMPARE(requests[2].body, QByteArray("GUID:{G}\tCaption:Fender \x96 M\xfcller\t"));
    QCOMPARE(progress, (QList<qint16>{12, 100, 12, 100})); // sending data only
    QCOMPARE(m_server->connectionsAccepted(), 1);
}

void TestClsComm::attempts_data()
{
    QTest::addColumn<Send>("send");
    QTest::addColumn<int>("failures");
    QTest::addColumn<int>("requests");
    QTest::addColumn<QString>("error");
    QTest::newRow("file: 3 failures, then success") << Send::File << 3 << 4 << "OK";
    QTest::newRow("file: 4 failures") << Send::File << 4 << 4 << "HTTP 504 Failure 4";
    QTest::newRow("append: 3 failures, then success") << Send::Append << 3 << 4 << "OK";
    QTest::newRow("append: 4 failures") << Send::Append << 4 << 4 << "HTTP 504 Failure 4";
    QTest::newRow("data: one try") << Send::Data << 1 << 1 << "HTTP 501 Failure 1";
}

void TestClsComm::attempts()
{
    QFETCH(Send, send);
    QFETCH(int, failures);
    QFETCH(QString, error);
    const QString file = writeFile(QStringLiteral("f.bin"), "12345");
    m_comm->LocalFileSpec = file;
    m_comm->PostPage = QStringLiteral("/dataup/WriteFile.asp");
    QList<ScriptedAnswer> answers{ok("Status:SUCCESS\tBefore:1\t")};
    for (int i = 1; i <= failures; ++i)
        answers << ScriptedAnswer::reply(500 + i, "Failure " + QByteArray::number(i));
    m_server->script(answers << ok("Status:SUCCESS\t"));
    QString got;
    QVERIFY(m_comm->SendData(QStringLiteral("GUID:{G}\t"), got));
    const bool sent =
        send == Send::File ? m_comm->SendFile(QStringLiteral("R"), got, QStringLiteral("{T}"))
        : send == Send::Data
            ? m_comm->SendData(QStringLiteral("GUID:{G}\t"), got)
            : m_comm->AppendFileOnServer(QStringLiteral("L"), file, 0, got, QStringLiteral("{T}"));
    QCOMPARE(got, error);
    QCOMPARE(sent, error == QLatin1String("OK"));
    QTEST(int(m_server->requests().size()) - 1, "requests");
    // Every attempt carries the same body; a failure keeps the earlier reply.
    QCOMPARE(m_server->requests()[1].body, m_server->requests().last().body);
    if (!sent)
        QCOMPARE(m_comm->ResponseData, QByteArray("Status:SUCCESS\tBefore:1\t"));
}

void TestClsComm::noServerToTalkTo()
{
    const QString refused = QStringLiteral("127.0.0.1:%1").arg(m_server->port());
    m_server.reset(); // nothing listens there now
    m_comm->PostPage = QStringLiteral("/dataup/ReadAssignment.asp");
    const QList<QPair<QString, QString>> cases = {
        {refused, QStringLiteral("Connection refused")},
        {QStringLiteral("no-such-host.invalid"), QStringLiteral("Host not found")},
        {QString(), QStringLiteral("Invalid server address")},
        {QStringLiteral("http://host/x"), QStringLiteral("Invalid server address")},
        {QStringLiteral("user@host"), QStringLiteral("Invalid server address")},
        {QStringLiteral("host:99999"), QStringLiteral("Invalid server address")}};
    for (const auto& [server, expected] : cases) {
        m_comm->ServerName = server;
        QString error;
        QVERIFY2(!m_comm->SendData(QStringLiteral("GUID:{G}\t"), error), qPrintable(server));
        QCOMPARE(error, expected);
    }
}

void TestClsComm::blobReplies_data()
{
    QTest::addColumn<Blob>("blob");
    QTest::addColumn<ScriptedAnswer>("answer");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("error"); // empty when the read succeeds
    const auto row = [](const char* name, Blob blob, const QByteArray& reply,
                        const QByteArray& data, const char* error = "") {
        QTest::newRow(name) << blob << ok(reply) << data << QString::fromLatin1(error);
    };
    row("whole blob: TABs, colons, NULs kept", Blob::Export,
        QByteArray("Status:SUCCESS\tExportSize:8\tExport:a\tb:c\0\r\n\t", 44),
        QByteArray("a\tb:c\0\r\n", 8));
    row("a blob's own TAB ends its field", Blob::Mie, "Status:SUCCESS\tExportSize:3\tExport:a\tc",
        "a\tc");
    row("a name that is a value elsewhere, after empty fields", Blob::Ems,
        "\t\tBasename:Status\tStatus:SUCCESS\tExportSize:3\tExport:abc\t", "abc");
    row("status in lower case", Blob::Ems, "Status:success\tExportSize:3\tExport:abc\t", "abc");
    row("size 0 is no data", Blob::Export, "Status:SUCCESS\tExportSize:0\tExport:\t", "");
    row("unreadable size counts as 0", Blob::Mie, "Status:SUCCESS\tExportSize:x\tExport:abc\t", "");
    row("leading digits of the size", Blob::Mie, "Status:SUCCESS\tExportSize:2 b\tExport:abc\t",
        "ab");
    row("size beyond the reply", Blob::Ems, "Status:SUCCESS\tExportSize:500\tExport:abc\t",
        "abc\t");
    row("no status", Blob::Export, "ExportSize:3\tExport:abc\t", "",
        "EMSBlobReadError: No Status returned");
    row("names are case-sensitive", Blob::Export, "status:SUCCESS\tExportSize:3\tExport:abc\t", "",
        "EMSBlobReadError: No Status returned");
    row("only field without its TAB", Blob::Export, "Status:SUCCESS", "",
        "EMSBlobReadError: No Status returned");
    row("first of two with one name", Blob::Mie,
        "Status:FAILURE\tStatus:SUCCESS\tErrorMessage:C:\\x\t", "", "MIEBlobReadError: C:\\x");
    row("no TAB after the blob", Blob::Export, "Status:SUCCESS\tExportSize:3\tExport:abc", "",
        "EMSBlobReadError: No export data returned");
    row("failure with its message", Blob::Mie, "Status:FAILURE\tErrorMessage:Not found\t", "",
        "MIEBlobReadError: Not found");
    row("failure without a message", Blob::Ems, "Status:FAILURE\t", "",
        "EMSBlobReadError: Unspecified Error!");
    row("no size", Blob::Export, "Status:SUCCESS\tExport:abc\t", "",
        "EMSBlobReadError: No Export Size returned");
    row("no export field", Blob::Export, "Status:SUCCESS\tExportSize:3\t", "",
        "EMSBlobReadError: No export data returned");
    row("no export field (EMS page)", Blob::Ems, "Status:SUCCESS\tExportSize:3\t", "",
        "EMSBlobReadError: No  data returned");
    row("no export field (MIE page)", Blob::Mie, "Status:SUCCESS\tExportSize:3\t", "",
        "MIEBlobReadError: No export data returned");
    QTest::newRow("transport failure")
        << Blob::Ems << ScriptedAnswer::reply(503, "Busy") << QByteArray() << "HTTP 503 Busy";
}

void TestClsComm::blobReplies()
{
    QFETCH(Blob, blob);
    QFETCH(ScriptedAnswer, answer);
    QFETCH(QString, error);
    m_server->script({answer});
    AssignmentReads reads(*m_comm, m_view);
    QByteArray got = "stale";
    QString message;
    const bool read =
        blob == Blob::Export ? reads.GetEMSAssignmentBlob(QStringLiteral("{G}"),
                                                          QStringLiteral("EMSEnv"), got, message)
        : blob == Blob::Ems  ? reads.GetAssignmentEMS(QStringLiteral("{G}"),
                                                      QStringLiteral("CCC201env"), got, message)
                             : reads.GetMIEBlob(QStringLiteral("{G}"), got, message);
    QCOMPARE(read, error.isEmpty());
    QTEST(got, "data");
    if (!read)
        QCOMPARE(message, error);
    const QByteArray path = blob == Blob::Export ? "/dataup/ReadAssignmentExport.asp"
                            : blob == Blob::Ems  ? "/dataup/ReadAssignmentEMS.asp"
                                                 : "/dataup/ReadMIE.asp";
    QCOMPARE(m_server->requests().first().path, path);
    QCOMPARE(m_server->requests().first().body,
             blob == Blob::Mie      ? QByteArray("GUID:{G}\t")
             : blob == Blob::Export ? QByteArray("GUID:{G}\tExportField:EMSEnv\t")
                                    : QByteArray("GUID:{G}\tExportField:CCC201env\t"));
}

void TestClsComm::headerAndBasename()
{
    m_server->script({ok("Status:Success\tClaimNumber:C-1\tPolicyNumber:P:2\tCompanyName:Mu\t"),
                      ok("ClaimNumber:C-1\t"), ok("Status:FAILURE\tErrorMessage:Not found\t"),
                      ok("Status:NO\t"), ok("Status:SUCCESS\tBasename: CL123 \t"),
                      ok("Status:FAILURE\t"), ScriptedAnswer::reply(500, "Down")});
    AssignmentReads reads(*m_comm, m_view);
    QString message;
    QVERIFY(reads.readHeader(QStringLiteral("{A}"), message));
    QCOMPARE(message, QStringLiteral("OK"));
    QCOMPARE(m_view.header,
             (QStringList{QStringLiteral("Claim #: C-1"), QStringLiteral("Policy #: P:2"),
                          QStringLiteral("Insurance Co: Mu")}));
    m_view.header.clear();
    for (const char* expected : {"Read Error: No Status returned", "Read Error: Not found",
                                 "Read Error: Unspecified Error!"}) {
        QVERIFY(!reads.readHeader(QStringLiteral("{A}"), message));
        QCOMPARE(message, QLatin1String(expected));
    }
    QVERIFY(m_view.header.isEmpty());
    // The server answered each time, whatever it said.
    QCOMPARE(m_view.messages, QStringList(4, QStringLiteral("Connected to Server!")));
    QCOMPARE(m_server->requests().first().path, QByteArray("/dataup/ReadAssignment.asp"));
    QCOMPARE(m_server->requests().first().body, QByteArray("GUID:{A}\t"));

    QString base = QStringLiteral("stale");
    QVERIFY(reads.ReadAssignmentBasename(QStringLiteral("{A}"), message, base));
    QCOMPARE(base, QStringLiteral(" CL123 ")); // the writers trim it
    QCOMPARE(m_server->requests().last().path, QByteArray("/dataup/ReadAssignmentBasename.asp"));
    QVERIFY(!reads.ReadAssignmentBasename(QStringLiteral("{A}"), message, base));
    QCOMPARE(message, QStringLiteral("Read Error: Unspecified Error!"));
    QVERIFY(base.isEmpty());
    QVERIFY(!reads.ReadAssignmentBasename(QStringLiteral("{A}"), message, base));
    QCOMPARE(message, QStringLiteral("HTTP 500 Down"));
}

QTEST_MAIN(TestClsComm)
#include "tst_clscomm.moc"
