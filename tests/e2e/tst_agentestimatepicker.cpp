// The estimate dialog from the page's side, through the agent that main() runs: the page
// asks for the estimate of a claim and VIN, the clerk declines and then confirms the newer of
// two matches in the real dialogs, and the estimate goes to the reference server with its
// facts.

#include "Agent.h"
#include "bridge/HostBridge.h"
#include "emswriter/EmsSetBuilder.h"
#include "estimates/AutoAttachDialog.h"
#include "estimates/EMSSelectForm.h"
#include "platform/ProfileFile.h"
#include "support/BridgeClient.h"
#include "support/DataupServer.h"
#include "support/TempHome.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

using namespace tarnaxe;
using namespace tarnaxe::test;

class TestAgentEstimatePicker : public QObject {
    Q_OBJECT

private slots:
    void autoSelectAndSend()
    {
        DataupServer server;
        QVERIFY2(server.start(), qPrintable(server.error()));
        const QString assignment = server.seed();
        TempHome home;
        const QString exports = home.path() + QStringLiteral("/exports");
        QVERIFY(QDir().mkpath(exports));
        const QDateTime start(QDate(2026, 11, 2), QTime(9, 0));
        QString newerMatch;
        for (int i = 1; i <= 20; ++i) {
            emswriter::EmsSetBuilder set(exports, QStringLiteral("%1").arg(i, 4, 10, QChar('0')));
            if (i == 7 || i == 15)
                set.set("CLM_NO", "CLM-77").set("V_VIN", "1HGCM82633A004352");
            if (i % 4 == 0)
                set.set("TRANS_TYPE", "S").set("EST_SYSTEM", "C");
            QVERIFY(set.exportedAt(start.addSecs(i * 3600)).write());
            if (i == 15)
                newerMatch = set.envelopePath();
        }
        const QString ini = home.configHome() + QStringLiteral("/TarnAxe/TarnLocal.ini");
        Agent agent(ini);
        ProfileFile(ini).write(QStringLiteral("LocalSettings"), QStringLiteral("EMSExportPath1"),
                               exports);
        HostBridgeOptions options;
        options.port = 0;
        HostBridge bridge(options, [&agent] { return agent.newIO(); });
        QString error;
        QVERIFY2(bridge.listen(&error), qPrintable(error));
        BridgeClient page;
        QVERIFY(page.open(QStringLiteral("ws://127.0.0.1:%1").arg(bridge.port())));
        page.call(QStringLiteral("Init"));

        const auto result = [&page](const char* member, const QJsonArray& args = {}) -> QJsonValue {
            const char* kind = qstrncmp(member, "The", 3) == 0 ? "get" : "method";
            return page.call(QLatin1String(member), QLatin1String(kind), args)["result"];
        };
        // The clerk declines the first offer and confirms the second, and the notice.
        QStringList seen;
        QTimer clerk;
        connect(&clerk, &QTimer::timeout, this, [&] {
            QWidget* modal = QApplication::activeModalWidget();
            if (auto* offer = qobject_cast<AutoAttachDialog*>(modal)) {
                const QString shots =
                    QDir::currentPath() + QStringLiteral("/test-output/estimates");
                QDir().mkpath(shots);
                offer->parentWidget()->grab().save(shots + QStringLiteral("/ems-estimates.png"));
                seen << offer->windowTitle();
                for (const char* label :
                     {"lblInsCo", "lblClaimNumber", "lblEstDate", "lblAmount", "lblVehicle"})
                    seen << offer->findChild<QLabel*>(QLatin1String(label))->text();
                // Queued: the notice that follows is answered by this same timer.
                QMetaObject::invokeMethod(
                    offer->findChild<QPushButton*>(seen.size() > 6 ? "cmdOK" : "cmdCancel"),
                    &QPushButton::click, Qt::QueuedConnection);
            } else if (auto* box = qobject_cast<QMessageBox*>(modal)) {
                seen << box->text();
                box->button(QMessageBox::Ok)->click();
            }
        });
        clerk.start(50);
        const QJsonArray match{"CLM-77", "1HGCM82633A004352"};
        QCOMPARE(result("AutoSelectEstimate", match), QJsonValue(false));
        QCOMPARE(result("GetFormStatus", {"ESTIMATEPICKER"}), QJsonValue("LOADED"));
        QTRY_COMPARE(seen.size(), 6);
        QObject* picker = agent.context().forms.find(QStringLiteral("frmEMSSelect"));
        result("SelectEstimate");
        const QWidgetList windows = QApplication::topLevelWidgets();
        QCOMPARE(std::count_if(windows.begin(), windows.end(),
                               [](QWidget* w) { return qobject_cast<EMSSelectForm*>(w); }),
                 1);
        QCOMPARE(result("TheCountOf", {"Estimates"}), QJsonValue(0));
        picker->findChild<QPushButton*>(QStringLiteral("cmdCancel"))->click();
        QTRY_COMPARE(result("GetFormStatus", {"ESTIMATEPICKER"}), QJsonValue("UNLOADED"));

        QCOMPARE(result("AutoSelectEstimate", match), QJsonValue(false));
        QTRY_COMPARE(result("TheCountOf", {"Estimates"}), QJsonValue(1));
        const QStringList offer{"Attach This Estimate?", "",         "CLM-77",
                                "Nov 3 2026 12:00 a",    "$1234.56", "07 FORD FOCUS SE"};
        QCOMPARE(seen, offer + offer + QStringList{"Estimate was attached!"});
        QCOMPARE(result("TheNameOf", {"Estimates", 1}), QJsonValue(newerMatch));
        QTRY_COMPARE(result("GetFormStatus", {"ESTIMATEPICKER"}), QJsonValue("UNLOADED"));

        page.events.clear();
        result("MoveFilesToServer", {assignment, "{WORKER-1}", "3", server.hostPort()});
        QCOMPARE(page.statusesUntilFinal().value(1), QStringLiteral("COMPLETE/No Errors"));
        const QJsonArray transactions = server.transactions();
        QCOMPARE(transactions.size(), 1);
        const QJsonObject sent = server.transaction(transactions[0]["guid"].toString());
        QCOMPARE(sent["state"].toString(), QStringLiteral("committed"));
        const QJsonValue fields = sent["attachments"][0]["fieldMap"];
        QCOMPARE((QStringList{fields["PreparseClaimNumber"].toString(),
                              fields["PreparseVehicle"].toString(),
                              fields["PreparseInsured"].toString()}),
                 (QStringList{"CLM-77", "07 FORD FOCUS SE", "SMITH, JOHN"}));
    }
};

QTEST_MAIN(TestAgentEstimatePicker)
#include "tst_agentestimatepicker.moc"
