// dataup-server over HTTPS with a certificate from a CA made for the test run.

#include "support/DataupServer.h"

#include <QSslSocket>
#include <QTest>

using namespace tarnaxe::test;

class TestDataupServerTls : public QObject {
    Q_OBJECT

private slots:
    void pagesAndOverviewOverHttps()
    {
        DataupServer server{DataupServerOptions{true, 0, {}}};
        QVERIFY2(server.start(), qPrintable(server.error()));
        QVERIFY(server.baseUrl().startsWith(QLatin1String("https://127.0.0.1:")));
        const QString guid = server.seed();
        QVERIFY2(!guid.isEmpty(), qPrintable(server.error()));

        int status = 0;
        const DataupReply reply = parseDataupReply(server.post(
            "/dataup/ReadAssignment.asp", dataupBody({{"GUID", guid.toLatin1()}}), &status));
        QCOMPARE(status, 200);
        QCOMPARE(reply.value("ClaimNumber"), QByteArray("CLM-24-000417"));

        const QByteArray page = server.request("GET", "/", {}, &status);
        QCOMPARE(status, 200);
        QVERIFY(page.contains(guid.toLatin1()));
        QVERIFY(page.contains("<td>CLM-24-000417</td>"));
        QVERIFY(page.contains("MIT201vehdbt"));

        // Without the CA the certificate is not trusted.
        QSslSocket plain;
        plain.connectToHostEncrypted(QStringLiteral("127.0.0.1"), server.port());
        QVERIFY(!plain.waitForEncrypted(5000));
        QVERIFY(!plain.sslHandshakeErrors().isEmpty());

        server.stop();
        QCOMPARE(server.exitCode(), 0);
    }

    void wrongCertificatesAreMadeToo()
    {
        TestCertificates certificates;
        QVERIFY2(certificates.isValid(), qPrintable(certificates.error()));
        for (const CertificateFiles& files :
             {certificates.server(), certificates.wrongHost(), certificates.selfSigned()}) {
            const QList<QSslCertificate> loaded = QSslCertificate::fromPath(files.certificate);
            QCOMPARE(loaded.size(), 1);
            QVERIFY(QFile::exists(files.key));
        }
        const auto first = [](const QString& path) {
            return QSslCertificate::fromPath(path).value(0);
        };
        const QSslCertificate ca = first(certificates.caCertificate());
        const QSslCertificate server = first(certificates.server().certificate);
        const QSslCertificate wrong = first(certificates.wrongHost().certificate);
        const QSslCertificate self = first(certificates.selfSigned().certificate);
        const auto names = server.subjectAlternativeNames();
        QVERIFY(names.values(QSsl::IpAddressEntry).contains(QStringLiteral("127.0.0.1")));
        QVERIFY(names.values(QSsl::DnsEntry).contains(QStringLiteral("localhost")));
        QCOMPARE(wrong.subjectAlternativeNames().values(QSsl::DnsEntry),
                 QStringList{QStringLiteral("wrong.example")});
        for (const QSslCertificate& signedOne : {server, wrong})
            QCOMPARE(signedOne.issuerDisplayName(), ca.subjectDisplayName());
        QCOMPARE(self.issuerDisplayName(), self.subjectDisplayName());
        QVERIFY(self.issuerDisplayName() != ca.subjectDisplayName());
    }
};

QTEST_GUILESS_MAIN(TestDataupServerTls)
#include "tst_dataupservertls.moc"
