// The exchanges that read an assignment, against a server that answers exactly what each
// case scripts: the request bodies, every reply the agent must cope with, and the texts
// it reports.

#include "support/RecordingView.h"
#include "support/ScriptedHttpServer.h"
#include "transfer/AssignmentReads.h"
#include "transfer/clsComm.h"

#include <QTest>

using namespace tarnaxe;
using tarnaxe::test::RecordingView;
using tarnaxe::test::ScriptedAnswer;
using tarnaxe::test::ScriptedHttpServer;

namespace {

enum class Blob { Export, Ems, Mie };

} // namespace

Q_DECLARE_METATYPE(Blob)

class TestAssignmentReads : public QObject {
    Q_OBJECT

private slots:
    void init();
    void blobReplies_data();
    void blobReplies();
    void blobRequests();
    void headerReplies_data();
    void headerReplies();
    void basename();

private:
    ScriptedHttpServer m_server;
    std::unique_ptr<clsComm> m_http;
    RecordingView m_view;
};

void TestAssignmentReads::init()
{
    if (!m_server.port())
        QVERIFY(m_server.listen());
    m_http = std::make_unique<clsComm>();
    m_http->ServerName = m_server.hostPort();
    m_view = RecordingView();
}

void TestAssignmentReads::blobReplies_data()
{
    QTest::addColumn<Blob>("blob");
    QTest::addColumn<ScriptedAnswer>("answer");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("error");

    auto ok = [](const QByteArray& body) {
        return ScriptedAnswer::reply(200, "OK", body);
    };
    QTest::newRow("whole blob, TABs inside kept")
        << Blob::Export << ok("Status:SUCCESS\tExportSize:7\tExport:a\tb:c\r\n\t") << true
        << QByteArray("a\tb:c\r\n") << QString();
    QTest::newRow("status in lower case accepted")
        << Blob::Ems << ok("Status:success\tExportSize:3\tExport:abc\t") << true
        << QByteArray("abc") << QString();
    QTest::newRow("size 0 is no data, not an error")
        << Blob::Export << ok("Status:SUCCESS\tExportSize:0\tExport:\t") << true << QByteArray()
        << QString();
    QTest::newRow("unreadable size counts as 0")
        << Blob::Mie << ok("Status:SUCCESS\tExportSize:lots\tExport:abc\t") << true << QByteArray()
        << QString();
    QTest::newRow("leading digits of the size")
        << Blob::Mie << ok("Status:SUCCESS\tExportSize:2 bytes\tExport:abc\t") << true
        << QByteArray("ab") << QString();
    QTest::newRow("size beyond the reply gives the bytes present")
        << Blob::Ems << ok("Status:SUCCESS\tExportSize:500\tExport:abc\t") << true
        << QByteArray("abc\t") << QString();
    QTest::newRow("no status") << Blob::Export << ok("ExportSize:3\tExport:abc\t") << false
                               << QByteArray() << "EMSBlobReadError: No Status returned";
    QTest::newRow("failure with its message")
        << Blob::Mie << ok("Status:FAILURE\tErrorMessage:Assignment not found\t") << false
        << QByteArray() << "MIEBlobReadError: Assignment not found";
    QTest::newRow("failure without a message")
        << Blob::Ems << ok("Status:FAILURE\t") << false << QByteArray()
        << "EMSBlobReadError: Unspecified Error!";
    QTest::newRow("no size") << Blob::Export << ok("Status:SUCCESS\tExport:abc\t") << false
                             << QByteArray() << "EMSBlobReadError: No Export Size returned";
    QTest::newRow("no export field (export page)")
        << Blob::Export << ok("Status:SUCCESS\tExportSize:3\t") << false << QByteArray()
        << "EMSBlobReadError: No export data returned";
    QTest::newRow("no export field (EMS page, two blanks)")
        << Blob::Ems << ok("Status:SUCCESS\tExportSize:3\t") << false << QByteArray()
        << "EMSBlobReadError: No  data returned";
    QTest::newRow("no export field (MIE page)")
        << Blob::Mie << ok("Status:SUCCESS\tExportSize:3\t") << false << QByteArray()
        << "MIEBlobReadError: No export data returned";
    QTest::newRow("transport failure")
        << Blob::Ems << ScriptedAnswer::reply(503, "Service Unavailable") << false << QByteArray()
        << "HTTP 503 Service Unavailable";
}

void TestAssignmentReads::blobReplies()
{
    QFETCH(Blob, blob);
    QFETCH(ScriptedAnswer, answer);
    QFETCH(bool, ok);
    QFETCH(QByteArray, data);
    QFETCH(QString, error);

    m_server.script({answer});
    AssignmentReads reads(*m_http, m_view);
    QByteArray got = "stale";
    QString message;
    bool result = false;
    switch (blob) {
    case Blob::Export:
        result = reads.GetEMSAssignmentBlob(QStringLiteral("{G}"), QStringLiteral("EMSEnvelope"),
                                            got, message);
        break;
    case Blob::Ems:
        result = reads.GetAssignmentEMS(QStringLiteral("{G}"), QStringLiteral("CCC201env"), got,
                                        message);
        break;
    case Blob::Mie:
        result = reads.GetMIEBlob(QStringLiteral("{G}"), got, message);
        break;
    }
    QCOMPARE(result, ok);
    QCOMPARE(got, data);
    if (!ok)
        QCOMPARE(message, error);
}

