// Delivering an assignment into the import folders of the chosen slots: which pieces are
// downloaded, what each platform's folder receives, and how failures and cancels end it.

#include "config/LocalSettings.h"
#include "delivery/AssignmentDelivery.h"
#include "delivery/DeliveryFiles.h"
#include "ems/EmsRecordTable.h"
#include "support/FileContents.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QMap>
#include <QTemporaryDir>
#include <QTest>
#include <functional>

using namespace tarnaxe;
namespace names = tarnaxe::platform_names;

namespace {

const QStringList kMitchellPieces = {QStringLiteral("MIT201env"),    QStringLiteral("MIT201ad1"),
                                     QStringLiteral("MIT201ad2"),    QStringLiteral("MIT201veh"),
                                     QStringLiteral("MIT201ad1dbt"), QStringLiteral("MIT201ad2dbt"),
                                     QStringLiteral("MIT201vehdbt")};
const QStringList kAudatexPieces = {QStringLiteral("ADP201env"), QStringLiteral("ADP201ad1"),
                                    QStringLiteral("ADP201ad2"), QStringLiteral("ADP201veh"),
                                    QStringLiteral("ADP201dbt")};
const QStringList kCccPieces = {QStringLiteral("CCC201env"), QStringLiteral("CCC201ad1"),
                                QStringLiteral("CCC201ad2"), QStringLiteral("CCC201veh"),
                                QStringLiteral("CCC201dbt")};
const QStringList kMiePieces = {QStringLiteral("MIEassign")};
const QStringList kAllPieces = kMitchellPieces + kAudatexPieces + kCccPieces + kMiePieces;

// 40213 once scaled to the Mitchell range.
constexpr double kFraction40213 = 40213.0 / 999999.0;

const QString kNoValidPaths =
    QStringLiteral("There are no valid export paths defined in your setup.");

// Each piece's bytes are its own, and hold what a text-mode write would spoil.
QByteArray pieceBytes(const QString& piece)
{
    return piece.toLatin1() + QByteArray("\0\r\n\x1a\xff|", 6) + piece.toLower().toLatin1();
}

// file name -> the piece whose bytes it must hold
using FolderPlan = QMap<QString, QString>;

FolderPlan setOf(const QString& platform, const QString& base)
{
    FolderPlan plan;
    if (platform == names::mitchell) {
        const char* suffixes[] = {".env", "a.ad1", "b.ad2", "v.veh", "a.dbt", "b.dbt", "v.dbt"};
        for (int i = 0; i < 7; ++i)
            plan.insert(base + QLatin1String(suffixes[i]), kMitchellPieces[i]);
    } else if (platform == names::audatex || platform == names::ccc) {
        const QStringList& pieces = platform == names::ccc ? kCccPieces : kAudatexPieces;
        const char* suffixes[] = {".env", ".ad1", ".ad2", ".veh", ".dbt"};
        for (int i = 0; i < 5; ++i)
            plan.insert(base + QLatin1String(suffixes[i]), pieces[i]);
    } else if (platform == names::custom1) {
        plan.insert(base + QStringLiteral(".mie"), kMiePieces[0]);
    }
    return plan;
}

// "" when folder holds exactly the planned files with the planned bytes (plus the files
// in keep, which must be unchanged); else what differs.
QString folderDiff(const QString& folder, const FolderPlan& plan,
                   const QMap<QString, QByteArray>& keep = {})
{
    QStringList expected = plan.keys() + keep.keys();
    expected.sort();
    const QStringList actual = test::folderEntries(folder);
    if (actual != expected)
        return QStringLiteral("%1 holds [%2], expected [%3]")
            .arg(folder, actual.join(QLatin1String(", ")), expected.join(QLatin1String(", ")));
    for (auto it = keep.begin(); it != keep.end(); ++it) {
        if (test::fileContents(folder + QLatin1Char('/') + it.key()) != it.value())
            return it.key() + QStringLiteral(" was changed");
    }
    for (auto it = plan.begin(); it != plan.end(); ++it) {
        const QByteArray bytes = test::fileContents(folder + QLatin1Char('/') + it.key());
        if (bytes == pieceBytes(it.value()))
            continue;
        QString held = QStringLiteral("unknown bytes");
        for (const QString& piece : kAllPieces) {
            if (bytes == pieceBytes(piece))
                held = piece;
        }
        return QStringLiteral("%1 holds %2, expected %3").arg(it.key(), held, it.value());
    }
    return {};
}

QList<int> downloadProgress(int pieces = 18)
{
    QList<int> values;
    for (int k = 0; k < pieces; ++k)
        values << k * 4 + 7;
    return values;
}

// Every download's value, then the writers' ones.
QList<int> downloadsThen(std::initializer_list<int> writers)
{
    return downloadProgress() + QList<int>(writers);
}

// The transfer form as the delivery sees it: pieces from a table, every call recorded.
class FakeSource : public DeliverySource {
public:
    FakeSource()
    {
        for (const QString& piece : kAllPieces)
            pieces.insert(piece, pieceBytes(piece));
    }

