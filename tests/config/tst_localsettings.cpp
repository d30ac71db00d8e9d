#include "config/LocalSettings.h"
#include "config/PathHelpers.h"
#include "support/TempHome.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

namespace {

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeAll(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

} // namespace

class TestLocalSettings : public QObject {
    Q_OBJECT

private:
    QString iniPath() const
    {
        return m_home->configHome() + QStringLiteral("/TarnAxe/TarnLocal.ini");
    }
    QString value(const QString& key) const
    {
        return ProfileFile(iniPath()).read(QStringLiteral("LocalSettings"), key,
                                           QStringLiteral("<missing>"));
    }

    std::unique_ptr<TempHome> m_home;

private slots:
    void init() { m_home = std::make_unique<TempHome>(); }
    void cleanup() { m_home.reset(); }

    void firstLoadPlantsTheDefaults()
    {
        LocalSettings settings(iniPath());
        settings.load();
        QCOMPARE(settings.EMSEstPlatform[3], QStringLiteral("*not defined"));
        QCOMPARE(settings.MIEDelivery, QStringLiteral("C:\\Tarn\\ImportMIE"));
        const QByteArray file = readAll(iniPath());
        QVERIFY(file.startsWith("[LocalSettings]\n"));
        QVERIFY(file.contains("Limit EMS Date=0\n"));
        QVERIFY(file.contains("EMSEstPlatform6=*not defined\n"));
        QVERIFY(file.contains("MIEDelivery=C:\\Tarn\\ImportMIE\n"));
        QVERIFY(file.contains("MIERetrieval=C:\\Tarn\\ExportMIE\n"));
        for (int n = 1; n <= 5; ++n) {
            QCOMPARE(value(QStringLiteral("EMSEstPlatform%1").arg(n)),
                     QStringLiteral("*not defined"));
            QCOMPARE(value(QStringLiteral("EMSImportPath%1").arg(n)), QString());
        }
        // The order of the keys is the order of the load.
        QVERIFY(file.indexOf("EMSImportPath1") < file.indexOf("EMSExportPath1"));
        QVERIFY(file.indexOf("EMSExportPath1") < file.indexOf("EMSEstPlatform2"));
        QVERIFY(file.indexOf("ImageDirectory") < file.indexOf("PDFDriver"));
    }

    void emptyValuesAreRewrittenWithTheDefault()
    {
        writeAll(iniPath(),
                 "[LocalSettings]\nMIEDelivery=\nEMSEstPlatform1=   \nEMSImportPath1=/srv/in\n");
        LocalSettings settings(iniPath());
        settings.load();
        QCOMPARE(settings.MIEDelivery, QStringLiteral("C:\\Tarn\\ImportMIE"));
        QCOMPARE(value(QStringLiteral("MIEDelivery")), QStringLiteral("C:\\Tarn\\ImportMIE"));
        QCOMPARE(value(QStringLiteral("EMSEstPlatform1")), QStringLiteral("*not defined"));
        QCOMPARE(settings.EMSImportPath[1], QStringLiteral("/srv/in"));
    }

    // Every selection call loads; a file that holds every key must stay untouched, or a
    // page polling once a second rewrites it (and races the user's editor).
    void loadsLeaveACompleteFileAlone()
    {
        LocalSettings settings(iniPath());
        settings.load();
        const auto changed = [this] {
            return QFileInfo(iniPath()).fileTime(QFileDevice::FileMetadataChangeTime);
        };
        const QDateTime before = changed(); // moved by a rename or by a write in place
        QTest::qWait(20);
        for (int i = 0; i < 100; ++i)
            settings.load();
        QCOMPARE(changed(), before);
    }

    void numericKeysShareOneBuffer()
    {
        writeAll(iniPath(), "[LocalSettings]\nImageAcqMethod=2\n");
        LocalSettings settings(iniPath());
        settings.load();
        QCOMPARE(settings.ImageAcqMethod, qint16(2));
        QCOMPARE(settings.PDFDriver, qint16(2));
        QCOMPARE(settings.MonitorPDFPath, qint16(2));
        QCOMPARE(value(QStringLiteral("PDFDriver")), QStringLiteral("2"));
        QCOMPARE(value(QStringLiteral("MonitorPDFPath")), QStringLiteral("2"));

        writeAll(iniPath(), "[LocalSettings]\nImageAcqMethod=1\nPDFDriver=99\n");
        settings.load();
        QCOMPARE(settings.PDFDriver, qint16(99));
        QCOMPARE(settings.MonitorPDFPath, qint16(99));
    }

    void nonNumericValues()
    {
        writeAll(iniPath(),
                 "[LocalSettings]\nImageAcqMethod=abc\nPDFDriver=x1\nMonitorPDFPath=1\n");
        LocalSettings settings(iniPath());
        settings.PDFDriver = 7;
        settings.load();
        QCOMPARE(settings.ImageAcqMethod, qint16(0));
        QCOMPARE(settings.PDFDriver, qint16(7)); // keeps the value from before the load
        QCOMPARE(settings.MonitorPDFPath, qint16(1));
    }

