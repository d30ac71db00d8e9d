// tarnaxe-ems as the people who support offices run it.

#include "emswriter/EmsSetBuilder.h"
#include "support/TempHome.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;
using namespace tarnaxe::emswriter;

namespace {

struct Run {
    int status = -1;
    QByteArray out;
    QByteArray err;
};

Run runTool(const QStringList& arguments)
{
    QProcess process;
    process.start(QStringLiteral(TARNAXE_EMS_TOOL_PATH), arguments);
    process.waitForFinished(30000);
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardOutput(), process.readAllStandardError()};
}

QJsonObject json(const Run& run)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(run.out, &error);
    if (error.error != QJsonParseError::NoError)
        qWarning() << "not JSON:" << error.errorString() << run.out.left(200);
    return document.object();
}

} // namespace

class TestEmsTool : public QObject {
    Q_OBJECT

private slots:
    void bothNamingStylesGiveTheSameFacts()
    {
        TempHome home;
        const QString letterFolder = home.path() + QStringLiteral("/letter");
        const QString plainFolder = home.path() + QStringLiteral("/plain");
        QVERIFY(QDir().mkpath(letterFolder) && QDir().mkpath(plainFolder));
        EmsSetBuilder letter(letterFolder, QStringLiteral("0001"));
        EmsSetBuilder plain(plainFolder, QStringLiteral("0001"));
        plain.style(EmsStyle::Plain).upperCaseNames();
        QVERIFY(letter.write() && plain.write());

        const Run a =
            runTool({QStringLiteral("info"), letter.envelopePath(), QStringLiteral("--json")});
        const Run b =
            runTool({QStringLiteral("info"), plain.envelopePath(), QStringLiteral("--json")});
        QCOMPARE(a.status, 0);
        QCOMPARE(b.status, 0);
        QJsonObject basicA = json(a).value(QLatin1String("basic")).toObject();
        QJsonObject basicB = json(b).value(QLatin1String("basic")).toObject();
        for (const char* path : {"envelopeFile", "baseName"}) {
            basicA.remove(QLatin1String(path));
            basicB.remove(QLatin1String(path));
        }
        QCOMPARE(basicA, basicB);
        QCOMPARE(basicA.value(QLatin1String("insured")).toString(), QStringLiteral("SMITH, JOHN"));
        QCOMPARE(basicA.value(QLatin1String("creationDate")).toString(),
                 QStringLiteral("03/15/07"));
        const QJsonObject preparseA = json(a).value(QLatin1String("preparse")).toObject();
        QCOMPARE(preparseA, json(b).value(QLatin1String("preparse")).toObject());
        QCOMPARE(preparseA.value(QLatin1String("totalCents")).toInt(), 123456);

        // Both sets have six tables and a vehicle memo; the memo travels under its own row.
        const QJsonArray filesA = json(a).value(QLatin1String("files")).toArray();
        const QJsonArray filesB = json(b).value(QLatin1String("files")).toArray();
        QCOMPARE(filesA.size(), 7);
        QCOMPARE(filesB.size(), 7);
        QCOMPARE(filesA.last().toObject().value(QLatin1String("uploadField")).toString(),
                 QStringLiteral("EMSVehicleMemos"));

        const Run text = runTool({QStringLiteral("info"), plain.envelopePath()});
        QCOMPARE(text.status, 0);
        QVERIFY(text.out.contains("SMITH, JOHN"));
        QVERIFY(text.out.contains("EMSAdministration1"));
    }

    void fieldAndDump()
    {
        TempHome home;
        EmsSetBuilder set(home.path(), QStringLiteral("0002"));
        set.vehicleMemo("REAR QUARTER PANEL");
        QVERIFY(set.write());
        Run run = runTool({QStringLiteral("field"), set.envelopePath(), QStringLiteral("v_vin")});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.out.trimmed(), QByteArray("1FAFP34N97W123456"));

