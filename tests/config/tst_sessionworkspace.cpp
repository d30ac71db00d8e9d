#include "config/LocalSettings.h"
#include "config/SessionWorkspace.h"
#include "support/TempHome.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

class TestSessionWorkspace : public QObject {
    Q_OBJECT

private:
    QString root() const { return m_home->cacheHome() + QStringLiteral("/FerroClient"); }
    QString master() const { return root() + QStringLiteral("/Master.dat"); }
    void writeMaster(const QByteArray& bytes)
    {
        QDir().mkpath(root());
        QFile file(master());
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(bytes);
    }
    QByteArray masterBytes() const
    {
        QFile file(master());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    static QByteArray le(qint16 n)
    {
        QByteArray bytes(2, '\0');
        bytes[0] = char(n & 0xff);
        bytes[1] = char((n >> 8) & 0xff);
        return bytes;
    }

    std::unique_ptr<TempHome> m_home;

private slots:
    void init() { m_home = std::make_unique<TempHome>(); }
    void cleanup() { m_home.reset(); }

    void firstSessionCreatesTheRoot()
    {
        QDir(m_home->cacheHome()).removeRecursively(); // a new account has no ~/.cache yet
        const SessionSetupResult result = setUpSession(-1);
        QVERIFY(result.ok);
        QCOMPARE(result.sessionPath, root() + QStringLiteral("/IEUser1"));
        QVERIFY(QFileInfo(result.sessionPath).isDir());
        QCOMPARE(masterBytes(), le(2));
    }

    void counterRotation_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QByteArray>("after");
        QTest::newRow("3") << le(3) << "IEUser3" << le(4);
        QTest::newRow("8") << le(8) << "IEUser8" << le(1);
        QTest::newRow("empty file") << QByteArray() << "IEUser1" << le(2);
        QTest::newRow("one byte") << QByteArray("\x05", 1) << "IEUser5" << le(6);
        QTest::newRow("three bytes")
            << QByteArray("\x02\x00\x7f", 3) << "IEUser2" << QByteArray("\x03\x00\x7f", 3);
        QTest::newRow("1000 bytes")
            << (le(4) + QByteArray(998, 'z')) << "IEUser4" << (le(5) + QByteArray(998, 'z'));
        // Values outside 1..8 are used once, then replaced by their successor or by 1.
        QTest::newRow("-5") << le(-5) << "IEUser-5" << le(-4);
        QTest::newRow("0") << le(0) << "IEUser0" << le(1);
        QTest::newRow("30000") << le(30000) << "IEUser30000" << le(1);
    }
    void counterRotation()
    {
        QFETCH(QByteArray, before);
        QFETCH(QString, folder);
        QFETCH(QByteArray, after);
        writeMaster(before);
        const SessionSetupResult result = setUpSession(-1);
        QVERIFY(result.ok);
        QCOMPARE(result.sessionPath, root() + QLatin1Char('/') + folder);
        QCOMPARE(masterBytes(), after);
    }

    void nineSessionsComeBackToTheFirst()
    {
        QStringList folders;
        for (int i = 0; i < 9; ++i)
            folders.append(QFileInfo(setUpSession(-1).sessionPath).fileName());
        QCOMPARE(folders.first(), QStringLiteral("IEUser1"));
        QCOMPARE(folders[7], QStringLiteral("IEUser8"));
        QCOMPARE(folders.last(), QStringLiteral("IEUser1"));
    }

    void sessionFolderIsEmptiedOfFilesOnly()
    {
        const QString session = root() + QStringLiteral("/IEUser1");
        QVERIFY(QDir().mkpath(session + QStringLiteral("/Chunks")));
        for (const char* name : {"/Img1.jpg", "/1.pdf", "/.hidden", "/Chunks/c1"}) {
            QFile file(session + QLatin1String(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("data");
        }
        QVERIFY(setUpSession(-1).ok);
        const QStringList left =
            QDir(session).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
        QCOMPARE(left, QStringList{QStringLiteral("Chunks")});
        QVERIFY(QFile::exists(session + QStringLiteral("/Chunks/c1")));
    }

    void failures()
    {
        // A file where the root folder should be.
        QDir().mkpath(m_home->cacheHome());
        QFile blocker(root());
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        SessionSetupResult result = setUpSession(-1);
        QVERIFY(!result.ok);
        QCOMPARE(result.commandStatus, QStringLiteral("Cannot create session path"));
        QVERIFY(result.sessionPath.isEmpty());
        QVERIFY(QFile::remove(root()));

        // A folder where the master file should be.
        QVERIFY(QDir().mkpath(master()));
        result = setUpSession(-1);
        QCOMPARE(result.commandStatus, QStringLiteral("Cannot create master file"));
        QVERIFY(QDir(master()).removeRecursively());

        // A file where the session folder should be.
        writeMaster(le(6));
        QFile session(root() + QStringLiteral("/IEUser6"));
        QVERIFY(session.open(QIODevice::WriteOnly));
        session.close();
        result = setUpSession(-1);
        QCOMPARE(result.commandStatus, QStringLiteral("Cannot create session path"));

        // A shell folder that cannot be created at all (its parent is a file).
        qputenv("XDG_CACHE_HOME",
                (m_home->path() + QStringLiteral("/Master.dat/cache")).toLocal8Bit());
        QFile parent(m_home->path() + QStringLiteral("/Master.dat"));
        QVERIFY(parent.open(QIODevice::WriteOnly));
        parent.close();
        result = setUpSession(-1);
        QCOMPARE(result.commandStatus, QStringLiteral("Cannot create session path"));

        result = setUpSession(12345);
        QCOMPARE(result.commandStatus, QStringLiteral("Cannot create session path"));
    }

    void cleanUpOldExports()
    {
        const QString exports = m_home->path() + QStringLiteral("/exports");
        QVERIFY(QDir().mkpath(exports));
        const QDateTime cutOff(QDate(2007, 3, 15), QTime(0, 0));
        const struct {
            const char* name;
            QDateTime time;
        } files[] = {{"old.env", cutOff.addSecs(-60)},
                     {"exact.env", cutOff},
                     {"new.env", cutOff.addDays(2)},
                     {".hidden", cutOff.addDays(-1)}}; // not an export: never listed
        for (const auto& f : files) {
            QFile file(exports + QLatin1Char('/') + QLatin1String(f.name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("x");
            QVERIFY(file.flush()); // else closing would stamp the time anew
            QVERIFY(file.setFileTime(f.time, QFileDevice::FileModificationTime));
        }
        LocalSettings settings(m_home->configHome() + QStringLiteral("/TarnAxe/TarnLocal.ini"));
        settings.EMSExportPath[3] = QStringLiteral("  ") + exports + QStringLiteral(" ");
        int yields = 0;
        cleanUpEms(QStringLiteral("not a date"), settings, [&] { ++yields; });
        QCOMPARE(QDir(exports).count(), 5u);
        cleanUpEms(QStringLiteral("3/15/2007"), settings, [&] { ++yields; });
        QCOMPARE(QDir(exports).entryList(QDir::Files | QDir::Hidden, QDir::Name),
                 (QStringList{".hidden", "exact.env", "new.env"}));
        QCOMPARE(yields, 3);
    }

    void guidText()
    {
        static const QRegularExpression form(
            QStringLiteral("^\\{[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}\\}$"));
        const QString a = newGuidText();
        QVERIFY2(form.match(a).hasMatch(), qPrintable(a));
        QVERIFY(a != newGuidText());
    }
};

QTEST_GUILESS_MAIN(TestSessionWorkspace)
#include "tst_sessionworkspace.moc"
