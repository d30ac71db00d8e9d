// The estimate dialog from the page's side, through the agent that main() runs: the page
// asks for the estimate of a claim and VIN, the clerk confirms the newer of two matches in
// the real dialogs, and the estimate goes to the reference server with its facts.

#include "Agent.h"
#include "bridge/HostBridge.h"
#include "emswriter/EmsSetBuilder.h"
#include "estimates/AutoAttachDialog.h"
#include "estimates/EMSSelectForm.h"
#include "platform/ProfileFile.h"
#include "support/BridgeClient.h"
#include "support/DataupServer.h"
#include "support/TempHome.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

using namespace tarnaxe;
using namespace tarnaxe::test;

namespace {

QJsonValue resultOf(const QJsonObject& answer)
{
    return answer.value(QLatin1String("result"));
}

int openPickers()
{
    int count = 0;
    for (QWidget* widget : QApplication::topLevelWidgets())
        count += qobject_cast<EMSSelectForm*>(widget) && widget->isVisible();
    return count;
}

} // namespace

class TestAgentEstimatePicker : public QObject {
    Q_OBJECT

private slots:
    void autoSelectAndSend()
    {
        DataupServer server;
        QVERIFY2(server.start(), qPrintable(server.error()));
        const QString assignment = server.seed();
        TempHome home;
        const QString exports = home.path() + QStringLiteral("/exports");
        QVERIFY(QDir().mkpath(exports));
        const QDateTime start(QDate(2026, 11, 2), QTime(9, 0));
        QString newerMatch;
        for (int i = 1; i <= 20; ++i) {
            emswriter::EmsSetBuilder set(exports, QStringLiteral("%1").arg(i, 4, 10, QChar('0')));
            if (i == 7 || i == 15)
                set.set("CLM_NO", "CLM-77").set("V_VIN", "1HGCM82633A004352");
            if (i % 4 == 0)
                set.set("TRANS_TYPE", "S").set("EST_SYSTEM", "C");
            QVERIFY(set.write());
            QFile envelope(set.envelopePath());
            QVERIFY(envelope.open(QIODevice::ReadWrite));
            envelope.setFileTime(start.addSecs(i * 3600), QFileDevice::FileModificationTime);
            if (i == 15)
                newerMatch = set.envelopePath();
        }
        const QString ini = home.configHome() + QStringLiteral("/TarnAxe/TarnLocal.ini");
        Agent agent(ini);
        ProfileFile(ini).write(QStringLiteral("LocalSettings"), QStringLiteral("EMSExportPath1"),
                               exports);
        HostBridgeOptions options;
        options.port = 0;
        HostBridge bridge(options, [&agent] { return agent.newIO(); });
        QString error;
        QVERIFY2(bridge.listen(&error), qPrintable(error));
        BridgeClient page;
        QVERIFY(page.open(QStringLiteral("ws://127.0.0.1:%1").arg(bridge.port())));
        page.call(QStringLiteral("Init"));

        // The clerk looks at the list, then confirms the offer and the notice.
        QStringList seen;
        QTimer clerk;
        connect(&clerk, &QTimer::timeout, this, [&] {
            QWidget* modal = QApplication::activeModalWidget();
            if (auto* offer = qobject_cast<AutoAttachDialog*>(modal)) {
                const QString shots =
                    QDir::currentPath() + QStringLiteral("/test-output/estimates");
                QDir().mkpath(shots);
                offer->parentWidget()->grab().save(shots + QStringLiteral("/ems-estimates.png"));
                seen << offer->windowTitle()
                     << offer->findChild<QLabel*>(QStringLiteral("lblClaimNumber"))->text()
                     << offer->findChild<QLabel*>(QStringLiteral("lblEstDate"))->text();
                // Queued: the notice that follows is answered by this same timer.
                QMetaObject::invokeMethod(offer->findChild<QPushButton*>(QStringLiteral("cmdOK")),
                                          &QPushButton::click, Qt::QueuedConnection);
            } else if (auto* box = qobject_cast<QMessageBox*>(modal)) {
                seen << box->text();
                box->button(QMessageBox::Ok)->click();
            }
        });
        clerk.start(50);
        QCOMPARE(resultOf(page.call(QStringLiteral("AutoSelectEstimate"), QStringLiteral("method"),
                                    {"CLM-77", "1HGCM82633A004352"})),
                 QJsonValue(false));
        QCOMPARE(resultOf(page.call(QStringLiteral("GetFormStatus"), QStringLiteral("method"),
                                    {"ESTIMATEPICKER"})),
                 QJsonValue(QStringLiteral("LOADED")));
        page.call(QStringLiteral("SelectEstimate"));
        QCOMPARE(openPickers(), 1);

        QTRY_COMPARE_WITH_TIMEOUT(
            resultOf(page.call(QStringLiteral("TheCountOf"), QStringLiteral("get"), {"Estimates"})),
            QJsonValue(1), 10000);
        QCOMPARE(seen, (QStringList{"Attach This Estimate?", "CLM-77", "Nov 3 2026 12:00 a",
                                    "Estimate was attached!"}));
        QCOMPARE(resultOf(page.call(QStringLiteral("TheNameOf"), QStringLiteral("get"),
                                    {"Estimates", 1})),
                 QJsonValue(newerMatch));
        QTRY_COMPARE(resultOf(page.call(QStringLiteral("GetFormStatus"), QStringLiteral("method"),
                                        {"ESTIMATEPICKER"})),
                     QJsonValue(QStringLiteral("UNLOADED")));

        page.events.clear();
        page.call(QStringLiteral("MoveFilesToServer"), QStringLiteral("method"),
                  {assignment, "{WORKER-1}", "3", server.hostPort()});
        QCOMPARE(page.statusesUntilFinal().value(1), QStringLiteral("COMPLETE/No Errors"));
        const QJsonArray transactions = server.transactions();
        QCOMPARE(transactions.size(), 1);
        const QJsonObject sent =
            server.transaction(transactions[0][QLatin1String("guid")].toString());
        QCOMPARE(sent[QLatin1String("state")].toString(), QStringLiteral("committed"));
        const QJsonValue fields = sent[QLatin1String("attachments")][0][QLatin1String("fieldMap")];
        QCOMPARE(fields[QLatin1String("PreparseClaimNumber")].toString(), QStringLiteral("CLM-77"));
        QCOMPARE(fields[QLatin1String("PreparseVehicle")].toString(),
                 QStringLiteral("07 FORD FOCUS SE"));
        QCOMPARE(fields[QLatin1String("PreparseInsured")].toString(),
                 QStringLiteral("SMITH, JOHN"));
    }
};

QTEST_MAIN(TestAgentEstimatePicker)
#include "tst_agentestimatepicker.moc"
