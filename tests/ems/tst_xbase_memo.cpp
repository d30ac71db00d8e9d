// Memo fields: the memo file found through the table's path, the two memo styles chosen
// by the memo file's own version byte, and the refusals of broken memo files.

#include "ems/clsXBASE.h"
#include "emswriter/DbfWriter.h"
#include "support/TableFolder.h"

#include <QDir>
#include <QFile>
#include <QTest>
#include <unistd.h>

using namespace tarnaxe;
using tarnaxe::emswriter::DbfWriter;
using tarnaxe::emswriter::DbtWriter;

namespace {

QByteArray pointer(int block)
{
    return QByteArray::number(block).rightJustified(10, ' ');
}

DbfWriter memoTable(const QByteArray& memoPointer, quint8 version = 0x83)
{
    DbfWriter table({{"NAME", 'C', 6}, {"NOTES", 'M', 10}}, version);
    table.addRecord({"first", memoPointer});
    return table;
}

// Five memos of the old style; the block of each is its number.
DbtWriter numberedMemos()
{
    DbtWriter memo(3);
    for (const char* text : {"one", "two", "three", "four", "five"})
        memo.addMemo(text);
    return memo;
}

} // namespace

class TestXbaseMemo : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void terminatedMemos_data();
    void terminatedMemos();
    void terminatorSplitByChunks();
    void terminatedMemoRunsToEndOfFile();
    void pointers_data();
    void pointers();
    void blankPointerNeedsNoMemoFile_data();
    void blankPointerNeedsNoMemoFile();
    void memosWithHeader_data();
    void memosWithHeader();
    void lengthIsTextLength_data();
    void lengthIsTextLength();
    void styleComesFromMemoFile_data();
    void styleComesFromMemoFile();
    void refusals_data();
    void refusals();
    void missingMemoFile_data();
    void missingMemoFile();
    void unreadableMemoFile();
    void memoFileName_data();
    void memoFileName();

private:
    // Writes EST.DBF and EST.DBT, reads NOTES of record 1; the message is left in reader.
    bool readNotes(const DbfWriter& table, const QByteArray& memo, QString& text);

    tarnaxe::test::TableFolder m_folder;
    clsXBASE m_reader;
};

void TestXbaseMemo::initTestCase()
{
    QVERIFY2(m_folder.isValid(), "no temporary folder without a dot in its path");
}

void TestXbaseMemo::cleanup()
{
    m_reader.CloseFile();
    QDir(m_folder.path()).removeRecursively();
    QDir().mkpath(m_folder.path());
}

bool TestXbaseMemo::readNotes(const DbfWriter& table, const QByteArray& memo, QString& text)
{
    const QString path = m_folder.write(QStringLiteral("EST.DBF"), table.bytes());
    if (!memo.isNull())
        m_folder.write(QStringLiteral("EST.DBT"), memo);
    if (!m_reader.OpenFile(path) || !m_reader.ReadRecord(1))
        qFatal("cannot read the table: %s", qPrintable(m_reader.ErrorMessage()));
    Variant value(true);
    const bool ok = m_reader.GetFieldData(QStringLiteral("NOTES"), value);
    text = value.isString() ? value.stringValue() : QStringLiteral("<not a string>");
    // A failed memo read leaves the empty string behind.
    if (!ok && !text.isEmpty())
        qFatal("a failed read returned text");
    return ok;
}

void TestXbaseMemo::terminatedMemos_data()
{
    QTest::addColumn<QByteArray>("stored");
    QTest::addColumn<QString>("expected");

    QTest::newRow("short") << QByteArray("Left front door") << "Left front door";
    QTest::newRow("empty") << QByteArray("") << "";
    QTest::newRow("fills its block") << QByteArray(510, 'a') << QString(510, QLatin1Char('a'));
    QTest::newRow("over several blocks")
        << QByteArray(1500, 'b') + "end" << QString(1500, QLatin1Char('b')) + "end";
    QTest::newRow("single 0x1A kept") << QByteArray("a\x1A"
                                                    "b")
                                      << QStringLiteral("a\x1A"
                                                        "b");
    QTest::newRow("Windows-1252") << QByteArray("caf\xE9 \x93q\x94") << QStringLiteral("café “q”");
    QTest::newRow("line breaks") << QByteArray("one\r\ntwo") << "one\r\ntwo";
}

