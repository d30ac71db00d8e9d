// The reader on tables and memo files written by other programs (tests/data/dbf, with
// their sources and licenses in its README). Each table has one exact outcome under our
// rules: the values it gives, or the text it is refused with.

#include "ems/clsXBASE.h"
#include "platform/Windows1252.h"
#include "support/TableFolder.h"
#include "support/VariantText.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QMap>
#include <QTest>

using namespace tarnaxe;
using tarnaxe::test::dateOf;
using tarnaxe::test::describeVariant;

Q_DECLARE_METATYPE(tarnaxe::Variant)

namespace {

Variant text(const QByteArray& bytes)
{
    return Variant(fromWindows1252(bytes));
}

bool isMemoOrListing(const QString& relative)
{
    const QString lower = relative.toLower();
    return lower.endsWith(QLatin1String(".dbt")) || lower.endsWith(QLatin1String(".fpt")) ||
           lower.startsWith(QLatin1String("licenses/")) || lower == QLatin1String("readme.md") ||
           lower == QLatin1String(".gitattributes");
}

// What GetFieldData answers over every field of every record, by message.
using Answers = QMap<QString, int>;

// The outcome of each table: how the open ends and, for the tables that open, the
// records, fields, deleted records and answers.
struct Outcome {
    QString path;
    QString openMessage;
    int records = 0;
    int fields = 0;
    int deleted = 0;
    Answers fieldAnswers;
};

QList<Outcome> outcomeTable()
{
    const QString ok = QStringLiteral("OK");
    const QString badName = QStringLiteral("Invalid Field Name");
    const QString badType = QStringLiteral("Invalid Field Type");
    const QString noSignature = QStringLiteral("Invalid memo field signature");
    const QString header = QStringLiteral("Invalid XBASE File Header");
    const QString length = QStringLiteral("Inconsistent XBASE File Length");
    const QString format = QStringLiteral("Unsupported XBASE file format");
    const QString eof = QStringLiteral("READ: Unexpected end of file");

    return {
        // No records.
        {"dbase-rs/KUNDEN-schema-only.DBF", header, 0, 0, 0, {}},
        {"javadbf/agencias.dbf", header, 0, 0, 0, {}},
        // Sizes that do not add up: 7 and 5 bytes after the records, and a table padded
        // with 0x1A to a multiple of 128 bytes.
        {"dbase-rs/stations_with_deleted.dbf", length, 0, 0, 0, {}},
        {"pyshp/corrupt_too_long.dbf", length, 0, 0, 0, {}},
        {"dbfdatareader/client.dbf", length, 0, 0, 0, {}},
        // Other formats: 0x30, 0x02, 0x32, 0xF5.
        {"dbfread/memotest.dbf", format, 0, 0, 0, {}},
        {"infused-dbf/dbase_02.dbf", format, 0, 0, 0, {}},
        {"infused-dbf/dbase_32.dbf", format, 0, 0, 0, {}},
        {"php-xbase/91.dbf", format, 0, 0, 0, {}},
        // dBase 7 (0x8C, 0x04) passes the version gate by its low bits, then runs out of
        // file looking for the 0x0D among its 48-byte descriptors; so do the two tables
        // that have no 0x0D.
        {"javadbf/dbase_7.dbf", eof, 0, 0, 0, {}},
        {"javadbf/test_delete.dbf", eof, 0, 0, 0, {}},
        {"javadbf/continents-null-header-record-terminator.dbf", eof, 0, 0, 0, {}},
        {"javadbf/continents_no_header_record_terminator.dbf", eof, 0, 0, 0, {}},

        {"dbfdatareader/INNAKLKVT20180904.dbf", ok, 3416, 14, 0, {{ok, 3416 * 14}}},
        {"dbfdatareader/dbase_03_nullchar.dbf", ok, 3, 2, 0, {{ok, 6}}},
        {"dbffile/PYACFL.DBF", ok, 45, 20, 30, {{ok, 45 * 20}}},
        {"dbfread/invalid_value.dbf", ok, 3, 2, 1, {{ok, 6}}},
        {"dbfread/people.dbf", ok, 3, 2, 1, {{ok, 6}}},
        {"dbftables-jl/test.dbf", ok, 7, 6, 0, {{ok, 35}, {badType, 7}}}, // an F field
        {"ems/QYUZK0P.env", ok, 1, 25, 0, {{ok, 25}}},
        {"ems/QYUZK0PV.veh", ok, 1, 28, 0, {{ok, 28}}},
        {"infused-dbf/dbase_03.dbf", ok, 14, 31, 0, {{badName, 14 * 31}}}, // mixed-case names
        // Its memo file has 0 at offset 16, so each memo is read as a dBase IV block.
        {"infused-dbf/dbase_83.dbf", ok, 67, 15, 0, {{ok, 67 * 14}, {noSignature, 67}}},
        {"infused-dbf/dbase_8b.dbf", ok, 10, 6, 0, {{ok, 50}, {badType, 10}}},
        {"infused-dbf/polygon.dbf", ok, 1, 0, 0, {}}, // no fields
        {"javadbf/a3.dbf", ok, 1, 17, 0, {{ok, 17}}},
        {"javadbf/continents.dbf", ok, 7, 1, 0, {{badName, 7}}}, // lower-case names
        {"javadbf/student.dbf", ok, 3, 8, 0, {{badName, 24}}},
        {"php-xbase/cbrf_122019N1.dbf", ok, 442, 4, 0, {{badName, 442 * 4}}}, // after NUL
        {"php-xbase/dBaseIII.dbf", ok, 3, 6, 0, {{ok, 12}, {noSignature, 6}}},
        {"php-xbase/dBaseIV.dbf", ok, 3, 7, 0, {{ok, 18}, {badType, 3}}},
        {"php-xbase/socios.dbf", ok, 3, 133, 0, {{ok, 3 * 133}}},
        {"pyshp/NullTest.dbf", ok, 3, 5, 0, {{ok, 12}, {badName, 3}}},
    };
}

} // namespace

