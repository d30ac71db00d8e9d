// The upload against the real reference server: what the committed transaction holds,
// whole and chunked; what injected faults, the clerk's answers and a vanishing server do;
// and HTTPS with a private CA, refused certificates, and a large file that is streamed.

#include "automation/AttachmentLists.h"
#include "automation/SharedState.h"
#include "ems/EmsReader.h"
#include "emswriter/EmsSetBuilder.h"
#include "support/DataupServer.h"
#include "support/FileContents.h"
#include "support/RecordingView.h"
#include "support/ScriptedUi.h"
#include "support/TableFolder.h"
#include "transfer/ReplyFields.h"
#include "transfer/TransferOptions.h"
#include "transfer/UploadTransaction.h"
#include "transfer/clsComm.h"

#include <QDir>
#include <QFileInfo>
#include <QTest>
#include <QTimer>

#if defined(__SANITIZE_ADDRESS__)
extern "C" size_t __sanitizer_get_current_allocated_bytes(); // GCC installs no header for it
#else
#include <malloc.h>
#endif

using namespace tarnaxe;
using tarnaxe::test::DataupServer;
using tarnaxe::test::DataupServerOptions;

namespace {

// Bytes the allocator has handed out and not had back, across all threads. Resident size
// would not do: AddressSanitizer keeps freed blocks in quarantine.
qint64 liveHeapBytes()
{
#if defined(__SANITIZE_ADDRESS__)
    return qint64(__sanitizer_get_current_allocated_bytes());
#else
    const struct mallinfo2 info = mallinfo2();
    return qint64(info.uordblks + info.hblkhd);
#endif
}

QString text(const QJsonValue& value)
{
    return value.toString();
}

} // namespace

class TestUpload : public QObject {
    Q_OBJECT

private slots:
    void init();
    void oneTransactionHoldsEverything_data();
    void oneTransactionHoldsEverything();
    void failures_data();
    void failures();
    void cancelBetweenSteps_data();
    void cancelBetweenSteps();
    void listEditedDuringTheUpload();
    void serverGoneMidUpload();
    void transferSettings();
    void privateCaAndAStreamedLargeFile();
    void refusedCertificates_data();
    void refusedCertificates();

private:
    QString writeFile(const QString& name, const QByteArray& bytes);
    bool run();
    QJsonObject lastTransaction();
    bool startServer(DataupServerOptions options = {});

    std::unique_ptr<test::TableFolder> m_folder;
    std::unique_ptr<DataupServer> m_server;
    SharedState m_state;
    AttachmentLists m_lists;
    test::ScriptedUi m_ui;
    test::RecordingView m_view;
    std::unique_ptr<clsComm> m_http;
};

void TestUpload::init()
{
    m_folder = std::make_unique<test::TableFolder>();
    QVERIFY(m_folder->isValid());
    for (const char* list : {"Photos", "PrintDocs", "Files", "Estimates"})
        m_lists.zap(QLatin1String(list));
    m_ui = test::ScriptedUi();
    m_view = test::RecordingView();
    m_state = SharedState();
    m_state.SessionPath = m_folder->path() + QStringLiteral("/session");
    QVERIFY(QDir().mkpath(m_state.SessionPath));
    m_state.request.IOCommand = QStringLiteral("WRITE");
    m_state.request.WorkerGUID = QStringLiteral("{W-1}");
    m_state.request.WorkerTypeID = QStringLiteral("7");
    if (QByteArray(QTest::currentTestFunction()) == "refusedCertificates")
        return; // it starts its own server
    QVERIFY(startServer());
    m_state.request.AssignmentGUID = m_server->seed();
    m_state.request.RemoteServer = m_server->hostPort();
    m_http = std::make_unique<clsComm>();
    m_http->ServerName = m_server->hostPort();
}

bool TestUpload::startServer(DataupServerOptions options)
{
    m_server = std::make_unique<DataupServer>(std::move(options));
    if (!m_server->start())
        qWarning() << m_server->error();
    return m_server->port() != 0;
}

QString TestUpload::writeFile(const QString& name, const QByteArray& bytes)
{
    const QString path = m_folder->path() + QLatin1Char('/') + name;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
    return path;
}

