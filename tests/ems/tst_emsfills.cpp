// Filling an attached estimate from its set: the envelope information taken when it is
// attached, and the preparse values sent with the upload.

#include "ems/EmsReader.h"
#include "emswriter/EmsSetBuilder.h"
#include "support/TableFolder.h"

#include <QFileInfo>
#include <QTest>

using namespace tarnaxe;
using tarnaxe::emswriter::EmsSetBuilder;
using tarnaxe::emswriter::EmsStyle;
using tarnaxe::test::TableFolder;

Q_DECLARE_METATYPE(tarnaxe::EmsMember)

namespace {

// An entry whose preparse fields all say "old", to see which ones a fill leaves alone.
EstimateRecord oldEntry(const QString& envelope)
{
    EstimateRecord entry;
    entry.envelopeFile = envelope;
    for (QString* f : {&entry.insuranceCompany, &entry.preparsedClaimNumber,
                       &entry.preparsedPolicyNumber, &entry.insuredName, &entry.ownerName,
                       &entry.claimantName, &entry.vehicleDescription, &entry.vin})
        *f = QStringLiteral("old");
    entry.totalCents = -1;
    return entry;
}

} // namespace

class TestEmsFills : public QObject {
    Q_OBJECT

private slots:
    void envelopeInfo();
    void supplementFlag_data();
    void supplementFlag();
    void estimateType_data();
    void estimateType();
    void envelopeMissing();
    void preparse();
    void preparseBothStyles_data();
    void preparseBothStyles();
    void preparseNames_data();
    void preparseNames();
    void claimantOnlyForClaimantCustomer_data();
    void claimantOnlyForClaimantCustomer();
    void cents_data();
    void cents();
    void preparseMissingMember_data();
    void preparseMissingMember();
    void preparseTakesPathLessExtension();
};

void TestEmsFills::envelopeInfo()
{
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    QVERIFY(set.set("ESTFILE_ID", "EST-9").set("SUPP_NO", "S02").set("STATUS", "T").write());
    EmsReader reader;
    EstimateRecord entry;
    entry.envelopeFile = set.envelopePath();
    entry.parsed = true;
    QVERIFY(reader.fillEnvelopeInfo(entry));
    QCOMPARE(entry.envelopeSize, QFileInfo(set.envelopePath()).size());
    QVERIFY(entry.envelopeSize > 0);
    QVERIFY(!entry.parsed);
    QCOMPARE(entry.estimateFileId, QStringLiteral("EST-9").leftJustified(38));
    QCOMPARE(entry.supplementNumber, QStringLiteral("S02"));
    QCOMPARE(entry.status, QStringLiteral("True"));
    QCOMPARE(entry.estimateType, 3);
}

void TestEmsFills::supplementFlag_data()
{
    QTest::addColumn<QByteArray>("transType");
    QTest::addColumn<bool>("supplement");
    QTest::newRow("E") << QByteArray("E") << false;
    QTest::newRow("S") << QByteArray("S") << true;
    QTest::newRow("s") << QByteArray("s") << true;
    QTest::newRow("blank") << QByteArray(" ") << false;
    QTest::newRow("other") << QByteArray("X") << false;
}

void TestEmsFills::supplementFlag()
{
    QFETCH(QByteArray, transType);
    QFETCH(bool, supplement);
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    QVERIFY(set.set("TRANS_TYPE", transType).write());
    EmsReader reader;
    EstimateRecord entry;
    entry.envelopeFile = set.envelopePath();
    entry.supplement = !supplement;
    QVERIFY(reader.fillEnvelopeInfo(entry));
    QCOMPARE(entry.supplement, supplement);
}

void TestEmsFills::estimateType_data()
{
    QTest::addColumn<QByteArray>("code");
    QTest::addColumn<int>("type");
    QTest::newRow("A") << QByteArray("A") << 1;
    QTest::newRow("a") << QByteArray("a") << 1;
    QTest::newRow("C") << QByteArray("C") << 2;
    QTest::newRow("c") << QByteArray("c") << 2;
    QTest::newRow("M") << QByteArray("M") << 3;
    QTest::newRow("m") << QByteArray("m") << 3;
    QTest::newRow("P") << QByteArray("P") << 4;
    QTest::newRow("p") << QByteArray("p") << 4;
    QTest::newRow("other") << QByteArray("X") << 0;
    QTest::newRow("blank") << QByteArray(" ") << 0;
}

void TestEmsFills::estimateType()
{
    QFETCH(QByteArray, code);
    QFETCH(int, type);
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    QVERIFY(set.set("EST_SYSTEM", code).write());
    EmsReader reader;
    EstimateRecord entry;
    entry.envelopeFile = set.envelopePath();
    entry.estimateType = -1;
    QVERIFY(reader.fillEnvelopeInfo(entry));
    QCOMPARE(entry.estimateType, type);
}

