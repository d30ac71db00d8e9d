// The settings file and the session folders: what a load reads and plants, the preset
// copy, the platform mask; the "Setup" dialog (with the scripted Ui) and its "Select Path"
// chooser; the session counter, its folder and its failures, the clean-up of old exports;
// the path and GUID helpers.

#include "config/DirectoryChooserDialog.h"
#include "config/LocalSettings.h"
#include "config/LocalSetupForm.h"
#include "config/PathHelpers.h"
#include "config/SessionWorkspace.h"
#include "support/FileContents.h"
#include "support/ScriptedUi.h"
#include "support/TempHome.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QRegularExpression>
#include <QTest>
#include <csignal>
#include <sys/resource.h>

using namespace tarnaxe;
using namespace tarnaxe::test;

namespace {

const QByteArray kFolder = "<a folder in its place>";
const QByteArray kNoFile = "<no file, no cache folder>";

QByteArray le(qint16 n)
{
    return QByteArray(reinterpret_cast<const char*>(&n), 2); // the machine is little-endian
}

template <typename T = QLineEdit> T* child(QWidget* form, const char* name)
{
    return form->findChild<T*>(QLatin1String(name));
}

} // namespace

class TestLocalSettings : public QObject {
    Q_OBJECT

    std::unique_ptr<TempHome> m_home;
    QString ini() const { return m_home->configHome() + "/TarnAxe/TarnLocal.ini"; }
    QString root() const { return m_home->cacheHome() + "/FerroClient"; }

private slots:
    void init() { m_home = std::make_unique<TempHome>(); }
    void cleanup() { m_home.reset(); }

