// clsComm against the real reference server: the three kinds of send as the pages read
// them, retries under injected faults, the settings that shorten the time-out and add a
// private CA, refused certificates, and memory while a large file goes.

#include "support/DataupServer.h"
#include "support/TempHome.h"
#include "transfer/ReplyFields.h"
#include "transfer/TransferOptions.h"
#include "transfer/clsComm.h"

#include <QCryptographicHash>
#include <QFile>
#include <QJsonArray>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#if defined(__SANITIZE_ADDRESS__)
// From the sanitizer runtime; GCC does not install the header that declares it.
extern "C" size_t __sanitizer_get_current_allocated_bytes();
#else
#include <malloc.h>
#endif

using namespace tarnaxe;
using tarnaxe::test::DataupServer;
using tarnaxe::test::DataupServerOptions;
using tarnaxe::test::TestCertificates;

namespace {

// Bytes the allocator has handed out and not had back, across all threads. Resident size
// would not do: AddressSanitizer keeps freed blocks in quarantine.
qint64 liveHeapBytes()
{
#if defined(__SANITIZE_ADDRESS__)
    return qint64(__sanitizer_get_current_allocated_bytes());
#else
    const struct mallinfo2 info = mallinfo2();
    return qint64(info.uordblks + info.hblkhd);
#endif
}

QString sha256Hex(const QByteArray& bytes)
{
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
}

} // namespace

class TestClsCommServer : public QObject {
    Q_OBJECT

private slots:
    void init();
    void uploadAsThePagesReadIt();
    void blobReplyCutByExportSize();
    void injectedFaults_data();
    void injectedFaults();
    void timeOutFromTheSettings();
    void privateCaFromTheSettings();
    void refusedCertificates_data();
    void refusedCertificates();
    void largeFileWithBoundedMemory();

private:
    QString writeFile(const QString& name, const QByteArray& bytes);
    QString begin(clsComm& comm);
    // WriteFile of path; the location, or empty.
    QString writeFileOnServer(clsComm& comm, const QString& path, const QString& transaction);

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<DataupServer> m_server;
};

void TestClsCommServer::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    if (QByteArray(QTest::currentTestFunction()) == "refusedCertificates" ||
        QByteArray(QTest::currentTestFunction()) == "privateCaFromTheSettings")
        return; // these start their own server
    m_server = std::make_unique<DataupServer>();
    QVERIFY2(m_server->start(), qPrintable(m_server->error()));
}

QString TestClsCommServer::writeFile(const QString& name, const QByteArray& bytes)
{
    const QString path = m_dir->filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
    return path;
}

QString TestClsCommServer::begin(clsComm& comm)
{
    comm.PostPage = QStringLiteral("/dataup/BeginAttachmentTransaction.asp");
    QString error;
    if (!comm.SendData(QStringLiteral("Code:BEGINTRANS\t"), error))
        return {};
    return GetFieldText(comm.ResponseData, "TransactionGUID");
}

QString TestClsCommServer::writeFileOnServer(clsComm& comm, const QString& path,
                                             const QString& transaction)
{
    comm.PostPage = QStringLiteral("/dataup/WriteFile.asp");
    comm.LocalFileSpec = path;
    QString error;
    if (!comm.SendFile(QStringLiteral("{ROOT}.BIN"), error, transaction) ||
        GetField(comm.ResponseData, "Status") != "SUCCESS")
        return {};
    return GetFieldText(comm.ResponseData, "Location");
}

void TestClsCommServer::uploadAsThePagesReadIt()
{
    clsComm comm;
    comm.ServerName = m_server->hostPort();
    const QString transaction = begin(comm);
    QVERIFY(!transaction.isEmpty());

    // A first piece, then appends at the offsets the server checks: 32768 and on.
    QByteArray whole;
    for (int i = 0; i < 32768 + 100; ++i)
        whole += char(i % 253);
    const QString location =
        writeFileOnServer(comm, writeFile(QStringLiteral("first"), whole.left(32768)), transaction);
    QVERIFY(!location.isEmpty());
    comm.PostPage = QStringLiteral("/dataup/AppendToFile.asp");
    QString error;
    QVERIFY(comm.AppendFileOnServer(location, writeFile(QStringLiteral("Chunk"), whole.mid(32768)),
                                    32768, error, transaction));
    QCOMPARE(GetFieldText(comm.ResponseData, "Status"), QStringLiteral("SUCCESS"));
    // An append at the wrong offset is the server's refusal, not a transport failure.
    QVERIFY(comm.AppendFileOnServer(location, m_dir->filePath(QStringLiteral("Chunk")), 5, error,
                                    transaction));
    QCOMPARE(error, QStringLiteral("OK"));
    QCOMPARE(GetFieldText(comm.ResponseData, "Status"), QStringLiteral("FAILURE"));
    QVERIFY(!GetField(comm.ResponseData, "ErrorMessage").isEmpty());

    const QJsonObject json = m_server->transaction(transaction);
    const QJsonArray files = json.value(QLatin1String("files")).toArray();
    QCOMPARE(files.size(), 1);
    const QJsonObject file = files.first().toObject();
    QCOMPARE(file.value(QLatin1String("size")).toInteger(), whole.size());
    QCOMPARE(file.value(QLatin1String("sha256")).toString(), sha256Hex(whole));
}

