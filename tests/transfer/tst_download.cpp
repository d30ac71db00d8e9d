// Assignments and MIE data fetched over HTTP by the transfer form from the reference server
// (or a scripted one where it cannot be made to send a reply): the pieces each platform
// receives byte for byte, the statuses and boxes, and the clerk's Cancel. What the delivery
// makes of the pieces is shown with a fake source in tests/delivery.

#include "automation/AttachmentLists.h"
#include "automation/SharedState.h"
#include "config/LocalSettings.h"
#include "support/DataupServer.h"
#include "support/FileContents.h"
#include "support/ManualClock.h"
#include "support/ScriptedHttpServer.h"
#include "support/ScriptedUi.h"
#include "support/TransferFormRun.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonObject>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace tarnaxe;

namespace {
const QString kRead = QStringLiteral("Write Assignment to Local Computer");
const QString kReadMie = QStringLiteral("Write MIE estimate to Local Computer");
const QStringList kFailed = {"ERROR", "Error Occurred"};
} // namespace

class TestDownload : public QObject {
    Q_OBJECT

    test::DataupServer m_server;
    QString m_guid;
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<LocalSettings> m_settings;
    SharedState m_state;
    AttachmentLists m_lists;
    test::ScriptedUi m_ui;
    test::ManualClock m_clock;
    QStringList m_offered; // the selections the clerk was asked about
    bool m_keepChoice = true;

