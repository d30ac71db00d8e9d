// Replays the inputs kept from fuzzing the table reader (tests/data/fuzz-xbase: each is a
// table and its memo file, see tests/fuzz/XbaseExercise.h) through every operation. Each
// must end with "OK" or one of the reader's own error texts, under AddressSanitizer and
// UBSan in the test build.

#include "fuzz/XbaseExercise.h"
#include "support/TableFolder.h"

#include <QDirIterator>
#include <QFileInfo>
#include <QTest>

using namespace tarnaxe;

class TestXbaseFuzzCorpus : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void knownMessages_data();
    void knownMessages();
    void replay_data();
    void replay();

private:
    tarnaxe::test::TableFolder m_folder;
};

void TestXbaseFuzzCorpus::initTestCase()
{
    QVERIFY2(m_folder.isValid(), "no temporary folder without a dot in its path");
}

void TestXbaseFuzzCorpus::knownMessages_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<bool>("known");

    QTest::newRow("OK") << "OK" << true;
    QTest::newRow("memo signature") << "Invalid memo field signature" << true;
    QTest::newRow("read overflow") << "READ: Overflow" << true;
    QTest::newRow("field outside") << "GETFIELD: Field beyond end of record" << true;
    QTest::newRow("memo end of file") << "READ DBT: Unexpected end of file" << true;
    QTest::newRow("open failure") << "OPEN: Permission denied" << false;
    QTest::newRow("description of another step") << "GETFIELD: Invalid file position" << false;
    QTest::newRow("prefix alone") << "READ: " << false;
    QTest::newRow("case differs") << "Invalid field name" << false;
    QTest::newRow("empty") << "" << false;
}

void TestXbaseFuzzCorpus::knownMessages()
{
    QFETCH(QString, message);
    QFETCH(bool, known);

    // The replay is only as strict as this list.
    QCOMPARE(test::isKnownMessage(message), known);
}

void TestXbaseFuzzCorpus::replay_data()
{
    QTest::addColumn<QString>("path");

    const QString folder = QFINDTESTDATA("../data/fuzz-xbase");
    QVERIFY2(!folder.isEmpty(), "tests/data/fuzz-xbase not found");
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
    QVERIFY(inputs.size() >= 10);
}

void TestXbaseFuzzCorpus::replay()
{
    QFETCH(QString, path);

    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString problem =
        test::exerciseTable(m_folder.path(), test::splitFuzzInput(file.readAll()), 64);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

QTEST_GUILESS_MAIN(TestXbaseFuzzCorpus)
#include "tst_xbase_fuzzcorpus.moc"