class TestXbaseRealFiles : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();

    void outcomes_data();
    void outcomes();
    void everyTableHasAnOutcome();
    void values_data();
    void values();
    void memos_data();
    void memos();

private:
    QString table(const QString& relative) const { return m_folder.filePath(relative); }

    // The copy lives in a folder without dots: the memo file is found through the first
    // dot of the whole path, and the source tree may sit anywhere.
    tarnaxe::test::TableFolder m_folder;
};

void TestXbaseRealFiles::initTestCase()
{
    QVERIFY2(m_folder.isValid(), "no temporary folder without a dot in its path");
    const QString source = QFINDTESTDATA("../data/dbf");
    QVERIFY2(!source.isEmpty(), "tests/data/dbf not found");
    QDirIterator it(source, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    int copied = 0;
    while (it.hasNext()) {
        const QString from = it.next();
        const QString relative = QDir(source).relativeFilePath(from);
        QFile file(from);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(!m_folder.write(relative, file.readAll()).isEmpty());
        ++copied;
    }
    QVERIFY(copied > 40);
}

void TestXbaseRealFiles::outcomes_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("openMessage");
    QTest::addColumn<int>("records");
    QTest::addColumn<int>("fields");
    QTest::addColumn<int>("deleted");
    QTest::addColumn<Answers>("fieldAnswers");

    for (const Outcome& row : outcomeTable()) {
        QTest::newRow(qPrintable(row.path)) << row.path << row.openMessage << row.records
                                            << row.fields << row.deleted << row.fieldAnswers;
    }
}

void TestXbaseRealFiles::outcomes()
{
    QFETCH(QString, path);
    QFETCH(QString, openMessage);
    QFETCH(int, records);
    QFETCH(int, fields);
    QFETCH(int, deleted);
    QFETCH(Answers, fieldAnswers);

    clsXBASE reader;
    QCOMPARE(reader.OpenFile(table(path)), openMessage == QLatin1String("OK"));
    QCOMPARE(reader.ErrorMessage(), openMessage);
    QCOMPARE(reader.RecordCount(), records);
    QCOMPARE(reader.fields().size(), qsizetype(fields));

    int deletedSeen = 0;
    Answers answers;
    for (qint32 n = 1; n <= reader.RecordCount(); ++n) {
        QVERIFY2(reader.ReadRecord(n), qPrintable(reader.ErrorMessage()));
        deletedSeen += reader.currentRecordDeleted();
        for (const clsXBASE::Field& field : reader.fields()) {
            // The stored name as a person reads it: up to its NUL.
            const qsizetype nul = field.name.indexOf('\0');
            Variant value;
            reader.GetFieldData(fromWindows1252(nul < 0 ? field.name : field.name.left(nul)),
                                value);
            ++answers[reader.ErrorMessage()];
        }
    }
    QCOMPARE(deletedSeen, deleted);
    QCOMPARE(answers, fieldAnswers);
    QVERIFY(!reader.ReadRecord(records + 1));
    QCOMPARE(reader.ErrorMessage(), reader.IsOpen() ? QStringLiteral("Invalid Record Number")
                                                    : QStringLiteral("File Not Open"));
}

