// The EMS layer above the table reader: the members of a set, the summaries and fields read
// from it, the files collected for an upload and the MIE files, on sets that EmsSetBuilder
// writes and on the set of an estimating program in tests/data/dbf/ems.

#include "ems/EmsReader.h"
#include "ems/EmsRecordTable.h"
#include "ems/EstimateText.h"
#include "ems/MieFiles.h"
#include "emswriter/EmsSetBuilder.h"
#include "platform/Windows1252.h"
#include "support/TableFolder.h"

#include <QTest>

using namespace tarnaxe;
using emswriter::EmsSetBuilder;
using M = tarnaxe::EmsMember;

namespace {

const QDate kNoLimit(1951, 12, 31);
const QString kOk = "OK";
const QString kNotFound = "File Not Found";

// A set named base in a folder of its own.
struct Set : test::TableFolder, EmsSetBuilder {
    using EmsSetBuilder::write;
    using TableFolder::write;
    explicit Set(const QString& base = "0001") : EmsSetBuilder(path(), base) {}
};

QString padded(const char* text, int width)
{
    return QString::fromLatin1(text).leftJustified(width);
}

} // namespace

class TestEms : public QObject {
    Q_OBJECT

private slots:
    // The members a summary needs (all but the profile totals, which platform A lacks), the
    // age limit (a day before the set was written, 31 December 1951 meaning none): each ends
    // a read with its message.
    void basicInfoRefused()
    {
        for (const auto& [missing, platform, reported] : {std::tuple{M::Envelope, "M", ".env"},
                                                          {M::Totals, "M", ".ttl"},
                                                          {M::ProfileTotals, " ", ".pft"},
                                                          {M::ProfileTotals, "a", ""}}) {
            Set set;
            QVERIFY(set.set("EST_SYSTEM", platform).omit(missing).write());
            EmsReader reader;
            EstimateRecord record;
            record.vehicle = "untouched";
            QCOMPARE(reader.readBasicInfo(set.envelopePath(), kNoLimit, record), !*reported);
            QCOMPARE(reader.lastError(), *reported ? kNotFound : kOk);
            QCOMPARE(reader.lastErrorFile(), *reported ? set.basePath() + reported : "");
            QCOMPARE(record.vehicle, *reported ? "untouched" : "07 FORD FOCUS SE");
        }
        const QDateTime march15(QDate(2007, 3, 15), QTime(10, 0));
        for (const auto& [written, cutOff, reads] :
             {std::tuple{march15.addYears(-57), QDate(1951, 12, 31), true},
              {march15.addYears(-57), QDate(1952, 1, 1), false},
              {march15, QDate(2007, 3, 15), true},
              {march15, QDate(2007, 3, 16), false}}) {
            Set set;
            QVERIFY(set.exportedAt(written).write());
            EmsReader reader;
            EstimateRecord record;
            QCOMPARE(reader.readBasicInfo(set.envelopePath(), cutOff, record), reads);
            QCOMPARE(record.envelopeFile.isEmpty(), !reads);
            // The envelope named in another case is the same file, just as old.
            QCOMPARE(reader.readBasicInfo(set.filePath("0001.ENV"), cutOff, record), reads);
        }
    }

