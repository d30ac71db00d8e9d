// Photos where the page's road (e2e.tst_agentphotos) does not go: which are copied and which
// reduced, upright; what a bad file gets; the picker's order, captions and keys.

#include "automation/IO.h"
#include "photos/ImagePickerForm.h"
#include "photos/PhotoFolder.h"
#include "photos/SessionPhotos.h"
#include "support/FileContents.h"
#include "support/TestAgent.h"
#include "support/TestPhotos.h"

#include <QDir>
#include <QImageReader>
#include <QScrollBar>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

namespace {

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
    ImagePickerForm* open(const QString& folder)
    {
        setSetting("ImageDirectory", home.path() + folder);
        settings.load();
        return qobject_cast<ImagePickerForm*>(forms.load("frmImagePicker"));
    }
    // A photo under the home, taken minutesOld before 14:00 on 2 March 2026.
    void photo(const QString& name, int minutesOld, QSize size = {160, 120})
    {
        QFile file(home.path() + '/' + name);
        const QDateTime at = QDateTime(QDate(2026, 3, 2), QTime(14, 0)).addSecs(-60 * minutesOld);
        if (!writeFileContents(file.fileName(), photoJpeg(size, 1, quint32(minutesOld + 1))) ||
            !file.open(QIODevice::Append) ||
            !file.setFileTime(at, QFileDevice::FileModificationTime))
            qFatal("cannot write %s", qPrintable(file.fileName()));
    }

    SessionPhotos intake;
    IO io;
};

} // namespace

class TestPhotos : public QObject {
    Q_OBJECT

private slots:
    // A bad file among good ones is named in its own message and nothing half-written is
    // left. Up to 640 shown pixels wide a photo is copied as it is (EXIF tag and all); wider,
    // it is written anew, upright, without a tag that a viewer would apply a second time.
    void selectFile()
    {
        Photos agent;
        const QString folder = agent.home.path() + "/pick";
        const QByteArray cut = photoJpeg(QSize(64, 48));
        QByteArray huge = cut; // its frame header says 20000 x 20000
        huge.replace(huge.indexOf("\xFF\xC0") + 5, 4, "N N ");
        const std::pair<QByteArray, QString> bad[] = {
            {cut.left(cut.size() / 2), "the file is incomplete (it ends before its picture does)."},
            {{}, "it is empty."},
            {"-", "the file no longer exists."}, // "-": not made at all, "/": a folder
            {"/", "it is a folder, not a file."},
            {"GIF89a", "it is not a JPEG picture but a GIF picture."},
            {"Dear sir", "it is not a JPEG picture."},
            {huge, "its picture is too large to be a photo (20000 x 20000 pixels)."}};
        // Size, EXIF orientation (6: turn 90 degrees clockwise to show), size shown.
        const std::tuple<QSize, int, QSize> photos[] = {{{640, 480}, 1, {640, 480}},
                                                        {{641, 481}, 1, {640, 480}},
                                                        {{1600, 1200}, 6, {640, 853}},
                                                        {{640, 480}, 6, {480, 640}}};
        QStringList names{folder}, expected;
        for (const auto& [bytes, why] : bad) {
            names << QStringLiteral("bad%1.jpg").arg(names.size());
            QVERIFY(bytes == "-" ||
                    (bytes == "/" ? QDir(folder).mkpath(names.last())
                                  : writeFileContents(folder + '/' + names.last(), bytes)));
            expected << "The photo " + folder + '/' + names.last() + " was not attached: " + why;
        }
        for (const auto& [size, orientation, shown] : photos) {
            names << QStringLiteral("%1.JPG").arg(names.size());
            QVERIFY(writeFileContents(folder + '/' + names.last(), photoJpeg(size, orientation)));
        }
        agent.ui.fileAnswers << names.join(QChar(0));
        QVERIFY(agent.io.SelectFile());
        QStringList texts;
        for (const MessageBoxRequest& box : agent.ui.boxes)
            texts << box.text;
        QCOMPARE(texts, expected << "4 files attached.");
        QCOMPARE(folderEntries(agent.state.SessionPath).size(), 4);
        for (int n = 1; n <= 4; ++n) {
            const auto& [size, orientation, shown] = photos[n - 1];
            const QString in = folder + '/' + names[std::size(bad) + n],
                          out = agent.lists.nameOf("Photos", n);
            const bool copied = fileContents(out) == fileContents(in);
            QCOMPARE(copied, (orientation == 6 ? size.height() : size.width()) <= 640);
            QImageReader reader(out);
            QVERIFY(copied || reader.transformation() == QImageIOHandler::TransformationNone);
            reader.setAutoTransform(true);
            const QImage image = reader.read();
            QCOMPARE(image.size(), shown);
            // The red corner stored top left shows top right when turned.
            const int right = image.width() - 20, red = orientation == 6 ? right : 20;
            QVERIFY(qRed(image.pixel(red, 20)) > 200 && qGreen(image.pixel(red, 20)) < 60);
            QVERIFY(qGreen(image.pixel(right + 20 - red, 20)) > 60);
        }
    }