void TestClsCommServer::blobReplyCutByExportSize()
{
    const QString assignment = m_server->seed();
    QVERIFY(!assignment.isEmpty());
    clsComm comm;
    comm.ServerName = m_server->hostPort();
    comm.PostPage = QStringLiteral("/dataup/ReadMIE.asp");
    QString error;
    QVERIFY(comm.SendData(QStringLiteral("GUID:") + assignment + QLatin1Char('\t'), error));
    const qint64 size = GetField(comm.ResponseData, "ExportSize").toLongLong();
    QVERIFY(size > 0);
    QByteArray blob;
    QVERIFY(FindBinaryField(comm.ResponseData, "Export", size, blob));
    QCOMPARE(blob.size(), size);
    // The sample MIE file holds TABs and colons: cut by position, not at a TAB.
    QVERIFY(blob.contains('\t'));
    QCOMPARE(GetFieldText(comm.ResponseData, "Status"), QStringLiteral("SUCCESS"));
}

void TestClsCommServer::injectedFaults_data()
{
    QTest::addColumn<QByteArray>("action");
    QTest::addColumn<int>("times");
    QTest::addColumn<bool>("sent");
    QTest::addColumn<QString>("error");

    QTest::newRow("3 errors then success") << QByteArray("http500") << 3 << true << "OK";
    QTest::newRow("4 errors") << QByteArray("http500") << 4 << false
                              << "HTTP 500 Internal Server Error";
    QTest::newRow("dropped every time")
        << QByteArray("drop") << 100 << false << "Connection closed by the server";
}

void TestClsCommServer::injectedFaults()
{
    QFETCH(QByteArray, action);
    QFETCH(int, times);
    QFETCH(bool, sent);
    QFETCH(QString, error);

    clsComm comm;
    comm.ServerName = m_server->hostPort();
    const QString transaction = begin(comm);
    QVERIFY(m_server->setFaults(R"([{"page": "/dataup/WriteFile.asp", "after": 0, "times": )" +
                                QByteArray::number(times) + R"(, "action": ")" + action +
                                R"("}])"));
    comm.PostPage = QStringLiteral("/dataup/WriteFile.asp");
    comm.LocalFileSpec = writeFile(QStringLiteral("f"), "bytes");
    QString got;
    QCOMPARE(comm.SendFile(QStringLiteral("R.BIN"), got, transaction), sent);
    QCOMPARE(got, error);
    // Only the attempt that got through is stored; failed ones were not applied.
    QCOMPARE(m_server->transaction(transaction).value(QLatin1String("files")).toArray().size(),
             sent ? 1 : 0);
}

void TestClsCommServer::timeOutFromTheSettings()
{
    tarnaxe::test::TempHome home;
    const QString ini = home.path() + QStringLiteral("/TarnLocal.ini");
    QFile file(ini);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[Transfer]\nTimeoutSeconds=0.5\n");
    file.close();
    const TransferOptions options = readTransferOptions(ini);
    QCOMPARE(options.error, QString());
    QCOMPARE(options.http.inactivityTimeoutMs, 500);

    clsComm comm(options.http);
    comm.ServerName = m_server->hostPort();
    QVERIFY(m_server->setFaults(
        R"([{"page": "/dataup/ReadAssignment.asp", "after": 0, "times": 1, "action": "delay:3000"}])"));
    comm.PostPage = QStringLiteral("/dataup/ReadAssignment.asp");
    QString error;
    QVERIFY(!comm.SendData(QStringLiteral("GUID:{X}\t"), error));
    QCOMPARE(error, QStringLiteral("Timed out"));
}

