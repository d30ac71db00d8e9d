// Putting an assignment's files into an import folder: which base names the server may
// use, and copies that appear whole, envelope last, or not at all.

#include "delivery/DeliveryFiles.h"
#include "support/FileContents.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <cstring>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace tarnaxe;

namespace {

// Bytes that a text-mode copy or a short read would spoil.
QByteArray sample(char tag, int size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        bytes[i] = char((i * 31 + tag) & 0xff);
    bytes[0] = tag;
    return bytes;
}

// The events of one folder in the order the kernel saw them.
class FolderEvents {
public:
    explicit FolderEvents(const QString& folder)
    {
        m_fd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        if (m_fd >= 0)
            ::inotify_add_watch(m_fd, QFile::encodeName(folder).constData(),
                                IN_CREATE | IN_MOVED_TO);
    }
    ~FolderEvents()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    FolderEvents(const FolderEvents&) = delete;
    FolderEvents& operator=(const FolderEvents&) = delete;

    bool isValid() const { return m_fd >= 0; }

    // "create <name>" and "moved <name>", oldest first.
    QStringList take()
    {
        QStringList events;
        alignas(inotify_event) char buffer[16 * 1024];
        for (;;) {
            const ssize_t n = ::read(m_fd, buffer, sizeof buffer);
            if (n <= 0)
                return events;
            for (ssize_t at = 0; at < n;) {
                inotify_event event;
                memcpy(&event, buffer + at, sizeof event);
                const QString name = QFile::decodeName(buffer + at + sizeof event);
                events << ((event.mask & IN_MOVED_TO) ? QStringLiteral("moved ")
                                                      : QStringLiteral("create ")) +
                              name;
                at += ssize_t(sizeof event + event.len);
            }
        }
    }

private:
    int m_fd = -1;
};

// Sets the process umask for one scope.
class UmaskScope {
public:
    explicit UmaskScope(mode_t mask) : m_saved(::umask(mask)) {}
    ~UmaskScope() { ::umask(m_saved); }
    UmaskScope(const UmaskScope&) = delete;
    UmaskScope& operator=(const UmaskScope&) = delete;

private:
    mode_t m_saved;
};

} // namespace

class TestDeliveryFiles : public QObject {
    Q_OBJECT

private:
    // Three sources in "sources/" (an ".env" first, as a writer would list them) and
    // their targets "CL123.*" in target.
    QList<FileCopy> threeCopies(const QString& target)
    {
        const QString sources = m_dir->filePath(QStringLiteral("sources"));
        QDir().mkpath(sources);
        struct Member {
            const char* suffix;
            int size;
        };
        // The ad1 is larger than the copy buffer.
        const Member members[] = {{".env", 301}, {".ad1", 200 * 1024 + 17}, {".veh", 0x1ff}};
        QList<FileCopy> copies;
        for (const Member& member : members) {
            const QString suffix = QLatin1String(member.suffix);
            const QString source = sources + QStringLiteral("/temp") + suffix;
            if (!test::writeFileContents(source, sample(member.suffix[1], member.size)))
                return {};
            copies.append({source, target + QStringLiteral("/CL123") + suffix});
        }
        return copies;
    }
    QString makeFolder(const QString& name)
    {
        const QString path = m_dir->filePath(name);
        return QDir().mkpath(path) ? path : QString();
    }

    std::unique_ptr<QTemporaryDir> m_dir;

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
    }
    void cleanup() { m_dir.reset(); }

    void baseNameProblem_data();
    void baseNameProblem();
    void placesEveryCopy();
    void temporaryNamesThenEnvelopeLast();
    void refusesAnExistingTarget_data();
    void refusesAnExistingTarget();
    void failureLeavesNothing_data();
    void failureLeavesNothing();
    void replaceModeReplaces();
    void permissionsFollowTheUmask_data();
    void permissionsFollowTheUmask();
    void symlinkedFolderIsFollowed();
};