void TestXbaseMemo::terminatedMemos()
{
    QFETCH(QByteArray, stored);
    QFETCH(QString, expected);

    DbtWriter memo(3);
    memo.addMemo("a memo before");
    const int block = memo.addMemo(stored);
    memo.addMemo("a memo after");
    QString text;
    QVERIFY2(readNotes(memoTable(pointer(block)), memo.bytes(), text),
             qPrintable(m_reader.ErrorMessage()));
    QCOMPARE(m_reader.ErrorMessage(), QStringLiteral("OK"));
    QCOMPARE(text, expected);
}

void TestXbaseMemo::terminatorSplitByChunks()
{
    // The pair is looked for inside each 512-byte chunk only: 0x1A at the end of one
    // chunk and 0x1A at the start of the next do not end the text.
    DbtWriter memo(3);
    memo.rawBytes() += QByteArray(511, 'a') + "\x1A\x1A" + "tail\x1A\x1A";
    memo.rawBytes() += QByteArray(1024 - memo.rawBytes().size() % 512, '\0');
    QString text;
    QVERIFY(readNotes(memoTable(pointer(1)), memo.bytes(), text));
    QCOMPARE(text, QString(511, QLatin1Char('a')) + QStringLiteral("\x1A\x1Atail"));
}

void TestXbaseMemo::terminatedMemoRunsToEndOfFile()
{
    DbtWriter memo(3);
    memo.rawBytes() += QByteArray(700, 'x') + "\x1A"; // one 0x1A only, then the end
    QString text;
    QVERIFY(readNotes(memoTable(pointer(1)), memo.bytes(), text));
    QCOMPARE(text, QString(700, QLatin1Char('x')) + QLatin1Char('\x1A'));
}

void TestXbaseMemo::pointers_data()
{
    QTest::addColumn<QByteArray>("stored");
    QTest::addColumn<QString>("expected");

    QTest::newRow("blank-padded") << QByteArray("         2") << "two";
    QTest::newRow("zero-padded") << QByteArray("0000000002") << "two";
    QTest::newRow("left-aligned") << QByteArray("3") << "three";
    QTest::newRow("fraction below half") << QByteArray("2.4") << "two";
    QTest::newRow("half rounds to even, down") << QByteArray("2.5") << "two";
    QTest::newRow("half rounds to even, up") << QByteArray("3.5") << "four";
    QTest::newRow("exponent") << QByteArray("5E0") << "five";
    QTest::newRow("not a number") << QByteArray("abc") << "";
    QTest::newRow("digits then letters") << QByteArray("2x") << "";
    QTest::newRow("NUL bytes") << QByteArray(10, '\0') << "";
}

void TestXbaseMemo::pointers()
{
    QFETCH(QByteArray, stored);
    QFETCH(QString, expected);

    QString text;
    QVERIFY2(readNotes(memoTable(stored), numberedMemos().bytes(), text),
             qPrintable(m_reader.ErrorMessage()));
    QCOMPARE(text, expected);
}

void TestXbaseMemo::blankPointerNeedsNoMemoFile_data()
{
    QTest::addColumn<QByteArray>("stored");

    QTest::newRow("blanks") << QByteArray("          ");
    QTest::newRow("NUL bytes") << QByteArray(10, '\0');
}

void TestXbaseMemo::blankPointerNeedsNoMemoFile()
{
    QFETCH(QByteArray, stored);

    QString text = QStringLiteral("unchanged");
    QVERIFY2(readNotes(memoTable(stored), QByteArray(), text), qPrintable(m_reader.ErrorMessage()));
    QCOMPARE(m_reader.ErrorMessage(), QStringLiteral("OK"));
    QCOMPARE(text, QString(""));
}

