// Assignments and MIE data fetched by the transfer form from the real reference server
// and delivered into temporary import folders: the files, their names and bytes, the
// statuses, the boxes, and nothing written when anything fails. A scripted server stands
// in where the reference server cannot be made to send a reply (a hostile base name, an
// empty blob).

#include "automation/AttachmentLists.h"
#include "automation/SharedState.h"
#include "config/LocalSettings.h"
#include "delivery/FormatsDialog.h"
#include "ems/EmsReader.h"
#include "support/DataupServer.h"
#include "support/FileContents.h"
#include "support/ManualClock.h"
#include "support/ScriptedHttpServer.h"
#include "support/ScriptedUi.h"
#include "support/TransferFormRun.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QJsonArray>
#include <QJsonObject>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace tarnaxe;
using tarnaxe::test::DataupServer;
using tarnaxe::test::ScriptedAnswer;
using tarnaxe::test::ScriptedHttpServer;
using tarnaxe::test::ScriptedUi;

namespace {

using WrittenFiles = QList<QPair<QString, QString>>; // written name -> piece name

const QString kBusyRead = QStringLiteral("Write Assignment to Local Computer");
const QString kBusyMie = QStringLiteral("Write MIE estimate to Local Computer");

QByteArray blobReply(const QByteArray& bytes)
{
    return "Status:SUCCESS\tExportSize:" + QByteArray::number(bytes.size()) + "\tExport:" + bytes +
           '\t';
}

} // namespace

class TestDownload : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void oneSlotOfEachPlatform_data();
    void oneSlotOfEachPlatform();
    void allFourShareTheSessionFiles();
    void formatDialogChoosesTheSlots();
    void cancelledChoiceEndsQuietly();
    void missingFolderIsNoDestination();
    void ninthPieceFailsAndNothingIsWritten();
    void cancelDuringTheDownloads();
    void hostileBaseNames_data();
    void hostileBaseNames();
    void emptyEnvelope();
    void mieData();
    void emptyMieData();

private:
    // Slot n delivers platform into a new folder "slotN"; its path.
    QString addSlot(int slot, const QString& platform);
    QList<QStringList> run(const QString& command, const QString& server);
    // The sha256 of each stored piece by name.
    QHash<QString, QString> pieceDigests();

    DataupServer m_server;
    QString m_guid;
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<LocalSettings> m_settings;
    SharedState m_state;
    AttachmentLists m_lists;
    ScriptedUi m_ui;
    test::ManualClock m_clock;
    QStringList m_offered; // selections the chooser was asked about
    std::function<bool(QString&)> m_chooser;
    bool m_realDialog = false;
};

void TestDownload::initTestCase()
{
    QVERIFY2(m_server.start(), qPrintable(m_server.error()));
    m_guid = m_server.seed();
    QVERIFY(!m_guid.isEmpty());
}

void TestDownload::init()
{
    QVERIFY(m_server.clearFaults());
    m_dir = std::make_unique<QTemporaryDir>();
    m_settings = std::make_unique<LocalSettings>(m_dir->filePath(QStringLiteral("TarnLocal.ini")));
    for (int slot = 1; slot <= 6; ++slot)
        m_settings->EMSEstPlatform[slot] = platform_names::notDefined;
    m_state = SharedState();
    m_state.SessionPath = m_dir->filePath(QStringLiteral("session"));
    QVERIFY(QDir().mkpath(m_state.SessionPath));
    m_state.request.AssignmentGUID = m_guid;
    m_state.request.EstimateGUID = m_guid;
    m_ui = ScriptedUi();
    m_offered.clear();
    m_chooser = [](QString&) {
        return true;
    }; // keeps every offered slot
    m_realDialog = false;
}

QString TestDownload::addSlot(int slot, const QString& platform)
{
    const QString folder = m_dir->filePath(QStringLiteral("slot%1").arg(slot));
    QDir().mkpath(folder);
    m_settings->EMSImportPath[slot] = folder;
    // Slot 5 takes its platform from the sixth name, as setup stores it.
    m_settings->EMSEstPlatform[slot == 5 ? 6 : slot] = platform;
    return folder;
}

