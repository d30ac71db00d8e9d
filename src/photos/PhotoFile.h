#pragma once
// What makes a file unusable as a photo, found before anything is decoded or copied, and
// the upright, scaled read of a photo that passed. The JPEG decoder hides one fault: it
// fills a truncated picture with grey and reports success, so completeness is checked
// here, from the file's own markers.

#include <QImage>
#include <QString>

class QImageReader;

namespace tarnaxe {

// No camera or phone makes more; a header that claims more is damaged or hostile.
inline constexpr qint64 kMaxPhotoPixels = 250'000'000;

// Why the file at path cannot be attached as a photo ("it is empty"), or an empty text
// when it is a complete JPEG of a plausible size.
QString photoFileProblem(const QString& path);

// The size of the picture as it is shown: the stored size, turned by its EXIF orientation.
// The reader must have auto-transform on.
QSize shownSize(const QImageReader& reader);
// Decodes the picture upright at shown size, scaled while decoding; a null image, with
// problem saying why, when it cannot.
QImage readUpright(QImageReader& reader, QSize shown, QString& problem);

// "The photo <path> was not attached: <problem>."
QString photoNotAttached(const QString& path, const QString& problem);

} // namespace tarnaxe
