// clsComm and the reads of an assignment against a server that answers exactly what each
// case scripts: the attempts and their errors, and the replies (and the quirks of their
// fields) that the reads must cope with. What each request carries is shown by the reference
// server taking it in tests/transfer/tst_upload.

#include "support/RecordingView.h"
#include "support/ScriptedHttpServer.h"
#include "support/TableFolder.h"
#include "transfer/AssignmentReads.h"
#include "transfer/clsComm.h"

#include <QTest>

using namespace tarnaxe;
using tarnaxe::test::ok;
using tarnaxe::test::ScriptedAnswer;

class TestClsComm : public QObject {
    Q_OBJECT

    test::TableFolder m_dir;
    std::unique_ptr<test::ScriptedHttpServer> m_server;
    std::unique_ptr<clsComm> m_comm;
    test::RecordingView m_view;

    // The nth request the server took, as "<page> <body>".
    QByteArray asked(int n) const
    {
        return m_server->requests()[n].path + ' ' + m_server->requests()[n].body;
    }

private slots:
    void init()
    {
        m_server = std::make_unique<test::ScriptedHttpServer>();
        QVERIFY(m_server->listen());
        m_comm = std::make_unique<clsComm>();
        m_comm->ServerName = m_server->hostPort();
        m_view = {};
    }

    // A file or a piece is tried four times, data once; every attempt carries the same
    // body, and a failure keeps the earlier reply.
    void attempts()
    {
        const QString file = m_dir.write("f.bin", "12345");
        m_comm->LocalFileSpec = file;
        m_comm->PostPage = "/dataup/WriteFile.asp";
        const auto fails = [this](int failures) {
            QList<ScriptedAnswer> answers{ok("Status:SUCCESS\tBefore:1\t")};
            for (int i = 1; i <= failures; ++i)
                answers << ScriptedAnswer::reply(500 + i, "Failure " + QByteArray::number(i));
            m_server = std::make_unique<test::ScriptedHttpServer>();
            m_server->listen();
            m_server->script(answers << ok("Status:SUCCESS\t"));
            m_comm->ServerName = m_server->hostPort();
            QString ignored;
            m_comm->SendData("GUID:{G}\t", ignored);
        };
        const auto check = [this](bool sent, const QString& got, const char* error, int tries) {
            QCOMPARE(got, QLatin1String(error));
            QCOMPARE(sent, got == QLatin1String("OK"));
            QCOMPARE(int(m_server->requests().size()) - 1, tries);
            QCOMPARE(m_server->requests()[1].body, m_server->requests().last().body);
            if (!sent)
                QCOMPARE(m_comm->ResponseData, QByteArray("Status:SUCCESS\tBefore:1\t"));
        };
        QString got;
        fails(3);
        check(m_comm->SendFile("R", got, "{T}"), got, "OK", 4);
        fails(4);
        const bool appended = m_comm->AppendFileOnServer("L", file, 0, got, "{T}");
        check(appended, got, "HTTP 504 Failure 4", 4);
        fails(1);
        check(m_comm->SendData("G:1\t", got), got, "HTTP 501 Failure 1", 1);
    }

    void noServerToTalkTo()
    {
        const QString refused = m_server->hostPort();
        m_server.reset(); // nothing listens there now
        m_comm->PostPage = "/dataup/ReadAssignment.asp";
        for (const auto& [server, expected] :
             QList<std::pair<QString, QString>>{{refused, "Connection refused"},
                                                {"no-such-host.invalid", "Host not found"},
                                                {"", "Invalid server address"},
                                                {"http://host/x", "Invalid server address"},
                                                {"user@host", "Invalid server address"},
                                                {"host:99999", "Invalid server address"}}) {
            m_comm->ServerName = server;
            QString error;
            QVERIFY2(!m_comm->SendData("GUID:{G}\t", error), qPrintable(server));
            QCOMPARE(error, expected);
        }
    }

