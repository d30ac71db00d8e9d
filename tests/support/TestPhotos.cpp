#include "support/TestPhotos.h"

#include <QBuffer>
#include <QImage>
#include <QImageWriter>
#include <QPainter>
#include <QRandomGenerator>

namespace tarnaxe::test {

namespace {

// Noise at five scales, each smoothed up to full size and laid over the coarser ones.
QImage texture(QSize size, quint32 seed)
{
    QRandomGenerator random(seed);
    QImage image(size, QImage::Format_RGB32);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    double opacity = 1.0;
    for (int divisor : {256, 64, 16, 4, 1}) {
        const QSize coarse(std::max(2, size.width() / divisor),
                           std::max(2, size.height() / divisor));
        QImage noise(coarse, QImage::Format_RGB32);
        for (int y = 0; y < coarse.height(); ++y) {
            auto* line = reinterpret_cast<QRgb*>(noise.scanLine(y));
            for (int x = 0; x < coarse.width(); ++x)
                line[x] = random.generate() | 0xFF000000u;
        }
        painter.setOpacity(opacity);
        painter.drawImage(QRect(QPoint(0, 0), size), noise);
        opacity *= 0.6;
    }
    painter.setOpacity(1.0);
    painter.fillRect(0, 0, std::max(1, size.width() / 4), std::max(1, size.height() / 4), Qt::red);
    return image;
}

// An APP1 segment holding only the orientation tag: "Exif", a little-endian TIFF header,
// one directory with one SHORT entry (tag 0x0112) whose value is at byte 28.
QByteArray exifOrientation(int orientation)
{
    QByteArray segment = QByteArray::fromHex("FFE10022457869660000"
                                             "49492A0008000000"
                                             "0100"
                                             "120103000100000000000000"
                                             "00000000");
    segment[28] = char(orientation);
    return segment;
}

} // namespace

QByteArray photoJpeg(QSize size, int orientation, quint32 seed, int quality)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(quality);
    writer.write(texture(size, seed));
    QByteArray bytes = buffer.data();
    if (orientation != 1)
        bytes.insert(2, exifOrientation(orientation));
    return bytes;
}

} // namespace tarnaxe::test
