// The "Digital Photos" picker: what it lists and in which order, marking from the keyboard
// as a screen reader sees it, and the VIN and storage methods. The page's side (the host
// calls, the mouse, paging of a full folder) is in tests/e2e/tst_agentphotos.

#include "automation/IO.h"
#include "photos/ImagePickerForm.h"
#include "photos/PhotoFolder.h"
#include "photos/SessionPhotos.h"
#include "support/FileContents.h"
#include "support/TestAgent.h"
#include "support/TestPhotos.h"

#include <QAccessible>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QScrollBar>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

namespace {

const QString kVin = QStringLiteral("1HGCM82633A004352");

// A picker over the agent's objects with the real photo subsystem and a ready session.
struct Picker {
    explicit Picker(TestAgent& agent) : photos(agent.state, agent.lists), io(agent.context)
    {
        agent.context.services.photos = &photos;
        io.Init();
        agent.forms.registerFactory(QStringLiteral("frmImagePicker"), [&agent, this] {
            return new ImagePickerForm({agent.settings, agent.state, photos, agent.ui, {}});
        });
    }
    ImagePickerForm* open(TestAgent& agent)
    {
        agent.settings.load();
        return qobject_cast<ImagePickerForm*>(agent.forms.load(QStringLiteral("frmImagePicker")));
    }

    SessionPhotos photos;
    IO io;
};

void setAge(const QString& path, int minutesOld)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(-60 * minutesOld),
                             QFileDevice::FileModificationTime));
}

void writePhotoAt(const QString& path, int minutesOld, QSize size = QSize(160, 120))
{
    QVERIFY(writePhoto(path, size, 1, quint32(minutesOld + 1)));
    setAge(path, minutesOld);
}

QString statusOf(ImagePickerForm* form)
{
    return form->findChild<QLabel*>(QStringLiteral("lblStatus"))->text();
}

QStringList shownNames(ImagePickerForm* form)
{
    QStringList names;
    for (int i = 0; i < ImagePickerForm::kCells; ++i) {
        if (form->cellEntry(i) >= 0 && form->cell(i)->isVisibleTo(form))
            names << form->entries()[form->cellEntry(i)].FileName;
    }
    return names;
}

} // namespace

class TestImagePicker : public QObject {
    Q_OBJECT

private slots:
    // What is listed and in which order: newest first, or by name; position 2 of 10 shows
    // list indexes 4 to 9; a portrait thumbnail is as high as its cell.
    void listingPagingAndSorting()
    {
        TestAgent agent;
        const QString folder = agent.home.path() + QStringLiteral("/photos");
        QVERIFY(QDir().mkpath(folder));
        for (int i = 0; i < 8; ++i)
            writePhotoAt(folder + QStringLiteral("/p%1.jpg").arg(i), 10 * i);
        writePhotoAt(folder + QStringLiteral("/UPPER.JPG"), 200, QSize(120, 160));
        agent.makeFile(QStringLiteral("photos/small.jpg"), 500);
        agent.makeFile(QStringLiteral("photos/edge.jpg"), 501);
        setAge(folder + QStringLiteral("/edge.jpg"), 24 * 60);
        agent.setSetting(QStringLiteral("ImageDirectory"), folder);
        Picker picker(agent);
        std::unique_ptr<ImagePickerForm> form(picker.open(agent));
        QCOMPARE(form->RowCount(), 3);
        form->findChild<QScrollBar*>(QStringLiteral("VScroll1"))->setValue(2);
        QCOMPARE(statusOf(form.get()), QStringLiteral("Displaying: 5-10 of 10 images"));
        QCOMPARE(shownNames(form.get()),
                 (QStringList{"p4.jpg", "p5.jpg", "p6.jpg", "p7.jpg", "UPPER.JPG", "edge.jpg"}));
        QTRY_VERIFY(!form->cell(4)->picture().isNull());
        QCOMPARE(form->cell(4)->size(), QSize(74, 99));
        QTest::mouseClick(form->findChildren<QRadioButton*>(QStringLiteral("Option1"))[1],
                          Qt::LeftButton);
        QCOMPARE(shownNames(form.get()).first(), QStringLiteral("edge.jpg"));
        QCOMPARE(statusOf(form.get()), QStringLiteral("Displaying: 1-8 of 10 images"));
    }