    bool readPiece(const QString& pieceName, QByteArray& data, QString& error) override
    {
        reads << pieceName;
        if (onRead)
            onRead(pieceName);
        if (reads.size() == failOnRead) {
            error = failMessage;
            return false;
        }
        data = pieces.value(pieceName);
        return true;
    }
    bool readBasename(QString& message, QString& name) override
    {
        ++basenameReads;
        if (!basenameMessage.isNull())
            message = basenameMessage;
        if (!basenameOk)
            return false;
        name = basename;
        return true;
    }
    void setProgress(int percent) override
    {
        progress << percent;
        if (onProgress)
            onProgress(percent);
    }
    bool cancelRequested() override { return cancel; }

    QHash<QString, QByteArray> pieces;
    QString basename = QStringLiteral("CL123");
    bool basenameOk = true;
    QString basenameMessage;
    int failOnRead = 0; // 1 for the first read
    QString failMessage;
    bool cancel = false;
    std::function<void(const QString&)> onRead;
    std::function<void(int)> onProgress;

    QStringList reads;
    int basenameReads = 0;
    QList<int> progress;
};

} // namespace

class TestAssignmentDelivery : public QObject {
    Q_OBJECT

private:
    QString folderOf(int slot) const
    {
        return m_dir->filePath(QStringLiteral("import%1").arg(slot));
    }
    // The slot's platform and folder; the folder is made unless told otherwise.
    void useSlot(int slot, const QString& platform, bool makeFolder = true)
    {
        m_settings->EMSEstPlatform[slot] = platform;
        m_settings->EMSImportPath[slot] = folderOf(slot);
        if (makeFolder)
            QVERIFY(QDir().mkpath(folderOf(slot)));
    }
    // Slot 1 Mitchell, 2 Audatex, 3 CCC, 4 Custom #1; which go is up to the selection.
    void useFourPlatforms()
    {
        useSlot(1, names::mitchell);
        useSlot(2, names::audatex);
        useSlot(3, names::ccc);
        useSlot(4, names::custom1);
    }
    bool deliver(const QString& selection, QString& message)
    {
        AssignmentDelivery delivery(*m_settings, selection, m_session, *m_source);
        delivery.setRandomFraction([this] {
            ++m_draws;
            return m_fractions.isEmpty() ? 0.5 : m_fractions.takeFirst();
        });
        return delivery.DeliverAssignment(message);
    }
    // "" when no import folder holds a file.
    QString importFoldersEmpty() const
    {
        for (int slot = 1; slot <= kPlatformSlots; ++slot) {
            if (!test::folderEntries(folderOf(slot)).isEmpty())
                return QStringLiteral("import%1 holds [%2]")
                    .arg(slot)
                    .arg(test::folderEntries(folderOf(slot)).join(QLatin1String(", ")));
        }
        return {};
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<LocalSettings> m_settings;
    std::unique_ptr<FakeSource> m_source;
    QString m_session;
    QList<double> m_fractions;
    int m_draws = 0;

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_settings = std::make_unique<LocalSettings>(m_dir->filePath(QStringLiteral("Local.ini")));
        for (QString& platform : m_settings->EMSEstPlatform)
            platform = names::notDefined;
        m_session = m_dir->filePath(QStringLiteral("session"));
        QVERIFY(QDir().mkpath(m_session));
        m_source = std::make_unique<FakeSource>();
        m_fractions = {kFraction40213};
        m_draws = 0;
    }
    void cleanup()
    {
        m_source.reset();
        m_settings.reset();
        m_dir.reset();
    }