void TestDeliveryFiles::baseNameProblem_data()
{
    QTest::addColumn<QString>("base");
    QTest::addColumn<QString>("reasonHolds"); // empty: accepted; "*": any reason

    QTest::newRow("claim") << "CL123"
                           << "";
    QTest::newRow("drawn Mitchell name") << "A40213"
                                         << "";
    QTest::newRow("blank and dash") << "Claim 77-1"
                                    << "";
    QTest::newRow("one dot inside") << "CL123.v2"
                                    << "";
    QTest::newRow("non-ASCII letters") << QStringLiteral("Schäden-ß") << "";
    QTest::newRow("64 characters") << QString(64, QLatin1Char('x')) << "";

    QTest::newRow("empty") << ""
                           << "empty";
    QTest::newRow("65 characters") << QString(65, QLatin1Char('x')) << "64";
    QTest::newRow("300 characters") << QString(300, QLatin1Char('x')) << "64";
    QTest::newRow("slash") << "a/b"
                           << "separator";
    QTest::newRow("absolute path") << "/etc/passwd"
                                   << "separator";
    QTest::newRow("backslash") << "a\\b"
                               << "separator";
    QTest::newRow("parent") << ".."
                            << "*";
    QTest::newRow("up and across") << "../x"
                                   << "*";
    QTest::newRow("up, Windows style") << "..\\x"
                                       << "*";
    QTest::newRow("two dots inside") << "a..b"
                                     << "\"..\"";
    QTest::newRow("tab") << "CL\t123"
                         << "control";
    QTest::newRow("new line") << "CL123\n"
                              << "control";
    QTest::newRow("NUL") << QStringLiteral("CL") + QChar(0) + QStringLiteral("123") << "control";
    QTest::newRow("DEL") << QStringLiteral("CL\x7f") << "control";
    QTest::newRow("hidden file") << ".CL123"
                                 << "starts with";
    QTest::newRow("single dot") << "."
                                << "*";
}

void TestDeliveryFiles::baseNameProblem()
{
    QFETCH(QString, base);
    QFETCH(QString, reasonHolds);
    const QString reason = tarnaxe::baseNameProblem(base);
    if (reasonHolds.isEmpty()) {
        QVERIFY2(reason.isEmpty(), qPrintable(QStringLiteral("refused: ") + reason));
        return;
    }
    QVERIFY2(!reason.isEmpty(), "a hostile name was accepted");
    if (reasonHolds != QLatin1String("*"))
        QVERIFY2(reason.contains(reasonHolds),
                 qPrintable(
                     QStringLiteral("reason \"%1\" does not say \"%2\"").arg(reason, reasonHolds)));
    // A reason is shown to the user in a message box: no raw control character in it.
    for (const QChar c : reason)
        QVERIFY2(c.unicode() >= 0x20 && c.unicode() != 0x7f, qPrintable(reason));
}

void TestDeliveryFiles::placesEveryCopy()
{
    const QString target = makeFolder(QStringLiteral("import"));
    const QList<FileCopy> copies = threeCopies(target);
    QCOMPARE(copies.size(), 3);
    QString error = QStringLiteral("stale");
    QVERIFY2(placeCopies(copies, false, error), qPrintable(error));
    QStringList expected;
    for (const FileCopy& copy : copies) {
        QCOMPARE(test::fileContents(copy.target), test::fileContents(copy.source));
        QVERIFY2(QFileInfo::exists(copy.source), "a copy must leave its source");
        expected << QFileInfo(copy.target).fileName();
    }
    expected.sort();
    QCOMPARE(test::folderEntries(target), expected);
}

// A program watching the folder must never see a member under its real name before it
// is complete, nor the envelope before its members.
void TestDeliveryFiles::temporaryNamesThenEnvelopeLast()
{
    const QString target = makeFolder(QStringLiteral("import"));
    const QList<FileCopy> copies = threeCopies(target);
    QCOMPARE(copies.size(), 3);
    FolderEvents events(target);
    QVERIFY(events.isValid());
    QString error;
    QVERIFY2(placeCopies(copies, false, error), qPrintable(error));
    const QStringList seen = events.take();

    QStringList created;
    QStringList moved;
    for (const QString& event : seen) {
        if (event.startsWith(QLatin1String("create ")))
            created << event.mid(7);
        else
            moved << event.mid(6);
    }
    QCOMPARE(created.size(), 3);
    for (const QString& name : created)
        QVERIFY2(name.startsWith(QLatin1String(".tarnaxe-")) && name.endsWith(".part"),
                 qPrintable(QStringLiteral("created under its own name: ") + name));
    QCOMPARE(moved.size(), 3);
    QCOMPARE(moved.last(), QStringLiteral("CL123.env"));
    // Every file was written before the first one was put in place.
    for (int i = 0; i < seen.size(); ++i)
        QVERIFY2(seen[i].startsWith(QLatin1String(i < 3 ? "create " : "moved ")),
                 qPrintable(seen.join(QLatin1String(", "))));
}

