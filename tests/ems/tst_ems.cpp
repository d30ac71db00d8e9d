// The EMS layer above the table reader: the members of a set, the summaries and fields read
// from it, the files collected for an upload and the MIE files, on sets that EmsSetBuilder
// writes and on the set of an estimating program in tests/data/dbf/ems.

#include "ems/EmsReader.h"
#include "ems/EmsRecordTable.h"
#include "ems/EstimateText.h"
#include "ems/MieFiles.h"
#include "emswriter/EmsSetBuilder.h"
#include "support/ManualClock.h"
#include "support/TableFolder.h"

#include <QTest>

using namespace tarnaxe;
using emswriter::EmsSetBuilder;
using emswriter::EmsStyle;
using M = tarnaxe::EmsMember;

Q_DECLARE_METATYPE(tarnaxe::Variant)
Q_DECLARE_METATYPE(tarnaxe::EmsMember)

namespace {

const QDate kNoLimit(1951, 12, 31);
const QString kOk = QStringLiteral("OK");
const QString kNotFound = QStringLiteral("File Not Found");

// A set named base in a folder of its own.
struct Set : test::TableFolder, EmsSetBuilder {
    using EmsSetBuilder::write;
    using TableFolder::write;
    explicit Set(const QString& base = QStringLiteral("0001")) : EmsSetBuilder(path(), base) {}
};

QString padded(const char* text, int width)
{
    return QString::fromLatin1(text).leftJustified(width);
}

int openFileCount()
{
    return int(QDir("/proc/self/fd").entryList(QDir::AllEntries | QDir::System).size());
}

// Writes each name with a size of its own: 10, 20, 30... bytes.
bool writeFiles(const test::TableFolder& folder, const QStringList& names)
{
    for (qsizetype i = 0; i < names.size(); ++i) {
        if (folder.write(names[i], QByteArray(10 * (i + 1), 'x')).isEmpty())
            return false;
    }
    return true;
}

// "upload field:file name:size" for each collected file.
QString describe(const EstimateRecord& entry)
{
    QStringList parts;
    for (const EstimateMemberFile& f : entry.files)
        parts << QStringLiteral("%1:%2:%3")
                     .arg(emsRecordTable()[f.index].uploadFieldName)
                     .arg(QFileInfo(f.path).fileName())
                     .arg(f.size);
    return parts.join(' ');
}

} // namespace

class TestEms : public QObject {
    Q_OBJECT

private slots:
    void basicInfo()
    {
        Set set;
        set.set("ESTFILE_ID", "EST-77").set("SUPP_NO", "S1").set("STATUS", "T");
        set.set("CREATE_DT", "19991231").set("INSD_CO_NM", "UNUSED").set("OWNR_LN", "");
        set.set("OWNR_FN", " ").set("OWNR_CO_NM", " DOE  RENTALS ").set("CLMT_LN", " ROE ");
        QVERIFY(set.set("CLMT_FN", "").set("V_MAKEDESC", "").write());
        EmsReader reader;
        EstimateRecord record;
        record.preparsedClaimNumber = "kept";
        QVERIFY(reader.readBasicInfo(set.envelopePath(), kNoLimit, record));
        QCOMPARE(reader.lastError(), kOk);
        // Codes and numbers keep the blanks that pad them; names and vehicle are trimmed.
        QCOMPARE((QStringList{record.envelopeFile, record.estimateFileId, record.supplementNumber,
                              record.claimNumber, record.policyNumber, record.platformCode,
                              record.status, record.baseName, record.creationDate,
                              record.creationStamp, record.insured, record.owner, record.claimant,
                              record.vehicle, record.preparsedClaimNumber}),
                 (QStringList{set.envelopePath(), padded("EST-77", 38), "S1 ",
                              padded("12-345678-90", 30), padded("POL-778899", 30), "M", "True",
                              set.basePath(), "12/31/99", "19991231000000", "SMITH, JOHN",
                              "DOE  RENTALS", "ROE", "07  FOCUS SE", "kept"}));
    }

    // The members a summary needs: all but the profile totals, which platform A lacks.
    void membersNeeded_data()
    {
        QTest::addColumn<EmsMember>("missing");
        QTest::addColumn<QByteArray>("platform");
        QTest::addColumn<QString>("reported"); // the suffix of the file reported missing
        QTest::newRow("envelope") << M::Envelope << QByteArray("M") << ".env";
        QTest::newRow("totals") << M::Totals << QByteArray("M") << ".ttl";
        QTest::newRow("profile totals of blank") << M::ProfileTotals << QByteArray(" ") << ".pft";
        QTest::newRow("profile totals of a") << M::ProfileTotals << QByteArray("a") << "";
    }