    void onePlatform_data();
    void onePlatform();
    void allFourShareTheSessionFiles();
    void platformWithoutFiles_data();
    void platformWithoutFiles();
    void missingFolderStillDownloads();
    void noUsableSlot_data();
    void noUsableSlot();
    void sessionFolderMissing();
    void slotFiveTakesSlotSixPlatform_data();
    void slotFiveTakesSlotSixPlatform();
    void mitchellNameRedrawn_data();
    void mitchellNameRedrawn();
    void baseNameTrimmed_data();
    void baseNameTrimmed();
    void hostileBaseName_data();
    void hostileBaseName();
    void baseNameUnavailable_data();
    void baseNameUnavailable();
    void existingFilesKept_data();
    void existingFilesKept();
    void readFailure_data();
    void readFailure();
    void cancelDuringDownloads_data();
    void cancelDuringDownloads();
    void lastSlotDecides_data();
    void lastSlotDecides();
    void progressValues();
    void sessionFileCannotBeDeleted_data();
    void sessionFileCannotBeDeleted();
    void sessionFileCannotBeWritten();
    void staleSessionFileNeverDelivered();
};

void TestAssignmentDelivery::onePlatform_data()
{
    QTest::addColumn<QString>("selection");
    QTest::addColumn<int>("slot");
    QTest::addColumn<QString>("platform");
    QTest::addColumn<QStringList>("pieces");
    QTest::addColumn<QString>("base");
    QTest::newRow("Mitchell") << "YNNNN" << 1 << names::mitchell << kMitchellPieces << "A40213";
    QTest::newRow("Audatex") << "NYNNN" << 2 << names::audatex << kAudatexPieces << "CL123";
    QTest::newRow("CCC") << "NNY" << 3 << names::ccc << kCccPieces << "CL123";
    QTest::newRow("Custom #1") << "NNNYN" << 4 << names::custom1 << kMiePieces << "CL123";
}

void TestAssignmentDelivery::onePlatform()
{
    QFETCH(QString, selection);
    QFETCH(int, slot);
    QFETCH(QString, platform);
    QFETCH(QStringList, pieces);
    QFETCH(QString, base);
    useFourPlatforms();
    QString message;
    QVERIFY2(deliver(selection, message), qPrintable(message));
    QCOMPARE(message, QStringLiteral("OK"));
    QCOMPARE(m_source->reads, pieces);
    const QString diff = folderDiff(folderOf(slot), setOf(platform, base));
    QVERIFY2(diff.isEmpty(), qPrintable(diff));
    for (int other = 1; other <= kPlatformSlots; ++other) {
        if (other != slot)
            QCOMPARE(test::folderEntries(folderOf(other)), QStringList());
    }
    // Mitchell draws its names; the others ask the server.
    QCOMPARE(m_source->basenameReads, platform == names::mitchell ? 0 : 1);
    QCOMPARE(m_draws, platform == names::mitchell ? 1 : 0);
    QCOMPARE(m_source->progress, downloadsThen({slot * 5 + 75, 100}));
}

// Platforms download into the same session files, the later one last: Mitchell's
// envelope and records carry CCC's pieces when both go, only its memo files its own.
void TestAssignmentDelivery::allFourShareTheSessionFiles()
{
    useFourPlatforms();
    QString message;
    QVERIFY2(deliver(QStringLiteral("YYYYN"), message), qPrintable(message));
    QCOMPARE(message, QStringLiteral("OK"));
    QCOMPARE(m_source->reads, kAllPieces);

    FolderPlan mitchell = setOf(names::mitchell, QStringLiteral("A40213"));
    mitchell[QStringLiteral("A40213.env")] = QStringLiteral("CCC201env");
    mitchell[QStringLiteral("A40213a.ad1")] = QStringLiteral("CCC201ad1");
    mitchell[QStringLiteral("A40213b.ad2")] = QStringLiteral("CCC201ad2");
    mitchell[QStringLiteral("A40213v.veh")] = QStringLiteral("CCC201veh");
    QString diff = folderDiff(folderOf(1), mitchell);
    QVERIFY2(diff.isEmpty(), qPrintable(diff));
    // Audatex shares every session file with CCC.
    diff = folderDiff(folderOf(2), setOf(names::ccc, QStringLiteral("CL123")));
    QVERIFY2(diff.isEmpty(), qPrintable(diff));
    diff = folderDiff(folderOf(3), setOf(names::ccc, QStringLiteral("CL123")));
    QVERIFY2(diff.isEmpty(), qPrintable(diff));
    diff = folderDiff(folderOf(4), setOf(names::custom1, QStringLiteral("CL123")));
    QVERIFY2(diff.isEmpty(), qPrintable(diff));
    QCOMPARE(m_source->progress, downloadsThen({80, 85, 90, 95, 100}));
}

