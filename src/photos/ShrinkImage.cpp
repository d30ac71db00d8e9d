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

} // namespace

QString ShrinkImage(const QString& source, const QString& destination, qint32 limit)
{
    if (const QString problem = photoFileProblem(source); !problem.isEmpty())
        return problem;

    QImageReader reader(source, "jpeg");
    reader.setAutoTransform(true);
    const QSize shown = shownSize(reader);
    if (shown.width() <= limit)
        return copyWhole(source, destination);

    const double factor = double(limit) / shown.width();
    const QSize target(limit, std::max(1, int(std::lround(shown.height() * factor))));
    QString problem;
    const QImage image = readUpright(reader, target, problem);
    if (image.isNull())
        return problem;

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