void TestDeliveryFiles::refusesAnExistingTarget_data()
{
    QTest::addColumn<QString>("existing");
    QTest::newRow("same name") << "CL123.ad1";
    QTest::newRow("upper-case suffix") << "CL123.AD1";
    QTest::newRow("lower-case base") << "cl123.veh";
    QTest::newRow("the envelope") << "Cl123.Env";
}

void TestDeliveryFiles::refusesAnExistingTarget()
{
    QFETCH(QString, existing);
    const QString target = makeFolder(QStringLiteral("import"));
    const QList<FileCopy> copies = threeCopies(target);
    QCOMPARE(copies.size(), 3);
    const QString existingPath = target + QLatin1Char('/') + existing;
    QVERIFY(test::writeFileContents(existingPath, "someone else's"));
    QString refused;
    for (const FileCopy& copy : copies) {
        if (QFileInfo(copy.target).fileName().compare(existing, Qt::CaseInsensitive) == 0)
            refused = copy.target;
    }
    QVERIFY(!refused.isEmpty());

    QString error;
    QVERIFY(!placeCopies(copies, false, error));
    QCOMPARE(error, QStringLiteral("File already exists: ") + refused);
    QCOMPARE(test::folderEntries(target), QStringList{existing});
    QCOMPARE(test::fileContents(existingPath), QByteArray("someone else's"));
}

void TestDeliveryFiles::failureLeavesNothing_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<bool>("replaceExisting");
    QTest::addColumn<QString>("errorStart"); // %1: the first source, %2: the last target
    QTest::newRow("last source missing")
        << "missing source" << false << "File not found: %1/temp.veh";
    QTest::newRow("last source missing, replacing")
        << "missing source" << true << "File not found: %1/temp.veh";
    QTest::newRow("last source is a folder")
        << "source folder" << false << "File not found: %1/temp.veh";
    QTest::newRow("last target's folder missing")
        << "target folder" << false << "Cannot write %2: ";
    // The members are already in place when the envelope cannot follow them.
    QTest::newRow("envelope cannot be renamed into place")
        << "envelope blocked" << true << "Cannot write %3: ";
}

void TestDeliveryFiles::failureLeavesNothing()
{
    QFETCH(QString, fault);
    QFETCH(bool, replaceExisting);
    QFETCH(QString, errorStart);
    const QString target = makeFolder(QStringLiteral("import"));
    const QString other = makeFolder(QStringLiteral("other"));
    QList<FileCopy> copies = threeCopies(target);
    QCOMPARE(copies.size(), 3);
    const QString sources = QFileInfo(copies[0].source).path();
    QStringList expectedInTarget;
    if (fault == QLatin1String("missing source")) {
        QVERIFY(QFile::remove(copies[2].source));
    } else if (fault == QLatin1String("source folder")) {
        QVERIFY(QFile::remove(copies[2].source));
        QVERIFY(QDir().mkpath(copies[2].source));
    } else if (fault == QLatin1String("target folder")) {
        copies[0].target = other + QStringLiteral("/CL123.env");
        copies[2].target = m_dir->filePath(QStringLiteral("gone/CL123.veh"));
    } else if (fault == QLatin1String("envelope blocked")) {
        // Renaming a file over a folder that holds something fails, root or not.
        QVERIFY(QDir().mkpath(copies[0].target + QStringLiteral("/inside")));
        expectedInTarget << QStringLiteral("CL123.env");
    }
    const QString expectedStart = QString(errorStart)
                                      .replace(QLatin1String("%1"), sources)
                                      .replace(QLatin1String("%2"), copies[2].target)
                                      .replace(QLatin1String("%3"), copies[0].target);

    QString error;
    QVERIFY(!placeCopies(copies, replaceExisting, error));
    if (expectedStart.endsWith(QLatin1String(": "))) {
        QVERIFY2(error.startsWith(expectedStart) && error.size() > expectedStart.size(),
                 qPrintable(QStringLiteral("error \"%1\", expected \"%2\" and a reason")
                                .arg(error, expectedStart)));
    } else {
        QCOMPARE(error, expectedStart);
    }
    QCOMPARE(test::folderEntries(target), expectedInTarget);
    QCOMPARE(test::folderEntries(other), QStringList());
    QVERIFY(!QFileInfo::exists(m_dir->filePath(QStringLiteral("gone"))));
    if (fault == QLatin1String("envelope blocked"))
        QCOMPARE(test::folderEntries(copies[0].target), QStringList{QStringLiteral("inside")});
}

