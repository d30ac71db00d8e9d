#include "support/TestCertificates.h"

#include <QFile>
#include <QProcess>

namespace tarnaxe::test {

// EC keys: made in milliseconds, where RSA keys would slow every TLS test down. (The
// temporary folder's path holds no blank, so a command splits at blanks.)
static const QString kNewKey = QStringLiteral(
    "req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 30 -keyout %1.key ");

TestCertificates::TestCertificates()
{
    const QString ca = m_dir.filePath(QStringLiteral("ca"));
    const bool made =
        m_dir.isValid() &&
        run(kNewKey + QStringLiteral("-x509 -out %1.pem -subj /CN=TarnAxe-Test-CA -addext "
                                     "basicConstraints=critical,CA:TRUE -addext "
                                     "keyUsage=critical,keyCertSign,cRLSign"),
            ca) &&
        signedBy(QStringLiteral("server"), QStringLiteral("127.0.0.1"),
                 QStringLiteral("IP:127.0.0.1,DNS:localhost")) &&
        signedBy(QStringLiteral("wrong"), QStringLiteral("wrong.example"),
                 QStringLiteral("DNS:wrong.example"));
    if (!made && m_error.isEmpty())
        m_error = QStringLiteral("openssl failed");
}

CertificateFiles TestCertificates::files(const QString& name) const
{
    return {m_dir.filePath(name + QStringLiteral(".pem")),
            m_dir.filePath(name + QStringLiteral(".key"))};
}

bool TestCertificates::run(const QString& command, const QString& base)
{
    QProcess openssl;
    openssl.start(QStringLiteral("openssl"), command.arg(base).split(QLatin1Char(' ')));
    if (openssl.waitForFinished(60000) && openssl.exitStatus() == QProcess::NormalExit &&
        openssl.exitCode() == 0)
        return true;
    m_error = QStringLiteral("openssl %1: %2 %3")
                  .arg(command.arg(base), openssl.errorString(),
                       QString::fromLocal8Bit(openssl.readAllStandardError()));
    return false;
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
    return run(kNewKey + QStringLiteral("-out %1.csr -subj /CN=") + commonName, base) &&
           run(QStringLiteral("x509 -req -in %1.csr -CA %2.pem -CAkey %2.key -CAcreateserial "
                              "-out %1.pem -days 30 -extfile %1.ext")
                   .replace(QStringLiteral("%2"), m_dir.filePath(QStringLiteral("ca"))),
               base);
}

} // namespace tarnaxe::test
