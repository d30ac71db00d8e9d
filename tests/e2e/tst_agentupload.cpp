// The whole upload road through the real agent: a page attaches estimates, calls
// MoveFilesToServer against the real reference server, and watches IOStatus.

#include "emswriter/EmsSetBuilder.h"
#include "support/AgentProcess.h"
#include "support/BridgeClient.h"
#include "support/DataupServer.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

using namespace tarnaxe::test;
using tarnaxe::emswriter::EmsSetBuilder;
using tarnaxe::emswriter::EmsStyle;

namespace {

// The IOStatus events that arrived, as "STATUS/message", until one that is not "BUSY";
// empty when none came in time.
QStringList statusesUntilFinal(BridgeClient& page, int timeoutMs = 60000)
{
    QStringList statuses;
    const bool finished = QTest::qWaitFor(
        [&] {
            while (!page.events.isEmpty()) {
                const QJsonObject event = page.events.takeFirst();
                if (event.value(QLatin1String("event")).toString() == QLatin1String("IOStatus")) {
                    const QJsonArray args = event.value(QLatin1String("args")).toArray();
                    statuses << args[0].toString() + QLatin1Char('/') + args[1].toString();
                    if (args[0].toString() != QLatin1String("BUSY"))
                        return true;
                }
            }
            return false;
        },
        timeoutMs);
    return finished ? statuses : QStringList();
}

QJsonObject moveFiles(BridgeClient& page, const QString& assignment, const QString& worker,
                      const QString& workerType, const QString& server)
{
    return page.call(QStringLiteral("MoveFilesToServer"), QStringLiteral("method"),
                     {assignment, worker, workerType, server});
}

const QStringList kUploadDone{QStringLiteral("BUSY/Save Collected Information"),
                              QStringLiteral("COMPLETE/No Errors")};

} // namespace

class TestAgentUpload : public QObject {
    Q_OBJECT

private slots:
    void moveFilesToServer()
    {
        DataupServer server;
        QVERIFY2(server.start(), qPrintable(server.error()));
        const QString assignment = server.seed();
        QVERIFY(!assignment.isEmpty());
        AgentProcess agent;
        QVERIFY2(agent.start(), qPrintable(agent.error()));
        const QString folder = agent.home().path() + QStringLiteral("/exports");
        QVERIFY(QDir().mkpath(folder));
        EmsSetBuilder set(folder, QStringLiteral("0001"));
        set.style(EmsStyle::Letter).vehicleMemo("REAR QUARTER PANEL");
        QVERIFY(set.write());

        BridgeClient page;
        QVERIFY(page.open(agent.url()));
        page.call(QStringLiteral("Init"));
        QCOMPARE(page.call(QStringLiteral("ManualSelectEMS"), QStringLiteral("method"),
                           {set.envelopePath()})
                     .value(QLatin1String("result")),
                 QJsonValue(true));
        const QJsonObject started = page.call(
            QStringLiteral("MoveFilesToServer"), QStringLiteral("method"),
            {assignment, QStringLiteral("{WORKER-1}"), QStringLiteral("3"), server.hostPort()});
        QVERIFY2(started.contains(QLatin1String("result")),
                 qPrintable(QJsonDocument(started).toJson()));
        QCOMPARE(page.call(QStringLiteral("LastIOStatusID"), QStringLiteral("get"))
                     .value(QLatin1String("result"))
                     .toString(),
                 QStringLiteral("BUSY"));

        QCOMPARE(statusesUntilFinal(page), kUploadDone);

        const QJsonArray transactions = server.transactions();
        QCOMPARE(transactions.size(), 1);
        const QJsonObject transaction =
            server.transaction(transactions[0].toObject().value(QLatin1String("guid")).toString());
        QCOMPARE(transaction.value(QLatin1String("state")).toString(), QStringLiteral("committed"));
        const QJsonArray attachments = transaction.value(QLatin1String("attachments")).toArray();
        QCOMPARE(attachments.size(), 1);
        const QJsonObject ems = attachments[0].toObject();
        QCOMPARE(ems.value(QLatin1String("kind")).toString(), QStringLiteral("ems"));
        QCOMPARE(ems.value(QLatin1String("fieldMap"))
                     .toObject()
                     .value(QLatin1String("WorkerGUID"))
                     .toString(),
                 QStringLiteral("{WORKER-1}"));
        QCOMPARE(ems.value(QLatin1String("files")).toArray().size(), 7);
    }

