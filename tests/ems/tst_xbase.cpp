// The table reader on tables made by DbfWriter: opening and its refusals, records,
// field names and the conversion of each field type.

#include "ems/clsXBASE.h"
#include "emswriter/DbfWriter.h"
#include "support/TableFolder.h"
#include "support/VariantText.h"

#include <QDir>
#include <QFile>
#include <QTest>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

using namespace tarnaxe;
using tarnaxe::emswriter::DbfField;
using tarnaxe::emswriter::DbfWriter;
using tarnaxe::test::dateOf;
using tarnaxe::test::describeVariant;

Q_DECLARE_METATYPE(tarnaxe::Variant)

namespace {

// Three records of a small estimate table; the second is flagged deleted.
DbfWriter sampleTable()
{
    DbfWriter table({{"EST_SYSTEM", 'C', 1}, {"RO_NO", 'C', 8}, {"TOTAL", 'N', 10, 2}});
    table.addRecord({"A", "1001", "    125.50"});
    table.addRecord({"B", "1002", "      9.99"}, true);
    table.addRecord({"C", "1003", "   1000.00"});
    return table;
}

} // namespace

class TestXbase : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();

    void closedReader();
    void versionGate_data();
    void versionGate();
    void zeroInHeader_data();
    void zeroInHeader();
    void fileLength_data();
    void fileLength();
    void missingTable_data();
    void missingTable();
    void unreadableTable();
    void failedOpenClosesTheTable();
    void recordsByNumber();
    void recordNumberOutOfRange_data();
    void recordNumberOutOfRange();
    void recordsStartAtHeaderLength();
    void noActiveRecordAfterOpen();
    void closeKeepsMessage();
    void fieldNames_data();
    void fieldNames();
    void firstOfTwoEqualNames();
    void conversions_data();
    void conversions();
    void otherFieldTypes_data();
    void otherFieldTypes();

private:
    QString writeTable(const QByteArray& bytes, const QString& name = QStringLiteral("EST.DBF"));

    tarnaxe::test::TableFolder m_folder;
};

void TestXbase::initTestCase()
{
    QVERIFY2(m_folder.isValid(), "no temporary folder without a dot in its path");
}

QString TestXbase::writeTable(const QByteArray& bytes, const QString& name)
{
    const QString path = m_folder.write(name, bytes);
    if (path.isEmpty())
        qFatal("cannot write %s", qPrintable(name));
    return path;
}

void TestXbase::closedReader()
{
    clsXBASE reader;
    QVERIFY(!reader.IsOpen());
    QCOMPARE(reader.ErrorMessage(), QStringLiteral("OK"));
    QCOMPARE(reader.RecordCount(), 0);

    QVERIFY(!reader.ReadRecord(1));
    QCOMPARE(reader.ErrorMessage(), QStringLiteral("File Not Open"));
    Variant value(true);
    QVERIFY(!reader.GetFieldData(QStringLiteral("EST_SYSTEM"), value));
    QCOMPARE(reader.ErrorMessage(), QStringLiteral("File Not Open"));
    QCOMPARE(describeVariant(value), describeVariant(Variant(QString())));
    QVERIFY(reader.CloseFile());
}

void TestXbase::versionGate_data()
{
    QTest::addColumn<int>("version");
    QTest::addColumn<QString>("message");

    const QString ok = QStringLiteral("OK");
    const QString refused = QStringLiteral("Unsupported XBASE file format");
    QTest::newRow("0x03 plain") << 0x03 << ok;
    QTest::newRow("0x83 with memo") << 0x83 << ok;
    QTest::newRow("0x8B with dBase IV memo") << 0x8B << ok;
    QTest::newRow("0x04 low bits 4") << 0x04 << ok;
    QTest::newRow("0x8C low bits 4") << 0x8C << ok;
    QTest::newRow("0x7B low bits 3") << 0x7B << ok;
    QTest::newRow("0xF5") << 0xF5 << refused;
    QTest::newRow("0x30") << 0x30 << refused;
    QTest::newRow("0x02") << 0x02 << refused;
    QTest::newRow("0x31") << 0x31 << refused;
    QTest::newRow("0x05") << 0x05 << refused;
    QTest::newRow("0x07") << 0x07 << refused;
    QTest::newRow("0x00") << 0x00 << refused;
}

