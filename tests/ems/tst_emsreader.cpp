// Reading the basic information of an EMS set and single fields of it: which members
// must be there, the name, vehicle and date rules, the age limit, and that no file of
// the set stays open afterwards.

#include "ems/EmsReader.h"
#include "ems/EstimateText.h"
#include "emswriter/DbfWriter.h"
#include "emswriter/EmsSetBuilder.h"
#include "support/TableFolder.h"

#include <QDir>
#include <QFile>
#include <QTest>

using namespace tarnaxe;
using tarnaxe::emswriter::DbfField;
using tarnaxe::emswriter::EmsSetBuilder;
using tarnaxe::emswriter::EmsStyle;
using tarnaxe::test::TableFolder;

Q_DECLARE_METATYPE(tarnaxe::Variant)
Q_DECLARE_METATYPE(tarnaxe::EmsMember)

namespace {

const QDate kNoLimit(1951, 12, 31);

int openFileCount()
{
    return int(QDir(QStringLiteral("/proc/self/fd"))
                   .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
                   .size());
}

} // namespace

class TestEmsReader : public QObject {
    Q_OBJECT

private slots:
    void basicInfo();
    void profileTotalsByPlatform_data();
    void profileTotalsByPlatform();
    void missingMember_data();
    void missingMember();
    void brokenMember();
    void names_data();
    void names();
    void vehicle_data();
    void vehicle();
    void creationDate_data();
    void creationDate();
    void creationStampKeepsTheTime();
    void ageLimit_data();
    void ageLimit();
    void field_data();
    void field();
    void fieldFromEnvelopeFirst();
    void fieldFailures();
    void noFileStaysOpen();
};

void TestEmsReader::basicInfo()
{
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    set.set("ESTFILE_ID", "EST-77").set("SUPP_NO", "S1").set("CLM_NO", "CLM-5").set("STATUS", "T");
    QVERIFY(set.write());

    EmsReader reader;
    EstimateRecord record;
    record.preparsedClaimNumber = QStringLiteral("kept");
    QVERIFY(reader.readBasicInfo(set.envelopePath(), kNoLimit, record));
    QCOMPARE(reader.lastError(), QStringLiteral("OK"));
    QCOMPARE(record.envelopeFile, set.envelopePath());
    // Character fields keep the blanks that pad them to their width.
    QCOMPARE(record.estimateFileId, QStringLiteral("EST-77").leftJustified(38));
    QCOMPARE(record.supplementNumber, QStringLiteral("S1 "));
    QCOMPARE(record.claimNumber, QStringLiteral("CLM-5").leftJustified(30));
    QCOMPARE(record.policyNumber, QStringLiteral("POL-778899").leftJustified(30));
    QCOMPARE(record.platformCode, QStringLiteral("M"));
    QCOMPARE(record.status, QStringLiteral("True"));
    QCOMPARE(record.baseName, set.basePath());
    QCOMPARE(record.creationDate, QStringLiteral("03/15/07"));
    QCOMPARE(record.creationStamp, QStringLiteral("20070315000000"));
    QCOMPARE(record.insured, QStringLiteral("SMITH, JOHN"));
    QCOMPARE(record.owner, QStringLiteral("DOE, JANE"));
    QCOMPARE(record.claimant, QStringLiteral("ROE, RICHARD"));
    QCOMPARE(record.vehicle, QStringLiteral("07 FORD FOCUS SE"));
    QCOMPARE(record.preparsedClaimNumber, QStringLiteral("kept"));
}

void TestEmsReader::profileTotalsByPlatform_data()
{
    QTest::addColumn<QByteArray>("code");
    QTest::addColumn<bool>("withProfile");
    QTest::addColumn<bool>("reads");
    QTest::newRow("A without .pft") << QByteArray("A") << false << true;
    QTest::newRow("a without .pft") << QByteArray("a") << false << true;
    QTest::newRow("M without .pft") << QByteArray("M") << false << false;
    QTest::newRow("C without .pft") << QByteArray("C") << false << false;
    QTest::newRow("blank without .pft") << QByteArray(" ") << false << false;
    QTest::newRow("M with .pft") << QByteArray("M") << true << true;
    QTest::newRow("A with .pft") << QByteArray("A") << true << true;
}

