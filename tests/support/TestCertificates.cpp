#include "support/TestCertificates.h"

#include <QFile>
#include <QProcess>

namespace tarnaxe::test {

namespace {

// EC keys: made in milliseconds, where RSA keys would slow every TLS test down.
const QStringList kNewKey = {
    QStringLiteral("-newkey"), QStringLiteral("ec"), QStringLiteral("-pkeyopt"),
    QStringLiteral("ec_paramgen_curve:prime256v1"), QStringLiteral("-nodes")};

} // namespace

TestCertificates::TestCertificates()
{
    if (!m_dir.isValid()) {
        m_error = QStringLiteral("no temporary folder");
        return;
    }
    const QString ca = m_dir.filePath(QStringLiteral("ca"));
    const bool made =
        run(QStringList{QStringLiteral("req"), QStringLiteral("-x509")} + kNewKey +
            QStringList{QStringLiteral("-keyout"), ca + QStringLiteral(".key"),
                        QStringLiteral("-out"), ca + QStringLiteral(".pem"),
                        QStringLiteral("-days"), QStringLiteral("30"), QStringLiteral("-subj"),
                        QStringLiteral("/CN=TarnAxe Test CA"), QStringLiteral("-addext"),
                        QStringLiteral("basicConstraints=critical,CA:TRUE"),
                        QStringLiteral("-addext"),
                        QStringLiteral("keyUsage=critical,keyCertSign,cRLSign")}) &&
        signedBy(QStringLiteral("server"), QStringLiteral("127.0.0.1"),
                 QStringLiteral("IP:127.0.0.1,DNS:localhost")) &&
        signedBy(QStringLiteral("wrong"), QStringLiteral("wrong.example"),
                 QStringLiteral("DNS:wrong.example")) &&
        run(QStringList{QStringLiteral("req"), QStringLiteral("-x509")} + kNewKey +
            QStringList{QStringLiteral("-keyout"), m_dir.filePath(QStringLiteral("self.key")),
                        QStringLiteral("-out"), m_dir.filePath(QStringLiteral("self.pem")),
                        QStringLiteral("-days"), QStringLiteral("30"), QStringLiteral("-subj"),
                        QStringLiteral("/CN=127.0.0.1"), QStringLiteral("-addext"),
                        QStringLiteral("subjectAltName=IP:127.0.0.1,DNS:localhost")});
    if (!made && m_error.isEmpty())
        m_error = QStringLiteral("openssl failed");
}

CertificateFiles TestCertificates::files(const QString& name) const
{
    return {m_dir.filePath(name + QStringLiteral(".pem")),
            m_dir.filePath(name + QStringLiteral(".key"))};
}

bool TestCertificates::run(const QStringList& arguments)
{
    QProcess openssl;
    openssl.start(QStringLiteral("openssl"), arguments);
    if (!openssl.waitForFinished(60000) || openssl.exitStatus() != QProcess::NormalExit ||
        openssl.exitCode() != 0) {
        m_error = QStringLiteral("openssl %1: %2 %3")
                      .arg(arguments.first(), openssl.errorString(),
                           QString::fromLocal8Bit(openssl.readAllStandardError()));
        return false;
    }
    return true;
}

bool TestCertificates::signedBy(const QString& name, const QString& commonName,
                                const QString& altNames)
{
    const QString base = m_dir.filePath(name);
    QFile extensions(base + QStringLiteral(".ext"));
    if (!extensions.open(QIODevice::WriteOnly))
        return false;
    extensions.write("subjectAltName=" + altNames.toLatin1() +
                     "\nbasicConstraints=CA:FALSE\nkeyUsage=digitalSignature,keyEncipherment\n"
                     "extendedKeyUsage=serverAuth\n");
    extensions.close();
    const QString ca = m_dir.filePath(QStringLiteral("ca"));
    return run(QStringList{QStringLiteral("req")} + kNewKey +
               QStringList{QStringLiteral("-keyout"), base + QStringLiteral(".key"),
                           QStringLiteral("-out"), base + QStringLiteral(".csr"),
                           QStringLiteral("-subj"), QStringLiteral("/CN=") + commonName}) &&
           run({QStringLiteral("x509"), QStringLiteral("-req"), QStringLiteral("-in"),
                base + QStringLiteral(".csr"), QStringLiteral("-CA"), ca + QStringLiteral(".pem"),
                QStringLiteral("-CAkey"), ca + QStringLiteral(".key"),
                QStringLiteral("-CAcreateserial"), QStringLiteral("-out"),
                base + QStringLiteral(".pem"), QStringLiteral("-days"), QStringLiteral("30"),
                QStringLiteral("-extfile"), base + QStringLiteral(".ext")});
}

} // namespace tarnaxe::test