    void membersNeeded()
    {
        QFETCH(EmsMember, missing);
        QFETCH(QByteArray, platform);
        QFETCH(QString, reported);
        Set set;
        QVERIFY(set.set("EST_SYSTEM", platform).omit(missing).write());
        EmsReader reader;
        EstimateRecord record;
        record.vehicle = "untouched";
        QCOMPARE(reader.readBasicInfo(set.envelopePath(), kNoLimit, record), reported.isEmpty());
        QCOMPARE(reader.lastError(), reported.isEmpty() ? kOk : kNotFound);
        QCOMPARE(reader.lastErrorFile(), reported.isEmpty() ? "" : set.basePath() + reported);
        QCOMPARE(record.vehicle, reported.isEmpty() ? "07 FORD FOCUS SE" : "untouched");
    }

    // A member that is there but no table, or has no record, ends a read with its message.
    void brokenMember()
    {
        Set set;
        QVERIFY(set.write() &&
                !set.write("0001v.veh", "not a table at all, but long enough").isEmpty());
        EmsReader reader;
        EstimateRecord record;
        QVERIFY(!reader.readBasicInfo(set.envelopePath(), kNoLimit, record));
        QCOMPARE(reader.lastError(), "Unsupported XBASE file format");
        QCOMPARE(reader.lastErrorFile(), set.memberPath(M::Vehicle));
        QVERIFY(set.write());
        QVERIFY(
            emswriter::DbfWriter({{"TAX_TYPE", 'C', 2}}).write(set.memberPath(M::ProfileTotals)));
        QVERIFY(!reader.readBasicInfo(set.envelopePath(), kNoLimit, record));
        QCOMPARE(reader.lastError(), "Invalid XBASE File Header");
    }

    void ageLimit_data()
    {
        QTest::addColumn<QDateTime>("written");
        QTest::addColumn<QDate>("cutOff");
        QTest::addColumn<bool>("reads");
        const QDateTime march15(QDate(2007, 3, 15), QTime(10, 0));
        const QDateTime in1950(QDate(1950, 6, 1), QTime(12, 0));
        QTest::newRow("31 December 1951 is no limit") << in1950 << QDate(1951, 12, 31) << true;
        QTest::newRow("1 January 1952 is a limit") << in1950 << QDate(1952, 1, 1) << false;
        QTest::newRow("written later that day") << march15 << QDate(2007, 3, 15) << true;
        QTest::newRow("written the day before") << march15 << QDate(2007, 3, 16) << false;
    }

    void ageLimit()
    {
        QFETCH(QDateTime, written);
        QFETCH(QDate, cutOff);
        QFETCH(bool, reads);
        Set set;
        QVERIFY(set.exportedAt(written).write());
        EmsReader reader;
        EstimateRecord record;
        QCOMPARE(reader.readBasicInfo(set.envelopePath(), cutOff, record), reads);
        QCOMPARE(record.envelopeFile.isEmpty(), !reads);
        // The envelope named in another case is the same file, just as old.
        QCOMPARE(reader.readBasicInfo(set.filePath("0001.ENV"), cutOff, record), reads);
    }

