// The "Setup" dialog over a settings file with lines of others in it, with the scripted
// Ui: what it shows, what it saves, the question for each kind of missing folder, a save
// that cannot be written; and the "Select Path" chooser's rules.

#include "config/DirectoryChooserDialog.h"
#include "config/LocalSetupForm.h"
#include "support/FileContents.h"
#include "support/TestAgent.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <csignal>
#include <sys/resource.h>

using namespace tarnaxe;
using namespace tarnaxe::test;

namespace {

const QByteArray kOthersLines = "; kept by IT\r\n[Other]\r\nKey=Value\r\n";

template <typename T> T* child(QWidget* form, const QString& name)
{
    return form->findChild<T*>(name);
}

} // namespace

class TestLocalSetup : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<TestAgent> m_agent;

    LocalSetupForm* openForm()
    {
        auto* form = new LocalSetupForm({m_agent->settings, m_agent->ui, "4.0.6"});
        form->show();
        return form;
    }

private slots:
    void init()
    {
        m_agent = std::make_unique<TestAgent>();
        QVERIFY(writeFileContents(m_agent->settingsFile(),
                                  kOthersLines + "[LocalSettings]\r\nEMSEstPlatform6=Custom #1\r\n"
                                                 "PDFDriver=99\r\nPDFSourcePath2= /scans \r\n"));
    }

    // Shown from the file, saved back trimmed, with slot 5's platform in slot 6 and the
    // driver's number, and every line of others; a save that cannot be written changes
    // nothing.
    void showsAndSaves()
    {
        QPointer<LocalSetupForm> form = openForm();
        QCOMPARE(child<QComboBox>(form, "cboFormat5")->currentText(), "Custom #1");
        QCOMPARE(child<QComboBox>(form, "cboPDF")->currentText(), "None!");
        const QString exports = m_agent->home.path();
        child<QComboBox>(form, "cboFormat1")->setCurrentText("EMS: CCC");
        child<QLineEdit>(form, "txtExportPath1")->setText(" " + exports + " ");
        child<QComboBox>(form, "cboPDF")->setCurrentIndex(1);
        child<QCheckBox>(form, "chkMonitor")->setChecked(true);
        m_agent->ui.boxAnswers << MessageAnswer::Yes; // the missing "/scans": save anyway

        // A file that cannot grow: like a full disk, for root too.
        const QByteArray before = fileContents(m_agent->settingsFile());
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit{};
        getrlimit(RLIMIT_FSIZE, &limit);
        const rlimit small{64, limit.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
        form->cmdSave_Click();
        setrlimit(RLIMIT_FSIZE, &limit);
        QVERIFY(m_agent->ui.lastText().startsWith("The settings were not saved: "));
        QCOMPARE(fileContents(m_agent->settingsFile()), before);
        QVERIFY(form->isVisible());

        m_agent->ui.boxAnswers << MessageAnswer::Yes;
        QTest::keyClick(child<QLineEdit>(form, "txtMIEDelivery"), Qt::Key_Return);
        QTRY_VERIFY(!form);
        const QByteArray saved = fileContents(m_agent->settingsFile());
        QVERIFY(saved.startsWith(kOthersLines));
        for (const char* line : {"EMSEstPlatform1=EMS: CCC", "EMSEstPlatform5=*not defined",
                                 "EMSEstPlatform6=Custom #1", "PDFDriver=1", "MonitorPDFPath=1",
                                 "ImageAcqMethod=0", "PDFSourcePath2=/scans"})
            QVERIFY2(saved.contains(line), line);
        QVERIFY(saved.contains("EMSExportPath1=" + exports.toUtf8() + "\r\n"));
        form = openForm();
        QCOMPARE(child<QLineEdit>(form, "txtExportPath1")->text(), exports);
        QCOMPARE(child<QComboBox>(form, "cboPDF")->currentText(), "Win2PDF");
        delete form;
    }

    // Each kind of missing folder is questioned; No keeps the dialog open, unsaved, with
    // the focus on that field. An empty field is never questioned.
    void questionsMissingFolders()
    {
        QPointer<LocalSetupForm> form = openForm();
        const QByteArray before = fileContents(m_agent->settingsFile());
        for (const auto& [kind, name] : {std::pair{"Import", "txtImportPath2"},
                                         {"Export", "txtExportPath3"},
                                         {"PDF", "txtPDFPath2"}}) {
            child<QLineEdit>(form, name)->setText("/no/such/folder");
            m_agent->ui.boxAnswers << MessageAnswer::No;
            form->cmdSave_Click();
            QCOMPARE(m_agent->ui.lastText(),
                     QStringLiteral("The following %1 path you specified is not valid:\r\n\r\n  "
                                    "Path: /no/such/folder\r\n\r\nContinue saving anyway?")
                         .arg(kind));
            QCOMPARE(m_agent->ui.boxes.last().title, "Invalid Path Detected");
            QCOMPARE(form->focusWidget(), child<QLineEdit>(form, name));
            child<QLineEdit>(form, name)->clear();
        }
        QCOMPARE(fileContents(m_agent->settingsFile()), before);

        // Browse: the chooser starts at the trimmed text; Cancel gives that text back.
        child<QLineEdit>(form, "txtWorkfiles")->setText(" /srv/work ");
        child<QPushButton>(form, "cmdWorkfiles")->click();
        QCOMPARE(m_agent->ui.folderDialogs.last(), "Select Path|/srv/work");
        QCOMPARE(child<QLineEdit>(form, "txtWorkfiles")->text(), "/srv/work");
        delete form;
    }

    void chooser()
    {
        const QString root = m_agent->home.path();
        for (const char* dir : {"/a/b", "/a/c d"})
            QDir().mkpath(root + dir);
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
};

QTEST_MAIN(TestLocalSetup)
#include "tst_localsetup.moc"
