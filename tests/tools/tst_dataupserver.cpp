// The reference server beyond what the agent's suites drive through it: one upload from
// begin to a repeated commit, the requests its pages refuse (and that a refusal changes
// nothing), its HTTP refusals and its command line.

#include "support/DataupServer.h"
#include "support/FileContents.h"

#include <QCryptographicHash>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace tarnaxe::test;

class TestDataupServer : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    DataupServer m_server{{false, 2 << 20, {"--static", m_dir.filePath("portal")}}};

    QByteArray call(const QByteArray& page, const QByteArray& body)
    {
        return m_server.post("/dataup/" + page + ".asp", body);
    }
    static QByteArray field(const QByteArray& reply, const QByteArray& name)
    {
        const qsizetype at = ('\t' + reply).indexOf('\t' + name + ':');
        return at < 0 ? QByteArray() : reply.mid(at + name.size() + 1).split('\t').first();
    }
    QByteArray begin()
    {
        return field(call("BeginAttachmentTransaction", "Code:BEGINTRANS\t"), "TransactionGUID");
    }
    QByteArray write(const QByteArray& transaction, const QByteArray& bytes)
    {
        return field(call("WriteFile", "FileName:a.jpg\tTransactionGUID:" + transaction +
                                           "\tFileSize:" + QByteArray::number(bytes.size()) +
                                           "\tFile:" + bytes),
                     "Location");
    }

