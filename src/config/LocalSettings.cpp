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

LocalSettings::LocalSettings(QString filePath) : m_filePath(std::move(filePath)) {}

bool LocalSettings::readKey(ProfileSnapshot& profile, const QString& key, QString& value)
{
    const QString text = profile.read(kSection, key);
    if (!text.isEmpty()) {
        value = text;
        return true;
    }
    writeKey(profile, key, value);
    return false;
}

bool LocalSettings::writeKey(ProfileSnapshot& profile, const QString& key, const QString& value)
{
    return profile.write(kSection, key, value.trimmed());
}

void LocalSettings::readNumber(ProfileSnapshot& profile, const QString& key, QString& buffer,
                               qint16& target)
{
    // The buffer is shared with the previous numeric key on purpose: a missing key
    // inherits (and plants) the text of the key read before it.
    readKey(profile, key, buffer);
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

    ProfileSnapshot profile(m_filePath);
    readKey(profile, QStringLiteral("Limit EMS Date"), LimitEMSDate);
    for (int n = 1; n <= kPlatformSlots; ++n) {
        readKey(profile, numbered("EMSEstPlatform", n), EMSEstPlatform[n]);
        readKey(profile, numbered("EMSImportPath", n), EMSImportPath[n]);
        readKey(profile, numbered("EMSExportPath", n), EMSExportPath[n]);
    }
    readKey(profile, numbered("EMSEstPlatform", 6), EMSEstPlatform[6]);

    QString buffer;
    readKey(profile, QStringLiteral("ImageAcqMethod"), buffer);
    if (!buffer.isEmpty()) {
        const double value = leadingNumber(buffer);
        ImageAcqMethod = std::abs(value) < 32767.5 ? Variant(value).toInt16() : qint16(0);
    }
    readKey(profile, QStringLiteral("ImageDirectory"), ImageDirectory);
    readNumber(profile, QStringLiteral("PDFDriver"), buffer, PDFDriver);
    readKey(profile, QStringLiteral("MIEDelivery"), MIEDelivery);
    readKey(profile, QStringLiteral("MIERetrieval"), MIERetrieval);
    readKey(profile, QStringLiteral("WorkfilePath"), WorkfilePath);
    readNumber(profile, QStringLiteral("MonitorPDFPath"), buffer, MonitorPDFPath);
    readKey(profile, QStringLiteral("PDFSourcePath1"), PDFSourcePath1);
    readKey(profile, QStringLiteral("PDFSourcePath2"), PDFSourcePath2);
    // An edit saved in an editor since the read wins; the next load plants again.
    profile.save(ProfileSnapshot::Overwrite::OnlyIfUnchanged);
}

bool LocalSettings::save()
{
    ProfileSnapshot profile(m_filePath);
    // A file that cannot be read refuses every write: nothing of it would be kept.
    bool written = true;
    const auto put = [&](const QString& key, const QString& value) {
        written = writeKey(profile, key, value) && written;
    };
    put(QStringLiteral("Limit EMS Date"), LimitEMSDate);
    for (int n = 1; n <= kPlatformSlots; ++n) {
        put(numbered("EMSEstPlatform", n), EMSEstPlatform[n]);
        put(numbered("EMSImportPath", n), EMSImportPath[n]);
        put(numbered("EMSExportPath", n), EMSExportPath[n]);
    }
    put(numbered("EMSEstPlatform", 6), EMSEstPlatform[6]);
    put(QStringLiteral("ImageAcqMethod"), QString::number(ImageAcqMethod));
    put(QStringLiteral("ImageDirectory"), ImageDirectory);
    put(QStringLiteral("PDFDriver"), QString::number(PDFDriver));
    put(QStringLiteral("MIEDelivery"), MIEDelivery);
    put(QStringLiteral("MIERetrieval"), MIERetrieval);
    put(QStringLiteral("WorkfilePath"), WorkfilePath);
    put(QStringLiteral("MonitorPDFPath"), QString::number(MonitorPDFPath));
    put(QStringLiteral("PDFSourcePath1"), PDFSourcePath1);
    put(QStringLiteral("PDFSourcePath2"), PDFSourcePath2);
    return written && profile.save();
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
