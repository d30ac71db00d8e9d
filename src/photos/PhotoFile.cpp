#include "photos/PhotoFile.h"

#include <QByteArrayView>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>

namespace tarnaxe {

namespace {

// The offset of the first start-of-scan marker, found by walking the header segments; -1
// when the header runs off the end of the data.
qsizetype startOfScan(QByteArrayView data)
{
    qsizetype at = 2; // after the start-of-image marker
    while (at + 1 < data.size()) {
        if (quint8(data[at]) != 0xFF)
            return -1;
        const quint8 marker = quint8(data[at + 1]);
        if (marker == 0xFF) { // fill byte
            ++at;
            continue;
        }
        if (marker == 0xDA)
            return at;
        if (marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7)) {
            at += 2;
            continue;
        }
        if (at + 3 >= data.size())
            return -1;
        const int length = (quint8(data[at + 2]) << 8) | quint8(data[at + 3]);
        if (length < 2)
            return -1;
        at += 2 + length;
    }
    return -1;
}

// A complete JPEG has an end-of-image marker after its first scan; entropy-coded data
// never holds 0xFF 0xD9, so any such pair after the scan starts is the real end (data that
// some cameras append after it does not matter).
bool jpegIsComplete(QByteArrayView data)
{
    const qsizetype scan = startOfScan(data);
    if (scan < 0)
        return false;
    return data.sliced(scan).lastIndexOf(QByteArrayView("\xFF\xD9", 2)) >= 0;
}

QString formatProblem(QFile& file)
{
    QImageReader reader(&file);
    const QByteArray format = reader.format();
    if (format.isEmpty())
        return QStringLiteral("it is not a JPEG picture");
    return QStringLiteral("it is not a JPEG picture but a %1 picture")
        .arg(QString::fromLatin1(format).toUpper());
}

} // namespace

QString photoFileProblem(const QString& path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return QStringLiteral("the file no longer exists");
    if (info.isDir())
        return QStringLiteral("it is a folder, not a file");
    if (!info.isFile())
        return QStringLiteral("it is not a regular file");
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("it cannot be read (%1)").arg(file.errorString());
    if (file.size() == 0)
        return QStringLiteral("it is empty");
    uchar* mapped = file.map(0, file.size());
    if (!mapped)
        return QStringLiteral("it cannot be read (%1)").arg(file.errorString());
    const QByteArrayView data(mapped, file.size());
    if (!data.startsWith(QByteArrayView("\xFF\xD8\xFF", 3))) {
        file.unmap(mapped);
        file.seek(0);
        return formatProblem(file);
    }
    const bool complete = jpegIsComplete(data);
    file.unmap(mapped);
    if (!complete)
        return QStringLiteral("the file is incomplete (it ends before its picture does)");
    file.seek(0);
    QImageReader reader(&file, "jpeg");
    const QSize size = reader.size();
    if (!size.isValid())
        return QStringLiteral("its picture cannot be read (%1)").arg(reader.errorString());
    if (qint64(size.width()) * size.height() > kMaxPhotoPixels)
        return QStringLiteral("its picture is too large to be a photo (%1 x %2 pixels)")
            .arg(size.width())
            .arg(size.height());
    return {};
}

QSize shownSize(const QImageReader& reader)
{
    const QSize stored = reader.size();
    return reader.transformation().testFlag(QImageIOHandler::TransformationRotate90)
               ? stored.transposed()
               : stored;
}

QImage readUpright(QImageReader& reader, QSize shown, QString& problem)
{
    // The decoder scales the picture as stored, before turning it upright.
    const bool turned = reader.transformation().testFlag(QImageIOHandler::TransformationRotate90);
    reader.setScaledSize(turned ? shown.transposed() : shown);
    QImage image = reader.read();
    if (image.isNull())
        problem = QStringLiteral("its picture cannot be read (%1)").arg(reader.errorString());
    return image;
}

QString photoNotAttached(const QString& path, const QString& problem)
{
    return QStringLiteral("The photo ") + path + QStringLiteral(" was not attached: ") + problem +
           QLatin1Char('.');
}

} // namespace tarnaxe
