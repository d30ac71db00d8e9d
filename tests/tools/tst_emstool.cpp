// tarnaxe-ems as the people who support offices run it: the facts of a set in either naming
// style, one field, a table's rows, and what it says when it cannot.

#include "emswriter/EmsSetBuilder.h"
#include "support/FileContents.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::emswriter;

namespace {

struct Run {
    int status = -1;
    QByteArray out;
    QByteArray err;
    QJsonObject json() const { return QJsonDocument::fromJson(out).object(); }
};

Run runTool(const QStringList& arguments)
{
    QProcess process;
    process.start(QStringLiteral(TARNAXE_EMS_TOOL_PATH), arguments);
    process.waitForFinished(30000);
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardOutput(), process.readAllStandardError()};
}

} // namespace

class TestEmsTool : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;

private slots:
    void infoInEitherNamingStyle()
    {
        EmsSetBuilder letter(m_dir.filePath("letter"), QStringLiteral("0001"));
        EmsSetBuilder plain(m_dir.filePath("plain"), QStringLiteral("0001"));
        plain.style(EmsStyle::Plain).upperCaseNames();
        QVERIFY(QDir().mkpath(m_dir.filePath("letter")) && QDir().mkpath(m_dir.filePath("plain")));
        QVERIFY(letter.write() && plain.write());
        QJsonObject facts[2];
        for (int i = 0; i < 2; ++i) {
            const Run run = runTool({"info", (i ? plain : letter).envelopePath(), "--json"});
            QCOMPARE(run.status, 0);
            const QJsonObject all = run.json();
            QJsonObject basic = all["basic"].toObject(); // less the paths, which differ
            basic.remove("baseName");
            basic.remove("envelopeFile");
            facts[i] = {{"basic", basic}, {"preparse", all["preparse"]}};
            // Six tables and a vehicle memo, which travels under its own name.
            QCOMPARE(all["files"].toArray().size(), 7);
            QCOMPARE(all["files"][6]["uploadField"].toString(), "EMSVehicleMemos");
        }
        QCOMPARE(facts[0], facts[1]);
        const QJsonObject letterFacts = facts[0];
        QCOMPARE(letterFacts["basic"]["insured"].toString(), "SMITH, JOHN");
        QCOMPARE(letterFacts["basic"]["creationDate"].toString(), "03/15/07");
        QCOMPARE(letterFacts["preparse"]["totalCents"].toInt(), 123456);
        const Run text = runTool({"info", plain.envelopePath()});
        QVERIFY(text.out.contains("SMITH, JOHN") && text.out.contains("EMSAdministration1"));
        // A set without totals still shows what it has.
        QVERIFY(QFile::remove(plain.memberPath(EmsMember::Totals)));
        const Run partial = runTool({"info", plain.envelopePath()});
        QCOMPARE(partial.status, 0);
        QVERIFY2(partial.out.contains("not available: no totals member"), partial.out.data());
    }

    void fieldAndDump()
    {
        EmsSetBuilder set(m_dir.path(), QStringLiteral("0002"));
        QVERIFY(set.vehicleMemo("REAR QUARTER PANEL").write());
        Run run = runTool({"field", set.envelopePath(), "v_vin"});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.out.trimmed(), QByteArray("1FAFP34N97W123456"));
        run = runTool({"dump", set.memberPath(EmsMember::Vehicle), "--json"});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.json()["records"].toInt(), 1);
        QCOMPARE(run.json()["rows"][0]["values"]["V_MEMO"].toString(), "REAR QUARTER PANEL");
        run = runTool({"dump", set.memberPath(EmsMember::Envelope)});
        QVERIFY(run.out.contains("CREATE_DT   [03/15/2007]"));
    }

    void refusals()
    {
        EmsSetBuilder set(m_dir.path(), QStringLiteral("0003"));
        QVERIFY(set.omit(EmsMember::Administrative1).write());
        QVERIFY(test::writeFileContents(m_dir.filePath("broken.dbf"), QByteArray(64, '\xf5')));
        for (const auto& [arguments, status, error] :
             QList<std::tuple<QStringList, int, QByteArray>>{
                 {{"info", m_dir.filePath("0003.env")}, 1, ": File Not Found\n"},
                 {{"dump", m_dir.filePath("broken.dbf")}, 1, ": Unsupported XBASE file format\n"},
                 {{}, 2, "no command given"},
                 {{"frob"}, 2, "unknown command"},
                 {{"field", "x.env"}, 2, "wrong arg"},
                 {{"dump", "x", "--csv"}, 2, "unknown option"}}) {
            const Run run = runTool(arguments);
            QCOMPARE(run.status, status);
            QVERIFY2(run.err.startsWith("tarnaxe-ems: ") && run.err.contains(error),
                     run.err.constData());
            QVERIFY(run.out.isEmpty());
            QCOMPARE(run.err.contains("Usage:"), status == 2);
        }
        QVERIFY(runTool({"--help"}).out.startsWith("Usage:"));
    }
};

QTEST_GUILESS_MAIN(TestEmsTool)
#include "tst_emstool.moc"