void TestXbaseRealFiles::everyTableHasAnOutcome()
{
    // A table added to tests/data/dbf must get its row in outcomeTable.
    QStringList listed;
    for (const Outcome& row : outcomeTable())
        listed << row.path;
    QStringList found;
    QDirIterator it(m_folder.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString relative = QDir(m_folder.path()).relativeFilePath(it.next());
        if (!isMemoOrListing(relative))
            found << relative;
    }
    listed.sort();
    found.sort();
    QCOMPARE(found, listed);
}

void TestXbaseRealFiles::values_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("record");
    QTest::addColumn<QString>("field");
    QTest::addColumn<QString>("message");
    QTest::addColumn<Variant>("expected");

    const auto add = [](const char* name, const char* path, int record, const char* field,
                        const Variant& expected) {
        QTest::newRow(name) << QString::fromLatin1(path) << record << QString::fromLatin1(field)
                            << QStringLiteral("OK") << expected;
    };
    const auto refuse = [](const char* name, const char* path, int record, const char* field,
                           const char* message) {
        QTest::newRow(name) << QString::fromLatin1(path) << record << QString::fromLatin1(field)
                            << QString::fromLatin1(message) << Variant(QString());
    };

    add("people: text untrimmed", "dbfread/people.dbf", 1, "NAME", text("Alice           "));
    add("people: date", "dbfread/people.dbf", 1, "BIRTHDATE", dateOf(1987, 3, 1));
    add("people: deleted record", "dbfread/people.dbf", 3, "name", text("Deleted Guy     "));
    add("invalid_value: no date", "dbfread/invalid_value.dbf", 1, "BIRTHDATE", text("NotAYear"));
    add("invalid_value: date", "dbfread/invalid_value.dbf", 2, "BIRTHDATE", dateOf(1980, 11, 12));
    add("nullchar: NUL kept", "dbfdatareader/dbase_03_nullchar.dbf", 2, "TXTCOL",
        text(QByteArray("\0reak", 5) + QByteArray(20, ' ')));
    add("nullchar: 0x1A in the data", "dbfdatareader/dbase_03_nullchar.dbf", 3, "OTHERTXT",
        text(QByteArray(1, '\0') + QByteArray(23, ' ') + "\x1A"));
    add("PYACFL: deleted record", "dbffile/PYACFL.DBF", 1, "AFACCD", text("04"));
    add("PYACFL: first live record", "dbffile/PYACFL.DBF", 31, "AFACCD", text("02"));
    add("PYACFL: numeric untrimmed", "dbffile/PYACFL.DBF", 31, "AFHRPW", text("  2.92308"));
    add("PYACFL: date", "dbffile/PYACFL.DBF", 31, "AFCRDA", dateOf(1999, 3, 25));
    add("PYACFL: blank date", "dbffile/PYACFL.DBF", 15, "AFCRDA", text("        "));
    add("test: logical F", "dbftables-jl/test.dbf", 1, "BOOL", Variant(false));
    add("test: logical T", "dbftables-jl/test.dbf", 2, "BOOL", Variant(true));
    add("test: logical ?", "dbftables-jl/test.dbf", 4, "BOOL", text("?"));
    add("test: logical Y", "dbftables-jl/test.dbf", 5, "BOOL", Variant(true));
    add("test: star number", "dbftables-jl/test.dbf", 6, "NUMERIC", text("**********"));
    refuse("test: F field", "dbftables-jl/test.dbf", 1, "FLOAT", "Invalid Field Type");
    add("env: one letter", "ems/QYUZK0P.env", 1, "EST_SYSTEM", text("A"));
    add("env: version", "ems/QYUZK0P.env", 1, "SW_VERSION", text("AE-8.0.414"));
    add("env: date", "ems/QYUZK0P.env", 1, "CREATE_DT", dateOf(2017, 6, 19));
    add("env: logical False", "ems/QYUZK0P.env", 1, "STATUS", Variant(false));
    add("env: logical True", "ems/QYUZK0P.env", 1, "incl_admin", Variant(true));
    add("env: time as text", "ems/QYUZK0P.env", 1, "TRANSMT_TM", text("111033"));
    add("env: blank text", "ems/QYUZK0P.env", 1, "RO_ID", text("        "));
    refuse("dbase_03: stored mixed case", "infused-dbf/dbase_03.dbf", 1, "Point_ID",
           "Invalid Field Name");
    refuse("dbase_03: asked upper case", "infused-dbf/dbase_03.dbf", 1, "POINT_ID",
           "Invalid Field Name");
    refuse("dbase_83: memo without signature", "infused-dbf/dbase_83.dbf", 1, "DESC",
           "Invalid memo field signature");
    add("dbase_83: logical", "infused-dbf/dbase_83.dbf", 2, "TAXABLE", Variant(false));
    add("dbase_83: number", "infused-dbf/dbase_83.dbf", 1, "ID",
        text(QByteArray("87").rightJustified(19, ' ')));
    add("dbase_8b: date", "infused-dbf/dbase_8b.dbf", 2, "DATE", dateOf(1970, 12, 31));
    add("dbase_8b: blank logical", "infused-dbf/dbase_8b.dbf", 3, "LOGICAL", text(" "));
    add("dbase_8b: blank date", "infused-dbf/dbase_8b.dbf", 9, "DATE", text("        "));
    add("dbase_8b: blank memo pointer", "infused-dbf/dbase_8b.dbf", 10, "MEMO", text(""));
    refuse("polygon: no fields", "infused-dbf/polygon.dbf", 1, "ID", "Invalid Field Name");
    add("a3: number", "javadbf/a3.dbf", 1, "NUM", text("     1"));
    add("a3: code page 866 bytes", "javadbf/a3.dbf", 1, "F",
        text(QByteArray("\x8C\x8E\x91\x8A\x80\x8B\x85\x8D\x8A\x8E").leftJustified(30, ' ')));
    refuse("continents: lower-case name", "javadbf/continents.dbf", 1, "name",
           "Invalid Field Name");
    refuse("cbrf: bytes after the NUL", "php-xbase/cbrf_122019N1.dbf", 1, "REGN",
           "Invalid Field Name");
    add("dBaseIII: date", "php-xbase/dBaseIII.dbf", 1, "BIRTHDAY", dateOf(1960, 11, 1));
    add("dBaseIII: logical", "php-xbase/dBaseIII.dbf", 3, "IS_MAN", Variant(true));
    refuse("dBaseIII: memo file with 0 at offset 16", "php-xbase/dBaseIII.dbf", 1, "BIO",
           "Invalid memo field signature");
    add("dBaseIV: text", "php-xbase/dBaseIV.dbf", 2, "NAME", text("Rocket Raccoon      "));
    add("dBaseIV: number", "php-xbase/dBaseIV.dbf", 1, "MONEY", text("             12.1235"));
    refuse("dBaseIV: F field", "php-xbase/dBaseIV.dbf", 1, "RATE", "Invalid Field Type");
    add("socios: date", "php-xbase/socios.dbf", 1, "FECINGRESO", dateOf(2019, 1, 7));
    add("socios: NUL date", "php-xbase/socios.dbf", 1, "FECSALIDA", text(QByteArray(8, '\0')));
    add("socios: number with comma", "php-xbase/socios.dbf", 2, "SALARIO", text("1,200.00"));
    add("NullTest: star number", "pyshp/NullTest.dbf", 1, "MY_INT", text("**********"));
    add("NullTest: zero date", "pyshp/NullTest.dbf", 1, "MY_DATE", text("00000000"));
    add("NullTest: date", "pyshp/NullTest.dbf", 2, "MY_DATE", dateOf(2014, 12, 3));
    refuse("NullTest: lower-case name", "pyshp/NullTest.dbf", 2, "ID", "Invalid Field Name");
    add("INNAKLKVT: date", "dbfdatareader/INNAKLKVT20180904.dbf", 1, "DATE_REG",
        dateOf(2018, 7, 2));
    add("INNAKLKVT: last record", "dbfdatareader/INNAKLKVT20180904.dbf", 3416, "SUMPDV",
        text(QByteArray("-511.72000000").rightJustified(20, ' ')));
    add("INNAKLKVT: blank memo pointer", "dbfdatareader/INNAKLKVT20180904.dbf", 1, "REASON",
        text(""));
}

