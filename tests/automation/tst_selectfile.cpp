// Attaching files by hand: the dialog, the routing by extension, the size limit and the
// notices.

#include "automation/IO.h"
#include "automation/ManualAttach.h"
#include "support/Fakes.h"
#include "support/TestAgent.h"

#include <QDir>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

class TestSelectFile : public QObject {
    Q_OBJECT

private slots:
    void dialogAndNotices()
    {
        TestAgent agent;
        IO io(agent.context);
        QVERIFY(io.SelectFile());
        QCOMPARE(agent.ui.lastText(), "Attachment Error: Cancel was selected.");
        QCOMPARE(agent.ui.boxes.last().title, "Error");
        QCOMPARE(agent.ui.boxes.last().icon, MessageIcon::Critical);

        const QString file = agent.makeFile("docs/notes.txt", 10);
        agent.ui.fileAnswers.enqueue(file);
        QVERIFY(io.SelectFile());
        QCOMPARE(agent.ui.fileDialogs[1].title, "Select File(s) to Attach");
        QCOMPARE(agent.ui.fileDialogs[1].filter, "All Files (*.*)|*.*");
        QCOMPARE(agent.lists.nameOf("Files", 1), file);
        QCOMPARE(agent.ui.lastText(), "1 files attached.");
        QCOMPARE(agent.ui.boxes.last().title, "Files Attached");
        QCOMPARE(agent.ui.boxes.last().icon, MessageIcon::Information);
        // Opens at home, then where the user chose last; never in the agent's working folder.
        QVERIFY(io.SelectFile());
        QCOMPARE(agent.ui.fileDialogs[0].folder, QDir::homePath());
        QCOMPARE(agent.ui.fileDialogs[2].folder, agent.home.path() + "/docs");
    }

    void sizeLimit_data()
    {
        QTest::addColumn<int>("maxKperPDF");
        QTest::addColumn<qint64>("size");
        QTest::addColumn<bool>("attached");
        QTest::newRow("3,000,000 at 500") << 500 << qint64(3000000) << true;
        QTest::newRow("3,000,001 at 500") << 500 << qint64(3000001) << false;
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
        const QString file = agent.makeFile("in/photo.jpeg", size);
        agent.ui.fileAnswers.enqueue(file);
        QVERIFY(io.SelectFile());
        QCOMPARE(agent.lists.countOf("Files"), qint16(attached ? 1 : 0));
        if (!attached) {
            QCOMPARE(agent.ui.boxes.size(), 2);
            QCOMPARE(agent.ui.boxes[0].text, "File too large (" + file + ')');
            QCOMPARE(agent.ui.boxes[0].title, "Cannot Attach File");
            QCOMPARE(agent.ui.lastText(), "No files were attached.");
            QCOMPARE(agent.ui.boxes[1].title, "No Files Attached");
        }
    }

    void severalFilesAreRoutedByExtension()
    {
        TestAgent agent;
        FakePhotoIntake photos;
        FakePrintCapture capture;
        agent.context.services.photos = &photos;
        agent.context.services.printCapture = &capture;
        IO io(agent.context);
        const QString folder = agent.home.path() + "/pick";
        for (const char* name : {"front.JPG", "estimate.pdf", "rejected.PDF", "list.xls"})
            agent.makeFile(QStringLiteral("pick/") + name, 100);
        const QChar nul(0);
        agent.ui.fileAnswers.enqueue(folder + nul + "front.JPG" + nul + "estimate.pdf" + nul +
                                     "list.xls");
        QVERIFY(io.SelectFile());
        QCOMPARE(photos.added, QStringList{folder + "/front.JPG"});
        QCOMPARE(capture.accepted, QStringList{folder + "/estimate.pdf|Manual Attachment"});
        QCOMPARE(agent.lists.countOf("Files"), qint16(1));
        QCOMPARE(agent.lists.nameOf("Files", 1), folder + "/list.xls");
        QCOMPARE(agent.ui.lastText(), "3 files attached.");

        // A document that print capture turns down does not count.
        capture.accept = false;
        agent.ui.fileAnswers.enqueue(folder + "/rejected.PDF");
        QVERIFY(io.SelectFile());
        QCOMPARE(agent.ui.lastText(), "No files were attached.");
    }

    void aFailureKeepsWhatWasAttachedBefore()
    {
        TestAgent agent; // no photo subsystem in this build
        IO io(agent.context);
        const QString folder = agent.home.path() + "/pick";
        agent.makeFile("pick/a.txt", 5);
        agent.makeFile("pick/b.jpg", 5);
        const QChar nul(0);
        agent.ui.fileAnswers.enqueue(folder + nul + "a.txt" + nul + "b.jpg");
        QVERIFY(io.SelectFile());
        QCOMPARE(agent.lists.countOf("Files"), qint16(1));
        QCOMPARE(agent.ui.lastText(), "Attachment Error: Object doesn't support this action");

        agent.ui.fileAnswers.enqueue(folder + "/gone.txt");
        QVERIFY(io.SelectFile());
        QVERIFY(agent.ui.lastText().startsWith("Attachment Error: File not found"));
    }

    void chosenFilesAreParsed()
    {
        const QChar nul(0);
        QCOMPARE(parseChosenFiles("  /a/b.txt "), QStringList{"/a/b.txt"});
        QCOMPARE(parseChosenFiles(QString()), QStringList());
        QCOMPARE(parseChosenFiles("/a/" + QString(nul) + "x" + nul + "y"),
                 (QStringList{"/a/x", "/a/y"}));
        // A folder ending in the Windows separator gets no second one.
        QCOMPARE(parseChosenFiles("/in\\" + QString(nul) + "x"), QStringList{"/in/x"});
    }
};

QTEST_GUILESS_MAIN(TestSelectFile)
#include "tst_selectfile.moc"