    // Space marks the focused cell, a screen reader hears its name and state, and Enter
    // attaches in entry order (by name: new before old) with the time as caption.
    void keyboardAndScreenReader()
    {
        TestAgent agent;
        const QString folder = agent.home.path() + QStringLiteral("/photos");
        QVERIFY(QDir().mkpath(folder));
        writePhotoAt(folder + QStringLiteral("/new.jpg"), 1, QSize(1280, 960));
        writePhotoAt(folder + QStringLiteral("/old.jpg"), 3);
        agent.setSetting(QStringLiteral("ImageDirectory"), folder);
        Picker picker(agent);
        QPointer<ImagePickerForm> form(picker.open(agent));
        form->show();
        QVERIFY(QTest::qWaitForWindowExposed(form));
        form->cell(0)->setFocus();
        QTest::keyClick(form->cell(0), Qt::Key_Space);
        QAccessibleInterface* cell = QAccessible::queryAccessibleInterface(form->cell(0));
        QCOMPARE(cell->text(QAccessible::Name), QStringLiteral("new.jpg"));
        QVERIFY(cell->state().checked);
        QVERIFY(!QAccessible::queryAccessibleInterface(form->cell(1))->state().checked);
        form->cell(1)->setFocus();
        QTest::keyClick(form->cell(1), Qt::Key_Space);
        QTest::keyClick(form->cell(1), Qt::Key_Return);
        QTRY_VERIFY(form.isNull());
        QCOMPARE(QImage(agent.lists.nameOf(QStringLiteral("Photos"), 1)).size(), QSize(640, 480));
        QCOMPARE(fileContents(agent.lists.nameOf(QStringLiteral("Photos"), 2)),
                 fileContents(folder + QStringLiteral("/old.jpg")));
        QVERIFY(
            QRegularExpression(QStringLiteral("^\\d\\d-\\d\\d-\\d{4} \\d\\d:\\d\\d:\\d\\d [ap]$"))
                .match(agent.lists.captionOf(QStringLiteral("Photos"), 1))
                .hasMatch());
    }

    // By VIN: the sub-folder whose name ends in the VIN (here a link to the camera's
    // folder), the question after half a second, and the VIN captions.
    void vinMode()
    {
        TestAgent agent;
        const QString root = agent.home.path() + QStringLiteral("/photos");
        const QString camera = agent.home.path() + QStringLiteral("/camera");
        QVERIFY(QDir().mkpath(camera) && QDir().mkpath(root + QStringLiteral("/other")));
        QVERIFY(QFile::link(camera, root + QStringLiteral("/2019 Civic ") + kVin.toLower()));
        writePhotoAt(camera + QLatin1Char('/') + kVin + QStringLiteral("-front.jpg"), 1);
        for (int i = 2; i <= 4; ++i)
            writePhotoAt(camera + QStringLiteral("/side%1.JPG").arg(i), i);
        agent.setSetting(QStringLiteral("ImageDirectory"), root);
        agent.setSetting(QStringLiteral("ImageAcqMethod"), QStringLiteral("2"));
        agent.state.PhotoVINMatch = kVin;
        Picker picker(agent);

        agent.ui.boxAnswers.enqueue(MessageAnswer::No);
        ImagePickerForm* declined = picker.open(agent);
        QCOMPARE(declined->windowTitle(), QStringLiteral("Digital Photos by VIN (") + kVin + ")");
        QVERIFY(declined->findChild<QPushButton*>(QStringLiteral("cmdChange"))->isHidden());
        QCOMPARE(declined->RowCount(), 2); // 3 / 4 + 1 = 1.75, rounded

        QTRY_COMPARE(agent.ui.boxes.size(), 1);
        QCOMPARE(agent.ui.boxes[0].text,
                 QStringLiteral("4 photos have been detected for this VIN.  Do you want to "
                                "attach ALL of them now?"));
        QCOMPARE(agent.ui.boxes[0].buttons, MessageButtons::YesNo);
        QVERIFY(!declined->property(kFormFinished).toBool());
        for (const PhotoEntry& entry : declined->entries())
            QVERIFY(!entry.Selected);
        delete declined;

        QPointer<ImagePickerForm> accepted(picker.open(agent)); // Yes
        QTRY_VERIFY(accepted.isNull());
        QCOMPARE(agent.lists.countOf(QStringLiteral("Photos")), qint16(4));
        QCOMPARE(agent.lists.captionOf(QStringLiteral("Photos"), 1), QStringLiteral("front"));
        QCOMPARE(agent.lists.captionOf(QStringLiteral("Photos"), 4), QStringLiteral("side4"));
    }

    void storageMethodListsNothing()
    {
        TestAgent agent;
        agent.setSetting(QStringLiteral("ImageAcqMethod"), QStringLiteral("1"));
        Picker picker(agent);
        const QString work = agent.state.SessionPath + QStringLiteral("/WorkImages");
        QVERIFY(QDir().mkpath(work));
        QVERIFY(writeFileContents(work + QStringLiteral("/left-over.jpg"), "x"));
        std::unique_ptr<ImagePickerForm> form(picker.open(agent));
        QCOMPARE(form->windowTitle(), QStringLiteral("Digital Photos from storage"));
        QCOMPARE(agent.ui.boxes.size(), 1);
        QCOMPARE(agent.ui.boxes[0].text, QString());
        QCOMPARE(agent.ui.boxes[0].title, QStringLiteral("Error locating images"));
        QCOMPARE(agent.ui.boxes[0].icon, MessageIcon::Critical);
        QVERIFY(QDir(work).isEmpty());
        QCOMPARE(form->PhotoCount(), 0);

        // The caption such a photo would get, from the text file beside it.
        QVERIFY(writeFileContents(agent.home.path() + QStringLiteral("/CARD1.TXT"),
                                  "Left \"front\" <door>\r\nit's dented" + QByteArray(80, 'x')));
        QCOMPARE(storageCaption(agent.home.path() + QStringLiteral("/card1.jpg")),
                 QStringLiteral("Left front [door]its dented") + QString(32, QLatin1Char('x')));
        QCOMPARE(storageCaption(agent.home.path() + QStringLiteral("/none.jpg")), QString());
    }
};

QTEST_MAIN(TestImagePicker)
#include "tst_imagepicker.moc"