void TestXbase::versionGate()
{
    QFETCH(int, version);
    QFETCH(QString, message);

    DbfWriter table = sampleTable();
    table.version = quint8(version);
    clsXBASE reader;
    QCOMPARE(reader.OpenFile(writeTable(table.bytes())), message == QLatin1String("OK"));
    QCOMPARE(reader.ErrorMessage(), message);
    QCOMPARE(reader.IsOpen(), message == QLatin1String("OK"));
    QCOMPARE(reader.RecordCount(), reader.IsOpen() ? 3 : 0);
}

void TestXbase::zeroInHeader_data()
{
    QTest::addColumn<QByteArray>("bytes");

    DbfWriter empty({{"EST_SYSTEM", 'C', 1}});
    QTest::newRow("a table without records") << empty.bytes();
    DbfWriter table = sampleTable();
    table.recordCountOverride = 0;
    QTest::newRow("record count 0") << table.bytes();
    table = sampleTable();
    table.headerLengthOverride = 0;
    QTest::newRow("header length 0") << table.bytes();
    table = sampleTable();
    table.recordLengthOverride = 0;
    QTest::newRow("record length 0") << table.bytes();
}

void TestXbase::zeroInHeader()
{
    QFETCH(QByteArray, bytes);

    clsXBASE reader;
    QVERIFY(!reader.OpenFile(writeTable(bytes)));
    QCOMPARE(reader.ErrorMessage(), QStringLiteral("Invalid XBASE File Header"));
    QVERIFY(!reader.IsOpen());
    QCOMPARE(reader.RecordCount(), 0);
}

void TestXbase::fileLength_data()
{
    QTest::addColumn<int>("difference");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("lastRecord");

    const QString inconsistent = QStringLiteral("Inconsistent XBASE File Length");
    QTest::newRow("exact") << 0 << "OK"
                           << "OK";
    QTest::newRow("end-of-file mark") << 1 << "OK"
                                      << "OK";
    QTest::newRow("two bytes more") << 2 << inconsistent << "";
    QTest::newRow("a record more") << 19 << inconsistent << "";
    // Within the tolerance, but the last record is then cut short.
    QTest::newRow("one byte short") << -1 << "OK"
                                    << "READ: Unexpected end of file";
    QTest::newRow("two bytes short") << -2 << inconsistent << "";
}

void TestXbase::fileLength()
{
    QFETCH(int, difference);
    QFETCH(QString, message);
    QFETCH(QString, lastRecord);

    DbfWriter table = sampleTable();
    table.endOfFileMark = false;
    QByteArray bytes = table.bytes();
    if (difference >= 0)
        bytes += QByteArray(difference, '\x1A');
    else
        bytes.chop(-difference);

    clsXBASE reader;
    QCOMPARE(reader.OpenFile(writeTable(bytes)), message == QLatin1String("OK"));
    QCOMPARE(reader.ErrorMessage(), message);
    if (!reader.IsOpen())
        return;
    QVERIFY(reader.ReadRecord(2));
    QCOMPARE(reader.ReadRecord(3), lastRecord == QLatin1String("OK"));
    QCOMPARE(reader.ErrorMessage(), lastRecord);
}

void TestXbase::missingTable_data()
{
    QTest::addColumn<QString>("name");

    writeTable(sampleTable().bytes(), QStringLiteral("GOOD.DBF"));
    writeTable(QByteArray(), QStringLiteral("EMPTY.DBF"));
    QVERIFY(QDir(m_folder.path()).mkpath(QStringLiteral("FOLDER.DBF")));
    QFile::link(QStringLiteral("/dev/zero"), m_folder.filePath(QStringLiteral("ZERO.DBF")));
    QFile::link(m_folder.filePath(QStringLiteral("NONE.DBF")),
                m_folder.filePath(QStringLiteral("DANGLING.DBF")));
    QVERIFY(::mkfifo(qPrintable(m_folder.filePath(QStringLiteral("FIFO.DBF"))), 0600) == 0);

    QTest::newRow("no such file") << "MISSING.DBF";
    QTest::newRow("empty file") << "EMPTY.DBF";
    QTest::newRow("folder") << "FOLDER.DBF";
    QTest::newRow("link to /dev/zero") << "ZERO.DBF";
    QTest::newRow("dangling link") << "DANGLING.DBF";
    QTest::newRow("named pipe") << "FIFO.DBF";
    QTest::newRow("empty name") << "";
}

