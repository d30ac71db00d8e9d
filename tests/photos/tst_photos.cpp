// Photos with the scripted Ui and the real photo subsystem: which are copied byte for byte
// and which reduced, upright; what a hostile file gets through SelectFile; and the "Digital
// Photos" picker: what it lists in which order, marking from the keyboard as a screen
// reader sees it, the VIN and storage methods. The page's side is in e2e.tst_agentphotos.

#include "automation/IO.h"
#include "photos/ImagePickerForm.h"
#include "photos/PhotoFolder.h"
#include "photos/SessionPhotos.h"
#include "photos/ShrinkImage.h"
#include "support/FileContents.h"
#include "support/TestAgent.h"
#include "support/TestPhotos.h"

#include <QAccessible>
#include <QBuffer>
#include <QDir>
#include <QImageReader>
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

// The agent's objects with the real photo subsystem, a ready session and the picker.
struct Photos : TestAgent {
    Photos() : intake(state, lists), io(context)
    {
        context.services.photos = &intake;
        io.Init();
        forms.registerFactory("frmImagePicker", [this] {
            return new ImagePickerForm({settings, state, intake, ui, {}});
        });
    }
    ImagePickerForm* open(const QString& folder = {}, const char* method = "0")
    {
        setSetting("ImageDirectory", folder);
        setSetting("ImageAcqMethod", method);
        settings.load();
        return qobject_cast<ImagePickerForm*>(forms.load("frmImagePicker"));
    }
    // A photo under the home, its time minutesOld before now.
    QString photo(const QString& name, int minutesOld, QSize size = QSize(160, 120))
    {
        QFile file(home.path() + '/' + name);
        if (!writeFileContents(file.fileName(), photoJpeg(size, 1, quint32(minutesOld + 1))) ||
            !file.open(QIODevice::Append) ||
            !file.setFileTime(QDateTime::currentDateTime().addSecs(-60 * minutesOld),
                              QFileDevice::FileModificationTime))
            qFatal("cannot write %s", qPrintable(file.fileName()));
        return file.fileName();
    }

    SessionPhotos intake;
    IO io;
};

QStringList shownNames(ImagePickerForm* form)
{
    QStringList names;
    for (int i = 0; i < ImagePickerForm::kCells; ++i) {
        if (form->cellEntry(i) >= 0 && form->cell(i)->isVisibleTo(form))
            names << form->entries()[form->cellEntry(i)].FileName;
    }
    return names;
}

QString statusOf(ImagePickerForm* form)
{
    return form->findChild<QLabel*>("lblStatus")->text();
}

bool isRed(QRgb pixel)
{
    return qRed(pixel) > 200 && qGreen(pixel) < 60 && qBlue(pixel) < 60;
}

} // namespace

class TestPhotos : public QObject {
    Q_OBJECT

private slots:
    // Up to 640 shown pixels wide a photo is copied as it is (EXIF tag and all); wider, it
    // is written anew, upright, without a tag that a viewer would apply a second time.
    void shrink_data()
    {
        QTest::addColumn<QSize>("source");
        QTest::addColumn<int>("orientation"); // 6: turn 90 degrees clockwise to show
        QTest::addColumn<QSize>("shown");
        QTest::addColumn<bool>("copied");
        QTest::newRow("640 wide") << QSize(640, 480) << 1 << QSize(640, 480) << true;
        QTest::newRow("480 x 2000") << QSize(480, 2000) << 1 << QSize(480, 2000) << true;
        QTest::newRow("641 wide") << QSize(641, 481) << 1 << QSize(640, 480) << false;
        QTest::newRow("1000 x 333") << QSize(1000, 333) << 1 << QSize(640, 213) << false;
        QTest::newRow("upright 1600") << QSize(1600, 1200) << 6 << QSize(640, 853) << false;
        QTest::newRow("upright 480") << QSize(640, 480) << 6 << QSize(480, 640) << true;
    }
    void shrink()
    {
        QFETCH(QSize, source);
        QFETCH(int, orientation);
        QFETCH(QSize, shown);
        QFETCH(bool, copied);
        QTemporaryDir dir;
        const QString in = dir.filePath("in.jpg"), out = dir.filePath("out.jpg");
        QVERIFY(writePhoto(in, source, orientation));
        QCOMPARE(ShrinkImage(in, out, kPhotoWidthLimit), QString());
        QCOMPARE(fileContents(out) == fileContents(in), copied);
        QCOMPARE(folderEntries(dir.path()), (QStringList{"in.jpg", "out.jpg"}));
        QImageReader reader(out);
        if (!copied)
            QCOMPARE(reader.transformation(), QImageIOHandler::TransformationNone);
        reader.setAutoTransform(true);
        const QImage image = reader.read();
        QCOMPARE(image.size(), shown);
        // The red corner stored top left shows top right when turned.
        const int right = image.width() - 20;
        QVERIFY(isRed(image.pixel(orientation == 6 ? right : 20, 20)));
        QVERIFY(!isRed(image.pixel(orientation == 6 ? 20 : right, 20)));
    }

