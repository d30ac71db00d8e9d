// The four attachment lists: names and captions by number, and what the edits leave.

#include "automation/AttachmentLists.h"

#include <QTest>

using namespace tarnaxe;

namespace {

AttachmentLists withThreeOfEach()
{
    AttachmentLists lists;
    for (int i = 1; i <= 3; ++i) {
        const QString n = QString::number(i);
        lists.appendPhoto("/s/Img" + n + ".jpg", "photo " + n);
        lists.appendPrintDoc("/s/" + n + ".pdf", "doc " + n);
        lists.appendFile("/f/file" + n + ".txt");
        EstimateRecord record;
        record.envelopeFile = "/e/000" + n + ".ENV";
        lists.appendEstimate(record);
    }
    return lists;
}

// Every entry as "name=caption", list by list.
QString contents(const AttachmentLists& lists)
{
    QStringList out;
    for (const QString list : {"Photos", "PrintDocs", "Files", "Estimates"}) {
        QStringList entries;
        for (qint16 i = 1; i <= lists.countOf(list); ++i)
            entries << lists.nameOf(list, i) + '=' + lists.captionOf(list, i);
        out << list + ": " + entries.join(", ");
    }
    return out.join("; ");
}

} // namespace

class TestAttachmentLists : public QObject {
    Q_OBJECT

private slots:
    void numbersOutsideAListAnswerItsText_data()
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
        QTest::newRow("list in other case") << "photos" << 1 << "<bad>"
                                            << "<bad>";
        QTest::newRow("unknown list") << "Pictures" << 1 << "<bad>"
                                      << "<bad>";
    }
    void numbersOutsideAListAnswerItsText()
    {
        QFETCH(QString, list);
        QFETCH(int, number);
        QFETCH(QString, name);
        QFETCH(QString, caption);
        const AttachmentLists lists = withThreeOfEach();
        QCOMPARE(lists.nameOf(list, qint16(number)), name);
        QCOMPARE(lists.captionOf(list, qint16(number)), caption);
        QCOMPARE(lists.countOf(list), qint16(name == "<bad>" ? 0 : 3));
    }

    void editsChangeOnlyWhatTheyName()
    {
        AttachmentLists lists = withThreeOfEach();
        QCOMPARE(contents(lists),
                 "Photos: /s/Img1.jpg=photo 1, /s/Img2.jpg=photo 2, /s/Img3.jpg=photo 3; "
                 "PrintDocs: /s/1.pdf=doc 1, /s/2.pdf=doc 2, /s/3.pdf=doc 3; "
                 "Files: /f/file1.txt=, /f/file2.txt=, /f/file3.txt=; "
                 "Estimates: /e/0001.ENV=<bad>, /e/0002.ENV=<bad>, /e/0003.ENV=<bad>");
        lists.remove("Photos", 2);
        for (const qint16 outside : {0, 4, -3})
            lists.remove("PrintDocs", outside);
        lists.remove("Other", 1);
        lists.remove("Estimates", 1);
        lists.setCaptionOf("PrintDocs", 3, "Front bumper");
        lists.setCaptionOf("PrintDocs", 4, "lost");
        lists.setCaptionOf("Estimates", 1, "ignored");
        lists.remove("Files", 3);
        lists.zap("files");
        QCOMPARE(contents(lists),
                 "Photos: /s/Img1.jpg=photo 1, /s/Img3.jpg=photo 3; "
                 "PrintDocs: /s/1.pdf=doc 1, /s/2.pdf=doc 2, /s/3.pdf=Front bumper; "
                 "Files: /f/file1.txt=, /f/file2.txt=; "
                 "Estimates: /e/0002.ENV=<bad>, /e/0003.ENV=<bad>");
        lists.zap("Files");
        lists.zap("Estimates");
        QCOMPARE(contents(lists),
                 "Photos: /s/Img1.jpg=photo 1, /s/Img3.jpg=photo 3; "
                 "PrintDocs: /s/1.pdf=doc 1, /s/2.pdf=doc 2, /s/3.pdf=Front bumper; "
                 "Files: ; Estimates: ");
    }
};

QTEST_GUILESS_MAIN(TestAttachmentLists)
#include "tst_attachmentlists.moc"
