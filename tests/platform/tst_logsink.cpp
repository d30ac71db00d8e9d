#include "platform/LogSink.h"
#include "support/TempHome.h"

#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QTest>

using namespace tarnaxe;

Q_LOGGING_CATEGORY(lcTest, "tarnaxe.test")

class TestLogSink : public QObject {
    Q_OBJECT

private slots:
    void rotatesKeepingAFewOldFiles()
    {
        test::TempHome home;
        const QString log = installLogSink(400, 3);
        QCOMPARE(log, home.stateHome() + QStringLiteral("/TarnAxe/tarnaxe.log"));
        for (int i = 0; i < 60; ++i)
            qCInfo(lcTest) << "line" << i << "of the rotation test";
        qInstallMessageHandler(nullptr);

        for (const char* suffix : {"", ".1", ".2", ".3"}) {
            const QFileInfo file(log + QLatin1String(suffix));
            QVERIFY2(file.exists(), qPrintable(file.filePath()));
            // A file is rotated as soon as it reaches the limit: at most one line over.
            QVERIFY(file.size() < 400 + 120);
        }
        QVERIFY(!QFile::exists(log + QStringLiteral(".4")));
        // The last line is in the current file, or in ".1" when it filled the file.
        QByteArray text;
        for (const QString& path : {log + QStringLiteral(".1"), log}) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadOnly));
            text += file.readAll();
        }
        QVERIFY(text.contains("info tarnaxe.test: line 59 of the rotation test\n"));
    }
};

QTEST_GUILESS_MAIN(TestLogSink)
#include "tst_logsink.moc"