void TestEmsReader::profileTotalsByPlatform()
{
    QFETCH(QByteArray, code);
    QFETCH(bool, withProfile);
    QFETCH(bool, reads);
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    set.set("EST_SYSTEM", code);
    if (!withProfile)
        set.omit(EmsMember::ProfileTotals);
    QVERIFY(set.write());

    EmsReader reader;
    EstimateRecord record;
    QCOMPARE(reader.readBasicInfo(set.envelopePath(), kNoLimit, record), reads);
    if (!reads) {
        QCOMPARE(reader.lastError(), QStringLiteral("File Not Found"));
        QCOMPARE(reader.lastErrorFile(), set.basePath() + QStringLiteral(".pft"));
        QVERIFY(record.envelopeFile.isEmpty());
    }
}

void TestEmsReader::missingMember_data()
{
    QTest::addColumn<EmsMember>("member");
    QTest::addColumn<QString>("reported");
    QTest::newRow("envelope") << EmsMember::Envelope << ".env";
    QTest::newRow("administrative 1") << EmsMember::Administrative1 << ".ad1";
    QTest::newRow("administrative 2") << EmsMember::Administrative2 << ".ad2";
    QTest::newRow("vehicle") << EmsMember::Vehicle << ".veh";
    QTest::newRow("totals") << EmsMember::Totals << ".ttl";
}

void TestEmsReader::missingMember()
{
    QFETCH(EmsMember, member);
    QFETCH(QString, reported);
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    QVERIFY(set.omit(member).write());

    EmsReader reader;
    EstimateRecord record;
    record.vehicle = QStringLiteral("untouched");
    QVERIFY(!reader.readBasicInfo(set.envelopePath(), kNoLimit, record));
    QCOMPARE(reader.lastError(), QStringLiteral("File Not Found"));
    QCOMPARE(reader.lastErrorFile(), set.basePath() + reported);
    QCOMPARE(record.vehicle, QStringLiteral("untouched"));
}

// A member that exists but is no table, or has no record, ends the read with the
// reader's own message.
void TestEmsReader::brokenMember()
{
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    QVERIFY(set.write());
    QVERIFY(!folder.write(QStringLiteral("0001v.veh"), "not a table at all, but long enough")
                 .isEmpty());
    EmsReader reader;
    EstimateRecord record;
    QVERIFY(!reader.readBasicInfo(set.envelopePath(), kNoLimit, record));
    QCOMPARE(reader.lastError(), QStringLiteral("Unsupported XBASE file format"));
    QCOMPARE(reader.lastErrorFile(), set.memberPath(EmsMember::Vehicle));

    tarnaxe::emswriter::DbfWriter empty({{"TAX_TYPE", 'C', 2}});
    QVERIFY(set.write());
    QVERIFY(empty.write(set.memberPath(EmsMember::ProfileTotals)));
    QVERIFY(!reader.readBasicInfo(set.envelopePath(), kNoLimit, record));
    QCOMPARE(reader.lastError(), QStringLiteral("Invalid XBASE File Header"));
}