bool TestUpload::run()
{
    // An unexpected question ends the upload rather than resuming it for ever.
    if (m_ui.boxAnswers.isEmpty())
        m_ui.boxAnswers.enqueue(MessageAnswer::No);
    return UploadTransaction(m_state.request, m_state, m_lists, m_ui, m_view, *m_http)
        .UploadAttachments();
}

QJsonObject TestUpload::lastTransaction()
{
    const QJsonArray all = m_server->transactions();
    return all.isEmpty() ? QJsonObject()
                         : m_server->transaction(text(all.last()[QLatin1String("guid")]));
}

void TestUpload::oneTransactionHoldsEverything_data()
{
    QTest::addColumn<bool>("chunked");
    QTest::newRow("in chunks") << true;
    QTest::newRow("whole files") << false;
}

void TestUpload::oneTransactionHoldsEverything()
{
    QFETCH(bool, chunked);
    m_state.ChunkFiles = chunked;
    QByteArray bytes(100000, '\0');
    for (qsizetype i = 0; i < bytes.size(); ++i)
        bytes[i] = char(i * 7 + i / 251);
    QStringList paths = {writeFile(QStringLiteral("estimate.pdf"), "%PDF-1.4\n" + bytes),
                         writeFile(QStringLiteral("front.jpg"), bytes.left(70000))};
    m_lists.appendPrintDoc(paths[0], QStringLiteral("Printed estimate"));
    m_lists.appendPhoto(paths[1], QStringLiteral("Front – bumper"));
    // Sizes around the chunk; the empty file is skipped silently. A TAB or line break
    // cannot travel in a field: each becomes a blank.
    for (int size : {0, 1, 32767, 32768, 32769, 65537}) {
        m_lists.appendFile(writeFile(QStringLiteral("f\t%1.bin").arg(size), bytes.left(size)));
        if (size)
            paths << m_lists.files().last().path;
    }
    m_lists.setCaptionOf(QStringLiteral("Files"), 2, QStringLiteral("Adjuster\r\nnotes"));

    emswriter::EmsSetBuilder set(m_folder->path(), QStringLiteral("0001"));
    set.style(emswriter::EmsStyle::Letter).vehicleMemo("FRONT BUMPER DAMAGE");
    QVERIFY(set.write());
    EstimateRecord estimate;
    QVERIFY(EmsReader().readBasicInfo(set.envelopePath(), QDate(1951, 12, 31), estimate));
    estimate.mieFile = writeFile(QStringLiteral("0001.mie"), "[Estimate]\r\nLine=1\r\n");
    m_lists.appendEstimate(estimate);

    QVERIFY(run());
    QCOMPARE(m_ui.boxes.size(), 0);
    QCOMPARE(m_view.header, (QStringList{QStringLiteral("Claim #: CLM-24-000417"),
                                         QStringLiteral("Policy #: POL-778899"),
                                         QStringLiteral("Insurance Co: SAFE HARBOR MUTUAL")}));
    QCOMPARE(m_view.messages.last(), QStringLiteral("Uploading Step 11 of 11"));
    QCOMPARE(m_view.bars.last(), 100);

    const QJsonObject transaction = lastTransaction();
    QCOMPARE(text(transaction[QLatin1String("state")]), QStringLiteral("committed"));
    const QJsonArray inserts = transaction[QLatin1String("attachments")].toArray();
    QCOMPARE(inserts.size(), 8);
    // Print documents first, then photos, files and estimates.
    QStringList kinds;
    for (qsizetype i = 0; i < inserts.size(); ++i) {
        const QJsonValue insert = inserts[i];
        kinds << text(insert[QLatin1String("kind")]);
        QCOMPARE(text(insert["fieldMap"]["AssignmentGUID"]), m_state.request.AssignmentGUID);
        if (i == 7)
            break;
        QCOMPARE(text(insert["fieldMap"]["WorkerGUID"]), QStringLiteral("{W-1}"));
        QCOMPARE(text(insert["fieldMap"]["WorkerTypeID"]), QStringLiteral("7"));
        QCOMPARE(text(insert["files"][0]["sha256"]), test::fileSha256(paths[i]));
        QCOMPARE(insert["files"][0]["size"].toInteger(), QFileInfo(paths[i]).size());
    }
    QCOMPARE(kinds, (QStringList{"print", "image", "file", "file", "file", "file", "file", "ems"}));
    QCOMPARE(text(inserts[0]["fieldMap"]["Description"]), QStringLiteral("Printed estimate"));
    QCOMPARE(text(inserts[1]["fieldMap"]["Caption"]), QStringLiteral("Front – bumper"));
    QCOMPARE(text(inserts[2]["fieldMap"]["FileName"]), QStringLiteral("f 1.bin"));
    QCOMPARE(text(inserts[2]["fieldMap"]["Description"]), QStringLiteral("Adjuster  notes"));

    // The estimate: preparse fields, and each member and the MIE file under its name.
    const QJsonValue ems = inserts[7];
    QCOMPARE(text(ems["fieldMap"]["PreparseClaimNumber"]), QStringLiteral("12-345678-90"));
    QCOMPARE(text(ems["fieldMap"]["EMSEstimatingPlatformCode"]), estimate.platformCode);
    QMap<QString, QString> digests;
    for (const QJsonValue file : ems[QLatin1String("files")].toArray())
        digests.insert(text(file["field"]), text(file["sha256"]));
    QCOMPARE(digests.size(), 8); // env, ad1, ad2, veh, ttl, pft, the memo and the MIE file
    QCOMPARE(digests.value(QStringLiteral("EMSEnvelope")), test::fileSha256(set.envelopePath()));
    QCOMPARE(digests.value(QStringLiteral("EMSVehicleMemos")),
             test::fileSha256(set.vehicleMemoPath()));
    QCOMPARE(digests.value(QStringLiteral("MIELocation")), test::fileSha256(estimate.mieFile));
    // The chunk file of the last piece (the MIE file's) is all that stays behind.
    if (chunked)
        QCOMPARE(QDir(m_state.SessionPath + QStringLiteral("/Chunks")).entryList(QDir::Files),
                 QStringList{QStringLiteral("Chunk.mie")});
}

