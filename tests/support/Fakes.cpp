#include "support/Fakes.h"

namespace tarnaxe::test {

bool FakeEstimateReader::readBasicInfo(const QString& envelopePath, const QDate& cutOff,
                                       EstimateRecord& record)
{
    calls.append(QStringLiteral("basic %1 %2").arg(envelopePath, cutOff.toString(Qt::ISODate)));
    if (!succeed)
        return false;
    record = answer;
    record.envelopeFile = envelopePath;
    return true;
}

bool FakeEstimateReader::readField(const QString& envelopePath, const QString& fieldName,
                                   Variant& value)
{
    calls.append(QStringLiteral("field %1 %2").arg(envelopePath, fieldName));
    if (!succeed)
        return false;
    value = QStringLiteral("value of ") + fieldName;
    return true;
}

bool FakePrintCapture::enable(const QString& printerName)
{
    enabled.append(printerName);
    return true;
}

bool FakePrintCapture::acceptDocument(const QString& path, const QString& caption, bool)
{
    accepted.append(path + QLatin1Char('|') + caption);
    return accept;
}

QStringList FakePhotoIntake::addPhotos(const QList<PhotoToAdd>& photos)
{
    QStringList problems;
    for (const PhotoToAdd& photo : photos) {
        added.append(photo.path);
        problems.append(QString());
    }
    return problems;
}

} // namespace tarnaxe::test