void TestXbaseMemo::memosWithHeader_data()
{
    QTest::addColumn<int>("blockSize");
    QTest::addColumn<QByteArray>("stored");
    QTest::addColumn<QString>("expected");

    QTest::newRow("512-byte blocks")
        << 512 << QByteArray("Right rear quarter panel") << "Right rear quarter panel";
    QTest::newRow("64-byte blocks, over several")
        << 64 << QByteArray(300, 'q') << QString(300, QLatin1Char('q'));
    QTest::newRow("1024-byte blocks")
        << 1024 << QByteArray(1500, 'r') << QString(1500, QLatin1Char('r'));
    // 0x1A bytes are text here: the length says where the text ends.
    QTest::newRow("0x1A pair inside") << 512
                                      << QByteArray("a\x1A\x1A"
                                                    "b")
                                      << QStringLiteral("a\x1A\x1A"
                                                        "b");
    QTest::newRow("Windows-1252") << 512 << QByteArray("\x80 5") << QStringLiteral("€ 5");
}

void TestXbaseMemo::memosWithHeader()
{
    QFETCH(int, blockSize);
    QFETCH(QByteArray, stored);
    QFETCH(QString, expected);

    DbtWriter memo(0, blockSize);
    memo.addMemo("a memo before");
    const int block = memo.addMemo(stored);
    memo.addMemo("a memo after");
    QString text;
    QVERIFY2(readNotes(memoTable(pointer(block), 0x8B), memo.bytes(), text),
             qPrintable(m_reader.ErrorMessage()));
    QCOMPARE(text, expected);
}

void TestXbaseMemo::lengthIsTextLength_data()
{
    QTest::addColumn<qint64>("lengthField");
    QTest::addColumn<QString>("expected");

    QTest::newRow("the text") << qint64(5) << "hello";
    // Writers that count the 8 header bytes get 8 bytes of what follows.
    QTest::newRow("text and header counted")
        << qint64(13) << QStringLiteral("hello") + QString(8, QChar(0));
    QTest::newRow("shorter") << qint64(4) << "hell";
    QTest::newRow("zero") << qint64(0) << "";
    QTest::newRow("negative") << qint64(0xFFFFFFFF) << "";
}

void TestXbaseMemo::lengthIsTextLength()
{
    QFETCH(qint64, lengthField);
    QFETCH(QString, expected);

    DbtWriter memo(0);
    const int block = memo.addMemoWithLength("hello", lengthField);
    QString text;
    QVERIFY2(readNotes(memoTable(pointer(block), 0x8B), memo.bytes(), text),
             qPrintable(m_reader.ErrorMessage()));
    QCOMPARE(text, expected);
}

void TestXbaseMemo::styleComesFromMemoFile_data()
{
    QTest::addColumn<int>("tableVersion");
    QTest::addColumn<int>("memoVersion");
    QTest::addColumn<int>("blockSizeWord");

    QTest::newRow("old memo beside a dBase IV table") << 0x8B << 3 << -1;
    QTest::newRow("dBase IV memo beside an old table") << 0x83 << 0 << -1;
    QTest::newRow("memo beside a table without memo flag") << 0x03 << 0 << -1;
    // Version 3: the word at offset 20 plays no part, blocks are 512 bytes.
    QTest::newRow("old memo with a block size word") << 0x83 << 3 << 64;
    // Version 0 with 0 at offset 20: 512-byte blocks.
    QTest::newRow("dBase IV memo without block size") << 0x8B << 0 << 0;
}

void TestXbaseMemo::styleComesFromMemoFile()
{
    QFETCH(int, tableVersion);
    QFETCH(int, memoVersion);
    QFETCH(int, blockSizeWord);

    DbtWriter memo(memoVersion);
    memo.addMemo("first memo");
    const int block = memo.addMemo("second memo");
    if (blockSizeWord >= 0) {
        memo.rawBytes()[20] = char(blockSizeWord);
        memo.rawBytes()[21] = 0;
    }
    QString text;
    QVERIFY2(readNotes(memoTable(pointer(block), quint8(tableVersion)), memo.bytes(), text),
             qPrintable(m_reader.ErrorMessage()));
    QCOMPARE(text, QStringLiteral("second memo"));
}

