// The upload against the real reference server: what the committed transaction holds,
// whole and chunked; what injected faults and the clerk's answers do; and HTTPS with a
// private CA and a refused certificate.

#include "automation/AttachmentLists.h"
#include "automation/SharedState.h"
#include "ems/EmsReader.h"
#include "emswriter/EmsSetBuilder.h"
#include "support/DataupServer.h"
#include "support/FileContents.h"
#include "support/RecordingView.h"
#include "support/ScriptedUi.h"
#include "support/TableFolder.h"
#include "transfer/TransferOptions.h"
#include "transfer/UploadTransaction.h"
#include "transfer/clsComm.h"

#include <QDir>
#include <QTest>

using namespace tarnaxe;
using tarnaxe::test::DataupServer;
using tarnaxe::test::DataupServerOptions;

class TestUpload : public QObject {
    Q_OBJECT

private slots:
    void init()
    {
        m_folder = std::make_unique<test::TableFolder>();
        QVERIFY(m_folder->isValid());
        m_lists = AttachmentLists();
        m_ui = test::ScriptedUi();
        m_view = test::RecordingView();
        m_state = SharedState();
        m_state.SessionPath = m_folder->path() + "/session";
        QVERIFY(QDir().mkpath(m_state.SessionPath));
        m_state.request.IOCommand = "WRITE";
        m_state.request.WorkerGUID = "{W-1}";
        m_state.request.WorkerTypeID = "7";
        m_server = std::make_unique<DataupServer>();
        QVERIFY2(m_server->start(), qPrintable(m_server->error()));
        m_state.request.AssignmentGUID = m_server->seed();
        m_state.request.RemoteServer = m_server->hostPort();
        m_http = std::make_unique<clsComm>();
        m_http->ServerName = m_server->hostPort();
    }

    void oneTransactionHoldsEverything_data()
    {
        QTest::addColumn<bool>("chunked");
        QTest::newRow("in chunks") << true;
        QTest::newRow("whole files") << false;
    }

    void oneTransactionHoldsEverything()
    {
        QFETCH(bool, chunked);
        m_state.ChunkFiles = chunked;
        QByteArray bytes(100000, '\0');
        for (qsizetype i = 0; i < bytes.size(); ++i)
            bytes[i] = char(i * 7 + i / 251);
        QStringList paths = {m_folder->write("estimate.pdf", "%PDF-1.4\n" + bytes),
                             m_folder->write("front.jpg", bytes.left(70000))};
        m_lists.appendPrintDoc(paths[0], "Printed estimate");
        m_lists.appendPhoto(paths[1], "Front – bumper");
        // Sizes around the chunk; the empty file is skipped silently. A TAB or line break
        // cannot travel in a field: each becomes a blank.
        for (int size : {0, 1, 32768, 32769}) {
            m_lists.appendFile(
                m_folder->write(QStringLiteral("f\t%1.bin").arg(size), bytes.left(size)));
            if (size)
                paths << m_lists.files().last().path;
        }
        m_lists.setCaptionOf("Files", 2, "Adjuster\r\nnotes");

        emswriter::EmsSetBuilder set(m_folder->path(), "0001");
        set.style(emswriter::EmsStyle::Letter).vehicleMemo("FRONT BUMPER DAMAGE");
        QVERIFY(set.write());
        EstimateRecord estimate;
        QVERIFY(EmsReader().readBasicInfo(set.envelopePath(), QDate(1951, 12, 31), estimate));
        estimate.mieFile = m_folder->write("0001.mie", "[Estimate]\r\nLine=1\r\n");
        m_lists.appendEstimate(estimate);

        QVERIFY(run());
        QVERIFY(m_ui.boxes.isEmpty());
        QCOMPARE(m_view.bars.last(), 100);
        const QJsonObject transaction = lastTransaction();
        QCOMPARE(transaction["state"].toString(), "committed");
        const QJsonArray inserts = transaction["attachments"].toArray();
        // Print documents first, then photos, files and estimates.
        QStringList kinds;
        for (const QJsonValue insert : inserts)
            kinds << insert["kind"].toString();
        QCOMPARE(kinds, (QStringList{"print", "image", "file", "file", "file", "ems"}));
        for (qsizetype i = 0; i < paths.size(); ++i)
            QCOMPARE(inserts[i]["files"][0]["sha256"].toString(), test::fileSha256(paths[i]));
        QCOMPARE(inserts[0]["fieldMap"]["WorkerGUID"].toString(), "{W-1}");
        QCOMPARE(inserts[0]["fieldMap"]["AssignmentGUID"].toString(),
                 m_state.request.AssignmentGUID);
        QCOMPARE(inserts[0]["fieldMap"]["Description"].toString(), "Printed estimate");
        QCOMPARE(inserts[1]["fieldMap"]["Caption"].toString(), "Front – bumper");
        QCOMPARE(inserts[2]["fieldMap"]["FileName"].toString(), "f 1.bin");
        QCOMPARE(inserts[2]["fieldMap"]["Description"].toString(), "Adjuster  notes");

        // The estimate: preparse fields, and each member and the MIE file under its name.
        const QJsonValue ems = inserts.last();
        QCOMPARE(ems["fieldMap"]["PreparseClaimNumber"].toString(), "12-345678-90");
        QCOMPARE(ems["fieldMap"]["EMSEstimatingPlatformCode"].toString(), estimate.platformCode);
        QMap<QString, QString> digests;
        for (const QJsonValue file : ems[QLatin1String("files")].toArray())
            digests.insert(file["field"].toString(), file["sha256"].toString());
        QCOMPARE(digests.size(), 8); // env, ad1, ad2, veh, ttl, pft, the memo and the MIE file
        QCOMPARE(digests.value("EMSVehicleMemos"), test::fileSha256(set.vehicleMemoPath()));
        QCOMPARE(digests.value("MIELocation"), test::fileSha256(estimate.mieFile));
        // The chunk file of the last piece (the MIE file's) is all that stays behind.
        if (chunked)
            QCOMPARE(QDir(m_state.SessionPath + "/Chunks").entryList(QDir::Files),
                     QStringList{"Chunk.mie"});
    }

