// Print capture where the CUPS road (e2e.tst_agentprint) cannot go: several documents, one
// per poll, oldest first, none overwritten; one still written, an empty one, a link; a folder.

#include "platform/RegistryFile.h"
#include "printcapture/PdfCapture.h"
#include "support/FileContents.h"
#include "support/TestAgent.h"

#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

class TestPdfCapture : public QObject {
    Q_OBJECT

private slots:
    void capture()
    {
        TestAgent agent;
        const QString session = agent.home.path() + "/session",
                      scans = agent.home.path() + "/scans";
        const QString registry = agent.home.path() + "/registry.ini";
        // A document written at the given minute of a fixed day, so that the order is known.
        const auto write = [](const QString& path, const QByteArray& bytes, int minute) {
            QFile file(path);
            return writeFileContents(path, bytes) && file.open(QIODevice::Append) &&
                   file.setFileTime(QDateTime(QDate(2026, 11, 2), QTime(9, minute)),
                                    QFileDevice::FileModificationTime);
        };
        QVERIFY(QDir().mkpath(session) && write(scans + "/before.PDF", "%PDF-old", 1));
        agent.setSetting("PDFDriver", "1");
        agent.setSetting("MonitorPDFPath", "1");
        agent.setSetting("PDFSourcePath2", scans);
        agent.settings.load();
        agent.state.SessionPath = session;
        PdfCapture capture(agent.settings, agent.state, agent.lists, agent.ui, registry);
        QVERIFY(!capture.enable({})); // no session yet
        agent.state.SessionReady = true;
        QVERIFY(capture.enable({}));
        QCOMPARE(RegistryFile(registry).value(kRedirectRoot, kRedirectKey, kRedirectValue)->text,
                 session + "/File%.xdf");
        QVERIFY(writeFileContents(agent.home.path() + "/secret.pdf", "secret"));
        QVERIFY(QFile::link(agent.home.path() + "/secret.pdf", session + "/File9.xdf"));
        QVERIFY(write(session + "/File2.xdf", "%PDF-second", 2) &&
                write(session + "/File1.xdf", "%PDF-first", 1) &&
                write(session + "/File0.xdf", "", 0));
        QVERIFY(write(scans + "/after.pdf", "%PDF-new", 5) &&
                write(scans + "/later.pdf", "%PDF-later", 6));
        QFile open(session + "/File3.xdf");
        QVERIFY(open.open(QIODevice::WriteOnly) && open.write("%PDF-half") > 0);
        for (int i = 0; i < 7; ++i)
            capture.poll();
        open.close();
        agent.ui.boxAnswers << MessageAnswer::Cancel; // the copy stays, unattached
        capture.poll();
        QStringList docs;
        for (const AttachedFile& doc : agent.lists.printDocs())
            docs << fileContents(doc.path) + '|' + doc.caption;
        QCOMPARE(docs, (QStringList{"%PDF-new|Document", "%PDF-later|Document",
                                    "%PDF-first|Document", "%PDF-second|Document"}));
        QCOMPARE(fileContents(session + "/5.pdf"), "%PDF-half");
        QCOMPARE(fileContents(agent.home.path() + "/secret.pdf"), "secret");
        QCOMPARE(folderEntries(scans), QStringList{"before.PDF"});
        capture.disable();
        QVERIFY(!RegistryFile(registry).value(kRedirectRoot, kRedirectKey, kRedirectValue));
    }
};

QTEST_GUILESS_MAIN(TestPdfCapture)
#include "tst_pdfcapture.moc"
