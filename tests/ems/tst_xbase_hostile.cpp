// Tables bent on purpose: counts, lengths and positions that disagree, overflow or point
// outside the file. Each must end in a clean refusal, never a read outside a buffer, a
// huge allocation or an endless loop (the build runs these under AddressSanitizer).

#include "ems/clsXBASE.h"
#include "emswriter/DbfWriter.h"
#include "support/TableFolder.h"

#include <QFile>
#include <QTest>
#include <limits>

using namespace tarnaxe;
using tarnaxe::emswriter::DbfField;
using tarnaxe::emswriter::DbfWriter;

namespace {

// One field A of 5 bytes and one field B of 5 bytes: records of 11 bytes at 97.
DbfWriter twoFields()
{
    DbfWriter table({{"A", 'C', 5}, {"B", 'C', 5}});
    table.addRecord({"aaaaa", "bbbbb"});
    table.endOfFileMark = false;
    return table; // 97 + 11 = 108 bytes
}

} // namespace

class TestXbaseHostile : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();

    void brokenTables_data();
    void brokenTables();
    void fieldCountLimit_data();
    void fieldCountLimit();
    void recordPositionLimit_data();
    void recordPositionLimit();
    void descriptorListEndsAtCarriageReturn();
    void tableShrinksAfterOpen();

private:
    tarnaxe::test::TableFolder m_folder;
};

void TestXbaseHostile::initTestCase()
{
    QVERIFY2(m_folder.isValid(), "no temporary folder without a dot in its path");
}

void TestXbaseHostile::brokenTables_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("openMessage");
    QTest::addColumn<int>("recordCount");
    QTest::addColumn<QString>("readMessage"); // of record 1
    QTest::addColumn<QString>("fieldB");      // message of field B of record 1

    const QString eof = QStringLiteral("READ: Unexpected end of file");
    const QString overflow = QStringLiteral("READ: Overflow");

    QTest::newRow("shorter than a header") << twoFields().bytes().left(31) << eof << 0 << ""
                                           << "";

    DbfWriter table = twoFields();
    table.terminator = false;
    table.headerLengthOverride = 96;
    // Without the 0x0D the record is read as a descriptor, and the file ends inside it.
    QTest::newRow("no 0x0D after the descriptors") << table.bytes() << eof << 0 << ""
                                                   << "";

    QByteArray cut = twoFields().bytes().left(32 + 20);
    cut[8] = 51; // header 51 + 1 record of 1 byte = 52
    cut[9] = 0;
    cut[10] = 1;
    cut[11] = 0;
    QTest::newRow("descriptor cut by the end of file") << cut << eof << 0 << ""
                                                       << "";

    table = twoFields();
    table.recordCountOverride = 0xFFFFFFFF; // -1
    table.headerLengthOverride = 97 + 22;   // -1 x 11 + 119 = 108
    QTest::newRow("negative record count") << table.bytes() << "OK" << -1 << "Invalid Record Number"
                                           << "";

    table = twoFields();
    table.headerLengthOverride = 0xFF9C; // -100
    table.recordLengthOverride = 208;    // 208 - 100 = 108
    QTest::newRow("negative header length")
        << table.bytes() << "OK" << 1 << "READ: Invalid file position"
        << "";

    table = twoFields();
    table.headerLengthOverride = 109;
    table.recordLengthOverride = 0xFFFF; // -1: -1 + 109 = 108
    QTest::newRow("negative record length")
        << table.bytes() << "OK" << 1 << "READ: Invalid record length"
        << "";

    table = twoFields();
    table.recordCountOverride = 0x7FFFFFFF;
    table.recordLengthOverride = 2;
    QTest::newRow("count times length overflows") << table.bytes() << overflow << 0 << ""
                                                  << "";

    table = twoFields();
    table.recordCountOverride = 0x80000000; // the smallest Long
    table.recordLengthOverride = 2;
    QTest::newRow("negative product overflows") << table.bytes() << overflow << 0 << ""
                                                << "";

    table = twoFields();
    table.recordCountOverride = 0x7FFFFFF0;
    table.recordLengthOverride = 1;
    table.headerLengthOverride = 100;
    QTest::newRow("adding the header overflows") << table.bytes() << overflow << 0 << ""
                                                 << "";

    // Records are read at header length + (n - 1) x record length, record-length bytes:
    // here the 8 bytes from 100, which leave field B (bytes 7 to 11) outside the record.
    table = twoFields();
    table.headerLengthOverride = 100;
    table.recordLengthOverride = 8;
    QTest::newRow("record shorter than its fields") << table.bytes() << "OK" << 1 << "OK"
                                                    << "GETFIELD: Field beyond end of record";

    table = twoFields();
    table.headerLengthOverride = 98;
    table.recordLengthOverride = 10;
    QTest::newRow("record one byte short") << table.bytes() << "OK" << 1 << "OK"
                                           << "GETFIELD: Field beyond end of record";

    table = twoFields();
    table.headerLengthOverride = 88;
    table.recordLengthOverride = 20;
    QTest::newRow("record longer than its fields") << table.bytes() << "OK" << 1 << "OK"
                                                   << "OK";

    // 108 bytes are one short of 97 + 2 x 6: the table opens with records of 6 bytes.
    table = twoFields();
    table.recordCountOverride = 2;
    table.recordLengthOverride = 6;
    QTest::newRow("field B beyond a 6-byte record") << table.bytes() << "OK" << 2 << "OK"
                                                    << "GETFIELD: Field beyond end of record";
}