    // What a load gives (PDFDriver was 7, ImageDirectory "/before"), and lines the file
    // holds afterwards, in this order: the missing keys planted, every other line kept.
    void load_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("loaded");
        QTest::addColumn<QByteArrayList>("lines");
        const QString defaults = "*not defined|*not defined|C:\\Tarn\\ImportMIE|0||0|0";
        QTest::newRow("none") << QByteArray() << defaults
                              << QByteArrayList{"[LocalSettings]",
                                                "Limit EMS Date=0",
                                                "EMSImportPath1=",
                                                "EMSExportPath1=",
                                                "EMSEstPlatform6=*not defined",
                                                "PDFDriver=",
                                                "MIERetrieval=C:\\Tarn\\ExportMIE"};
        QTest::newRow("empty values")
            << QByteArray("; IT\n[LocalSettings]\nMIEDelivery=\nEMSEstPlatform1=  \nX=/in\n")
            << defaults
            << QByteArrayList{"; IT", "MIEDelivery=C:\\Tarn\\ImportMIE",
                              "EMSEstPlatform1=*not defined", "X=/in"};
        // A missing number takes (and plants) the text of the number read before it.
        QTest::newRow("shared number")
            << QByteArray("[LocalSettings]\nImageAcqMethod=2\nImageDirectory=/p\n")
            << "*not defined|*not defined|C:\\Tarn\\ImportMIE|2|/p|2|2"
            << QByteArrayList{"PDFDriver=2", "MonitorPDFPath=2"};
        QTest::newRow("not numbers")
            << QByteArray("[LocalSettings]\nImageAcqMethod=abc\nPDFDriver=x1\nMonitorPDFPath=1")
            << "*not defined|*not defined|C:\\Tarn\\ImportMIE|0||7|1"
            << QByteArrayList{"PDFDriver=x1"};
        QTest::newRow("unreadable") << kFolder << defaults << QByteArrayList{};
    }
    void load()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, loaded);
        QFETCH(QByteArrayList, lines);
        // A folder where the file should be cannot be read or replaced, even by root.
        QVERIFY(file == kFolder ? QDir().mkpath(ini())
                                : file.isEmpty() || writeFileContents(ini(), file));
        LocalSettings s(ini());
        s.PDFDriver = 7;
        s.ImageDirectory = "/before";
        s.load();
        QCOMPARE((QStringList{s.EMSEstPlatform[1], s.EMSEstPlatform[6], s.MIEDelivery,
                              QString::number(s.ImageAcqMethod), s.ImageDirectory,
                              QString::number(s.PDFDriver), QString::number(s.MonitorPDFPath)})
                     .join('|'),
                 loaded);
        const QByteArray after = fileContents(ini());
        qsizetype from = 0;
        for (const QByteArray& line : lines) {
            from = after.indexOf(line + '\n', from);
            QVERIFY2(from >= 0, line.constData());
        }
        QCOMPARE(QFileInfo(ini()).isDir(), file == kFolder);
        // Every selection call loads: a complete file must stay untouched, or a page polling
        // once a second rewrites it (and races the user's editor).
        const QDateTime changed = QFileInfo(ini()).fileTime(QFileDevice::FileMetadataChangeTime);
        QTest::qWait(20);
        s.load();
        QCOMPARE(QFileInfo(ini()).fileTime(QFileDevice::FileMetadataChangeTime), changed);
    }

    void machinePresetIsCopiedForANewUser()
    {
        const QString preset = m_home->path() + "/etc/TarnLocal.ini";
        QVERIFY(writeFileContents(preset, "[LocalSettings]\nEMSEstPlatform1=EMS: CCC\n"));
        QFile::setPermissions(preset, QFileDevice::ReadOwner | QFileDevice::ReadOther);
        LocalSettings settings(LocalSettings::userFilePath(preset));
        QCOMPARE(settings.filePath(), ini());
        QVERIFY(QFileInfo(ini()).permissions() & QFileDevice::WriteOwner); // root writes anyway
        settings.load();
        QCOMPARE(settings.EMSEstPlatform[1], "EMS: CCC");
        // The user's copy is theirs to change; the preset stays, and never replaces it.
        settings.EMSEstPlatform[1] = "EMS: Mitchell";
        QVERIFY(settings.save());
        QCOMPARE(fileContents(preset), "[LocalSettings]\nEMSEstPlatform1=EMS: CCC\n");
        LocalSettings::userFilePath(preset);
        settings.load();
        QCOMPARE(settings.EMSEstPlatform[1], "EMS: Mitchell");
    }

    // A slot counts when it names a platform and its import folder exists; slot 5 has
    // always been judged by slot 6's name.
    void platformMask()
    {
        LocalSettings settings(ini());
        const char* names[] = {"",          "EMS: Mitchell", "*not defined", "Xactimate",
                               "Custom #1", "EMS: CCC",      "*not defined"};
        for (int n = 1; n <= 6; ++n) {
            settings.EMSEstPlatform[n] = names[n];
            settings.EMSImportPath[n] = m_home->path();
        }
        settings.EMSImportPath[3] += "/missing";
        settings.EMSImportPath[4].clear();
        QString mask;
        QCOMPARE(settings.platformMask(mask), 1);
        QCOMPARE(mask, "YNNNN");
        settings.EMSEstPlatform[6] = "EMS: Audatex";
        QCOMPARE(settings.platformMask(mask), 2);
        QCOMPARE(mask, "YNNNY");
    }

    // Missing folders of each kind are questioned: No keeps the dialog open, unsaved, with
    // the focus on that field. Yes saves; a save that cannot be written changes nothing and
    // keeps the dialog open; then what was shown is saved back trimmed, slot 5's platform
    // in slot 6, the driver by its number, with every line of others.
    void setupDialog()
    {
        const QByteArray others = "; kept by IT\r\n[Other]\r\nKey=Value\r\n";
        const QByteArray file = others + "[LocalSettings]\r\nEMSEstPlatform6=Custom #1\r\n"
                                         "PDFDriver=99\r\nPDFSourcePath2= /scans \r\n";
        QVERIFY(writeFileContents(ini(), file));
        ScriptedUi ui;
        LocalSettings settings(ini());
        QPointer<LocalSetupForm> form = new LocalSetupForm({settings, ui, "4.0.6"});
        form->show();
        const QByteArray before = fileContents(ini()); // with the defaults planted
        QCOMPARE(child<QComboBox>(form, "cboFormat5")->currentText(), "Custom #1");
        QCOMPARE(child<QComboBox>(form, "cboPDF")->currentText(), "None!");
        for (const auto& [kind, name] : {std::pair{"Import", "txtImportPath2"},
                                         {"Export", "txtExportPath3"},
                                         {"PDF", "txtPDFPath1"}}) {
            child(form, name)->setText("/no/such/folder");
            ui.boxAnswers << MessageAnswer::No;
            form->cmdSave_Click();
            QCOMPARE(ui.lastText(), QStringLiteral("The following %1 path you specified is not "
                                                   "valid:\r\n\r\n  Path: /no/such/folder\r\n\r\n"
                                                   "Continue saving anyway?")
                                        .arg(kind));
            QCOMPARE(ui.boxes.last().title, "Invalid Path Detected");
            QCOMPARE(form->focusWidget(), child(form, name));
            child(form, name)->clear();
        }
        QCOMPARE(fileContents(ini()), before);
        child(form, "txtWorkfiles")->setText(" /srv/work "); // Browse starts there; Cancel
        child<QPushButton>(form, "cmdWorkfiles")->click();
        QCOMPARE(ui.folderDialogs.last(), "Select Path|/srv/work");
        QCOMPARE(child(form, "txtWorkfiles")->text(), "/srv/work");

        child<QComboBox>(form, "cboFormat1")->setCurrentText("EMS: CCC");
        child(form, "txtExportPath1")->setText(" " + m_home->path() + " ");
        child<QComboBox>(form, "cboPDF")->setCurrentIndex(1);
        child<QCheckBox>(form, "chkMonitor")->setChecked(true);
        // A file that cannot grow: like a full disk, for root too.
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit{};
        getrlimit(RLIMIT_FSIZE, &limit);
        const rlimit small{64, limit.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
        form->cmdSave_Click(); // the missing "/scans": Yes, save anyway
        setrlimit(RLIMIT_FSIZE, &limit);
        QVERIFY(ui.lastText().startsWith("The settings were not saved: "));
        QCOMPARE(fileContents(ini()), before);
        QVERIFY(form->isVisible());

        QTest::keyClick(child(form, "txtMIEDelivery"), Qt::Key_Return);
        QTRY_VERIFY(!form);
        const QByteArray saved = fileContents(ini());
        QVERIFY(saved.startsWith(others));
        for (const char* line : {"EMSEstPlatform1=EMS: CCC", "EMSEstPlatform5=*not defined",
                                 "EMSEstPlatform6=Custom #1", "PDFDriver=1", "MonitorPDFPath=1",
                                 "ImageAcqMethod=0", "PDFSourcePath2=/scans"})
            QVERIFY2(saved.contains(line), line);
        QVERIFY(saved.contains("EMSExportPath1=" + m_home->path().toUtf8() + "\r\n"));
    }

    void chooser()
    {
        const QString root = m_home->path();
        QVERIFY(QDir().mkpath(root + "/a/b") && QDir().mkpath(root + "/a/c d"));
        DirectoryChooserDialog dialog(root + "/a");
        auto* list = child<QListWidget>(&dialog, "Dir1");
        const auto item = [list](const QString& name) {
            return list->findItems(name, Qt::MatchEndsWith).value(0);
        };
        list->itemClicked(item(" c d")); // clicked, not opened: OK returns it
        QCOMPARE(dialog.chosenPath(), root + "/a/c d");
        QCOMPARE(list->count() - int(root.count('/')) - 2, 2); // still "a" open, with b and c d
        list->setFocus();
        list->setCurrentItem(item(" b"));
        QTest::keyClick(list, Qt::Key_Return); // opens b
        QCOMPARE(dialog.chosenPath(), root + "/a/b");
        QTest::keyClick(list, Qt::Key_Minus);
        QCOMPARE(DirectoryChooserDialog("/no/such").chosenPath(),
                 QCoreApplication::applicationDirPath());
        QCOMPARE(chooserDrives("/home/kim", "/dev/sdb1 /media/kim/USB\\040STICK vfat rw 0 0\n"
                                            "proc /proc proc rw 0 0\n/dev/sdc1 /mnt/nas cifs rw\n"),
                 (QStringList{"/", "/home/kim", "/media/kim/USB STICK", "/mnt/nas"}));
    }

    // The counter in Master.dat names the folder and is replaced by its successor, 8 by 1;
    // values outside 1..8 are used once; bytes after the counter stay.
    void sessionCounter_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QByteArray>("after");
        QTest::newRow("new account") << kNoFile << "IEUser1" << le(2);
        QTest::newRow("8") << le(8) << "IEUser8" << le(1);
        QTest::newRow("empty file") << QByteArray("") << "IEUser1" << le(2);
        QTest::newRow("one byte") << QByteArray("\x05", 1) << "IEUser5" << le(6);
        QTest::newRow("three bytes")
            << QByteArray("\x02\x00\x7f", 3) << "IEUser2" << QByteArray("\x03\x00\x7f", 3);
        QTest::newRow("-5") << le(-5) << "IEUser-5" << le(-4);
        QTest::newRow("30000") << le(30000) << "IEUser30000" << le(1);
    }
    void sessionCounter()
    {
        QFETCH(QByteArray, before);
        QFETCH(QString, folder);
        QFETCH(QByteArray, after);
        // Files of an earlier session are emptied out of a reused folder; folders stay.
        const QString session = root() + '/' + folder;
        if (before == kNoFile)
            QVERIFY(QDir(m_home->cacheHome()).removeRecursively());
        else
            for (const QString& path : {root() + "/Master.dat", session + "/Chunks/c1",
                                        session + "/Img1.jpg", session + "/.hidden"})
                QVERIFY(writeFileContents(path, path.endsWith(".dat") ? before : "data"));
        const SessionSetupResult result = setUpSession(-1);
        QVERIFY(result.ok);
        QCOMPARE(result.sessionPath, session);
        QCOMPARE(folderEntries(session), before == kNoFile ? QStringList() : QStringList{"Chunks"});
        QCOMPARE(fileContents(root() + "/Master.dat"), after);
    }

    void sessionFailures()
    {
        const auto failure = [](int folder = -1) {
            return setUpSession(folder).commandStatus;
        };
        QVERIFY(writeFileContents(root(), "")); // a file where the root folder should be
        QCOMPARE(failure(), "Cannot create session path");
        QVERIFY(QFile::remove(root()) && QDir().mkpath(root() + "/Master.dat"));
        QCOMPARE(failure(), "Cannot create master file");
        QVERIFY(QDir(root()).removeRecursively());
        QVERIFY(writeFileContents(root() + "/Master.dat", le(6)));
        QVERIFY(writeFileContents(root() + "/IEUser6", ""));
        QCOMPARE(failure(), "Cannot create session path");
        QCOMPARE(failure(12345), "Cannot create session path");
        // A shell folder that cannot be created at all (its parent is a file).
        qputenv("XDG_CACHE_HOME", (root() + "/IEUser6/cache").toLocal8Bit());
        const SessionSetupResult result = setUpSession(-1);
        QVERIFY(!result.ok && result.sessionPath.isEmpty());
        QCOMPARE(result.commandStatus, "Cannot create session path");
    }

    void cleanUpOldExports()
    {
        const QString exports = m_home->path() + "/exports";
        const QDateTime cutOff(QDate(2007, 3, 15), QTime(0, 0));
        const std::pair<const char*, QDateTime> files[] = {
            {"old.env", cutOff.addSecs(-60)},
            {"exact.env", cutOff},
            {"new.env", cutOff.addDays(2)},
            {".hidden", cutOff.addDays(-1)}}; // not an export: never listed
        for (const auto& [name, time] : files) {
            QFile file(exports + '/' + name);
            QVERIFY(writeFileContents(file.fileName(), "x") && file.open(QIODevice::Append));
            QVERIFY(file.setFileTime(time, QFileDevice::FileModificationTime));
        }
        LocalSettings settings(ini());
        settings.EMSExportPath[3] = "  " + exports + " ";
        int yields = 0;
        cleanUpEms("not a date", settings, [&] { ++yields; });
        QCOMPARE(folderEntries(exports).size(), 4);
        cleanUpEms("3/15/2007", settings, [&] { ++yields; });
        QCOMPARE(folderEntries(exports), (QStringList{".hidden", "exact.env", "new.env"}));
        QCOMPARE(yields, 3);
    }

    void helpers()
    {
        const QString file = m_home->path() + "/a.txt";
        QVERIFY(writeFileContents(file, "") && !fileExists(file) && !folderExists(file));
        QVERIFY(writeFileContents(file, "x") && fileExists(file));
        QVERIFY(folderExists(m_home->path()) && !folderExists(QString()));
        QVERIFY(!folderExists(m_home->path() + "/*") && !folderExists(m_home->path() + "/?"));
        QCOMPARE(fileNameOfPath("C:\\Tarn\\a.b.pdf") + fileNameOfPath("C:x.pdf"), "a.b.pdfx.pdf");
        QCOMPARE(extensionOfPath("/in/0001.ENV") + '|' + extensionOfPath("/in/README"), ".ENV|");

        static const QRegularExpression guid(
            "^\\{[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}\\}$");
        const QString a = newGuidText();
        QVERIFY2(guid.match(a).hasMatch() && a != newGuidText(), qPrintable(a));
    }
};

QTEST_MAIN(TestLocalSettings)
#include "tst_localsettings.moc"