void TestXbase::missingTable()
{
    QFETCH(QString, name);

    const QString path = name.isEmpty() ? QString() : m_folder.filePath(name);
    QVERIFY(!clsXBASE::FileExist(path));
    clsXBASE reader;
    QVERIFY(!reader.OpenFile(path));
    QCOMPARE(reader.ErrorMessage(), QStringLiteral("File Not Found"));
    QVERIFY(!reader.IsOpen());

    // The same reader still opens a real table afterwards.
    QVERIFY(clsXBASE::FileExist(m_folder.filePath(QStringLiteral("GOOD.DBF"))));
    QVERIFY(reader.OpenFile(m_folder.filePath(QStringLiteral("GOOD.DBF"))));
}

void TestXbase::unreadableTable()
{
    if (::geteuid() == 0)
        QSKIP("root reads files whatever their permissions");
    const QString path = writeTable(sampleTable().bytes(), QStringLiteral("LOCKED.DBF"));
    QVERIFY(QFile::setPermissions(path, QFileDevice::WriteOwner));
    clsXBASE reader;
    QVERIFY(!reader.OpenFile(path));
    QVERIFY2(reader.ErrorMessage().startsWith(QLatin1String("OPEN: ")),
             qPrintable(reader.ErrorMessage()));
    QVERIFY(reader.ErrorMessage().size() > 6);
    QVERIFY(!reader.IsOpen());
}

void TestXbase::failedOpenClosesTheTable()
{
    clsXBASE reader;
    QVERIFY(reader.OpenFile(writeTable(sampleTable().bytes())));
    QVERIFY(reader.ReadRecord(1));
    QCOMPARE(reader.RecordCount(), 3);

    DbfWriter other = sampleTable();
    other.version = 0x30;
    QVERIFY(!reader.OpenFile(writeTable(other.bytes(), QStringLiteral("OTHER.DBF"))));
    QCOMPARE(reader.ErrorMessage(), QStringLiteral("Unsupported XBASE file format"));
    QVERIFY(!reader.IsOpen());
    QCOMPARE(reader.RecordCount(), 0);
    QVERIFY(reader.fields().isEmpty());
    Variant value;
    QVERIFY(!reader.GetFieldData(QStringLiteral("RO_NO"), value));
    QCOMPARE(reader.ErrorMessage(), QStringLiteral("File Not Open"));
    QVERIFY(!reader.ReadRecord(1));
    QCOMPARE(reader.ErrorMessage(), QStringLiteral("File Not Open"));
}

void TestXbase::recordsByNumber()
{
    clsXBASE reader;
    QVERIFY(reader.OpenFile(writeTable(sampleTable().bytes())));
    QCOMPARE(reader.ErrorMessage(), QStringLiteral("OK"));
    QCOMPARE(reader.fields().size(), 3);

    // Out of order, and the deleted record like any other.
    const struct {
        int record;
        const char* roNo;
        const char* total;
        bool deleted;
    } expected[] = {{3, "1003    ", "   1000.00", false},
                    {1, "1001    ", "    125.50", false},
                    {2, "1002    ", "      9.99", true}};
    for (const auto& row : expected) {
        QVERIFY(reader.ReadRecord(row.record));
        QCOMPARE(reader.ErrorMessage(), QStringLiteral("OK"));
        QCOMPARE(reader.currentRecord(), row.record);
        QCOMPARE(reader.currentRecordDeleted(), row.deleted);
        Variant value;
        QVERIFY(reader.GetFieldData(QStringLiteral("RO_NO"), value));
        QCOMPARE(describeVariant(value), describeVariant(Variant(QString::fromLatin1(row.roNo))));
        QVERIFY(reader.GetFieldData(QStringLiteral("total"), value));
        QCOMPARE(describeVariant(value), describeVariant(Variant(QString::fromLatin1(row.total))));
    }
}

void TestXbase::recordNumberOutOfRange_data()
{
    QTest::addColumn<int>("record");

    QTest::newRow("0") << 0;
    QTest::newRow("-1") << -1;
    QTest::newRow("one past the count") << 4;
    QTest::newRow("smallest Long") << std::numeric_limits<qint32>::min();
    QTest::newRow("largest Long") << std::numeric_limits<qint32>::max();
}

void TestXbase::recordNumberOutOfRange()
{
    QFETCH(int, record);

    clsXBASE reader;
    QVERIFY(reader.OpenFile(writeTable(sampleTable().bytes())));
    QVERIFY(reader.ReadRecord(2));
    QVERIFY(!reader.ReadRecord(record));
    QCOMPARE(reader.ErrorMessage(), QStringLiteral("Invalid Record Number"));

    // The record read before stays current.
    QCOMPARE(reader.currentRecord(), 2);
    Variant value;
    QVERIFY(reader.GetFieldData(QStringLiteral("RO_NO"), value));
    QCOMPARE(describeVariant(value), describeVariant(Variant(QStringLiteral("1002    "))));
}

