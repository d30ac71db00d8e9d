// The real agent binary, driven over a real WebSocket as a page would drive it.

#include "support/AgentProcess.h"
#include "support/BridgeClient.h"

#include <QFile>
#include <QJsonArray>
#include <QTcpServer>
#include <QTest>

using namespace tarnaxe::test;

namespace {

QJsonObject error13()
{
    return {{QStringLiteral("number"), 13},
            {QStringLiteral("description"), QStringLiteral("Type mismatch")}};
}

} // namespace

class TestAgent : public QObject {
    Q_OBJECT

private slots:
    void pageRoad()
    {
        AgentProcess agent;
        QVERIFY2(agent.start(), qPrintable(agent.error()));
        BridgeClient page;
        QVERIFY(page.open(agent.url()));

        const QJsonObject describe = page.call(QStringLiteral("$describe"));
        const QJsonArray members = describe.value(QLatin1String("result"))
                                       .toObject()
                                       .value(QLatin1String("members"))
                                       .toArray();
        QCOMPARE(members.size(), 44);
        for (int i = 0; i < members.size(); ++i)
            QCOMPARE(members[i].toObject().value(QLatin1String("slot")).toInt(), i + 1);
        QCOMPARE(members[0].toObject().value(QLatin1String("name")).toString(),
                 QStringLiteral("Init"));
        QCOMPARE(members[43].toObject().value(QLatin1String("name")).toString(),
                 QStringLiteral("EstimatePath"));

        // The pulse runs, but PublishInfo waits for Init.
        QVERIFY(!page.waitForEvent(QStringLiteral("PublishInfo"), 1600));

        QVERIFY(page.call(QStringLiteral("Init")).contains(QLatin1String("result")));
        QCOMPARE(page.call(QStringLiteral("CommandStatus"), QStringLiteral("get"))
                     .value(QLatin1String("result"))
                     .toString(),
                 QStringLiteral("OK"));
        QCOMPARE(page.call(QStringLiteral("Version"), QStringLiteral("get"))
                     .value(QLatin1String("result"))
                     .toString(),
                 QStringLiteral("4.0.6"));
        QCOMPARE(page.call(QStringLiteral("ProcessID"), QStringLiteral("get"))
                     .value(QLatin1String("result"))
                     .toInteger(),
                 agent.processId());
        QCOMPARE(page.call(QStringLiteral("TheNameOf"), QStringLiteral("get"),
                           {QStringLiteral("Photos"), 1})
                     .value(QLatin1String("result"))
                     .toString(),
                 QStringLiteral("<bad photo number>"));
        QCOMPARE(page.call(QStringLiteral("TheNameOf"), QStringLiteral("get"),
                           {QStringLiteral("Files"), QStringLiteral("abc")})
                     .value(QLatin1String("error"))
                     .toObject(),
                 error13());
        QVERIFY(page.waitForEvent(QStringLiteral("PublishInfo"), 3000));

        const QString root = agent.home().cacheHome() + QStringLiteral("/FerroClient");
        QVERIFY(QFileInfo(root + QStringLiteral("/IEUser1")).isDir());
        QFile master(root + QStringLiteral("/Master.dat"));
        QVERIFY(master.open(QIODevice::ReadOnly));
        QCOMPARE(master.readAll(), QByteArray("\x02\x00", 2));

        // By-reference arguments come back with their values after the call.
        const QJsonObject info =
            page.call(QStringLiteral("GetBasicEstimateInfo"), QStringLiteral("method"),
                      {QStringLiteral("/tmp/x.txt"), 0, 0, 0, 0, 0, 0, 0});
        const QJsonArray byref = info.value(QLatin1String("byref")).toArray();
        QCOMPARE(byref.size(), 8);
        QCOMPARE(byref[1].toString(), QStringLiteral("<error>"));
        QCOMPARE(byref[5].toString(), QString());
    }

    void secondPageSharesTheProcessState()
    {
        AgentProcess agent;
        QVERIFY2(agent.start(), qPrintable(agent.error()));
        BridgeClient first;
        BridgeClient second;
        QVERIFY(first.open(agent.url()));
        QVERIFY(second.open(agent.url()));
        first.call(QStringLiteral("ScaleFactor"), QStringLiteral("put"), {64000});
        QCOMPARE(second.call(QStringLiteral("ScaleFactor"), QStringLiteral("get"))
                     .value(QLatin1String("result"))
                     .toInt(),
                 64000);
        second.call(QStringLiteral("Init"));
        QVERIFY(second.waitForEvent(QStringLiteral("PublishInfo"), 3000));
        QVERIFY(first.events.isEmpty());
    }

    void droppedPageWithADialogOpenLeavesTheAgentServing()
    {
        AgentProcess agent;
        QVERIFY2(agent.start(), qPrintable(agent.error()));
        {
            BridgeClient page;
            QVERIFY(page.open(agent.url()));
            // SelectFile shows the file dialog and answers only when it is closed.
            page.sendText(R"({"id": 1, "member": "SelectFile"})");
            QVERIFY(page.waitForAnswer(1, 1500).isEmpty());
            page.socket().abort();
        }
        BridgeClient other;
        QVERIFY(other.open(agent.url()));
        QCOMPARE(other.call(QStringLiteral("Version"), QStringLiteral("get"))
                     .value(QLatin1String("result"))
                     .toString(),
                 QStringLiteral("4.0.6"));
        QCOMPARE(agent.process().state(), QProcess::Running);
    }

    void commandLine()
    {
        AgentProcess agent;
        QProcess& process = agent.process();
        process.setArguments({QStringLiteral("--version")});
        process.start();
        QVERIFY(process.waitForFinished(10000));
        QCOMPARE(process.exitCode(), 0);
        QCOMPARE(process.readAllStandardOutput().trimmed(), QByteArray("tarnaxe 4.0.6"));

        process.setArguments({QStringLiteral("--help")});
        process.start();
        QVERIFY(process.waitForFinished(10000));
        QCOMPARE(process.exitCode(), 0);
        QVERIFY(process.readAllStandardOutput().startsWith("Usage: tarnaxe"));

        process.setArguments({QStringLiteral("--frobnicate")});
        process.start();
        QVERIFY(process.waitForFinished(10000));
        QCOMPARE(process.exitCode(), 2);
        QVERIFY(process.readAllStandardError().contains("--frobnicate"));
    }

    void portInUseEndsTheAgent()
    {
        QTcpServer holder;
        QVERIFY(holder.listen(QHostAddress::LocalHost));
        const QByteArray settings =
            "[HostBridge]\nPort=" + QByteArray::number(holder.serverPort()) + "\n";
        AgentProcess agent(settings);
        QVERIFY(!agent.start());
        QCOMPARE(agent.process().exitCode(), 1);
        const QByteArray expected = "tarnaxe: cannot listen: port " +
                                    QByteArray::number(holder.serverPort()) +
                                    " is already in use\n";
        const QByteArray message = agent.error().toUtf8();
        QVERIFY2(message.endsWith(expected), message.constData());
    }
};

QTEST_GUILESS_MAIN(TestAgent)
#include "tst_agent.moc"
