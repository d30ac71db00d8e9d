// MIE files: names made from the clock, saves that never replace a file nor show a
// half-written one, and the search for a claim's MIE file.

#include "ems/MieFiles.h"
#include "support/ManualClock.h"
#include "support/TableFolder.h"

#include <QDir>
#include <QFile>
#include <QTest>

using namespace tarnaxe;
using tarnaxe::test::ManualClock;
using tarnaxe::test::TableFolder;

namespace {

const QDateTime kTen(QDate(2024, 3, 15), QTime(10, 0)); // hundredth 3600000

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
}

QStringList everything(const QString& folder)
{
    return QDir(folder).entryList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

} // namespace

class TestMieFiles : public QObject {
    Q_OBJECT

private slots:
    void number_data();
    void number();
    void saveWritesTheBytes();
    void twoSavesInOneHundredth();
    void takenNameInAnotherCase();
    void saveFailures_data();
    void saveFailures();
    void locate_data();
    void locate();
    void locateSkipsEmptyFiles();
    void locateWithoutFolder();
};

void TestMieFiles::number_data()
{
    QTest::addColumn<QTime>("time");
    QTest::addColumn<qint64>("number");
    QTest::newRow("midnight") << QTime(0, 0) << qint64(0);
    QTest::newRow("ten o'clock") << QTime(10, 0) << qint64(3600000);
    QTest::newRow("milliseconds round down") << QTime(0, 0, 1, 234) << qint64(123);
    QTest::newRow("milliseconds round up") << QTime(0, 0, 1, 236) << qint64(124);
    QTest::newRow("half to even, up") << QTime(0, 0, 0, 15) << qint64(2);
    QTest::newRow("half to even, down") << QTime(0, 0, 0, 25) << qint64(2);
    QTest::newRow("last moment") << QTime(23, 59, 59, 990) << qint64(8639999);
}

void TestMieFiles::number()
{
    QFETCH(QTime, time);
    QFETCH(qint64, number);
    QCOMPARE(mieNumber(time), number);
}

void TestMieFiles::saveWritesTheBytes()
{
    TableFolder folder;
    ManualClock clock(kTen.addMSecs(1234));
    static const char bytes[] = "MIE\0\r\n\x1A\xFF binary";
    const QByteArray data(bytes, sizeof bytes - 1);
    QString saved;
    QString error;
    QVERIFY(saveMieData(folder.path(), data, clock, saved, error));
    QVERIFY(error.isEmpty());
    QCOMPARE(saved, folder.filePath(QStringLiteral("3600123.mie")));
    QCOMPARE(contents(saved), data);
    // Nothing else is left in the folder: no temporary file.
    QCOMPARE(everything(folder.path()), QStringList{QStringLiteral("3600123.mie")});
    QCOMPARE(clock.slept(), qint64(0));
}

// The second save finds its name taken and waits for the next hundredth.
void TestMieFiles::twoSavesInOneHundredth()
{
    TableFolder folder;
    ManualClock clock(kTen);
    QString first;
    QString second;
    QString error;
    QVERIFY(saveMieData(folder.path(), "first", clock, first, error));
    QVERIFY(saveMieData(folder.path(), "second", clock, second, error));
    QCOMPARE(first, folder.filePath(QStringLiteral("3600000.mie")));
    QCOMPARE(second, folder.filePath(QStringLiteral("3600001.mie")));
    QCOMPARE(contents(first), QByteArray("first"));
    QCOMPARE(contents(second), QByteArray("second"));
    QVERIFY(clock.slept() > 0 && clock.slept() <= 10);
    QCOMPARE(everything(folder.path()),
             (QStringList{QStringLiteral("3600000.mie"), QStringLiteral("3600001.mie")}));
}

// A folder shared with Windows machines treats "3600000.MIE" as the same file.
void TestMieFiles::takenNameInAnotherCase()
{
    TableFolder folder;
    QVERIFY(!folder.write(QStringLiteral("3600000.MIE"), "someone else's").isEmpty());
    ManualClock clock(kTen);
    QString saved;
    QString error;
    QVERIFY(saveMieData(folder.path(), "ours", clock, saved, error));
    QCOMPARE(saved, folder.filePath(QStringLiteral("3600001.mie")));
    QCOMPARE(contents(folder.filePath(QStringLiteral("3600000.MIE"))),
             QByteArray("someone else's"));
}

void TestMieFiles::saveFailures_data()
{
    QTest::addColumn<QString>("folderName");
    QTest::addColumn<bool>("folderIsFile");
    QTest::newRow("missing folder") << "no-such-folder" << false;
    QTest::newRow("a file where the folder should be") << "plain-file" << true;
}