private slots:
    void initTestCase()
    {
        QVERIFY(writeFileContents(m_dir.filePath("portal/index.html"), "<h1>Claims</h1>"));
        QVERIFY(writeFileContents(m_dir.filePath("secret.txt"), "not for the web"));
        QVERIFY2(m_server.start(), qPrintable(m_server.error()));
    }

    void cleanupTestCase()
    {
        m_server.stop();
        QCOMPARE(m_server.exitCode(), 0);
    }

    void uploadAndRefusals()
    {
        const QString assignment = m_server.seed();
        const QByteArray transaction = begin();
        const QByteArray location = write(transaction, "0123456789");
        const QByteArray foreign = write(begin(), "x");
        const QByteArray image = "GUID:{B1}\tAssignmentGUID:" + assignment.toLatin1() +
                                 "\tTransactionGUID:$T\tWorkerGUID:{W}\tWorkerTypeID:2\t"
                                 "Caption:c\tFileSize:10\tLocation:$L\t";
        const QByteArray append = "sLocation:$L\tTransactionGUID:$T\tCurrSize:10\tBlobSize:3\t"
                                  "Blob:abc";
        const auto with = [](QByteArray body, const char* from, const QByteArray& to) {
            return body.replace(from, to);
        };
        const QByteArray fileHead = "FileName:a\tTransactionGUID:$T\tFileSize:";
        const QList<std::tuple<QByteArray, QByteArray, QByteArray>> refusals = {
            // A piece sent again after a lost reply must not be appended twice.
            {"AppendToFile", with(append, "Size:10", "Size:9"), "CurrSize 9 does not match the 10"},
            {"AppendToFile", with(append, "BlobSize:3", "BlobSize:4"), "BlobSize 4 does not match"},
            {"AppendToFile", with(append, "$L", foreign), "belongs to another transaction"},
            {"AppendToFile", with(append, "$L", "upload/999"), "Location not found"},
            {"WriteFile", fileHead + "3000000000\tFile:abc", "FileSize 3000000000 does not match"},
            {"WriteFile", fileHead + "-3\tFile:abc", "FileSize is not a decimal number"},
            {"WriteFile", fileHead + "3\t", "Missing field: File"},
            {"WriteFile", "TransactionGUID:$T\tFileSize:3\tFile:abc", "Missing field: FileName"},
            {"WriteFile", "FileName:a\tTransactionGUID:{x}\tFileSize:3\tFile:abc", "not found"},
            {"InsertImage", with(image, "WorkerGUID:{W}\t", ""), "Missing field: WorkerGUID"},
            {"InsertImage", with(image, "Size:10", "Size:6"), "FileSize 6 does not match the 10"},
            {"InsertImage", with(image, "Size:10", "Size:10 "), "FileSize is not a decimal"},
            {"InsertImage", with(image, "$L", foreign), "location " + foreign + " belongs to"},
            {"InsertImage", with(image, "$L", "upload/x"), "Location: location not found"},
            {"BeginAttachmentTransaction", "Code:begintrans\t", "Unknown Code: begintrans"},
            {"CommitAttachmentTransaction", "TransactionGUID:{nope}\t", "Transaction not found"},
            {"ReadAssignment", "", "Empty request: no fields"},
            {"ReadAssignment", "GUID\t", "Malformed request: a field without a colon"},
            {"ReadMIE", "GUID:{0}\t", "Assignment not found"},
            {"ReadAssignmentExport", "GUID:{0}\tExportField:MIT201env\t", "Assignment not found"},
        };
        const auto send = [&](const QByteArray& page, const QByteArray& body) {
            return call(page, with(with(body, "$T", transaction), "$L", location));
        };
        for (const auto& [page, body, error] : refusals) {
            const QByteArray reply = send(page, body);
            QVERIFY2(field(reply, "Status") == "FAILURE" &&
                         field(reply, "ErrorMessage").contains(error),
                     reply.constData());
        }
        QJsonObject json = m_server.transaction(QString::fromLatin1(transaction));
        QCOMPARE(json["files"][0]["size"].toInteger(), 10);
        QVERIFY(json["inserts"].toArray().isEmpty());

        // What is right is taken; a request repeated after a lost reply changes nothing.
        const QByteArray whole = with(image, "Size:10", "Size:13");
        QCOMPARE(field(send("AppendToFile", append), "Status"), "SUCCESS");
        QCOMPARE(field(send("InsertImage", whole), "Status"), "SUCCESS");
        QCOMPARE(field(send("InsertImage", whole), "Status"), "SUCCESS");
        for (int i = 0; i < 2; ++i)
            QCOMPARE(send("CommitAttachmentTransaction", "TransactionGUID:$T\t"),
                     "Status:SUCCESS\t");
        QCOMPARE(field(send("AppendToFile", with(append, "Size:10", "Size:13")), "ErrorMessage"),
                 "Transaction is already committed");
        json = m_server.transaction(QString::fromLatin1(transaction));
        QCOMPARE(json["state"].toString(), "committed");
        QCOMPARE(json["attachments"].toArray().size(), 1);
        // The committed image is served for the overview's thumbnail.
        QCOMPARE(m_server.request("GET", "/files/" + location.mid(7)), "0123456789abc");
        QVERIFY(m_server.request("GET", "/").contains("<td>CLM-24-000417</td>"));

        // Fields past a mebibyte go through a temporary file; what is stored is the same.
        const QByteArray big(3 << 19, 'b'), n = QByteArray::number(big.size()), t = begin();
        const QByteArray at = write(t, big), piece = "\tCurrSize:" + n + "\tBlobSize:" + n;
        QCOMPARE(call("AppendToFile",
                      "sLocation:" + at + "\tTransactionGUID:" + t + piece + "\tBlob:" + big),
                 "Status:SUCCESS\t");
        QCOMPARE(m_server.transaction(QString::fromLatin1(t))["files"][0]["sha256"].toString(),
                 QCryptographicHash::hash(big + big, QCryptographicHash::Sha256).toHex());
    }

    void statusCodes()
    {
        for (const auto& [method, path, body, expected] :
             QList<std::tuple<QByteArray, QByteArray, QByteArray, int>>{
                 {"POST", "/dataup/WriteFile.asp", QByteArray((2 << 20) + 1, 'x'), 413},
                 {"GET", "/dataup/ReadMIE.asp", {}, 405},
                 {"POST", "/dataup/No.asp", "GUID:x\t", 404},
                 {"GET", "/api/transactions/%7Bnope%7D", {}, 404},
                 {"GET", "/files/999999", {}, 404}, // not a committed attachment
                 {"GET", "/portal/%2e%2e/secret.txt", {}, 404},
                 {"POST", "/_faults", "{nope", 400},
                 {"POST", "/_faults", R"([{"page": "/dataup/ReadMIE.asp", "action": "explode"}])",
                  400},
                 {"POST", "/_faults", R"([{"action": "http500", "after": -1}])", 400},
                 {"POST", "/_faults", R"([{"page": "/", "action": "drop", "times": 0.5}])", 400},
                 {"GET", "/_faults", {}, 200},
                 {"DELETE", "/_faults", {}, 200}}) {
            int status = 0;
            QVERIFY(!m_server.request(method, path, body, &status).contains("not for the web"));
            QVERIFY2(status == expected, path.constData());
        }
    }

    void commandLineRefusesBadInput()
    {
        for (const auto& [arguments, error] : QList<std::pair<QStringList, QByteArray>>{
                 {{"--static", "/nonexistent/folder"}, "--static wants"},
                 {{"--listen", "nowhere"}, "--listen wants HOST:PORT"},
                 {{"--max-body", "lots"}, "--max-body wants a number"},
                 {{"--tls-cert", "c.pem"}, "--tls-cert and --tls-key go together"},
                 {{"--frob"}, "unexpected argument"}}) {
            QProcess server;
            server.start(TARNAXE_DATAUP_SERVER_PATH,
                         QStringList{"--data", m_dir.filePath("x")} + arguments);
            QVERIFY(server.waitForFinished(10000));
            QCOMPARE(server.exitCode(), 2);
            QVERIFY2(server.readAllStandardError().contains(error), error.constData());
        }
    }
};

QTEST_GUILESS_MAIN(TestDataupServer)
#include "tst_dataupserver.moc"
