// The settings file, the session folders and the "Setup" dialog's refusals (its good road
// is in e2e.tst_agentsetup).

#include "config/DirectoryChooserDialog.h"
#include "config/LocalSettings.h"
#include "config/LocalSetupForm.h"
#include "config/PathHelpers.h"
#include "config/SessionWorkspace.h"
#include "support/FileContents.h"
#include "support/ScriptedUi.h"
#include "support/TempHome.h"

#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

namespace {
QByteArray le(qint16 n) // the machine is little-endian
{
    return QByteArray(reinterpret_cast<const char*>(&n), 2);
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

    // A load gives the defaults (PDFDriver was 7, ImageDirectory "/before") when there is no
    // file, planting the missing keys, and when a folder stands in its place (which cannot be
    // read or replaced, even by root).
    void load_data()
    {
        QTest::addColumn<bool>("folder");
        QTest::newRow("none") << false;
        QTest::newRow("unreadable") << true;
    }
    void load()
    {
        QFETCH(bool, folder);
        QVERIFY(!folder || QDir().mkpath(ini()));
        LocalSettings s(ini());
        s.PDFDriver = 7;
        s.ImageDirectory = "/before";
        s.load();
        QCOMPARE((QStringList{s.EMSEstPlatform[1], s.MIEDelivery, QString::number(s.ImageAcqMethod),
                              s.ImageDirectory, QString::number(s.PDFDriver),
                              QString::number(s.MonitorPDFPath)})
                     .join('|'),
                 "*not defined|C:\\Tarn\\ImportMIE|0||0|0");
        QVERIFY(folder ? QFileInfo(ini()).isDir()
                       : fileContents(ini()).contains("EMSEstPlatform6=*not defined"));
        // Every selection call loads: a complete file must stay untouched, or a page polling
        // once a second rewrites it (and races the user's editor).
        const QDateTime changed = QFileInfo(ini()).fileTime(QFileDevice::FileMetadataChangeTime);
        QTest::qWait(20);
        s.load();
        QCOMPARE(QFileInfo(ini()).fileTime(QFileDevice::FileMetadataChangeTime), changed);
    }

    // The user's file starts as a copy of the machine-wide preset, writable although the
    // preset is not.
    void presetIsCopiedWritable()
    {
        const QString preset = m_home->path() + "/etc/TarnLocal.ini";
        QVERIFY(writeFileContents(preset, "[LocalSettings]\nPDFDriver=1\n"));
        QVERIFY(QFile::setPermissions(preset, QFile::ReadOwner));
        QCOMPARE(LocalSettings::userFilePath(preset), ini());
        QCOMPARE(fileContents(ini()), "[LocalSettings]\nPDFDriver=1\n");
        QVERIFY(QFileInfo(ini()).permissions() & QFile::WriteOwner);
    }

    // A slot counts when it names a platform and its import folder exists; slot 5 has
    // always been judged by slot 6's name (unset here).
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
    }

    // A missing folder is questioned: No keeps the dialog open, unsaved, with the focus on
    // that field.
    void setupRefusesAMissingFolder()
    {
        QVERIFY(writeFileContents(ini(), "[LocalSettings]\nEMSEstPlatform6=Custom #1\n"));
        ScriptedUi ui;
        LocalSettings settings(ini());
        LocalSetupForm form({settings, ui, "4.0.6"});
        form.show();
        const QByteArray before = fileContents(ini()); // with the defaults planted
        QCOMPARE(form.findChild<QComboBox*>("cboFormat5")->currentText(), "Custom #1");
        auto* field = form.findChild<QLineEdit*>("txtExportPath3");
        field->setText("/no/such/folder");
        ui.boxAnswers << MessageAnswer::No;
        form.cmdSave_Click();
        QCOMPARE(ui.lastText(), "The following Export path you specified is not valid:\r\n\r\n  "
                                "Path: /no/such/folder\r\n\r\nContinue saving anyway?");
        QCOMPARE(form.focusWidget(), field);
        QCOMPARE(fileContents(ini()), before);
    }