void TestMieFiles::saveFailures()
{
    QFETCH(QString, folderName);
    QFETCH(bool, folderIsFile);
    TableFolder folder;
    if (folderIsFile)
        QVERIFY(!folder.write(folderName, "x").isEmpty());
    const QString delivery = folder.filePath(folderName);
    ManualClock clock(kTen);
    QString saved = QStringLiteral("stale");
    QString error;
    QVERIFY(!saveMieData(delivery, "data", clock, saved, error));
    QVERIFY(saved.isEmpty());
    const QString prefix =
        QStringLiteral("Cannot save MIE (") + delivery + QStringLiteral("/3600000.mie): ");
    QVERIFY2(error.startsWith(prefix), qPrintable(error));
    QVERIFY2(error.size() > prefix.size(), "the reason is missing");
    QCOMPARE(everything(folder.path()), folderIsFile ? QStringList{folderName} : QStringList{});
}

void TestMieFiles::locate_data()
{
    QTest::addColumn<QString>("claim");
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QString>("found");
    const QString claim = QStringLiteral("12-345678-90");
    QTest::newRow("last eight characters first")
        << claim << QStringList{"12_345678_90.mie", "45678_90.mie"} << "45678_90.mie";
    QTest::newRow("trailing blank counts among the eight")
        << QStringLiteral("12-345678-90 ") << QStringList{"5678_90.mie"} << "5678_90.mie";
    QTest::newRow("short name in upper case")
        << claim << QStringList{"45678_90.MIE"} << "45678_90.MIE";
    QTest::newRow("then the pattern")
        << claim << QStringList{"12_345678_90.mie"} << "12_345678_90.mie";
    QTest::newRow("pattern, first by name")
        << claim << QStringList{"12_345678_90_B.mie", "12_345678_90_A.mie"} << "12_345678_90_A.mie";
    QTest::newRow("pattern in any case")
        << claim << QStringList{"12_345678_90 copy.MIE"} << "12_345678_90 copy.MIE";
    QTest::newRow("blanks become underscores")
        << QStringLiteral("12 345678 90") << QStringList{"12_345678_90x.mie"}
        << "12_345678_90x.mie";
    QTest::newRow("no other claim")
        << claim << QStringList{"12_345678_91.mie", "x12_345678_90.mie", "12_345678_90.txt"} << "";
    QTest::newRow("no file") << claim << QStringList{} << "";
    QTest::newRow("short claim number")
        << QStringLiteral("A-1") << QStringList{"A_1.mie"} << "A_1.mie";
    QTest::newRow("blank claim finds nothing")
        << QStringLiteral("   ") << QStringList{"123.mie", "_.mie"} << "";
}

void TestMieFiles::locate()
{
    QFETCH(QString, claim);
    QFETCH(QStringList, files);
    QFETCH(QString, found);
    TableFolder folder;
    for (const QString& name : files)
        QVERIFY(!folder.write(name, "mie").isEmpty());
    QString path = QStringLiteral("stale");
    QCOMPARE(locateMieFile(folder.path(), claim, path), !found.isEmpty());
    QCOMPARE(path, found.isEmpty() ? QString() : folder.filePath(found));
}

void TestMieFiles::locateSkipsEmptyFiles()
{
    TableFolder folder;
    QVERIFY(!folder.write(QStringLiteral("45678_90.mie"), QByteArray()).isEmpty());
    QVERIFY(!folder.write(QStringLiteral("12_345678_90_A.mie"), QByteArray()).isEmpty());
    QVERIFY(!folder.write(QStringLiteral("12_345678_90_B.mie"), "mie").isEmpty());
    QString path;
    QVERIFY(locateMieFile(folder.path(), QStringLiteral("12-345678-90"), path));
    QCOMPARE(path, folder.filePath(QStringLiteral("12_345678_90_B.mie")));
}

void TestMieFiles::locateWithoutFolder()
{
    TableFolder folder;
    QVERIFY(!folder.write(QStringLiteral("not-a-folder"), "x").isEmpty());
    QString path;
    QVERIFY(
        !locateMieFile(folder.filePath(QStringLiteral("missing")), QStringLiteral("1-2"), path));
    QVERIFY(!locateMieFile(folder.filePath(QStringLiteral("not-a-folder")), QStringLiteral("1-2"),
                           path));
    QVERIFY(path.isEmpty());
}

QTEST_GUILESS_MAIN(TestMieFiles)
#include "tst_miefiles.moc"
