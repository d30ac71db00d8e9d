#pragma once
// The workstation's settings: which estimating platforms the office uses and where
// their folders are, photos, PDF capture and MIE folders. Section "LocalSettings" of
// "TarnLocal.ini"; loaded afresh by every caller that needs current values.

#include "platform/ProfileFile.h"

#include <QString>
#include <array>

namespace tarnaxe {

inline constexpr int kPlatformSlots = 5;

namespace platform_names {
inline const QString audatex = QStringLiteral("EMS: Audatex");
inline const QString ccc = QStringLiteral("EMS: CCC");
inline const QString mitchell = QStringLiteral("EMS: Mitchell");
inline const QString xactimate = QStringLiteral("Xactimate");
inline const QString custom1 = QStringLiteral("Custom #1");
inline const QString notDefined = QStringLiteral("*not defined");
} // namespace platform_names

class LocalSettings {
public:
    // The file of this user: $XDG_CONFIG_HOME/TarnAxe/TarnLocal.ini. When it does not
    // exist and the machine-wide preset does, the preset is copied there first.
    static QString userFilePath(const QString& presetPath = defaultPresetPath());
    static QString defaultPresetPath();

    explicit LocalSettings(QString filePath);

    const QString& filePath() const { return m_filePath; }

    // Fills every value from the file. A missing or empty key is planted with the value's
    // default; the plantings are written back in one write, and only when they change the
    // file, so that the loads of every call leave a complete file untouched.
    void load();
    // Writes every value (trimmed) in one atomic write; lines of others are kept. False
    // when the file could not be read or written: it is then as it was.
    bool save();

    // Which slots have a defined platform with an existing import folder, as "Y"/"N" per
    // slot; slot 5 is judged by slot 6's platform name. Returns the number of "Y".
    int platformMask(QString& mask) const;

    QString LimitEMSDate = QStringLiteral("0");
    std::array<QString, 7> EMSEstPlatform{}; // 1..6 used
    std::array<QString, 6> EMSImportPath{};  // 1..5 used
    std::array<QString, 6> EMSExportPath{};  // 1..5 used
    qint16 ImageAcqMethod = 0;
    QString ImageDirectory;
    qint16 PDFDriver = 0;
    QString MIEDelivery = QStringLiteral("C:\\Tarn\\ImportMIE");
    QString MIERetrieval = QStringLiteral("C:\\Tarn\\ExportMIE");
    QString WorkfilePath;
    qint16 MonitorPDFPath = 0;
    QString PDFSourcePath1;
    QString PDFSourcePath2;

private:
    // Reads one key of "LocalSettings" from profile. A missing or empty key is planted
    // with value as it is, which stays as it was; the result is then false.
    static bool readKey(ProfileSnapshot& profile, const QString& key, QString& value);
    static bool writeKey(ProfileSnapshot& profile, const QString& key, const QString& value);
    static void readNumber(ProfileSnapshot& profile, const QString& key, QString& buffer,
                           qint16& target);

    QString m_filePath;
};

} // namespace tarnaxe