void TestAssignmentDelivery::platformWithoutFiles_data()
{
    QTest::addColumn<QString>("platform");
    QTest::newRow("Xactimate") << names::xactimate;
    QTest::newRow("not defined") << names::notDefined;
    QTest::newRow("unknown name") << "EMS: Somebody Else";
}

void TestAssignmentDelivery::platformWithoutFiles()
{
    QFETCH(QString, platform);
    useSlot(1, platform);
    QString message;
    QVERIFY2(deliver(QStringLiteral("Y"), message), qPrintable(message));
    QCOMPARE(m_source->reads, QStringList());
    QCOMPARE(m_source->basenameReads, 0);
    QCOMPARE(test::folderEntries(folderOf(1)), QStringList());
    QCOMPARE(test::folderEntries(m_session), QStringList());
    QCOMPARE(m_source->progress, downloadsThen({80, 100}));
}

// Slot 2's folder is gone, slot 1's is there: slot 2's pieces are still fetched, but its
// writer does not run (it would fail, and as the last writer decide the result).
void TestAssignmentDelivery::missingFolderStillDownloads()
{
    useSlot(1, names::ccc);
    useSlot(2, names::mitchell, false);
    QString message;
    QVERIFY2(deliver(QStringLiteral("YY"), message), qPrintable(message));
    QCOMPARE(message, QStringLiteral("OK"));
    QCOMPARE(m_source->reads, kMitchellPieces + kCccPieces);
    QCOMPARE(test::fileContents(m_session + QStringLiteral("/tempad1.dbt")),
             pieceBytes("MIT201ad1dbt"));
    const QString diff = folderDiff(folderOf(1), setOf(names::ccc, QStringLiteral("CL123")));
    QVERIFY2(diff.isEmpty(), qPrintable(diff));
    QVERIFY(!QFileInfo::exists(folderOf(2)));
    QCOMPARE(m_draws, 0);
    QCOMPARE(m_source->progress, downloadsThen({80, 100}));
}

void TestAssignmentDelivery::noUsableSlot_data()
{
    QTest::addColumn<QString>("layout");
    QTest::addColumn<QString>("selection");
    QTest::newRow("no folders at all") << "none"
                                       << "YYYYY";
    QTest::newRow("selected folder missing") << "missing"
                                             << "YNNNN";
    QTest::newRow("existing folder not selected") << "existing"
                                                  << "NYYYY";
    QTest::newRow("empty selection") << "existing"
                                     << "";
    QTest::newRow("folder is a file") << "file"
                                      << "YNNNN";
}

void TestAssignmentDelivery::noUsableSlot()
{
    QFETCH(QString, layout);
    QFETCH(QString, selection);
    if (layout == QLatin1String("missing")) {
        useSlot(1, names::ccc, false);
    } else if (layout == QLatin1String("existing")) {
        useSlot(1, names::ccc);
    } else if (layout == QLatin1String("file")) {
        useSlot(1, names::ccc, false);
        QVERIFY(test::writeFileContents(folderOf(1), "not a folder"));
    } else {
        for (int slot = 1; slot <= 6; ++slot)
            m_settings->EMSEstPlatform[slot] = names::ccc;
    }
    QString message;
    QVERIFY(!deliver(selection, message));
    QCOMPARE(message, kNoValidPaths);
    QCOMPARE(m_source->reads, QStringList());
    QCOMPARE(m_source->progress, QList<int>());
    QCOMPARE(test::folderEntries(m_session), QStringList());
}

void TestAssignmentDelivery::sessionFolderMissing()
{
    useSlot(1, names::ccc);
    QVERIFY(QDir(m_session).removeRecursively());
    QString message;
    QVERIFY(!deliver(QStringLiteral("Y"), message));
    QVERIFY2(!message.isEmpty() && message != kNoValidPaths, qPrintable(message));
    QVERIFY2(message.contains(QLatin1String("session folder")), qPrintable(message));
    QCOMPARE(m_source->reads, QStringList());
    QCOMPARE(m_source->progress, QList<int>());
    QCOMPARE(test::folderEntries(folderOf(1)), QStringList());
    QVERIFY2(!QFileInfo::exists(m_session), "a session folder was made behind Init's back");
}

