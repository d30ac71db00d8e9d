#include "photos/PhotoFolder.h"

#include "platform/FileNames.h"
#include "platform/Windows1252.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <cmath>

namespace tarnaxe {

namespace {

int hourOf12(QTime time)
{
    return time.hour() % 12 == 0 ? 12 : time.hour() % 12;
}

} // namespace

QString photoFolderFor(int method, const QString& imageDirectory, const QString& vin)
{
    if (method != 2)
        return imageDirectory;
    if (imageDirectory.isEmpty())
        return {};
    QDir root(imageDirectory);
    QStringList folders = root.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString& name : std::as_const(folders)) {
        if (name.endsWith(vin, Qt::CaseInsensitive))
            return joinPath(imageDirectory, name);
    }
    return joinPath(imageDirectory, vin);
}

QString dateCaption(const QDateTime& modified)
{
    const QTime time = modified.time();
    return QStringLiteral("File Date: %1/%2/%3 at %4:%5%6")
        .arg(modified.date().month())
        .arg(modified.date().day())
        .arg(modified.date().year() % 100, 2, 10, QLatin1Char('0'))
        .arg(hourOf12(time))
        .arg(time.minute(), 2, 10, QLatin1Char('0'))
        .arg(time.hour() < 12 ? QStringLiteral("am") : QStringLiteral("pm"));
}

QString dateKey(const QDateTime& modified)
{
    // 99999999.9999 - yyyymmdd.hhnn, done in ten-thousandths so that no rounding creeps in.
    const QDate date = modified.date();
    const QTime time = modified.time();
    const qint64 stamp = (qint64(date.year()) * 10000 + date.month() * 100 + date.day()) * 10000 +
                         time.hour() * 100 + time.minute();
    const qint64 key = 999999999999LL - stamp;
    return QStringLiteral("%1.%2")
        .arg(key / 10000, 8, 10, QLatin1Char('0'))
        .arg(key % 10000, 4, 10, QLatin1Char('0'));
}

QList<PhotoEntry> listPhotos(const QString& folder)
{
    QList<PhotoEntry> entries;
    const QStringList names = filesMatching(folder, QStringLiteral("*.jpg"));
    entries.reserve(names.size());
    for (const QString& name : names) {
        const QFileInfo info(joinPath(folder, name));
        if (info.size() < kSmallestPhoto)
            continue;
        const QDateTime modified = info.lastModified();
        entries.append({name, false, dateCaption(modified), dateKey(modified)});
    }
    return entries;
}

int rowCountFor(int photoCount)
{
    return int(std::rint((photoCount - 1) / 4.0 + 1));
}

QList<int> displayOrder(const QList<PhotoEntry>& entries, int sortOrder)
{
    QList<int> order(entries.size());
    for (int i = 0; i < order.size(); ++i)
        order[i] = i;
    const auto key = [&](int i) -> const QString& {
        return sortOrder == 1 ? entries[i].DateKey : entries[i].FileName;
    };
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
        return QString::compare(key(a), key(b), Qt::CaseInsensitive) < 0;
    });
    return order;
}

QString storageCaption(const QString& photoPath)
{
    const QFileInfo photo(photoPath);
    const QString textName =
        photo.fileName().toUpper().replace(QLatin1String(".JPG"), QLatin1String(".TXT"));
    QFile file(resolvePathIgnoringCase(photo.path(), textName));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QString text = decodeUtf8OrWindows1252(file.read(64 * 1024));
    for (const char16_t removed : {u'\'', u'\0', u'\r', u'\n', u'"'})
        text.remove(QChar(removed));
    text.replace(QLatin1Char('<'), QLatin1Char('['));
    text.replace(QLatin1Char('>'), QLatin1Char(']'));
    return text.left(59);
}

QString vinCaption(const QString& fileName, const QString& vin)
{
    QString caption = fileName;
    caption.remove(QLatin1String(".JPG"), Qt::CaseInsensitive);
    const QString prefix = vin + QLatin1Char('-');
    if (caption.startsWith(prefix, Qt::CaseInsensitive))
        caption = caption.mid(prefix.size());
    return caption;
}

QString attachTimeCaption(const QDateTime& now)
{
    const QTime time = now.time();
    return now.toString(QStringLiteral("MM-dd-yyyy ")) +
           QStringLiteral("%1:%2:%3 %4")
               .arg(hourOf12(time), 2, 10, QLatin1Char('0'))
               .arg(time.minute(), 2, 10, QLatin1Char('0'))
               .arg(time.second(), 2, 10, QLatin1Char('0'))
               .arg(time.hour() < 12 ? QLatin1Char('a') : QLatin1Char('p'));
}

} // namespace tarnaxe