void TestUpload::failures_data()
{
    QTest::addColumn<QByteArray>("page");
    QTest::addColumn<QByteArray>("fault");
    QTest::addColumn<int>("times");
    QTest::addColumn<int>("answer"); // to "resume sending?"; -1: not asked
    QTest::addColumn<QString>("action");
    const int yes = int(MessageAnswer::Yes);
    const int no = int(MessageAnswer::No);
    // The client tries a file four times, and the upload a failed step twice.
    QTest::newRow("append fails thrice")
        << QByteArray("AppendToFile") << QByteArray("http500") << 3 << -1 << QString();
    QTest::newRow("insert answered with garbage once")
        << QByteArray("InsertImage") << QByteArray("garbage") << 1 << -1 << QString();
    QTest::newRow("insert fails twice, Yes")
        << QByteArray("InsertImage") << QByteArray("no-status") << 2 << yes << "Uploading Image";
    QTest::newRow("insert fails twice, No")
        << QByteArray("InsertImage") << QByteArray("no-status") << 2 << no << "Uploading Image";
    QTest::newRow("write dropped every time")
        << QByteArray("WriteFile") << QByteArray("drop") << 100 << no
        << "Uploading Image\r\nError: Connection closed by the server";
    QTest::newRow("begin without status")
        << QByteArray("BeginAttachmentTransaction") << QByteArray("no-status") << 10 << no
        << "Begin Transaction";
}

void TestUpload::failures()
{
    QFETCH(QByteArray, page);
    QFETCH(QByteArray, fault);
    QFETCH(int, times);
    QFETCH(int, answer);
    QFETCH(QString, action);
    m_state.ChunkFiles = true;
    const QString photo = writeFile(QStringLiteral("p.jpg"), QByteArray(3 * 32768, 'p'));
    m_lists.appendPhoto(photo, QStringLiteral("Side"));
    QVERIFY(m_server->setFaults(R"([{"page": "/dataup/)" + page +
                                R"(.asp", "after": 0, "times": )" + QByteArray::number(times) +
                                R"(, "action": ")" + fault + "\"}]"));
    if (answer >= 0)
        m_ui.boxAnswers.enqueue(MessageAnswer(answer));
    QCOMPARE(run(), answer != int(MessageAnswer::No));
    QCOMPARE(m_ui.boxes.size(), answer >= 0 ? 1 : 0);
    if (answer == int(MessageAnswer::Yes)) {
        QCOMPARE(m_ui.boxes.first().title, QStringLiteral("Failure occurred uploading data"));
        QCOMPARE(m_ui.boxes.first().buttons, MessageButtons::YesNo);
        QCOMPARE(m_ui.lastText(), QStringLiteral("Uploading Information\r\n\r\nAction: Uploading "
                                                 "Image\r\n\r\n\r\nFailure #1\r\nDo you want to "
                                                 "resume sending?"));
    } else if (answer >= 0) {
        QVERIFY2(m_ui.lastText().contains(QStringLiteral("Action: ") + action), qPrintable(action));
    }
    const QJsonObject transaction = lastTransaction();
    if (answer == int(MessageAnswer::No)) {
        QVERIFY(transaction.isEmpty() ||
                text(transaction[QLatin1String("state")]) == QLatin1String("open"));
        return;
    }
    QCOMPARE(text(transaction[QLatin1String("state")]), QStringLiteral("committed"));
    const QJsonArray attachments = transaction[QLatin1String("attachments")].toArray();
    QCOMPARE(attachments.size(), 1);
    QCOMPARE(text(attachments[0]["files"][0]["sha256"]), test::fileSha256(photo));
}

