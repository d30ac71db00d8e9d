// Assignments and MIE data fetched over HTTP by the transfer form from the reference server
// (or a scripted one where it cannot be made to send a reply): empty data is refused, and the
// clerk's Cancel stops the delivery. Which files each platform gets is shown with a fake
// source in tests/delivery, the pieces' way through the real agent in tests/e2e.

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
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace tarnaxe;

namespace {
const QString kRead = QStringLiteral("Write Assignment to Local Computer");
const QString kReadMie = QStringLiteral("Write MIE estimate to Local Computer");

// A download only tells; a question means a fault, and answering it Yes could loop for ever.
struct TellingUi : test::ScriptedUi {
    MessageAnswer messageBox(const MessageBoxRequest& request) override
    {
        questions += request.buttons != MessageButtons::Ok;
        return questions ? MessageAnswer::Cancel : ScriptedUi::messageBox(request);
    }
    int questions = 0;
};
} // namespace

class TestDownload : public QObject {
    Q_OBJECT

    test::DataupServer m_server;
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<LocalSettings> m_settings;
    SharedState m_state;
    AttachmentLists m_lists;
    TellingUi m_ui;
    test::ManualClock m_clock;

    QString addSlot(int slot, const QString& platform) // the new import folder
    {
        m_settings->EMSImportPath[slot] = m_dir->filePath(QStringLiteral("slot%1").arg(slot));
        m_settings->EMSEstPlatform[slot] = platform;
        QDir().mkpath(m_settings->EMSImportPath[slot]);
        return m_settings->EMSImportPath[slot];
    }
    // The last status and its caption. A server that stops answering fails the run within
    // seconds, not at the test's time-out.
    QString run(const QString& command, const QString& server,
                std::function<void(TransferForm&)> during = {})
    {
        m_state.request.IOCommand = command;
        m_state.request.RemoteServer = server;
        TransferFormContext context{m_state, m_lists, *m_settings, m_ui, {}, {}};
        context.http.inactivityTimeoutMs = 5000;
        context.clock = &m_clock;
        const auto statuses = test::runTransferForm(context, std::move(during), 20000);
        return statuses.isEmpty() ? QString() : statuses.last().join('/');
    }

private slots:
    void initTestCase() { QVERIFY2(m_server.start(), qPrintable(m_server.error())); }
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_settings = std::make_unique<LocalSettings>(m_dir->filePath("TarnLocal.ini"));
        m_settings->EMSEstPlatform.fill(platform_names::notDefined);
        m_state = SharedState();
        m_state.SessionPath = m_dir->filePath(QStringLiteral("session"));
        QVERIFY(QDir().mkpath(m_state.SessionPath));
        m_state.request.AssignmentGUID = m_state.request.EstimateGUID = m_server.seed();
        m_ui = TellingUi();
    }
    void cleanup() { QCOMPARE(m_ui.questions, 0); }

    // The clerk presses Cancel as soon as it shows, while the pieces come in.
    void cancelButtonStopsTheDelivery()
    {
        const QString folder = addSlot(1, platform_names::ccc);
        bool pressed = false;
        QCOMPARE(run("READ", m_server.hostPort(),
                     [&pressed](TransferForm& form) {
                         auto* clerk = new QTimer(&form);
                         connect(clerk, &QTimer::timeout, &form, [&form, &pressed] {
                             auto* cancel = form.findChild<QPushButton*>("cmdCancel");
                             if (cancel->isVisible() && !std::exchange(pressed, true))
                                 cancel->click();
                         });
                         clerk->start(0);
                     }),
                 "ERROR/Error Occurred/" + kRead);
        QVERIFY(pressed && test::folderEntries(folder).isEmpty());
        QCOMPARE(m_ui.boxes.last().title + ": " + m_ui.lastText(),
                 "Transfer Not Complete!: User cancelled the process");
    }

    void emptyDataIsRefused_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("replies"); // the bodies, one a line
        QTest::addColumn<QString>("box");     // title: text
        QTest::newRow("no envelope")
            << "READ"
            << "Status:SUCCESS\tClaimNumber:C\t\nStatus:SUCCESS\tExportSize:0\t"
            << "Cannot Transfer Assignment: No EMS data exists for this assignment.";
        QTest::newRow("no MIE data") << "READMIE"
                                     << "Status:SUCCESS\tExportSize:0\t"
                                     << "Cannot Download: No MIE data exists for this assignment.";
    }
    void emptyDataIsRefused()
    {
        QFETCH(QString, command);
        QFETCH(QString, replies);
        m_settings->MIEDelivery = addSlot(1, platform_names::ccc);
        test::ScriptedHttpServer scripted;
        QVERIFY(scripted.listen());
        QList<test::ScriptedAnswer> answers;
        for (const QString& body : replies.split('\n'))
            answers << test::ScriptedAnswer::reply(200, "OK", body.toLatin1());
        scripted.script(answers);
        QCOMPARE(run(command, scripted.hostPort()),
                 "ERROR/Error Occurred/" + (command == "READ" ? kRead : kReadMie));
        QTEST(m_ui.boxes.last().title + ": " + m_ui.lastText(), "box");
        QCOMPARE(scripted.requests().size(), answers.size());
        QVERIFY(test::folderEntries(m_settings->MIEDelivery).isEmpty());
    }

    void mieData()
    {
        m_settings->MIEDelivery = addSlot(1, platform_names::notDefined);
        m_clock.set(QDateTime(QDate(2024, 3, 15), QTime(10, 0))); // hundredth 3,600,000
        QCOMPARE(run("READMIE", m_server.hostPort()), "COMPLETE/No Errors/" + kReadMie);
        QVERIFY(m_ui.boxes.isEmpty());
        QCOMPARE(test::folderEntries(m_settings->MIEDelivery), QStringList{"3600000.mie"});
        const QByteArray bytes = test::fileContents(m_settings->MIEDelivery + "/3600000.mie");
        QVERIFY(!bytes.isEmpty());
        QVERIFY(m_server
                    .post("/dataup/ReadMIE.asp",
                          "GUID:" + m_state.request.EstimateGUID.toLatin1() + '\t')
                    .endsWith("Export:" + bytes + '\t'));
    }
};

QTEST_MAIN(TestDownload)
#include "tst_download.moc"
