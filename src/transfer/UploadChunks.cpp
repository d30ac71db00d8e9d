// The chunked road of an upload: each file goes in pieces of 32 KiB, the first through
// WriteFile, the others appended, each piece through a small chunk file in the session's
// "Chunks" folder. Memory stays at one piece whatever the file's size.

#include "automation/SharedState.h"
#include "config/PathHelpers.h"
#include "platform/FileNames.h"
#include "transfer/ReplyFields.h"
#include "transfer/TransferView.h"
#include "transfer/UploadTransaction.h"
#include "transfer/clsComm.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace tarnaxe {

namespace {

const QString kChunkFileError =
    QStringLiteral("Transmit Error: Cannot open source or create chunk file");

// Exactly length bytes of source, or empty with ok false.
QByteArray readPiece(QFile& source, qint64 length, bool& ok)
{
    QByteArray piece(qsizetype(length), Qt::Uninitialized);
    ok = source.read(piece.data(), length) == length;
    return ok ? piece : QByteArray();
}

} // namespace

QString UploadTransaction::PrepareChunkFolder()
{
    const QString folder = joinPath(m_state.SessionPath, QStringLiteral("Chunks"));
    if (m_state.SessionPath.isEmpty() || (!QDir(folder).exists() && !QDir().mkpath(folder)) ||
        !QFileInfo(folder).isDir())
        return {};
    QDir dir(folder);
    for (const QString& name : dir.entryList(QDir::Files | QDir::Hidden | QDir::System))
        dir.remove(name);
    return folder + QLatin1Char('/');
}

QString UploadTransaction::WriteChunkFile(const QString& sFolder, const QByteArray& bytes,
                                          const QString& sExtension)
{
    const QString path = sFolder + QStringLiteral("Chunk") + sExtension;
    QFile::remove(path);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(bytes) != bytes.size() || !file.flush())
        return {};
    file.close();
    return file.error() == QFileDevice::NoError ? path : QString();
}

bool UploadTransaction::TransmitFileInChunks(const QString& sRemoteName, int iStepIndex,
                                             QString& sMessage, QString& sLocation,
                                             const QString& sTransactionGUID)
{
    const QString source = m_steps.at(iStepIndex).fileSpec;
    if (!fileExists(source)) {
        sMessage = QStringLiteral("File Not Found");
        return false;
    }
    const QString folder = PrepareChunkFolder();
    if (folder.isEmpty()) {
        sMessage = QStringLiteral("Cannot create temporary chunk directory");
        return false;
    }
    QFile input(source);
    if (!input.open(QIODevice::ReadOnly)) {
        sMessage = kChunkFileError;
        return false;
    }
    const QString extension = extensionOfPath(fileNameOfPath(source));
    const qint64 total = input.size();
    qint64 piece = qMin(total, kChunkSize);
    bool read = false;
    QString chunk = WriteChunkFile(folder, readPiece(input, piece, read), extension);
    if (!read || chunk.isEmpty()) {
        sMessage = kChunkFileError;
        return false;
    }
    qint64 sent = piece;
    m_currentFileSize = piece;
    m_http.LocalFileSpec = chunk;
    m_http.PostPage = QStringLiteral("/dataup/WriteFile.asp");
    if (!m_http.SendFile(sRemoteName, sMessage, sTransactionGUID))
        return false;
    drawForBytes(m_currentFileSize, 100);
    m_view.processEvents();
    m_bytesDone += piece;
    if (GetField(m_http.ResponseData, "Status") != "SUCCESS") {
        sMessage = GetFieldText(m_http.ResponseData, "ErrorMessage");
        return false;
    }
    sLocation = GetFieldText(m_http.ResponseData, "Location");

    while (sent < total) {
        piece = qMin(total - sent, kChunkSize);
        chunk = WriteChunkFile(folder, readPiece(input, piece, read), extension);
        if (!read || chunk.isEmpty()) {
            sMessage = kChunkFileError;
            return false;
        }
        m_currentFileSize = piece;
        m_http.PostPage = QStringLiteral("/dataup/AppendToFile.asp");
        QString error;
        if (!m_http.AppendFileOnServer(sLocation, chunk, sent, error, sTransactionGUID)) {
            sMessage = QStringLiteral("Append Error: ") + error;
            return false;
        }
        if (GetField(m_http.ResponseData, "Status") != "SUCCESS") {
            sMessage = QStringLiteral("Append Error: ") +
                       GetFieldText(m_http.ResponseData, "ErrorMessage");
            return false;
        }
        drawForBytes(m_currentFileSize, 100);
        m_view.processEvents();
        m_bytesDone += piece;
        sent += piece;
    }
    sMessage = QStringLiteral("OK");
    return true;
}

} // namespace tarnaxe