void TestAssignmentDelivery::slotFiveTakesSlotSixPlatform_data()
{
    QTest::addColumn<QString>("slotFive");
    QTest::addColumn<QString>("slotSix");
    QTest::addColumn<QStringList>("pieces");
    QTest::newRow("slot six is CCC") << names::mitchell << names::ccc << kCccPieces;
    QTest::newRow("slot six is Xactimate") << names::ccc << names::xactimate << QStringList();
}

void TestAssignmentDelivery::slotFiveTakesSlotSixPlatform()
{
    QFETCH(QString, slotFive);
    QFETCH(QString, slotSix);
    QFETCH(QStringList, pieces);
    useSlot(5, slotFive);
    m_settings->EMSEstPlatform[6] = slotSix;
    for (int slot = 1; slot <= 4; ++slot)
        m_settings->EMSEstPlatform[slot] = QStringLiteral("slot %1").arg(slot);
    {
        AssignmentDelivery delivery(*m_settings, QStringLiteral("NNNNY"), m_session, *m_source);
        for (int slot = 1; slot <= 4; ++slot)
            QCOMPARE(delivery.platformOfSlot(slot), QStringLiteral("slot %1").arg(slot));
        QCOMPARE(delivery.platformOfSlot(5), slotSix);
    }
    QString message;
    QVERIFY2(deliver(QStringLiteral("NNNNY"), message), qPrintable(message));
    QCOMPARE(m_source->reads, pieces);
    const QString diff = folderDiff(folderOf(5), setOf(slotSix, QStringLiteral("CL123")));
    QVERIFY2(diff.isEmpty(), qPrintable(diff));
    QCOMPARE(m_draws, 0);
    QCOMPARE(m_source->progress, downloadsThen({100, 100}));
}

void TestAssignmentDelivery::mitchellNameRedrawn_data()
{
    QTest::addColumn<QStringList>("existing");
    QTest::addColumn<QList<double>>("fractions");
    QTest::addColumn<QString>("base");
    QTest::addColumn<int>("draws");
    const QList<double> twice = {kFraction40213, 77.0 / 999999.0};
    QTest::newRow("envelope taken") << QStringList{"A40213.env"} << twice << "A77" << 2;
    QTest::newRow("member taken in another case")
        << QStringList{"a40213V.VEH"} << twice << "A77" << 2;
    QTest::newRow("memo taken") << QStringList{"A40213b.dbt"} << twice << "A77" << 2;
    QTest::newRow("another file of that base") << QStringList{"A40213.txt"} << twice << "A77" << 2;
    QTest::newRow("taken twice") << QStringList{"A40213.env", "a77A.AD1"}
                                 << QList<double>{kFraction40213, 77.0 / 999999.0, 0.0} << "A0"
                                 << 3;
    QTest::newRow("longer and shorter names are no clash")
        << QStringList{"A402131.env", "A4021.env", "A4021a.ad1"} << QList<double>{kFraction40213}
        << "A40213" << 1;
    QTest::newRow("scaled fraction is rounded")
        << QStringList{} << QList<double>{40212.6 / 999999.0} << "A40213" << 1;
    QTest::newRow("top of the range")
        << QStringList{} << QList<double>{0.9999999999} << "A999999" << 1;
}

void TestAssignmentDelivery::mitchellNameRedrawn()
{
    QFETCH(QStringList, existing);
    QFETCH(QList<double>, fractions);
    QFETCH(QString, base);
    QFETCH(int, draws);
    useSlot(1, names::mitchell);
    QMap<QString, QByteArray> keep;
    for (const QString& name : existing) {
        keep.insert(name, "an earlier assignment");
        QVERIFY(test::writeFileContents(folderOf(1) + QLatin1Char('/') + name, keep.value(name)));
    }
    m_fractions = fractions;
    QString message;
    QVERIFY2(deliver(QStringLiteral("Y"), message), qPrintable(message));
    QCOMPARE(message, QStringLiteral("OK"));
    QCOMPARE(m_draws, draws);
    const QString diff = folderDiff(folderOf(1), setOf(names::mitchell, base), keep);
    QVERIFY2(diff.isEmpty(), qPrintable(diff));
}

void TestAssignmentDelivery::baseNameTrimmed_data()
{
    QTest::addColumn<QString>("platform");
    QTest::addColumn<QString>("basename");
    QTest::newRow("CCC, blanks around") << names::ccc << " CL123 ";
    QTest::newRow("Audatex, blanks after") << names::audatex << "CL123   ";
    QTest::newRow("Custom #1, blanks before") << names::custom1 << "  CL123";
}

