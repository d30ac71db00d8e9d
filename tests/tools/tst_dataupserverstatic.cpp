// The reference server as the host of a sample page: folders served under a prefix, with
// module scripts typed so that browsers run them, nothing outside the folder reachable,
// and the list of assignments that the page starts from.

#include "support/DataupServer.h"
#include "support/FileContents.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace tarnaxe::test;

class TestDataupServerStatic : public QObject {
    Q_OBJECT

private slots:
    void foldersAreServedUnderTheirPrefix()
    {
        QTemporaryDir dir;
        const QString portal = dir.filePath(QStringLiteral("portal"));
        const QString client = dir.filePath(QStringLiteral("lib"));
        QVERIFY(writeFileContents(portal + QStringLiteral("/index.html"), "<h1>Claims</h1>"));
        QVERIFY(writeFileContents(portal + QStringLiteral("/app.js"), "export const a = 1;"));
        QVERIFY(writeFileContents(client + QStringLiteral("/index.mjs"), "export const b = 2;"));
        QVERIFY(writeFileContents(dir.filePath(QStringLiteral("secret.txt")), "not for the web"));

        DataupServer server({false,
                             0,
                             {QStringLiteral("--static"), portal, QStringLiteral("--static"),
                              QStringLiteral("/client/=") + client}});
        QVERIFY2(server.start(), qPrintable(server.error()));
        int status = 0;
        QCOMPARE(server.request("GET", "/portal/", {}, &status), QByteArray("<h1>Claims</h1>"));
        QCOMPARE(status, 200);
        QCOMPARE(server.request("GET", "/client/index.mjs", {}, &status),
                 QByteArray("export const b = 2;"));
        QCOMPARE(status, 200);
        for (const QByteArray& path :
             {QByteArray("/portal/../secret.txt"), QByteArray("/portal/%2e%2e/secret.txt"),
              QByteArray("/portal/missing.html")}) {
            const QByteArray body = server.request("GET", path, {}, &status);
            QVERIFY2(status == 404 || status == 400, path.constData());
            QVERIFY(!body.contains("not for the web"));
        }
        // The overview stays where it was.
        QVERIFY(server.request("GET", "/", {}, &status).contains("<html"));
        QCOMPARE(status, 200);
    }

    void scriptsAreTypedAsJavaScript()
    {
        QTemporaryDir dir;
        QVERIFY(writeFileContents(dir.filePath(QStringLiteral("site/app.js")), "1;"));
        QVERIFY(writeFileContents(dir.filePath(QStringLiteral("site/lib.mjs")), "2;"));
        DataupServer server({false, 0, {QStringLiteral("--static"), dir.filePath("site")}});
        QVERIFY2(server.start(), qPrintable(server.error()));
        for (const char* path : {"/site/app.js", "/site/lib.mjs"}) {
            QProcess curl;
            curl.start(QStringLiteral("curl"),
                       {QStringLiteral("-s"), QStringLiteral("-o"), QStringLiteral("/dev/null"),
                        QStringLiteral("-w"), QStringLiteral("%{content_type}"),
                        server.baseUrl() + QLatin1String(path)});
            QVERIFY(curl.waitForFinished(10000));
            QCOMPARE(curl.readAllStandardOutput(), QByteArray("text/javascript"));
        }
    }

    void badStaticFoldersAreRefused_data()
    {
        QTest::addColumn<QString>("value");
        QTest::newRow("missing folder") << QStringLiteral("/nonexistent/folder");
        QTest::newRow("root prefix") << QStringLiteral("/=/tmp");
        QTest::newRow("parent in prefix") << QStringLiteral("/a/../=/tmp");
    }

    void badStaticFoldersAreRefused()
    {
        QFETCH(QString, value);
        QTemporaryDir dir;
        QProcess server;
        server.start(QStringLiteral(TARNAXE_DATAUP_SERVER_PATH),
                     {QStringLiteral("--data"), dir.path(), QStringLiteral("--listen"),
                      QStringLiteral("127.0.0.1:0"), QStringLiteral("--static"), value});
        QVERIFY(server.waitForFinished(10000));
        QCOMPARE(server.exitCode(), 2);
        QVERIFY2(server.readAllStandardError().contains("--static wants an existing folder"),
                 qPrintable(value));
    }

    void assignmentsAreListed()
    {
        DataupServer server;
        QVERIFY2(server.start(), qPrintable(server.error()));
        const QString first = server.seed();
        const QString second = server.seed();
        int status = 0;
        const QJsonArray list =
            QJsonDocument::fromJson(server.request("GET", "/api/assignments", {}, &status)).array();
        QCOMPARE(status, 200);
        QCOMPARE(list.size(), 2);
        QCOMPARE(list[0].toObject().value(QLatin1String("guid")).toString(), first);
        QCOMPARE(list[1].toObject().value(QLatin1String("guid")).toString(), second);
        QCOMPARE(list[1].toObject().value(QLatin1String("claimNumber")).toString(),
                 QStringLiteral("CLM-24-000417"));
    }
};

QTEST_GUILESS_MAIN(TestDataupServerStatic)
#include "tst_dataupserverstatic.moc"