    void blobReplies()
    {
        AssignmentReads reads(*m_comm, m_view);
        // Reads through the page of kind 'x' (export), 'e' (EMS) or 'm' (MIE); the data, or
        // the message when the read fails.
        const auto read = [&](char kind, const QByteArray& reply) {
            m_server->script({ok(reply)});
            QByteArray got = "stale";
            QString message;
            const QString guid = "{G}";
            const bool done = kind == 'x' ? reads.GetEMSAssignmentBlob(guid, "EMSEnv", got, message)
                              : kind == 'e'
                                  ? reads.GetAssignmentEMS(guid, "CCC201env", got, message)
                                  : reads.GetMIEBlob(guid, got, message);
            if (!done && !got.isEmpty())
                return QStringLiteral("data kept after a failure");
            return done ? QString::fromLatin1(got) : message;
        };
        const QByteArray three = "Status:SUCCESS\tExportSize:3\t";
        QCOMPARE(read('x', QByteArray("Status:SUCCESS\tExportSize:8\tExport:a\tb:c\0\r\n\t", 44)),
                 QString::fromLatin1("a\tb:c\0\r\n", 8)); // TABs, colons and NULs are kept
        QCOMPARE(read('m', three + "Export:a\tc"), "a\tc");
        // A name that is a value elsewhere, after empty fields; the status in lower case.
        QCOMPARE(read('e', "\t\tBasename:Status\t" + three + "Export:abc\t"), "abc");
        QCOMPARE(read('e', "Status:success\tExportSize:3\tExport:abc\t"), "abc");
        // A size is read from its leading digits, as 0 when there are none, and is cut to
        // what the reply holds.
        QCOMPARE(read('m', "Status:SUCCESS\tExportSize:2 b\tExport:abc\t"), "ab");
        QCOMPARE(read('m', "Status:SUCCESS\tExportSize:x\tExport:abc\t"), "");
        QCOMPARE(read('e', "Status:SUCCESS\tExportSize:500\tExport:abc\t"), "abc\t");
        // Names are case-sensitive; a field needs its TAB; the first of two counts.
        const QString noStatus = "EMSBlobReadError: No Status returned";
        QCOMPARE(read('x', "status:SUCCESS\tExportSize:3\tExport:abc\t"), noStatus);
        QCOMPARE(read('x', "Status:SUCCESS"), noStatus);
        QCOMPARE(read('m', "Status:FAILURE\tStatus:SUCCESS\tErrorMessage:C:\\x\t"),
                 "MIEBlobReadError: C:\\x");
        QCOMPARE(read('e', "Status:FAILURE\t"), "EMSBlobReadError: Unspecified Error!");
        QCOMPARE(read('x', "Status:SUCCESS\tExport:abc\t"),
                 "EMSBlobReadError: No Export Size returned");
        QCOMPARE(read('x', three + "Export:abc"), "EMSBlobReadError: No export data returned");
        QCOMPARE(read('e', three), "EMSBlobReadError: No  data returned");
        QCOMPARE(read('m', three), "MIEBlobReadError: No export data returned");
        QCOMPARE(asked(0), "/dataup/ReadAssignmentExport.asp GUID:{G}\tExportField:EMSEnv\t");
        QCOMPARE(asked(1), "/dataup/ReadMIE.asp GUID:{G}\t");
        QCOMPARE(asked(2), "/dataup/ReadAssignmentEMS.asp GUID:{G}\tExportField:CCC201env\t");
    }

    void headerAndBasename()
    {
        m_server->script({ok("Status:Success\tClaimNumber:C-1\tPolicyNumber:P:2\tCompanyName:Mu\t"),
                          ok("Status:SUCCESS\tBasename: CL123 \t"), ok("ClaimNumber:C-1\t"),
                          ok("Status:FAILURE\tErrorMessage:Not found\t"), ok("Status:NO\t"),
                          ScriptedAnswer::reply(500, "Down")});
        AssignmentReads reads(*m_comm, m_view);
        QString message;
        QVERIFY(reads.readHeader("{A}", message));
        QCOMPARE(m_view.header, (QStringList{"Claim #: C-1", "Policy #: P:2", "Insurance Co: Mu"}));
        QString base = "stale";
        QVERIFY(reads.ReadAssignmentBasename("{A}", message, base));
        QCOMPARE(base, " CL123 "); // the writers trim it
        QCOMPARE(asked(0), "/dataup/ReadAssignment.asp GUID:{A}\t");
        QCOMPARE(m_server->requests()[1].path, "/dataup/ReadAssignmentBasename.asp");
        for (const char* expected : {"Read Error: No Status returned", "Read Error: Not found",
                                     "Read Error: Unspecified Error!", "HTTP 500 Down"}) {
            QVERIFY(!reads.ReadAssignmentBasename("{A}", message, base));
            QCOMPARE(message, QLatin1String(expected));
            QVERIFY(base.isEmpty());
        }
        // The server answered each time but the last, whatever it said.
        QCOMPARE(m_view.messages, QStringList(5, "Connected to Server!"));
    }
};

QTEST_MAIN(TestClsComm)
#include "tst_clscomm.moc"