    // A bad file among good ones is named in its own message; the good ones are attached
    // in order and nothing half-written is left in the session folder.
    void hostileFiles_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("why");
        const QByteArray good = photoJpeg(QSize(64, 48));
        // A small photo whose frame header claims 50,000 x 50,000.
        QByteArray huge = good;
        huge.replace(huge.indexOf("\xFF\xC0") + 5, 4, "\xC3\x50\xC3\x50");
        QImage png(800, 600, QImage::Format_RGB32);
        png.fill(Qt::blue);
        QByteArray pngBytes;
        QBuffer buffer(&pngBytes);
        png.save(&buffer, "PNG");
        QTest::newRow("truncated") << good.left(good.size() / 2)
                                   << "the file is incomplete (it ends before its picture does).";
        QTest::newRow("png") << pngBytes << "it is not a JPEG picture but a PNG picture.";
        QTest::newRow("huge") << huge
                              << "its picture is too large to be a photo (50000 x 50000 pixels).";
        QTest::newRow("empty") << QByteArray() << "it is empty.";
        // Markers: "/" is made a folder, "-" is not made at all.
        QTest::newRow("folder") << QByteArray("/") << "it is a folder, not a file.";
        QTest::newRow("gone") << QByteArray("-") << "the file no longer exists.";
    }
    void hostileFiles()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, why);
        Photos agent;
        const QString folder = agent.home.path() + "/pick";
        QVERIFY(bytes == "/" ? QDir().mkpath(folder + "/bad.jpg")
                             : bytes == "-" || writeFileContents(folder + "/bad.jpg", bytes));
        QVERIFY(writeFileContents(folder + "/a.jpg", photoJpeg(QSize(1280, 960))));
        QVERIFY(writeFileContents(folder + "/B.JPG", photoJpeg(QSize(600, 400))));
        agent.ui.fileAnswers << QStringList{folder, "a.jpg", "bad.jpg", "B.JPG"}.join(QChar(0));
        QVERIFY(agent.io.SelectFile());
        QCOMPARE(agent.ui.boxes.size(), 2);
        QCOMPARE(agent.ui.boxes[0].text,
                 "The photo " + folder + "/bad.jpg was not attached: " + why);
        QCOMPARE(agent.ui.lastText(), "2 files attached.");
        const QString session = agent.state.SessionPath;
        QCOMPARE(folderEntries(session), (QStringList{"Img1.jpg", "Img2.jpg"}));
        QCOMPARE(agent.lists.nameOf("Photos", 1), session + "/Img1.jpg");
        QCOMPARE(QImageReader(session + "/Img1.jpg").size(), QSize(640, 480));
        QCOMPARE(fileContents(session + "/Img2.jpg"), fileContents(folder + "/B.JPG"));
    }

    // Newest first, or by name; files of 500 bytes or less are no photos; position 2 of 10
    // shows list indexes 4 to 9; a portrait thumbnail is as high as its cell.
    void listing()
    {
        Photos agent;
        for (int i = 0; i < 8; ++i)
            agent.photo(QStringLiteral("photos/p%1.jpg").arg(i), 10 * i);
        agent.photo("photos/UPPER.JPG", 200, QSize(120, 160));
        agent.makeFile("photos/small.jpg", 500);
        QFile edge(agent.makeFile("photos/edge.jpg", 501));
        const QDateTime noon(QDate(2026, 3, 2), QTime(12, 0));
        QVERIFY(edge.open(QIODevice::Append) &&
                edge.setFileTime(noon, QFileDevice::FileModificationTime));
        std::unique_ptr<ImagePickerForm> form(agent.open(agent.home.path() + "/photos"));
        QCOMPARE(form->RowCount(), 3);
        form->findChild<QScrollBar*>("VScroll1")->setValue(2);
        QCOMPARE(statusOf(form.get()), "Displaying: 5-10 of 10 images");
        QCOMPARE(shownNames(form.get()),
                 (QStringList{"p4.jpg", "p5.jpg", "p6.jpg", "p7.jpg", "UPPER.JPG", "edge.jpg"}));
        for (const PhotoEntry& entry : form->entries()) // the date shown for each photo
            if (entry.FileName == "edge.jpg")
                QCOMPARE(entry.DateCaption, "File Date: 3/2/26 at 12:00pm");
        QTRY_VERIFY(!form->cell(4)->picture().isNull());
        QCOMPARE(form->cell(4)->size(), QSize(74, 99));
        QTest::mouseClick(form->findChildren<QRadioButton*>("Option1")[1], Qt::LeftButton);
        QCOMPARE(shownNames(form.get()).first(), "edge.jpg");
        QCOMPARE(statusOf(form.get()), "Displaying: 1-8 of 10 images");
    }

    // Space marks the focused cell, a screen reader hears its name and state, and Enter
    // attaches in entry order (by name: new before old) with the time as caption.
    void keyboardAndScreenReader()
    {
        Photos agent;
        agent.photo("photos/new.jpg", 1, QSize(1280, 960));
        const QString old = agent.photo("photos/old.jpg", 3);
        QPointer<ImagePickerForm> form(agent.open(agent.home.path() + "/photos"));
        form->show();
        QVERIFY(QTest::qWaitForWindowExposed(form));
        form->cell(0)->setFocus();
        QTest::keyClick(form->cell(0), Qt::Key_Space);
        QAccessibleInterface* cell = QAccessible::queryAccessibleInterface(form->cell(0));
        QCOMPARE(cell->text(QAccessible::Name), "new.jpg");
        QVERIFY(cell->state().checked);
        QVERIFY(!QAccessible::queryAccessibleInterface(form->cell(1))->state().checked);
        form->cell(1)->setFocus();
        QTest::keyClick(form->cell(1), Qt::Key_Space);
        QTest::keyClick(form->cell(1), Qt::Key_Return);
        QTRY_VERIFY(form.isNull());
        QCOMPARE(QImage(agent.lists.nameOf("Photos", 1)).size(), QSize(640, 480));
        QCOMPARE(fileContents(agent.lists.nameOf("Photos", 2)), fileContents(old));
        static const QRegularExpression time("^\\d\\d-\\d\\d-\\d{4} \\d\\d:\\d\\d:\\d\\d [ap]$");
        QVERIFY(time.match(agent.lists.captionOf("Photos", 1)).hasMatch());
    }

    // By VIN: the sub-folder whose name ends in the VIN (here a link to the camera's
    // folder), the question after half a second, and the VIN captions.
    void vinMode()
    {
        Photos agent;
        const QString root = agent.home.path() + "/photos";
        const QString camera = agent.home.path() + "/camera";
        QVERIFY(QDir().mkpath(camera) && QDir().mkpath(root + "/other"));
        QVERIFY(QFile::link(camera, root + "/2019 Civic " + kVin.toLower()));
        agent.photo("camera/" + kVin + "-front.jpg", 1);
        for (int i = 2; i <= 4; ++i)
            agent.photo(QStringLiteral("camera/side%1.JPG").arg(i), i);
        agent.state.PhotoVINMatch = kVin;

        agent.ui.boxAnswers << MessageAnswer::No;
        std::unique_ptr<ImagePickerForm> declined(agent.open(root, "2"));
        QCOMPARE(declined->windowTitle(), "Digital Photos by VIN (" + kVin + ")");
        QVERIFY(declined->findChild<QPushButton*>("cmdChange")->isHidden());
        QCOMPARE(declined->RowCount(), 2); // 3 / 4 + 1 = 1.75, rounded
        QTRY_COMPARE(agent.ui.boxes.size(), 1);
        QCOMPARE(agent.ui.boxes[0].text, "4 photos have been detected for this VIN.  Do you "
                                         "want to attach ALL of them now?");
        QCOMPARE(agent.ui.boxes[0].buttons, MessageButtons::YesNo);
        for (const PhotoEntry& entry : declined->entries())
            QVERIFY(!entry.Selected);
        declined.reset();

        QPointer<ImagePickerForm> accepted(agent.open(root, "2")); // Yes
        QTRY_VERIFY(accepted.isNull());
        QCOMPARE(agent.lists.countOf("Photos"), qint16(4));
        QCOMPARE(agent.lists.captionOf("Photos", 1), "front");
        QCOMPARE(agent.lists.captionOf("Photos", 4), "side4");
    }

    // From storage nothing is listed (and the work folder is emptied); such a photo's
    // caption comes from the text file beside it.
    void storageMethod()
    {
        Photos agent;
        const QString work = agent.state.SessionPath + "/WorkImages";
        QVERIFY(writeFileContents(work + "/left-over.jpg", "x"));
        std::unique_ptr<ImagePickerForm> form(agent.open({}, "1"));
        QCOMPARE(form->windowTitle(), "Digital Photos from storage");
        QCOMPARE(agent.ui.boxes.size(), 1);
        QCOMPARE(agent.ui.lastText(), QString());
        QCOMPARE(agent.ui.boxes[0].title, "Error locating images");
        QCOMPARE(agent.ui.boxes[0].icon, MessageIcon::Critical);
        QVERIFY(QDir(work).isEmpty() && form->PhotoCount() == 0);
        QVERIFY(writeFileContents(agent.home.path() + "/CARD1.TXT",
                                  "Left \"front\" <door>\r\nit's dented" + QByteArray(80, 'x')));
        QCOMPARE(storageCaption(agent.home.path() + "/card1.jpg"),
                 "Left front [door]its dented" + QString(32, 'x'));
        QCOMPARE(storageCaption(agent.home.path() + "/none.jpg"), QString());
    }
};

QTEST_MAIN(TestPhotos)
#include "tst_photos.moc"