void TestAssignmentDelivery::baseNameTrimmed()
{
    QFETCH(QString, platform);
    QFETCH(QString, basename);
    useSlot(1, platform);
    m_source->basename = basename;
    QString message;
    QVERIFY2(deliver(QStringLiteral("Y"), message), qPrintable(message));
    const QString diff = folderDiff(folderOf(1), setOf(platform, QStringLiteral("CL123")));
    QVERIFY2(diff.isEmpty(), qPrintable(diff));
}

void TestAssignmentDelivery::hostileBaseName_data()
{
    QTest::addColumn<QString>("platform");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("basename");
    const QString ccc = QStringLiteral("Writing CCC assignment");
    const QString adp = QStringLiteral("Writing ADP assignment");
    const QString mie = QStringLiteral("Writing MIE assignment");
    QTest::newRow("CCC, up and out") << names::ccc << ccc << "../x";
    QTest::newRow("CCC, into a subfolder") << names::ccc << ccc << "a/b";
    QTest::newRow("CCC, 300 characters") << names::ccc << ccc << QString(300, QLatin1Char('c'));
    QTest::newRow("Audatex, up and out") << names::audatex << adp << "../x";
    QTest::newRow("Audatex, absolute") << names::audatex << adp << "/x";
    QTest::newRow("Audatex, hidden") << names::audatex << adp << ".x";
    QTest::newRow("Custom #1, Windows path") << names::custom1 << mie << "..\\x";
    QTest::newRow("Custom #1, only blanks") << names::custom1 << mie << "   ";
    QTest::newRow("Custom #1, NUL")
        << names::custom1 << mie << QStringLiteral("CL") + QChar(0) + QStringLiteral("1");
}

void TestAssignmentDelivery::hostileBaseName()
{
    QFETCH(QString, platform);
    QFETCH(QString, title);
    QFETCH(QString, basename);
    useSlot(1, platform);
    m_source->basename = basename;
    const QStringList around = test::folderEntries(m_dir->path());
    QString message;
    QVERIFY(!deliver(QStringLiteral("Y"), message));

    const QString head = title + QStringLiteral("\r\n\r\nError: ");
    QVERIFY2(message.startsWith(head) && message.endsWith(QLatin1String("\r\n")),
             qPrintable(message));
    const QString reason = message.mid(head.size(), message.size() - head.size() - 2);
    QCOMPARE(reason, baseNameProblem(basename.trimmed()));
    QVERIFY(!reason.isEmpty());
    QCOMPARE(test::folderEntries(folderOf(1)), QStringList());
    QCOMPARE(test::folderEntries(m_dir->path()), around);
    QVERIFY(!m_source->progress.contains(100));
}

void TestAssignmentDelivery::baseNameUnavailable_data()
{
    QTest::addColumn<bool>("readSucceeds");
    QTest::addColumn<QString>("readMessage");
    QTest::addColumn<QString>("expected");
    QTest::newRow("read fails") << false << "Read Error: No Status returned"
                                << "Read Error: No Status returned";
    QTest::newRow("no name in the reply")
        << true << "OK"
        << "Writing CCC assignment\r\n\r\nError: The server sent an empty base name\r\n";
}

void TestAssignmentDelivery::baseNameUnavailable()
{
    QFETCH(bool, readSucceeds);
    QFETCH(QString, readMessage);
    QFETCH(QString, expected);
    useSlot(1, names::ccc);
    m_source->basenameOk = readSucceeds;
    m_source->basename.clear();
    m_source->basenameMessage = readMessage;
    QString message;
    QVERIFY(!deliver(QStringLiteral("Y"), message));
    QCOMPARE(message, expected);
    QCOMPARE(m_source->basenameReads, 1);
    QCOMPARE(test::folderEntries(folderOf(1)), QStringList());
}

void TestAssignmentDelivery::existingFilesKept_data()
{
    QTest::addColumn<QString>("platform");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("existing");
    QTest::addColumn<QString>("refused");
    QTest::newRow("CCC envelope in upper case") << names::ccc << "Writing CCC assignment"
                                                << "CL123.ENV"
                                                << "CL123.env";
    QTest::newRow("Audatex memo, other case") << names::audatex << "Writing ADP assignment"
                                              << "cl123.Dbt"
                                              << "CL123.dbt";
    QTest::newRow("Custom #1 same name") << names::custom1 << "Writing MIE assignment"
                                         << "CL123.mie"
                                         << "CL123.mie";
}