    // The texts of a summary: a listed name (last, first, company), a joined name (last,
    // first), a vehicle (year, make, model), a creation date, an amount in cents, the
    // number of a MIE file and the base of an envelope.
    void texts()
    {
        // Blanks are trimmed away for a list, kept in a joined name.
        QCOMPARE(listedName("SMITH", "JOHN", "ACME"), "SMITH, JOHN");
        QCOMPARE(listedName(" ", "", " ACME  LTD "), "ACME  LTD");
        QCOMPARE(joinPersonName(" ", ""), " ");
        QCOMPARE(listedVehicle(" ", "", " ACME  LTD "), "ACME  LTD");
        const auto created = [](const CreationTexts& t) {
            return t.date + ' ' + t.stamp;
        };
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

    // A field from the envelope, else administrative 1, administrative 2 or the vehicle; a
    // field that cannot be read says why.
    void fields()
    {
        Set set;
        set.addField(M::Administrative1, {"TRANS_TYPE", 'C', 1}, "X");
        set.addField(M::Administrative2, {"V_MODEL", 'C', 4}, "AD2");
        // Not needed for a field: only the envelope and the first three members are.
        QVERIFY(set.omit(M::Totals).omit(M::ProfileTotals).write());
        EmsReader reader;
        Variant value;
        for (const auto& [name, expected] : {std::pair{"TRANS_TYPE", Variant("E")},
                                             {"CLM_NO", Variant(padded("12-345678-90", 30))},
                                             {"V_MODEL", Variant("AD2 ")},
                                             {"v_vin", Variant(padded("1FAFP34N97W123456", 25))},
                                             {"V_MEMO", Variant("FRONT BUMPER DAMAGE")}}) {
            QVERIFY2(reader.readField(set.envelopePath(), name, value),
                     qPrintable(reader.lastError()));
            QCOMPARE(value, expected);
        }
        QVERIFY(!reader.readField(set.envelopePath(), "N_TTL_AMT", value));
        QCOMPARE(value, Variant(QString()));
        QCOMPARE(reader.lastError(), "Invalid Field Name");
        QVERIFY(QFile::remove(set.vehicleMemoPath()));
        QVERIFY(!reader.readField(set.envelopePath(), "V_MEMO", value));
        QCOMPARE(reader.lastError(), "DBT File Not Found");
        QCOMPARE(reader.lastErrorFile(), set.memberPath(M::Vehicle));
    }

    // The platform's type and whether the set is a supplement, from the envelope alone.
    void envelopeInfo()
    {
        for (const auto& [platform, transaction, type, supplement] :
             {std::tuple{"A", "E", 1, false},
              {"a", "S", 1, true},
              {"C", "s", 2, true},
              {"m", "X", 3, false},
              {"P", "E", 4, false},
              {" ", "E", 0, false},
              {"", "", -1, false}}) {
            Set set;
            set.set("EST_SYSTEM", platform).set("TRANS_TYPE", transaction).set("STATUS", "T");
            QVERIFY(set.omit(type < 0 ? M::Envelope : M::Totals).write());
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
            QCOMPARE(entry.estimateFileId + entry.supplementNumber + entry.status,
                     type < 0 ? "" : padded("EST-0001", 38) + "E01True");
            QCOMPARE(reader.lastError(), type < 0 ? kNotFound : kOk);
        }
    }

    // The values sent with an upload. The base is the entry's path, trimmed, less its last
    // four characters; names are trimmed on the right only; what a member that cannot be
    // read would give stays as it was.
    void preparse()
    {
        const QStringList whole = {"SAFE HARBOR MUTUAL", "12-345678-90",      "POL-778899",
                                   "SMITH, JOHN",        "DOE, JANE",         "ROE, RICHARD",
                                   "07 FORD FOCUS SE",   "1FAFP34N97W123456", "123456"};
        using Changes = QList<std::pair<const char*, const char*>>;
        using Differences = QList<std::pair<int, QString>>;
        for (const auto& [envelope, changes, missing, differences, error] :
             {std::tuple{"  %1.ENV ", Changes{}, M::ProfileTotals, Differences{}, kOk},
              {"%1.env",
               Changes{{"INSD_LN", " SMITH"},
                       {"INSD_FN", "  JOHN"},
                       {"OWNR_LN", ""},
                       {"OWNR_CO_NM", "A"},
                       {"V_MODEL_YR", ""},
                       {"V_MAKEDESC", " FORD"}},
               M::ProfileTotals,
               Differences{{3, " SMITH,   JOHN"}, {4, "JANE"}, {6, "  FORD FOCUS SE"}}, kOk},
              {"%1.env", Changes{{"CUST_PR", "c"}}, M::ProfileTotals, Differences{}, kOk},
              {"%1.env", Changes{{"CUST_PR", "I"}}, M::Administrative2, Differences{{5, ""}}, kOk},
              {"%1.env", Changes{}, M::Administrative1,
               Differences{{0, "old"}, {1, "old"}, {2, "old"}, {3, "old"}, {4, "old"}, {5, "old"}},
               kNotFound},
              {"%1.env", Changes{}, M::Totals, Differences{{8, "-1"}}, kNotFound},
              {"%1.env", Changes{{"N_TTL_AMT", "N/A"}}, M::ProfileTotals, Differences{{8, "-1"}},
               QString("No amount in N_TTL_AMT")}}) {
            Set set;
            for (const auto& [field, value] : changes)
                set.set(field, value);
            QVERIFY(set.omit(missing).write());
            EstimateRecord entry;
            entry.envelopeFile = QString(envelope).arg(set.basePath());
            for (QString* f : {&entry.insuranceCompany, &entry.preparsedClaimNumber,
                               &entry.preparsedPolicyNumber, &entry.insuredName, &entry.ownerName,
                               &entry.claimantName, &entry.vehicleDescription, &entry.vin})
                *f = "old";
            entry.totalCents = -1;
            EmsReader reader;
            QCOMPARE(reader.fillPreparseInfo(entry), error == kOk);
            QCOMPARE(reader.lastError(), error);
            QVERIFY(entry.parsed);
            QStringList expected = whole;
            for (const auto& [at, value] : differences)
                expected[at] = value;
            QCOMPARE((QStringList{entry.insuranceCompany, entry.preparsedClaimNumber,
                                  entry.preparsedPolicyNumber, entry.insuredName, entry.ownerName,
                                  entry.claimantName, entry.vehicleDescription, entry.vin,
                                  QString::number(entry.totalCents)}),
                     expected);
        }
    }

    // The envelope and vehicle table of a set written by an estimating program, with the
    // members it lacks added.
    void realSet()
    {
        const QString real = QFileInfo(QFINDTESTDATA("data/dbf/ems/QYUZK0P.env")).path();
        EmsReader reader;
        EstimateRecord record;
        Variant value;
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
        // Its memo's dBase IV length counts the block's 8 header bytes, which the reader takes
        // as text, so the memo brings the 8 bytes that follow it in the file.
        QVERIFY(reader.readField(envelope, "V_OPTIONS", value));
        const QByteArray memo = toWindows1252(value.toText());
        QVERIFY2(memo.size() == 1553 && memo.startsWith("AC;    ") &&
                     memo.endsWith("eats\x1A\x1A" + QByteArray(8, '\0')),
                 memo.left(16).toHex().constData());
    }

    // The files of an entry for the upload: every non-empty member, in row order, with its
    // size, named in the set's style (by its .ad1, else by its platform: A and M write
    // letter names); the base from the base name, else the envelope; a MIE file last.
    void collect()
    {
        const QString bare = "EMSEnvelope:0001.env:10 EMSVehicleMemos:";
        for (const auto& [names, platform, collected] :
             {std::tuple{"0001.env 0001.dbt 0001v.dbt", "m", bare + "0001v.dbt:30"},
              {"0001.ENV 0001A.AD1 0001b.ad2 0001V.veh 0001.lin 0001.pfh 0001.pfp 0001.pfl "
               "0001.pfm 0001.pft 0001.pfo 0001.stl 0001.TTL 0001.ven 0001a.DBT 0001b.dbt "
               "0001v.dbt 00011.env 0002.lin !0001.dbt mie/5678_90.mie",
               "A",
               "EMSEnvelope:0001.ENV:10 EMSAdministration1:0001A.AD1:20 "
               "EMSAdministration2:0001b.ad2:30 EMSVehicle:0001V.veh:40 EMSDetail:0001.lin:50 "
               "EMSHeaderProfile:0001.pfh:60 EMSPartsRates:0001.pfp:70 EMSLaborRates:0001.pfl:80 "
               "EMSMaterialsRates:0001.pfm:90 EMSTaxTierProfile:0001.pft:100 "
               "EMSAdditionalProfile:0001.pfo:110 EMSSubtotals:0001.stl:120 "
               "EMSTotals:0001.TTL:130 EMSNonOEMSupplier:0001.ven:140 "
               "EMSAdministration1Memos:0001a.DBT:150 EMSAdministration2Memos:0001b.dbt:160 "
               "EMSVehicleMemos:0001v.dbt:170 MIELocation:5678_90.mie:210"},
              {"Est1.ENV Est1A.AD1 Est1.TTL !Est1.lin", "",
               "EMSEnvelope:Est1.ENV:10 EMSAdministration1:Est1A.AD1:20 EMSTotals:Est1.TTL:30"}}) {
            const QStringList files = QString(names).split(' ');
            test::TableFolder folder;
            // Each file with a size of its own (10, 20, 30... bytes), or empty after a "!".
            for (qsizetype i = 0; i < files.size(); ++i) {
                const bool empty = files[i].startsWith('!');
                const QByteArray bytes(empty ? 0 : 10 * (i + 1), 'x');
                QVERIFY(!folder.write(files[i].mid(empty), bytes).isEmpty());
            }
            EstimateRecord entry;
            entry.envelopeFile = folder.filePath(files.first());
            entry.baseName = *platform ? folder.filePath("0001") : "";
            entry.platformCode = platform;
            entry.mieFile =
                folder.filePath(files.last().endsWith(".mie") ? files.last() : "mie/gone.mie");
            entry.files.resize(3); // collecting again replaces the list
            const int count = collectEstimateFiles(entry);
            QCOMPARE(count, int(entry.files.size()));
            QStringList parts;
            qint64 total = 0;
            for (const EstimateMemberFile& f : entry.files) {
                parts << QStringLiteral("%1:%2:%3")
                             .arg(emsRecordTable()[f.index].uploadFieldName,
                                  QFileInfo(f.path).fileName(), QString::number(f.size));
                total += QFileInfo(f.path).size() == f.size ? f.size : -1000;
            }
            QCOMPARE(parts.join(" "), collected);
            QCOMPARE(entry.totalSize, total);
        }
    }
};

QTEST_GUILESS_MAIN(TestEms)
#include "tst_ems.moc"