void TestUpload::cancelBetweenSteps_data()
{
    QTest::addColumn<bool>("stop");
    QTest::newRow("Yes stops") << true;
    QTest::newRow("No goes on") << false;
}

void TestUpload::cancelBetweenSteps()
{
    QFETCH(bool, stop);
    for (int i = 0; i < 3; ++i)
        m_lists.appendFile(writeFile(QStringLiteral("f%1.txt").arg(i), "text"));
    // The clerk presses cancel while the second file goes.
    int events = 0;
    m_view.onEvents = [this, &events] {
        if (m_view.messages.last() == QLatin1String("Uploading Step 3 of 5") && ++events == 1)
            m_view.abort = true;
    };
    m_ui.boxAnswers.enqueue(stop ? MessageAnswer::Yes : MessageAnswer::No);
    QCOMPARE(run(), !stop);
    QCOMPARE(m_ui.boxes.size(), 1);
    QCOMPARE(m_ui.boxes.first().title, QStringLiteral("Cancel Upload"));
    QCOMPARE(m_ui.boxes.first().text, QStringLiteral("Are you sure?"));
    const QJsonObject transaction = lastTransaction();
    QCOMPARE(text(transaction[QLatin1String("state")]), QLatin1String(stop ? "open" : "committed"));
    QCOMPARE(transaction[QLatin1String("inserts")].toArray().size(), stop ? 2 : 3);
}

void TestUpload::listEditedDuringTheUpload()
{
    for (int i = 0; i < 3; ++i)
        m_lists.appendFile(writeFile(QStringLiteral("f%1.txt").arg(i), "text"));
    m_view.onEvents = [this] {
        m_lists.zap(QStringLiteral("Files"));
    };
    QVERIFY(run());
    QCOMPARE(lastTransaction()[QLatin1String("attachments")].toArray().size(), 3);
    // A request whose identifiers hold a TAB is refused before anything is sent.
    m_state.request.WorkerGUID = QStringLiteral("{W-1}\t");
    QVERIFY(!run());
    QCOMPARE(m_ui.lastText(),
             QStringLiteral("The request cannot be sent: WorkerGUID holds a tab or a line break."));
    QCOMPARE(m_server->transactions().size(), 1);
}

void TestUpload::serverGoneMidUpload()
{
    m_lists.appendFile(writeFile(QStringLiteral("big.bin"), QByteArray(10 * 32768, 'g')));
    // The server stops after the file's third piece.
    int pieces = 0;
    m_view.onEvents = [this, &pieces] {
        if (m_view.messages.last() == QLatin1String("Uploading Step 2 of 3") && ++pieces == 3)
            m_server->stop();
    };
    m_ui.boxAnswers.enqueue(MessageAnswer::No);
    QVERIFY(!run());
    QCOMPARE(m_ui.boxes.size(), 1);
    QVERIFY2(m_ui.lastText().contains(QStringLiteral("Action: Uploading File Attachment\r\n"
                                                     "Error: Connection refused")),
             qPrintable(m_ui.lastText()));
}

