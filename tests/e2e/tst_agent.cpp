// The real agent binary, driven over a real WebSocket as a page would drive it.

#include "support/AgentProcess.h"
#include "support/BridgeClient.h"
#include "support/FileContents.h"

#include <QJsonArray>
#include <QTcpServer>
#include <QTest>

using namespace tarnaxe::test;

class TestAgent : public QObject {
    Q_OBJECT

private slots:
    void pageRoad()
    {
        AgentProcess agent;
        QVERIFY2(agent.start(), qPrintable(agent.error()));
        BridgeClient page;
        QVERIFY(page.open(agent.url()));

        const QJsonArray members = page.invoke("$describe")["members"].toArray();
        QCOMPARE(members.size(), 44);
        for (int i = 0; i < members.size(); ++i)
            QCOMPARE(members[i]["slot"].toInt(), i + 1);
        QCOMPARE(members[0]["name"], "Init");
        QCOMPARE(members[43]["name"], "EstimatePath");

        // The pulse runs, but PublishInfo waits for Init.
        QVERIFY(!page.waitForEvent(QStringLiteral("PublishInfo"), 1600));

        QVERIFY(page.call("Init").contains("result"));
        QCOMPARE(page.get("CommandStatus"), "OK");
        QCOMPARE(page.get("Version"), "4.0.6");
        QCOMPARE(page.get("ProcessID").toInteger(), agent.processId());
        QCOMPARE(page.get("TheNameOf", {"Photos", 1}), "<bad photo number>");
        QCOMPARE(page.call("TheNameOf", "get", {"Files", "abc"}).value("error").toObject(),
                 QJsonObject({{"number", 13}, {"description", "Type mismatch"}}));
        QVERIFY(page.waitForEvent(QStringLiteral("PublishInfo"), 3000));

        const QString root = agent.home().cacheHome() + "/FerroClient";
        QVERIFY(QFileInfo(root + "/IEUser1").isDir());
        QCOMPARE(fileContents(root + "/Master.dat"), QByteArray("\x02\x00", 2));

        // By-reference arguments come back with their values after the call.
        const QJsonArray byref =
            page.call("GetBasicEstimateInfo", "method", {"/tmp/x.txt", 0, 0, 0, 0, 0, 0, 0})
                .value("byref")
                .toArray();
        QCOMPARE(byref.size(), 8);
        QCOMPARE(byref[1], "<error>");
        QCOMPARE(byref[5], "");
    }

    // The second page comes from one of the origins the settings allow.
    void secondPageSharesTheProcessState()
    {
        AgentProcess agent("[HostBridge]\nPort=0\n"
                           "AllowedOrigins=https://claims.example https://office.example\n");
        QVERIFY2(agent.start(), qPrintable(agent.error()));
        BridgeClient first;
        BridgeClient second;
        QNetworkRequest office{QUrl(agent.url())};
        office.setRawHeader("Origin", "https://office.example");
        QVERIFY(first.open(agent.url()));
        QVERIFY(second.open(office));
        first.call("ScaleFactor", "put", {64000});
        QCOMPARE(second.get("ScaleFactor"), 64000);
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
        QCOMPARE(other.get("Version"), "4.0.6");
        QCOMPARE(agent.process().state(), QProcess::Running);
    }

    void commandLine_data()
    {
        QTest::addColumn<QString>("option");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QByteArray>("output"); // the start of standard output, or of errors
        QTest::newRow("version") << "--version" << 0 << QByteArray("tarnaxe 4.0.6\n");
        QTest::newRow("help") << "--help" << 0 << QByteArray("Usage: tarnaxe");
        QTest::newRow("unknown") << "--frobnicate" << 2
                                 << QByteArray("tarnaxe: unknown option '--frobnicate'");
    }
    void commandLine()
    {
        QFETCH(QString, option);
        QFETCH(int, exitCode);
        QFETCH(QByteArray, output);
        AgentProcess agent;
        agent.process().setArguments({option});
        agent.process().start();
        QVERIFY(agent.process().waitForFinished(10000));
        QCOMPARE(agent.process().exitCode(), exitCode);
        QVERIFY((exitCode ? agent.process().readAllStandardError()
                          : agent.process().readAllStandardOutput())
                    .startsWith(output));
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
