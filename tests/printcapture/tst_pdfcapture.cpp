// Print capture with the scripted Ui: documents saved into the session folder, sent there
// by the redirected driver or dropped into a watched folder are taken in one per poll once
// their writer is done, checked against the size limit, offered and appended.

#include "automation/AttachmentLists.h"
#include "config/RegistryHelpers.h"
#include "printcapture/PdfCapture.h"
#include "support/FileContents.h"
#include "support/TestAgent.h"

#include <QDir>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

namespace {

// A document written at the given minute of a fixed day, so that the order is known.
void writeDocument(const QString& path, const QByteArray& bytes, int minute)
{
    QVERIFY(writeFileContents(path, bytes));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(QDateTime(QDate(2026, 11, 2), QTime(9, minute)),
                             QFileDevice::FileModificationTime));
}

const QString kQuestion = QStringLiteral("Printed document was received, attach to claim? ");

} // namespace

class TestPdfCapture : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<TestAgent> m_agent;
    std::unique_ptr<PdfCapture> m_capture;
    QString m_session;

    QStringList printDocs() const
    {
        QStringList docs;
        for (const AttachedFile& doc : m_agent->lists.printDocs())
            docs << QFileInfo(doc.path).fileName() + QLatin1Char('|') + doc.caption;
        return docs;
    }

private slots:
    void init()
    {
        m_agent = std::make_unique<TestAgent>();
        m_session = m_agent->home.path() + QStringLiteral("/session");
        QDir().mkpath(m_session);
        m_agent->state.SessionPath = m_session;
        m_capture =
            std::make_unique<PdfCapture>(m_agent->settings, m_agent->state, m_agent->lists,
                                         m_agent->ui, m_agent->home.path() + "/registry.ini");
    }

    // Saved into the session folder: one per poll, oldest first; one still open for
    // writing waits; an empty one is dropped; Cancel leaves the copy unattached.
    void documentsSavedIntoTheSession()
    {
        QVERIFY(!m_capture->enable({})); // no session yet
        m_agent->state.SessionReady = true;
        QVERIFY(m_capture->enable({}));
        writeDocument(m_session + "/File2.pdf", "%PDF-second", 2);
        writeDocument(m_session + "/File1.pdf", "%PDF-first", 1);
        QFile open(m_session + "/File3.pdf");
        QVERIFY(open.open(QIODevice::WriteOnly) && open.write("%PDF-half") > 0);
        writeDocument(m_session + "/File0.pdf", "", 0);

        for (int poll = 0; poll < 5; ++poll)
            m_capture->poll();
        QCOMPARE(printDocs(), (QStringList{"1.pdf|Document", "2.pdf|Document"}));
        QCOMPARE(fileContents(m_session + "/1.pdf"), QByteArray("%PDF-first"));
        QVERIFY(!QFile::exists(m_session + "/File1.pdf") &&
                QFile::exists(m_session + "/File3.pdf"));
        QCOMPARE(m_agent->ui.boxes.size(), 2);

        open.close();
        m_agent->ui.boxAnswers << MessageAnswer::Cancel;
        m_capture->poll();
        QCOMPARE(m_agent->ui.lastText(), kQuestion);
        QCOMPARE(m_agent->ui.boxes.last().buttons, MessageButtons::OkCancel);
        QCOMPARE(printDocs().size(), 2);
        QCOMPARE(fileContents(m_session + "/3.pdf"), QByteArray("%PDF-half"));
    }

    // The limit is MaxKperPDF kilobytes, inclusive, for picked PDFs too.
    void sizeLimit()
    {
        m_agent->state.MaxKperPDF = 1;
        QVERIFY(writeFileContents(m_session + "/a.pdf", QByteArray(1024, 'x')));
        QVERIFY(writeFileContents(m_session + "/b.pdf", QByteArray(1025, 'x')));
        QVERIFY(m_capture->acceptDocument(m_session + "/a.pdf", "Manual Attachment", false));
        QVERIFY(!m_capture->acceptDocument(m_session + "/b.pdf", "Manual Attachment", false));
        QCOMPARE(m_agent->ui.lastText(), QStringLiteral("The printed document you selected to "
                                                        "attach\r\nis larger than 1K.  This file "
                                                        "is too\r\nlarge to be transmitted."));
        QVERIFY(m_agent->ui.boxes.last().systemModal);
        QCOMPARE(printDocs(), QStringList{"a.pdf|Manual Attachment"});
    }

    // The redirected driver: its documents, never a planted link; the redirection goes at
    // the end.
    void redirectedDriver()
    {
        m_agent->setSetting(QStringLiteral("PDFDriver"), QStringLiteral("1"));
        m_agent->settings.load();
        m_agent->state.SessionReady = true;
        QVERIFY(m_capture->enable({}));
        RegistryFile registry(m_agent->home.path() + "/registry.ini");
        QCOMPARE(registry.value(kRedirectRoot, kRedirectKey, kRedirectValue)->text,
                 m_session + "/File%.xdf");
        const QString elsewhere = m_agent->home.path() + "/secret.pdf";
        QVERIFY(writeFileContents(elsewhere, "secret"));
        QVERIFY(QFile::link(elsewhere, m_session + "/File0.xdf"));
        writeDocument(m_session + "/File7.xdf", "%PDF-printed", 7);
        m_capture->poll();
        m_capture->poll();
        QCOMPARE(printDocs(), QStringList{"1.pdf|Document"});
        QCOMPARE(fileContents(elsewhere), QByteArray("secret"));
        QVERIFY(QFileInfo(m_session + "/File0.xdf").isSymLink());
        m_capture->disable();
        QVERIFY(!registry.value(kRedirectRoot, kRedirectKey, kRedirectValue));
    }

    // A watched folder: what was there at enable stays; what comes later is taken and
    // leaves the folder. Driver 99 captures nothing from the session folder.
    void watchedFolders()
    {
        const QString watched = m_agent->home.path() + "/scans";
        QDir().mkpath(watched);
        writeDocument(watched + "/before.PDF", "%PDF-old", 1);
        m_agent->setSetting(QStringLiteral("MonitorPDFPath"), QStringLiteral("1"));
        m_agent->setSetting(QStringLiteral("PDFSourcePath1"), watched);
        m_agent->setSetting(QStringLiteral("PDFSourcePath2"), watched + "/before.PDF");
        m_agent->setSetting(QStringLiteral("PDFDriver"), QStringLiteral("99"));
        m_agent->settings.load();
        m_agent->state.SessionReady = true;
        QVERIFY(m_capture->enable({}));
        writeDocument(watched + "/after.pdf", "%PDF-new", 5);
        writeDocument(m_session + "/File1.pdf", "%PDF-ignored", 6);
        m_capture->poll();
        m_capture->poll();
        QCOMPARE(printDocs(), QStringList{"1.pdf|Document"});
        QCOMPARE(fileContents(m_session + "/1.pdf"), QByteArray("%PDF-new"));
        QCOMPARE(QDir(watched).entryList(QDir::Files), QStringList{"before.PDF"});
    }
};

QTEST_GUILESS_MAIN(TestPdfCapture)
#include "tst_pdfcapture.moc"
