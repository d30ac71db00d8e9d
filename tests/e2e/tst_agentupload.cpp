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

QJsonValue moveFiles(BridgeClient& page, const QString& assignment, const QString& worker,
                     const QString& server)
{
    return page
        .call(QStringLiteral("MoveFilesToServer"), QStringLiteral("method"),
              {assignment, worker, QStringLiteral("3"), server})
        .value(QLatin1String("result"));
}

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
        page.call(QStringLiteral("Init"));
        for (const char* base : {"0001", "0002", "0003"}) {
            EmsSetBuilder set(agent.home().path(), QLatin1String(base));
            set.style(EmsStyle::Letter).vehicleMemo("REAR QUARTER PANEL");
            QVERIFY(set.write());
            QCOMPARE(page.call(QStringLiteral("ManualSelectEMS"), QStringLiteral("method"),
                               {set.envelopePath()})
                         .value(QLatin1String("result")),
                     QJsonValue(true));
        }

        const QString worker = QStringLiteral("{WORKER-1}");
        QCOMPARE(moveFiles(page, assignment, worker, server.hostPort()), QJsonValue(true));
        QCOMPARE(page.call(QStringLiteral("LastIOStatusID"), QStringLiteral("get"))
                     .value(QLatin1String("result")),
                 QJsonValue(QStringLiteral("BUSY")));
        QVERIFY(page.waitForEvent(QStringLiteral("IOStatus"), 10000)); // BUSY
        QCOMPARE(moveFiles(page, QStringLiteral("{OTHER-CLAIM}"), QStringLiteral("{WORKER-2}"),
                           server.hostPort()),
                 QJsonValue(true));
        QCOMPARE(page.statusesUntilFinal(), QStringList{kComplete});
        moveFiles(page, assignment, worker, server.hostPort());
        QCOMPARE(page.statusesUntilFinal(30000), (QStringList{kBusy, kComplete}));

        const QJsonArray transactions = server.transactions();
        QCOMPARE(transactions.size(), 2);
        for (const QJsonValue& summary : transactions) {
            const QJsonObject transaction =
                server.transaction(summary[QLatin1String("guid")].toString());
            QCOMPARE(transaction[QLatin1String("state")].toString(), QStringLiteral("committed"));
            const QJsonArray inserts = transaction[QLatin1String("attachments")].toArray();
            QCOMPARE(inserts.size(), 3);
            for (const QJsonValue& insert : inserts) {
                QCOMPARE(insert[QLatin1String("kind")].toString(), QStringLiteral("ems"));
                QCOMPARE(insert[QLatin1String("files")].toArray().size(), 7);
                const QJsonValue fields = insert[QLatin1String("fieldMap")];
                QCOMPARE(fields[QLatin1String("AssignmentGUID")].toString(), assignment);
                QCOMPARE(fields[QLatin1String("WorkerGUID")].toString(), worker);
            }
        }
    }
};

QTEST_GUILESS_MAIN(TestAgentUpload)
#include "tst_agentupload.moc"
