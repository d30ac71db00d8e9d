// The table reader: broken tables and memo files refused cleanly, every field type
// converted, and the tables of other programs (tests/data/dbf) and the inputs kept from
// fuzzing (tests/data/fuzz-*) each with one exact outcome. The test build runs under
// AddressSanitizer, so a read outside a buffer fails here too.

#include "emswriter/DbfWriter.h"
#include "fuzz/Exercise.h"
#include "support/TableFolder.h"
#include "support/VariantText.h"

#include <QDirIterator>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::emswriter;
using test::dateOf;
using test::describeVariant;

namespace {

const QString kOk = "OK";
const QString kEof = "READ: Unexpected end of file";
const QString kOverflow = "READ: Overflow";
const QString kBeyond = "GETFIELD: Field beyond end of record";
const QString kHeader = "Invalid XBASE File Header";
const QString kLength = "Inconsistent XBASE File Length";
const QString kFormat = "Unsupported XBASE file format";
const QString kBadName = "Invalid Field Name";
const QString kBadType = "Invalid Field Type";
const QString kNoSignature = "Invalid memo field signature";

// A table of two 5-byte fields A and B, one record of 11 bytes at 97, its header bent.
struct Bend {
    int version = 0x03;
    qint64 count = -1, header = -1, length = -1; // -1: as written
    int size = 0; // 0x1A bytes added or, below 0, bytes cut from the end
};
QByteArray twoFields(const Bend& b)
{
    DbfWriter table({{"A", 'C', 5}, {"B", 'C', 5}}, quint8(b.version));
    table.addRecord({"aaaaa", "bbbbb"});
    table.endOfFileMark = false;
    table.recordCountOverride = b.count;
    table.headerLengthOverride = b.header;
    table.recordLengthOverride = b.length;
    const QByteArray bytes = table.bytes();
    return b.size < 0 ? bytes.chopped(-b.size) : bytes + QByteArray(b.size, '\x1A');
}

struct Outcome {
    const char* path;
    QString open;
    int records, fields, deleted;
    QMap<QString, int> answers; // how often each message answered, over every field
};

} // namespace

Q_DECLARE_METATYPE(tarnaxe::Variant)
Q_DECLARE_METATYPE(Outcome)

class TestXbase : public QObject {
    Q_OBJECT

    // Folders without a dot in their path: a memo file is found through the first dot.
    test::TableFolder m_folder;
    test::TableFolder m_real; // a copy of tests/data/dbf

