#pragma once
// What the photo picker lists and how it names what it attaches: the folder chosen by the
// acquisition method, the photos found in it with their sort keys, the display order, the
// number of scroll positions, and the captions of the storage and VIN methods.

#include <QDateTime>
#include <QList>
#include <QString>

namespace tarnaxe {

struct PhotoEntry {
    QString FileName;
    bool Selected = false;
    QString DateCaption; // "File Date: 3/5/07 at 2:07pm"
    QString DateKey;     // newer files give smaller keys
};

// Files of 500 bytes or less are no photos (an empty or broken camera write).
inline constexpr qint64 kSmallestPhoto = 501;

// The folder of the fixed and the VIN method: ImageDirectory itself, or for the VIN method
// the first sub-folder whose name ends in the VIN, else ImageDirectory + "/" + VIN.
// Whether it exists is for the caller to find out.
QString photoFolderFor(int method, const QString& imageDirectory, const QString& vin);

// The "*.jpg" files of folder (any case) larger than 500 bytes, in name order.
QList<PhotoEntry> listPhotos(const QString& folder);

QString dateCaption(const QDateTime& modified);
QString dateKey(const QDateTime& modified);

// Scroll positions for a number of photos: (count - 1) / 4 + 1 rounded to the nearest
// whole number, ties to even; kept as it always was, so 8 photos give 3 and 7 give 2.
int rowCountFor(int photoCount);

// Entry indexes (0-based) in display order: by DateKey when sortOrder is 1, by file name
// otherwise, both compared as text without regard to case.
QList<int> displayOrder(const QList<PhotoEntry>& entries, int sortOrder);

// The caption of a photo attached by the storage method: the text of the ".TXT" file
// beside it, cleaned and cut to 59 characters; empty when there is none.
QString storageCaption(const QString& photoPath);
// The caption of a photo attached by the VIN method: its file name without ".JPG" and
// without a leading VIN + "-".
QString vinCaption(const QString& fileName, const QString& vin);
// The caption of a photo attached by the fixed method: "03-05-2007 02:07:09 p".
QString attachTimeCaption(const QDateTime& now);

} // namespace tarnaxe