void TestXbase::recordsStartAtHeaderLength()
{
    // Some writers put a byte after the 0x0D and count it in the header length.
    DbfWriter table = sampleTable();
    table.headerLengthOverride = 32 * 3 + 33 + 1;
    QByteArray bytes = table.bytes();
    bytes.insert(32 * 3 + 33, '\0');

    clsXBASE reader;
    QVERIFY(reader.OpenFile(writeTable(bytes)));
    QVERIFY(reader.ReadRecord(3));
    Variant value;
    QVERIFY(reader.GetFieldData(QStringLiteral("EST_SYSTEM"), value));
    QCOMPARE(describeVariant(value), describeVariant(Variant(QStringLiteral("C"))));
    QVERIFY(reader.GetFieldData(QStringLiteral("TOTAL"), value));
    QCOMPARE(describeVariant(value), describeVariant(Variant(QStringLiteral("   1000.00"))));
}

void TestXbase::noActiveRecordAfterOpen()
{
    const QString path = writeTable(sampleTable().bytes());
    clsXBASE reader;
    QVERIFY(reader.OpenFile(path));
    Variant value(true);
    QVERIFY(!reader.GetFieldData(QStringLiteral("RO_NO"), value));
    QCOMPARE(reader.ErrorMessage(), QStringLiteral("No Active Record"));
    QCOMPARE(describeVariant(value), describeVariant(Variant(QString())));

    // A new open forgets the record read from the table before.
    QVERIFY(reader.ReadRecord(1));
    QVERIFY(reader.OpenFile(path));
    QCOMPARE(reader.currentRecord(), 0);
    QVERIFY(!reader.GetFieldData(QStringLiteral("RO_NO"), value));
    QCOMPARE(reader.ErrorMessage(), QStringLiteral("No Active Record"));
}

void TestXbase::closeKeepsMessage()
{
    clsXBASE reader;
    QVERIFY(reader.OpenFile(writeTable(sampleTable().bytes())));
    QVERIFY(!reader.ReadRecord(9));
    QVERIFY(reader.CloseFile());
    QCOMPARE(reader.ErrorMessage(), QStringLiteral("Invalid Record Number"));
    QVERIFY(!reader.IsOpen());
    QCOMPARE(reader.RecordCount(), 0);
    QVERIFY(reader.CloseFile());
    QVERIFY(!reader.ReadRecord(1));
    QCOMPARE(reader.ErrorMessage(), QStringLiteral("File Not Open"));
}

void TestXbase::fieldNames_data()
{
    QTest::addColumn<QByteArray>("stored");
    QTest::addColumn<QString>("requested");
    QTest::addColumn<bool>("found");

    QTest::newRow("asked in lower case") << QByteArray("EST_SYSTEM") << "est_system" << true;
    QTest::newRow("asked as stored") << QByteArray("EST_SYSTEM") << "EST_SYSTEM" << true;
    QTest::newRow("asked in mixed case") << QByteArray("EST_SYSTEM") << "Est_System" << true;
    QTest::newRow("stored in lower case") << QByteArray("est_system") << "est_system" << false;
    QTest::newRow("stored lower, asked upper") << QByteArray("est_system") << "EST_SYSTEM" << false;
    QTest::newRow("stored in mixed case") << QByteArray("Point_ID") << "POINT_ID" << false;
    QTest::newRow("bytes after the NUL") << QByteArray("NAME\0XYZ", 8) << "NAME" << false;
    QTest::newRow("blank after the name") << QByteArray("NAME ") << "NAME" << false;
    QTest::newRow("asked with a blank") << QByteArray("NAME") << "NAME " << false;
    QTest::newRow("a prefix") << QByteArray("EST_SYSTEM") << "EST" << false;
    QTest::newRow("longer than stored") << QByteArray("EST_SYSTEM") << "EST_SYSTEMS" << false;
    QTest::newRow("eleven letters, asked longer")
        << QByteArray("ABCDEFGHIJK") << "abcdefghijkLMN" << true;
    QTest::newRow("empty name") << QByteArray() << "" << true;
    QTest::newRow("Windows-1252 letter") << QByteArray("\xC9TAT") << QStringLiteral("état") << true;
    QTest::newRow("capital outside Windows-1252")
        << QByteArray("\xB5M") << QStringLiteral("µm") << true;
    QTest::newRow("character outside Windows-1252")
        << QByteArray("?") << QStringLiteral("\u0101") << false;
}

