// Finding the members of an EMS file set: base names, both spellings of the
// administrative and vehicle members, names in any case, and the real set of
// tests/data/dbf/ems that lacks most of its members.

#include "ems/EmsFileSet.h"
#include "ems/EmsReader.h"
#include "emswriter/DbfWriter.h"
#include "emswriter/EmsSetBuilder.h"
#include "support/TableFolder.h"

#include <QDir>
#include <QFile>
#include <QTest>

using namespace tarnaxe;
using tarnaxe::emswriter::EmsSetBuilder;
using tarnaxe::emswriter::EmsStyle;
using tarnaxe::test::TableFolder;

namespace {

const QList<EmsMember> kReadMembers = {EmsMember::Envelope,        EmsMember::Administrative1,
                                       EmsMember::Administrative2, EmsMember::Vehicle,
                                       EmsMember::Totals,          EmsMember::ProfileTotals};

QString realSetFolder()
{
    return QFileInfo(QFINDTESTDATA("../data/dbf/ems/QYUZK0P.env")).absolutePath();
}

} // namespace

class TestEmsFileSet : public QObject {
    Q_OBJECT

private slots:
    void baseName_data();
    void baseName();
    void memberSpellings_data();
    void memberSpellings();
    void plainSpellingComesFirst();
    void envelopeCaseComesFirst();
    void emptyPlainSpellingIsPassedOver();
    void oddCaseFoundByListing();
    void missingMemberNamesFirstSpelling();
    void realSetLacksAdministrativeMembers();
    void realSetCompletedReads();
};

void TestEmsFileSet::baseName_data()
{
    QTest::addColumn<QString>("envelope");
    QTest::addColumn<QString>("base");
    QTest::newRow("lower") << "/est/0001.env"
                           << "/est/0001";
    QTest::newRow("upper") << "/est/0001.ENV"
                           << "/est/0001";
    QTest::newRow("mixed") << "/est/QYUZK0P.Env"
                           << "/est/QYUZK0P";
    QTest::newRow("windows path") << "C:\\EST\\0001.ENV"
                                  << "C:\\EST\\0001";
    QTest::newRow("first occurrence, even in a folder") << "/a.envs/0001.env"
                                                        << "/a";
    QTest::newRow("text after the extension") << "/est/0001.env.bak"
                                              << "/est/0001";
    QTest::newRow("no extension") << "/est/0001"
                                  << "/est/0001";
}

void TestEmsFileSet::baseName()
{
    QFETCH(QString, envelope);
    QFETCH(QString, base);
    QCOMPARE(emsBaseName(envelope), base);
}

void TestEmsFileSet::memberSpellings_data()
{
    QTest::addColumn<int>("style");
    QTest::addColumn<bool>("upper");
    QTest::addColumn<QString>("base");
    QTest::newRow("letter, lower case") << int(EmsStyle::Letter) << false << "0001";
    QTest::newRow("letter, upper case") << int(EmsStyle::Letter) << true << "0001";
    QTest::newRow("plain, lower case") << int(EmsStyle::Plain) << false << "0001";
    QTest::newRow("plain, upper case") << int(EmsStyle::Plain) << true << "0001";
    QTest::newRow("letter, letters in the base") << int(EmsStyle::Letter) << true << "QyuzK0p";
}

// Every member is found where the set was written, and the whole set reads: the envelope
// 0001.ENV with 0001A.AD1 is the same set as the one written in lower case.
void TestEmsFileSet::memberSpellings()
{
    QFETCH(int, style);
    QFETCH(bool, upper);
    QFETCH(QString, base);
    TableFolder folder;
    QVERIFY(folder.isValid());
    EmsSetBuilder set(folder.path(), base);
    set.style(EmsStyle(style)).upperCaseNames(upper);
    QVERIFY(set.write());

    const QString basePath = emsBaseName(set.envelopePath());
    for (EmsMember member : kReadMembers)
        QCOMPARE(emsMemberPath(basePath, member), set.memberPath(member));

    // The envelope named in another case than on disk still finds its set.
    const QString otherCase = upper ? set.envelopePath().toLower() : set.envelopePath().toUpper();
    EmsReader reader;
    EstimateRecord record;
    QVERIFY2(reader.readBasicInfo(QDir(folder.path()).filePath(QFileInfo(otherCase).fileName()),
                                  QDate(1951, 12, 31), record),
             qPrintable(reader.lastError()));
    QCOMPARE(record.insured, QStringLiteral("SMITH, JOHN"));
}

