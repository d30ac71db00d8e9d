// Photos from the page's side, through the agent that main() runs (its real dialogs, in
// process, answered the way a clerk would): a camera photo picked with SelectFile, then
// the picker opened with SelectPhotos over a folder of ten (a second call only brings it
// to the front), two marked with the mouse, paged, and attached.

#include "photos/ImagePickerForm.h"
#include "platform/ProfileFile.h"
#include "support/FileContents.h"
#include "support/PageAgent.h"
#include "support/TempHome.h"
#include "support/TestPhotos.h"

#include <QDir>
#include <QFileDialog>
#include <QImageReader>
#include <QLabel>
#include <QLineEdit>
#include <QScrollBar>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

class TestAgentPhotos : public QObject {
    Q_OBJECT

private slots:
    void photosFromThePage()
    {
        TempHome home;
        const QString camera = home.path() + "/camera", big = camera + "/crash.jpg";
        QVERIFY(writeFileContents(big, photoJpeg(QSize(4000, 3000))));
        for (int i = 1; i <= 9; ++i)
            QVERIFY(
                writePhoto(camera + QStringLiteral("/IMG_%1.jpg").arg(i, 4, 10, QLatin1Char('0')),
                           i % 3 ? QSize(800, 600) : QSize(600, 800), 1, quint32(i)));
        const QString ini = home.configHome() + "/TarnAxe/TarnLocal.ini";
        PageAgent agent(ini);
        QVERIFY(agent.open());
        BridgeClient& page = agent.page;
        page.call("Init");

        // The clerk picks the photo in the file dialog and confirms the count.
        QWidget* answered = nullptr;
        Clerk clerk([&](QWidget* modal) {
            auto* files = qobject_cast<QFileDialog*>(modal);
            if (!files)
                return false;
            // Typed again while the dialog is on screen: keys typed before it is ready are lost.
            if (std::exchange(answered, files) != files)
                clerk.seen << files->windowTitle();
            auto* name = files->findChild<QLineEdit*>("fileNameEdit");
            name->clear();
            QTest::keyClicks(name, big);
            QTest::keyClick(name, Qt::Key_Return);
            return true;
        });
        QCOMPARE(page.invoke("SelectFile", {}, 60000), true);
        QCOMPARE(clerk.seen, (QStringList{"Select File(s) to Attach", "1 files attached."}));
        const QString img1 = page.get("TheNameOf", {"Photos", 1}).toString();
        QVERIFY2(img1.endsWith("/FerroClient/IEUser1/Img1.jpg"), qPrintable(img1));
        QCOMPARE(QImageReader(img1).size(), QSize(640, 480));

        // The picker: the call returns while the window stays open.
        ProfileFile(ini).write("LocalSettings", "ImageDirectory", camera);
        QCOMPARE(page.invoke("SelectPhotos"), "");
        QCOMPARE(page.invoke("GetFormStatus", {"IMAGEPICKER"}), "LOADED");
        QCOMPARE(page.invoke("SelectPhotos"), "");
        const QWidgetList windows = QApplication::topLevelWidgets();
        QCOMPARE(std::count_if(windows.begin(), windows.end(),
                               [](QWidget* w) { return qobject_cast<ImagePickerForm*>(w); }),
                 1);
        QPointer picker =
            qobject_cast<ImagePickerForm*>(agent.agent.context().forms.find("frmImagePicker"));
        QCOMPARE(picker->findChild<QLabel*>(QStringLiteral("lblStatus"))->text(),
                 QStringLiteral("Displaying: 1-8 of 10 images"));
        for (int i = 0; i < ImagePickerForm::kCells; ++i)
            QTRY_VERIFY(!picker->cell(i)->picture().isNull());
        QTest::mouseClick(picker->cell(1), Qt::LeftButton);
        QTest::mouseClick(picker->cell(6), Qt::LeftButton);
        const auto borders = picker->findChildren<QWidget*>(QStringLiteral("RedBorder"));
        QVERIFY(borders[1]->isVisible() && borders[6]->isVisible() && !borders[0]->isVisible());
        QVERIFY(saveShot(picker, "photos/picker.png"));
        picker->findChild<QScrollBar*>(QStringLiteral("VScroll1"))->setValue(2);
        QCOMPARE(picker->findChild<QLabel*>(QStringLiteral("lblStatus"))->text(),
                 QStringLiteral("Displaying: 5-10 of 10 images"));
        QTest::mouseClick(picker->findChild<QPushButton*>(QStringLiteral("Command1")),
                          Qt::LeftButton);
        QTRY_VERIFY(!picker);
        QCOMPARE(page.get("TheCountOf", {"Photos"}), 3);
        QCOMPARE(page.invoke("GetFormStatus", {"IMAGEPICKER"}), "UNLOADED");
    }
};

QTEST_MAIN(TestAgentPhotos)
#include "tst_agentphotos.moc"