void TestEmsReader::names_data()
{
    QTest::addColumn<QByteArray>("last");
    QTest::addColumn<QByteArray>("first");
    QTest::addColumn<QByteArray>("company");
    QTest::addColumn<QString>("name");
    QTest::newRow("both names") << QByteArray("SMITH") << QByteArray("JOHN") << QByteArray("ACME")
                                << "SMITH, JOHN";
    QTest::newRow("company when no names")
        << QByteArray() << QByteArray() << QByteArray("ACME LTD") << "ACME LTD";
    QTest::newRow("last name only")
        << QByteArray("SMITH") << QByteArray() << QByteArray("ACME") << "SMITH";
    QTest::newRow("first name only")
        << QByteArray() << QByteArray("JOHN") << QByteArray("ACME") << "JOHN";
    QTest::newRow("blanks around")
        << QByteArray("  SMITH") << QByteArray(" JOHN ") << QByteArray() << "SMITH, JOHN";
    QTest::newRow("blank names, company with blanks")
        << QByteArray("   ") << QByteArray(" ") << QByteArray("  ACME  LTD") << "ACME  LTD";
    QTest::newRow("nothing") << QByteArray() << QByteArray() << QByteArray() << "";
}

// The same rule for insured, owner and claimant, each from its own fields.
void TestEmsReader::names()
{
    QFETCH(QByteArray, last);
    QFETCH(QByteArray, first);
    QFETCH(QByteArray, company);
    QFETCH(QString, name);
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    set.set("INSD_LN", last).set("INSD_FN", first).set("INSD_CO_NM", company);
    set.set("OWNR_LN", last).set("OWNR_FN", first).set("OWNR_CO_NM", company);
    set.set("CLMT_LN", last).set("CLMT_FN", first).set("CLMT_CO_NM", company);
    QVERIFY(set.write());
    EmsReader reader;
    EstimateRecord record;
    QVERIFY(reader.readBasicInfo(set.envelopePath(), kNoLimit, record));
    QCOMPARE(record.insured, name);
    QCOMPARE(record.owner, name);
    QCOMPARE(record.claimant, name);
}

void TestEmsReader::vehicle_data()
{
    QTest::addColumn<QByteArray>("year");
    QTest::addColumn<QByteArray>("make");
    QTest::addColumn<QByteArray>("model");
    QTest::addColumn<QString>("vehicle");
    QTest::newRow("all three") << QByteArray("07") << QByteArray("FORD") << QByteArray("FOCUS SE")
                               << "07 FORD FOCUS SE";
    QTest::newRow("no year") << QByteArray() << QByteArray("FORD") << QByteArray("FOCUS")
                             << "FORD FOCUS";
    QTest::newRow("no model") << QByteArray("07") << QByteArray("FORD") << QByteArray()
                              << "07 FORD";
    QTest::newRow("no make keeps the inner blanks")
        << QByteArray("07") << QByteArray() << QByteArray("FOCUS") << "07  FOCUS";
    QTest::newRow("leading blanks")
        << QByteArray(" 7") << QByteArray("  FORD") << QByteArray(" FOCUS") << "7 FORD FOCUS";
    QTest::newRow("nothing") << QByteArray() << QByteArray() << QByteArray() << "";
}

void TestEmsReader::vehicle()
{
    QFETCH(QByteArray, year);
    QFETCH(QByteArray, make);
    QFETCH(QByteArray, model);
    QFETCH(QString, vehicle);
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    QVERIFY(set.set("V_MODEL_YR", year).set("V_MAKEDESC", make).set("V_MODEL", model).write());
    EmsReader reader;
    EstimateRecord record;
    QVERIFY(reader.readBasicInfo(set.envelopePath(), kNoLimit, record));
    QCOMPARE(record.vehicle, vehicle);
}

void TestEmsReader::creationDate_data()
{
    QTest::addColumn<QByteArray>("stored");
    QTest::addColumn<QString>("date");
    QTest::addColumn<QString>("stamp");
    QTest::newRow("date") << QByteArray("20070315") << "03/15/07"
                          << "20070315000000";
    QTest::newRow("last century") << QByteArray("19991231") << "12/31/99"
                                  << "19991231000000";
    QTest::newRow("blank") << QByteArray("        ") << "???"
                           << "???";
    QTest::newRow("no such day") << QByteArray("20070230") << "???"
                                 << "???";
    QTest::newRow("not digits") << QByteArray("2007MAR5") << "???"
                                << "???";
}