QList<QStringList> TestDownload::run(const QString& command, const QString& server)
{
    m_state.request.IOCommand = command;
    m_state.request.RemoteServer = server;
    TransferFormContext context{m_state, m_lists, *m_settings, m_ui, {}, {}};
    context.clock = &m_clock;
    context.randomFraction = [] {
        return 0.040213;
    };
    if (!m_realDialog) {
        context.chooseFormats = [this](QString& selection) {
            m_offered << selection;
            return m_chooser(selection);
        };
    }
    return test::runTransferForm(context);
}

QHash<QString, QString> TestDownload::pieceDigests()
{
    QHash<QString, QString> digests;
    const QJsonArray pieces = m_server.assignment(m_guid).value(QLatin1String("pieces")).toArray();
    for (const auto& piece : pieces) {
        const QJsonObject object = piece.toObject();
        digests.insert(object.value(QLatin1String("name")).toString(),
                       object.value(QLatin1String("sha256")).toString());
    }
    return digests;
}

void TestDownload::oneSlotOfEachPlatform_data()
{
    QTest::addColumn<int>("slot");
    QTest::addColumn<QString>("platform");
    QTest::addColumn<WrittenFiles>("files");
    using Files = WrittenFiles;
    QTest::newRow("CCC") << 1 << platform_names::ccc
                         << Files{{"SAMPLE01.ad1", "CCC201ad1"},
                                  {"SAMPLE01.ad2", "CCC201ad2"},
                                  {"SAMPLE01.dbt", "CCC201dbt"},
                                  {"SAMPLE01.env", "CCC201env"},
                                  {"SAMPLE01.veh", "CCC201veh"}};
    QTest::newRow("Audatex") << 2 << platform_names::audatex
                             << Files{{"SAMPLE01.ad1", "ADP201ad1"},
                                      {"SAMPLE01.ad2", "ADP201ad2"},
                                      {"SAMPLE01.dbt", "ADP201dbt"},
                                      {"SAMPLE01.env", "ADP201env"},
                                      {"SAMPLE01.veh", "ADP201veh"}};
    QTest::newRow("Mitchell") << 3 << platform_names::mitchell
                              << Files{{"A40213.env", "MIT201env"},
                                       {"A40213a.ad1", "MIT201ad1"},
                                       {"A40213a.dbt", "MIT201ad1dbt"},
                                       {"A40213b.ad2", "MIT201ad2"},
                                       {"A40213b.dbt", "MIT201ad2dbt"},
                                       {"A40213v.dbt", "MIT201vehdbt"},
                                       {"A40213v.veh", "MIT201veh"}};
    QTest::newRow("Custom #1 in slot 5")
        << 5 << platform_names::custom1 << Files{{"SAMPLE01.mie", "MIEassign"}};
}

void TestDownload::oneSlotOfEachPlatform()
{
    QFETCH(int, slot);
    QFETCH(QString, platform);
    QFETCH(WrittenFiles, files);
    const QString folder = addSlot(slot, platform);

    const auto statuses = run(QStringLiteral("READ"), m_server.hostPort());
    QCOMPARE(statuses, (QList<QStringList>{{"BUSY", kBusyRead, kBusyRead},
                                           {"COMPLETE", "No Errors", kBusyRead}}));
    QVERIFY2(m_ui.boxes.isEmpty(), qPrintable(m_ui.lastText()));
    QVERIFY(m_offered.isEmpty()); // one destination: nothing to choose
    QStringList names;
    for (const auto& file : files)
        names << file.first;
    QCOMPARE(test::folderEntries(folder), names);
    const auto digests = pieceDigests();
    for (const auto& [name, piece] : files)
        QCOMPARE(test::fileSha256(QDir(folder).filePath(name)), digests.value(piece));
    // What lands is a set the estimating programs (and our own reader) can open.
    for (const auto& [name, piece] : files) {
        if (!name.endsWith(QLatin1String(".env")))
            continue;
        EmsReader reader;
        Variant claim;
        QVERIFY2(reader.readField(QDir(folder).filePath(name), QStringLiteral("CLM_NO"), claim),
                 qPrintable(reader.lastError()));
        QCOMPARE(claim.toText().trimmed(), QStringLiteral("CLM-24-000417")); // fixed width
    }
}