void TestAssignmentDelivery::existingFilesKept()
{
    QFETCH(QString, platform);
    QFETCH(QString, title);
    QFETCH(QString, existing);
    QFETCH(QString, refused);
    useSlot(1, platform);
    QVERIFY(test::writeFileContents(folderOf(1) + QLatin1Char('/') + existing, "the office's own"));
    QString message;
    QVERIFY(!deliver(QStringLiteral("Y"), message));
    QCOMPARE(message, title + QStringLiteral("\r\n\r\nError: File already exists: ") + folderOf(1) +
                          QLatin1Char('/') + refused + QStringLiteral("\r\n"));
    const QString diff = folderDiff(folderOf(1), {}, {{existing, "the office's own"}});
    QVERIFY2(diff.isEmpty(), qPrintable(diff));
}

void TestAssignmentDelivery::readFailure_data()
{
    QTest::addColumn<int>("failingRead");
    QTest::newRow("first") << 1;
    QTest::newRow("ninth") << 9;
    QTest::newRow("last") << 18;
}

// All four platforms go, so every piece is read; one read fails.
void TestAssignmentDelivery::readFailure()
{
    QFETCH(int, failingRead);
    useFourPlatforms();
    m_source->failOnRead = failingRead;
    m_source->failMessage = QStringLiteral("Piece %1 is not on the server").arg(failingRead);
    QString message;
    QVERIFY(!deliver(QStringLiteral("YYYYN"), message));
    QCOMPARE(message, m_source->failMessage);
    QCOMPARE(m_source->reads, kAllPieces.first(failingRead));
    QCOMPARE(m_source->progress, downloadProgress(failingRead - 1));
    QCOMPARE(m_source->basenameReads, 0);
    const QString diff = importFoldersEmpty();
    QVERIFY2(diff.isEmpty(), qPrintable(diff));
}

void TestAssignmentDelivery::cancelDuringDownloads_data()
{
    QTest::addColumn<int>("pressedDuringRead"); // 0: before the first
    QTest::newRow("before the first piece") << 0;
    QTest::newRow("during the first piece") << 1;
    QTest::newRow("during the fifth piece") << 5;
    QTest::newRow("during the seventeenth piece") << 17;
}

void TestAssignmentDelivery::cancelDuringDownloads()
{
    QFETCH(int, pressedDuringRead);
    useFourPlatforms();
    m_source->cancel = pressedDuringRead == 0;
    m_source->onRead = [this, pressedDuringRead](const QString&) {
        if (m_source->reads.size() == pressedDuringRead)
            m_source->cancel = true;
    };
    QString message;
    QVERIFY(!deliver(QStringLiteral("YYYYN"), message));
    QCOMPARE(message, QStringLiteral("User cancelled the process"));
    QCOMPARE(m_source->reads, kAllPieces.first(pressedDuringRead));
    QCOMPARE(m_source->progress, downloadProgress(pressedDuringRead));
    const QString diff = importFoldersEmpty();
    QVERIFY2(diff.isEmpty(), qPrintable(diff));
}

void TestAssignmentDelivery::lastSlotDecides_data()
{
    QTest::addColumn<int>("vanishing");
    QTest::addColumn<bool>("result");
    QTest::addColumn<QString>("message");
    QTest::newRow("first slot fails, last succeeds") << 1 << true << "OK";
    QTest::newRow("first slot succeeds, last fails")
        << 2 << false << "Invalid destination path for assignment";
}

// A folder that vanishes after the downloads: its writer fails, and only the last
// writer's result is reported.
void TestAssignmentDelivery::lastSlotDecides()
{
    QFETCH(int, vanishing);
    QFETCH(bool, result);
    QFETCH(QString, message);
    useSlot(1, names::ccc);
    useSlot(2, names::mitchell);
    m_source->onProgress = [this, vanishing](int percent) {
        if (percent == 75)
            QDir(folderOf(vanishing)).removeRecursively();
    };
    QString got;
    QCOMPARE(deliver(QStringLiteral("YY"), got), result);
    QCOMPARE(got, message);
    QVERIFY(!QFileInfo::exists(folderOf(vanishing)));
    FolderPlan survivor;
    if (vanishing == 1) {
        // Mitchell's envelope and records come from CCC's downloads.
        survivor = setOf(names::mitchell, QStringLiteral("A40213"));
        const char* shared[] = {"A40213.env", "A40213a.ad1", "A40213b.ad2", "A40213v.veh"};
        for (int i = 0; i < 4; ++i)
            survivor[QLatin1String(shared[i])] = kCccPieces[i];
    } else {
        survivor = setOf(names::ccc, QStringLiteral("CL123"));
    }
    const QString diff = folderDiff(folderOf(3 - vanishing), survivor);
    QVERIFY2(diff.isEmpty(), qPrintable(diff));
    QCOMPARE(m_source->progress,
             downloadProgress() + (result ? QList<int>{80, 85, 100} : QList<int>{80, 85}));
}