void TestDeliveryFiles::replaceModeReplaces()
{
    const QString target = makeFolder(QStringLiteral("import"));
    const QList<FileCopy> copies = threeCopies(target);
    QCOMPARE(copies.size(), 3);
    for (const FileCopy& copy : copies)
        QVERIFY(test::writeFileContents(copy.target, "an older set"));
    QString error;
    QVERIFY2(placeCopies(copies, true, error), qPrintable(error));
    for (const FileCopy& copy : copies)
        QCOMPARE(test::fileContents(copy.target), test::fileContents(copy.source));
    QCOMPARE(test::folderEntries(target),
             (QStringList{QStringLiteral("CL123.ad1"), QStringLiteral("CL123.env"),
                          QStringLiteral("CL123.veh")}));
}

void TestDeliveryFiles::permissionsFollowTheUmask_data()
{
    QTest::addColumn<uint>("mask");
    QTest::newRow("022") << 0022u;
    QTest::newRow("002") << 0002u;
    QTest::newRow("027") << 0027u;
}

// The estimating program may run as another user; a temporary file's owner-only mode
// would lock it out.
void TestDeliveryFiles::permissionsFollowTheUmask()
{
    QFETCH(uint, mask);
    const QString target = makeFolder(QStringLiteral("import"));
    const QList<FileCopy> copies = threeCopies(target);
    QCOMPARE(copies.size(), 3);
    QString error;
    {
        const UmaskScope scope{mode_t(mask)};
        QVERIFY2(placeCopies(copies, false, error), qPrintable(error));
    }
    for (const FileCopy& copy : copies) {
        struct stat info {};
        QCOMPARE(::stat(QFile::encodeName(copy.target).constData(), &info), 0);
        QCOMPARE(QString::number(info.st_mode & 0777, 8), QString::number(0666 & ~mask, 8));
    }
}

void TestDeliveryFiles::symlinkedFolderIsFollowed()
{
    const QString real = makeFolder(QStringLiteral("real"));
    const QString link = m_dir->filePath(QStringLiteral("link"));
    QVERIFY(QFile::link(real, link));
    QList<FileCopy> copies = threeCopies(link);
    QCOMPARE(copies.size(), 3);
    QString error;
    QVERIFY2(placeCopies(copies, false, error), qPrintable(error));
    QVERIFY(QFileInfo(link).isSymLink());
    QCOMPARE(test::folderEntries(real),
             (QStringList{QStringLiteral("CL123.ad1"), QStringLiteral("CL123.env"),
                          QStringLiteral("CL123.veh")}));
    for (const FileCopy& copy : copies)
        QCOMPARE(test::fileContents(real + QLatin1Char('/') + QFileInfo(copy.target).fileName()),
                 test::fileContents(copy.source));

    // The names already there are seen through the link too.
    QVERIFY(!placeCopies(copies, false, error));
    QCOMPARE(error, QStringLiteral("File already exists: ") + copies[0].target);
}

QTEST_GUILESS_MAIN(TestDeliveryFiles)
#include "tst_deliveryfiles.moc"