void TestEmsFills::envelopeMissing()
{
    TableFolder folder;
    EmsReader reader;
    EstimateRecord entry;
    entry.envelopeFile = folder.filePath(QStringLiteral("0001.env"));
    entry.envelopeSize = 99;
    entry.parsed = true;
    entry.estimateFileId = QStringLiteral("old");
    QVERIFY(!reader.fillEnvelopeInfo(entry));
    QCOMPARE(reader.lastError(), QStringLiteral("File Not Found"));
    QCOMPARE(entry.envelopeSize, qint64(0));
    QVERIFY(!entry.parsed);
    QCOMPARE(entry.estimateFileId, QStringLiteral("old"));
}

void TestEmsFills::preparse()
{
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    QVERIFY(set.write());
    EmsReader reader;
    EstimateRecord entry = oldEntry(set.envelopePath());
    QVERIFY(reader.fillPreparseInfo(entry));
    QCOMPARE(entry.insuranceCompany, QStringLiteral("SAFE HARBOR MUTUAL"));
    QCOMPARE(entry.preparsedClaimNumber, QStringLiteral("12-345678-90"));
    QCOMPARE(entry.preparsedPolicyNumber, QStringLiteral("POL-778899"));
    QCOMPARE(entry.insuredName, QStringLiteral("SMITH, JOHN"));
    QCOMPARE(entry.ownerName, QStringLiteral("DOE, JANE"));
    QCOMPARE(entry.claimantName, QStringLiteral("ROE, RICHARD"));
    QCOMPARE(entry.vehicleDescription, QStringLiteral("07 FORD FOCUS SE"));
    QCOMPARE(entry.vin, QStringLiteral("1FAFP34N97W123456"));
    QCOMPARE(entry.totalCents, 123456);
    QVERIFY(entry.parsed);
}

void TestEmsFills::preparseBothStyles_data()
{
    QTest::addColumn<int>("style");
    QTest::addColumn<bool>("upper");
    QTest::newRow("letter") << int(EmsStyle::Letter) << false;
    QTest::newRow("letter, upper case") << int(EmsStyle::Letter) << true;
    QTest::newRow("plain") << int(EmsStyle::Plain) << false;
    QTest::newRow("plain, upper case") << int(EmsStyle::Plain) << true;
}

void TestEmsFills::preparseBothStyles()
{
    QFETCH(int, style);
    QFETCH(bool, upper);
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("Est1"));
    QVERIFY(set.style(EmsStyle(style)).upperCaseNames(upper).write());
    EmsReader reader;
    EstimateRecord entry = oldEntry(set.envelopePath());
    QVERIFY2(reader.fillPreparseInfo(entry), qPrintable(reader.lastError()));
    QCOMPARE(entry.preparsedClaimNumber, QStringLiteral("12-345678-90"));
    QCOMPARE(entry.claimantName, QStringLiteral("ROE, RICHARD"));
    QCOMPARE(entry.vin, QStringLiteral("1FAFP34N97W123456"));
    QCOMPARE(entry.totalCents, 123456);
}

void TestEmsFills::preparseNames_data()
{
    QTest::addColumn<QByteArray>("last");
    QTest::addColumn<QByteArray>("first");
    QTest::addColumn<QString>("name");
    QTest::newRow("both") << QByteArray("SMITH") << QByteArray("JOHN") << "SMITH, JOHN";
    QTest::newRow("last only") << QByteArray("SMITH") << QByteArray() << "SMITH";
    QTest::newRow("first only") << QByteArray() << QByteArray("JOHN") << "JOHN";
    // Right-trimmed only, and no company in place of the names.
    QTest::newRow("leading blanks kept")
        << QByteArray(" SMITH") << QByteArray("  JOHN") << " SMITH,   JOHN";
    QTest::newRow("no names") << QByteArray() << QByteArray() << "";
}

void TestEmsFills::preparseNames()
{
    QFETCH(QByteArray, last);
    QFETCH(QByteArray, first);
    QFETCH(QString, name);
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    set.set("INSD_LN", last).set("INSD_FN", first).set("INSD_CO_NM", "ACME");
    set.set("OWNR_LN", last).set("OWNR_FN", first).set("OWNR_CO_NM", "ACME");
    set.set("CLMT_LN", last).set("CLMT_FN", first).set("CLMT_CO_NM", "ACME");
    set.set("V_MODEL_YR", "").set("V_MAKEDESC", " FORD");
    QVERIFY(set.write());
    EmsReader reader;
    EstimateRecord entry = oldEntry(set.envelopePath());
    QVERIFY(reader.fillPreparseInfo(entry));
    QCOMPARE(entry.insuredName, name);
    QCOMPARE(entry.ownerName, name);
    QCOMPARE(entry.claimantName, name);
    QCOMPARE(entry.vehicleDescription, QStringLiteral("  FORD FOCUS SE"));
}