void TestEmsReader::creationDate()
{
    QFETCH(QByteArray, stored);
    QFETCH(QString, date);
    QFETCH(QString, stamp);
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    QVERIFY(set.set("CREATE_DT", stored).write());
    EmsReader reader;
    EstimateRecord record;
    QVERIFY(reader.readBasicInfo(set.envelopePath(), kNoLimit, record));
    QCOMPARE(record.creationDate, date);
    QCOMPARE(record.creationStamp, stamp);
}

// Date fields carry no time; a date value that does still gives it in the stamp.
void TestEmsReader::creationStampKeepsTheTime()
{
    const CreationTexts texts =
        creationTexts(Variant(QDateTime(QDate(1999, 12, 31), QTime(23, 5, 9))));
    QCOMPARE(texts.date, QStringLiteral("12/31/99"));
    QCOMPARE(texts.stamp, QStringLiteral("19991231230509"));
    QCOMPARE(creationTexts(Variant(QStringLiteral("20070315"))).stamp, QStringLiteral("???"));
}

void TestEmsReader::ageLimit_data()
{
    QTest::addColumn<QDateTime>("written");
    QTest::addColumn<QDate>("cutOff");
    QTest::addColumn<bool>("reads");
    const QDateTime march15(QDate(2007, 3, 15), QTime(10, 0));
    const QDateTime in1950(QDate(1950, 6, 1), QTime(12, 0));
    QTest::newRow("31 December 1951 is no limit") << in1950 << QDate(1951, 12, 31) << true;
    QTest::newRow("earlier dates are no limit") << in1950 << QDate(1940, 1, 1) << true;
    QTest::newRow("1 January 1952 is a limit") << in1950 << QDate(1952, 1, 1) << false;
    QTest::newRow("written later that day") << march15 << QDate(2007, 3, 15) << true;
    QTest::newRow("written the day before") << march15 << QDate(2007, 3, 16) << false;
    QTest::newRow("written long after") << march15 << QDate(2000, 1, 1) << true;
}

void TestEmsReader::ageLimit()
{
    QFETCH(QDateTime, written);
    QFETCH(QDate, cutOff);
    QFETCH(bool, reads);
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    QVERIFY(set.exportedAt(written).write());
    EmsReader reader;
    EstimateRecord record;
    QCOMPARE(reader.readBasicInfo(set.envelopePath(), cutOff, record), reads);
    QCOMPARE(record.envelopeFile.isEmpty(), !reads);
    // The envelope named in another case is the same file, just as old.
    const QString otherCase = QDir(folder.path()).filePath(QStringLiteral("0001.ENV"));
    QCOMPARE(reader.readBasicInfo(otherCase, cutOff, record), reads);
}

void TestEmsReader::field_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<Variant>("value");
    QTest::newRow("envelope") << "EST_SYSTEM" << Variant(QStringLiteral("M"));
    QTest::newRow("administrative 1")
        << "CLM_NO" << Variant(QStringLiteral("12-345678-90").leftJustified(30));
    QTest::newRow("administrative 2")
        << "CLMT_FN" << Variant(QStringLiteral("RICHARD").leftJustified(35));
    QTest::newRow("vehicle") << "V_MODEL" << Variant(QStringLiteral("FOCUS SE").leftJustified(50));
    QTest::newRow("lower-case name")
        << "v_vin" << Variant(QStringLiteral("1FAFP34N97W123456").leftJustified(25));
    QTest::newRow("memo") << "V_MEMO" << Variant(QStringLiteral("FRONT BUMPER DAMAGE"));
    QTest::newRow("date") << "CREATE_DT" << Variant(QDateTime(QDate(2007, 3, 15), QTime(0, 0)));
    QTest::newRow("logical") << "STATUS" << Variant(false);
}

