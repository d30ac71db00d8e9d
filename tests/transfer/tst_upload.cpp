// The upload transaction against the real reference server: what the committed
// transaction holds, whole and chunked, and what faults and the user's answers do.

#include "automation/AttachmentLists.h"
#include "automation/SharedState.h"
#include "ems/EmsReader.h"
#include "emswriter/EmsSetBuilder.h"
#include "support/DataupServer.h"
#include "support/FileContents.h"
#include "support/RecordingView.h"
#include "support/ScriptedUi.h"
#include "support/TableFolder.h"
#include "transfer/UploadTransaction.h"
#include "transfer/clsComm.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

using namespace tarnaxe;
using tarnaxe::test::DataupServer;
using tarnaxe::test::RecordingView;
using tarnaxe::test::ScriptedUi;

namespace {} // namespace

class TestUpload : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void oneTransactionHoldsEverything_data();
    void oneTransactionHoldsEverything();
    void sizesAroundTheChunk_data();
    void sizesAroundTheChunk();
    void emptyListsStillBeginAndCommit();
    void appendErrorIsRetriedByTheClient();
    void stepFailingTwiceAsks_data();
    void stepFailingTwiceAsks();
    void replyWithoutStatusFails();
    void cancelBetweenSteps_data();
    void cancelBetweenSteps();
    void listEditedDuringTheUpload();
    void serverGoneMidUpload();
    void valuesTheWireCannotCarry();

private:
    QString writeFile(const QString& name, const QByteArray& bytes);
    bool run();
    QJsonObject onlyTransaction();

    std::unique_ptr<test::TableFolder> m_folder;
    std::unique_ptr<DataupServer> m_server;
    SharedState m_state;
    AttachmentLists m_lists;
    ScriptedUi m_ui;
    RecordingView m_view;
    std::unique_ptr<clsComm> m_http;
    std::unique_ptr<UploadTransaction> m_upload;
};

void TestUpload::init()
{
    m_folder = std::make_unique<test::TableFolder>();
    QVERIFY(m_folder->isValid());
    m_server = std::make_unique<DataupServer>();
    QVERIFY2(m_server->start(), qPrintable(m_server->error()));
    const QString assignment = m_server->seed();
    QVERIFY(!assignment.isEmpty());
    m_state = SharedState();
    m_state.SessionPath = m_folder->path() + QStringLiteral("/session");
    QVERIFY(QDir().mkpath(m_state.SessionPath));
    m_state.request.IOCommand = QStringLiteral("WRITE");
    m_state.request.AssignmentGUID = assignment;
    m_state.request.WorkerGUID = QStringLiteral("{W-1}");
    m_state.request.WorkerTypeID = QStringLiteral("7");
    m_state.request.RemoteServer = m_server->hostPort();
    m_lists.zap(QStringLiteral("Photos"));
    m_lists.zap(QStringLiteral("PrintDocs"));
    m_lists.zap(QStringLiteral("Files"));
    m_lists.zap(QStringLiteral("Estimates"));
    m_ui = ScriptedUi();
    m_view = RecordingView();
    m_http = std::make_unique<clsComm>();
    m_http->ServerName = m_server->hostPort();
    m_upload = std::make_unique<UploadTransaction>(m_state.request, m_state, m_lists, m_ui, m_view,
                                                   *m_http);
}

void TestUpload::cleanup()
{
    m_upload.reset();
    m_http.reset();
    m_server.reset();
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
    return m_upload->UploadAttachments();
}