void TestXbase::fieldNames()
{
    QFETCH(QByteArray, stored);
    QFETCH(QString, requested);
    QFETCH(bool, found);

    DbfWriter table({{"OTHER", 'C', 2}, {stored, 'C', 5}});
    table.addRecord({"zz", "abc"});
    clsXBASE reader;
    QVERIFY(reader.OpenFile(writeTable(table.bytes())));
    QVERIFY(reader.ReadRecord(1));
    Variant value(true);
    QCOMPARE(reader.GetFieldData(requested, value), found);
    QCOMPARE(reader.ErrorMessage(),
             found ? QStringLiteral("OK") : QStringLiteral("Invalid Field Name"));
    QCOMPARE(describeVariant(value),
             describeVariant(Variant(found ? QStringLiteral("abc  ") : QString())));
}

void TestXbase::firstOfTwoEqualNames()
{
    DbfWriter table({{"POINT_ID", 'C', 3}, {"POINT_ID", 'N', 4}});
    table.addRecord({"one", "   2"});
    clsXBASE reader;
    QVERIFY(reader.OpenFile(writeTable(table.bytes())));
    QVERIFY(reader.ReadRecord(1));
    Variant value;
    QVERIFY(reader.GetFieldData(QStringLiteral("point_id"), value));
    QCOMPARE(describeVariant(value), describeVariant(Variant(QStringLiteral("one"))));
}

void TestXbase::conversions_data()
{
    QTest::addColumn<char>("type");
    QTest::addColumn<int>("length");
    QTest::addColumn<QByteArray>("stored");
    QTest::addColumn<Variant>("expected");

    const auto text = [](const char* s) {
        return Variant(QString::fromUtf8(s));
    };
    QTest::newRow("C padded, untrimmed") << 'C' << 6 << QByteArray("AB") << text("AB    ");
    QTest::newRow("C lower-case type") << 'c' << 2 << QByteArray("AB") << text("AB");
    QTest::newRow("C Windows-1252") << 'C' << 5 << QByteArray("\x80\xE9\x93x\x94") << text("€é“x”");
    QTest::newRow("C NUL bytes kept") << 'C' << 3 << QByteArray("A\0B", 3)
                                      << Variant(QStringLiteral("A") + QChar(0) + QLatin1Char('B'));
    QTest::newRow("C zero length") << 'C' << 0 << QByteArray() << text("");
    QTest::newRow("N leading blanks kept")
        << 'N' << 8 << QByteArray("   12.50") << text("   12.50");
    QTest::newRow("N stars") << 'N' << 4 << QByteArray("****") << text("****");
    QTest::newRow("n lower-case type") << 'n' << 3 << QByteArray(" -1") << text(" -1");

    QTest::newRow("D date") << 'D' << 8 << QByteArray("20070315") << dateOf(2007, 3, 15);
    QTest::newRow("d lower-case type")
        << 'd' << 8 << QByteArray("19991231") << dateOf(1999, 12, 31);
    QTest::newRow("D leap day") << 'D' << 8 << QByteArray("20000229") << dateOf(2000, 2, 29);
    QTest::newRow("D year one") << 'D' << 8 << QByteArray("00010101") << dateOf(1, 1, 1);
    QTest::newRow("D blank-padded digits")
        << 'D' << 8 << QByteArray("2007 3 5") << text("2007 3 5");
    QTest::newRow("D blank") << 'D' << 8 << QByteArray("        ") << text("        ");
    QTest::newRow("D zeros") << 'D' << 8 << QByteArray("00000000") << text("00000000");
    QTest::newRow("D February 30") << 'D' << 8 << QByteArray("20070230") << text("20070230");
    QTest::newRow("D no leap day in 1900")
        << 'D' << 8 << QByteArray("19000229") << text("19000229");
    QTest::newRow("D month 13") << 'D' << 8 << QByteArray("20071301") << text("20071301");
    QTest::newRow("D letters") << 'D' << 8 << QByteArray("NotAYear") << text("NotAYear");
    QTest::newRow("D NUL bytes") << 'D' << 8 << QByteArray(8, '\0')
                                 << Variant(QString(8, QChar(0)));
    QTest::newRow("D too short") << 'D' << 6 << QByteArray("200703") << text("200703");

    QTest::newRow("L Y") << 'L' << 1 << QByteArray("Y") << Variant(true);
    QTest::newRow("L y") << 'L' << 1 << QByteArray("y") << Variant(true);
    QTest::newRow("L T") << 'L' << 1 << QByteArray("T") << Variant(true);
    QTest::newRow("L t") << 'L' << 1 << QByteArray("t") << Variant(true);
    QTest::newRow("L N") << 'L' << 1 << QByteArray("N") << Variant(false);
    QTest::newRow("L n") << 'L' << 1 << QByteArray("n") << Variant(false);
    QTest::newRow("L F") << 'L' << 1 << QByteArray("F") << Variant(false);
    QTest::newRow("L f") << 'L' << 1 << QByteArray("f") << Variant(false);
    QTest::newRow("l lower-case type") << 'l' << 1 << QByteArray("T") << Variant(true);
    QTest::newRow("L question mark") << 'L' << 1 << QByteArray("?") << text("?");
    QTest::newRow("L blank") << 'L' << 1 << QByteArray(" ") << text(" ");
    QTest::newRow("L 1") << 'L' << 1 << QByteArray("1") << text("1");
    QTest::newRow("L two letters") << 'L' << 2 << QByteArray("TT") << text("TT");
}

