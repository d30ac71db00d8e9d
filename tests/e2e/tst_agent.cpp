// The real agent binary, driven over a real WebSocket as a page would drive it.

#include "support/AgentProcess.h"
#include "support/BridgeClient.h"

#include <QTcpServer>
#include <QTest>

using namespace tarnaxe::test;

class TestAgent : public QObject {
    Q_OBJECT

private slots:
    // The second page comes from one of the origins the settings allow. PublishInfo goes
    // only to the page that called Init.
    void pagesShareTheProcessState()
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
        QVERIFY(second.call(QStringLiteral("Init")).contains("result"));
        QCOMPARE(second.get("CommandStatus"), "OK");
        QVERIFY(QFileInfo(agent.home().cacheHome() + "/FerroClient/IEUser1").isDir());
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
        QTest::addColumn<QString>("option"); // none: a start on a port another program holds
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QByteArray>("output"); // in standard output, or in the errors
        QTest::newRow("version") << "--version" << 0 << QByteArray("tarnaxe 4.0.6\n");
        QTest::newRow("help") << "--help" << 0 << QByteArray("Usage: tarnaxe");
        QTest::newRow("unknown") << "--frobnicate" << 2
                                 << QByteArray("tarnaxe: unknown option '--frobnicate'");
        QTest::newRow("port in use")
            << QString() << 1 << QByteArray("tarnaxe: cannot listen: port %1 is already in use\n");
    }
    void commandLine()
    {
        QFETCH(QString, option);
        QFETCH(int, exitCode);
        QFETCH(QByteArray, output);
        QTcpServer holder;
        QVERIFY(holder.listen(QHostAddress::LocalHost));
        const QByteArray port = QByteArray::number(holder.serverPort());
        AgentProcess agent("[HostBridge]\nPort=" + port + "\n");
        agent.process().setArguments(option.isEmpty() ? QStringList() : QStringList{option});
        agent.process().start();
        QVERIFY(agent.process().waitForFinished(10000));
        QCOMPARE(agent.process().exitCode(), exitCode);
        const QByteArray got = exitCode ? agent.process().readAllStandardError()
                                        : agent.process().readAllStandardOutput();
        QVERIFY2(got.contains(output.replace("%1", port)), got.constData());
    }
};

QTEST_GUILESS_MAIN(TestAgent)
#include "tst_agent.moc"
