#include "platform/ShellFolders.h"
#include "support/TempHome.h"

#include <QTest>

using tarnaxe::shellFolderPath;

class TestShellFolders : public QObject {
    Q_OBJECT

private slots:
    void folders_data();
    void folders();
    void unknownNumbers_data();
    void unknownNumbers();
};

void TestShellFolders::folders_data()
{
    QTest::addColumn<int>("folderId");
    QTest::addColumn<QByteArray>("variable");
    QTest::addColumn<QByteArray>("value"); // "<unset>" removes the variable
    QTest::addColumn<QString>("expected"); // "~" is the home folder

    QTest::newRow("cache from XDG")
        << 32 << QByteArray("XDG_CACHE_HOME") << QByteArray("/var/tmp/cache") << "/var/tmp/cache";
    QTest::newRow("cache, trailing slash")
        << 32 << QByteArray("XDG_CACHE_HOME") << QByteArray("/var/tmp/cache/") << "/var/tmp/cache";
    QTest::newRow("cache unset") << 32 << QByteArray("XDG_CACHE_HOME") << QByteArray("<unset>")
                                 << "~/.cache";
    QTest::newRow("cache empty") << 32 << QByteArray("XDG_CACHE_HOME") << QByteArray()
                                 << "~/.cache";
    QTest::newRow("cache relative")
        << 32 << QByteArray("XDG_CACHE_HOME") << QByteArray("rel/cache") << "~/.cache";
    QTest::newRow("config from XDG")
        << 26 << QByteArray("XDG_CONFIG_HOME") << QByteArray("/etc/cfg") << "/etc/cfg";
    QTest::newRow("config unset") << 26 << QByteArray("XDG_CONFIG_HOME") << QByteArray("<unset>")
                                  << "~/.config";
    QTest::newRow("data from XDG")
        << 28 << QByteArray("XDG_DATA_HOME") << QByteArray("/srv/data") << "/srv/data";
    QTest::newRow("data relative")
        << 28 << QByteArray("XDG_DATA_HOME") << QByteArray("data") << "~/.local/share";
    QTest::newRow("documents") << 5 << QByteArray() << QByteArray() << "~/Documents";
    QTest::newRow("desktop") << 16 << QByteArray() << QByteArray() << "~/Desktop";
}

void TestShellFolders::folders()
{
    QFETCH(int, folderId);
    QFETCH(QByteArray, variable);
    QFETCH(QByteArray, value);
    QFETCH(QString, expected);

    // TempHome puts HOME and every XDG variable back when it goes.
    const tarnaxe::test::TempHome home;
    if (value == "<unset>")
        qunsetenv(variable.constData());
    else if (!variable.isEmpty())
        qputenv(variable.constData(), value);
    if (expected.startsWith(QLatin1Char('~')))
        expected.replace(0, 1, home.path());

    QCOMPARE(shellFolderPath(folderId).value_or(QStringLiteral("<none>")), expected);
}

void TestShellFolders::unknownNumbers_data()
{
    QTest::addColumn<int>("folderId");

    QTest::newRow("0") << 0;
    QTest::newRow("-1") << -1;
    QTest::newRow("33") << 33;
}

void TestShellFolders::unknownNumbers()
{
    QFETCH(int, folderId);
    QVERIFY(!shellFolderPath(folderId));
}

QTEST_GUILESS_MAIN(TestShellFolders)
#include "tst_shellfolders.moc"
