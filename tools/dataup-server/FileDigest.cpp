#include "FileDigest.h"

#include <QCryptographicHash>
#include <QFile>

namespace tarnaxe::dataup {

QString storedFileSha256(Store& store, const DataFolder& folder, const FileRecord& file)
{
    if (QString cached = store.cachedSha256(file.id, file.size); !cached.isEmpty())
        return cached;
    QFile input(folder.storedFile(file.id));
    if (!input.open(QIODevice::ReadOnly))
        return {};
    QCryptographicHash hash(QCryptographicHash::Sha256);
    QByteArray buffer(1024 * 1024, Qt::Uninitialized);
    qint64 left = file.size;
    while (left > 0) {
        const qint64 got = input.read(buffer.data(), std::min<qint64>(left, buffer.size()));
        if (got <= 0)
            return {};
        hash.addData(QByteArrayView(buffer.constData(), got));
        left -= got;
    }
    const QString digest = QString::fromLatin1(hash.result().toHex());
    store.cacheSha256(file.id, file.size, digest);
    return digest;
}

const char* contentTypeOf(const QString& path, const QByteArray& recordedName)
{
    QFile input(path);
    QByteArray head;
    if (input.open(QIODevice::ReadOnly))
        head = input.read(16);
    if (head.startsWith("\xFF\xD8\xFF"))
        return "image/jpeg";
    if (head.startsWith("\x89PNG\r\n\x1A\n"))
        return "image/png";
    if (head.startsWith("GIF87a") || head.startsWith("GIF89a"))
        return "image/gif";
    if (head.startsWith("BM"))
        return "image/bmp";
    if (head.startsWith("II*") || head.startsWith("MM\0*"))
        return "image/tiff";
    if (head.startsWith("%PDF"))
        return "application/pdf";
    const QByteArray name = recordedName.toLower();
    if (name.endsWith(".txt"))
        return "text/plain; charset=windows-1252";
    return "application/octet-stream";
}

} // namespace tarnaxe::dataup
