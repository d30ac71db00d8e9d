// The "Digital Photos" picker as the clerk and the page use it: what it lists and in which
// order, paging, marking with the mouse and the keyboard, attaching, the VIN and storage
// methods, and the host calls that open it.

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
    void rowCountKeepsItsRounding()
    {
        const QList<std::pair<int, int>> cases{{1, 1}, {3, 2}, {4, 2}, {7, 2}, {8, 3}, {11, 4}};
        for (const auto& [photos, rows] : cases)
            QVERIFY2(rowCountFor(photos) == rows, qPrintable(QString::number(photos)));
    }

    // Ten photos, newest first; the second position shows list indexes 4 to 9.
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
        agent.makeFile(QStringLiteral("photos/notes.txt"), 5000);
        setAge(folder + QStringLiteral("/edge.jpg"), 24 * 60);
        agent.setSetting(QStringLiteral("ImageDirectory"), folder);
        Picker picker(agent);
        ImagePickerForm* form = picker.open(agent);

        QCOMPARE(form->PhotoCount(), 10);
        QCOMPARE(form->RowCount(), 3);
        QCOMPARE(statusOf(form), QStringLiteral("Displaying: 1-8 of 10 images"));
        QCOMPARE(shownNames(form), (QStringList{"p0.jpg", "p1.jpg", "p2.jpg", "p3.jpg", "p4.jpg",
                                                "p5.jpg", "p6.jpg", "p7.jpg"}));
        auto* scroll = form->findChild<QScrollBar*>(QStringLiteral("VScroll1"));
        scroll->setValue(2);
        QCOMPARE(statusOf(form), QStringLiteral("Displaying: 5-10 of 10 images"));
        QCOMPARE(shownNames(form),
                 (QStringList{"p4.jpg", "p5.jpg", "p6.jpg", "p7.jpg", "UPPER.JPG", "edge.jpg"}));

        // Thumbnails arrive on their own and take the photo's shape: a portrait photo is
        // as high as the cell.
        QTRY_VERIFY(!form->cell(4)->picture().isNull());
        QCOMPARE(form->cell(4)->size(), QSize(74, 99));
        QTRY_VERIFY(!form->cell(0)->picture().isNull());
        QCOMPARE(form->cell(0)->size(), QSize(132, 99));

        // By name: back to the first position.
        QTest::mouseClick(form->findChildren<QRadioButton*>(QStringLiteral("Option1"))[1],
                          Qt::LeftButton);
        QCOMPARE(scroll->value(), 1);
        QCOMPARE(shownNames(form).first(), QStringLiteral("edge.jpg"));
        QCOMPARE(shownNames(form).last(), QStringLiteral("p6.jpg"));
        delete form;
    }

    void markWithMouseAndKeyboardThenAttach()
    {
        TestAgent agent;
        const QString folder = agent.home.path() + QStringLiteral("/photos");
        QVERIFY(QDir().mkpath(folder));
        writePhotoAt(folder + QStringLiteral("/new.jpg"), 1, QSize(1280, 960));
        writePhotoAt(folder + QStringLiteral("/mid.jpg"), 2);
        writePhotoAt(folder + QStringLiteral("/old.jpg"), 3);
        agent.setSetting(QStringLiteral("ImageDirectory"), folder);
        Picker picker(agent);
        ImagePickerForm* form = picker.open(agent);
        QPointer<ImagePickerForm> alive(form);
        form->show();
        QVERIFY(QTest::qWaitForWindowExposed(form));

        QTest::mouseClick(form->cell(0), Qt::LeftButton);
        form->cell(2)->setFocus();
        QTest::keyClick(form->cell(2), Qt::Key_Space);
        QCOMPARE(form->findChildren<QWidget*>(QStringLiteral("RedBorder"))[0]->isVisible(), true);
        QCOMPARE(form->findChildren<QWidget*>(QStringLiteral("RedBorder"))[1]->isVisible(), false);
        // What a screen reader is told about the cell.
        QAccessibleInterface* cell = QAccessible::queryAccessibleInterface(form->cell(2));
        QCOMPARE(cell->text(QAccessible::Name), QStringLiteral("old.jpg"));
        QVERIFY(cell->state().checked);
        QVERIFY(!QAccessible::queryAccessibleInterface(form->cell(1))->state().checked);

        // Enter attaches, in entry order (by name: new before old), and closes the picker.
        QTest::keyClick(form->cell(2), Qt::Key_Return);
        QTRY_VERIFY(alive.isNull());
        QCOMPARE(agent.lists.countOf(QStringLiteral("Photos")), qint16(2));
        const QString img1 = agent.lists.nameOf(QStringLiteral("Photos"), 1);
        QCOMPARE(img1, agent.state.SessionPath + QStringLiteral("/Img1.jpg"));
        QCOMPARE(QImage(img1).size(), QSize(640, 480));
        QCOMPARE(fileContents(agent.lists.nameOf(QStringLiteral("Photos"), 2)),
                 fileContents(folder + QStringLiteral("/old.jpg")));
        const QRegularExpression time(
            QStringLiteral("^\\d\\d-\\d\\d-\\d{4} \\d\\d:\\d\\d:\\d\\d [ap]$"));
        QVERIFY(time.match(agent.lists.captionOf(QStringLiteral("Photos"), 1)).hasMatch());
        QVERIFY(agent.ui.boxes.isEmpty());
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
        writePhotoAt(camera + QStringLiteral("/rear.JPG"), 2);
        agent.setSetting(QStringLiteral("ImageDirectory"), root);
        agent.setSetting(QStringLiteral("ImageAcqMethod"), QStringLiteral("2"));
        agent.state.PhotoVINMatch = kVin;
        Picker picker(agent);

        agent.ui.boxAnswers.enqueue(MessageAnswer::No);
        ImagePickerForm* declined = picker.open(agent);
        QCOMPARE(declined->windowTitle(), QStringLiteral("Digital Photos by VIN (") + kVin + ")");
        QVERIFY(declined->findChild<QPushButton*>(QStringLiteral("cmdChange"))->isHidden());
        QCOMPARE(declined->PhotoCount(), 2);
        QTRY_COMPARE(agent.ui.boxes.size(), 1);
        QCOMPARE(agent.ui.boxes[0].text,
                 QStringLiteral("2 photos have been detected for this VIN.  Do you want to "
                                "attach ALL of them now?"));
        QCOMPARE(agent.ui.boxes[0].title, QStringLiteral("Attach Photos"));
        QCOMPARE(agent.ui.boxes[0].buttons, MessageButtons::YesNo);
        QVERIFY(!declined->property(kFormFinished).toBool());
        for (const PhotoEntry& entry : declined->entries())
            QVERIFY(!entry.Selected);
        delete declined;

        QPointer<ImagePickerForm> accepted(picker.open(agent)); // Yes
        QTRY_VERIFY(accepted.isNull());
        QCOMPARE(agent.lists.countOf(QStringLiteral("Photos")), qint16(2));
        QCOMPARE(agent.lists.captionOf(QStringLiteral("Photos"), 1), QStringLiteral("front"));
        QCOMPARE(agent.lists.captionOf(QStringLiteral("Photos"), 2), QStringLiteral("rear"));
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

    // The page's calls return at once; a second one only brings the picker to the front.
    void hostCalls()
    {
        TestAgent agent;
        Picker picker(agent);
        QCOMPARE(picker.io.GetFormStatus(QStringLiteral("imagepicker")),
                 QStringLiteral("UNLOADED"));
        QCOMPARE(picker.io.SelectPhotos(), QString());
        QCOMPARE(picker.io.GetFormStatus(QStringLiteral("IMAGEPICKER")), QStringLiteral("LOADED"));
        QCOMPARE(picker.io.SelectPhotoByVIN(QStringLiteral(" abc123 ")), QString());
        QCOMPARE(agent.ui.shown, QStringList{QStringLiteral("frmImagePicker")});
        QCOMPARE(agent.ui.raised.size(), 2);
        auto* form = qobject_cast<QWidget*>(agent.forms.find(QStringLiteral("frmImagePicker")));
        QVERIFY(form->close());
        QCOMPARE(picker.io.GetFormStatus(QStringLiteral("IMAGEPICKER")),
                 QStringLiteral("UNLOADED"));
    }
};

QTEST_MAIN(TestImagePicker)
#include "tst_imagepicker.moc"
