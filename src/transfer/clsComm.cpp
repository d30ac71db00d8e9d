#include "transfer/clsComm.h"

#include "platform/Logging.h"
#include "platform/Windows1252.h"
#include "transfer/WireFields.h"

#include <QFileInfo>

namespace tarnaxe {

namespace {

const QString kOk = QStringLiteral("OK");

} // namespace

clsComm::clsComm(HttpTransportOptions options, QObject* parent)
    : QObject(parent), m_transport(std::move(options))
{}

QByteArray clsComm::field(const QString& name, const QString& value)
{
    return toWindows1252(name) + toWindows1252(wireText(value)) + '\t';
}

void clsComm::raiseProgress(qint16 percent)
{
    emit Progress(percent);
}

bool clsComm::post(const QByteArray& text, const QString& filePath, int attempts,
                   QString& sErrorMessage)
{
    const QUrl url = HttpTransport::pageUrl(ServerName, PostPage, bSecure);
    for (int attempt = 1; attempt <= attempts; ++attempt) {
        const HttpPostResult result = m_transport.post(url, text, filePath);
        if (result.ok()) {
            ResponseData = result.body;
            sErrorMessage = kOk;
            return true;
        }
        sErrorMessage = result.error;
        qCInfo(lcTransfer) << "attempt" << attempt << "of" << attempts << "to" << PostPage
                           << "failed:" << result.error;
    }
    return false;
}

bool clsComm::SendFile(const QString& sRootName, QString& sErrorMessage,
                       const QString& sTransactionGUID)
{
    // The length is taken once, before the first attempt.
    const qint64 size = QFileInfo(LocalFileSpec).size();
    const QByteArray text = field(QStringLiteral("FileName:"), sRootName) +
                            field(QStringLiteral("TransactionGUID:"), sTransactionGUID) +
                            field(QStringLiteral("FileSize:"), QString::number(size)) + "File:";
    raiseProgress(12);
    if (!post(text, LocalFileSpec, kFileAttempts, sErrorMessage))
        return false;
    raiseProgress(100);
    if (m_yield)
        m_yield();
    return true;
}

bool clsComm::SendData(const QString& sData, QString& sErrorMessage)
{
    raiseProgress(12);
    if (!post(toWindows1252(sData), QString(), 1, sErrorMessage))
        return false;
    raiseProgress(100);
    return true;
}

bool clsComm::AppendFileOnServer(const QString& sLocation, const QString& sChunkFile,
                                 qint64 lCurrSize, QString& sErrorMessage,
                                 const QString& sTransactionGUID)
{
    const qint64 size = QFileInfo(sChunkFile).size();
    const QByteArray text = field(QStringLiteral("sLocation:"), sLocation) +
                            field(QStringLiteral("TransactionGUID:"), sTransactionGUID) +
                            field(QStringLiteral("CurrSize:"), QString::number(lCurrSize)) +
                            field(QStringLiteral("BlobSize:"), QString::number(size)) + "Blob:";
    return post(text, sChunkFile, kFileAttempts, sErrorMessage);
}

} // namespace tarnaxe