void TestDownload::allFourShareTheSessionFiles()
{
    const QString mitchell = addSlot(1, platform_names::mitchell);
    const QString audatex = addSlot(2, platform_names::audatex);
    const QString ccc = addSlot(3, platform_names::ccc);
    const QString custom = addSlot(5, platform_names::custom1);

    const auto statuses = run(QStringLiteral("READ"), m_server.hostPort());
    QCOMPARE(statuses.last(), (QStringList{"COMPLETE", "No Errors", kBusyRead}));
    QCOMPARE(m_offered, QStringList{QStringLiteral("YYYNY")});
    const auto d = pieceDigests();
    // The three platforms download into the same session files; CCC comes last, so its
    // pieces are what every writer copies where the names are shared.
    auto in = [](const QString& folder, const char* name) {
        return test::fileSha256(QDir(folder).filePath(QLatin1String(name)));
    };
    QCOMPARE(in(mitchell, "A40213.env"), d["CCC201env"]);
    QCOMPARE(in(mitchell, "A40213a.ad1"), d["CCC201ad1"]);
    QCOMPARE(in(mitchell, "A40213v.veh"), d["CCC201veh"]);
    QCOMPARE(in(mitchell, "A40213a.dbt"), d["MIT201ad1dbt"]); // its own session name
    QCOMPARE(in(audatex, "SAMPLE01.env"), d["CCC201env"]);
    QCOMPARE(in(audatex, "SAMPLE01.dbt"), d["CCC201dbt"]);
    QCOMPARE(in(ccc, "SAMPLE01.ad2"), d["CCC201ad2"]);
    QCOMPARE(in(custom, "SAMPLE01.mie"), d["MIEassign"]);
    QVERIFY(d["CCC201env"] != d["MIT201env"]); // else the check above proves nothing
    QCOMPARE(test::folderEntries(mitchell).size(), 7);
    QCOMPARE(test::folderEntries(audatex).size(), 5);
    QCOMPARE(test::folderEntries(ccc).size(), 5);
    QCOMPARE(test::folderEntries(custom).size(), 1);
}

void TestDownload::formatDialogChoosesTheSlots()
{
    const QString first = addSlot(1, platform_names::ccc);
    const QString second = addSlot(2, platform_names::audatex);
    m_realDialog = true;
    QString seen;
    QTimer driver;
    connect(&driver, &QTimer::timeout, this, [&] {
        auto* dialog = qobject_cast<FormatsDialog*>(QApplication::activeModalWidget());
        if (!dialog || !seen.isEmpty())
            return;
        for (QCheckBox* box : dialog->boxes())
            seen += box->text() + QLatin1Char(';');
        QCheckBox* box = dialog->boxes().first();
        QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(6, box->height() / 2));
        QTest::mouseClick(dialog->findChild<QPushButton*>(QStringLiteral("cmdOK")), Qt::LeftButton);
    });
    driver.start(20);
    const auto statuses = run(QStringLiteral("READ"), m_server.hostPort());
    QCOMPARE(seen, QStringLiteral("EMS: CCC;EMS: Audatex;"));
    QCOMPARE(statuses.last(), (QStringList{"COMPLETE", "No Errors", kBusyRead}));
    QCOMPARE(m_state.FormatSelection, QStringLiteral("NYNNN"));
    QVERIFY(test::folderEntries(first).isEmpty());
    QCOMPARE(test::folderEntries(second).size(), 5);
}

void TestDownload::cancelledChoiceEndsQuietly()
{
    const QString first = addSlot(1, platform_names::ccc);
    addSlot(2, platform_names::mitchell);
    m_chooser = [](QString& selection) {
        selection.clear();
        return false;
    };
    const auto statuses = run(QStringLiteral("READ"), m_server.hostPort());
    QCOMPARE(statuses.last(), (QStringList{"ERROR", "Error Occurred", kBusyRead}));
    QVERIFY(m_ui.boxes.isEmpty());
    QVERIFY(test::folderEntries(first).isEmpty());
    QVERIFY(test::folderEntries(m_state.SessionPath).isEmpty()); // nothing was fetched
}

