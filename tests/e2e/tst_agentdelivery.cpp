// Assignment delivery from a page's point of view: DeliverAssignment over the bridge,
// IOStatus events, and EMS sets in the import folders that the EMS tool reads back. Once
// with the real agent process and one slot (no dialog), once in process with two slots,
// the format dialog clicked with QTest: cancelled, then confirmed with one box unticked.

#include "support/AgentProcess.h"
#include "support/BridgeClient.h"
#include "support/DataupServer.h"
#include "support/FileContents.h"
#include "support/PageAgent.h"
#include "support/TempHome.h"

#include <QCheckBox>
#include <QDir>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

namespace {

QString emsInfo(const QString& envelope)
{
    QProcess tool;
    tool.start(QStringLiteral(TARNAXE_EMS_TOOL_PATH), {QStringLiteral("info"), envelope});
    if (!tool.waitForFinished(20000))
        return QStringLiteral("(tarnaxe-ems did not finish)");
    return QString::fromUtf8(tool.readAllStandardOutput() + tool.readAllStandardError());
}

const QString kDelivered = QStringLiteral("BUSY/Write Assignment to Local Computer");

} // namespace

class TestAgentDelivery : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY2(m_server.start(), qPrintable(m_server.error()));
        m_guid = m_server.seed();
        QVERIFY(!m_guid.isEmpty());
    }

    void realAgentOneSlot()
    {
        QTemporaryDir imports;
        const QString folder = imports.filePath(QStringLiteral("ccc-import"));
        QVERIFY(QDir().mkpath(folder));
        AgentProcess agent("[HostBridge]\nPort=0\n[LocalSettings]\nEMSEstPlatform1=EMS: CCC\n"
                           "EMSImportPath1=" +
                           folder.toUtf8() + "\n");
        QVERIFY2(agent.start(), qPrintable(agent.error()));
        BridgeClient page;
        QVERIFY(page.open(agent.url()));
        page.call(QStringLiteral("Init"));
        QCOMPARE(page.invoke("DeliverAssignment", {m_guid, m_server.hostPort()}), true);
        QCOMPARE(page.statusesUntilFinal(),
                 (QStringList{kDelivered, QStringLiteral("COMPLETE/No Errors")}));

        QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden, QDir::Name),
                 (QStringList{"SAMPLE01.ad1", "SAMPLE01.ad2", "SAMPLE01.dbt", "SAMPLE01.env",
                              "SAMPLE01.veh"}));
        const QString info = emsInfo(QDir(folder).filePath(QStringLiteral("SAMPLE01.env")));
        QVERIFY2(info.contains(QStringLiteral("CLM-24-000417")), qPrintable(info));
    }

    void inProcessTwoSlotsThroughTheDialog()
    {
        TempHome home;
        const QString ccc = home.path() + "/ccc", mitchell = home.path() + "/mitchell";
        QVERIFY(QDir().mkpath(ccc) && QDir().mkpath(mitchell));
        const QString ini = home.configHome() + "/TarnAxe/TarnLocal.ini";
        QVERIFY(writeFileContents(
            ini, "[LocalSettings]\nEMSEstPlatform1=" + platform_names::ccc.toUtf8() +
                     "\nEMSImportPath1=" + ccc.toUtf8() +
                     "\nEMSEstPlatform2=" + platform_names::mitchell.toUtf8() +
                     "\nEMSImportPath2=" + mitchell.toUtf8() + "\n"));
        PageAgent agent(ini);
        QVERIFY(agent.open());
        // The clerk sees both platforms and cancels, which delivers nothing; then unticks CCC
        // and confirms.
        QStringList offered;
        Clerk clerk([&](QWidget* dialog) {
            if (dialog->objectName() != QLatin1String("frmFormats"))
                return false;
            const auto boxes = dialog->findChildren<QCheckBox*>("chkFormat");
            for (QCheckBox* box : boxes)
                offered << box->text();
            if (offered.size() > 2)
                QTest::mouseClick(boxes.first(), Qt::LeftButton, {},
                                  QPoint(6, boxes.first()->height() / 2));
            QTest::mouseClick(
                dialog->findChild<QPushButton*>(offered.size() > 2 ? "cmdOK" : "cmdCancel"),
                Qt::LeftButton);
            return true;
        });
        BridgeClient& page = agent.page;
        page.call("Init");
        const QJsonArray deliver{m_guid, m_server.hostPort()};
        QCOMPARE(page.invoke("DeliverAssignment", deliver), true);
        QCOMPARE(page.statusesUntilFinal(),
                 (QStringList{kDelivered, QStringLiteral("ERROR/Error Occurred")}));
        QVERIFY(QDir(mitchell).isEmpty());
        QCOMPARE(page.invoke("DeliverAssignment", deliver), true);
        QCOMPARE(page.statusesUntilFinal(),
                 (QStringList{kDelivered, QStringLiteral("COMPLETE/No Errors")}));
        QCOMPARE(offered, QStringList({platform_names::ccc, platform_names::mitchell}) +
                              QStringList({platform_names::ccc, platform_names::mitchell}));
        QVERIFY(QDir(ccc).isEmpty() && clerk.seen.isEmpty());
        QCOMPARE(QDir(mitchell).entryList(QDir::Files | QDir::Hidden).size(), 7);
        const QStringList envelopes = QDir(mitchell).entryList({QStringLiteral("*.env")});
        QVERIFY2(envelopes.size() == 1 &&
                     QRegularExpression("^A\\d{1,6}\\.env$").match(envelopes[0]).hasMatch(),
                 qPrintable(envelopes.join(' ')));
    }

private:
    DataupServer m_server;
    QString m_guid;
};

QTEST_MAIN(TestAgentDelivery)
#include "tst_agentdelivery.moc"