    // The chooser: a click or an arrow picks a folder below, Enter opens it, Minus climbs
    // back, a drive opens its root; the drives are the root, home and removable volumes.
    void chooser()
    {
        const QString a = m_home->path() + "/a";
        QVERIFY(QDir().mkpath(a + "/b") && QDir().mkpath(a + "/c d"));
        DirectoryChooserDialog dialog(a);
        auto* list = dialog.findChild<QListWidget*>("Dir1");
        list->itemClicked(list->findItems(" c d", Qt::MatchEndsWith).value(0));
        QCOMPARE(dialog.chosenPath(), a + "/c d");
        QTest::keyClick(list, Qt::Key_Down); // from "a" to "b"
        QTest::keyClicks(list, "\r-+");      // opens "b", climbs back, nothing on the open one
        QCOMPARE(dialog.chosenPath(), a);
        dialog.findChild<QComboBox*>("Drive1")->activated(0);
        QCOMPARE(dialog.chosenPath(), "/");
        QCOMPARE(chooserDrives("/home/k", "d /media/k/A\\040B x\nproc /proc x\n\nd /mnt/n\n"),
                 (QStringList{"/", "/home/k", "/media/k/A B", "/mnt/n"}));
    }

    // The counter in Master.dat names the folder and is replaced by its successor, 8 by 1;
    // values outside 1..8 are used once; bytes after the counter stay. Files of an earlier
    // session are emptied out of a reused folder; folders stay.
    void sessionCounter()
    {
        const std::tuple<QByteArray, const char*, QByteArray> rows[] = {
            {"", "IEUser1", le(2)},
            {le(8), "IEUser8", le(1)},
            {QByteArray("\x05", 1), "IEUser5", le(6)},
            {QByteArray("\x02\x00\x7f", 3), "IEUser2", QByteArray("\x03\x00\x7f", 3)},
            {le(-5), "IEUser-5", le(-4)},
            {le(30000), "IEUser30000", le(1)}};
        for (const auto& [before, folder, after] : rows) {
            const QString session = root() + '/' + folder;
            for (const QString& path : {root() + "/Master.dat", session + "/Chunks/c1",
                                        session + "/Img1.jpg", session + "/.hidden"})
                QVERIFY(writeFileContents(path, path.endsWith(".dat") ? before : "data"));
            QCOMPARE(setUpSession(-1).sessionPath, session);
            QCOMPARE(folderEntries(session), QStringList{"Chunks"});
            QCOMPARE(fileContents(root() + "/Master.dat"), after);
        }
        QVERIFY(QFile::remove(root() + "/Master.dat") && QDir().mkpath(root() + "/Master.dat"));
        QCOMPARE(setUpSession(-1).commandStatus, "Cannot create master file");
        QCOMPARE(setUpSession(999).commandStatus, "Cannot create session path"); // no such folder
    }

    void cleanUpOldExportsAndHelpers()
    {
        const QString exports = m_home->path() + "/exports";
        const QDateTime cutOff(QDate(2007, 3, 15), QTime(0, 0));
        for (const auto& [name, time] : {std::pair{"old.env", cutOff.addSecs(-60)},
                                         {"exact.env", cutOff},
                                         {"new.env", cutOff.addDays(2)},
                                         {".hidden", cutOff.addDays(-1)}}) {
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

        const QString file = m_home->path() + "/a.txt";
        QVERIFY(writeFileContents(file, "") && !fileExists(file) && !folderExists(file));
        QVERIFY(writeFileContents(file, "x") && fileExists(file));
        QVERIFY(folderExists(m_home->path()) && !folderExists(QString()) &&
                !folderExists(m_home->path() + "/?"));
    }
};

QTEST_MAIN(TestLocalSettings)
#include "tst_localsettings.moc"
