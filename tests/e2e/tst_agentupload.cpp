// The whole upload road through the real agent: a page attaches estimates (and reads one's
// facts back), calls MoveFilesToServer against the real reference server, watches IOStatus.

#include "emswriter/EmsSetBuilder.h"
#include "support/AgentProcess.h"
#include "support/BridgeClient.h"
#include "support/DataupServer.h"

#include <QFile>
#include <QJsonArray>
#include <QTest>

using namespace tarnaxe::test;
using tarnaxe::emswriter::EmsSetBuilder;
using tarnaxe::emswriter::EmsStyle;

namespace {

const QString kBusy = QStringLiteral("BUSY/Save Collected Information");
const QString kComplete = QStringLiteral("COMPLETE/No Errors");

} // namespace

class TestAgentUpload : public QObject {
    Q_OBJECT

private slots:
    // Three estimates go in one transaction. A second call (another tab, a double click)
    // while the upload runs slowly starts nothing, and the running upload files every
    // insert under its own claim and worker. A call made on "COMPLETE" runs, although the
    // finished form is still on screen for a moment.
    void moveFilesToServer()
    {
        DataupServer server;
        QVERIFY2(server.start(), qPrintable(server.error()));
        const QString assignment = server.seed();
        QVERIFY(server.setFaults(R"([{"page": "*", "action": "delay:50", "times": 1000}])"));
        AgentProcess agent;
        QVERIFY2(agent.start(), qPrintable(agent.error()));
        BridgeClient page;
        QVERIFY(page.open(agent.url()));
        page.call("Init");
        // Upper-case plain names, as some platforms write them, for the first; it is read back.
        EmsSetBuilder plain(agent.home().path(), "0001");
        plain.style(EmsStyle::Plain).upperCaseNames().set("V_VIN", "1FAFP34N97W123456");
        QVERIFY(plain.write());
        QCOMPARE(page.invoke("ManualSelectEMS", {plain.envelopePath()}), true);
        QStringList facts; // the fields are blank-padded as the set holds them
        for (const QJsonValue& fact : page.call("GetBasicEstimateInfo", "method",
                                                {plain.envelopePath(), 0, 0, 0, 0, 0, 0, 0})
                                          .value("byref")
                                          .toArray())
            facts << fact.toString().trimmed();
        QCOMPARE(facts.mid(1), (QStringList{"07 FORD FOCUS SE", "12-345678-90", "POL-778899",
                                            "SMITH, JOHN", "EST-0001", "E01", "DOE, JANE"}));
        QCOMPARE(page.invoke("Get_Estimate_Field", {"V_VIN"}), true);
        QCOMPARE(page.get("EstimateField").toString().trimmed(), "1FAFP34N97W123456");
        QCOMPARE(page.invoke("Get_Estimate_Field", {"NO_SUCH"}), false);
        // An empty envelope is not read.
        const QString empty = agent.home().path() + "/empty.env";
        QVERIFY(writeFileContents(empty, {}));
        QCOMPARE(page.invoke("ManualSelectEMS", {empty}), false);
        for (const char* base : {"0002", "0003", "0004"}) {
            EmsSetBuilder set(agent.home().path(), QLatin1String(base));
            set.style(EmsStyle::Letter).vehicleMemo("REAR QUARTER PANEL");
            QVERIFY(set.write());
            // A set that cannot be read is not attached.
            if (base[3] == '4')
                QVERIFY(QFile::remove(set.memberPath(tarnaxe::EmsMember::Vehicle)));
            QCOMPARE(page.invoke("ManualSelectEMS", {set.envelopePath()}), base[3] != '4');
        }
        QCOMPARE(page.get("TheCountOf", {"Estimates"}), 3);
        QCOMPARE(page.get("TheNameOf", {"Estimates", 1}), plain.envelopePath());

        const QJsonArray move{assignment, "{WORKER-1}", "3", server.hostPort()};
        QCOMPARE(page.invoke("MoveFilesToServer", move), true);
        QCOMPARE(page.get("LastIOStatusID"), "BUSY");
        QVERIFY(page.waitForEvent("IOStatus", 10000)); // BUSY
        QCOMPARE(page.invoke("MoveFilesToServer",
                             {"{OTHER-CLAIM}", "{WORKER-2}", "3", server.hostPort()}),
                 true);
        QCOMPARE(page.statusesUntilFinal(), QStringList{kComplete});
        page.invoke("MoveFilesToServer", move);
        QCOMPARE(page.statusesUntilFinal(30000), (QStringList{kBusy, kComplete}));
        // Its progress window has closed; the agent lives on behind the page.
        page.events.clear();
        QVERIFY(page.waitForEvent("PublishInfo", 10000));

        const QJsonArray transactions = server.transactions();
        QCOMPARE(transactions.size(), 2);
        for (const QJsonValue& summary : transactions) {
            const QJsonObject transaction = server.transaction(summary["guid"].toString());
            QCOMPARE(transaction["state"], "committed");
            const QJsonArray inserts = transaction["attachments"].toArray();
            QCOMPARE(inserts.size(), 3);
            for (const QJsonValue& insert : inserts) {
                QCOMPARE(insert["kind"], "ems");
                QCOMPARE(insert["files"].toArray().size(), 7);
                QCOMPARE(insert["fieldMap"]["AssignmentGUID"], assignment);
                QCOMPARE(insert["fieldMap"]["WorkerGUID"], "{WORKER-1}");
            }
        }
    }
};

QTEST_GUILESS_MAIN(TestAgentUpload)
#include "tst_agentupload.moc"