void TestXbaseHostile::brokenTables()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, openMessage);
    QFETCH(int, recordCount);
    QFETCH(QString, readMessage);
    QFETCH(QString, fieldB);

    const QString path = m_folder.write(QStringLiteral("EST.DBF"), bytes);
    clsXBASE reader;
    QCOMPARE(reader.OpenFile(path), openMessage == QLatin1String("OK"));
    QCOMPARE(reader.ErrorMessage(), openMessage);
    QCOMPARE(reader.IsOpen(), openMessage == QLatin1String("OK"));
    QCOMPARE(reader.RecordCount(), recordCount);
    if (!reader.IsOpen())
        return;

    QCOMPARE(reader.ReadRecord(1), readMessage == QLatin1String("OK"));
    QCOMPARE(reader.ErrorMessage(), readMessage);
    if (readMessage != QLatin1String("OK"))
        return;
    Variant value;
    QVERIFY(reader.GetFieldData(QStringLiteral("A"), value));
    QCOMPARE(reader.recordBuffer().size(), qsizetype(reader.recordLength()));
    // Field A is always the 5 bytes after the first byte of what was read as the record.
    const qint64 start = reader.headerLength();
    QCOMPARE(value.toText().toLatin1(), bytes.mid(start + 1, 5));
    QCOMPARE(reader.GetFieldData(QStringLiteral("B"), value), fieldB == QLatin1String("OK"));
    QCOMPARE(reader.ErrorMessage(), fieldB);
    if (fieldB != QLatin1String("OK"))
        QCOMPARE(value.toText(), QString());
}

void TestXbaseHostile::fieldCountLimit_data()
{
    QTest::addColumn<int>("fields");
    QTest::addColumn<QString>("message");

    QTest::newRow("32767 fields") << 32767 << "OK";
    QTest::newRow("32768 fields") << 32768 << "READ: Overflow";
}

