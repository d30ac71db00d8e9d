// Estimates through the real agent: a page attaches an EMS set by its envelope and reads
// its facts back.

#include "emswriter/EmsSetBuilder.h"
#include "support/AgentProcess.h"
#include "support/BridgeClient.h"

#include <QDir>
#include <QJsonArray>
#include <QTest>

using namespace tarnaxe::test;
using namespace tarnaxe::emswriter;

class TestAgentEstimates : public QObject {
    Q_OBJECT

private slots:
    void manualSelectionAndEstimateFacts()
    {
        AgentProcess agent;
        QVERIFY2(agent.start(), qPrintable(agent.error()));
        const QString folder = agent.home().path() + "/exports";
        QVERIFY(QDir().mkpath(folder));
        // Upper-case plain names, as some platforms write them.
        EmsSetBuilder set(folder, "0001");
        set.style(EmsStyle::Plain).upperCaseNames().set("V_VIN", "1FAFP34N97W123456");
        QVERIFY(set.write());

        BridgeClient page;
        QVERIFY(page.open(agent.url()));
        QCOMPARE(page.invoke("ManualSelectEMS", {set.envelopePath()}), true);
        QCOMPARE(page.get("TheCountOf", {"Estimates"}), 1);
        QCOMPARE(page.get("TheNameOf", {"Estimates", 1}), set.envelopePath());

        const QJsonArray byref =
            page.call("GetBasicEstimateInfo", "method", {set.envelopePath(), 0, 0, 0, 0, 0, 0, 0})
                .value("byref")
                .toArray();
        QCOMPARE(byref.size(), 8);
        QCOMPARE(byref[1], "07 FORD FOCUS SE");
        QVERIFY(byref[2].toString().startsWith("12-345678-90"));
        QVERIFY(byref[3].toString().startsWith("POL-778899"));
        QCOMPARE(byref[4], "SMITH, JOHN");
        QVERIFY(byref[5].toString().startsWith("EST-0001"));
        QCOMPARE(byref[6], "E01");
        QCOMPARE(byref[7], "DOE, JANE");

        QCOMPARE(page.invoke("Get_Estimate_Field", {"V_VIN"}), true);
        QCOMPARE(page.get("EstimateField").toString().trimmed(), "1FAFP34N97W123456");
        QCOMPARE(page.invoke("Get_Estimate_Field", {"NO_SUCH"}), false);

        // A set that cannot be read is not attached.
        QVERIFY(QFile::remove(set.memberPath(tarnaxe::EmsMember::Vehicle)));
        QCOMPARE(page.invoke("ManualSelectEMS", {set.envelopePath()}), false);
        QCOMPARE(page.get("TheCountOf", {"Estimates"}), 1);
    }
};

QTEST_GUILESS_MAIN(TestAgentEstimates)
#include "tst_agentestimates.moc"