void TestXbaseMemo::refusals_data()
{
    QTest::addColumn<QByteArray>("memo");
    QTest::addColumn<QByteArray>("stored");
    QTest::addColumn<QString>("message");

    const QByteArray plain = numberedMemos().bytes(); // 6 blocks of 512
    DbtWriter withHeader(0);
    withHeader.addMemo("hello");
    const QByteArray headed = withHeader.bytes(); // 2 blocks of 512

    for (int version : {1, 2, 4, 0x83, 0x8B, 0xFF}) {
        QByteArray bytes = plain;
        bytes[16] = char(version);
        QTest::addRow("memo version %d", version)
            << bytes << pointer(1) << "Unsupported XBASE DBT version";
    }
    QTest::newRow("block at the end") << plain << pointer(6) << "Inconsistent DBF File Size";
    QTest::newRow("block far beyond the end")
        << plain << pointer(4194303) << "Inconsistent DBF File Size";
    QTest::newRow("block of 2^31") << plain << QByteArray("2147483648") << "READ DBT: Overflow";
    QTest::newRow("offset of 2^31") << plain << pointer(4194304) << "READ DBT: Overflow";
    QTest::newRow("block below -2^31")
        << plain << QByteArray("-2147483649") << "READ DBT: Overflow";
    QTest::newRow("ten nines") << plain << QByteArray("9999999999") << "READ DBT: Overflow";
    QTest::newRow("negative block")
        << plain << QByteArray("-1") << "READ DBT: Invalid file position";
    QTest::newRow("beyond every whole number")
        << plain << QByteArray("1E300") << "GETFIELD: Overflow";

    QByteArray badSignature = headed;
    badSignature[512 + 2] = 0x09;
    QTest::newRow("signature FF FF 09 00")
        << badSignature << pointer(1) << "Invalid memo field signature";
    QTest::newRow("header read as a memo block")
        << headed << pointer(0) << "Invalid memo field signature";
    QByteArray longer = headed;
    longer[512 + 4] = char(0xF9); // 505 bytes: one past the end of the file
    longer[512 + 5] = 0x01;
    QTest::newRow("length beyond the file")
        << longer << pointer(1) << "READ DBT: Unexpected end of file";
    QByteArray huge = headed;
    huge.replace(512 + 4, 4, "\xFF\xFF\xFF\x7F");
    QTest::newRow("length 2^31-1") << huge << pointer(1) << "READ DBT: Unexpected end of file";
    QTest::newRow("block header cut short")
        << headed.left(512 + 5) << pointer(1) << "READ DBT: Unexpected end of file";
    QTest::newRow("no version byte")
        << plain.left(16) << pointer(1) << "READ DBT: Unexpected end of file";
    QByteArray noBlockSize = headed.left(21);
    QTest::newRow("no block size word")
        << noBlockSize << pointer(0) << "READ DBT: Unexpected end of file";
}

void TestXbaseMemo::refusals()
{
    QFETCH(QByteArray, memo);
    QFETCH(QByteArray, stored);
    QFETCH(QString, message);

    QString text;
    QVERIFY(!readNotes(memoTable(stored), memo, text));
    QCOMPARE(m_reader.ErrorMessage(), message);
    QCOMPARE(text, QString(""));

    // The table is still open and its other fields readable.
    Variant value;
    QVERIFY(m_reader.GetFieldData(QStringLiteral("NAME"), value));
    QCOMPARE(value.toText(), QStringLiteral("first "));
}