void TestXbaseRealFiles::values()
{
    QFETCH(QString, path);
    QFETCH(int, record);
    QFETCH(QString, field);
    QFETCH(QString, message);
    QFETCH(Variant, expected);

    clsXBASE reader;
    QVERIFY2(reader.OpenFile(table(path)), qPrintable(reader.ErrorMessage()));
    QVERIFY2(reader.ReadRecord(record), qPrintable(reader.ErrorMessage()));
    Variant value;
    QCOMPARE(reader.GetFieldData(field, value), message == QLatin1String("OK"));
    QCOMPARE(reader.ErrorMessage(), message);
    QCOMPARE(describeVariant(value), describeVariant(expected));
    QVERIFY(value == expected);
}

void TestXbaseRealFiles::memos_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("record");
    QTest::addColumn<QString>("field");
    QTest::addColumn<int>("length");
    QTest::addColumn<QByteArray>("head");
    QTest::addColumn<QByteArray>("tail");

    // dBase IV memo lengths here count the 8 header bytes, and our reader takes the
    // length as the text's: each text brings the 8 bytes that follow it in the file.
    const QByteArray eightNuls(8, '\0');
    QTest::newRow("EMS damage memo")
        << "ems/QYUZK0PV.veh" << 1 << "DMG_MEMO" << 566 << QByteArray("2517850961643BFAID1")
        << QByteArray("6C 1\x1A\x1A") + eightNuls;
    QTest::newRow("EMS options over four blocks")
        << "ems/QYUZK0PV.veh" << 1 << "V_OPTIONS" << 1553 << QByteArray("AC;    ")
        << QByteArray("eats\x1A\x1A") + eightNuls;
    QTest::newRow("EMS memo of the end marks only")
        << "ems/QYUZK0PV.veh" << 1 << "V_MEMO" << 10 << QByteArray("\x1A\x1A") + eightNuls
        << QByteArray("\x1A\x1A") + eightNuls;
    QTest::newRow("dBase IV memo with stale bytes")
        << "infused-dbf/dbase_8b.dbf" << 1 << "MEMO" << 20 << QByteArray("First memo\r\n")
        << QByteArray("\x1F \x1F \x1F \x1F ");
    QTest::newRow("dBase IV memo, last record")
        << "infused-dbf/dbase_8b.dbf" << 9 << "MEMO" << 19 << QByteArray("Nineth memo")
        << QByteArray("memoo\x1F \x1F \x1F \x1F");
    QTest::newRow("dBase IV text over three blocks")
        << "php-xbase/dBaseIV.dbf" << 1 << "BIO" << 1488 << QByteArray("Groot (/")
        << QByteArray("eme.\r\n") + eightNuls;
    QTest::newRow("dBase IV JPEG holding 0x1A")
        << "php-xbase/dBaseIV.dbf" << 1 << "IMAGE" << 27305 << QByteArray("\xFF\xD8\xFF\xE0")
        << QByteArray("\xFF\xD9") + eightNuls;
    QTest::newRow("dBase IV PNG of 188 KB")
        << "php-xbase/dBaseIV.dbf" << 3 << "IMAGE" << 187819 << QByteArray("\x89PNG\r\n\x1A\n")
        << QByteArray("IEND\xAE\x42\x60\x82") + eightNuls;
    QTest::newRow("old-style memo, code page 866")
        << "dbfdatareader/INNAKLKVT20180904.dbf" << 3338 << "REASON" << 989
        << QByteArray("\xC4\xEE\xEA\xF3\xEC\xE5\xED\xF2 ") << QByteArray("\" (26).\r\n");
}

void TestXbaseRealFiles::memos()
{
    QFETCH(QString, path);
    QFETCH(int, record);
    QFETCH(QString, field);
    QFETCH(int, length);
    QFETCH(QByteArray, head);
    QFETCH(QByteArray, tail);

    clsXBASE reader;
    QVERIFY2(reader.OpenFile(table(path)), qPrintable(reader.ErrorMessage()));
    QVERIFY(reader.ReadRecord(record));
    Variant value;
    QVERIFY2(reader.GetFieldData(field, value), qPrintable(reader.ErrorMessage()));
    QVERIFY(value.isString());
    // One character per byte, so the bytes come back whole.
    const QByteArray bytes = toWindows1252(value.stringValue());
    QCOMPARE(fromWindows1252(bytes), value.stringValue());
    QCOMPARE(bytes.size(), qsizetype(length));
    QCOMPARE(bytes.left(head.size()), head);
    QCOMPARE(bytes.right(tail.size()), tail);
}

QTEST_GUILESS_MAIN(TestXbaseRealFiles)
#include "tst_xbase_realfiles.moc"
