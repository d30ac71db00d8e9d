#include "support/TestCertificates.h"

#include <QProcess>

namespace tarnaxe::test {

TestCertificates::TestCertificates()
{
    const QString ca = m_dir.filePath(QStringLiteral("ca"));
    const QString signedByCa = QStringLiteral("-CA %1.pem -CAkey %1.key ").arg(ca) +
                               QStringLiteral("-addext basicConstraints=CA:FALSE -addext "
                                              "extendedKeyUsage=serverAuth -subj /CN=");
    const bool made = m_dir.isValid() &&
                      run(QStringLiteral("-subj /CN=TarnAxe-Test-CA -addext "
                                         "basicConstraints=critical,CA:TRUE -addext "
                                         "keyUsage=critical,keyCertSign,cRLSign"),
                          ca) &&
                      run(signedByCa + QStringLiteral("127.0.0.1 -addext "
                                                      "subjectAltName=IP:127.0.0.1,DNS:localhost"),
                          m_dir.filePath(QStringLiteral("server"))) &&
                      run(signedByCa + QStringLiteral("wrong.example -addext "
                                                      "subjectAltName=DNS:wrong.example"),
                          m_dir.filePath(QStringLiteral("wrong")));
    if (!made && m_error.isEmpty())
        m_error = QStringLiteral("openssl failed");
}

CertificateFiles TestCertificates::files(const QString& name) const
{
    return {m_dir.filePath(name + QStringLiteral(".pem")),
            m_dir.filePath(name + QStringLiteral(".key"))};
}

bool TestCertificates::run(const QString& options, const QString& base)
{
    // EC keys: made in milliseconds, where RSA keys would slow every TLS test down. (The
    // temporary folder's path holds no blank, so a command splits at blanks.)
    const QString command = QStringLiteral("req -x509 -newkey ec -pkeyopt "
                                           "ec_paramgen_curve:prime256v1 -nodes -days 30 "
                                           "-keyout %1.key -out %1.pem ")
                                .arg(base) +
                            options;
    QProcess openssl;
    openssl.start(QStringLiteral("openssl"), command.split(QLatin1Char(' ')));
    if (openssl.waitForFinished(60000) && openssl.exitStatus() == QProcess::NormalExit &&
        openssl.exitCode() == 0)
        return true;
    m_error = QStringLiteral("openssl %1: %2 %3")
                  .arg(command, openssl.errorString(),
                       QString::fromLocal8Bit(openssl.readAllStandardError()));
    return false;
}

} // namespace tarnaxe::test