    // Slot n delivers platform into a new folder "slotN"; its path.
    QString addSlot(int slot, const QString& platform)
    {
        const QString folder = m_dir->filePath(QStringLiteral("slot%1").arg(slot));
        QDir().mkpath(folder);
        m_settings->EMSImportPath[slot] = folder;
        m_settings->EMSEstPlatform[slot == 5 ? 6 : slot] = platform; // as setup stores slot 5
        return folder;
    }
    // The statuses, each {status, message, window title}.
    QList<QStringList> run(const QString& command, const QString& server,
                           std::function<void(TransferForm&)> during = {})
    {
        m_state.request.IOCommand = command;
        m_state.request.RemoteServer = server;
        TransferFormContext context{m_state, m_lists, *m_settings, m_ui, {}, {}};
        context.clock = &m_clock;
        context.randomFraction = [] {
            return 0.040213;
        };
        context.chooseFormats = [this](QString& selection) {
            m_offered << selection;
            if (!m_keepChoice)
                selection.clear();
            return m_keepChoice;
        };
        return test::runTransferForm(context, std::move(during));
    }

private slots:
    void initTestCase()
    {
        QVERIFY2(m_server.start(), qPrintable(m_server.error()));
        m_guid = m_server.seed();
        QVERIFY(!m_guid.isEmpty());
    }
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_settings = std::make_unique<LocalSettings>(m_dir->filePath("TarnLocal.ini"));
        for (int slot = 1; slot <= 6; ++slot)
            m_settings->EMSEstPlatform[slot] = platform_names::notDefined;
        m_state = SharedState();
        m_state.SessionPath = m_dir->filePath(QStringLiteral("session"));
        QVERIFY(QDir().mkpath(m_state.SessionPath));
        m_state.request.AssignmentGUID = m_state.request.EstimateGUID = m_guid;
        m_ui = test::ScriptedUi();
        m_offered.clear();
        m_keepChoice = true;
    }

    // The platforms the reference agent's run (tests/e2e) leaves out.
    void eachPlatformGetsItsPieces_data()
    {
        QTest::addColumn<int>("slot");
        QTest::addColumn<QString>("platform");
        QTest::addColumn<QString>("files"); // file=piece ...
        // clang-format off
        QTest::newRow("Audatex") << 2 << platform_names::audatex << "SAMPLE01.ad1=ADP201ad1 "
            "SAMPLE01.ad2=ADP201ad2 SAMPLE01.dbt=ADP201dbt SAMPLE01.env=ADP201env "
            "SAMPLE01.veh=ADP201veh";
        QTest::newRow("Mitchell") << 3 << platform_names::mitchell << "A40213.env=MIT201env "
            "A40213a.ad1=MIT201ad1 A40213a.dbt=MIT201ad1dbt A40213b.ad2=MIT201ad2 "
            "A40213b.dbt=MIT201ad2dbt A40213v.dbt=MIT201vehdbt A40213v.veh=MIT201veh";
        QTest::newRow("Custom #1 in slot 5") << 5 << platform_names::custom1
            << "SAMPLE01.mie=MIEassign";
        // clang-format on
    }
    void eachPlatformGetsItsPieces()
    {
        QFETCH(int, slot);
        QFETCH(QString, platform);
        QFETCH(QString, files);
        const QString folder = addSlot(slot, platform);
        QCOMPARE(run("READ", m_server.hostPort()),
                 (QList<QStringList>{{"BUSY", kRead, kRead}, {"COMPLETE", "No Errors", kRead}}));
        QVERIFY2(m_ui.boxes.isEmpty(), qPrintable(m_ui.lastText()));
        QVERIFY(m_offered.isEmpty());    // one destination: nothing to choose
        QHash<QString, QString> digests; // piece name -> sha256
        for (const auto& piece : m_server.assignment(m_guid).value("pieces").toArray())
            digests.insert(piece.toObject().value("name").toString(),
                           piece.toObject().value("sha256").toString());
        QStringList names;
        for (const QString& file : files.split(' ')) {
            const QStringList nameAndPiece = file.split('=');
            names << nameAndPiece[0];
            QCOMPARE(test::fileSha256(folder + '/' + nameAndPiece[0]), digests[nameAndPiece[1]]);
        }
        QCOMPARE(test::folderEntries(folder), names);
    }

    void cancelledChoiceFetchesNothing()
    {
        const QString first = addSlot(1, platform_names::ccc);
        addSlot(2, platform_names::mitchell);
        m_keepChoice = false;
        QCOMPARE(run("READ", m_server.hostPort()).last(), kFailed + QStringList{kRead});
        QCOMPARE(m_offered, QStringList{"YYNNN"});
        QVERIFY(m_ui.boxes.isEmpty()); // the clerk knows
        QVERIFY(test::folderEntries(first).isEmpty());
        QVERIFY(test::folderEntries(m_state.SessionPath).isEmpty());
    }

    // The clerk presses Cancel as soon as it shows, while the pieces come in.
    void cancelButtonStopsTheDelivery()
    {
        const QString folder = addSlot(1, platform_names::ccc);
        bool pressed = false;
        const auto statuses = run("READ", m_server.hostPort(), [&pressed](TransferForm& form) {
            auto* clerk = new QTimer(&form);
            connect(clerk, &QTimer::timeout, &form, [&form, clerk, &pressed] {
                auto* cancel = form.findChild<QPushButton*>(QStringLiteral("cmdCancel"));
                if (cancel->isVisible() && !pressed) {
                    cancel->click();
                    pressed = true;
                }
            });
            clerk->start(0);
        });
        QVERIFY(pressed);
        QCOMPARE(statuses.last(), kFailed + QStringList{kRead});
        QCOMPARE(m_ui.lastText(), QStringLiteral("User cancelled the process"));
        QCOMPARE(m_ui.boxes.last().title, QStringLiteral("Transfer Not Complete!"));
        QVERIFY(test::folderEntries(folder).isEmpty());
    }

    void emptyDataIsRefused_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("replies"); // the bodies, one a line
        QTest::addColumn<QString>("box");     // title: text
        // clang-format off
        QTest::newRow("assignment without an envelope") << "READ"
            << "Status:SUCCESS\tClaimNumber:C\t\nStatus:SUCCESS\tExportSize:0\t"
            << "Cannot Transfer Assignment: No EMS data exists for this assignment.";
        QTest::newRow("no MIE data") << "READMIE" << "Status:SUCCESS\tExportSize:0\t"
            << "Cannot Download: No MIE data exists for this assignment.";
        // clang-format on
    }
    void emptyDataIsRefused()
    {
        QFETCH(QString, command);
        QFETCH(QString, replies);
        QFETCH(QString, box);
        m_settings->MIEDelivery = addSlot(1, platform_names::ccc);
        test::ScriptedHttpServer scripted;
        QVERIFY(scripted.listen());
        QList<test::ScriptedAnswer> answers;
        for (const QString& body : replies.split('\n'))
            answers << test::ScriptedAnswer::reply(200, "OK", body.toLatin1());
        scripted.script(answers);
        const QString busy = command == "READ" ? kRead : kReadMie;
        QCOMPARE(run(command, scripted.hostPort()).last(), kFailed + QStringList{busy});
        QCOMPARE(m_ui.boxes.last().title + ": " + m_ui.lastText(), box);
        QCOMPARE(scripted.requests().size(), answers.size());
        QVERIFY(test::folderEntries(m_settings->MIEDelivery).isEmpty());
    }

    void mieData()
    {
        m_settings->MIEDelivery = addSlot(1, platform_names::notDefined);
        m_clock.set(QDateTime(QDate(2024, 3, 15), QTime(10, 0))); // hundredth 3,600,000
        QCOMPARE(run("READMIE", m_server.hostPort()),
                 (QList<QStringList>{{"BUSY", kReadMie, kReadMie},
                                     {"COMPLETE", "No Errors", kReadMie}}));
        QVERIFY(m_ui.boxes.isEmpty());
        QCOMPARE(test::folderEntries(m_settings->MIEDelivery), QStringList{"3600000.mie"});
        const QByteArray bytes = test::fileContents(m_settings->MIEDelivery + "/3600000.mie");
        QVERIFY(!bytes.isEmpty());
        QVERIFY(m_server.post("/dataup/ReadMIE.asp", "GUID:" + m_guid.toLatin1() + '\t')
                    .endsWith("Export:" + bytes + '\t'));
    }
};

QTEST_MAIN(TestDownload)
#include "tst_download.moc"