    void failures_data()
    {
        QTest::addColumn<QByteArray>("page");
        QTest::addColumn<QByteArray>("fault");
        QTest::addColumn<int>("times");
        QTest::addColumn<int>("answer"); // to "resume sending?"; -1: not asked
        QTest::addColumn<QString>("action");
        const int yes = int(MessageAnswer::Yes);
        const int no = int(MessageAnswer::No);
        // The client tries a file four times, and the upload a failed step twice.
        const auto row = [](const char* page, const char* fault, int times, int answer,
                            const char* action = "") {
            QTest::addRow("%s %s %d", page, fault, answer)
                << QByteArray(page) << QByteArray(fault) << times << answer << QString(action);
        };
        row("AppendToFile", "http500", 3, -1);
        row("InsertImage", "garbage", 1, -1);
        row("InsertImage", "no-status", 2, yes);
        row("WriteFile", "drop", 100, no,
            "Uploading Image\r\nError: Connection closed by the server");
        row("BeginAttachmentTransaction", "no-status", 10, no, "Begin Transaction");
    }

    void failures()
    {
        QFETCH(QByteArray, page);
        QFETCH(QByteArray, fault);
        QFETCH(int, times);
        QFETCH(int, answer);
        QFETCH(QString, action);
        m_state.ChunkFiles = true;
        const QString photo = m_folder->write("p.jpg", QByteArray(3 * 32768, 'p'));
        m_lists.appendPhoto(photo, "Side");
        QVERIFY(m_server->setFaults("[{\"page\": \"/dataup/" + page +
                                    ".asp\", \"times\": " + QByteArray::number(times) +
                                    ", \"action\": \"" + fault + "\"}]"));
        if (answer >= 0)
            m_ui.boxAnswers.enqueue(MessageAnswer(answer));
        QCOMPARE(run(), answer != int(MessageAnswer::No));
        QCOMPARE(m_ui.boxes.size(), answer >= 0 ? 1 : 0);
        if (answer == int(MessageAnswer::Yes)) {
            QCOMPARE(m_ui.boxes.first().title, "Failure occurred uploading data");
            QCOMPARE(m_ui.boxes.first().buttons, MessageButtons::YesNo);
            QCOMPARE(m_ui.lastText(), QStringLiteral("Uploading Information\r\n\r\nAction: "
                                                     "Uploading Image\r\n\r\n\r\nFailure "
                                                     "#1\r\nDo you want to resume sending?"));
        } else if (answer >= 0) {
            QVERIFY2(m_ui.lastText().contains("Action: " + action), qPrintable(m_ui.lastText()));
        }
        const QJsonObject transaction = lastTransaction();
        const bool committed = answer != int(MessageAnswer::No);
        QCOMPARE(transaction["state"].toString(), committed               ? "committed"
                                                  : transaction.isEmpty() ? ""
                                                                          : "open");
        if (committed)
            QCOMPARE(transaction["attachments"][0]["files"][0]["sha256"].toString(),
                     test::fileSha256(photo));
    }