QJsonObject TestUpload::onlyTransaction()
{
    const QJsonArray all = m_server->transactions();
    if (all.isEmpty())
        return {};
    return m_server->transaction(all.last().toObject().value(QLatin1String("guid")).toString());
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

    QByteArray jpeg(70000, '\0');
    for (qsizetype i = 0; i < jpeg.size(); ++i)
        jpeg[i] = char(i * 7);
    const QString front = writeFile(QStringLiteral("front.jpg"), jpeg);
    const QString rear = writeFile(QStringLiteral("rear.jpg"), jpeg.left(1000));
    const QString pdf = writeFile(QStringLiteral("estimate.pdf"), "%PDF-1.4\n" + jpeg.left(40000));
    const QString text = writeFile(QStringLiteral("notes.txt"), "Left door\tdented\r\n");
    m_lists.appendPhoto(front, QStringLiteral("Front – bumper"));
    m_lists.appendPhoto(rear, QStringLiteral("Rear"));
    m_lists.appendPrintDoc(pdf, QStringLiteral("Printed estimate"));
    m_lists.appendFile(text);
    m_lists.setCaptionOf(QStringLiteral("Files"), 1, QStringLiteral("Adjuster notes"));

    emswriter::EmsSetBuilder set(m_folder->path(), QStringLiteral("0001"));
    set.style(emswriter::EmsStyle::Letter).vehicleMemo("FRONT BUMPER DAMAGE");
    QVERIFY(set.write());
    EmsReader reader;
    EstimateRecord estimate;
    QVERIFY(reader.readBasicInfo(set.envelopePath(), QDate(1951, 12, 31), estimate));
    m_lists.appendEstimate(estimate);

    QVERIFY(run());
    QCOMPARE(m_ui.boxes.size(), 0);
    QCOMPARE(m_view.header, (QStringList{QStringLiteral("Claim #: CLM-24-000417"),
                                         QStringLiteral("Policy #: POL-778899"),
                                         QStringLiteral("Insurance Co: SAFE HARBOR MUTUAL")}));
    QCOMPARE(m_view.messages.first(), QStringLiteral("Connected to Server!"));
    QCOMPARE(m_view.messages.last(), QStringLiteral("Uploading Step 7 of 7"));
    QCOMPARE(m_view.bars.last(), 100);
    QCOMPARE(m_upload->bytesDone(), m_upload->totalBytes());

    const QJsonObject transaction = onlyTransaction();
    QCOMPARE(transaction.value(QLatin1String("state")).toString(), QStringLiteral("committed"));
    const QJsonArray inserts = transaction.value(QLatin1String("attachments")).toArray();
    QCOMPARE(inserts.size(), 5);
    // Print documents first, then photos, files and estimates.
    QStringList kinds;
    for (const auto& insert : inserts)
        kinds << insert.toObject().value(QLatin1String("kind")).toString();
    QCOMPARE(kinds, (QStringList{"print", "image", "image", "file", "ems"}));

    const auto fieldsOf = [&](int i) {
        return inserts[i].toObject().value(QLatin1String("fieldMap")).toObject();
    };
    const auto fileOf = [&](int i, int n = 0) {
        return inserts[i].toObject().value(QLatin1String("files")).toArray()[n].toObject();
    };
    QCOMPARE(fieldsOf(0).value(QLatin1String("Description")).toString(),
             QStringLiteral("Printed estimate"));
    QCOMPARE(fieldsOf(1).value(QLatin1String("Caption")).toString(),
             QStringLiteral("Front – bumper"));
    QCOMPARE(fieldsOf(2).value(QLatin1String("Caption")).toString(), QStringLiteral("Rear"));
    QCOMPARE(fieldsOf(3).value(QLatin1String("FileName")).toString(), QStringLiteral("notes.txt"));
    QCOMPARE(fieldsOf(3).value(QLatin1String("Description")).toString(),
             QStringLiteral("Adjuster notes"));
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(fieldsOf(i).value(QLatin1String("AssignmentGUID")).toString(),
                 m_state.request.AssignmentGUID);
        QCOMPARE(fieldsOf(i).value(QLatin1String("WorkerGUID")).toString(),
                 QStringLiteral("{W-1}"));
        QCOMPARE(fieldsOf(i).value(QLatin1String("WorkerTypeID")).toString(), QStringLiteral("7"));
    }
    QCOMPARE(fileOf(0).value(QLatin1String("sha256")).toString(), test::fileSha256(pdf));
    QCOMPARE(fileOf(1).value(QLatin1String("sha256")).toString(), test::fileSha256(front));
    QCOMPARE(fileOf(2).value(QLatin1String("sha256")).toString(), test::fileSha256(rear));
    QCOMPARE(fileOf(3).value(QLatin1String("sha256")).toString(), test::fileSha256(text));

    // The estimate: preparse fields, and each member under its upload name.
    const QJsonObject ems = fieldsOf(4);
    QCOMPARE(ems.value(QLatin1String("PreparseClaimNumber")).toString(),
             QStringLiteral("12-345678-90"));
    QCOMPARE(ems.value(QLatin1String("EMSEstimatingPlatformCode")).toString(),
             estimate.platformCode);
    const QJsonArray emsFiles = inserts[4].toObject().value(QLatin1String("files")).toArray();
    QMap<QString, QString> digests;
    for (const auto& file : emsFiles)
        digests.insert(file.toObject().value(QLatin1String("field")).toString(),
                       file.toObject().value(QLatin1String("sha256")).toString());
    QCOMPARE(digests.value(QStringLiteral("EMSEnvelope")), test::fileSha256(set.envelopePath()));
    QCOMPARE(digests.value(QStringLiteral("EMSAdministration1")),
             test::fileSha256(set.memberPath(EmsMember::Administrative1)));
    QCOMPARE(digests.value(QStringLiteral("EMSVehicle")),
             test::fileSha256(set.memberPath(EmsMember::Vehicle)));
    QCOMPARE(digests.value(QStringLiteral("EMSVehicleMemos")),
             test::fileSha256(set.vehicleMemoPath()));
    QCOMPARE(digests.size(), 7); // env, ad1, ad2, veh, ttl, pft and the memo
}