void TestClsCommServer::privateCaFromTheSettings()
{
    DataupServerOptions serverOptions;
    serverOptions.tls = true;
    m_server = std::make_unique<DataupServer>(serverOptions);
    QVERIFY2(m_server->start(), qPrintable(m_server->error()));

    tarnaxe::test::TempHome home;
    const QString ini = home.path() + QStringLiteral("/TarnLocal.ini");
    for (const QByteArray& setting :
         {QByteArray(), "CACertificates=" + m_server->caCertificatePath().toUtf8()}) {
        QFile file(ini);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[Transfer]\n" + setting + "\n");
        file.close();
        clsComm comm(readTransferOptions(ini).http);
        comm.ServerName = m_server->hostPort();
        comm.bSecure = true;
        comm.PostPage = QStringLiteral("/dataup/BeginAttachmentTransaction.asp");
        QString error;
        const bool sent = comm.SendData(QStringLiteral("Code:BEGINTRANS\t"), error);
        if (setting.isEmpty()) {
            QVERIFY(!sent);
            QVERIFY2(error.startsWith(QStringLiteral("SSL handshake failed: ")), qPrintable(error));
        } else {
            QVERIFY2(sent, qPrintable(error));
            QCOMPARE(GetFieldText(comm.ResponseData, "Status"), QStringLiteral("SUCCESS"));
        }
    }
    QFile file(ini);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[Transfer]\nCACertificates=/no/such/ca.pem\nTimeoutSeconds=soon\n");
    file.close();
    const TransferOptions bad = readTransferOptions(ini);
    QVERIFY(bad.error.contains(QStringLiteral("TimeoutSeconds")));
    QCOMPARE(bad.http.inactivityTimeoutMs, 60000);
    QVERIFY(bad.http.extraCaCertificates.isEmpty());
}

void TestClsCommServer::refusedCertificates_data()
{
    QTest::addColumn<QString>("which");
    QTest::addColumn<QString>("reason");

    QTest::newRow("issued for another host") << "wrong"
                                             << "host name did not match";
    QTest::newRow("self-signed") << "self"
                                 << "self-signed";
}

void TestClsCommServer::refusedCertificates()
{
    QFETCH(QString, which);
    QFETCH(QString, reason);

    TestCertificates certificates;
    QVERIFY2(certificates.isValid(), qPrintable(certificates.error()));
    const auto files =
        which == QLatin1String("wrong") ? certificates.wrongHost() : certificates.selfSigned();
    DataupServerOptions serverOptions;
    serverOptions.extraArguments = {QStringLiteral("--tls-cert"), files.certificate,
                                    QStringLiteral("--tls-key"), files.key};
    m_server = std::make_unique<DataupServer>(serverOptions);
    QVERIFY2(m_server->start(), qPrintable(m_server->error()));

    // The test CA is trusted: only the certificate's own fault can refuse it.
    HttpTransportOptions options;
    options.extraCaCertificates = QSslCertificate::fromPath(certificates.caCertificate());
    QVERIFY(!options.extraCaCertificates.isEmpty());
    clsComm comm(options);
    comm.ServerName = m_server->hostPort();
    comm.bSecure = true;
    comm.PostPage = QStringLiteral("/dataup/BeginAttachmentTransaction.asp");
    QString error;
    QVERIFY(!comm.SendData(QStringLiteral("Code:BEGINTRANS\t"), error));
    QVERIFY2(error.startsWith(QStringLiteral("SSL handshake failed: ")), qPrintable(error));
    QVERIFY2(error.contains(reason, Qt::CaseInsensitive), qPrintable(error));
    QCOMPARE(m_server->transactions().size(), 0);
}

void TestClsCommServer::largeFileWithBoundedMemory()
{
    const qint64 size = 20 << 20;
    const QString path = m_dir->filePath(QStringLiteral("large.bin"));
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QByteArray block(1 << 20, 'L');
        for (qint64 done = 0; done < size; done += block.size())
            QCOMPARE(file.write(block), block.size());
    }
    clsComm comm;
    comm.ServerName = m_server->hostPort();
    const QString transaction = begin(comm);
    // Warm up the transport's buffers with a small send first.
    QVERIFY(
        !writeFileOnServer(comm, writeFile(QStringLiteral("small"), "x"), transaction).isEmpty());
    // The heap is sampled while the file goes, from this thread's event loop, which the
    // exchange keeps turning.
    const qint64 before = liveHeapBytes();
    QVERIFY(before > 0);
    qint64 peak = before;
    QTimer sampler;
    connect(&sampler, &QTimer::timeout, this, [&peak] { peak = qMax(peak, liveHeapBytes()); });
    sampler.start(2);
    QVERIFY(!writeFileOnServer(comm, path, transaction).isEmpty());
    sampler.stop();
    const qint64 growth = peak - before;
    QVERIFY2(growth < 8 << 20, qPrintable(QStringLiteral("grew by %1 bytes").arg(growth)));
    const QJsonArray files =
        m_server->transaction(transaction).value(QLatin1String("files")).toArray();
    QCOMPARE(files.last().toObject().value(QLatin1String("size")).toInteger(), size);
}

QTEST_GUILESS_MAIN(TestClsCommServer)
#include "tst_clscomm_server.moc"
