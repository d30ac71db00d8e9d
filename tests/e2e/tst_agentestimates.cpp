// Estimates through the real agent: a page attaches an EMS set by its envelope and reads
// its facts back.

#include "emswriter/EmsSetBuilder.h"
#include "support/AgentProcess.h"
#include "support/BridgeClient.h"

#include <QDir>
#include <QJsonArray>
#include <QTest>

using namespace tarnaxe::test;
using namespace tarnaxe::emswriter;

namespace {

QJsonValue result(const QJsonObject& answer)
{
    if (!answer.contains(QLatin1String("result")))
        qWarning() << "answer without a result:" << answer;
    return answer.value(QLatin1String("result"));
}

} // namespace

class TestAgentEstimates : public QObject {
    Q_OBJECT

private slots:
    void manualSelectionAndEstimateFacts()
    {
        AgentProcess agent;
        QVERIFY2(agent.start(), qPrintable(agent.error()));
        const QString folder = agent.home().path() + QStringLiteral("/exports");
        QVERIFY(QDir().mkpath(folder));
        // Upper-case plain names, as some platforms write them.
        EmsSetBuilder set(folder, QStringLiteral("0001"));
        set.style(EmsStyle::Plain).upperCaseNames().set("V_VIN", "1FAFP34N97W123456");
        QVERIFY(set.write());

        BridgeClient page;
        QVERIFY(page.open(agent.url()));
        QCOMPARE(result(page.call(QStringLiteral("ManualSelectEMS"), QStringLiteral("method"),
                                  {set.envelopePath()})),
                 QJsonValue(true));
        QCOMPARE(result(page.call(QStringLiteral("TheCountOf"), QStringLiteral("get"),
                                  {QStringLiteral("Estimates")})),
                 QJsonValue(1));
        QCOMPARE(result(page.call(QStringLiteral("TheNameOf"), QStringLiteral("get"),
                                  {QStringLiteral("Estimates"), 1})),
                 QJsonValue(set.envelopePath()));

        const QJsonObject info =
            page.call(QStringLiteral("GetBasicEstimateInfo"), QStringLiteral("method"),
                      {set.envelopePath(), 0, 0, 0, 0, 0, 0, 0});
        const QJsonArray byref = info.value(QLatin1String("byref")).toArray();
        QCOMPARE(byref.size(), 8);
        QCOMPARE(byref[1].toString(), QStringLiteral("07 FORD FOCUS SE"));
        QVERIFY(byref[2].toString().startsWith(QStringLiteral("12-345678-90")));
        QVERIFY(byref[3].toString().startsWith(QStringLiteral("POL-778899")));
        QCOMPARE(byref[4].toString(), QStringLiteral("SMITH, JOHN"));
        QVERIFY(byref[5].toString().startsWith(QStringLiteral("EST-0001")));
        QCOMPARE(byref[6].toString(), QStringLiteral("E01"));
        QCOMPARE(byref[7].toString(), QStringLiteral("DOE, JANE"));

        QCOMPARE(result(page.call(QStringLiteral("Get_Estimate_Field"), QStringLiteral("method"),
                                  {QStringLiteral("V_VIN")})),
                 QJsonValue(true));
        QCOMPARE(result(page.call(QStringLiteral("EstimateField"), QStringLiteral("get")))
                     .toString()
                     .trimmed(),
                 QStringLiteral("1FAFP34N97W123456"));
        QCOMPARE(result(page.call(QStringLiteral("Get_Estimate_Field"), QStringLiteral("method"),
                                  {QStringLiteral("NO_SUCH")})),
                 QJsonValue(false));

        // A set that cannot be read is not attached.
        QVERIFY(QFile::remove(set.memberPath(tarnaxe::EmsMember::Vehicle)));
        QCOMPARE(result(page.call(QStringLiteral("ManualSelectEMS"), QStringLiteral("method"),
                                  {set.envelopePath()})),
                 QJsonValue(false));
        QCOMPARE(result(page.call(QStringLiteral("TheCountOf"), QStringLiteral("get"),
                                  {QStringLiteral("Estimates")})),
                 QJsonValue(1));
    }
};

QTEST_GUILESS_MAIN(TestAgentEstimates)
#include "tst_agentestimates.moc"