    // The tables of tests/data/dbf, by how they open and what their fields answer.
    static QList<Outcome> outcomes()
    {
        return {
            // No records; sizes that do not add up (bytes after the records, 0x1A padding).
            {"dbase-rs/KUNDEN-schema-only.DBF", kHeader, 0, 0, 0, {}},
            {"javadbf/agencias.dbf", kHeader, 0, 0, 0, {}},
            {"dbase-rs/stations_with_deleted.dbf", kLength, 0, 0, 0, {}},
            {"pyshp/corrupt_too_long.dbf", kLength, 0, 0, 0, {}},
            {"dbfdatareader/client.dbf", kLength, 0, 0, 0, {}},
            // Other formats: 0x30, 0x02, 0x32, 0xF5.
            {"dbfread/memotest.dbf", kFormat, 0, 0, 0, {}},
            {"infused-dbf/dbase_02.dbf", kFormat, 0, 0, 0, {}},
            {"infused-dbf/dbase_32.dbf", kFormat, 0, 0, 0, {}},
            {"php-xbase/91.dbf", kFormat, 0, 0, 0, {}},
            // dBase 7 passes the version gate by its low bits, then runs out of file looking
            // for the 0x0D among its 48-byte descriptors; so do the tables without a 0x0D.
            {"javadbf/dbase_7.dbf", kEof, 0, 0, 0, {}},
            {"javadbf/test_delete.dbf", kEof, 0, 0, 0, {}},
            {"javadbf/continents-null-header-record-terminator.dbf", kEof, 0, 0, 0, {}},
            {"javadbf/continents_no_header_record_terminator.dbf", kEof, 0, 0, 0, {}},
            {"dbfdatareader/INNAKLKVT20180904.dbf", kOk, 3416, 14, 0, {{kOk, 3416 * 14}}},
            {"dbfdatareader/dbase_03_nullchar.dbf", kOk, 3, 2, 0, {{kOk, 6}}},
            {"dbffile/PYACFL.DBF", kOk, 45, 20, 30, {{kOk, 45 * 20}}},
            {"dbfread/invalid_value.dbf", kOk, 3, 2, 1, {{kOk, 6}}},
            {"dbfread/people.dbf", kOk, 3, 2, 1, {{kOk, 6}}},
            {"dbftables-jl/test.dbf", kOk, 7, 6, 0, {{kOk, 35}, {kBadType, 7}}}, // an F field
            {"ems/QYUZK0P.env", kOk, 1, 25, 0, {{kOk, 25}}},
            {"ems/QYUZK0PV.veh", kOk, 1, 28, 0, {{kOk, 28}}},
            {"infused-dbf/dbase_03.dbf", kOk, 14, 31, 0, {{kBadName, 14 * 31}}}, // mixed case
            // Its memo file has 0 at offset 16, so each memo is read as a dBase IV block.
            {"infused-dbf/dbase_83.dbf", kOk, 67, 15, 0, {{kOk, 67 * 14}, {kNoSignature, 67}}},
            {"infused-dbf/dbase_8b.dbf", kOk, 10, 6, 0, {{kOk, 50}, {kBadType, 10}}},
            {"infused-dbf/polygon.dbf", kOk, 1, 0, 0, {}}, // no fields
            {"javadbf/a3.dbf", kOk, 1, 17, 0, {{kOk, 17}}},
            {"javadbf/continents.dbf", kOk, 7, 1, 0, {{kBadName, 7}}}, // lower-case names
            {"javadbf/student.dbf", kOk, 3, 8, 0, {{kBadName, 24}}},
            {"php-xbase/cbrf_122019N1.dbf", kOk, 442, 4, 0, {{kBadName, 442 * 4}}}, // after NUL
            {"php-xbase/dBaseIII.dbf", kOk, 3, 6, 0, {{kOk, 12}, {kNoSignature, 6}}},
            {"php-xbase/dBaseIV.dbf", kOk, 3, 7, 0, {{kOk, 18}, {kBadType, 3}}},
            {"php-xbase/socios.dbf", kOk, 3, 133, 0, {{kOk, 3 * 133}}},
            {"pyshp/NullTest.dbf", kOk, 3, 5, 0, {{kOk, 12}, {kBadName, 3}}},
        };
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_folder.isValid() && m_real.isValid());
        const QString source = QFINDTESTDATA("data/dbf");
        QVERIFY2(!source.isEmpty(), "tests/data/dbf not found");
        for (QDirIterator it(source, QDir::Files, QDirIterator::Subdirectories); it.hasNext();) {
            QFile file(it.next());
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QString relative = QDir(source).relativeFilePath(file.fileName());
            QVERIFY(!m_real.write(relative, file.readAll()).isEmpty());
        }
    }

    // How a table opens, and what record 1 and its field B (bytes 7 to 11) give: one row for
    // each refusal and each boundary of the header.
    void opening_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QStringList>("outcome"); // open, record count, fields, read, field B
        QTest::addColumn<QString>("asked");
        QTest::addColumn<Variant>("expected"); // empty: the stored bytes of B
        const auto row = [](const char* name, const QByteArray& bytes, const QString& open,
                            int records = 0, int fields = 0, const QString& read = kOk,
                            const QString& fieldB = kOk) {
            QTest::newRow(name) << bytes
                                << QStringList{open, QString::number(records),
                                               QString::number(fields), read, fieldB}
                                << "B" << Variant();
        };
        row("version 0x30", twoFields({.version = 0x30}), kFormat);
        row("record length 0", twoFields({.length = 0}), kHeader);
        row("end-of-file mark", twoFields({.size = 1}), kOk, 1, 2);
        row("two bytes more", twoFields({.size = 2}), kLength);
        row("one byte short", twoFields({.size = -1}), kOk, 1, 2, kEof, "");
        row("shorter than a header", twoFields({.size = -77}), kEof);
        row("descriptor cut by the end",
            twoFields({.count = 1, .header = 51, .length = 1, .size = -56}), kEof);
        row("negative record count", twoFields({.count = 0xFFFFFFFF, .header = 119}), kOk, -1, 2,
            "Invalid Record Number");
        row("negative record length", twoFields({.header = 109, .length = 0xFFFF}), kOk, 1, 2,
            "READ: Invalid record length");
        row("count times length", twoFields({.count = 0x7FFFFFFF, .length = 2}), kOverflow);
        // Records are read at the header length, record-length bytes, whatever lies there.
        row("record shorter than its fields", twoFields({.header = 100, .length = 8}), kOk, 1, 2,
            kOk, kBeyond);
        // A name that starts with 0x0D ends the list: later fields are not known.
        row("0x0D starts a name", DbfWriter({{"A", 'C', 5}, {"\rB", 'C', 5}}).addRecord({}).bytes(),
            kOk, 1, 1, kOk, kBadName);
        // A field between two others, found by its stored 11 bytes (padding included) against
        // the name asked in upper case, and converted by its type; the empty text when refused.
        const auto fieldRow = [](const char* tag, const QByteArray& name, const QByteArray& field,
                                 const QString& asked, const Variant& expected,
                                 const QString& message = kOk) {
            DbfWriter writer(
                {{"OTHER", 'C', 2}, {name, field.at(0), field.at(1) - '0'}, {"AFTER", 'C', 3}});
            QTest::newRow(tag) << writer.addRecord({"zz", field.mid(2), ">>>"}).bytes()
                               << QStringList{kOk, "1", "3", kOk, message} << asked << expected;
        };
        const auto value = [&](const char* tag, const QByteArray& field, const Variant& expected) {
            fieldRow(tag, "VALUE", field, "value", expected);
        };
        const auto name = [&](const char* tag, const QByteArray& stored, const QString& asked,
                              bool found) {
            fieldRow(tag, stored, "C5abc", asked, found ? "abc  " : "", found ? kOk : kBadName);
        };
        name("bytes after the NUL", QByteArray("NAME\0XYZ", 8), "NAME", false);
        name("11 letters, asked longer", "ABCDEFGHIJK", "abcdefghijkL", true);
        name("Windows-1252", "\xC9TAT", "état", true);
        name("outside Windows-1252", "?", "\u0101", false);
        fieldRow("the first of two", "OTHER", "C5abc", "other", "zz");
        value("C padded, untrimmed", "C6AB", "AB    ");
        value("c lower-case type", "c5\x80\xE9\x93x\x94", "€é“x”");
        value("N untrimmed", "N8   12.50", "   12.50");
        value("d lower-case type", "d819991231", dateOf(1999, 12, 31));
        for (const char* none : {"19000229", "        "})
            value(none, QByteArray("D") + char('0' + strlen(none)) + none, none);
        for (const char* letter : {"Y", "y", "T", "t", "l", "N", "n", "F", "f", "?", " "})
            value(
                letter, QByteArray(*letter == 'l' ? "l1T" : "L1") + (*letter == 'l' ? "" : letter),
                QByteArray("?  ").contains(letter) ? Variant(letter)
                                                   : Variant(QByteArray("lYyTt").contains(letter)));
        fieldRow("F", "VALUE", "F412.5", "VALUE", "", kBadType);
    }

    void opening()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QStringList, outcome);
        QFETCH(QString, asked);
        QFETCH(Variant, expected);
        clsXBASE reader;
        QCOMPARE(reader.OpenFile(m_folder.write("T.DBF", bytes)), outcome[0] == kOk);
        QCOMPARE(reader.ErrorMessage(), outcome[0]);
        QCOMPARE(reader.IsOpen(), outcome[0] == kOk);
        QCOMPARE(reader.RecordCount(), outcome[1].toInt());
        QCOMPARE(reader.fields().size(), outcome[2].toInt());
        if (!reader.IsOpen())
            return;
        QCOMPARE(reader.ReadRecord(1), outcome[3] == kOk);
        QCOMPARE(reader.ErrorMessage(), outcome[3]);
        if (outcome[3] != kOk)
            return;
        const qsizetype start = reader.headerLength();
        QCOMPARE(reader.recordBuffer(), bytes.mid(start, reader.recordLength()));
        Variant value(true);
        QCOMPARE(reader.GetFieldData(asked, value), outcome[4] == kOk);
        QCOMPARE(reader.ErrorMessage(), outcome[4]);
        if (expected.type() == Variant::Type::Empty)
            expected = fromWindows1252(outcome[4] == kOk ? bytes.mid(start + 6, 5) : "");
        QCOMPARE(describeVariant(value), describeVariant(expected));
        // The day alone, for lists of estimates, agrees with the full conversion.
        std::optional<QDate> day(QDate(2000, 1, 1));
        QCOMPARE(reader.GetFieldDate(asked, day), outcome[4] == kOk);
        QCOMPARE(day.has_value(), expected.type() == Variant::Type::Date);
        QVERIFY(!day || *day == expected.dateValue().date());
    }

    void realTables_data()
    {
        QTest::addColumn<Outcome>("outcome");
        for (const Outcome& row : outcomes())
            QTest::newRow(row.path) << row;
    }

    void realTables()
    {
        QFETCH(Outcome, outcome);
        clsXBASE reader;
        Variant none(true);
        QCOMPARE(reader.OpenFile(m_real.filePath(outcome.path)), outcome.open == kOk);
        QCOMPARE(reader.ErrorMessage(), outcome.open);
        QCOMPARE(reader.RecordCount(), outcome.records);
        QCOMPARE(reader.fields().size(), outcome.fields);
        QCOMPARE(reader.GetFieldData("X", none), false);
        QCOMPARE(reader.ErrorMessage(), outcome.open == kOk ? "No Active Record" : "File Not Open");
        int deleted = 0;
        QMap<QString, int> answers;
        for (qint32 n = 1; n <= reader.RecordCount(); ++n) {
            QVERIFY2(reader.ReadRecord(n), qPrintable(reader.ErrorMessage()));
            deleted += reader.currentRecordDeleted();
            for (const clsXBASE::Field& field : reader.fields()) {
                // The stored name as a person reads it: up to its NUL.
                Variant value;
                reader.GetFieldData(fromWindows1252(field.name.left(field.name.indexOf('\0'))),
                                    value);
                ++answers[reader.ErrorMessage()];
            }
        }
        QCOMPARE(deleted, outcome.deleted);
        QCOMPARE(answers, outcome.answers);
        // Past the last record: refused, and the last record stays current.
        QVERIFY(!reader.ReadRecord(outcome.records + 1) &&
                reader.currentRecord() == outcome.records);
    }

    // Each input kept from fuzzing (a table and its memo file, or an EMS set: see
    // fuzz/Exercise.h) through every operation; the seeds are whole sets that read.
    void fuzzInputs_data()
    {
        QTest::addColumn<QString>("path");
        for (const char* kept : {"data/fuzz-xbase", "data/fuzz-ems"}) {
            const QString folder = QFINDTESTDATA(kept);
            QVERIFY2(!folder.isEmpty(), kept);
            const QStringList names = QDir(folder).entryList({"*"}, QDir::Files, QDir::Name);
            QVERIFY(names.size() >= 5);
            for (const QString& name : names) {
                if (name != "README.md")
                    QTest::addRow("%s/%s", kept + 5, qPrintable(name)) << folder + '/' + name;
            }
        }
    }

    void fuzzInputs()
    {
        QFETCH(QString, path);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString folder = m_folder.filePath("fuzz");
        QVERIFY(QDir().mkpath(folder));
        bool whole = false;
        const QString problem = path.contains("fuzz-ems")
                                    ? test::exerciseEmsSet(folder, file.readAll(), &whole)
                                    : test::exerciseTable(folder, file.readAll(), 64);
        QVERIFY2(problem.isEmpty(), qPrintable(problem));
        QVERIFY(whole || !QFileInfo(path).fileName().startsWith("seed-"));
    }
};

QTEST_GUILESS_MAIN(TestXbase)
#include "tst_xbase.moc"
