// Where the agent's files go in the user's home: the shell folders by number.

#include "platform/ShellFolders.h"
#include "support/TempHome.h"

#include <QTest>

using namespace tarnaxe;

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
            {32, "XDG_CACHE_HOME=", "~/.cache"},
            {26, "XDG_CONFIG_HOME=/etc/c", "/etc/c"},
            {28, "XDG_DATA_HOME=rel", "~/.local/share"},
            {5, "", "~/Documents"},
            {16, "", "~/Desktop"},
            {0, "", "<none>"},
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
};

QTEST_GUILESS_MAIN(TestShellFolders)
#include "tst_shellfolders.moc"
