// Time of one profile read and one write on large files: each call reads the whole file, so
// both should grow with its size and no faster.

#include "platform/ProfileFile.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using tarnaxe::ProfileFile;

class BenchProfileFile : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void readLastKey_data();
    void readLastKey();
    void writeLastKey_data();
    void writeLastKey();

private:
    void addFiles();
    QTemporaryDir m_dir;
};

void BenchProfileFile::initTestCase()
{
    QVERIFY(m_dir.isValid());
    // About 10 MB each: many short lines in one big section, or a single long line.
    QByteArray manyLines = "[Main]\n";
    for (int i = 0; i < 400000; ++i)
        manyLines += "Key" + QByteArray::number(i) + "=some value of a key\n";
    manyLines += "Last=found\n";
    const QByteArray oneLine = "[Main]\nLong=" + QByteArray(10 * 1024 * 1024, 'x') + "\nLast=found";
    for (const auto& [name, bytes] :
         {std::pair{"many-lines.ini", manyLines}, std::pair{"one-line.ini", oneLine}}) {
        QFile file(m_dir.filePath(QString::fromLatin1(name)));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(bytes), bytes.size());
    }
}

void BenchProfileFile::addFiles()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("400000 lines") << m_dir.filePath(QStringLiteral("many-lines.ini"));
    QTest::newRow("10 MB line") << m_dir.filePath(QStringLiteral("one-line.ini"));
}

void BenchProfileFile::readLastKey_data()
{
    addFiles();
}

void BenchProfileFile::readLastKey()
{
    QFETCH(QString, path);
    const ProfileFile file(path);
    QString value;
    QBENCHMARK
    {
        value = file.read(QStringLiteral("main"), QStringLiteral("last"));
    }
    QCOMPARE(value, QStringLiteral("found"));
}

void BenchProfileFile::writeLastKey_data()
{
    addFiles();
}

void BenchProfileFile::writeLastKey()
{
    QFETCH(QString, path);
    ProfileFile file(path);
    QBENCHMARK
    {
        QVERIFY(file.write(QStringLiteral("main"), QStringLiteral("last"), QStringLiteral("set")));
    }
    QCOMPARE(file.read(QStringLiteral("Main"), QStringLiteral("Last")), QStringLiteral("set"));
}

QTEST_GUILESS_MAIN(BenchProfileFile)
#include "bench_profilefile.moc"
