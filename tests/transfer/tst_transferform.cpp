// frmIO driven headless: the caption and statuses per command, the bar, the refusal to
// close while it works, one run per form, and unloading when done.

#include "automation/AttachmentLists.h"
#include "automation/SharedState.h"
#include "config/LocalSettings.h"
#include "platform/QtUi.h"
#include "support/DataupServer.h"
#include "support/ScriptedHttpServer.h"
#include "support/ScriptedUi.h"
#include "support/TransferFormRun.h"
#include "transfer/TransferForm.h"

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace tarnaxe;
using tarnaxe::test::ScriptedUi;

class TestTransferForm : public QObject {
    Q_OBJECT

private slots:
    void init()
    {
        m_state = SharedState();
        m_ui = ScriptedUi();
    }

    void failingCommands_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("caption"); // empty: the form never got busy
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("title");
        QTest::addColumn<int>("icon");
        const int info = int(MessageIcon::Information);
        QTest::newRow("unknown") << "DELETE" << QString() << "Invalid I/O Command"
                                 << "Program Error" << int(MessageIcon::Critical);
        // No slot is set up; the MIE data cannot be fetched without a server.
        QTest::newRow("READ") << "READ"
                              << "Write Assignment to Local Computer"
                              << "No assignment destinations have been defined in Setup"
                              << "Cannot Transfer Assignment" << info;
        QTest::newRow("READMIE") << "READMIE"
                                 << "Write MIE estimate to Local Computer"
                                 << "Invalid server address"
                                 << "Transfer Not Complete!" << info;
    }

    void failingCommands()
    {
        QFETCH(QString, command);
        QFETCH(QString, caption);
        const auto statuses = runForm(command);
        if (caption.isEmpty())
            QCOMPARE(statuses,
                     (QList<QStringList>{{"ERROR", "Error Occurred", "Interface Error"}}));
        else
            QCOMPARE(statuses, (QList<QStringList>{{"BUSY", caption, caption},
                                                   {"ERROR", "Error Occurred", caption}}));
        QCOMPARE(m_ui.boxes.size(), 1);
        QTEST(m_ui.boxes[0].text, "text");
        QTEST(m_ui.boxes[0].title, "title");
        QTEST(int(m_ui.boxes[0].icon), "icon");
    }

    void uploadRunsOnceAndUnloads()
    {
        test::DataupServer server;
        QVERIFY2(server.start(), qPrintable(server.error()));
        m_state.request.AssignmentGUID = server.seed();
        m_state.request.RemoteServer = server.hostPort();
        m_state.SessionPath = QDir::tempPath();
        int closeRefusals = -1;
        bool cancelLabelHidden = false, barOnlyGrows = false;
        const auto statuses = runForm(QStringLiteral("WRITE"), [&](TransferForm& form) {
            // While it works the window stays, with a beep; showing it again runs nothing.
            const int beeps = m_ui.beeps;
            QVERIFY(!form.close());
            closeRefusals = m_ui.beeps - beeps;
            form.hide();
            form.show();
            cancelLabelHidden = form.findChild<QLabel*>(QStringLiteral("lblCancel"))->isHidden();
            form.DrawStatus(80);
            form.DrawStatus(50);
            barOnlyGrows =
                form.findChild<StatusBox*>(QStringLiteral("picStatus"))->filledPercent() == 80;
        });
        const QString caption = QStringLiteral("Save Collected Information");
        QCOMPARE(statuses, (QList<QStringList>{{"BUSY", caption, caption},
                                               {"COMPLETE", "No Errors", caption}}));
        QCOMPARE(closeRefusals, 1);
        QVERIFY(cancelLabelHidden && barOnlyGrows && m_ui.boxes.isEmpty());
        QCOMPARE(server.transactions().size(), 1);
        QCOMPARE(server.transactions()[0].toObject()["state"].toString(), "committed");
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
        server.script({test::ScriptedAnswer::reply(200, "OK", header),
                       test::ScriptedAnswer::reply(200, "OK", failure),
                       test::ScriptedAnswer::reply(200, "OK", failure)});
        m_state.request.RemoteServer = server.hostPort();
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
        m_state.request.IOCommand = QStringLiteral("WRITE");
        const auto statuses = test::runTransferForm({m_state, m_lists, m_settings, ui, {}, {}});
        QCOMPARE(statuses.value(1).value(0), QStringLiteral("ERROR"));
        shown.sort();
        QCOMPARE(shown, (QStringList{"/qt_msgbox_label: plain", "frmIO/lblClaimNumber: plain",
                                     "frmIO/lblInsCo: plain", "frmIO/lblPolicyNumber: plain"}));
    }

private:
    // Shows a new form for command and waits until it has unloaded; the statuses it sent.
    QList<QStringList> runForm(const QString& command,
                               std::function<void(TransferForm&)> during = {});

    QTemporaryDir m_dir;
    SharedState m_state;
    AttachmentLists m_lists;
    LocalSettings m_settings{m_dir.filePath(QStringLiteral("TarnLocal.ini"))};
    ScriptedUi m_ui;
};

QList<QStringList> TestTransferForm::runForm(const QString& command,
                                             std::function<void(TransferForm&)> during)
{
    m_state.request.IOCommand = command;
    return test::runTransferForm({m_state, m_lists, m_settings, m_ui, {}, {}}, std::move(during),
                                 20000);
}

QTEST_MAIN(TestTransferForm)
#include "tst_transferform.moc"
