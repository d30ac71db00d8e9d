// Print capture with the scripted Ui: documents saved into the session folder, sent there
// by the redirected driver or dropped into a watched folder are taken in one per poll once
// their writer is done, checked against the size limit, offered and appended.

#include "platform/RegistryFile.h"
#include "printcapture/PdfCapture.h"
#include "support/FileContents.h"
#include "support/TestAgent.h"

#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

class TestPdfCapture : public QObject {
    Q_OBJECT

    std::unique_ptr<TestAgent> m_agent;
    std::unique_ptr<PdfCapture> m_capture;
    QString m_session;

    // A document written at the given minute of a fixed day, so that the order is known.
    bool write(const QString& path, const QByteArray& bytes, int minute)
    {
        QFile file(path);
        return writeFileContents(path, bytes) && file.open(QIODevice::Append) &&
               file.setFileTime(QDateTime(QDate(2026, 11, 2), QTime(9, minute)),
                                QFileDevice::FileModificationTime);
    }
    // What was attached after polls more polls, as "name|caption".
    QStringList polled(int polls)
    {
        for (int i = 0; i < polls; ++i)
            m_capture->poll();
        QStringList docs;
        for (const AttachedFile& doc : m_agent->lists.printDocs())
            docs << QFileInfo(doc.path).fileName() + '|' + doc.caption;
        return docs;
    }

private slots:
    void init()
    {
        m_agent = std::make_unique<TestAgent>();
        m_session = m_agent->home.path() + "/session";
        QDir().mkpath(m_session);
        m_agent->state.SessionPath = m_session;
        m_capture =
            std::make_unique<PdfCapture>(m_agent->settings, m_agent->state, m_agent->lists,
                                         m_agent->ui, m_agent->home.path() + "/registry.ini");
    }

    // One per poll, oldest first; one still open for writing waits; an empty one is
    // dropped; Cancel leaves the copy unattached. The limit holds for picked PDFs too.
    void documentsSavedIntoTheSession()
    {
        QVERIFY(!m_capture->enable({})); // no session yet
        m_agent->state.SessionReady = true;
        QVERIFY(m_capture->enable({}));
        QVERIFY(write(m_session + "/File2.pdf", "%PDF-second", 2));
        QVERIFY(write(m_session + "/File1.pdf", "%PDF-first", 1));
        QVERIFY(write(m_session + "/File0.pdf", "", 0));
        QFile open(m_session + "/File3.pdf");
        QVERIFY(open.open(QIODevice::WriteOnly) && open.write("%PDF-half") > 0);
        QCOMPARE(polled(5), (QStringList{"1.pdf|Document", "2.pdf|Document"}));
        QCOMPARE(fileContents(m_session + "/1.pdf"), "%PDF-first");
        QCOMPARE(m_agent->ui.boxes.size(), 2);
        open.close();
        m_agent->ui.boxAnswers << MessageAnswer::Cancel;
        QCOMPARE(polled(1).size(), 2);
        QCOMPARE(m_agent->ui.lastText(), "Printed document was received, attach to claim? ");
        QCOMPARE(fileContents(m_session + "/3.pdf"), "%PDF-half");

        m_agent->state.MaxKperPDF = 1;
        QVERIFY(writeFileContents(m_session + "/a.pdf", QByteArray(1024, 'x')));
        QVERIFY(writeFileContents(m_session + "/b.pdf", QByteArray(1025, 'x')));
        QVERIFY(m_capture->acceptDocument(m_session + "/a.pdf", "Manual Attachment", false));
        QVERIFY(!m_capture->acceptDocument(m_session + "/b.pdf", "Manual Attachment", false));
        QCOMPARE(m_agent->ui.lastText(), "The printed document you selected to attach\r\nis larger "
                                         "than 1K.  This file is too\r\nlarge to be transmitted.");
        QCOMPARE(polled(0).size(), 3);
    }

    // The redirected driver's documents, never a link planted among them; the redirection
    // goes with disable. A watched folder: what was there at enable stays, what comes later
    // is taken and leaves the folder.
    void redirectedDriverAndWatchedFolder()
    {
        const QString watched = m_agent->home.path() + "/scans";
        QVERIFY(write(watched + "/before.PDF", "%PDF-old", 1));
        m_agent->setSetting("PDFDriver", "1");
        m_agent->setSetting("MonitorPDFPath", "1");
        m_agent->setSetting("PDFSourcePath1", watched);
        m_agent->setSetting("PDFSourcePath2", watched + "/before.PDF");
        m_agent->settings.load();
        m_agent->state.SessionReady = true;
        QVERIFY(m_capture->enable({}));
        RegistryFile registry(m_agent->home.path() + "/registry.ini");
        QCOMPARE(registry.value(kRedirectRoot, kRedirectKey, kRedirectValue)->text,
                 m_session + "/File%.xdf");
        const QString elsewhere = m_agent->home.path() + "/secret.pdf";
        QVERIFY(writeFileContents(elsewhere, "secret"));
        QVERIFY(QFile::link(elsewhere, m_session + "/File0.xdf"));
        QVERIFY(write(m_session + "/File7.xdf", "%PDF-printed", 7));
        QVERIFY(write(watched + "/after.pdf", "%PDF-new", 5));
        QVERIFY(write(watched + "/later.pdf", "%PDF-later", 6));
        QCOMPARE(polled(4), (QStringList{"1.pdf|Document", "2.pdf|Document", "3.pdf|Document"}));
        QCOMPARE(fileContents(m_session + "/1.pdf") + fileContents(m_session + "/2.pdf") +
                     fileContents(m_session + "/3.pdf"),
                 "%PDF-new%PDF-later%PDF-printed");
        QCOMPARE(fileContents(elsewhere), "secret");
        QCOMPARE(folderEntries(watched), QStringList{"before.PDF"});
        m_capture->disable();
        QVERIFY(!RegistryFile(m_agent->home.path() + "/registry.ini")
                     .value(kRedirectRoot, kRedirectKey, kRedirectValue));
    }
};

QTEST_GUILESS_MAIN(TestPdfCapture)
#include "tst_pdfcapture.moc"