        run = runTool(
            {QStringLiteral("dump"), set.memberPath(EmsMember::Vehicle), QStringLiteral("--json")});
        QCOMPARE(run.status, 0);
        const QJsonObject table = json(run);
        QCOMPARE(table.value(QLatin1String("records")).toInt(), 1);
        const QJsonObject row = table.value(QLatin1String("rows")).toArray().first().toObject();
        QCOMPARE(row.value(QLatin1String("deleted")).toBool(), false);
        QCOMPARE(
            row.value(QLatin1String("values")).toObject().value(QLatin1String("V_MEMO")).toString(),
            QStringLiteral("REAR QUARTER PANEL"));

        run = runTool({QStringLiteral("dump"), set.memberPath(EmsMember::Envelope)});
        QCOMPARE(run.status, 0);
        QVERIFY(run.out.contains("CREATE_DT   [03/15/2007]"));
    }

    void errorsCarryTheReadersText()
    {
        TempHome home;
        EmsSetBuilder set(home.path(), QStringLiteral("0003"));
        set.omit(EmsMember::Administrative1);
        QVERIFY(set.write());
        Run run = runTool({QStringLiteral("info"), set.envelopePath()});
        QCOMPARE(run.status, 1);
        QVERIFY2(run.err.startsWith("tarnaxe-ems: ") &&
                     run.err.trimmed().endsWith(": File Not Found"),
                 run.err.constData());
        QVERIFY(run.out.isEmpty());

        run = runTool({QStringLiteral("field"), set.envelopePath(), QStringLiteral("CLM_NO")});
        QCOMPARE(run.status, 1);

        QFile broken(home.path() + QStringLiteral("/broken.dbf"));
        QVERIFY(broken.open(QIODevice::WriteOnly));
        broken.write(QByteArray(64, '\xf5'));
        broken.close();
        run = runTool({QStringLiteral("dump"), broken.fileName()});
        QCOMPARE(run.status, 1);
        QCOMPARE(run.err, "tarnaxe-ems: " + broken.fileName().toUtf8() +
                              ": Unsupported XBASE file format\n");
    }

    void assignmentWithoutTotalsIsShown()
    {
        TempHome home;
        EmsSetBuilder set(home.path(), QStringLiteral("CL123"));
        set.set("CLM_NO", "CLM-77-1").omit(EmsMember::Totals).omit(EmsMember::ProfileTotals);
        QVERIFY(set.write());
        Run run = runTool({QStringLiteral("info"), set.envelopePath()});
        QCOMPARE(run.status, 0);
        QVERIFY2(run.out.contains("not available: no totals member"), run.out.constData());
        QVERIFY2(run.out.contains("claimNumber          [CLM-77-1]"), run.out.constData());
        run = runTool({QStringLiteral("info"), set.envelopePath(), QStringLiteral("--json")});
        QCOMPARE(run.status, 0);
        const QJsonObject info = QJsonDocument::fromJson(run.out).object();
        QVERIFY(info.value(QLatin1String("basic")).isNull());
        QCOMPARE(info.value(QLatin1String("preparse"))
                     .toObject()
                     .value(QLatin1String("claimNumber"))
                     .toString(),
                 QStringLiteral("CLM-77-1"));
    }

    void commandLine()
    {
        Run run = runTool({QStringLiteral("--help")});
        QCOMPARE(run.status, 0);
        QVERIFY(run.out.startsWith("Usage:"));
        for (const QStringList& args :
             {QStringList{}, QStringList{QStringLiteral("frob")},
              QStringList{QStringLiteral("dump")},
              QStringList{QStringLiteral("field"), QStringLiteral("x.env")},
              QStringList{QStringLiteral("dump"), QStringLiteral("x"), QStringLiteral("--csv")}}) {
            run = runTool(args);
            QCOMPARE(run.status, 2);
            QVERIFY(run.err.contains("Usage:"));
        }
    }
};

QTEST_GUILESS_MAIN(TestEmsTool)
#include "tst_emstool.moc"