void TestXbaseMemo::missingMemoFile_data()
{
    QTest::addColumn<QString>("kind");

    QTest::newRow("no memo file") << "missing";
    QTest::newRow("empty memo file") << "empty";
    QTest::newRow("folder") << "folder";
    QTest::newRow("link to /dev/zero") << "zero";
}

void TestXbaseMemo::missingMemoFile()
{
    QFETCH(QString, kind);

    const QString memoPath = m_folder.filePath(QStringLiteral("EST.DBT"));
    if (kind == QLatin1String("empty"))
        QVERIFY(!m_folder.write(QStringLiteral("EST.DBT"), QByteArray()).isEmpty());
    else if (kind == QLatin1String("folder"))
        QVERIFY(QDir().mkpath(memoPath));
    else if (kind == QLatin1String("zero"))
        QVERIFY(QFile::link(QStringLiteral("/dev/zero"), memoPath));

    QString text;
    QVERIFY(!readNotes(memoTable(pointer(1)), QByteArray(), text));
    QCOMPARE(m_reader.ErrorMessage(), QStringLiteral("DBT File Not Found"));
}

void TestXbaseMemo::unreadableMemoFile()
{
    if (::geteuid() == 0)
        QSKIP("root reads files whatever their permissions");
    const QString memoPath = m_folder.write(QStringLiteral("EST.DBT"), numberedMemos().bytes());
    QVERIFY(QFile::setPermissions(memoPath, QFileDevice::WriteOwner));
    QString text;
    QVERIFY(!readNotes(memoTable(pointer(1)), QByteArray(), text));
    QVERIFY2(m_reader.ErrorMessage().startsWith(QLatin1String("OPEN DBT: ")),
             qPrintable(m_reader.ErrorMessage()));
    QVERIFY(m_reader.ErrorMessage().size() > 10);
}

void TestXbaseMemo::memoFileName_data()
{
    QTest::addColumn<QString>("table");
    QTest::addColumn<QStringList>("memoFiles"); // each holds a memo naming its file
    QTest::addColumn<QString>("expected");

    QTest::newRow("beside the table") << "EST.DBF" << QStringList{"EST.DBT"} << "EST.DBT";
    QTest::newRow("first dot of the path, in a folder")
        << "A.B/EST.DBF" << QStringList{"A.B/EST.DBT", "A.DBT"} << "A.DBT";
    QTest::newRow("no dot") << "EST" << QStringList{"EST.DBT"} << "EST.DBT";
    QTest::newRow("two dots in the name")
        << "EST.OLD.DBF" << QStringList{"EST.OLD.DBT", "EST.DBT"} << "EST.DBT";
    QTest::newRow("other extension")
        << "QYUZK0PV.veh" << QStringList{"QYUZK0PV.dbt"} << "QYUZK0PV.dbt";
    QTest::newRow("found without regard to case")
        << "agencias.dbf" << QStringList{"AGENCIAS.DBT"} << "AGENCIAS.DBT";
    QTest::newRow("exact case first")
        << "est.dbf" << QStringList{"est.dbt", "est.DBT"} << "est.DBT";
}

void TestXbaseMemo::memoFileName()
{
    QFETCH(QString, table);
    QFETCH(QStringList, memoFiles);
    QFETCH(QString, expected);

    for (const QString& name : memoFiles) {
        DbtWriter memo(3);
        memo.addMemo(name.toLatin1());
        QVERIFY(!m_folder.write(name, memo.bytes()).isEmpty());
    }
    const QString tablePath = m_folder.write(table, memoTable(pointer(1)).bytes());
    QVERIFY(m_reader.OpenFile(tablePath));
    QCOMPARE(m_reader.memoFileName(), m_folder.filePath(expected));
    QVERIFY(m_reader.ReadRecord(1));
    Variant value;
    QVERIFY2(m_reader.GetFieldData(QStringLiteral("NOTES"), value),
             qPrintable(m_reader.ErrorMessage()));
    QCOMPARE(value.toText(), expected);
}

QTEST_GUILESS_MAIN(TestXbaseMemo)
#include "tst_xbase_memo.moc"
