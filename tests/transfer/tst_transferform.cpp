// frmIO driven headless against the reference server, or a scripted one for replies it cannot
// be made to send: captions and statuses, the bar, no closing while it works, one run per form,
// assignments and MIE data fetched, empty data refused, the clerk's Cancel. Which files each
// platform gets is shown in tests/delivery, the pieces' way through the real agent in tests/e2e.

#include "automation/AttachmentLists.h"
#include "automation/SharedState.h"
#include "config/LocalSettings.h"
#include "platform/QtUi.h"
#include "support/DataupServer.h"
#include "support/FileContents.h"
#include "support/ManualClock.h"
#include "support/ScriptedHttpServer.h"
#include "support/ScriptedUi.h"
#include "transfer/TransferForm.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace tarnaxe;
using tarnaxe::test::ScriptedAnswer;

namespace {
const QString kRead = "Write Assignment to Local Computer";
const QString kReadMie = "Write MIE estimate to Local Computer";
} // namespace

class TestTransferForm : public QObject {
    Q_OBJECT

    test::DataupServer m_server;
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<LocalSettings> m_settings;
    SharedState m_state;
    AttachmentLists m_lists;
    test::ScriptedUi m_ui;
    test::ManualClock m_clock;

    QString addSlot(int slot, const QString& platform) // the new import folder
    {
        m_settings->EMSImportPath[slot] = m_dir->filePath(QStringLiteral("slot%1").arg(slot));
        m_settings->EMSEstPlatform[slot] = platform;
        QDir().mkpath(m_settings->EMSImportPath[slot]);
        return m_settings->EMSImportPath[slot];
    }
    // Shows a new form for command and waits until it has unloaded itself; the statuses it
    // sent, each as {status, message, window title}; during runs once, when "BUSY" goes out. A
    // server that stops answering fails the run within seconds, not at the test's time-out.
    QList<QStringList> run(const QString& command, const QString& server = {},
                           std::function<void(TransferForm&)> during = {}, Ui* ui = nullptr)
    {
        m_state.request.IOCommand = command;
        m_state.request.RemoteServer = server;
        TransferFormContext context{m_state, m_lists, *m_settings, ui ? *ui : m_ui, {}, {}};
        context.http.inactivityTimeoutMs = 5000;
        context.clock = &m_clock;
        QPointer<TransferForm> form = new TransferForm(std::move(context));
        QList<QStringList> statuses;
        connect(form, &TransferForm::CurrentStatus, form,
                [&statuses, &form, &during](const QString& status, const QString& message) {
                    statuses << QStringList{status, message, form->windowTitle()};
                    if (status == QLatin1String("BUSY") && during)
                        during(*form);
                });
        form->show();
        if (!QTest::qWaitFor([&form] { return form.isNull(); }, 20000))
            qWarning("the transfer form did not unload");
        return statuses;
    }
    static QList<QStringList> busyThen(const QString& caption, const QString& status,
                                       const QString& message)
    {
        return {{"BUSY", caption, caption}, {status, message, caption}};
    }

private slots:
    void initTestCase() { QVERIFY2(m_server.start(), qPrintable(m_server.error())); }
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_settings = std::make_unique<LocalSettings>(m_dir->filePath("TarnLocal.ini"));
        m_settings->EMSEstPlatform.fill(platform_names::notDefined);
        m_state = SharedState();
        m_state.SessionPath = m_dir->filePath("session");
        QVERIFY(QDir().mkpath(m_state.SessionPath));
        m_state.request.AssignmentGUID = m_state.request.EstimateGUID = m_server.seed();
        m_ui = test::ScriptedUi();
    }
    // The form only tells; a question would be a fault.
    void cleanup()
    {
        for (const MessageBoxRequest& box : m_ui.boxes)
            QCOMPARE(box.buttons, MessageButtons::Ok);
    }

    void uploadRunsOnceAndUnloads()
    {
        int closeRefusals = -1;
        bool cancelLabelHidden = false, barOnlyGrows = false;
        const auto statuses = run("WRITE", m_server.hostPort(), [&](TransferForm& form) {
            // While it works the window stays, with a beep; showing it again runs nothing.
            const int beeps = m_ui.beeps;
            QVERIFY(!form.close());
            closeRefusals = m_ui.beeps - beeps;
            form.hide();
            form.show();
            cancelLabelHidden = form.findChild<QLabel*>("lblCancel")->isHidden();
            form.DrawStatus(80);
            form.DrawStatus(50);
            barOnlyGrows = form.findChild<StatusBox*>("picStatus")->filledPercent() == 80;
        });
        QCOMPARE(statuses, busyThen("Save Collected Information", "COMPLETE", "No Errors"));
        QCOMPARE(closeRefusals, 1);
        QVERIFY(cancelLabelHidden && barOnlyGrows && m_ui.boxes.isEmpty());
        QCOMPARE(m_server.transactions().size(), 1);
    }

    // What a server sends is shown as it is: a link or an image in a reply stays text in the
    // header labels and in the box that reports the failure.
    void serverTextIsPlainText()
    {
        const QByteArray hostile = "<a href=\"http://x\">click</a><img src=x>";
        const QByteArray failure = "Status:FAILED\tErrorMessage:" + hostile + '\t';
        test::ScriptedHttpServer server;
        QVERIFY(server.listen());
        const QByteArray header = "Status:SUCCESS\tClaimNumber:" + hostile +
                                  "\tPolicyNumber:" + hostile + "\tCompanyName:" + hostile + '\t';
        server.script({test::ok(header), test::ok(failure), test::ok(failure)});
        QStringList shown; // "window/label: format" of each label showing the reply's text
        // The begin step's second failure asks whether to resume: look at every window, say No.
        QTimer poll;
        connect(&poll, &QTimer::timeout, [&] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box)
                return;
            poll.stop();
            for (QWidget* window : QApplication::topLevelWidgets()) {
                for (QLabel* label : window->findChildren<QLabel*>()) {
                    if (label->text().contains(QLatin1String("<a href")))
                        shown << window->objectName() + QLatin1Char('/') + label->objectName() +
                                     (label->textFormat() == Qt::PlainText ? ": plain" : ": rich");
                }
            }
            box->button(QMessageBox::No)->click();
        });
        poll.start(20);
        QtUi ui;
        const auto statuses = run("WRITE", server.hostPort(), {}, &ui);
        QCOMPARE(statuses.value(1).value(0), "ERROR");
        shown.sort();
        QCOMPARE(shown, (QStringList{"/qt_msgbox_label: plain", "frmIO/lblClaimNumber: plain",
                                     "frmIO/lblInsCo: plain", "frmIO/lblPolicyNumber: plain"}));
    }

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
                 busyThen(kRead, "ERROR", "Error Occurred"));
        QVERIFY(pressed && test::folderEntries(folder).isEmpty());
        QCOMPARE(m_ui.lastBox(), "Transfer Not Complete!: User cancelled the process");
    }

    // A command it does not know, no slot set up, a reply without data: nothing is written,
    // and the clerk is told why.
    void refusals()
    {
        QCOMPARE(run("DELETE"),
                 (QList<QStringList>{{"ERROR", "Error Occurred", "Interface Error"}}));
        QCOMPARE(m_ui.lastBox(), "Program Error: Invalid I/O Command");
        QCOMPARE(run("READ"), busyThen(kRead, "ERROR", "Error Occurred"));
        QCOMPARE(m_ui.lastText(), "No assignment destinations have been defined in Setup");
        QVERIFY(m_ui.boxes[0].icon == MessageIcon::Critical &&
                m_ui.boxes[1].icon == MessageIcon::Information);
        m_settings->MIEDelivery = addSlot(1, platform_names::ccc);
        for (const auto& [command, caption, replies, box] :
             {std::tuple{"READ", kRead,
                         "Status:SUCCESS\tClaimNumber:C\t\nStatus:SUCCESS\tExportSize:0\t",
                         "Cannot Transfer Assignment: No EMS data exists for this assignment."},
              {"READMIE", kReadMie, "Status:SUCCESS\tExportSize:0\t",
               "Cannot Download: No MIE data exists for this assignment."}}) {
            test::ScriptedHttpServer scripted;
            QVERIFY(scripted.listen());
            QList<ScriptedAnswer> answers;
            for (const QString& body : QString(replies).split('\n'))
                answers << test::ok(body.toLatin1());
            scripted.script(answers);
            QCOMPARE(run(command, scripted.hostPort()),
                     busyThen(caption, "ERROR", "Error Occurred"));
            QCOMPARE(m_ui.lastBox(), box);
            QCOMPARE(scripted.requests().size(), answers.size());
            QVERIFY(test::folderEntries(m_settings->MIEDelivery).isEmpty());
        }
    }

    void mieData()
    {
        m_settings->MIEDelivery = addSlot(1, platform_names::notDefined);
        m_clock.set(QDateTime(QDate(2024, 3, 15), QTime(10, 0))); // hundredth 3,600,000
        // Taken in another case: the next hundredth is waited for.
        QVERIFY(test::writeFileContents(m_settings->MIEDelivery + "/3600000.MIE", "old"));
        QCOMPARE(run("READMIE", m_server.hostPort()), busyThen(kReadMie, "COMPLETE", "No Errors"));
        QVERIFY(m_ui.boxes.isEmpty());
        QCOMPARE(test::folderEntries(m_settings->MIEDelivery),
                 (QStringList{"3600000.MIE", "3600001.mie"}));
        const QByteArray bytes = test::fileContents(m_settings->MIEDelivery + "/3600001.mie");
        QVERIFY(!bytes.isEmpty());
        QVERIFY(m_server
                    .post("/dataup/ReadMIE.asp",
                          "GUID:" + m_state.request.EstimateGUID.toLatin1() + '\t')
                    .endsWith("Export:" + bytes + '\t'));
        m_settings->MIEDelivery += "/3600001.mie"; // a file: nothing can be made in it
        QCOMPARE(run("READMIE", m_server.hostPort()).last()[0], "ERROR");
        QVERIFY(m_ui.lastText().startsWith("Cannot save MIE (" + m_settings->MIEDelivery + '/'));
    }
};

QTEST_MAIN(TestTransferForm)
#include "tst_transferform.moc"