    // The texts of a summary: a listed name (last, first, company), a joined name (last,
    // first), a vehicle (year, make, model), a creation date, an amount in cents, the
    // number of a MIE file and the base of an envelope.
    void texts()
    {
        using Texts = std::pair<QStringList, QStringList>;
        for (const auto& [parts, texts] :
             {Texts{{"SMITH", "JOHN", "ACME"}, {"SMITH, JOHN", "SMITH, JOHN", "SMITH JOHN ACME"}},
              Texts{{"SMITH", "", "ACME"}, {"SMITH", "SMITH", "SMITH  ACME"}},
              Texts{{"", "JOHN", "ACME"}, {"JOHN", "JOHN", "JOHN ACME"}},
              Texts{{"  SMITH", " JOHN ", ""}, {"SMITH, JOHN", "  SMITH,  JOHN ", "SMITH JOHN"}},
              Texts{{" ", "", " ACME  LTD "}, {"ACME  LTD", " ", "ACME  LTD"}}}) {
            QCOMPARE((QStringList{listedName(parts[0], parts[1], parts[2]),
                                  joinPersonName(parts[0], parts[1]),
                                  listedVehicle(parts[0], parts[1], parts[2])}),
                     texts);
        }
        const auto created = [](const CreationTexts& t) {
            return t.date + ' ' + t.stamp;
        };
        QCOMPARE(created(creationTexts(std::optional(QDate(2007, 3, 5)))),
                 "03/05/07 20070305000000");
        QCOMPARE(created(creationTexts(std::optional<QDate>())), "??? ???");
        // A date value with a time gives it in the stamp; a text is no date.
        const QDateTime late(QDate(1999, 12, 31), QTime(23, 5, 9));
        QCOMPARE(created(creationTexts(Variant(late))), "12/31/99 19991231230509");
        QCOMPARE(created(creationTexts(Variant("20070315"))), "??? ???");
        // Half a cent or half a hundredth of a second goes to the even side.
        for (const auto& [amount, cents] : {std::pair{Variant("   1234.56"), 123456},
                                            {Variant("-5.50"), -550},
                                            {Variant("0.125"), 12},
                                            {Variant("0.375"), 38},
                                            {Variant("21474836.47"), 2147483647},
                                            {Variant("21474836.48"), -1},
                                            {Variant(""), -1},
                                            {Variant(true), -1}})
            QCOMPARE(amountInCents(amount).value_or(-1), cents);
        for (const auto& [time, number] : {std::pair{QTime(0, 0), 0LL},
                                           {QTime(0, 0, 1, 236), 124LL},
                                           {QTime(0, 0, 0, 15), 2LL},
                                           {QTime(0, 0, 0, 25), 2LL},
                                           {QTime(23, 59, 59, 990), 8639999LL}})
            QCOMPARE(mieNumber(time), number);
        // The first ".env" in any case, even in a folder name, ends the base.
        for (const auto& [envelope, base] : {std::pair{"/est/QYUZK0P.Env", "/est/QYUZK0P"},
                                             {"C:\\EST\\0001.ENV", "C:\\EST\\0001"},
                                             {"/a.envs/0001.env", "/a"},
                                             {"/est/0001", "/est/0001"}})
            QCOMPARE(emsBaseName(envelope), base);
    }

