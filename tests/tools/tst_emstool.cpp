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
    QByteArray out, err;
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
    void infoFieldAndDump()
    {
        EmsSetBuilder letter(m_dir.filePath("letter"), QStringLiteral("0001"));
        EmsSetBuilder plain(m_dir.filePath("plain"), QStringLiteral("0001"));
        plain.style(EmsStyle::Plain).upperCaseNames();
        QVERIFY(QDir().mkpath(m_dir.filePath("letter")) && QDir().mkpath(m_dir.filePath("plain")));
        QVERIFY(letter.vehicleMemo("REAR QUARTER PANEL").write() && plain.write());
        // The same facts in either naming style, less the paths, which differ.
        QJsonObject facts[2];
        for (int i = 0; i < 2; ++i) {
            const QJsonObject all =
                runTool({"info", (i ? plain : letter).envelopePath(), "--json"}).json();
            QJsonObject basic = all["basic"].toObject();
            basic.remove("baseName");
            basic.remove("envelopeFile");
            facts[i] = {{"basic", basic}, {"preparse", all["preparse"]}};
            // Six tables and a vehicle memo, which travels under its own name.
            QCOMPARE(all["files"][6]["uploadField"].toString(), "EMSVehicleMemos");
        }
        QCOMPARE(facts[0], facts[1]);
        QCOMPARE(facts[0]["basic"].toObject()["insured"].toString(), "SMITH, JOHN");
        QCOMPARE(facts[0]["preparse"].toObject()["totalCents"].toInt(), 123456);
        // A set without totals still shows what it has.
        QVERIFY(QFile::remove(plain.memberPath(EmsMember::Totals)));
        const Run partial = runTool({"info", plain.envelopePath()});
        QVERIFY(partial.status == 0 && partial.out.contains("EMSAdministration1"));
        QVERIFY2(partial.out.contains("not available: no totals member"), partial.out.data());
        QCOMPARE(runTool({"field", letter.envelopePath(), "v_vin"}).out.trimmed(),
                 "1FAFP34N97W123456");
        const QJsonObject dump =
            runTool({"dump", letter.memberPath(EmsMember::Vehicle), "--json"}).json();
        QCOMPARE(dump["records"].toInt(), 1);
        QCOMPARE(dump["rows"][0]["values"]["V_MEMO"].toString(), "REAR QUARTER PANEL");
        QVERIFY(runTool({"dump", letter.memberPath(EmsMember::Envelope)})
                    .out.contains("CREATE_DT   [03/15/2007]"));
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