void TestEmsReader::field()
{
    QFETCH(QString, name);
    QFETCH(Variant, value);
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    // Not needed for a field query: only the envelope and the first three members are.
    QVERIFY(set.omit(EmsMember::Totals).omit(EmsMember::ProfileTotals).write());
    EmsReader reader;
    Variant found;
    QVERIFY2(reader.readField(set.envelopePath(), name, found), qPrintable(reader.lastError()));
    QCOMPARE(found, value);
}

void TestEmsReader::fieldFromEnvelopeFirst()
{
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    set.addField(EmsMember::Administrative1, DbfField{"TRANS_TYPE", 'C', 1}, "X")
        .addField(EmsMember::Administrative2, DbfField{"V_MODEL", 'C', 10}, "FROM AD2");
    QVERIFY(set.write());
    EmsReader reader;
    Variant value;
    QVERIFY(reader.readField(set.envelopePath(), QStringLiteral("TRANS_TYPE"), value));
    QCOMPARE(value, Variant(QStringLiteral("E")));
    QVERIFY(reader.readField(set.envelopePath(), QStringLiteral("V_MODEL"), value));
    QCOMPARE(value, Variant(QStringLiteral("FROM AD2  ")));
}

void TestEmsReader::fieldFailures()
{
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    QVERIFY(set.write());
    EmsReader reader;
    Variant value(QStringLiteral("stale"));

    QVERIFY(!reader.readField(set.envelopePath(), QStringLiteral("N_TTL_AMT"), value));
    QCOMPARE(value, Variant(QString()));
    QCOMPARE(reader.lastError(), QStringLiteral("Invalid Field Name"));

    // A field that is there but cannot be read is reported as such.
    QVERIFY(QFile::remove(set.vehicleMemoPath()));
    QVERIFY(!reader.readField(set.envelopePath(), QStringLiteral("V_MEMO"), value));
    QCOMPARE(reader.lastError(), QStringLiteral("DBT File Not Found"));
    QCOMPARE(reader.lastErrorFile(), set.memberPath(EmsMember::Vehicle));

    QVERIFY(QFile::remove(set.memberPath(EmsMember::Administrative2)));
    QVERIFY(!reader.readField(set.envelopePath(), QStringLiteral("EST_SYSTEM"), value));
    QCOMPARE(value, Variant(QString()));
    QCOMPARE(reader.lastError(), QStringLiteral("File Not Found"));
}

// Every operation closes the six readers, whether it succeeds or fails halfway.
void TestEmsReader::noFileStaysOpen()
{
    TableFolder folder;
    EmsSetBuilder good(folder.path(), QStringLiteral("0001"));
    EmsSetBuilder broken(folder.path(), QStringLiteral("0002"));
    QVERIFY(good.write());
    QVERIFY(broken.omit(EmsMember::ProfileTotals).write());

    EmsReader reader;
    const int before = openFileCount();
    EstimateRecord record;
    Variant value;
    QVERIFY(reader.readBasicInfo(good.envelopePath(), kNoLimit, record));
    QCOMPARE(openFileCount(), before);
    QVERIFY(!reader.readBasicInfo(broken.envelopePath(), kNoLimit, record));
    QCOMPARE(openFileCount(), before);
    QVERIFY(reader.readField(good.envelopePath(), QStringLiteral("V_MEMO"), value));
    QCOMPARE(openFileCount(), before);
    QVERIFY(!reader.readField(good.envelopePath(), QStringLiteral("NO_FIELD"), value));
    QCOMPARE(openFileCount(), before);
    record.envelopeFile = good.envelopePath();
    QVERIFY(reader.fillEnvelopeInfo(record));
    QVERIFY(reader.fillPreparseInfo(record));
    QCOMPARE(openFileCount(), before);
}

QTEST_GUILESS_MAIN(TestEmsReader)
#include "tst_emsreader.moc"
