// Replays the inputs kept from fuzzing the EMS set reader (tests/data/fuzz-ems: each is
// the six tables of a set and a memo file, see tests/fuzz/EmsSetExercise.h) through
// every operation of the reader, under AddressSanitizer and UBSan in the test build.

#include "emswriter/EmsSetBuilder.h"
#include "fuzz/EmsSetExercise.h"
#include "support/TableFolder.h"

#include <QDirIterator>
#include <QFileInfo>
#include <QTest>

using namespace tarnaxe;
using tarnaxe::test::EmsFuzzSet;

class TestEmsSetFuzzCorpus : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void builtSetsSurviveTheFormat_data();
    void builtSetsSurviveTheFormat();
    void replay_data();
    void replay();

private:
    static QByteArray readAll(const QString& path);
    tarnaxe::test::TableFolder m_folder;
};

void TestEmsSetFuzzCorpus::initTestCase()
{
    QVERIFY2(m_folder.isValid(), "no temporary folder without a dot in its path");
}

QByteArray TestEmsSetFuzzCorpus::readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void TestEmsSetFuzzCorpus::builtSetsSurviveTheFormat_data()
{
    QTest::addColumn<bool>("letterStyle");
    QTest::addColumn<bool>("lowerCase");

    QTest::newRow("letter style, lower case") << true << true;
    QTest::newRow("plain style, upper case") << false << false;
}

void TestEmsSetFuzzCorpus::builtSetsSurviveTheFormat()
{
    QFETCH(bool, letterStyle);
    QFETCH(bool, lowerCase);

    // A set packed into one input and written back by the exercise must read as the set
    // it was: otherwise the fuzzer would only ever see broken sets.
    const QString source = m_folder.path() + QStringLiteral("/source");
    QVERIFY(QDir().mkpath(source));
    emswriter::EmsSetBuilder built(source, QStringLiteral("0001"));
    built.style(letterStyle ? emswriter::EmsStyle::Letter : emswriter::EmsStyle::Plain)
        .set("CLM_NO", "CLAIM-77")
        .vehicleMemo("LEFT DOOR");
    QVERIFY(built.write());
    EmsFuzzSet set;
    set.letterStyle = letterStyle;
    set.lowerCase = lowerCase;
    const EmsMember members[] = {EmsMember::Envelope,        EmsMember::Administrative1,
                                 EmsMember::Administrative2, EmsMember::Vehicle,
                                 EmsMember::Totals,          EmsMember::ProfileTotals};
    for (int i = 0; i < 6; ++i)
        set.parts[i] = readAll(built.memberPath(members[i]));
    set.parts[6] = readAll(built.vehicleMemoPath());
    const EmsFuzzSet packed = test::splitEmsFuzzInput(test::joinEmsFuzzInput(set));
    QCOMPARE(packed.parts, set.parts);

    const QString target = m_folder.path() + QStringLiteral("/target");
    QVERIFY(QDir().mkpath(target));
    const QString problem = test::exerciseEmsSet(target, packed);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    const QString envelope = target + QLatin1Char('/') + test::emsFuzzNames(packed)[0];
    EmsReader reader;
    EstimateRecord record;
    QVERIFY2(reader.readBasicInfo(envelope, QDate(1951, 12, 31), record),
             qPrintable(reader.lastError()));
    QCOMPARE(record.claimNumber.trimmed(), QStringLiteral("CLAIM-77"));
    Variant memo;
    QVERIFY(reader.readField(envelope, QStringLiteral("V_MEMO"), memo));
    QCOMPARE(memo.toText(), QStringLiteral("LEFT DOOR"));
}

void TestEmsSetFuzzCorpus::replay_data()
{
    QTest::addColumn<QString>("path");

    const QString folder = QFINDTESTDATA("../data/fuzz-ems");
    QVERIFY2(!folder.isEmpty(), "tests/data/fuzz-ems not found");
    QDirIterator it(folder, QDir::Files);
    QStringList inputs;
    while (it.hasNext()) {
        const QString path = it.next();
        if (!path.endsWith(QLatin1String("/README.md")))
            inputs << path;
    }
    inputs.sort();
    for (const QString& path : inputs)
        QTest::newRow(qPrintable(QFileInfo(path).fileName())) << path;
    QVERIFY(inputs.size() >= 4);
}

void TestEmsSetFuzzCorpus::replay()
{
    QFETCH(QString, path);

    const QString folder = m_folder.path() + QStringLiteral("/replay");
    QVERIFY(QDir().mkpath(folder));
    const EmsFuzzSet set = test::splitEmsFuzzInput(readAll(path));
    const QString problem = test::exerciseEmsSet(folder, set);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    if (QFileInfo(path).fileName().startsWith(QLatin1String("seed-"))) {
        // The seeds are whole sets, so that fuzzing starts from sets that read.
        EmsReader reader;
        EstimateRecord record;
        QVERIFY2(reader.readBasicInfo(folder + QLatin1Char('/') + test::emsFuzzNames(set)[0],
                                      QDate(1951, 12, 31), record),
                 qPrintable(reader.lastError()));
    }
}

QTEST_GUILESS_MAIN(TestEmsSetFuzzCorpus)
#include "tst_emsset_fuzzcorpus.moc"
