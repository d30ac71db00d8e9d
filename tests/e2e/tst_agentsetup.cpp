// The "Setup" dialog from the page's side, through the agent that main() runs: it opens
// modeless, a second call brings it to the front, and what is saved keeps every line that
// the settings file held. Screenshots of it and of the chooser go to test-output/config.

#include "config/DirectoryChooserDialog.h"
#include "support/FileContents.h"
#include "support/PageAgent.h"
#include "support/TempHome.h"

#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

class TestAgentSetup : public QObject {
    Q_OBJECT

private slots:
    void setupFromThePage()
    {
        TempHome home;
        const QString ini = home.configHome() + QStringLiteral("/TarnAxe/TarnLocal.ini");
        const QByteArray before = "; prepared by IT\n[HostBridge]\nPort=0\n[LocalSettings]\n"
                                  "EMSEstPlatform1=EMS: Mitchell\nEMSImportPath1=" +
                                  home.path().toUtf8() + "\n";
        QVERIFY(writeFileContents(ini, before));
        PageAgent agent(ini);
        QVERIFY(agent.open());
        BridgeClient& page = agent.page;

        QVERIFY(page.call("PerformSetup").contains("result"));
        QCOMPARE(page.invoke("GetFormStatus", {"LOCALSETUP"}), "LOADED");
        page.call("PerformSetup");
        auto* form = qobject_cast<QWidget*>(agent.agent.context().forms.find("frmLocalSetup"));
        const QWidgetList windows = QApplication::topLevelWidgets();
        QCOMPARE(std::count(windows.begin(), windows.end(), form), 1);
        form->findChild<QLineEdit*>("txtExportPath2")->setText(home.path());
        form->findChild<QComboBox*>("cboPDF")->setCurrentText("None!");
        QVERIFY(saveShot(form, "config/setup.png"));
        DirectoryChooserDialog chooser(home.path());
        QVERIFY(saveShot(&chooser, "config/select-path.png"));

        form->findChild<QPushButton*>("cmdSave")->click();
        QTRY_COMPARE(page.invoke("GetFormStatus", {"LOCALSETUP"}), "UNLOADED");
        const QByteArray saved = fileContents(ini);
        for (const QByteArray& line : before.split('\n'))
            QVERIFY2(saved.contains(line), line.constData());
        QVERIFY(saved.contains("EMSExportPath2=" + home.path().toUtf8()));
        QVERIFY(saved.contains("PDFDriver=99"));
    }
};

QTEST_MAIN(TestAgentSetup)
#include "tst_agentsetup.moc"