    void platformMaskJudgesSlotFiveBySlotSix()
    {
        const QString folders = m_home->path() + QStringLiteral("/import");
        for (int n = 1; n <= 5; ++n)
            QVERIFY(QDir().mkpath(folders + QString::number(n)));
        LocalSettings settings(iniPath());
        settings.load();
        for (int n = 1; n <= 5; ++n)
            settings.EMSImportPath[n] = folders + QString::number(n);
        settings.EMSEstPlatform[1] = QStringLiteral("EMS: Mitchell");
        settings.EMSEstPlatform[3] = QStringLiteral("Xactimate");
        settings.EMSImportPath[3] = folders + QStringLiteral("-missing");
        settings.EMSEstPlatform[4] = QStringLiteral("Custom #1");
        settings.EMSImportPath[4].clear();
        settings.EMSEstPlatform[5] = QStringLiteral("EMS: CCC");
        QString mask;
        QCOMPARE(settings.platformMask(mask), 1);
        QCOMPARE(mask, QStringLiteral("YNNNN"));
        settings.EMSEstPlatform[6] = QStringLiteral("EMS: Audatex");
        settings.EMSEstPlatform[2] = QStringLiteral("EMS: CCC");
        QCOMPARE(settings.platformMask(mask), 3);
        QCOMPARE(mask, QStringLiteral("YYNNY"));
    }

    void hostileFilesGiveDefaults_data()
    {
        QTest::addColumn<QByteArray>("content");
        QByteArray garbage(4096, '\0');
        for (int i = 0; i < garbage.size(); ++i)
            garbage[i] = char((i * 7919) & 0xff);
        QTest::newRow("binary") << garbage;
        QTest::newRow("huge line") << QByteArray(10 * 1024 * 1024, 'x');
        QTest::newRow("no newline") << QByteArray("[LocalSettings]\nImageDirectory=/p");
        QTest::newRow("duplicates")
            << QByteArray("[LocalSettings]\nImageDirectory=/p\nImageDirectory=/q\n"
                          "[localsettings]\nImageDirectory=/r\n");
    }
    void hostileFilesGiveDefaults()
    {
        QFETCH(QByteArray, content);
        writeAll(iniPath(), content);
        LocalSettings settings(iniPath());
        settings.load();
        QCOMPARE(settings.EMSEstPlatform[1], QStringLiteral("*not defined"));
        if (content.contains("ImageDirectory=/p"))
            QCOMPARE(settings.ImageDirectory, QStringLiteral("/p"));
        // Whatever was there before stays in the file, line by line and in its order.
        const QByteArray after = readAll(iniPath());
        qsizetype from = 0;
        for (const QByteArray& line : content.split('\n')) {
            from = after.indexOf(line, from);
            QVERIFY2(from >= 0, line.left(60).toHex().constData());
            from += line.size();
        }
    }

    void unreadableFileGivesDefaults()
    {
        // A folder where the file should be cannot be read or replaced, even by root.
        QVERIFY(QDir().mkpath(iniPath()));
        LocalSettings settings(iniPath());
        settings.ImageDirectory = QStringLiteral("/before");
        settings.load();
        QCOMPARE(settings.ImageDirectory, QString());
        QCOMPARE(settings.MIERetrieval, QStringLiteral("C:\\Tarn\\ExportMIE"));
        QVERIFY(QFileInfo(iniPath()).isDir());
    }

    void machinePresetIsCopiedForANewUser()
    {
        const QString preset = m_home->path() + QStringLiteral("/etc/TarnLocal.ini");
        writeAll(preset, "[LocalSettings]\nEMSEstPlatform1=EMS: CCC\n");
        QFile::setPermissions(preset, QFileDevice::ReadOwner | QFileDevice::ReadOther);
        const QString path = LocalSettings::userFilePath(preset);
        QCOMPARE(path, iniPath());
        LocalSettings settings(path);
        settings.load();
        QCOMPARE(settings.EMSEstPlatform[1], QStringLiteral("EMS: CCC"));
        // The user's copy is theirs to change; the preset stays as it was.
        settings.EMSEstPlatform[1] = QStringLiteral("EMS: Mitchell");
        settings.save();
        QCOMPARE(readAll(preset), QByteArray("[LocalSettings]\nEMSEstPlatform1=EMS: CCC\n"));
        // An existing user file is never replaced by the preset.
        LocalSettings::userFilePath(preset);
        settings.load();
        QCOMPARE(settings.EMSEstPlatform[1], QStringLiteral("EMS: Mitchell"));
    }

    void pathHelpers()
    {
        QVERIFY(!folderExists(QString()));
        QVERIFY(!folderExists(m_home->path() + QStringLiteral("/*")));
        QVERIFY(!folderExists(m_home->path() + QStringLiteral("/?")));
        QVERIFY(folderExists(m_home->path()));
        const QString file = m_home->path() + QStringLiteral("/a.txt");
        writeAll(file, "");
        QVERIFY(!fileExists(file));
        QVERIFY(!folderExists(file));
        writeAll(file, "x");
        QVERIFY(fileExists(file));
        QCOMPARE(fileNameOfPath(QStringLiteral("C:\\Tarn\\a.b.pdf")), QStringLiteral("a.b.pdf"));
        QCOMPARE(fileNameOfPath(QStringLiteral("C:x.pdf")), QStringLiteral("x.pdf"));
        QCOMPARE(fileNameOfPath(QStringLiteral("/srv/in/0001.ENV")), QStringLiteral("0001.ENV"));
        QCOMPARE(extensionOfPath(QStringLiteral("/srv/in/0001.ENV")), QStringLiteral(".ENV"));
        QCOMPARE(extensionOfPath(QStringLiteral("/srv/in/README")), QString());
    }
};

QTEST_GUILESS_MAIN(TestLocalSettings)
#include "tst_localsettings.moc"