void TestXbase::conversions()
{
    QFETCH(char, type);
    QFETCH(int, length);
    QFETCH(QByteArray, stored);
    QFETCH(Variant, expected);

    DbfWriter table({{"BEFORE", 'C', 3}, {"VALUE", type, length}, {"AFTER", 'C', 3}});
    table.addRecord({"<<<", stored, ">>>"});
    clsXBASE reader;
    QVERIFY(reader.OpenFile(writeTable(table.bytes())));
    QVERIFY(reader.ReadRecord(1));
    Variant value;
    QVERIFY2(reader.GetFieldData(QStringLiteral("VALUE"), value),
             qPrintable(reader.ErrorMessage()));
    QCOMPARE(reader.ErrorMessage(), QStringLiteral("OK"));
    QCOMPARE(describeVariant(value), describeVariant(expected));
    QVERIFY(value == expected);
    QVERIFY(reader.GetFieldData(QStringLiteral("AFTER"), value));
    QCOMPARE(describeVariant(value), describeVariant(Variant(QStringLiteral(">>>"))));

    // The day alone, for lists of estimates, agrees with the full conversion.
    std::optional<QDate> day;
    QVERIFY(reader.GetFieldDate(QStringLiteral("VALUE"), day));
    QCOMPARE(day.has_value(), expected.type() == Variant::Type::Date);
    if (day)
        QCOMPARE(*day, expected.dateValue().date());
}

void TestXbase::otherFieldTypes_data()
{
    QTest::addColumn<char>("type");

    QTest::newRow("F float") << 'F';
    QTest::newRow("B binary") << 'B';
    QTest::newRow("I integer") << 'I';
    QTest::newRow("@ timestamp") << '@';
    QTest::newRow("NUL") << '\0';
    QTest::newRow("blank") << ' ';
}

void TestXbase::otherFieldTypes()
{
    QFETCH(char, type);

    DbfWriter table({{"VALUE", type, 4}, {"NEXT", 'C', 2}});
    table.addRecord({"12.5", "ok"});
    clsXBASE reader;
    QVERIFY(reader.OpenFile(writeTable(table.bytes())));
    QVERIFY(reader.ReadRecord(1));
    Variant value(true);
    QVERIFY(!reader.GetFieldData(QStringLiteral("VALUE"), value));
    QCOMPARE(reader.ErrorMessage(), QStringLiteral("Invalid Field Type"));
    QCOMPARE(describeVariant(value), describeVariant(Variant(QString())));
    std::optional<QDate> day(QDate(2000, 1, 1));
    QVERIFY(!reader.GetFieldDate(QStringLiteral("VALUE"), day));
    QCOMPARE(reader.ErrorMessage(), QStringLiteral("Invalid Field Type"));
    QVERIFY(!day);
    // The table stays usable.
    QVERIFY(reader.GetFieldData(QStringLiteral("NEXT"), value));
    QCOMPARE(describeVariant(value), describeVariant(Variant(QStringLiteral("ok"))));
}

QTEST_GUILESS_MAIN(TestXbase)
#include "tst_xbase.moc"
