// Delivering an assignment from a fake source into the import folders of the chosen slots:
// what each folder holds afterwards (names and bytes), and that a refusal, a failure or a
// cancel leaves the folders as they were.

#include "config/LocalSettings.h"
#include "delivery/AssignmentDelivery.h"
#include "delivery/DeliveryFiles.h"
#include "ems/EmsRecordTable.h"
#include "support/FileContents.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

using namespace tarnaxe;
namespace names = tarnaxe::platform_names;

namespace {

const QStringList kMitchell = {"MIT201env",    "MIT201ad1",    "MIT201ad2",   "MIT201veh",
                               "MIT201ad1dbt", "MIT201ad2dbt", "MIT201vehdbt"};
const QStringList kAudatex = {"ADP201env", "ADP201ad1", "ADP201ad2", "ADP201veh", "ADP201dbt"};
const QStringList kMie = {"MIEassign"};
const QStringList kCcc = {"CCC201env", "CCC201ad1", "CCC201ad2", "CCC201veh", "CCC201dbt"};
// Where both go, Mitchell's envelope and records come from CCC's later downloads into the
// same session files; only its memo files are its own.
const QStringList kMitchellAfterCcc = kCcc.first(4) + kMitchell.mid(4);
const QStringList kNone;
const QString kOk = QStringLiteral("OK");
const QString kNoPaths = QStringLiteral("There are no valid export paths defined in your setup.");
const double kA40213 = 40213.0 / 999999.0; // a draw that names a Mitchell set "A40213"

// Each piece's bytes are its own, and hold what a text-mode copy would spoil.
QByteArray pieceBytes(const QString& piece)
{
    return piece.toLatin1() + QByteArray("\0\r\n\x1a\xff|", 6) + piece.toLower().toLatin1();
}

// "slot/file=piece" for each file of a set named base; the suffixes follow from the pieces.
QStringList set(int slot, const QString& base, const QStringList& pieces)
{
    const QStringList suffixes =
        pieces.size() == 7
            ? QStringList{".env", "a.ad1", "b.ad2", "v.veh", "a.dbt", "b.dbt", "v.dbt"}
        : pieces.size() == 5 ? QStringList{".env", ".ad1", ".ad2", ".veh", ".dbt"}
                             : QStringList{".mie"};
    QStringList files;
    for (int i = 0; i < pieces.size(); ++i)
        files << QStringLiteral("%1/%2%3=%4").arg(slot).arg(base, suffixes[i], pieces[i]);
    return files;
}

QString writerError(const char* kind, const QString& reason)
{
    return QStringLiteral("Writing %1 assignment\r\n\r\nError: %2\r\n")
        .arg(QLatin1String(kind), reason);
}

// What a case changes about the source and the folders before the delivery.
struct Setup {
    QString basename = QStringLiteral("CL123"), basenameError = {}, failingPiece = {},
            missingPiece = {};
    int cancelAfterReads = 1000, vanishing = 0; // vanishing: the slot whose folder goes at 75 %
    QStringList existing = {}; // files of the office, or a session file's blocker ("x/held")
    QList<double> draws{kA40213};
    bool noSession = false, sessionUnwritable = false;
};

// The transfer form as the delivery sees it, in a folder that holds import1..import5 and
// the session folder. Progress must never go down.
struct Bench : DeliverySource {
    bool readPiece(const QString& piece, QByteArray& data, QString& error) override
    {
        if (++reads && piece == QLatin1String("MIT201ad1") && s.sessionUnwritable)
            QDir().mkpath(root + "/session/temp.ad1");
        error = piece + QStringLiteral(" is not on the server");
        data = piece == s.missingPiece ? QByteArray() : pieceBytes(piece);
        return piece != s.failingPiece;
    }
    bool readBasename(QString& message, QString& name) override
    {
        name = s.basename;
        return (message = s.basenameError).isEmpty();
    }
    void setProgress(int percent) override
    {
        wentDown = wentDown || percent < std::exchange(progress, percent);
        if (percent == 75 && s.vanishing)
            QDir(folder(s.vanishing)).removeRecursively();
    }
    bool cancelRequested() override { return reads >= s.cancelAfterReads; }
    QString folder(int slot) const { return root + QStringLiteral("/import%1").arg(slot); }

    Setup s;
    QString root;
    int reads = 0, progress = 0;
    bool wentDown = false;
};

struct Case {
    const char* name;
    const char* layout; // a platform letter per slot (5: slot 6's); lower case: a file
                        // stands where the folder should be
    const char* selection;
    QString message; // "%1": the folder of the import folders
    QStringList files;
    Setup setup = {};
};

} // namespace

Q_DECLARE_METATYPE(Case)

