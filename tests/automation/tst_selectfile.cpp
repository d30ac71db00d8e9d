// Attaching files by hand: the dialog, the routing by extension, the size limit and the
// notices.

#include "automation/IO.h"
#include "automation/ManualAttach.h"
#include "support/Fakes.h"
#include "support/TestAgent.h"

#include <QDir>
#include <QFileInfo>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

class TestSelectFile : public QObject {
    Q_OBJECT

private slots:
    void dialogIsAskedForAnyFile()
    {
        TestAgent agent;
        IO io(agent.context);
        const QString file = agent.makeFile(QStringLiteral("docs/notes.txt"), 10);
        agent.ui.fileAnswers.enqueue(file);
        QVERIFY(io.SelectFile());
        QCOMPARE(agent.ui.fileDialogs.size(), 1);
        QCOMPARE(agent.ui.fileDialogs[0].title, QStringLiteral("Select File(s) to Attach"));
        QCOMPARE(agent.ui.fileDialogs[0].filter, QStringLiteral("All Files (*.*)|*.*"));
        QCOMPARE(agent.lists.nameOf(QStringLiteral("Files"), 1), file);
        QCOMPARE(agent.lists.captionOf(QStringLiteral("Files"), 1), QString());
        QCOMPARE(agent.ui.lastText(), QStringLiteral("1 files attached."));
        QCOMPARE(agent.ui.boxes.last().title, QStringLiteral("Files Attached"));
        QCOMPARE(agent.ui.boxes.last().icon, MessageIcon::Information);

        // Opens at home, then where the user chose last; never in the agent's working folder.
        QVERIFY(io.SelectFile());
        QCOMPARE(agent.ui.fileDialogs[0].folder, QDir::homePath());
        QCOMPARE(agent.ui.fileDialogs[1].folder, QFileInfo(file).absolutePath());
    }

    void cancelIsAnAttachmentError()
    {
        TestAgent agent;
        IO io(agent.context);
        QVERIFY(io.SelectFile());
        QCOMPARE(agent.ui.boxes.size(), 1);
        QCOMPARE(agent.ui.lastText(), QStringLiteral("Attachment Error: Cancel was selected."));
        QCOMPARE(agent.ui.boxes.last().title, QStringLiteral("Error"));
        QCOMPARE(agent.ui.boxes.last().icon, MessageIcon::Critical);
    }

    void sizeLimit_data()
    {
        QTest::addColumn<int>("maxKperPDF");
        QTest::addColumn<qint64>("size");
        QTest::addColumn<bool>("attached");
        QTest::newRow("3,000,000 at 500") << 500 << qint64(3000000) << true;
        QTest::newRow("3,000,001 at 500") << 500 << qint64(3000001) << false;
        QTest::newRow("3,000,001 at 4000") << 4000 << qint64(3000001) << true;
        QTest::newRow("4,096,000 at 4000") << 4000 << qint64(4096000) << true;
        QTest::newRow("4,096,001 at 4000") << 4000 << qint64(4096001) << false;
        QTest::newRow("empty file") << 500 << qint64(0) << true;
    }
    void sizeLimit()
    {
        QFETCH(int, maxKperPDF);
        QFETCH(qint64, size);
        QFETCH(bool, attached);
        TestAgent agent;
        IO io(agent.context);
        io.setMaxKperPDF(maxKperPDF);
        // "photo.jpeg" is no photo: only "JPG" endings are.
        const QString file = agent.makeFile(QStringLiteral("in/photo.jpeg"), size);
        agent.ui.fileAnswers.enqueue(file);
        QVERIFY(io.SelectFile());
        QCOMPARE(agent.lists.countOf(QStringLiteral("Files")), qint16(attached ? 1 : 0));
        if (attached) {
            QCOMPARE(agent.ui.lastText(), QStringLiteral("1 files attached."));
        } else {
            QCOMPARE(agent.ui.boxes.size(), 2);
            QCOMPARE(agent.ui.boxes[0].text,
                     QStringLiteral("File too large (") + file + QLatin1Char(')'));
            QCOMPARE(agent.ui.boxes[0].title, QStringLiteral("Cannot Attach File"));
            QCOMPARE(agent.ui.boxes[1].text, QStringLiteral("No files were attached."));
            QCOMPARE(agent.ui.boxes[1].title, QStringLiteral("No Files Attached"));
        }
    }

