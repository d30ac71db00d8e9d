// The EMS record table and the collection of an attached estimate's files for the upload:
// which naming style a set uses, which rows its files land in, and the MIE row.

#include "ems/EmsRecordTable.h"
#include "support/TableFolder.h"

#include <QTest>

using namespace tarnaxe;
using tarnaxe::test::TableFolder;

Q_DECLARE_METATYPE(tarnaxe::EmsNamingStyle)

namespace {

// Writes each named file with a size of its own (10, 20, 30, ... bytes).
bool writeFiles(const TableFolder& folder, const QStringList& names)
{
    int size = 10;
    for (const QString& name : names) {
        if (folder.write(name, QByteArray(size, 'x')).isEmpty())
            return false;
        size += 10;
    }
    return true;
}

QString describe(const QList<EstimateMemberFile>& files)
{
    QStringList parts;
    for (const EstimateMemberFile& f : files)
        parts << QStringLiteral("%1:%2:%3")
                     .arg(f.index)
                     .arg(QFileInfo(f.path).fileName())
                     .arg(f.size);
    return parts.join(QLatin1Char(' '));
}

EstimateRecord entryFor(const TableFolder& folder, const QString& base, const QString& code)
{
    EstimateRecord entry;
    entry.envelopeFile = folder.filePath(base + QStringLiteral(".env"));
    entry.baseName = folder.filePath(base);
    entry.platformCode = code;
    return entry;
}

} // namespace

class TestEmsRecordTable : public QObject {
    Q_OBJECT

private slots:
    void rows_data();
    void rows();
    void namingStyle_data();
    void namingStyle();
    void collect_data();
    void collect();
    void sizesAndTotal();
    void mieRow();
    void collectingAgainReplacesTheList();
    void baseFromEnvelopeWhenNoBaseName();
};

void TestEmsRecordTable::rows_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("display");
    QTest::addColumn<QString>("field");
    QTest::addColumn<QString>("letter");
    QTest::addColumn<QString>("plain");
    const QList<QStringList> rows = {
        {"Envelope", "EMSEnvelope", ".env", ".env"},
        {"Administrative-1", "EMSAdministration1", "a.ad1", ".ad1"},
        {"Administrative-2", "EMSAdministration2", "b.ad2", ".ad2"},
        {"Vehicle", "EMSVehicle", "v.veh", ".veh"},
        {"Detail", "EMSDetail", ".lin", ".lin"},
        {"Profile 1 (Header,Tax,Adjustments)", "EMSHeaderProfile", ".pfh", ".pfh"},
        {"Profile 2 (Parts)", "EMSPartsRates", ".pfp", ".pfp"},
        {"Profile 3 (Labor)", "EMSLaborRates", ".pfl", ".pfl"},
        {"Profile 4 (Materials)", "EMSMaterialsRates", ".pfm", ".pfm"},
        {"Profile 5 (Tax Tier)", "EMSTaxTierProfile", ".pft", ".pft"},
        {"Profile 6 (Other Charges)", "EMSAdditionalProfile", ".pfo", ".pfo"},
        {"Totals 1 (SubTotals)", "EMSSubtotals", ".stl", ".stl"},
        {"Totals 2 (Gross and Net)", "EMSTotals", ".ttl", ".ttl"},
        {"Non-OEM Supplier", "EMSNonOEMSupplier", ".ven", ".ven"},
        {"Admin-1 Memo", "EMSAdministration1Memos", "a.dbt", "a.dbt"},
        {"Admin-2 Memo", "EMSAdministration2Memos", "b.dbt", "b.dbt"},
        {"Vehicle Memo", "EMSVehicleMemos", "v.dbt", ".dbt"},
        {"MIE File", "MIELocation", ".XXXXX", ".XXXXX"},
    };
    QCOMPARE(int(rows.size()), kEmsRecordRows);
    for (int i = 0; i < rows.size(); ++i)
        QTest::addRow("%d", i) << i << rows[i][0] << rows[i][1] << rows[i][2] << rows[i][3];
}

// The display and field names are shown and sent as they are: one wrong letter and the
// server files the upload under no field it knows.
void TestEmsRecordTable::rows()
{
    QFETCH(int, index);
    QFETCH(QString, display);
    QFETCH(QString, field);
    QFETCH(QString, letter);
    QFETCH(QString, plain);
    const EmsRecordRow& row = emsRecordTable()[index];
    QCOMPARE(row.displayName, display);
    QCOMPARE(row.uploadFieldName, field);
    QCOMPARE(row.letterSuffix, letter);
    QCOMPARE(row.plainSuffix, plain);
}

