#pragma once
// JPEG photos made at run time for tests and benchmarks: the texture of a real photo
// (detail at every scale, as natural scenes have; neither flat colour nor pure noise), a
// red patch in the stored top-left corner to tell which way is up, and optionally an EXIF
// orientation tag.

#include "support/FileContents.h"

#include <QByteArray>
#include <QSize>
#include <QString>

namespace tarnaxe::test {

// The JPEG bytes of a photo of size; orientation is the EXIF value (1 means none written).
QByteArray photoJpeg(QSize size, int orientation = 1, quint32 seed = 1, int quality = 90);
// Writes photoJpeg(...) to path; false when the file cannot be written.
inline bool writePhoto(const QString& path, QSize size, int orientation = 1, quint32 seed = 1)
{
    return writeFileContents(path, photoJpeg(size, orientation, seed));
}

} // namespace tarnaxe::test
