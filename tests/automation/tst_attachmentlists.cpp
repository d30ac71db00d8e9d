#include "automation/AttachmentLists.h"

#include <QTest>

using namespace tarnaxe;

class TestAttachmentLists : public QObject {
    Q_OBJECT

private:
    static AttachmentLists withThreeOfEach()
    {
        AttachmentLists lists;
        for (int i = 1; i <= 3; ++i) {
            const QString n = QString::number(i);
            lists.appendPhoto(QStringLiteral("/s/Img") + n + QStringLiteral(".jpg"),
                              QStringLiteral("photo ") + n);
            lists.appendPrintDoc(QStringLiteral("/s/") + n + QStringLiteral(".pdf"),
                                 QStringLiteral("doc ") + n);
            lists.appendFile(QStringLiteral("/f/file") + n + QStringLiteral(".txt"));
            EstimateRecord record;
            record.envelopeFile = QStringLiteral("/e/000") + n + QStringLiteral(".ENV");
            lists.appendEstimate(record);
        }
        return lists;
    }

private slots:
    void outOfRangeTexts_data()
    {
        QTest::addColumn<QString>("list");
        QTest::addColumn<int>("number");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("caption");
        QTest::newRow("photo 0") << "Photos" << 0 << "<bad photo number>"
                                 << "<bad photo number>";
        QTest::newRow("photo 4") << "Photos" << 4 << "<bad photo number>"
                                 << "<bad photo number>";
        QTest::newRow("photo -1") << "Photos" << -1 << "<bad photo number>"
                                  << "<bad photo number>";
        QTest::newRow("doc 4") << "PrintDocs" << 4 << "<bad print doc number>"
                               << "<bad print doc number>";
        QTest::newRow("file 0") << "Files" << 0 << "<bad file attach number>"
                                << "<bad file attach number>";
        QTest::newRow("estimate 4") << "Estimates" << 4 << "<bad estimate number>"
                                    << "<bad>";
        QTest::newRow("estimate in range") << "Estimates" << 2 << "/e/0002.ENV"
                                           << "<bad>";
        QTest::newRow("wrong case") << "photos" << 1 << "<bad>"
                                    << "<bad>";
        QTest::newRow("unknown") << "Pictures" << 1 << "<bad>"
                                 << "<bad>";
        QTest::newRow("photo in range") << "Photos" << 3 << "/s/Img3.jpg"
                                        << "photo 3";
        QTest::newRow("file in range") << "Files" << 1 << "/f/file1.txt"
                                       << "";
    }
    void outOfRangeTexts()
    {
        QFETCH(QString, list);
        QFETCH(int, number);
        QFETCH(QString, name);
        QFETCH(QString, caption);
        const AttachmentLists lists = withThreeOfEach();
        QCOMPARE(lists.nameOf(list, qint16(number)), name);
        QCOMPARE(lists.captionOf(list, qint16(number)), caption);
    }

    void countsAreCaseSensitive()
    {
        const AttachmentLists lists = withThreeOfEach();
        QCOMPARE(lists.countOf(QStringLiteral("Photos")), qint16(3));
        QCOMPARE(lists.countOf(QStringLiteral("Estimates")), qint16(3));
        QCOMPARE(lists.countOf(QStringLiteral("photos")), qint16(0));
        QCOMPARE(lists.countOf(QStringLiteral("FILES")), qint16(0));
    }

    void zapEmptiesOnlyTheNamedList()
    {
        AttachmentLists lists = withThreeOfEach();
        lists.zap(QStringLiteral("Files"));
        QCOMPARE(lists.countOf(QStringLiteral("Files")), qint16(0));
        QCOMPARE(lists.nameOf(QStringLiteral("Files"), 1),
                 QStringLiteral("<bad file attach number>"));
        QCOMPARE(lists.countOf(QStringLiteral("Photos")), qint16(3));
        lists.zap(QStringLiteral("files"));
        lists.zap(QStringLiteral("Estimates"));
        QCOMPARE(lists.countOf(QStringLiteral("Estimates")), qint16(0));
        QCOMPARE(lists.countOf(QStringLiteral("PrintDocs")), qint16(3));
    }

    void removeKeepsOrderAndCaptions()
    {
        AttachmentLists lists = withThreeOfEach();
        lists.remove(QStringLiteral("Photos"), 2);
        QCOMPARE(lists.countOf(QStringLiteral("Photos")), qint16(2));
        QCOMPARE(lists.nameOf(QStringLiteral("Photos"), 1), QStringLiteral("/s/Img1.jpg"));
        QCOMPARE(lists.captionOf(QStringLiteral("Photos"), 1), QStringLiteral("photo 1"));
        QCOMPARE(lists.nameOf(QStringLiteral("Photos"), 2), QStringLiteral("/s/Img3.jpg"));
        QCOMPARE(lists.captionOf(QStringLiteral("Photos"), 2), QStringLiteral("photo 3"));

        lists.remove(QStringLiteral("Estimates"), 1);
        QCOMPARE(lists.nameOf(QStringLiteral("Estimates"), 1), QStringLiteral("/e/0002.ENV"));
        QCOMPARE(lists.countOf(QStringLiteral("Estimates")), qint16(2));
    }

    void removeOutOfRangeChangesNothing()
    {
        AttachmentLists lists = withThreeOfEach();
        for (qint16 n : {qint16(0), qint16(4), qint16(9), qint16(-3)})
            lists.remove(QStringLiteral("Photos"), n);
        lists.remove(QStringLiteral("Other"), 1);
        QCOMPARE(lists.countOf(QStringLiteral("Photos")), qint16(3));
        QCOMPARE(lists.nameOf(QStringLiteral("Photos"), 3), QStringLiteral("/s/Img3.jpg"));
    }

    void captionsCanBeEditedExceptForEstimates()
    {
        AttachmentLists lists = withThreeOfEach();
        lists.setCaptionOf(QStringLiteral("PrintDocs"), 2, QStringLiteral("Front bumper"));
        QCOMPARE(lists.captionOf(QStringLiteral("PrintDocs"), 2), QStringLiteral("Front bumper"));
        lists.setCaptionOf(QStringLiteral("PrintDocs"), 7, QStringLiteral("lost"));
        QCOMPARE(lists.captionOf(QStringLiteral("PrintDocs"), 3), QStringLiteral("doc 3"));
        lists.setCaptionOf(QStringLiteral("Estimates"), 1, QStringLiteral("ignored"));
        QCOMPARE(lists.captionOf(QStringLiteral("Estimates"), 1), QStringLiteral("<bad>"));
    }
};

QTEST_GUILESS_MAIN(TestAttachmentLists)
#include "tst_attachmentlists.moc"
