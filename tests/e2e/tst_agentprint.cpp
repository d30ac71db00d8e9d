// Printing through a real CUPS: a private cupsd with the office's PDF queue, set up by
// scripts/setup-pdf-printer, and the agent that main() runs, in process. The page enables
// capture, a text file goes to the queue with lp, and the question comes within two pulses
// of the helper timer. Skipped where the machine cannot run a cupsd of its own (not root,
// or CUPS not installed).

#include "Agent.h"
#include "bridge/HostBridge.h"
#include "platform/ProfileFile.h"
#include "support/BridgeClient.h"
#include "support/FileContents.h"
#include "support/TempHome.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <unistd.h>

using namespace tarnaxe;
using namespace tarnaxe::test;

namespace {

// cupsd in the foreground with everything of its own under one folder, on a local socket.
class PrivateCups {
public:
    ~PrivateCups()
    {
        m_cupsd.terminate();
        m_cupsd.waitForFinished(5000);
    }

    QString socket() const { return m_root.filePath(QStringLiteral("cups.sock")); }
    QString serverBin() const { return m_root.filePath(QStringLiteral("bin")); }

    // Empty when it runs; otherwise why not.
    QString start()
    {
        const QString cupsd = QStandardPaths::findExecutable("cupsd", {"/usr/sbin", "/sbin"});
        if (cupsd.isEmpty() || QStandardPaths::findExecutable("lp").isEmpty())
            return QStringLiteral("CUPS is not installed (cups-daemon, cups-client)");
        if (::geteuid() != 0)
            return QStringLiteral("a private cupsd that runs backends as root needs root");
        const QString root = m_root.path();
        // The filters run as lp, which must reach the spooled files.
        QFile::setPermissions(root, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                        QFileDevice::ExeOwner | QFileDevice::ReadOther |
                                        QFileDevice::ExeOther | QFileDevice::ReadGroup |
                                        QFileDevice::ExeGroup);
        for (const char* dir : {"etc", "spool/tmp", "cache", "state", "log", "bin/backend"})
            QDir(root).mkpath(QLatin1String(dir));
        for (const char* dir : {"filter", "daemon", "cgi-bin", "monitor", "notifier"})
            QFile::link(QStringLiteral("/usr/lib/cups/") + dir, serverBin() + '/' + dir);
        writeFileContents(root + "/etc/cups-files.conf",
                          QStringLiteral("ServerRoot %1/etc\nRequestRoot %1/spool\nTempDir "
                                         "%1/spool/tmp\nCacheDir %1/cache\nStateDir %1/state\n"
                                         "ServerBin %1/bin\nErrorLog %1/log/error_log\nAccessLog "
                                         "%1/log/access_log\nPageLog %1/log/page_log\nUser lp\n"
                                         "Group lp\nSystemGroup root\nFileDevice No\n")
                              .arg(root)
                              .toUtf8());
        writeFileContents(root + "/etc/cupsd.conf",
                          QStringLiteral("Listen %1\nLogLevel info\nBrowsing No\nWebInterface No\n"
                                         "DefaultAuthType None\n")
                              .arg(socket())
                              .toUtf8());
        m_cupsd.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_cupsd.start(cupsd,
                      {"-f", "-c", root + "/etc/cupsd.conf", "-s", root + "/etc/cups-files.conf"});
        if (!QTest::qWaitFor([this] { return QFile::exists(socket()); }, 10000))
            return QStringLiteral("cupsd did not start: ") + m_cupsd.errorString();
        return {};
    }

private:
    QTemporaryDir m_root;
    QProcess m_cupsd;
};

} // namespace

class TestAgentPrint : public QObject {
    Q_OBJECT

private slots:
    void printedDocumentIsOffered()
    {
        PrivateCups cups;
        if (const QString why = cups.start(); !why.isEmpty())
            QSKIP(qPrintable(why));
        TempHome home;
        QProcess setup;
        setup.setProcessChannelMode(QProcess::ForwardedChannels);
        setup.start("bash", {QFINDTESTDATA("../../scripts/setup-pdf-printer"), "--queue",
                             "Office-PDF", "--server", cups.socket(), "--serverbin",
                             cups.serverBin(), "--device-uri", "tarnaxe-pdf:/?home=" + home.path(),
                             "--backend", TARNAXE_PDF_BACKEND_PATH, "--no-install"});
        QVERIFY(setup.waitForFinished(60000) && setup.exitCode() == 0);

        const QString ini = home.configHome() + QStringLiteral("/TarnAxe/TarnLocal.ini");
        ProfileFile(ini).write("LocalSettings", "PDFDriver", "1");
        Agent agent(ini);
        HostBridgeOptions options;
        options.port = 0;
        HostBridge bridge(options, [&agent] { return agent.newIO(); });
        QString error;
        QVERIFY2(bridge.listen(&error), qPrintable(error));
        BridgeClient page;
        QVERIFY(page.open(QStringLiteral("ws://127.0.0.1:%1").arg(bridge.port())));
        page.call("Init");
        QCOMPARE(page.call("EnablePrintCapture")["result"], QJsonValue(true));

        QElapsedTimer sinceLp;
        qint64 asked = -1;
        QTimer clerk;
        connect(&clerk, &QTimer::timeout, this, [&] {
            if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
                asked = sinceLp.elapsed();
                QCOMPARE(box->text(), "Printed document was received, attach to claim? ");
                box->button(QMessageBox::Ok)->click();
            }
        });
        clerk.start(20);
        const QString text = home.path() + "/repair-order.txt";
        QVERIFY(writeFileContents(text, "REPAIR ORDER 4471\nFront bumper, replace.\n"));
        sinceLp.start();
        QCOMPARE(QProcess::execute("lp", {"-h", cups.socket(), "-d", "Office-PDF", text}), 0);
        QTRY_COMPARE_WITH_TIMEOUT(page.call("TheCountOf", "get", {"PrintDocs"})["result"],
                                  QJsonValue(1), 2500);
        qInfo("from lp to the question: %lld ms", asked);
        const QString pdf = page.call("TheNameOf", "get", {"PrintDocs", 1})["result"].toString();
        QVERIFY2(pdf.endsWith("/FerroClient/IEUser1/1.pdf"), qPrintable(pdf));
        QProcess info;
        info.start("pdfinfo", {pdf});
        QVERIFY(info.waitForFinished(10000) && info.exitCode() == 0);
        QVERIFY(info.readAllStandardOutput().contains("Pages:"));
    }
};

QTEST_MAIN(TestAgentPrint)
#include "tst_agentprint.moc"