// Usable slots 1, 3 and 5; slot 2 is chosen but has no folder, slot 4 is not chosen.
void TestAssignmentDelivery::progressValues()
{
    useSlot(1, names::mitchell);
    useSlot(2, names::audatex, false);
    useSlot(3, names::ccc);
    useSlot(4, names::ccc);
    useSlot(5, names::ccc);
    m_settings->EMSEstPlatform[6] = names::custom1;
    QString message;
    QVERIFY2(deliver(QStringLiteral("YYYNY"), message), qPrintable(message));
    QCOMPARE(m_source->reads, kAllPieces);
    QCOMPARE(m_source->progress, downloadsThen({80, 90, 100, 100}));
    QCOMPARE(test::folderEntries(folderOf(4)), QStringList());
    QCOMPARE(test::folderEntries(folderOf(5)), QStringList{QStringLiteral("CL123.mie")});
}

void TestAssignmentDelivery::sessionFileCannotBeDeleted_data()
{
    QTest::addColumn<QString>("platform");
    QTest::addColumn<QString>("sessionFile");
    QTest::addColumn<int>("readsBefore");
    QTest::newRow("CCC envelope") << names::ccc << "temp.env" << 0;
    QTest::newRow("Mitchell vehicle memo") << names::mitchell << "tempveh.dbt" << 6;
    QTest::newRow("Custom #1") << names::custom1 << "temp.mie" << 0;
}

void TestAssignmentDelivery::sessionFileCannotBeDeleted()
{
    QFETCH(QString, platform);
    QFETCH(QString, sessionFile);
    QFETCH(int, readsBefore);
    useSlot(1, platform);
    const QString path = m_session + QLatin1Char('/') + sessionFile;
    // Not even root removes a folder that holds something with a file's call.
    QVERIFY(QDir().mkpath(path + QStringLiteral("/held")));
    QString message;
    QVERIFY(!deliver(QStringLiteral("Y"), message));
    QCOMPARE(message, QStringLiteral("Cannot delete temporary session file: ") + path);
    QCOMPARE(m_source->reads.size(), readsBefore);
    QCOMPARE(test::folderEntries(folderOf(1)), QStringList());
}

void TestAssignmentDelivery::sessionFileCannotBeWritten()
{
    useSlot(1, names::mitchell);
    const QString path = m_session + QStringLiteral("/temp.ad1");
    m_source->onRead = [path](const QString& piece) {
        if (piece == QLatin1String("MIT201ad1"))
            QDir().mkpath(path);
    };
    QString message;
    QVERIFY(!deliver(QStringLiteral("Y"), message));
    QCOMPARE(message,
             QStringLiteral("Cannot save EMS Temporary File: ") + emsRecordTable()[1].displayName);
    QCOMPARE(m_source->reads, kMitchellPieces.first(2));
    QCOMPARE(test::folderEntries(folderOf(1)), QStringList());
}

// A piece the server does not have leaves no session file, so the file of an earlier
// assignment is never delivered in its place.
void TestAssignmentDelivery::staleSessionFileNeverDelivered()
{
    useSlot(1, names::ccc);
    const QString stale = m_session + QStringLiteral("/temp.ad2");
    QVERIFY(test::writeFileContents(stale, "yesterday's assignment"));
    m_source->pieces.remove(QStringLiteral("CCC201ad2"));
    QString message;
    QVERIFY(!deliver(QStringLiteral("Y"), message));
    QCOMPARE(message, QStringLiteral("Writing CCC assignment\r\n\r\nError: File not found: ") +
                          stale + QStringLiteral("\r\n"));
    QVERIFY(!QFileInfo::exists(stale));
    QCOMPARE(test::folderEntries(folderOf(1)), QStringList());
}

QTEST_GUILESS_MAIN(TestAssignmentDelivery)
#include "tst_assignmentdelivery.moc"
