// Where the agent's files go in the user's home: the shell folders by number, and the log,
// which rotates keeping a few old files.

#include "platform/LogSink.h"
#include "platform/ShellFolders.h"
#include "support/TempHome.h"

#include <QFile>
#include <QLoggingCategory>
#include <QTest>

using namespace tarnaxe;

Q_LOGGING_CATEGORY(lcTest, "tarnaxe.test")

class TestShellFolders : public QObject {
    Q_OBJECT

private slots:
    void folders_data()
    {
        QTest::addColumn<int>("folderId");
        QTest::addColumn<QString>("variable"); // NAME=value, or NAME alone to unset it
        QTest::addColumn<QString>("expected"); // "~" is the home folder
        const std::tuple<int, const char*, const char*> rows[] = {
            {32, "XDG_CACHE_HOME=/var/tmp/c/", "/var/tmp/c"},
            {32, "XDG_CACHE_HOME", "~/.cache"},
            {32, "XDG_CACHE_HOME=", "~/.cache"},
            {26, "XDG_CONFIG_HOME=/etc/c", "/etc/c"},
            {26, "XDG_CONFIG_HOME", "~/.config"},
            {28, "XDG_DATA_HOME=/srv/d", "/srv/d"},
            {28, "XDG_DATA_HOME=rel", "~/.local/share"},
            {5, "", "~/Documents"},
            {16, "", "~/Desktop"},
            {0, "", "<none>"},
            {-1, "", "<none>"},
            {33, "", "<none>"}};
        for (const auto& [id, variable, expected] : rows)
            QTest::newRow(qPrintable(QStringLiteral("%1 %2").arg(id).arg(variable)))
                << id << variable << expected;
    }
    void folders()
    {
        QFETCH(int, folderId);
        QFETCH(QString, variable);
        QFETCH(QString, expected);
        const test::TempHome home; // puts HOME and every XDG variable back when it goes
        const QStringList setting = variable.split('=');
        if (setting.size() == 2)
            qputenv(qPrintable(setting[0]), setting[1].toLocal8Bit());
        else if (!variable.isEmpty())
            qunsetenv(qPrintable(variable));
        QCOMPARE(shellFolderPath(folderId).value_or("<none>"), expected.replace('~', home.path()));
    }

    void logRotatesKeepingAFewOldFiles()
    {
        test::TempHome home;
        const QString log = installLogSink(400, 3);
        QCOMPARE(log, home.stateHome() + "/TarnAxe/tarnaxe.log");
        for (int i = 0; i < 60; ++i)
            qCInfo(lcTest) << "line" << i << "of the rotation test";
        qInstallMessageHandler(nullptr);
        // A file is rotated as soon as it reaches the limit: at most one line over.
        for (const char* suffix : {"", ".1", ".2", ".3"})
            QVERIFY2(QFile::exists(log + suffix) && QFile(log + suffix).size() < 400 + 120, suffix);
        QVERIFY(!QFile::exists(log + ".4"));
        // The last line is in the current file, or in ".1" when it filled the file.
        QFile older(log + ".1"), current(log);
        QVERIFY(older.open(QIODevice::ReadOnly) && current.open(QIODevice::ReadOnly));
        QVERIFY((older.readAll() + current.readAll())
                    .contains("info tarnaxe.test: line 59 of the rotation test\n"));
    }
};

QTEST_GUILESS_MAIN(TestShellFolders)
#include "tst_shellfolders.moc"