    // A field from the envelope, else administrative 1, administrative 2 or the vehicle.
    void fields_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<Variant>("value");
        QTest::newRow("envelope") << "EST_SYSTEM" << Variant("M");
        QTest::newRow("administrative 1") << "CLM_NO" << Variant(padded("12-345678-90", 30));
        QTest::newRow("vehicle, lower case") << "v_vin" << Variant(padded("1FAFP34N97W123456", 25));
        QTest::newRow("memo") << "V_MEMO" << Variant("FRONT BUMPER DAMAGE");
        QTest::newRow("envelope first") << "TRANS_TYPE" << Variant("E");
        QTest::newRow("administrative 2 before the vehicle") << "V_MODEL" << Variant("AD2 ");
    }

    void fields()
    {
        QFETCH(QString, name);
        QFETCH(Variant, value);
        Set set;
        set.addField(M::Administrative1, {"TRANS_TYPE", 'C', 1}, "X");
        set.addField(M::Administrative2, {"V_MODEL", 'C', 4}, "AD2");
        // Not needed for a field: only the envelope and the first three members are.
        QVERIFY(set.omit(M::Totals).omit(M::ProfileTotals).write());
        EmsReader reader;
        Variant found;
        QVERIFY2(reader.readField(set.envelopePath(), name, found), qPrintable(reader.lastError()));
        QCOMPARE(found, value);
    }

    void fieldFailures()
    {
        Set set;
        QVERIFY(set.write());
        EmsReader reader;
        Variant value("stale");
        QVERIFY(!reader.readField(set.envelopePath(), "N_TTL_AMT", value));
        QCOMPARE(value, Variant(QString()));
        QCOMPARE(reader.lastError(), "Invalid Field Name");
        // A field that is there but cannot be read says why.
        QVERIFY(QFile::remove(set.vehicleMemoPath()));
        QVERIFY(!reader.readField(set.envelopePath(), "V_MEMO", value));
        QCOMPARE(reader.lastError(), "DBT File Not Found");
        QCOMPARE(reader.lastErrorFile(), set.memberPath(M::Vehicle));
        QVERIFY(QFile::remove(set.memberPath(M::Administrative2)));
        QVERIFY(!reader.readField(set.envelopePath(), "EST_SYSTEM", value));
        QCOMPARE(reader.lastError(), kNotFound);
    }

    // Every operation closes the six readers, whether it succeeds or fails halfway.
    void noFileStaysOpen()
    {
        Set good;
        Set broken;
        QVERIFY(good.write() && broken.omit(M::ProfileTotals).write());
        EmsReader reader;
        const int before = openFileCount();
        EstimateRecord record;
        Variant value;
        QVERIFY(reader.readBasicInfo(good.envelopePath(), kNoLimit, record));
        QVERIFY(!reader.readBasicInfo(broken.envelopePath(), kNoLimit, record));
        QVERIFY(reader.readField(good.envelopePath(), "V_MEMO", value));
        QVERIFY(!reader.readField(good.envelopePath(), "NO_FIELD", value));
        QVERIFY(reader.fillEnvelopeInfo(record) && reader.fillPreparseInfo(record));
        QCOMPARE(openFileCount(), before);
    }

    void envelopeInfo_data()
    {
        QTest::addColumn<QByteArray>("platform"); // null: no envelope
        QTest::addColumn<QByteArray>("transaction");
        QTest::addColumn<int>("type");
        QTest::addColumn<bool>("supplement");
        const auto row = [](const char* platform, const char* transaction, int type, bool supp) {
            QTest::addRow("%s %s", platform, transaction)
                << QByteArray(platform) << QByteArray(transaction) << type << supp;
        };
        row("A", "E", 1, false);
        row("a", "S", 1, true);
        row("C", "s", 2, true);
        row("m", "X", 3, false);
        row("P", "E", 4, false);
        row(" ", "E", 0, false);
        QTest::newRow("no envelope") << QByteArray() << QByteArray() << -1 << false;
    }

    void envelopeInfo()
    {
        QFETCH(QByteArray, platform);
        QFETCH(QByteArray, transaction);
        QFETCH(int, type);
        QFETCH(bool, supplement);
        Set set;
        set.set("EST_SYSTEM", platform).set("TRANS_TYPE", transaction).set("STATUS", "T");
        QVERIFY(set.omit(platform.isNull() ? M::Envelope : M::Totals).write());
        EmsReader reader;
        EstimateRecord entry;
        entry.envelopeFile = set.envelopePath();
        entry.supplement = !supplement;
        entry.estimateType = entry.envelopeSize = -1;
        entry.parsed = true;
        QCOMPARE(reader.fillEnvelopeInfo(entry), type >= 0);
        QCOMPARE(entry.envelopeSize, QFileInfo(set.envelopePath()).size());
        QVERIFY(!entry.parsed);
        QCOMPARE(entry.estimateType, type);
        QCOMPARE(entry.supplement, type < 0 ? !supplement : supplement);
        QCOMPARE(entry.estimateFileId, type < 0 ? "" : padded("EST-0001", 38));
        QCOMPARE(entry.supplementNumber + entry.status, type < 0 ? "" : "E01True");
        QCOMPARE(reader.lastError(), type < 0 ? kNotFound : kOk);
    }

    // The values sent with an upload. The base is the entry's path, trimmed, less its last
    // four characters; names are trimmed on the right only; what a member that cannot be
    // read would give stays as it was.
    void preparse_data()
    {
        QTest::addColumn<QString>("envelope"); // %1: the base
        QTest::addColumn<QByteArrayList>("changes");
        QTest::addColumn<int>("missing"); // a member, -1 none
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<QString>("error");
        const QStringList whole = {"SAFE HARBOR MUTUAL", "12-345678-90",      "POL-778899",
                                   "SMITH, JOHN",        "DOE, JANE",         "ROE, RICHARD",
                                   "07 FORD FOCUS SE",   "1FAFP34N97W123456", "123456"};
        const auto row = [&](const char* name, const QByteArrayList& changes, int missing,
                             const QList<std::pair<int, QString>>& differences,
                             const QString& error = kOk, const char* envelope = "%1.env") {
            QStringList expected = whole;
            for (const auto& [at, value] : differences)
                expected[at] = value;
            QTest::newRow(name) << envelope << changes << missing << expected << error;
        };
        row("whole set, path with blanks", {}, -1, {}, kOk, "  %1.ENV ");
        row("right-trimmed names",
            {"INSD_LN= SMITH", "INSD_FN=  JOHN", "OWNR_LN=", "OWNR_CO_NM=A",
             "V_MODEL_YR=", "V_MAKEDESC= FORD"},
            -1, {{3, " SMITH,   JOHN"}, {4, "JANE"}, {6, "  FORD FOCUS SE"}});
        row("claimant for c", {"CUST_PR=c"}, -1, {});
        row("no claimant for I", {"CUST_PR=I"}, int(M::Administrative2), {{5, ""}});
        row("no administrative 1", {}, int(M::Administrative1),
            {{0, "old"}, {1, "old"}, {2, "old"}, {3, "old"}, {4, "old"}, {5, "old"}}, kNotFound);
        row("no administrative 2", {}, int(M::Administrative2), {{5, "old"}}, kNotFound);
        row("no vehicle", {}, int(M::Vehicle), {{6, "old"}, {7, "old"}}, kNotFound);
        row("no totals", {}, int(M::Totals), {{8, "-1"}}, kNotFound);
        row("no amount", {"N_TTL_AMT=N/A"}, -1, {{8, "-1"}}, "No amount in N_TTL_AMT");
    }

    void preparse()
    {
        QFETCH(QString, envelope);
        QFETCH(QByteArrayList, changes);
        QFETCH(int, missing);
        QFETCH(QStringList, expected);
        QFETCH(QString, error);
        Set set;
        for (const QByteArray& change : changes)
            set.set(change.left(change.indexOf('=')), change.mid(change.indexOf('=') + 1));
        QVERIFY(set.omit(missing < 0 ? M::ProfileTotals : EmsMember(missing)).write());
        EstimateRecord entry;
        entry.envelopeFile = envelope.arg(set.basePath());
        for (QString* f : {&entry.insuranceCompany, &entry.preparsedClaimNumber,
                           &entry.preparsedPolicyNumber, &entry.insuredName, &entry.ownerName,
                           &entry.claimantName, &entry.vehicleDescription, &entry.vin})
            *f = "old";
        entry.totalCents = -1;
        EmsReader reader;
        QCOMPARE(reader.fillPreparseInfo(entry), error == kOk);
        QCOMPARE(reader.lastError(), error);
        QVERIFY(entry.parsed);
        QCOMPARE((QStringList{entry.insuranceCompany, entry.preparsedClaimNumber,
                              entry.preparsedPolicyNumber, entry.insuredName, entry.ownerName,
                              entry.claimantName, entry.vehicleDescription, entry.vin,
                              QString::number(entry.totalCents)}),
                 expected);
    }

    // Every member is found where a set of either style and case was written, and the set
    // reads through its envelope named in the other case.
    void setStyles_data()
    {
        QTest::addColumn<EmsStyle>("style");
        QTest::addColumn<bool>("upper");
        QTest::addColumn<QString>("base");
        QTest::newRow("letter, lower case") << EmsStyle::Letter << false << "0001";
        QTest::newRow("letter, upper case") << EmsStyle::Letter << true << "0001";
        QTest::newRow("plain, upper case") << EmsStyle::Plain << true << "0001";
        QTest::newRow("letters in the base") << EmsStyle::Letter << true << "QyuzK0p";
    }

    void setStyles()
    {
        QFETCH(EmsStyle, style);
        QFETCH(bool, upper);
        QFETCH(QString, base);
        Set set(base);
        QVERIFY(set.style(style).upperCaseNames(upper).write());
        for (const EmsMember member : {M::Envelope, M::Administrative1, M::Administrative2,
                                       M::Vehicle, M::Totals, M::ProfileTotals})
            QCOMPARE(emsMemberPath(emsBaseName(set.envelopePath()), member),
                     set.memberPath(member));
        const QString name = QFileInfo(set.envelopePath()).fileName();
        EmsReader reader;
        EstimateRecord entry;
        QVERIFY2(reader.readBasicInfo(set.filePath(upper ? name.toLower() : name.toUpper()),
                                      kNoLimit, entry),
                 qPrintable(reader.lastError()));
        QCOMPARE(entry.insured, "SMITH, JOHN");
        QVERIFY(reader.fillPreparseInfo(entry));
        QCOMPARE(entry.preparsedClaimNumber + entry.vin, "12-345678-901FAFP34N97W123456");
    }

    // Which file is a member: the usual spellings first, in the case asked, then any case.
    void memberPath_data()
    {
        QTest::addColumn<QStringList>("files"); // "!": an empty file
        QTest::addColumn<EmsMember>("member");
        QTest::addColumn<bool>("upper");
        QTest::addColumn<QString>("expected");
        const auto ad1 = M::Administrative1;
        QTest::newRow("plain before letter")
            << QStringList{"Est7a.ad1", "Est7.ad1"} << ad1 << false << "Est7.ad1";
        QTest::newRow("an empty file is none")
            << QStringList{"Est7a.ad1", "!Est7.ad1"} << ad1 << false << "Est7a.ad1";
        QTest::newRow("the case asked first, upper")
            << QStringList{"Est7.ad1", "Est7.AD1"} << ad1 << true << "Est7.AD1";
        QTest::newRow("letter in another case")
            << QStringList{"EST7V.veh"} << M::Vehicle << false << "EST7V.veh";
        QTest::newRow("odd case letter, by listing")
            << QStringList{"EsT7v.VeH"} << M::Vehicle << true << "EsT7v.VeH";
        QTest::newRow("missing: the first spelling")
            << QStringList{} << M::Administrative2 << false << "Est7.ad2";
    }

    void memberPath()
    {
        QFETCH(QStringList, files);
        QFETCH(EmsMember, member);
        QFETCH(bool, upper);
        QFETCH(QString, expected);
        test::TableFolder folder;
        for (const QString& name : files)
            QVERIFY(!folder.write(QString(name).remove('!'), name.startsWith('!') ? "" : "x")
                         .isEmpty());
        QCOMPARE(emsMemberPath(folder.filePath("Est7"), member,
                               upper ? LetterCase::Upper : LetterCase::Lower),
                 folder.filePath(expected));
    }

    // On Linux 0001.AD1 and 0001.ad1 can both be there; the one in the case of the
    // envelope's extension belongs to that envelope.
    void readerTakesTheEnvelopesCase()
    {
        Set lower;
        EmsSetBuilder upper(lower.path(), "0001");
        QVERIFY(lower.style(EmsStyle::Plain).set("CLM_NO", "LOWER").write());
        QVERIFY(upper.style(EmsStyle::Plain).upperCaseNames().set("CLM_NO", "UPPER").write());
        EmsReader reader;
        EstimateRecord record;
        QVERIFY(reader.readBasicInfo(lower.envelopePath(), kNoLimit, record));
        QCOMPARE(record.claimNumber, padded("LOWER", 30));
        QVERIFY(reader.readBasicInfo(upper.envelopePath(), kNoLimit, record));
        QCOMPARE(record.claimNumber, padded("UPPER", 30));
        record.envelopeFile = upper.envelopePath();
        QVERIFY(reader.fillPreparseInfo(record));
        QCOMPARE(record.preparsedClaimNumber, "UPPER");
    }

    // The envelope and vehicle table of a set written by an estimating program: alone they
    // fail on the missing administrative table; with the members it lacks added, they read.
    void realSet()
    {
        const QString real = QFileInfo(QFINDTESTDATA("data/dbf/ems/QYUZK0P.env")).path();
        EmsReader reader;
        EstimateRecord record;
        Variant value("stale");
        QVERIFY(!reader.readBasicInfo(real + "/QYUZK0P.env", kNoLimit, record));
        QCOMPARE(reader.lastErrorFile(), real + "/QYUZK0P.ad1");
        QVERIFY(!reader.readField(real + "/QYUZK0P.env", "V_VIN", value));
        QCOMPARE(value, Variant(QString()));

        Set set("QYUZK0P");
        for (const QString name : {"QYUZK0P.env", "QYUZK0PV.veh", "QYUZK0PV.dbt"})
            QVERIFY(QFile::copy(real + '/' + name, set.filePath(name)));
        QVERIFY(
            set.upperCaseNames().omit(M::Envelope).omit(M::Vehicle).omit(M::ProfileTotals).write());
        const QString envelope = set.filePath("QYUZK0P.env");
        QVERIFY2(reader.readBasicInfo(envelope, kNoLimit, record), qPrintable(reader.lastError()));
        QCOMPARE((QStringList{record.platformCode, record.vehicle, record.creationStamp,
                              record.estimateFileId, record.supplementNumber, record.status}),
                 (QStringList{"A", "10 Volkswagen Jetta", "20170619000000",
                              padded("C602E65C-4E1B-417C-85C0-44A344871DA9", 38), "E01", "False"}));
        QVERIFY(reader.readField(envelope, "V_VIN", value));
        QCOMPARE(value, Variant(padded("3VWRX7AJ4AM065626", 25)));
        QVERIFY(reader.readField(envelope, "v_options", value));
        QVERIFY(value.stringValue().startsWith("AC;"));
    }

    // The files of an entry for the upload: every non-empty member, in row order, with its
    // size, named in the set's style (by its .ad1, else by its platform: A and M write
    // letter names); the base from the base name, else the envelope.
    void collect_data()
    {
        QTest::addColumn<QStringList>("files"); // sizes 10, 20, 30...
        QTest::addColumn<QString>("platform");
        QTest::addColumn<QString>("collected");
        QTest::newRow("plain set, its memo the vehicle memo")
            << QStringList{"0001.env", "0001.ad1", "0001.ad2", "0001.veh", "0001.dbt", "0001.ttl"}
            << "M"
            << "EMSEnvelope:0001.env:10 EMSAdministration1:0001.ad1:20 "
               "EMSAdministration2:0001.ad2:30 EMSVehicle:0001.veh:40 "
               "EMSTotals:0001.ttl:60 "
               "EMSVehicleMemos:0001.dbt:50";
        QTest::newRow("plain set keeps the letter names of the administrative memos")
            << QStringList{"0001.env", "0001a.dbt", "0001b.dbt", "0001v.dbt"} << "C"
            << "EMSEnvelope:0001.env:10 EMSAdministration1Memos:0001a.dbt:20 "
               "EMSAdministration2Memos:0001b.dbt:30";
        QTest::newRow("letter set leaves plain names")
            << QStringList{"0001.env", "0001a.ad1", "0001.ad2", "0001.dbt", "0001v.dbt", "0001.ad1"}
            << "C"
            << "EMSEnvelope:0001.env:10 EMSAdministration1:0001a.ad1:20 "
               "EMSVehicleMemos:0001v.dbt:50";
        for (const char* platform : {"m", "A", "C", " "}) {
            QTest::addRow("no .ad1, platform '%s'", platform)
                << QStringList{"0001.env", "0001.dbt", "0001v.dbt"} << platform
                << (QByteArray("mA").contains(platform)
                        ? "EMSEnvelope:0001.env:10 EMSVehicleMemos:0001v.dbt:30"
                        : "EMSEnvelope:0001.env:10 EMSVehicleMemos:0001.dbt:20");
        }
        QTest::newRow("every row but the MIE")
            << QStringList{"0001.ENV",  "0001A.AD1", "0001b.ad2", "0001V.veh", "0001.lin",
                           "0001.pfh",  "0001.pfp",  "0001.pfl",  "0001.pfm",  "0001.pft",
                           "0001.pfo",  "0001.stl",  "0001.TTL",  "0001.ven",  "0001a.DBT",
                           "0001b.dbt", "0001v.dbt"}
            << "A"
            << "EMSEnvelope:0001.ENV:10 EMSAdministration1:0001A.AD1:20 "
               "EMSAdministration2:0001b.ad2:30 EMSVehicle:0001V.veh:40 "
               "EMSDetail:0001.lin:50 "
               "EMSHeaderProfile:0001.pfh:60 EMSPartsRates:0001.pfp:70 EMSLaborRates:0001.pfl:80 "
               "EMSMaterialsRates:0001.pfm:90 EMSTaxTierProfile:0001.pft:100 "
               "EMSAdditionalProfile:0001.pfo:110 EMSSubtotals:0001.stl:120 EMSTotals:0001.TTL:130 "
               "EMSNonOEMSupplier:0001.ven:140 "
               "EMSAdministration1Memos:0001a.DBT:150 EMSAdministration2Memos:0001b.dbt:160 "
               "EMSVehicleMemos:0001v.dbt:170";
        QTest::newRow("other sets and empty files stay out")
            << QStringList{"0001.env",   "0001a.ad1", "00011.env",
                           "00011a.ad1", "0002.lin",  "!0001.lin"}
            << "M"
            << "EMSEnvelope:0001.env:10 EMSAdministration1:0001a.ad1:20";
        QTest::newRow("base from the envelope")
            << QStringList{"Est1.ENV", "Est1A.AD1", "Est1.TTL"} << ""
            << "EMSEnvelope:Est1.ENV:10 EMSAdministration1:Est1A.AD1:20 "
               "EMSTotals:Est1.TTL:30";
    }

    void collect()
    {
        QFETCH(QStringList, files);
        QFETCH(QString, platform);
        QFETCH(QString, collected);
        test::TableFolder folder;
        QVERIFY(writeFiles(folder, files.filter(QRegularExpression("^[^!]"))));
        for (const QString& empty : files.filter(QRegularExpression("^!")))
            QVERIFY(!folder.write(empty.mid(1), "").isEmpty());
        EstimateRecord entry;
        entry.envelopeFile = folder.filePath(files.first());
        entry.baseName = platform.isEmpty() ? "" : folder.filePath("0001");
        entry.platformCode = platform;
        entry.totalSize = -1;
        const int count = collectEstimateFiles(entry);
        QCOMPARE(count, int(entry.files.size()));
        QCOMPARE(describe(entry), collected);
        qint64 total = 0;
        for (const EstimateMemberFile& file : entry.files)
            total += QFileInfo(file.path).absolutePath() == folder.path() ? file.size : -1000;
        QCOMPARE(entry.totalSize, total);
    }

    // The MIE file takes the last row; collecting again replaces the list.
    void collectWithMie()
    {
        test::TableFolder folder;
        QVERIFY(writeFiles(folder, {"0001.env", "0001a.ad1", "mie/5678_90.mie"}));
        EstimateRecord entry;
        entry.baseName = folder.filePath("0001");
        entry.mieFile = folder.filePath("mie/gone.mie");
        QCOMPARE(collectEstimateFiles(entry), 2);
        entry.mieFile = folder.filePath("mie/5678_90.mie");
        QVERIFY(QFile::remove(folder.filePath("0001a.ad1")));
        QCOMPARE(collectEstimateFiles(entry), 2);
        QCOMPARE(describe(entry), "EMSEnvelope:0001.env:10 MIELocation:5678_90.mie:30");
        QCOMPARE(entry.totalSize, 40);
    }

    // Saved MIE files are named by the clock, never replace a file (in any case: the folder
    // may be shared with Windows) and never show half-written.
    void saveMie()
    {
        test::TableFolder folder;
        QVERIFY(!folder.write("3600000.MIE", "someone else's").isEmpty());
        test::ManualClock clock(QDateTime(QDate(2024, 3, 15), QTime(10, 0)));
        const QByteArray data("MIE\0\r\n\x1A\xFF binary", 16);
        QString first, second, error;
        QVERIFY(saveMieData(folder.path(), data, clock, first, error));
        QVERIFY(saveMieData(folder.path(), "second", clock, second, error));
        QVERIFY(error.isEmpty() && clock.slept() > 0 && clock.slept() <= 20);
        QCOMPARE(
            QDir(folder.path())
                .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot),
            (QStringList{"3600000.MIE", "3600001.mie", "3600002.mie"}));
        for (const auto& [path, bytes] : {std::pair{first, data},
                                          {second, QByteArray("second")},
                                          {folder.filePath("3600000.MIE"), "someone else's"}}) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadOnly));
            QCOMPARE(file.readAll(), bytes);
        }
        // A missing folder, or a file in its place.
        for (const QString& delivery : {folder.filePath("gone"), folder.filePath("3600000.MIE")}) {
            QVERIFY(!saveMieData(delivery, "data", clock, first, error));
            const QString prefix = "Cannot save MIE (" + delivery + "/3600002.mie): ";
            QVERIFY2(first.isEmpty() && error.startsWith(prefix) && error.size() > prefix.size(),
                     qPrintable(error));
        }
    }

    void locateMie_data()
    {
        QTest::addColumn<QString>("claim");
        QTest::addColumn<QStringList>("files"); // "!": an empty file
        QTest::addColumn<QString>("found");
        const QString claim = QStringLiteral("12-345678-90");
        QTest::newRow("last eight characters first")
            << claim << QStringList{"12_345678_90.mie", "45678_90.MIE"} << "45678_90.MIE";
        QTest::newRow("then the first name by pattern")
            << claim << QStringList{"12_345678_90_B.mie", "12_345678_90 A.MIE"}
            << "12_345678_90 A.MIE";
        QTest::newRow("empty files are none")
            << claim << QStringList{"!45678_90.mie", "!12_345678_90_A.mie", "12_345678_90_B.mie"}
            << "12_345678_90_B.mie";
        QTest::newRow("blanks become underscores")
            << "12 345678 90" << QStringList{"12_345678_90x.mie"} << "12_345678_90x.mie";
        QTest::newRow("no other claim")
            << claim << QStringList{"12_345678_91.mie", "x12_345678_90.mie", "12_345678_90.txt"}
            << "";
        QTest::newRow("blank claim finds nothing")
            << "   " << QStringList{"123.mie", "_.mie"} << "";
        QTest::newRow("no folder") << "1-2" << QStringList{} << "";
        QTest::newRow("a file for the folder") << "1-2" << QStringList{} << "";
    }

    void locateMie()
    {
        QFETCH(QString, claim);
        QFETCH(QStringList, files);
        QFETCH(QString, found);
        test::TableFolder folder;
        for (const QString& name : files)
            QVERIFY(!folder.write(QString(name).remove('!'), name.startsWith('!') ? "" : "mie")
                         .isEmpty());
        QString retrieval = folder.path();
        if (QString(QTest::currentDataTag()) == "no folder")
            retrieval = folder.filePath("gone");
        else if (QString(QTest::currentDataTag()) == "a file for the folder")
            retrieval = folder.write("file", "x");
        QString path = "stale";
        QCOMPARE(locateMieFile(retrieval, claim, path), !found.isEmpty());
        QCOMPARE(path, found.isEmpty() ? QString() : folder.filePath(found));
    }
};

QTEST_GUILESS_MAIN(TestEms)
#include "tst_ems.moc"