    void routingByExtensionAndSeveralFiles()
    {
        TestAgent agent;
        FakePhotoIntake photos;
        FakePrintCapture capture;
        agent.context.services.photos = &photos;
        agent.context.services.printCapture = &capture;
        IO io(agent.context);
        const QString folder = agent.home.path() + QStringLiteral("/pick");
        agent.makeFile(QStringLiteral("pick/front.JPG"), 100);
        agent.makeFile(QStringLiteral("pick/estimate.pdf"), 100);
        agent.makeFile(QStringLiteral("pick/rejected.PDF"), 100);
        agent.makeFile(QStringLiteral("pick/list.xls"), 100);
        capture.accept = true;
        const QChar nul(0);
        agent.ui.fileAnswers.enqueue(folder + nul + QStringLiteral("front.JPG") + nul +
                                     QStringLiteral("estimate.pdf") + nul +
                                     QStringLiteral("list.xls"));
        QVERIFY(io.SelectFile());
        QCOMPARE(photos.added, QStringList{folder + QStringLiteral("/front.JPG")});
        QCOMPARE(capture.accepted,
                 QStringList{folder + QStringLiteral("/estimate.pdf|Manual Attachment")});
        QCOMPARE(agent.lists.nameOf(QStringLiteral("Files"), 1),
                 folder + QStringLiteral("/list.xls"));
        QCOMPARE(agent.ui.lastText(), QStringLiteral("3 files attached."));

        // A document that print capture turns down does not count.
        capture.accept = false;
        agent.ui.fileAnswers.enqueue(folder + QStringLiteral("/rejected.PDF"));
        QVERIFY(io.SelectFile());
        QCOMPARE(agent.ui.lastText(), QStringLiteral("No files were attached."));
    }

    void aFailureKeepsWhatWasAttachedBefore()
    {
        TestAgent agent; // no photo subsystem in this build
        IO io(agent.context);
        const QString folder = agent.home.path() + QStringLiteral("/pick");
        agent.makeFile(QStringLiteral("pick/a.txt"), 5);
        agent.makeFile(QStringLiteral("pick/b.jpg"), 5);
        const QChar nul(0);
        agent.ui.fileAnswers.enqueue(folder + nul + QStringLiteral("a.txt") + nul +
                                     QStringLiteral("b.jpg"));
        QVERIFY(io.SelectFile());
        QCOMPARE(agent.lists.countOf(QStringLiteral("Files")), qint16(1));
        QCOMPARE(agent.ui.lastText(),
                 QStringLiteral("Attachment Error: Object doesn't support this action"));

        agent.ui.fileAnswers.enqueue(folder + QStringLiteral("/gone.txt"));
        QVERIFY(io.SelectFile());
        QVERIFY(agent.ui.lastText().startsWith(QStringLiteral("Attachment Error: File not found")));
    }

    void chosenFileParsing()
    {
        const QChar nul(0);
        QCOMPARE(parseChosenFiles(QStringLiteral("  /a/b.txt ")),
                 QStringList{QStringLiteral("/a/b.txt")});
        QCOMPARE(parseChosenFiles(QString()), QStringList());
        QCOMPARE(parseChosenFiles(QStringLiteral("/a/") + nul + QStringLiteral("x") + nul +
                                  QStringLiteral("y")),
                 (QStringList{QStringLiteral("/a/x"), QStringLiteral("/a/y")}));
        // A folder ending in the Windows separator gets no second one.
        QCOMPARE(parseChosenFiles(QStringLiteral("/in\\") + nul + QStringLiteral("x")),
                 QStringList{QStringLiteral("/in/x")});
        QCOMPARE(fileSizeLimit(500), qint64(3000000));
        QCOMPARE(fileSizeLimit(25999), qint64(25999) * 1024);
    }
};

QTEST_GUILESS_MAIN(TestSelectFile)
#include "tst_selectfile.moc"