void TestEmsRecordTable::namingStyle_data()
{
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QString>("code");
    QTest::addColumn<EmsNamingStyle>("style");
    const QStringList letterSet = {"0001.env", "0001a.ad1"};
    const QStringList plainSet = {"0001.env", "0001.ad1"};
    const QStringList bare = {"0001.env"};
    QTest::newRow("a.ad1 wins over the code") << letterSet << "C" << EmsNamingStyle::Letter;
    QTest::newRow("A.AD1 in upper case")
        << QStringList{"0001.ENV", "0001A.AD1"} << "C" << EmsNamingStyle::Letter;
    QTest::newRow(".ad1 wins over the code") << plainSet << "M" << EmsNamingStyle::Plain;
    QTest::newRow("both: letter") << QStringList{"0001.ad1", "0001a.ad1"} << "C"
                                  << EmsNamingStyle::Letter;
    QTest::newRow("neither, M") << bare << "M" << EmsNamingStyle::Letter;
    QTest::newRow("neither, m") << bare << "m" << EmsNamingStyle::Letter;
    QTest::newRow("neither, A") << bare << "A" << EmsNamingStyle::Letter;
    QTest::newRow("neither, C") << bare << "C" << EmsNamingStyle::Plain;
    QTest::newRow("neither, P") << bare << "P" << EmsNamingStyle::Plain;
    QTest::newRow("neither, no code") << bare << "" << EmsNamingStyle::Plain;
}

void TestEmsRecordTable::namingStyle()
{
    QFETCH(QStringList, files);
    QFETCH(QString, code);
    QFETCH(EmsNamingStyle, style);
    TableFolder folder;
    QVERIFY(writeFiles(folder, files));
    QCOMPARE(emsNamingStyle(folder.filePath(QStringLiteral("0001")), code), style);
}

void TestEmsRecordTable::collect_data()
{
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QString>("code");
    QTest::addColumn<QList<int>>("indexes");
    QTest::addColumn<QStringList>("collected");
    QTest::newRow("letter set") << QStringList{"0001.env", "0001a.ad1", "0001b.ad2", "0001v.veh",
                                               "0001a.dbt"}
                                << "M" << QList<int>{0, 1, 2, 3, 14}
                                << QStringList{"0001.env", "0001a.ad1", "0001b.ad2", "0001v.veh",
                                               "0001a.dbt"};
    QTest::newRow("plain set, its memo under 16")
        << QStringList{"0001.env", "0001.ad1", "0001.ad2", "0001.veh", "0001.dbt", "0001.ttl"}
        << "C" << QList<int>{0, 1, 2, 3, 12, 16}
        << QStringList{"0001.env", "0001.ad1", "0001.ad2", "0001.veh", "0001.ttl", "0001.dbt"};
    QTest::newRow("plain set keeps the letter names of 14 and 15")
        << QStringList{"0001.env", "0001.ad1", "0001a.dbt", "0001b.dbt", "0001v.dbt"} << "C"
        << QList<int>{0, 1, 14, 15}
        << QStringList{"0001.env", "0001.ad1", "0001a.dbt", "0001b.dbt"};
    QTest::newRow("letter set leaves plain names")
        << QStringList{"0001.env", "0001a.ad1", "0001.ad2", "0001.dbt", "0001v.dbt"} << "M"
        << QList<int>{0, 1, 16} << QStringList{"0001.env", "0001a.ad1", "0001v.dbt"};
    QTest::newRow("every row but the MIE")
        << QStringList{"0001.env", "0001a.ad1", "0001b.ad2", "0001v.veh", "0001.lin", "0001.pfh",
                       "0001.pfp", "0001.pfl",  "0001.pfm",  "0001.pft",  "0001.pfo", "0001.stl",
                       "0001.ttl", "0001.ven",  "0001a.dbt", "0001b.dbt", "0001v.dbt"}
        << "A" << QList<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}
        << QStringList{"0001.env", "0001a.ad1", "0001b.ad2", "0001v.veh", "0001.lin", "0001.pfh",
                       "0001.pfp", "0001.pfl",  "0001.pfm",  "0001.pft",  "0001.pfo", "0001.stl",
                       "0001.ttl", "0001.ven",  "0001a.dbt", "0001b.dbt", "0001v.dbt"};
    QTest::newRow("names in any case")
        << QStringList{"0001.ENV", "0001A.AD1", "0001B.ad2", "0001V.VEH", "0001a.DBT"} << "M"
        << QList<int>{0, 1, 2, 3, 14}
        << QStringList{"0001.ENV", "0001A.AD1", "0001B.ad2", "0001V.VEH", "0001a.DBT"};
    QTest::newRow("other sets in the folder stay out")
        << QStringList{"0001.env", "0001a.ad1", "00011.env", "00011a.ad1", "0002.lin"} << "M"
        << QList<int>{0, 1} << QStringList{"0001.env", "0001a.ad1"};
}