void TestDownload::missingFolderIsNoDestination()
{
    const QString folder = addSlot(1, platform_names::ccc);
    QVERIFY(QDir(folder).removeRecursively());
    const auto statuses = run(QStringLiteral("READ"), m_server.hostPort());
    QCOMPARE(statuses.last(), (QStringList{"ERROR", "Error Occurred", kBusyRead}));
    QCOMPARE(m_ui.lastText(),
             QStringLiteral("No assignment destinations have been defined in Setup"));
    QCOMPARE(m_ui.boxes.last().title, QStringLiteral("Cannot Transfer Assignment"));
    QVERIFY(!QFileInfo::exists(folder));
}

void TestDownload::ninthPieceFailsAndNothingIsWritten()
{
    const QStringList folders{addSlot(1, platform_names::mitchell),
                              addSlot(2, platform_names::audatex), addSlot(3, platform_names::ccc)};
    QVERIFY(m_server.setFaults(R"([{"page": "/dataup/ReadAssignmentEMS.asp", "after": 8,
                                    "times": 1, "action": "http500"}])"));
    const auto statuses = run(QStringLiteral("READ"), m_server.hostPort());
    QCOMPARE(statuses.last(), (QStringList{"ERROR", "Error Occurred", kBusyRead}));
    QCOMPARE(m_ui.boxes.size(), 1);
    QCOMPARE(m_ui.lastText(), QStringLiteral("HTTP 500 Internal Server Error"));
    QCOMPARE(m_ui.boxes.last().title, QStringLiteral("Transfer Not Complete!"));
    QCOMPARE(m_ui.boxes.last().icon, MessageIcon::Information);
    for (const QString& folder : folders)
        QVERIFY2(test::folderEntries(folder).isEmpty(),
                 qPrintable(test::folderEntries(folder).join(' ')));
}

void TestDownload::cancelDuringTheDownloads()
{
    const QString folder = addSlot(1, platform_names::ccc);
    // The second piece takes a while, long enough for the clerk's click.
    QVERIFY(m_server.setFaults(R"([{"page": "/dataup/ReadAssignmentEMS.asp", "after": 1,
                                    "times": 1, "action": "delay:400"}])"));
    m_state.request.IOCommand = QStringLiteral("READ");
    m_state.request.RemoteServer = m_server.hostPort();
    bool cancelShown = false;
    const auto statuses = test::runTransferForm(
        {m_state, m_lists, *m_settings, m_ui, {}, {}}, [&](TransferForm& form) {
            QTimer::singleShot(200, &form, [&form, &cancelShown] {
                auto* cancel = form.findChild<QPushButton*>(QStringLiteral("cmdCancel"));
                cancelShown = cancel->isVisible();
                QTest::mouseClick(cancel, Qt::LeftButton);
            });
        });
    QVERIFY(cancelShown);
    QCOMPARE(statuses.last(), (QStringList{"ERROR", "Error Occurred", kBusyRead}));
    QCOMPARE(m_ui.lastText(), QStringLiteral("User cancelled the process"));
    QCOMPARE(m_ui.boxes.last().title, QStringLiteral("Transfer Not Complete!"));
    QVERIFY(test::folderEntries(folder).isEmpty());
}

void TestDownload::hostileBaseNames_data()
{
    QTest::addColumn<QByteArray>("base");
    QTest::addColumn<QString>("reason");
    QTest::newRow("parent") << QByteArray("../x")
                            << "The server's base name holds a path separator: \"../x\"";
    QTest::newRow("subfolder") << QByteArray("a/b")
                               << "The server's base name holds a path separator: \"a/b\"";
    QTest::newRow("300 characters")
        << QByteArray(300, 'A')
        << "The server's base name is longer than 64 characters: \"" + QString(64, 'A') + "...\"";
}

