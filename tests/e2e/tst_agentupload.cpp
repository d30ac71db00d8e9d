// The whole upload road through the real agent: a page attaches estimates, calls
// MoveFilesToServer against the real reference server, and watches IOStatus.

#include "emswriter/EmsSetBuilder.h"
#include "support/AgentProcess.h"
#include "support/BridgeClient.h"
#include "support/DataupServer.h"

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
        for (const char* base : {"0001", "0002", "0003"}) {
            EmsSetBuilder set(agent.home().path(), QLatin1String(base));
            set.style(EmsStyle::Letter).vehicleMemo("REAR QUARTER PANEL");
            QVERIFY(set.write());
            QCOMPARE(page.invoke("ManualSelectEMS", {set.envelopePath()}), true);
        }

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