void TestEmsRecordTable::collect()
{
    QFETCH(QStringList, files);
    QFETCH(QString, code);
    QFETCH(QList<int>, indexes);
    QFETCH(QStringList, collected);
    TableFolder folder;
    QVERIFY(writeFiles(folder, files));
    EstimateRecord entry = entryFor(folder, QStringLiteral("0001"), code);
    QCOMPARE(collectEstimateFiles(entry), int(indexes.size()));
    QList<int> gotIndexes;
    QStringList gotNames;
    for (const EstimateMemberFile& file : entry.files) {
        gotIndexes << file.index;
        gotNames << QFileInfo(file.path).fileName();
        QCOMPARE(QFileInfo(file.path).absolutePath(), folder.path());
    }
    QVERIFY2(gotIndexes == indexes, qPrintable(describe(entry.files)));
    QCOMPARE(gotNames, collected);
}

void TestEmsRecordTable::sizesAndTotal()
{
    TableFolder folder;
    // 10, 20, 30 and 40 bytes; the empty .lin counts as missing.
    QVERIFY(writeFiles(folder, {"0001.env", "0001.ad1", "0001.veh", "0001.dbt"}));
    QVERIFY(!folder.write(QStringLiteral("0001.lin"), QByteArray()).isEmpty());
    EstimateRecord entry = entryFor(folder, QStringLiteral("0001"), QStringLiteral("C"));
    QCOMPARE(collectEstimateFiles(entry), 4);
    QCOMPARE(describe(entry.files),
             QStringLiteral("0:0001.env:10 1:0001.ad1:20 3:0001.veh:30 16:0001.dbt:40"));
    QCOMPARE(entry.totalSize, qint64(100));
    QCOMPARE(emsRecordTable()[entry.files.last().index].uploadFieldName,
             QStringLiteral("EMSVehicleMemos"));
}

void TestEmsRecordTable::mieRow()
{
    TableFolder folder;
    QVERIFY(writeFiles(folder, {"0001.env", "0001a.ad1"}));
    const QString mie = folder.write(QStringLiteral("mie/5678_90.mie"), QByteArray(7, 'm'));
    QVERIFY(!mie.isEmpty());

    EstimateRecord entry = entryFor(folder, QStringLiteral("0001"), QStringLiteral("M"));
    QCOMPARE(collectEstimateFiles(entry), 2);

    entry.mieFile = folder.filePath(QStringLiteral("mie/gone.mie"));
    QCOMPARE(collectEstimateFiles(entry), 2);

    entry.mieFile = mie;
    QCOMPARE(collectEstimateFiles(entry), 3);
    QCOMPARE(entry.files.last().index, kMieRecordRow);
    QCOMPARE(entry.files.last().path, mie);
    QCOMPARE(entry.files.last().size, qint64(7));
    QCOMPARE(entry.totalSize, qint64(10 + 20 + 7));
}

void TestEmsRecordTable::collectingAgainReplacesTheList()
{
    TableFolder folder;
    QVERIFY(writeFiles(folder, {"0001.env", "0001a.ad1"}));
    EstimateRecord entry = entryFor(folder, QStringLiteral("0001"), QStringLiteral("M"));
    collectEstimateFiles(entry);
    QVERIFY(QFile::remove(folder.filePath(QStringLiteral("0001a.ad1"))));
    QCOMPARE(collectEstimateFiles(entry), 1);
    QCOMPARE(entry.files.size(), 1);
    QCOMPARE(entry.totalSize, qint64(10));
}

void TestEmsRecordTable::baseFromEnvelopeWhenNoBaseName()
{
    TableFolder folder;
    QVERIFY(writeFiles(folder, {"Est1.ENV", "Est1A.AD1", "Est1.TTL"}));
    EstimateRecord entry;
    entry.envelopeFile = folder.filePath(QStringLiteral("Est1.ENV"));
    QCOMPARE(collectEstimateFiles(entry), 3);
    QCOMPARE(describe(entry.files), QStringLiteral("0:Est1.ENV:10 1:Est1A.AD1:20 12:Est1.TTL:30"));
}

QTEST_GUILESS_MAIN(TestEmsRecordTable)
#include "tst_emsrecordtable.moc"