void TestAssignmentReads::blobRequests()
{
    const qsizetype before = m_server.requests().size();
    AssignmentReads reads(*m_http, m_view);
    QByteArray data;
    QString error;
    reads.GetEMSAssignmentBlob(QStringLiteral("{G1}"), QStringLiteral("EMSEnvelope"), data, error);
    reads.GetAssignmentEMS(QStringLiteral("{G2}"), QStringLiteral("MIT201ad1dbt"), data, error);
    reads.GetMIEBlob(QStringLiteral("{G3}"), data, error);
    const auto requests = m_server.requests().mid(before);
    QCOMPARE(requests.size(), 3);
    QCOMPARE(requests[0].path, QByteArray("/dataup/ReadAssignmentExport.asp"));
    QCOMPARE(requests[0].body, QByteArray("GUID:{G1}\tExportField:EMSEnvelope\t"));
    QCOMPARE(requests[1].path, QByteArray("/dataup/ReadAssignmentEMS.asp"));
    QCOMPARE(requests[1].body, QByteArray("GUID:{G2}\tExportField:MIT201ad1dbt\t"));
    QCOMPARE(requests[2].path, QByteArray("/dataup/ReadMIE.asp"));
    QCOMPARE(requests[2].body, QByteArray("GUID:{G3}\t"));
}

void TestAssignmentReads::headerReplies_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QString>("message");
    QTest::newRow("good") << QByteArray("Status:Success\tClaimNumber:C-1\tPolicyNumber:P:2\t"
                                        "CompanyName:Mutual\t")
                          << true << "OK";
    QTest::newRow("no status") << QByteArray("ClaimNumber:C-1\t") << false
                               << "Read Error: No Status returned";
    QTest::newRow("failure") << QByteArray("Status:FAILURE\tErrorMessage:Assignment not found\t")
                             << false << "Read Error: Assignment not found";
    QTest::newRow("failure without a message")
        << QByteArray("Status:NO\t") << false << "Read Error: Unspecified Error!";
}

void TestAssignmentReads::headerReplies()
{
    QFETCH(QByteArray, reply);
    QFETCH(bool, ok);
    QFETCH(QString, message);
    m_server.script({ScriptedAnswer::reply(200, "OK", reply)});
    AssignmentReads reads(*m_http, m_view);
    QString got;
    QCOMPARE(reads.readHeader(QStringLiteral("{A}"), got), ok);
    QCOMPARE(got, message);
    QCOMPARE(m_server.requests().last().path, QByteArray("/dataup/ReadAssignment.asp"));
    QCOMPARE(m_server.requests().last().body, QByteArray("GUID:{A}\t"));
    // The server answered, whatever it said.
    QCOMPARE(m_view.messages, QStringList{QStringLiteral("Connected to Server!")});
    if (ok)
        QCOMPARE(m_view.header,
                 (QStringList{QStringLiteral("Claim #: C-1"), QStringLiteral("Policy #: P:2"),
                              QStringLiteral("Insurance Co: Mutual")}));
    else
        QVERIFY(m_view.header.isEmpty());
}

void TestAssignmentReads::basename()
{
    m_server.script({ScriptedAnswer::reply(200, "OK", "Status:SUCCESS\tBasename: CL123 \t"),
                     ScriptedAnswer::reply(200, "OK", "Status:FAILURE\t"),
                     ScriptedAnswer::reply(500, "Internal Server Error")});
    AssignmentReads reads(*m_http, m_view);
    QString message;
    QString base = QStringLiteral("stale");
    QVERIFY(reads.ReadAssignmentBasename(QStringLiteral("{A}"), message, base));
    QCOMPARE(message, QStringLiteral("OK"));
    QCOMPARE(base, QStringLiteral(" CL123 ")); // the writers trim it
    QCOMPARE(m_server.requests().last().path, QByteArray("/dataup/ReadAssignmentBasename.asp"));
    QCOMPARE(m_server.requests().last().body, QByteArray("GUID:{A}\t"));

    QVERIFY(!reads.ReadAssignmentBasename(QStringLiteral("{A}"), message, base));
    QCOMPARE(message, QStringLiteral("Read Error: Unspecified Error!"));
    QVERIFY(base.isEmpty());
    QVERIFY(!reads.ReadAssignmentBasename(QStringLiteral("{A}"), message, base));
    QCOMPARE(message, QStringLiteral("HTTP 500 Internal Server Error"));
}

QTEST_MAIN(TestAssignmentReads)
#include "tst_assignmentreads.moc"