void TestUpload::transferSettings()
{
    const QString ini = m_folder->path() + QStringLiteral("/TarnLocal.ini");
    QVERIFY(test::writeFileContents(ini, "[Transfer]\nTimeoutSeconds=0.5\n"));
    TransferOptions options = readTransferOptions(ini);
    QCOMPARE(options.error, QString());
    QCOMPARE(options.http.inactivityTimeoutMs, 500);
    QVERIFY(test::writeFileContents(
        ini, "[Transfer]\nCACertificates=/no/such/ca.pem\nTimeoutSeconds=soon\n"));
    options = readTransferOptions(ini);
    QVERIFY(options.error.contains(QStringLiteral("TimeoutSeconds")));
    QCOMPARE(options.http.inactivityTimeoutMs, 60000);
    QVERIFY(options.http.extraCaCertificates.isEmpty());
}

void TestUpload::privateCaAndAStreamedLargeFile()
{
    QVERIFY(startServer({true, 0, {}}));
    const QString ini = m_folder->path() + QStringLiteral("/TarnLocal.ini");
    const QString large = m_folder->path() + QStringLiteral("/large.bin");
    {
        QFile file(large);
        QVERIFY(file.open(QIODevice::WriteOnly));
        for (int i = 0; i < 20; ++i)
            QCOMPARE(file.write(QByteArray(1 << 20, char('A' + i))), 1 << 20);
    }
    for (const QByteArray& setting :
         {QByteArray(), "CACertificates=" + m_server->caCertificatePath().toUtf8()}) {
        QVERIFY(test::writeFileContents(ini, "[Transfer]\n" + setting + "\n"));
        clsComm comm(readTransferOptions(ini).http);
        comm.ServerName = m_server->hostPort();
        comm.bSecure = true;
        comm.PostPage = QStringLiteral("/dataup/BeginAttachmentTransaction.asp");
        QString error;
        const bool sent = comm.SendData(QStringLiteral("Code:BEGINTRANS\t"), error);
        QCOMPARE(sent, !setting.isEmpty());
        if (!sent) {
            QVERIFY2(error.startsWith(QStringLiteral("SSL handshake failed: ")), qPrintable(error));
            continue;
        }
        const QString transaction = GetFieldText(comm.ResponseData, "TransactionGUID");
        // The heap is sampled while the file goes, from this thread's event loop, which
        // the exchange keeps turning: the file is not read into memory.
        const qint64 before = liveHeapBytes();
        qint64 peak = before;
        QTimer sampler;
        connect(&sampler, &QTimer::timeout, this, [&peak] { peak = qMax(peak, liveHeapBytes()); });
        sampler.start(2);
        comm.PostPage = QStringLiteral("/dataup/WriteFile.asp");
        comm.LocalFileSpec = large;
        QVERIFY2(comm.SendFile(QStringLiteral("L.BIN"), error, transaction), qPrintable(error));
        sampler.stop();
        QVERIFY2(peak - before < 8 << 20, qPrintable(QString::number(peak - before)));
        const QJsonValue file = m_server->transaction(transaction)[QLatin1String("files")][0];
        QCOMPARE(text(file[QLatin1String("sha256")]), test::fileSha256(large));
    }
}

void TestUpload::refusedCertificates_data()
{
    QTest::addColumn<bool>("wrongHost");
    QTest::addColumn<QString>("reason");
    QTest::newRow("issued for another host") << true << "host name did not match";
    QTest::newRow("self-signed") << false << "self-signed";
}

void TestUpload::refusedCertificates()
{
    QFETCH(bool, wrongHost);
    QFETCH(QString, reason);
    test::TestCertificates certificates;
    QVERIFY2(certificates.isValid(), qPrintable(certificates.error()));
    const auto files = wrongHost ? certificates.wrongHost() : certificates.selfSigned();
    QVERIFY(startServer({false, 0, {"--tls-cert", files.certificate, "--tls-key", files.key}}));
    // The test CA is trusted: only the certificate's own fault can refuse it.
    clsComm comm({60000, QSslCertificate::fromPath(certificates.caCertificate())});
    comm.ServerName = m_server->hostPort();
    comm.bSecure = true;
    comm.PostPage = QStringLiteral("/dataup/BeginAttachmentTransaction.asp");
    QString error;
    QVERIFY(!comm.SendData(QStringLiteral("Code:BEGINTRANS\t"), error));
    QVERIFY2(error.startsWith(QStringLiteral("SSL handshake failed: ")), qPrintable(error));
    QVERIFY2(error.contains(reason, Qt::CaseInsensitive), qPrintable(error));
    QCOMPARE(m_server->transactions().size(), 0);
}

QTEST_GUILESS_MAIN(TestUpload)
#include "tst_upload.moc"
