#include "transfer/TransferOptions.h"

#include "platform/ProfileFile.h"

#include <QDir>
#include <QFileInfo>

namespace tarnaxe {

namespace {

QList<QSslCertificate> certificatesAt(const QString& path, QString& error)
{
    const QFileInfo info(path);
    QList<QSslCertificate> certificates;
    if (info.isDir()) {
        const QDir folder(path);
        for (const QString& name :
             folder.entryList({QStringLiteral("*.pem"), QStringLiteral("*.crt")}, QDir::Files))
            certificates += QSslCertificate::fromPath(folder.filePath(name), QSsl::Pem);
    } else if (info.isFile()) {
        certificates = QSslCertificate::fromPath(path, QSsl::Pem);
    } else {
        error = QStringLiteral("[Transfer] CACertificates: %1 does not exist").arg(path);
        return {};
    }
    if (certificates.isEmpty())
        error = QStringLiteral("[Transfer] CACertificates: no PEM certificate in %1").arg(path);
    return certificates;
}

} // namespace

TransferOptions readTransferOptions(const QString& settingsFile)
{
    TransferOptions options;
    const ProfileFile file(settingsFile);
    const QString section = QStringLiteral("Transfer");
    const QString ca = file.read(section, QStringLiteral("CACertificates"), {}, 4096);
    if (!ca.isEmpty())
        options.http.extraCaCertificates = certificatesAt(ca, options.error);
    const QString timeout = file.read(section, QStringLiteral("TimeoutSeconds"));
    if (!timeout.isEmpty()) {
        bool ok = false;
        const double seconds = timeout.toDouble(&ok);
        if (ok && seconds > 0 && seconds <= 24 * 3600)
            options.http.inactivityTimeoutMs = int(seconds * 1000);
        else
            options.error = QStringLiteral("[Transfer] TimeoutSeconds is not a number of seconds: "
                                           "\"%1\"")
                                .arg(timeout);
    }
    return options;
}

} // namespace tarnaxe