void TestEmsFills::claimantOnlyForClaimantCustomer_data()
{
    QTest::addColumn<QByteArray>("customer");
    QTest::addColumn<QString>("claimant");
    QTest::newRow("C") << QByteArray("C") << "ROE, RICHARD";
    QTest::newRow("c") << QByteArray("c") << "ROE, RICHARD";
    QTest::newRow("insured") << QByteArray("I") << "";
    QTest::newRow("blank") << QByteArray(" ") << "";
}

void TestEmsFills::claimantOnlyForClaimantCustomer()
{
    QFETCH(QByteArray, customer);
    QFETCH(QString, claimant);
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    QVERIFY(set.set("CUST_PR", customer).write());
    EmsReader reader;
    EstimateRecord entry = oldEntry(set.envelopePath());
    QVERIFY(reader.fillPreparseInfo(entry));
    QCOMPARE(entry.claimantName, claimant);
}

void TestEmsFills::cents_data()
{
    QTest::addColumn<QByteArray>("amount");
    QTest::addColumn<int>("cents");
    QTest::newRow("1234.56") << QByteArray("1234.56") << 123456;
    QTest::newRow("one cent") << QByteArray("0.01") << 1;
    QTest::newRow("whole") << QByteArray("250") << 25000;
    QTest::newRow("negative") << QByteArray("-5.50") << -550;
    QTest::newRow("half a cent to even, down") << QByteArray("0.125") << 12;
    QTest::newRow("half a cent to even, up") << QByteArray("0.375") << 38;
    QTest::newRow("largest") << QByteArray("21474836.47") << 2147483647;
    QTest::newRow("too large: untouched") << QByteArray("21474836.48") << -1;
    QTest::newRow("blank: untouched") << QByteArray() << -1;
    QTest::newRow("text: untouched") << QByteArray("N/A") << -1;
}

void TestEmsFills::cents()
{
    QFETCH(QByteArray, amount);
    QFETCH(int, cents);
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    QVERIFY(set.set("N_TTL_AMT", amount).write());
    EmsReader reader;
    EstimateRecord entry = oldEntry(set.envelopePath());
    QCOMPARE(reader.fillPreparseInfo(entry), cents != -1);
    QCOMPARE(entry.totalCents, cents);
    QVERIFY(entry.parsed);
}

void TestEmsFills::preparseMissingMember_data()
{
    QTest::addColumn<EmsMember>("member");
    QTest::addColumn<QStringList>("untouched");
    QTest::newRow("administrative 1")
        << EmsMember::Administrative1
        << QStringList{"insurance", "claim", "policy", "insured", "owner", "claimant"};
    QTest::newRow("administrative 2") << EmsMember::Administrative2 << QStringList{"claimant"};
    QTest::newRow("vehicle") << EmsMember::Vehicle << QStringList{"vehicle", "vin"};
    QTest::newRow("totals") << EmsMember::Totals << QStringList{"cents"};
}

// What a missing member would give stays as it was; everything else is filled, and the
// entry counts as parsed.
void TestEmsFills::preparseMissingMember()
{
    QFETCH(EmsMember, member);
    QFETCH(QStringList, untouched);
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    QVERIFY(set.omit(member).write());
    EmsReader reader;
    EstimateRecord entry = oldEntry(set.envelopePath());
    QVERIFY(!reader.fillPreparseInfo(entry));
    QCOMPARE(reader.lastError(), QStringLiteral("File Not Found"));
    QVERIFY(entry.parsed);

    const QList<QPair<QString, bool>> fields = {
        {"insurance", entry.insuranceCompany == QLatin1String("old")},
        {"claim", entry.preparsedClaimNumber == QLatin1String("old")},
        {"policy", entry.preparsedPolicyNumber == QLatin1String("old")},
        {"insured", entry.insuredName == QLatin1String("old")},
        {"owner", entry.ownerName == QLatin1String("old")},
        {"claimant", entry.claimantName == QLatin1String("old")},
        {"vehicle", entry.vehicleDescription == QLatin1String("old")},
        {"vin", entry.vin == QLatin1String("old")},
        {"cents", entry.totalCents == -1},
    };
    for (const auto& [name, isOld] : fields)
        QVERIFY2(isOld == untouched.contains(name), qPrintable(name));
}

// The base is the entry's path, trimmed, less its last four characters, whatever they are.
void TestEmsFills::preparseTakesPathLessExtension()
{
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    QVERIFY(set.write());
    EmsReader reader;
    EstimateRecord entry =
        oldEntry(QStringLiteral("  ") + set.basePath() + QStringLiteral(".ENV "));
    QVERIFY(reader.fillPreparseInfo(entry));
    QCOMPARE(entry.vin, QStringLiteral("1FAFP34N97W123456"));

    entry = oldEntry(set.basePath() + QStringLiteral(".xyz"));
    QVERIFY(reader.fillPreparseInfo(entry));
    QCOMPARE(entry.totalCents, 123456);
}

QTEST_GUILESS_MAIN(TestEmsFills)
#include "tst_emsfills.moc"
