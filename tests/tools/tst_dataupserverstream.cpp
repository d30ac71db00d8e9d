// A large WriteFile goes to disk as it arrives: the server's resident memory stays flat
// while 200 MiB stream in.

#include "support/DataupServer.h"
#include "support/ProcessMemory.h"

#include <QFile>
#include <QFileInfo>
#include <QTcpSocket>
#include <QTest>

using namespace tarnaxe::test;

class TestDataupServerStream : public QObject {
    Q_OBJECT

private slots:
    void bigUploadDoesNotSitInMemory()
    {
        constexpr qint64 kSize = 200 * 1024 * 1024;
        constexpr qint64 kChunk = 1024 * 1024;
        DataupServer server{DataupServerOptions{false, 256 * 1024 * 1024, {}}};
        QVERIFY2(server.start(), qPrintable(server.error()));
        const QByteArray transaction =
            parseDataupReply(
                server.post("/dataup/BeginAttachmentTransaction.asp", "Code:BEGINTRANS\t"))
                .value("TransactionGUID");
        QVERIFY(!transaction.isEmpty());

        const QByteArray fields = dataupBody({{"FileName", "big.bin"},
                                              {"TransactionGUID", transaction},
                                              {"FileSize", QByteArray::number(kSize)}},
                                             "File");
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, server.port());
        QVERIFY(socket.waitForConnected(5000));
        socket.write("POST /dataup/WriteFile.asp HTTP/1.1\r\nHost: x\r\nConnection: close\r\n"
                     "Content-Length: " +
                     QByteArray::number(fields.size() + kSize) + "\r\n\r\n" + fields);
        const qint64 baseline = residentKiB(server.processId());
        QVERIFY(baseline > 0);
        qint64 peak = baseline;
        QByteArray chunk(kChunk, Qt::Uninitialized);
        for (qint64 i = 0; i < kSize / kChunk; ++i) {
            chunk.fill(char(i));
            socket.write(chunk);
            while (socket.bytesToWrite() > 0)
                QVERIFY(socket.waitForBytesWritten(30000));
            peak = std::max(peak, residentKiB(server.processId()));
        }
        QByteArray answer;
        while (!answer.contains("Location:") && socket.waitForReadyRead(60000))
            answer += socket.readAll();
        QVERIFY2(answer.contains("Status:SUCCESS\tLocation:upload/"), answer.constData());
        QVERIFY2(peak - baseline < 32 * 1024,
                 qPrintable(QStringLiteral("grew by %1 KiB").arg(peak - baseline)));

        const QByteArray location =
            parseDataupReply(answer.mid(answer.indexOf("\r\n\r\n") + 4)).value("Location");
        QCOMPARE(QFileInfo(server.dataDir() + QStringLiteral("/files/") +
                           QString::fromLatin1(location.mid(7)))
                     .size(),
                 kSize);
        server.stop();
        QCOMPARE(server.exitCode(), 0);
    }
};

QTEST_GUILESS_MAIN(TestDataupServerStream)
#include "tst_dataupserverstream.moc"