void TestXbaseHostile::fieldCountLimit()
{
    QFETCH(int, fields);
    QFETCH(QString, message);

    // Fields of length 0 keep the positions small; the count is the 16-bit limit.
    DbfWriter table(QList<DbfField>(fields, DbfField{"F", 'C', 0, 0}));
    table.addRecord({});
    table.endOfFileMark = false;
    const qint64 size = 32 + 32 * qint64(fields) + 1 + 1;
    // The header length cannot say 1 MB: let the record count make up the file size.
    table.headerLengthOverride = 1;
    table.recordLengthOverride = 1;
    table.recordCountOverride = size - 1;

    clsXBASE reader;
    QCOMPARE(reader.OpenFile(m_folder.write(QStringLiteral("WIDE.DBF"), table.bytes())),
             message == QLatin1String("OK"));
    QCOMPARE(reader.ErrorMessage(), message);
    QCOMPARE(reader.fields().size(), message == QLatin1String("OK") ? fields : 0);
}

void TestXbaseHostile::recordPositionLimit_data()
{
    QTest::addColumn<int>("lastLength");
    QTest::addColumn<QString>("message");

    // 128 fields of 255 bytes take positions 2 to 32641; the position after the last
    // field must still fit in 16 bits: 32767 does, 32768 does not.
    QTest::newRow("ends at 32767") << 125 << "OK";
    QTest::newRow("ends at 32768") << 126 << "READ: Overflow";
}

void TestXbaseHostile::recordPositionLimit()
{
    QFETCH(int, lastLength);
    QFETCH(QString, message);

    QList<DbfField> fields(128, DbfField{"WIDE", 'C', 255, 0});
    fields.append(DbfField{"LAST", 'C', lastLength, 0});
    DbfWriter table(fields);
    table.addRecord({});
    clsXBASE reader;
    QCOMPARE(reader.OpenFile(m_folder.write(QStringLiteral("LONG.DBF"), table.bytes())),
             message == QLatin1String("OK"));
    QCOMPARE(reader.ErrorMessage(), message);
    if (!reader.IsOpen())
        return;
    QVERIFY(reader.ReadRecord(1));
    Variant value;
    QVERIFY(reader.GetFieldData(QStringLiteral("LAST"), value));
    QCOMPARE(value.toText(), QString(lastLength, QLatin1Char(' ')));
}

void TestXbaseHostile::descriptorListEndsAtCarriageReturn()
{
    // A name that starts with 0x0D ends the list there: later fields are not known, and
    // the records are still found through the header length.
    DbfWriter table({{"A", 'C', 2}, {"\rB", 'C', 2}, {"C", 'C', 2}});
    table.addRecord({"aa", "bb", "cc"});
    clsXBASE reader;
    QVERIFY(reader.OpenFile(m_folder.write(QStringLiteral("CR.DBF"), table.bytes())));
    QCOMPARE(reader.fields().size(), 1);
    QVERIFY(reader.ReadRecord(1));
    Variant value;
    QVERIFY(reader.GetFieldData(QStringLiteral("A"), value));
    QCOMPARE(value.toText(), QStringLiteral("aa"));
    QVERIFY(!reader.GetFieldData(QStringLiteral("C"), value));
    QCOMPARE(reader.ErrorMessage(), QStringLiteral("Invalid Field Name"));
}

void TestXbaseHostile::tableShrinksAfterOpen()
{
    DbfWriter table = twoFields();
    table.addRecord({"12345", "67890"});
    const QString path = m_folder.write(QStringLiteral("SHRINK.DBF"), table.bytes());
    clsXBASE reader;
    QVERIFY(reader.OpenFile(path));
    QVERIFY(reader.ReadRecord(1));
    QVERIFY(QFile::resize(path, 100));
    QVERIFY(!reader.ReadRecord(2));
    QCOMPARE(reader.ErrorMessage(), QStringLiteral("READ: Unexpected end of file"));
    // The record read before stays current.
    QCOMPARE(reader.currentRecord(), 1);
    Variant value;
    QVERIFY(reader.GetFieldData(QStringLiteral("B"), value));
    QCOMPARE(value.toText(), QStringLiteral("bbbbb"));
}

QTEST_GUILESS_MAIN(TestXbaseHostile)
#include "tst_xbase_hostile.moc"
