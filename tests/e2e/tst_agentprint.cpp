// Printing through a real CUPS (a private cupsd with the office's PDF queue, set up by
// scripts/setup-pdf-printer) into the agent that main() runs, in process: the page enables
// capture, lp prints a text file, and the question comes (the time it took is printed).

#include "platform/ProfileFile.h"
#include "support/FileContents.h"
#include "support/PageAgent.h"
#include "support/TempHome.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <unistd.h>

using namespace tarnaxe;
using namespace tarnaxe::test;

class TestAgentPrint : public QObject {
    Q_OBJECT

private slots:
    void printedDocumentIsOffered()
    {
        if (::geteuid() != 0 || QStandardPaths::findExecutable("lp").isEmpty())
            QSKIP("needs root (a private cupsd runs the backend as root) and cups-client");
        // setup-pdf-printer --private starts a CUPS of its own in this folder.
        QTemporaryDir cups;
        const auto stopCups = qScopeGuard([&cups] {
            const auto pid = pid_t(fileContents(cups.filePath("cupsd.pid")).trimmed().toLongLong());
            // cupsd writes its logs and state as it stops: the folder may go only after it.
            if (pid > 0 && ::kill(pid, SIGTERM) == 0 &&
                !QTest::qWaitFor([pid] { return ::kill(pid, 0) != 0; }, 10000))
                qWarning("cupsd (%d) is still running", int(pid));
        });
        TempHome home;
        QCOMPARE(QProcess::execute("bash", {QFINDTESTDATA("../../scripts/setup-pdf-printer"),
                                            "--queue", "Office-PDF", "--private", cups.path(),
                                            "--device-uri", "tarnaxe-pdf:/?home=" + home.path(),
                                            "--backend", TARNAXE_PDF_BACKEND_PATH, "--no-install"}),
                 0);

        const QString ini = home.configHome() + QStringLiteral("/TarnAxe/TarnLocal.ini");
        ProfileFile(ini).write("LocalSettings", "PDFDriver", "1");
        PageAgent agent(ini);
        QVERIFY(agent.open());
        BridgeClient& page = agent.page;
        page.call("Init");
        QCOMPARE(page.invoke("EnablePrintCapture"), true);

        QElapsedTimer sinceLp;
        qint64 asked = -1;
        Clerk clerk([&](QWidget*) {
            asked = sinceLp.elapsed();
            return false; // the question is answered OK
        });
        const QString text = home.path() + "/repair-order.txt";
        QVERIFY(writeFileContents(text, "REPAIR ORDER 4471\nFront bumper, replace.\n"));
        sinceLp.start();
        QCOMPARE(
            QProcess::execute("lp", {"-h", cups.filePath("cups.sock"), "-d", "Office-PDF", text}),
            0);
        QTRY_COMPARE_WITH_TIMEOUT(page.get("TheCountOf", {"PrintDocs"}), 1, 15000);
        QCOMPARE(clerk.seen, QStringList{"Printed document was received, attach to claim? "});
        qInfo("from lp to the question: %lld ms", asked);
        const QString pdf = page.get("TheNameOf", {"PrintDocs", 1}).toString();
        QVERIFY2(pdf.endsWith("/FerroClient/IEUser1/1.pdf"), qPrintable(pdf));
        QCOMPARE(QProcess::execute("pdfinfo", {pdf}), 0);
    }
};

QTEST_MAIN(TestAgentPrint)
#include "tst_agentprint.moc"