void TestDownload::hostileBaseNames()
{
    QFETCH(QByteArray, base);
    QFETCH(QString, reason);
    const QString folder = addSlot(1, platform_names::ccc);
    ScriptedHttpServer scripted;
    QVERIFY(scripted.listen());
    auto ok = [](const QByteArray& body) {
        return ScriptedAnswer::reply(200, "OK", body);
    };
    QList<ScriptedAnswer> answers{
        ok("Status:SUCCESS\tClaimNumber:C\tPolicyNumber:P\tCompanyName:I\t"),
        ok(blobReply("envelope"))};
    for (int piece = 0; piece < 5; ++piece)
        answers << ok(blobReply("piece " + QByteArray::number(piece)));
    answers << ok("Status:SUCCESS\tBasename:" + base + '\t');
    scripted.script(answers);

    const auto statuses = run(QStringLiteral("READ"), scripted.hostPort());
    QCOMPARE(statuses.last(), (QStringList{"ERROR", "Error Occurred", kBusyRead}));
    QCOMPARE(m_ui.lastText(), QStringLiteral("Writing CCC assignment\r\n\r\nError: ") + reason +
                                  QStringLiteral("\r\n"));
    QVERIFY(test::folderEntries(folder).isEmpty());
    QCOMPARE(test::folderEntries(m_dir->path()),
             (QStringList{"session", "slot1"})); // nothing beside it either
}

void TestDownload::emptyEnvelope()
{
    addSlot(1, platform_names::ccc);
    ScriptedHttpServer scripted;
    QVERIFY(scripted.listen());
    scripted.script({ScriptedAnswer::reply(200, "OK", "Status:SUCCESS\tClaimNumber:C\t"),
                     ScriptedAnswer::reply(200, "OK", "Status:SUCCESS\tExportSize:0\t")});
    const auto statuses = run(QStringLiteral("READ"), scripted.hostPort());
    QCOMPARE(statuses.last(), (QStringList{"ERROR", "Error Occurred", kBusyRead}));
    QCOMPARE(m_ui.lastText(), QStringLiteral("No EMS data exists for this assignment."));
    QCOMPARE(m_ui.boxes.last().title, QStringLiteral("Cannot Transfer Assignment"));
    QCOMPARE(scripted.requests().size(), 2);
}

void TestDownload::mieData()
{
    const QString folder = m_dir->filePath(QStringLiteral("mie-in"));
    QVERIFY(QDir().mkpath(folder));
    m_settings->MIEDelivery = folder;
    // 10:00:00.00 is hundredth 3,600,000; the clock stands still, so the second download
    // in the same hundredth must wait for the next one.
    m_clock.set(QDateTime(QDate(2024, 3, 15), QTime(10, 0)));
    for (int i = 0; i < 2; ++i) {
        const auto statuses = run(QStringLiteral("READMIE"), m_server.hostPort());
        QCOMPARE(statuses, (QList<QStringList>{{"BUSY", kBusyMie, kBusyMie},
                                               {"COMPLETE", "No Errors", kBusyMie}}));
    }
    QVERIFY(m_ui.boxes.isEmpty());
    QCOMPARE(test::folderEntries(folder), (QStringList{"3600000.mie", "3600001.mie"}));
    QVERIFY(m_clock.slept() > 0);
    int status = 0;
    const QByteArray reply =
        m_server.post("/dataup/ReadMIE.asp", "GUID:" + m_guid.toLatin1() + '\t', &status);
    QCOMPARE(status, 200);
    QFile saved(QDir(folder).filePath(QStringLiteral("3600001.mie")));
    QVERIFY(saved.open(QIODevice::ReadOnly));
    const QByteArray bytes = saved.readAll();
    QVERIFY(bytes.size() > 0);
    QVERIFY(reply.endsWith("Export:" + bytes + '\t'));
}

void TestDownload::emptyMieData()
{
    const QString folder = m_dir->filePath(QStringLiteral("mie-in"));
    QVERIFY(QDir().mkpath(folder));
    m_settings->MIEDelivery = folder;
    ScriptedHttpServer scripted;
    QVERIFY(scripted.listen());
    scripted.script({ScriptedAnswer::reply(200, "OK", "Status:SUCCESS\tExportSize:0\t")});
    const auto statuses = run(QStringLiteral("READMIE"), scripted.hostPort());
    QCOMPARE(statuses.last(), (QStringList{"ERROR", "Error Occurred", kBusyMie}));
    QCOMPARE(m_ui.lastText(), QStringLiteral("No MIE data exists for this assignment."));
    QCOMPARE(m_ui.boxes.last().title, QStringLiteral("Cannot Download"));
    QVERIFY(test::folderEntries(folder).isEmpty());
}

QTEST_MAIN(TestDownload)
#include "tst_download.moc"