void TestEmsFileSet::plainSpellingComesFirst()
{
    TableFolder folder;
    EmsSetBuilder letter(folder.path(), QStringLiteral("0001"));
    letter.style(EmsStyle::Letter).set("CLM_NO", "FROM LETTER");
    EmsSetBuilder plain(folder.path(), QStringLiteral("0001"));
    plain.style(EmsStyle::Plain).set("CLM_NO", "FROM PLAIN");
    QVERIFY(letter.write());
    QVERIFY(plain.write());

    QCOMPARE(emsMemberPath(plain.basePath(), EmsMember::Administrative1),
             plain.memberPath(EmsMember::Administrative1));
    EmsReader reader;
    EstimateRecord record;
    QVERIFY(reader.readBasicInfo(plain.envelopePath(), QDate(1951, 12, 31), record));
    QCOMPARE(record.claimNumber.trimmed(), QStringLiteral("FROM PLAIN"));
}

// On Linux 0001.AD1 and 0001.ad1 can both be there; the one in the case of the envelope's
// extension belongs to that envelope.
void TestEmsFileSet::envelopeCaseComesFirst()
{
    TableFolder folder;
    EmsSetBuilder lower(folder.path(), QStringLiteral("0001"));
    lower.style(EmsStyle::Plain).set("CLM_NO", "LOWER");
    EmsSetBuilder upper(folder.path(), QStringLiteral("0001"));
    upper.style(EmsStyle::Plain).upperCaseNames().set("CLM_NO", "UPPER");
    QVERIFY(lower.write());
    QVERIFY(upper.write());

    QCOMPARE(emsMemberPath(lower.basePath(), EmsMember::Administrative1, LetterCase::Upper),
             upper.memberPath(EmsMember::Administrative1));
    EmsReader reader;
    EstimateRecord record;
    QVERIFY(reader.readBasicInfo(lower.envelopePath(), QDate(1951, 12, 31), record));
    QCOMPARE(record.claimNumber.trimmed(), QStringLiteral("LOWER"));
    QVERIFY(reader.readBasicInfo(upper.envelopePath(), QDate(1951, 12, 31), record));
    QCOMPARE(record.claimNumber.trimmed(), QStringLiteral("UPPER"));
    EstimateRecord entry;
    entry.envelopeFile = upper.envelopePath();
    QVERIFY(reader.fillPreparseInfo(entry));
    QCOMPARE(entry.preparsedClaimNumber, QStringLiteral("UPPER"));
}

// An empty file is no member (it could not be opened): the next spelling is taken.
void TestEmsFileSet::emptyPlainSpellingIsPassedOver()
{
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
    QVERIFY(set.write());
    QVERIFY(!folder.write(QStringLiteral("0001.ad1"), QByteArray()).isEmpty());
    QCOMPARE(emsMemberPath(set.basePath(), EmsMember::Administrative1),
             set.memberPath(EmsMember::Administrative1));
}

void TestEmsFileSet::oddCaseFoundByListing()
{
    TableFolder folder;
    EmsSetBuilder set(folder.path(), QStringLiteral("Est7"));
    set.style(EmsStyle::Plain)
        .fileName(EmsMember::Administrative1, QStringLiteral("eST7.aD1"))
        .fileName(EmsMember::Vehicle, QStringLiteral("EsT7v.VeH"));
    QVERIFY(set.write());
    QCOMPARE(emsMemberPath(set.basePath(), EmsMember::Administrative1),
             folder.filePath(QStringLiteral("eST7.aD1")));
    QCOMPARE(emsMemberPath(set.basePath(), EmsMember::Vehicle),
             folder.filePath(QStringLiteral("EsT7v.VeH")));
    QCOMPARE(findExistingFile(folder.filePath(QStringLiteral("EST7.ENV"))),
             folder.filePath(QStringLiteral("Est7.env")));
}