    // Newest first; files of 500 bytes or less are no photos; position 2 of 10
    // shows list indexes 4 to 9. Space marks the focused cell, Enter attaches it with the
    // time as caption.
    void picker()
    {
        Photos agent;
        for (int i = 0; i < 8; ++i)
            agent.photo(QStringLiteral("photos/p%1.jpg").arg(i), 10 * i);
        agent.photo("photos/UPPER.JPG", 200, QSize(120, 160));
        agent.makeFile("photos/small.jpg", 500);
        agent.photo("photos/noon.jpg", 120, QSize(8, 8));
        QPointer<ImagePickerForm> form(agent.open("/photos"));
        form->show();
        form->findChild<QScrollBar*>("VScroll1")->setValue(2);
        QStringList names;
        for (int i = 0; i < ImagePickerForm::kCells; ++i)
            if (form->cellEntry(i) >= 0 && form->cell(i)->isVisibleTo(form))
                names << form->entries()[form->cellEntry(i)].FileName;
        QCOMPARE(names,
                 (QStringList{"p4.jpg", "p5.jpg", "p6.jpg", "p7.jpg", "noon.jpg", "UPPER.JPG"}));
        QCOMPARE(form->entries()[form->cellEntry(4)].DateCaption, "File Date: 3/2/26 at 12:00pm");

        form->cell(1)->setFocus();
        QTest::keyClick(form->cell(1), Qt::Key_Space);
        QTest::keyClick(form->cell(1), Qt::Key_Return);
        QTRY_VERIFY(form.isNull());
        static const QRegularExpression time("^\\d\\d-\\d\\d-\\d{4} \\d\\d:\\d\\d:\\d\\d [ap]$");
        QVERIFY(time.match(agent.lists.captionOf("Photos", 1)).hasMatch());
    }

    // By VIN: the sub-folder whose name ends in the VIN (a link to the camera's folder), the
    // "attach ALL" question declined and then accepted. From storage: nothing is listed.
    void vinAndStorageMethods()
    {
        const QString vin = QStringLiteral("1HGCM82633A004352");
        Photos agent;
        QVERIFY(QDir().mkpath(agent.home.path() + "/photos/other"));
        QVERIFY(QFile::link(agent.home.path() + "/camera",
                            agent.home.path() + "/photos/2019 Civic " + vin.toLower()));
        agent.photo("camera/" + vin + "-front.jpg", 1);
        for (int i = 2; i <= 4; ++i)
            agent.photo(QStringLiteral("camera/side%1.JPG").arg(i), i);
        agent.setSetting("ImageAcqMethod", "2");
        agent.state.PhotoVINMatch = vin;
        agent.ui.boxAnswers.enqueue(MessageAnswer::No);
        std::unique_ptr<ImagePickerForm> declined(agent.open("/photos"));
        QCOMPARE(declined->windowTitle(), "Digital Photos by VIN (" + vin + ")");
        QCOMPARE(declined->RowCount(), 2); // 3 / 4 + 1 = 1.75, rounded
        QTRY_COMPARE(agent.ui.boxes.size(), 1);
        QCOMPARE(agent.ui.boxes[0].text, "4 photos have been detected for this VIN.  Do you want "
                                         "to attach ALL of them now?");
        QCOMPARE(agent.lists.countOf("Photos"), qint16(0));
        declined.reset();
        QPointer<ImagePickerForm> accepted(agent.open("/photos")); // Yes
        QTRY_VERIFY(accepted.isNull());
        QCOMPARE(agent.lists.countOf("Photos"), qint16(4));
        QCOMPARE(agent.lists.captionOf("Photos", 1), "front");

        agent.setSetting("ImageAcqMethod", "1");
        std::unique_ptr<ImagePickerForm> storage(agent.open("/photos"));
        QCOMPARE(agent.ui.boxes.last().title, "Error locating images");
        QCOMPARE(storage->PhotoCount(), 0);
        QVERIFY(writeFileContents(agent.home.path() + "/CARD1.TXT",
                                  "Left \"front\" <door>\r\nit's dented" + QByteArray(80, 'x')));
        QCOMPARE(storageCaption(agent.home.path() + "/card1.jpg"),
                 "Left front [door]its dented" + QString(32, 'x'));
    }
};

QTEST_MAIN(TestPhotos)
#include "tst_photos.moc"
