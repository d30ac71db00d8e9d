// Joining paths, finding names in a folder without regard to case as the Windows build found
// them, putting files in place, the shell folders in the user's home, and the log's rotation.

#include "platform/FileMoves.h"
#include "platform/FileNames.h"
#include "platform/LogSink.h"
#include "platform/OpenForWriting.h"
#include "platform/ShellFolders.h"
#include "support/FileContents.h"
#include "support/TempHome.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

using namespace tarnaxe;

class TestFileNames : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    void initTestCase()
    {
        for (const char* name : {"0001.AD1", "Mixed.Txt", "mixed.TXT", "exact.txt", "EXACT.txt",
                                 "Grüße.txt", ".Hidden", "a.jpg", "B.JPG", "c.Jpeg", "File1.pdf",
                                 "file22.PDF", "File[1].pdf", "README"})
            QVERIFY(test::writeFileContents(m_dir.filePath(QString::fromUtf8(name)), {}));
        QVERIFY(QDir().mkpath(m_dir.filePath("SubDir")) && QDir().mkpath(m_dir.filePath("d.jpg")));
    }

    void joinPath()
    {
        QCOMPARE(tarnaxe::joinPath("/x/y", "c/d.txt"), QStringLiteral("/x/y/c/d.txt"));
        QCOMPARE(tarnaxe::joinPath("a/", "/b"), QStringLiteral("a/b"));
        QCOMPARE(tarnaxe::joinPath("C:\\a\\", "b"), QStringLiteral("C:\\a/b"));
        QCOMPARE(tarnaxe::joinPath("a\\", ""), QStringLiteral("a/"));
    }

    // A name: the exact one first, else the first match in sorted order, and a path resolves
    // to the name found, else to the one asked for. A pattern: files only, sorted by name.
    void findInFolder_data()
    {
        QTest::addColumn<QString>("asked");    // "N <name>" or "P <pattern>"
        QTest::addColumn<QString>("expected"); // empty: none
        const char* rows[][2] = {
            {"N 0001.ad1", "0001.AD1"},
            {"N exact.txt", "exact.txt"},
            {"N MIXED.txt", "Mixed.Txt"},
            {"N subdir", "SubDir"},
            {"N GRÜßE.TXT", "Grüße.txt"},
            {"N 0001", ""},
            {"N subdir/x", ""},
            {"P *.JPG", "a.jpg B.JPG"},
            {"P File[1].pdf", "File[1].pdf"},
            {"P File*.pdf", "File1.pdf file22.PDF File[1].pdf"},
            {"P *.*", ".Hidden 0001.AD1 a.jpg B.JPG c.Jpeg EXACT.txt exact.txt File1.pdf "
                      "file22.PDF File[1].pdf Grüße.txt Mixed.Txt mixed.TXT README"}};
        for (const auto& [asked, expected] : rows)
            QTest::newRow(asked) << QString::fromUtf8(asked) << QString::fromUtf8(expected);
    }
    void findInFolder()
    {
        QFETCH(QString, asked);
        QFETCH(QString, expected);
        const QString name = asked.mid(2), none = m_dir.filePath("none");
        if (asked.startsWith('P')) {
            QCOMPARE(tarnaxe::filesMatching(m_dir.path(), name).join(' '), expected);
            QCOMPARE(tarnaxe::filesMatching(none, name), QStringList());
            return;
        }
        QCOMPARE(tarnaxe::findNameIgnoringCase(m_dir.path(), name), expected);
        QCOMPARE(tarnaxe::resolvePathIgnoringCase(m_dir.path() + '/', name),
                 m_dir.path() + '/' + (expected.isEmpty() ? name : expected));
        QCOMPARE(tarnaxe::findNameIgnoringCase(none, name), QString());
    }

    // A name another file took is a cue to try the next name, not a failure; a file that a
    // program still writes is known as such.
    void movesAndWriters()
    {
        QTemporaryDir dir;
        const QString from = dir.filePath("new.part"), taken = dir.filePath("taken");
        QVERIFY(test::writeFileContents(from, "new") && test::writeFileContents(taken, "old"));
        QString reason;
        QCOMPARE(moveWithoutReplacing(from, taken, reason), MoveResult::Taken);
        QCOMPARE(moveWithoutReplacing(from, dir.filePath("none/x"), reason), MoveResult::Failed);
        QVERIFY(!reason.isEmpty());
        QCOMPARE(test::fileContents(taken), QByteArray("old"));
        if (writerState(from) == WriterState::Unknown)
            QSKIP("this file system has no leases");
        QFile writer(from);
        QVERIFY(writer.open(QIODevice::Append));
        QCOMPARE(writerState(from), WriterState::Writing);
        writer.close();
        QCOMPARE(writerState(from), WriterState::None);
    }

    void shellFolders_data()
    {
        QTest::addColumn<int>("folderId");
        QTest::addColumn<QString>("variable"); // NAME=value, or nothing
        QTest::addColumn<QString>("expected"); // "~" is the home folder
        const std::tuple<int, const char*, const char*> rows[] = {
            {32, "XDG_CACHE_HOME=/var/tmp/c/", "/var/tmp/c"},
            {26, "XDG_CONFIG_HOME=/etc/c", "/etc/c"},
            {28, "XDG_DATA_HOME=rel", "~/.local/share"},
            {5, "", "~/Documents"},
            {0, "", "<none>"}};
        for (const auto& [id, variable, expected] : rows)
            QTest::newRow(qPrintable(QStringLiteral("%1 %2").arg(id).arg(variable)))
                << id << variable << expected;
    }
    void shellFolders()
    {
        QFETCH(int, folderId);
        QFETCH(QString, variable);
        QFETCH(QString, expected);
        const test::TempHome home; // puts HOME and every XDG variable back when it goes
        const QStringList setting = variable.split('=');
        if (setting.size() == 2)
            qputenv(qPrintable(setting[0]), setting[1].toLocal8Bit());
        QCOMPARE(shellFolderPath(folderId).value_or("<none>"), expected.replace('~', home.path()));
    }
    void logRotatesKeepingTheNewestFiles()
    {
        const test::TempHome home;
        const QtMessageHandler qtest = qInstallMessageHandler(nullptr);
        // Every line is 45 bytes, so each file takes three before it passes 100.
        const QString log = installLogSink(100, 2);
        for (int i = 1; i <= 9; ++i)
            qInfo("line %d", i);
        qInstallMessageHandler(qtest);
        const QString folder = home.path() + "/.local/state/TarnAxe";
        QCOMPARE(log, folder + "/tarnaxe.log");
        QCOMPARE(test::folderEntries(folder),
                 (QStringList{"tarnaxe.log", "tarnaxe.log.1", "tarnaxe.log.2"}));
        QVERIFY(test::fileContents(log).isEmpty());
        QVERIFY(test::fileContents(log + ".1").endsWith(" info default: line 9\n"));
        const QByteArray older = test::fileContents(log + ".2");
        QVERIFY(older.contains(": line 4\n") && older.endsWith(": line 6\n"));
    }
};

QTEST_GUILESS_MAIN(TestFileNames)
#include "tst_filenames.moc"