void TestEmsFileSet::missingMemberNamesFirstSpelling()
{
    TableFolder folder;
    const QString base = folder.filePath(QStringLiteral("0001"));
    QCOMPARE(emsMemberPath(base, EmsMember::Administrative2), base + QStringLiteral(".ad2"));
    QCOMPARE(emsMemberPath(base, EmsMember::ProfileTotals), base + QStringLiteral(".pft"));
    QVERIFY(findExistingFile(base + QStringLiteral(".env")).isEmpty());
}

// The envelope and vehicle table of a set written by an estimating program, without its
// other members: a basic read and a field query fail on the missing administrative table
// and say so; the vehicle table is found under its upper-case letter ("QYUZK0PV.veh").
void TestEmsFileSet::realSetLacksAdministrativeMembers()
{
    const QString folder = realSetFolder();
    QVERIFY(QFileInfo::exists(folder + QStringLiteral("/QYUZK0PV.veh")));
    const QString envelope = folder + QStringLiteral("/QYUZK0P.env");
    QCOMPARE(emsMemberPath(emsBaseName(envelope), EmsMember::Vehicle),
             folder + QStringLiteral("/QYUZK0PV.veh"));

    EmsReader reader;
    EstimateRecord record;
    record.vehicle = QStringLiteral("untouched");
    QVERIFY(!reader.readBasicInfo(envelope, QDate(1951, 12, 31), record));
    QCOMPARE(reader.lastError(), QStringLiteral("File Not Found"));
    QCOMPARE(reader.lastErrorFile(), folder + QStringLiteral("/QYUZK0P.ad1"));
    QCOMPARE(record.vehicle, QStringLiteral("untouched"));

    Variant value(QStringLiteral("stale"));
    QVERIFY(!reader.readField(envelope, QStringLiteral("V_VIN"), value));
    QCOMPARE(value, Variant(QString()));
    QCOMPARE(reader.lastError(), QStringLiteral("File Not Found"));
}

// The same two real tables with the missing members added: platform "A" needs no
// profile totals, and the values come from the program's own tables.
void TestEmsFileSet::realSetCompletedReads()
{
    TableFolder folder;
    QVERIFY(folder.isValid());
    for (const QString& name : {QStringLiteral("QYUZK0P.env"), QStringLiteral("QYUZK0PV.veh"),
                                QStringLiteral("QYUZK0PV.dbt")})
        QVERIFY(QFile::copy(realSetFolder() + QLatin1Char('/') + name, folder.filePath(name)));
    EmsSetBuilder rest(folder.path(), QStringLiteral("QYUZK0P"));
    rest.upperCaseNames()
        .omit(EmsMember::Envelope)
        .omit(EmsMember::Vehicle)
        .omit(EmsMember::ProfileTotals);
    QVERIFY(rest.write());

    EmsReader reader;
    EstimateRecord record;
    const QString envelope = folder.filePath(QStringLiteral("QYUZK0P.env"));
    QVERIFY2(reader.readBasicInfo(envelope, QDate(1951, 12, 31), record),
             qPrintable(reader.lastError()));
    QCOMPARE(record.platformCode, QStringLiteral("A"));
    QCOMPARE(record.vehicle, QStringLiteral("10 Volkswagen Jetta"));
    QCOMPARE(record.creationDate, QStringLiteral("06/19/17"));
    QCOMPARE(record.creationStamp, QStringLiteral("20170619000000"));
    QCOMPARE(record.estimateFileId, QStringLiteral("C602E65C-4E1B-417C-85C0-44A344871DA9  "));
    QCOMPARE(record.supplementNumber, QStringLiteral("E01"));
    QCOMPARE(record.status, QStringLiteral("False"));

    Variant value;
    QVERIFY(reader.readField(envelope, QStringLiteral("V_VIN"), value));
    QCOMPARE(value, Variant(QStringLiteral("3VWRX7AJ4AM065626        ")));
    QVERIFY(reader.readField(envelope, QStringLiteral("v_options"), value));
    QVERIFY2(value.stringValue().startsWith(QStringLiteral("AC;")),
             qPrintable(value.stringValue().left(40)));
}

QTEST_GUILESS_MAIN(TestEmsFileSet)
#include "tst_emsfileset.moc"