class TestAssignmentDelivery : public QObject {
    Q_OBJECT

private slots:
    void deliver_data()
    {
        const QString own = QStringLiteral("=the office's own");
        // clang-format off
        const Case cases[] = {
            {"Audatex, base name trimmed", "MACUC", "NYNNN", kOk, set(2, "CL9", kAudatex), {.basename = " CL9 "}},
            {"CCC, short selection", "MACUC", "NNY", kOk, set(3, "CL123", kCcc)},
            {"all share the session files", "MACUU", "YYYYY", kOk,
             set(1, "A40213", kMitchellAfterCcc) + set(2, "CL123", kCcc) + set(3, "CL123", kCcc) +
             set(4, "CL123", kMie) + set(5, "CL123", kMie)},
            // A slot without its folder still has its pieces fetched.
            {"CCC's folder missing", "M.c..", "YNY", kOk, set(1, "A40213", kMitchellAfterCcc)},
            {"last folder vanishes", "CM...", "YY", "Invalid destination path for assignment",
             set(1, "CL123", kCcc), {.vanishing = 2}},
            // A Mitchell name is drawn again while any file of that base is in the folder; the draw is
            // rounded, up to A999999.
            {"Mitchell names taken", "M....", "Y", kOk,
             set(1, "A999999", kMitchell) << "1/A40213.txt" + own << "1/a77A.AD1" + own,
             {.existing = {"import1/A40213.txt", "import1/a77A.AD1"},
              .draws = {40212.6 / 999999.0, 77 / 999999.0, 0.9999999999}}},

            {"the folder is a file", "c....", "Y", kNoPaths, kNone},
            {"empty selection", "C....", "", kNoPaths, kNone},
            {"no session folder", "C....", "Y",
             "The session folder is not ready: call Init before delivering an assignment.", kNone,
             {.noSession = true}},
            {"CCC base name ../x", "C....", "Y", writerError("CCC", baseNameProblem("../x")), kNone,
             {.basename = "../x"}},
            {"base name unreadable", "C....", "Y", "Read Error: No Status returned", kNone,
             {.basenameError = "Read Error: No Status returned"}},
            {"last piece fails", "MACU.", "YYYY", "MIEassign is not on the server", kNone,
             {.failingPiece = "MIEassign"}},
            {"cancel after the last piece", "MACU.", "YYYY", "User cancelled the process", kNone,
             {.cancelAfterReads = 17}},
            // Nothing deletes a folder that holds something with a file's call, not even root.
            {"session file cannot be deleted", "C....", "Y",
             "Cannot delete temporary session file: %1/session/temp.env", kNone,
             {.existing = {"session/temp.env/held"}}},
            {"session file cannot be written", "M....", "Y",
             "Cannot save EMS Temporary File: " + emsRecordTable()[1].displayName, kNone,
             {.sessionUnwritable = true}},
            // A piece the server lacks leaves no session file, so yesterday's is not used.
            {"stale session file", "C....", "Y",
             writerError("CCC", "File not found: %1/session/temp.ad2"), kNone,
             {.missingPiece = "CCC201ad2", .existing = {"session/temp.ad2"}}},
        };
        // clang-format on
        QTest::addColumn<Case>("c");
        for (const Case& c : cases)
            QTest::newRow(c.name) << c;
    }
    void deliver()
    {
        QFETCH(Case, c);
        QTemporaryDir dir;
        Bench bench;
        bench.root = dir.path();
        LocalSettings settings(dir.filePath(QStringLiteral("Local.ini")));
        const QStringList platforms = {names::notDefined, names::mitchell, names::audatex,
                                       names::ccc, names::custom1};
        settings.EMSEstPlatform[5] = names::mitchell; // slot 5 goes by slot 6's name
        for (int slot = 1; slot <= kPlatformSlots; ++slot) {
            const QChar letter = QLatin1Char(c.layout[slot - 1]);
            settings.EMSEstPlatform[slot == 5 ? 6 : slot] =
                platforms[QStringLiteral(".MACU").indexOf(letter.toUpper())];
            settings.EMSImportPath[slot] = bench.folder(slot);
            QVERIFY(letter.isUpper() ? QDir().mkpath(bench.folder(slot))
                                     : !letter.isLower() ||
                                           test::writeFileContents(bench.folder(slot), "a file"));
        }
        const QString session = dir.filePath(QStringLiteral("session"));
        QVERIFY(QDir().mkpath(session));
        bench.s = c.setup;
        for (const QString& path : c.setup.existing)
            QVERIFY(test::writeFileContents(bench.root + '/' + path, "the office's own"));
        if (c.setup.noSession)
            QVERIFY(QDir(session).removeRecursively());
        const bool hadSession = QFileInfo::exists(session);

        AssignmentDelivery delivery(settings, c.selection, session, bench);
        delivery.setRandomFraction(
            [&bench] { return bench.s.draws.isEmpty() ? 0.5 : bench.s.draws.takeFirst(); });
        QString message;
        const bool delivered = delivery.DeliverAssignment(message);
        QCOMPARE(message, QString(c.message).replace(QLatin1String("%1"), dir.path()));
        QCOMPARE(delivered, c.message == kOk);

        QStringList held;
        for (int slot = 1; slot <= kPlatformSlots; ++slot) {
            for (const QString& name : test::folderEntries(bench.folder(slot))) {
                const QByteArray bytes = test::fileContents(bench.folder(slot) + '/' + name);
                const QString piece = QString::fromLatin1(bytes.left(bytes.indexOf('\0')));
                held << QStringLiteral("%1/%2=%3")
                            .arg(slot)
                            .arg(name,
                                 bytes == pieceBytes(piece) ? piece : QString::fromLatin1(bytes));
            }
        }
        held.sort();
        QCOMPARE(held, (c.files.sort(), c.files));
        QVERIFY2(!bench.wentDown, "progress went down");
        QCOMPARE(bench.progress == 100, delivered);
        QCOMPARE(QFileInfo::exists(session), hadSession);
    }
};

QTEST_GUILESS_MAIN(TestAssignmentDelivery)
#include "tst_assignmentdelivery.moc"