    // A second page (or a double click) starts another transfer while one runs: the running
    // upload goes on with its own request, and files nothing under the other claim.
    void secondCallKeepsTheRunningRequest()
    {
        DataupServer server;
        QVERIFY2(server.start(), qPrintable(server.error()));
        const QString assignment = server.seed();
        QVERIFY(server.setFaults(R"([{"page": "*", "action": "delay:100", "times": 1000}])"));
        AgentProcess agent;
        QVERIFY2(agent.start(), qPrintable(agent.error()));
        BridgeClient page;
        QVERIFY(page.open(agent.url()));
        page.call(QStringLiteral("Init"));
        for (const char* base : {"0001", "0002", "0003"}) {
            EmsSetBuilder set(agent.home().path(), QLatin1String(base));
            QVERIFY(set.write());
            QCOMPARE(page.call(QStringLiteral("ManualSelectEMS"), QStringLiteral("method"),
                               {set.envelopePath()})
                         .value(QLatin1String("result")),
                     QJsonValue(true));
        }

        moveFiles(page, assignment, QStringLiteral("{WORKER-1}"), QStringLiteral("3"),
                  server.hostPort());
        QVERIFY(page.waitForEvent(QStringLiteral("IOStatus"), 10000)); // "BUSY"
        QCOMPARE(moveFiles(page, QStringLiteral("{OTHER-CLAIM}"), QStringLiteral("{WORKER-2}"),
                           QStringLiteral("4"), server.hostPort())
                     .value(QLatin1String("result")),
                 QJsonValue(true));
        QCOMPARE(statusesUntilFinal(page), QStringList{kUploadDone.last()});

        const QJsonArray transactions = server.transactions();
        QCOMPARE(transactions.size(), 1);
        const QJsonArray inserts =
            server.transaction(transactions[0].toObject().value(QLatin1String("guid")).toString())
                .value(QLatin1String("attachments"))
                .toArray();
        QCOMPARE(inserts.size(), 3);
        for (const QJsonValue& insert : inserts) {
            const QJsonObject fields =
                insert.toObject().value(QLatin1String("fieldMap")).toObject();
            QCOMPARE(fields.value(QLatin1String("AssignmentGUID")).toString(), assignment);
            QCOMPARE(fields.value(QLatin1String("WorkerGUID")).toString(),
                     QStringLiteral("{WORKER-1}"));
            QCOMPARE(fields.value(QLatin1String("WorkerTypeID")).toString(), QStringLiteral("3"));
        }
    }

    // A page that starts the next transfer as soon as one reports COMPLETE gets it run,
    // although the finished form is still on screen for a moment.
    void nextTransferOnComplete()
    {
        DataupServer server;
        QVERIFY2(server.start(), qPrintable(server.error()));
        const QString assignment = server.seed();
        AgentProcess agent;
        QVERIFY2(agent.start(), qPrintable(agent.error()));
        BridgeClient page;
        QVERIFY(page.open(agent.url()));
        page.call(QStringLiteral("Init"));
        for (int run = 0; run < 2; ++run) {
            moveFiles(page, assignment, QStringLiteral("{WORKER-1}"), QStringLiteral("3"),
                      server.hostPort());
            QCOMPARE(statusesUntilFinal(page, 15000), kUploadDone);
        }
        QCOMPARE(server.transactions().size(), 2);
    }
};

QTEST_GUILESS_MAIN(TestAgentUpload)
#include "tst_agentupload.moc"
