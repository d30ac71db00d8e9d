#include "config/LocalSettings.h"

#include "config/PathHelpers.h"
#include "platform/FileNames.h"
#include "platform/Logging.h"
#include "platform/Variant.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <cmath>

namespace tarnaxe {

namespace {
const QString kSection = QStringLiteral("LocalSettings");
const QString kFileName = QStringLiteral("TarnLocal.ini");

QString numbered(const char* base, int n)
{
    return QLatin1String(base) + QString::number(n);
}
} // namespace

QString LocalSettings::defaultPresetPath()
{
    return QStringLiteral("/etc/xdg/TarnAxe/") + kFileName;
}

QString LocalSettings::userFilePath(const QString& presetPath)
{
    const QString folder =
        joinPath(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation),
                 QStringLiteral("TarnAxe"));
    const QString path = joinPath(folder, kFileName);
    if (!QFileInfo::exists(path) && QFileInfo(presetPath).isFile()) {
        QDir().mkpath(folder);
        if (QFile::copy(presetPath, path)) {
            // A copy keeps the preset's read-only mode; the user's own file must be writable.
            QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup |
                                            QFile::ReadOther);
            qCInfo(lcConfig) << "copied the machine-wide settings" << presetPath << "to" << path;
        } else {
            qCWarning(lcConfig) << "could not copy the machine-wide settings" << presetPath;
        }
    }
    return path;
}

LocalSettings::LocalSettings(QString filePath) : m_file(std::move(filePath)) {}

bool LocalSettings::readKey(const QString& key, QString& value)
{
    const QString text = m_file.read(kSection, key);
    if (!text.isEmpty()) {
        value = text;
        return true;
    }
    writeKey(key, value);
    return false;
}

bool LocalSettings::writeKey(const QString& key, const QString& value)
{
    return m_file.write(kSection, key, value.trimmed());
}

void LocalSettings::readNumber(const QString& key, QString& buffer, qint16& target)
{
    // The buffer is shared with the previous numeric key on purpose: a missing key
    // inherits (and plants) the text of the key read before it.
    readKey(key, buffer);
    if (buffer.isEmpty()) {
        target = 0;
        return;
    }
    double value = 0;
    if (isNumericText(buffer, &value) && std::abs(value) < 32767.5)
        target = Variant(value).toInt16();
}

void LocalSettings::load()
{
    ImageAcqMethod = 0;
    ImageDirectory.clear();
    for (int n = 1; n <= kPlatformSlots; ++n) {
        EMSEstPlatform[n] = platform_names::notDefined;
        EMSImportPath[n].clear();
        EMSExportPath[n].clear();
    }
    EMSEstPlatform[6] = platform_names::notDefined;
    LimitEMSDate = QStringLiteral("0");
    MIEDelivery = QStringLiteral("C:\\Tarn\\ImportMIE");
    MIERetrieval = QStringLiteral("C:\\Tarn\\ExportMIE");

    readKey(QStringLiteral("Limit EMS Date"), LimitEMSDate);
    for (int n = 1; n <= kPlatformSlots; ++n) {
        readKey(numbered("EMSEstPlatform", n), EMSEstPlatform[n]);
        readKey(numbered("EMSImportPath", n), EMSImportPath[n]);
        readKey(numbered("EMSExportPath", n), EMSExportPath[n]);
    }
    readKey(numbered("EMSEstPlatform", 6), EMSEstPlatform[6]);

    QString buffer;
    readKey(QStringLiteral("ImageAcqMethod"), buffer);
    if (!buffer.isEmpty()) {
        const double value = leadingNumber(buffer);
        ImageAcqMethod = std::abs(value) < 32767.5 ? Variant(value).toInt16() : qint16(0);
    }
    readKey(QStringLiteral("ImageDirectory"), ImageDirectory);
    readNumber(QStringLiteral("PDFDriver"), buffer, PDFDriver);
    readKey(QStringLiteral("MIEDelivery"), MIEDelivery);
    readKey(QStringLiteral("MIERetrieval"), MIERetrieval);
    readKey(QStringLiteral("WorkfilePath"), WorkfilePath);
    readNumber(QStringLiteral("MonitorPDFPath"), buffer, MonitorPDFPath);
    readKey(QStringLiteral("PDFSourcePath1"), PDFSourcePath1);
    readKey(QStringLiteral("PDFSourcePath2"), PDFSourcePath2);
}

void LocalSettings::save()
{
    writeKey(QStringLiteral("Limit EMS Date"), LimitEMSDate);
    for (int n = 1; n <= kPlatformSlots; ++n) {
        writeKey(numbered("EMSEstPlatform", n), EMSEstPlatform[n]);
        writeKey(numbered("EMSImportPath", n), EMSImportPath[n]);
        writeKey(numbered("EMSExportPath", n), EMSExportPath[n]);
    }
    writeKey(numbered("EMSEstPlatform", 6), EMSEstPlatform[6]);
    writeKey(QStringLiteral("ImageAcqMethod"), QString::number(ImageAcqMethod));
    writeKey(QStringLiteral("ImageDirectory"), ImageDirectory);
    writeKey(QStringLiteral("PDFDriver"), QString::number(PDFDriver));
    writeKey(QStringLiteral("MIEDelivery"), MIEDelivery);
    writeKey(QStringLiteral("MIERetrieval"), MIERetrieval);
    writeKey(QStringLiteral("WorkfilePath"), WorkfilePath);
    writeKey(QStringLiteral("MonitorPDFPath"), QString::number(MonitorPDFPath));
    writeKey(QStringLiteral("PDFSourcePath1"), PDFSourcePath1);
    writeKey(QStringLiteral("PDFSourcePath2"), PDFSourcePath2);
}

int LocalSettings::platformMask(QString& mask) const
{
    mask = QStringLiteral("NNNNN");
    int count = 0;
    for (int n = 1; n <= kPlatformSlots; ++n) {
        // Slot 5 has always been judged by slot 6's name; offices' files depend on it.
        const QString& name = EMSEstPlatform[n == 5 ? 6 : n];
        if (name != platform_names::notDefined && !EMSImportPath[n].isEmpty() &&
            folderExists(EMSImportPath[n])) {
            mask[n - 1] = QLatin1Char('Y');
            ++count;
        }
    }
    return count;
}

} // namespace tarnaxe
