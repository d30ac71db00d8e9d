// The reference server beyond what the agent's own suites drive through it: the requests
// its pages refuse (and that a refusal changes nothing), a repeated commit, its fault rules,
// its HTTP limits, the folders it serves for a sample page, and its command line.

#include "support/DataupServer.h"
#include "support/FileContents.h"
#include "support/RawHttp.h"

#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace tarnaxe::test;

class TestDataupServer : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    DataupServer m_server{
        {false,
         64 * 1024,
         {"--static", m_dir.filePath("portal"), "--static", "/client/=" + m_dir.filePath("lib")}}};
    QString m_assignment;

    // A page's reply; field() reads one of its fields.
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
        QVERIFY(writeFileContents(m_dir.filePath("lib/index.mjs"), "export const b = 2;"));
        QVERIFY(writeFileContents(m_dir.filePath("secret.txt"), "not for the web"));
        QVERIFY2(m_server.start(), qPrintable(m_server.error()));
        m_assignment = m_server.seed();
        QVERIFY(!m_assignment.isEmpty());
    }

    void cleanupTestCase()
    {
        m_server.stop();
        QCOMPARE(m_server.exitCode(), 0);
    }

    void refusalsChangeNothing()
    {
        const QByteArray transaction = begin();
        const QByteArray location = write(transaction, "0123456789");
        const QByteArray foreign = write(begin(), "x");
        const QByteArray image = "GUID:{B1}\tAssignmentGUID:" + m_assignment.toLatin1() +
                                 "\tTransactionGUID:$T\tWorkerGUID:{W}\tWorkerTypeID:2\t"
                                 "Caption:c\tFileSize:10\tLocation:$L\t";
        const QByteArray append = "sLocation:$L\tTransactionGUID:$T\tCurrSize:10\tBlobSize:3\t"
                                  "Blob:abc";
        const QList<std::tuple<QByteArray, QByteArray, QByteArray>> refusals = {
            // A piece sent again after a lost reply must not be appended twice.
            {"AppendToFile", QByteArray(append).replace("Size:10", "Size:9"),
             "CurrSize 9 does not match the 10"},
            {"AppendToFile", QByteArray(append).replace("Size:10", "Size:11"), "CurrSize 11"},
            {"AppendToFile", QByteArray(append).replace("Size:10", "Size:ten"),
             "CurrSize is not a decimal number"},
            {"AppendToFile", QByteArray(append).replace("BlobSize:3", "BlobSize:4"),
             "BlobSize 4 does not match"},
            {"AppendToFile", QByteArray(append).replace("$L", foreign),
             "belongs to another transaction"},
            {"AppendToFile", QByteArray(append).replace("$L", "upload/999"), "Location not found"},
            {"WriteFile", "FileName:a\tTransactionGUID:$T\tFileSize:3000000000\tFile:abc",
             "FileSize 3000000000 does not match the 3 bytes received"},
            {"WriteFile", "FileName:a\tTransactionGUID:$T\tFileSize:-3\tFile:abc",
             "FileSize is not a decimal number"},
            {"WriteFile", "FileName:a\tTransactionGUID:$T\tFileSize:3\t", "Missing field: File"},
            {"WriteFile", "TransactionGUID:$T\tFileSize:3\tFile:abc", "Missing field: FileName"},
            {"WriteFile", "FileName:a\tTransactionGUID:{x}\tFileSize:3\tFile:abc",
             "Transaction not found"},
            {"InsertImage", QByteArray(image).replace("WorkerGUID:{W}\t", ""),
             "Missing field: WorkerGUID"},
            {"InsertImage", QByteArray(image).replace("Size:10", "Size:6"),
             "FileSize 6 does not match the 10 bytes stored"},
            {"InsertImage", QByteArray(image).replace("Size:10", "Size:10 "),
             "FileSize is not a decimal number"},
            {"InsertImage", QByteArray(image).replace("$L", foreign),
             "Location: location " + foreign + " belongs to another transaction"},
            {"InsertImage", QByteArray(image).replace("$L", "upload/x"),
             "Location: location not found: upload/x"},
            {"BeginAttachmentTransaction", "Code:begintrans\t", "Unknown Code: begintrans"},
            {"CommitAttachmentTransaction", "TransactionGUID:{nope}\t", "Transaction not found"},
            {"ReadAssignment", "", "Empty request: no fields"},
            {"ReadAssignment", "GUID\t", "Malformed request: a field without a colon"},
            {"ReadMIE", "GUID:{0}\t", "Assignment not found"},
            {"ReadAssignmentExport", "GUID:{0}\tExportField:MIT201env\t", "Assignment not found"},
        };
        for (const auto& [page, body, error] : refusals) {
            const QByteArray reply =
                call(page, QByteArray(body).replace("$T", transaction).replace("$L", location));
            QCOMPARE(field(reply, "Status"), QByteArray("FAILURE"));
            QVERIFY2(field(reply, "ErrorMessage").contains(error), reply.constData());
        }
        QJsonObject json = m_server.transaction(QString::fromLatin1(transaction));
        QCOMPARE(json[QLatin1String("files")].toArray().size(), 1);
        QCOMPARE(json[QLatin1String("files")][0][QLatin1String("size")].toInteger(), 10);
        QVERIFY(json[QLatin1String("inserts")].toArray().isEmpty());

        // What is right is taken; a request repeated after a lost reply changes nothing.
        const QByteArray whole = QByteArray(image).replace("Size:10", "Size:13");
        for (const QByteArray& body : {append, whole, whole}) {
            const QByteArray request = QByteArray(body).replace("$T", transaction);
            const QByteArray reply = call(body == append ? "AppendToFile" : "InsertImage",
                                          QByteArray(request).replace("$L", location));
            QCOMPARE(field(reply, "Status"), QByteArray("SUCCESS"));
        }
        const QByteArray commit = "TransactionGUID:" + transaction + '\t';
        QCOMPARE(call("CommitAttachmentTransaction", commit), QByteArray("Status:SUCCESS\t"));
        QCOMPARE(call("CommitAttachmentTransaction", commit), QByteArray("Status:SUCCESS\t"));
        const QByteArray late = QByteArray(append).replace("Size:10", "Size:13");
        QCOMPARE(field(call("AppendToFile",
                            QByteArray(late).replace("$T", transaction).replace("$L", location)),
                       "ErrorMessage"),
                 QByteArray("Transaction is already committed"));
        json = m_server.transaction(QString::fromLatin1(transaction));
        QCOMPARE(json[QLatin1String("state")].toString(), QStringLiteral("committed"));
        QCOMPARE(json[QLatin1String("attachments")].toArray().size(), 1);
        // The committed image is served for the overview's thumbnail.
        QCOMPARE(m_server.request("GET", "/files/" + location.mid(7)), "0123456789abc");
    }

    void faultRulesCountFromWhenTheyWereSet()
    {
        QVERIFY(m_server.setFaults(R"([{"page": "/dataup/BeginAttachmentTransaction.asp",
                                       "after": 2, "times": 2, "action": "http500"}])"));
        QList<int> statuses;
        for (int i = 0; i < 5; ++i) {
            statuses << 0;
            m_server.post("/dataup/BeginAttachmentTransaction.asp", "Code:BEGINTRANS\t",
                          &statuses.last());
        }
        QCOMPARE(statuses, (QList<int>{200, 200, 500, 500, 200}));
        QVERIFY(m_server.clearFaults());
    }

    void httpRefusals_data()
    {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QByteArray>("path");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("status");
        const QByteArray page = "/dataup/WriteFile.asp";
        QTest::newRow("body over the limit")
            << QByteArray("POST") << page << QByteArray(70 * 1024, 'x') << 413;
        QTest::newRow("GET of a page") << QByteArray("GET") << page << QByteArray() << 405;
        QTest::newRow("PUT of a page") << QByteArray("PUT") << page << QByteArray("x") << 405;
        QTest::newRow("no such page")
            << QByteArray("POST") << QByteArray("/dataup/No.asp") << QByteArray("GUID:x\t") << 404;
        QTest::newRow("no such transaction")
            << QByteArray("GET") << QByteArray("/api/transactions/%7Bnope%7D") << QByteArray()
            << 404;
        QTest::newRow("outside a served folder")
            << QByteArray("GET") << QByteArray("/portal/%2e%2e/secret.txt") << QByteArray() << 404;
        QTest::newRow("fault rules not JSON")
            << QByteArray("POST") << QByteArray("/_faults") << QByteArray("{nope") << 400;
        QTest::newRow("unknown fault action")
            << QByteArray("POST") << QByteArray("/_faults")
            << QByteArray(R"([{"page": "/dataup/ReadMIE.asp", "action": "explode"}])") << 400;
        QTest::newRow("fault rule without page")
            << QByteArray("POST") << QByteArray("/_faults")
            << QByteArray(R"([{"action": "http500", "after": -1}])") << 400;
    }

    void httpRefusals()
    {
        QFETCH(QByteArray, method);
        QFETCH(QByteArray, path);
        QFETCH(QByteArray, body);
        int status = 0;
        QVERIFY(!m_server.request(method, path, body, &status).contains("not for the web"));
        QTEST(status, "status");
    }

    void foldersAndOverviewAreServed()
    {
        const auto get = [this](const QByteArray& path) {
            return httpExchange(m_server.port(),
                                "GET " + path +
                                    " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
        };
        QCOMPARE(get("/portal/").body, QByteArray("<h1>Claims</h1>"));
        const HttpReply script = get("/client/index.mjs");
        QCOMPARE(script.body, QByteArray("export const b = 2;"));
        // Browsers run module scripts only when they are typed so.
        QCOMPARE(script.header("content-type"), QByteArray("text/javascript"));
        QVERIFY(get("/").body.contains("<td>CLM-24-000417</td>"));
        const QJsonArray list = QJsonDocument::fromJson(get("/api/assignments").body).array();
        QCOMPARE(list.size(), 1);
        QCOMPARE(list[0][QLatin1String("guid")].toString(), m_assignment);
    }

    void commandLineRefusesBadInput_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("error");
        QTest::newRow("missing static folder")
            << QStringList{"--static", "/nonexistent/folder"} << QByteArray("--static wants");
        QTest::newRow("root prefix")
            << QStringList{"--static", "/=/tmp"} << QByteArray("--static wants");
        QTest::newRow("parent in prefix")
            << QStringList{"--static", "/a/../=/tmp"} << QByteArray("--static wants");
        QTest::newRow("bad listen")
            << QStringList{"--listen", "nowhere"} << QByteArray("--listen wants HOST:PORT");
        QTest::newRow("bad body limit")
            << QStringList{"--max-body", "lots"} << QByteArray("--max-body wants a number");
        QTest::newRow("certificate alone") << QStringList{"--tls-cert", "c.pem"}
                                           << QByteArray("--tls-cert and --tls-key go together");
        QTest::newRow("stray argument")
            << QStringList{"--frob"} << QByteArray("unexpected argument");
    }

    void commandLineRefusesBadInput()
    {
        QFETCH(QStringList, arguments);
        QProcess server;
        server.start(QStringLiteral(TARNAXE_DATAUP_SERVER_PATH),
                     QStringList{"--data", m_dir.filePath("refused")} + arguments);
        QVERIFY(server.waitForFinished(10000));
        QCOMPARE(server.exitCode(), 2);
        QFETCH(QByteArray, error);
        QVERIFY2(server.readAllStandardError().contains(error), error.constData());
    }
};

QTEST_GUILESS_MAIN(TestDataupServer)
#include "tst_dataupserver.moc"
