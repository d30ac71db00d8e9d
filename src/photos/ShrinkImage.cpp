#include "photos/ShrinkImage.h"

#include "photos/PhotoFile.h"

#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QImageWriter>
#include <QSaveFile>
#include <cmath>

namespace tarnaxe {

namespace {

QString copyWhole(const QString& source, const QString& destination)
{
    QFile in(source);
    if (!in.open(QIODevice::ReadOnly))
        return QStringLiteral("it cannot be read (%1)").arg(in.errorString());
    QSaveFile out(destination);
    if (!out.open(QIODevice::WriteOnly))
        return QStringLiteral("its copy cannot be written (%1)").arg(out.errorString());
    QByteArray buffer(256 * 1024, Qt::Uninitialized);
    for (;;) {
        const qint64 got = in.read(buffer.data(), buffer.size());
        if (got < 0)
            return QStringLiteral("it cannot be read (%1)").arg(in.errorString());
        if (got == 0)
            break;
        if (out.write(buffer.constData(), got) != got)
            return QStringLiteral("its copy cannot be written (%1)").arg(out.errorString());
    }
    if (!out.commit())
        return QStringLiteral("its copy cannot be written (%1)").arg(out.errorString());
    return {};
}

bool swapsAxes(QImageIOHandler::Transformations transformation)
{
    return transformation.testFlag(QImageIOHandler::TransformationRotate90);
}

} // namespace

QString ShrinkImage(const QString& source, const QString& destination, qint32 limit)
{
    const QString problem = photoFileProblem(source);
    if (!problem.isEmpty())
        return problem;

    QImageReader reader(source, "jpeg");
    reader.setAutoTransform(true);
    const QSize stored = reader.size();
    const bool swapped = swapsAxes(reader.transformation());
    const QSize shown = swapped ? stored.transposed() : stored;
    if (shown.width() <= limit)
        return copyWhole(source, destination);

    const double factor = double(limit) / shown.width();
    const QSize target(limit, std::max(1, int(std::lround(shown.height() * factor))));
    // The decoder scales the picture as stored, before turning it upright.
    reader.setScaledSize(swapped ? target.transposed() : target);
    const QImage image = reader.read();
    if (image.isNull())
        return QStringLiteral("its picture cannot be read (%1)").arg(reader.errorString());

    QSaveFile out(destination);
    if (!out.open(QIODevice::WriteOnly))
        return QStringLiteral("its copy cannot be written (%1)").arg(out.errorString());
    QImageWriter writer(&out, "jpeg");
    writer.setQuality(kPhotoJpegQuality);
    if (!writer.write(image))
        return QStringLiteral("its copy cannot be written (%1)").arg(writer.errorString());
    if (!out.commit())
        return QStringLiteral("its copy cannot be written (%1)").arg(out.errorString());
    return {};
}

} // namespace tarnaxe
