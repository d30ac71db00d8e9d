#pragma once
// The copy of a photo that goes into the "Photos" list: a photo whose width is within the
// limit is copied byte for byte; a wider one is decoded straight to the limit's width
// (the JPEG decoder scales while decoding, so a camera photo is never held at full size)
// and written as a new JPEG. Either way the destination appears whole or not at all.

#include <QString>

namespace tarnaxe {

// Quality of the JPEG written for a reduced photo: damage must stay legible to the
// adjuster, and a 640-pixel photo at this quality is still only some 60 KB.
inline constexpr int kPhotoJpegQuality = 85;
// The width limit that the photo picker and the manual attachment use.
inline constexpr qint32 kPhotoWidthLimit = 640;

// Makes destination from source; answers why it could not ("it is empty"), or an empty
// text on success. The width compared with limit is the width as the photo is shown,
// after its EXIF orientation; a reduced photo is written upright.
QString ShrinkImage(const QString& source, const QString& destination, qint32 limit);

} // namespace tarnaxe
