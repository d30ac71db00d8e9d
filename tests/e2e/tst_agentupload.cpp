// The whole upload road through the real agent: a page attaches an estimate, calls
// MoveFilesToServer against the real reference server, and watches IOStatus.

#include "support/AgentProcess.h"
#include "support/BridgeClient.h"
#include "support/DataupServer.h"
#include "emswriter/EmsSetBuilder.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

using namespace tarnaxe::test;

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

        QStringList statuses;
        QVERIFY(QTest::qWaitFor(
            [&] {
                while (!page.events.isEmpty()) {
                    const QJsonObject event = page.events.takeFirst();
                    if (event.value(QLatin1String("event")).toString() ==
                        QLatin1String("IOStatus")) {
                        const QJsonArray args = event.value(QLatin1String("args")).toArray();
                        statuses << args[0].toString() + QLatin1Char('/') + args[1].toString();
                    }
                }
                return !statuses.isEmpty() && !statuses.last().startsWith(QLatin1String("BUSY"));
            },
            60000));
        QCOMPARE(statuses, (QStringList{QStringLiteral("BUSY/Save Collected Information"),
                                        QStringLiteral("COMPLETE/No Errors")}));

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
};

QTEST_GUILESS_MAIN(TestAgentUpload)
#include "tst_agentupload.moc"
