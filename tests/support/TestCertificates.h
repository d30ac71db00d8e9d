#pragma once
// Certificates made at run time with the openssl command into a temporary folder: a CA,
// a server certificate for 127.0.0.1 and localhost signed by it, and one for a wrong host
// name signed by the same CA. Nothing secret is kept in the repository.

#include <QString>
#include <QTemporaryDir>

namespace tarnaxe::test {

struct CertificateFiles {
    QString certificate; // PEM
    QString key;         // PEM, unencrypted
};

class TestCertificates {
public:
    // Makes all of them; check isValid().
    TestCertificates();

    bool isValid() const { return m_error.isEmpty(); }
    const QString& error() const { return m_error; }

    QString caCertificate() const { return m_dir.filePath(QStringLiteral("ca.pem")); }
    CertificateFiles server() const { return files(QStringLiteral("server")); }
    CertificateFiles wrongHost() const { return files(QStringLiteral("wrong")); } // wrong.example

private:
    CertificateFiles files(const QString& name) const;
    // Makes the key base.key and the certificate base.pem with the given openssl req options.
    bool run(const QString& options, const QString& base);

    QTemporaryDir m_dir;
    QString m_error;
};

} // namespace tarnaxe::test