    void clerkDuringTheUpload()
    {
        for (int i = 0; i < 3; ++i)
            m_lists.appendFile(m_folder->write(QStringLiteral("f%1.txt").arg(i), "text"));
        // The clerk presses cancel while the second file goes: No goes on, Yes stops.
        for (const MessageAnswer answer : {MessageAnswer::No, MessageAnswer::Yes}) {
            m_view.onEvents = [this] {
                if (m_view.messages.last() == QLatin1String("Uploading Step 3 of 5"))
                    m_view.abort = true, m_view.onEvents = {};
            };
            m_ui.boxAnswers.enqueue(answer);
            QCOMPARE(run(), answer == MessageAnswer::No);
            QCOMPARE(m_ui.lastBox(), "Cancel Upload: Are you sure?");
            const QJsonObject transaction = lastTransaction();
            QCOMPARE(transaction["state"].toString(),
                     answer == MessageAnswer::No ? "committed" : "open");
            QCOMPARE(transaction["inserts"].toArray().size(), answer == MessageAnswer::No ? 3 : 2);
        }
        // The list zapped while the files go changes nothing that is sent.
        m_view.onEvents = [this] {
            m_lists.zap("Files");
        };
        QVERIFY(run());
        QCOMPARE(m_ui.boxes.size(), 2);
        QCOMPARE(lastTransaction()[QLatin1String("attachments")].toArray().size(), 3);
        QCOMPARE(m_lists.countOf("Files"), qint16(0));
        // A request whose identifiers hold a TAB is refused before anything is sent.
        m_state.request.WorkerGUID = "{W-1}\t";
        QVERIFY(!run());
        QCOMPARE(m_ui.lastText(),
                 "The request cannot be sent: WorkerGUID holds a tab or a line break.");
        QCOMPARE(m_server->transactions().size(), 3);
    }

    void privateCaAndARefusedCertificate()
    {
        test::TestCertificates certificates;
        QVERIFY2(certificates.isValid(), qPrintable(certificates.error()));
        const auto wrong = certificates.wrongHost();
        DataupServer wrongHost(
            {false, 0, {"--tls-cert", wrong.certificate, "--tls-key", wrong.key}});
        m_server = std::make_unique<DataupServer>(DataupServerOptions{true, 0, {}});
        QVERIFY(m_server->start() && wrongHost.start());
        const QString ini = m_folder->path() + "/TarnLocal.ini";
        const auto begin = [&ini](const QByteArray& setting, const QString& server,
                                  QString& error) {
            test::writeFileContents(ini, "[Transfer]\n" + setting + "\n");
            clsComm comm(readTransferOptions(ini).http);
            comm.ServerName = server;
            comm.bSecure = true;
            comm.PostPage = "/dataup/BeginAttachmentTransaction.asp";
            return comm.SendData("Code:BEGINTRANS\t", error);
        };
        // Settings it cannot use leave the defaults: no extra CA, a minute's time-out.
        QString error;
        QVERIFY(
            !begin("CACertificates=/no/ca.pem\nTimeoutSeconds=soon", m_server->hostPort(), error));
        QVERIFY2(error.startsWith("SSL handshake failed: "), qPrintable(error));
        TransferOptions options = readTransferOptions(ini);
        QVERIFY(options.error.contains("TimeoutSeconds"));
        QVERIFY(options.http.inactivityTimeoutMs == 60000 &&
                options.http.extraCaCertificates.isEmpty());
        QVERIFY2(
            begin("TimeoutSeconds=0.5\nCACertificates=" + m_server->caCertificatePath().toUtf8(),
                  m_server->hostPort(), error),
            qPrintable(error));
        QCOMPARE(m_server->transactions().size(), 1);
        options = readTransferOptions(ini);
        QVERIFY(options.error.isEmpty() && options.http.inactivityTimeoutMs == 500);
        // The test CA is trusted: only the certificate's own fault can refuse it.
        QVERIFY(!begin("CACertificates=" + certificates.caCertificate().toUtf8(),
                       wrongHost.hostPort(), error));
        QVERIFY2(error.contains("host name did not match", Qt::CaseInsensitive), qPrintable(error));
        QCOMPARE(wrongHost.transactions().size(), 0);
    }

private:
    bool run()
    {
        // A question beyond the scripted answers ends the upload rather than resuming it for
        // ever; what is left unasked is not carried into the next run.
        m_ui.boxAnswers.enqueue(MessageAnswer::No);
        const bool done =
            UploadTransaction(m_state.request, m_state, m_lists, m_ui, m_view, *m_http)
                .UploadAttachments();
        m_ui.boxAnswers.clear();
        return done;
    }

    QJsonObject lastTransaction()
    {
        const QJsonArray all = m_server->transactions();
        return all.isEmpty() ? QJsonObject()
                             : m_server->transaction(all.last()[QLatin1String("guid")].toString());
    }

    std::unique_ptr<test::TableFolder> m_folder;
    std::unique_ptr<DataupServer> m_server;
    SharedState m_state;
    AttachmentLists m_lists;
    test::ScriptedUi m_ui;
    test::RecordingView m_view;
    std::unique_ptr<clsComm> m_http;
};

QTEST_GUILESS_MAIN(TestUpload)
#include "tst_upload.moc"
