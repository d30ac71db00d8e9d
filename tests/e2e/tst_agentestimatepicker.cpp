// The estimate dialog from the page's side, through the agent that main() runs: the page
// asks for the estimate of a claim and VIN, and the clerk declines and then confirms the
// newer of two matches in the real dialogs. (Sending it is e2e.tst_agentupload's road.)

#include "emswriter/EmsSetBuilder.h"
#include "estimates/AutoAttachDialog.h"
#include "estimates/EMSSelectForm.h"
#include "platform/ProfileFile.h"
#include "support/PageAgent.h"
#include "support/TempHome.h"

#include <QDir>
#include <QLabel>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

class TestAgentEstimatePicker : public QObject {
    Q_OBJECT

private slots:
    void autoSelect()
    {
        TempHome home;
        const QString exports = home.path() + "/exports";
        QVERIFY(QDir().mkpath(exports));
        const QDateTime start(QDate(2026, 11, 2), QTime(9, 0));
        QString newerMatch;
        for (int i = 1; i <= 20; ++i) {
            emswriter::EmsSetBuilder set(exports, QStringLiteral("%1").arg(i, 4, 10, QChar('0')));
            if (i == 7 || i == 15 || i == 18) // the newest has the claim, not the VIN
                set.set("CLM_NO", "CLM-77").set("V_VIN", i == 18 ? "2FAFP" : "1HGCM82633A004352");
            if (i % 4 == 0)
                set.set("TRANS_TYPE", "S").set("EST_SYSTEM", "C");
            QVERIFY(set.exportedAt(start.addSecs(i * 3600)).write());
            if (i == 15)
                newerMatch = set.envelopePath();
        }
        const QString ini = home.configHome() + "/TarnAxe/TarnLocal.ini";
        ProfileFile(ini).write("LocalSettings", "EMSExportPath1", exports);
        PageAgent agent(ini);
        QVERIFY(agent.open());
        BridgeClient& page = agent.page;
        page.call("Init");

        // The clerk declines the first offer and confirms the second, and the notice.
        Clerk clerk([&](QWidget* modal) {
            auto* offer = qobject_cast<AutoAttachDialog*>(modal);
            if (!offer)
                return false;
            saveShot(offer->parentWidget(), "estimates/ems-estimates.png");
            clerk.seen << offer->windowTitle();
            for (const char* label :
                 {"lblInsCo", "lblClaimNumber", "lblEstDate", "lblAmount", "lblVehicle"})
                clerk.seen << offer->findChild<QLabel*>(QLatin1String(label))->text();
            // Queued: the notice that follows is answered by this same clerk.
            QMetaObject::invokeMethod(
                offer->findChild<QPushButton*>(clerk.seen.size() > 6 ? "cmdOK" : "cmdCancel"),
                &QPushButton::click, Qt::QueuedConnection);
            return true;
        });
        const QJsonArray match{"CLM-77", "1HGCM82633A004352"};
        QCOMPARE(page.invoke("AutoSelectEstimate", match), false);
        QCOMPARE(page.invoke("GetFormStatus", {"ESTIMATEPICKER"}), "LOADED");
        QTRY_COMPARE(clerk.seen.size(), 6);
        QObject* picker = agent.agent.context().forms.find("frmEMSSelect");
        page.invoke("SelectEstimate");
        const QWidgetList windows = QApplication::topLevelWidgets();
        QCOMPARE(std::count_if(windows.begin(), windows.end(),
                               [](QWidget* w) { return qobject_cast<EMSSelectForm*>(w); }),
                 1);
        QCOMPARE(page.get("TheCountOf", {"Estimates"}), 0);
        picker->findChild<QPushButton*>("cmdCancel")->click();
        QTRY_COMPARE(page.invoke("GetFormStatus", {"ESTIMATEPICKER"}), "UNLOADED");

        QCOMPARE(page.invoke("AutoSelectEstimate", match), false);
        QTRY_COMPARE(page.get("TheCountOf", {"Estimates"}), 1);
        const QStringList offer{"Attach This Estimate?", "",         "CLM-77",
                                "Nov 3 2026 12:00 a",    "$1234.56", "07 FORD FOCUS SE"};
        QCOMPARE(clerk.seen, offer + offer + QStringList{"Estimate was attached!"});
        QCOMPARE(page.get("TheNameOf", {"Estimates", 1}), newerMatch);
        QTRY_COMPARE(page.invoke("GetFormStatus", {"ESTIMATEPICKER"}), "UNLOADED");
    }
};

QTEST_MAIN(TestAgentEstimatePicker)
#include "tst_agentestimatepicker.moc"