void TestUpload::sizesAroundTheChunk_data()
{
    QTest::addColumn<bool>("chunked");
    QTest::newRow("in chunks") << true;
    QTest::newRow("whole files") << false;
}

void TestUpload::sizesAroundTheChunk()
{
    QFETCH(bool, chunked);
    m_state.ChunkFiles = chunked;
    const QList<qint64> sizes = {0, 1, 32767, 32768, 32769, 65536, 5 << 20};
    QStringList paths;
    for (qint64 size : sizes) {
        QByteArray bytes(size, '\0');
        for (qint64 i = 0; i < size; ++i)
            bytes[i] = char((i * 131 + size) % 256);
        paths << writeFile(QStringLiteral("f%1.bin").arg(size), bytes);
        m_lists.appendFile(paths.last());
    }
    QVERIFY(run());
    const QJsonArray inserts = onlyTransaction().value(QLatin1String("attachments")).toArray();
    // The empty file is skipped silently.
    QCOMPARE(inserts.size(), sizes.size() - 1);
    for (int i = 1; i < sizes.size(); ++i) {
        const QJsonObject file =
            inserts[i - 1].toObject().value(QLatin1String("files")).toArray()[0].toObject();
        QCOMPARE(file.value(QLatin1String("size")).toInteger(), sizes[i]);
        QCOMPARE(file.value(QLatin1String("sha256")).toString(), test::fileSha256(paths[i]));
    }
    // The chunk file of the last piece is all that stays in the session's chunk folder.
    if (chunked)
        QCOMPARE(QDir(m_state.SessionPath + QStringLiteral("/Chunks")).entryList(QDir::Files),
                 QStringList{QStringLiteral("Chunk.bin")});
}

void TestUpload::emptyListsStillBeginAndCommit()
{
    QVERIFY(run());
    QCOMPARE(m_upload->steps().size(), 2);
    QCOMPARE(m_view.messages.last(), QStringLiteral("Uploading Step 2 of 2"));
    QCOMPARE(onlyTransaction().value(QLatin1String("state")).toString(),
             QStringLiteral("committed"));
}

void TestUpload::appendErrorIsRetriedByTheClient()
{
    m_lists.appendFile(writeFile(QStringLiteral("big.bin"), QByteArray(5 * 32768, 'b')));
    QVERIFY(m_server->setFaults(
        R"([{"page": "/dataup/AppendToFile.asp", "after": 2, "times": 1, "action": "http500"}])"));
    QVERIFY(run());
    QCOMPARE(m_ui.boxes.size(), 0);
    const QJsonArray inserts = onlyTransaction().value(QLatin1String("attachments")).toArray();
    QCOMPARE(inserts.size(), 1);
    QCOMPARE(inserts[0]
                 .toObject()
                 .value(QLatin1String("files"))
                 .toArray()[0]
                 .toObject()
                 .value(QLatin1String("size"))
                 .toInteger(),
             5 * 32768);
}

void TestUpload::stepFailingTwiceAsks_data()
{
    QTest::addColumn<bool>("resume");
    QTest::newRow("Yes resumes") << true;
    QTest::newRow("No ends") << false;
}

