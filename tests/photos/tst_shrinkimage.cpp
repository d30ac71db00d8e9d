// The add-photo operation: which photos are copied byte for byte and which are reduced,
// to what size, upright; and what hostile files get, through SelectFile with the real
// photo subsystem.

#include "automation/IO.h"
#include "photos/SessionPhotos.h"
#include "photos/ShrinkImage.h"
#include "support/FileContents.h"
#include "support/TestAgent.h"
#include "support/TestPhotos.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

namespace {

QSize shownSize(const QString& path)
{
    QImageReader reader(path);
    reader.setAutoTransform(true);
    return reader.read().size();
}

bool isRed(QRgb pixel)
{
    return qRed(pixel) > 200 && qGreen(pixel) < 60 && qBlue(pixel) < 60;
}

} // namespace

class TestShrinkImage : public QObject {
    Q_OBJECT

private slots:
    void sizes_data()
    {
        QTest::addColumn<QSize>("source");
        QTest::addColumn<QSize>("result");
        QTest::addColumn<bool>("copied");
        QTest::newRow("640 wide: copied") << QSize(640, 480) << QSize(640, 480) << true;
        QTest::newRow("480 x 2000 portrait: copied")
            << QSize(480, 2000) << QSize(480, 2000) << true;
        QTest::newRow("1280 x 960") << QSize(1280, 960) << QSize(640, 480) << false;
        QTest::newRow("1000 x 333") << QSize(1000, 333) << QSize(640, 213) << false;
        QTest::newRow("641 wide: written anew") << QSize(641, 481) << QSize(640, 480) << false;
    }
    void sizes()
    {
        QFETCH(QSize, source);
        QFETCH(QSize, result);
        QFETCH(bool, copied);
        const QString in = m_dir.filePath(QStringLiteral("in.jpg"));
        const QString out = m_dir.filePath(QStringLiteral("out.jpg"));
        QVERIFY(writePhoto(in, source));
        QCOMPARE(ShrinkImage(in, out, kPhotoWidthLimit), QString());
        QCOMPARE(shownSize(out), result);
        QCOMPARE(fileContents(out) == fileContents(in), copied);
        QCOMPARE(QDir(m_dir.path()).entryList(QDir::Files).size(), 2); // no leftovers
    }

    // A phone holds the camera upright and records "turn 90 degrees clockwise to show".
    void exifOrientationComesOutUpright()
    {
        const QString in = m_dir.filePath(QStringLiteral("phone.jpg"));
        const QString out = m_dir.filePath(QStringLiteral("phone-out.jpg"));
        QVERIFY(writePhoto(in, QSize(1600, 1200), 6));
        QCOMPARE(ShrinkImage(in, out, kPhotoWidthLimit), QString());
        // Written upright, without a tag that a viewer would apply a second time.
        QImageReader reader(out);
        QCOMPARE(reader.transformation(), QImageIOHandler::TransformationNone);
        const QImage image = reader.read();
        QCOMPARE(image.size(), QSize(640, 853));
        // The stored top-left corner shows at the top right.
        QVERIFY(isRed(image.pixel(image.width() - 20, 20)));
        QVERIFY(!isRed(image.pixel(20, 20)));

        // Shown 480 wide: within the limit, so copied as it is, tag and all.
        QVERIFY(writePhoto(in, QSize(640, 480), 6));
        QCOMPARE(ShrinkImage(in, out, kPhotoWidthLimit), QString());
        QCOMPARE(fileContents(out), fileContents(in));
    }

    // Bad files among good ones: each bad one is named in its own message and the good
    // ones are attached, in order.
    void hostileFilesThroughSelectFile()
    {
        TestAgent agent;
        SessionPhotos photos(agent.state, agent.lists);
        agent.context.services.photos = &photos;
        IO io(agent.context);
        io.Init();
        QVERIFY(agent.state.SessionReady);
        const QString folder = agent.home.path() + QStringLiteral("/pick");
        QVERIFY(QDir().mkpath(folder + QStringLiteral("/folder.jpg")));
        const QByteArray good = photoJpeg(QSize(1280, 960));
        // A small photo whose frame header claims 50,000 x 50,000.
        QByteArray huge = photoJpeg(QSize(64, 48));
        const qsizetype frame = huge.indexOf(QByteArray("\xFF\xC0", 2));
        QVERIFY(frame > 0);
        huge.replace(frame + 5, 4, QByteArray("\xC3\x50\xC3\x50", 4));
        QImage png(800, 600, QImage::Format_RGB32);
        png.fill(Qt::blue);
        QVERIFY(png.save(folder + QStringLiteral("/png.jpg"), "PNG"));
        const QList<std::pair<QString, QByteArray>> files{
            {QStringLiteral("a.jpg"), good},
            {QStringLiteral("truncated.jpg"), good.left(good.size() / 2)},
            {QStringLiteral("huge.jpg"), huge},
            {QStringLiteral("empty.jpg"), QByteArray()},
            {QStringLiteral("B.JPG"), photoJpeg(QSize(600, 400))}};
        for (const auto& [name, bytes] : files)
            QVERIFY(writeFileContents(folder + QLatin1Char('/') + name, bytes));
        const QChar nul(0);
        agent.ui.fileAnswers.enqueue(QStringList{folder, "a.jpg", "truncated.jpg", "png.jpg",
                                                 "huge.jpg", "empty.jpg", "folder.jpg", "gone.jpg",
                                                 "B.JPG"}
                                         .join(nul));
        QVERIFY(io.SelectFile());

        QCOMPARE(agent.lists.countOf(QStringLiteral("Photos")), qint16(2));
        const QString first = agent.lists.nameOf(QStringLiteral("Photos"), 1);
        QCOMPARE(first, agent.state.SessionPath + QStringLiteral("/Img1.jpg"));
        QCOMPARE(shownSize(first), QSize(640, 480));
        QCOMPARE(agent.lists.nameOf(QStringLiteral("Photos"), 2),
                 agent.state.SessionPath + QStringLiteral("/Img2.jpg"));
        QStringList messages;
        for (const auto& box : std::as_const(agent.ui.boxes))
            messages << box.text;
        const QString named = QStringLiteral("The photo ") + folder;
        QCOMPARE(messages,
                 (QStringList{named + "/truncated.jpg was not attached: the file is incomplete "
                                      "(it ends before its picture does).",
                              named + "/png.jpg was not attached: it is not a JPEG picture but "
                                      "a PNG picture.",
                              named + "/huge.jpg was not attached: its picture is too large to "
                                      "be a photo (50000 x 50000 pixels).",
                              named + "/empty.jpg was not attached: it is empty.",
                              named + "/folder.jpg was not attached: it is a folder, not a file.",
                              named + "/gone.jpg was not attached: the file no longer exists.",
                              "2 files attached."}));
        // Nothing half-written is left in the session folder.
        QCOMPARE(QDir(agent.state.SessionPath).entryList(QDir::Files | QDir::Hidden),
                 (QStringList{"Img1.jpg", "Img2.jpg"}));
    }

private:
    QTemporaryDir m_dir;
};

QTEST_MAIN(TestShrinkImage)
#include "tst_shrinkimage.moc"