void TestUpload::stepFailingTwiceAsks()
{
    QFETCH(bool, resume);
    const QString photo = writeFile(QStringLiteral("p.jpg"), QByteArray(40000, 'p'));
    m_lists.appendPhoto(photo, QStringLiteral("Side"));
    // Both tries of the photo's step fail at its insert, after its file went.
    QVERIFY(m_server->setFaults(
        R"([{"page": "/dataup/InsertImage.asp", "after": 0, "times": 2, "action": "no-status"}])"));
    m_ui.boxAnswers.enqueue(resume ? MessageAnswer::Yes : MessageAnswer::No);

    QCOMPARE(run(), resume);
    QCOMPARE(m_ui.boxes.size(), 1);
    const MessageBoxRequest& box = m_ui.boxes.first();
    QCOMPARE(box.title, QStringLiteral("Failure occurred uploading data"));
    QCOMPARE(box.buttons, MessageButtons::YesNo);
    QCOMPARE(box.text, QStringLiteral("Uploading Information\r\n\r\nAction: Uploading Image\r\n"
                                      "\r\n\r\nFailure #1\r\nDo you want to resume sending?"));
    const QJsonObject transaction = onlyTransaction();
    if (resume) {
        QCOMPARE(transaction.value(QLatin1String("state")).toString(), QStringLiteral("committed"));
        const QJsonArray attachments = transaction.value(QLatin1String("attachments")).toArray();
        QCOMPARE(attachments.size(), 1);
        QCOMPARE(attachments[0]
                     .toObject()
                     .value(QLatin1String("files"))
                     .toArray()[0]
                     .toObject()
                     .value(QLatin1String("sha256"))
                     .toString(),
                 test::fileSha256(photo));
    } else {
        QCOMPARE(transaction.value(QLatin1String("state")).toString(), QStringLiteral("open"));
        QCOMPARE(transaction.value(QLatin1String("attachments")).toArray().size(), 0);
    }
}

void TestUpload::replyWithoutStatusFails()
{
    QVERIFY(m_server->setFaults(R"([{"page": "/dataup/BeginAttachmentTransaction.asp",
        "after": 0, "times": 10, "action": "no-status"}])"));
    m_ui.boxAnswers.enqueue(MessageAnswer::No);
    QVERIFY(!run());
    QCOMPARE(m_ui.boxes.size(), 1);
    QVERIFY(m_ui.boxes.first().text.contains(QStringLiteral("Action: Begin Transaction\r\n")));
    QCOMPARE(m_server->transactions().size(), 0);
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
    const QJsonObject transaction = onlyTransaction();
    QCOMPARE(transaction.value(QLatin1String("state")).toString(),
             stop ? QStringLiteral("open") : QStringLiteral("committed"));
    QCOMPARE(transaction.value(QLatin1String("inserts")).toArray().size(), stop ? 2 : 3);
}

void TestUpload::listEditedDuringTheUpload()
{
    for (int i = 0; i < 3; ++i)
        m_lists.appendFile(writeFile(QStringLiteral("f%1.txt").arg(i), "text"));
    m_view.onEvents = [this] {
        m_lists.zap(QStringLiteral("Files"));
    };
    QVERIFY(run());
    QCOMPARE(onlyTransaction().value(QLatin1String("attachments")).toArray().size(), 3);
    QCOMPARE(m_lists.files().size(), 0);
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
    const QString text = m_ui.boxes.first().text;
    QVERIFY2(text.contains(QStringLiteral("Action: Uploading File Attachment\r\nError: ")),
             qPrintable(text));
    QVERIFY2(text.contains(QStringLiteral("Connection refused")), qPrintable(text));
}

// Fields are ended by a TAB: a TAB or line break in a file name or caption becomes a blank,
// and a request whose identifiers hold one is refused before anything is sent.
void TestUpload::valuesTheWireCannotCarry()
{
    m_lists.appendFile(writeFile(QStringLiteral("tab\there.txt"), "text"));
    m_lists.setCaptionOf(QStringLiteral("Files"), 1, QStringLiteral("two\r\nlines"));
    QVERIFY(run());
    const QJsonValue fields = onlyTransaction()[QLatin1String("attachments")][0]["fieldMap"];
    QCOMPARE(fields[QLatin1String("FileName")].toString(), QStringLiteral("tab here.txt"));
    QCOMPARE(fields[QLatin1String("Description")].toString(), QStringLiteral("two  lines"));
    QCOMPARE(fields[QLatin1String("FileSize")].toString(), QStringLiteral("4"));

    TransferRequest request = m_state.request;
    request.WorkerGUID = QStringLiteral("{W-1}\t");
    UploadTransaction refused(request, m_state, m_lists, m_ui, m_view, *m_http);
    QVERIFY(!refused.UploadAttachments());
    QCOMPARE(m_ui.lastText(), QStringLiteral("The request cannot be sent: WorkerGUID holds a tab "
                                             "or a line break."));
    QCOMPARE(m_server->transactions().size(), 1);
}

QTEST_GUILESS_MAIN(TestUpload)
#include "tst_upload.moc"
