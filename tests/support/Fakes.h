#pragma once
// Stand-ins for the subsystems that IO hands work to, recording what they were given.

#include "automation/Services.h"

#include <QObject>
#include <QStringList>

namespace tarnaxe::test {

// A transfer form as IO sees it: a window that reports CurrentStatus.
class FakeTransferForm : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    void report(const QString& status, const QString& message)
    {
        emit CurrentStatus(status, message);
    }

signals:
    void CurrentStatus(const QString& sStatus, const QString& sMessage);
};

class FakeEstimateReader : public EstimateReader {
public:
    bool readBasicInfo(const QString& envelopePath, const QDate& cutOff,
                       EstimateRecord& record) override;
    bool readField(const QString& envelopePath, const QString& fieldName, Variant& value) override;

    bool succeed = true;
    EstimateRecord answer;
    QStringList calls; // "basic <path> <cut-off>" or "field <path> <name>"
};

class FakePrintCapture : public PrintCapture {
public:
    bool enable(const QString& printerName) override;
    void poll() override { ++polls; }
    void disable() override { ++disables; }
    bool acceptDocument(const QString& path, const QString& caption, bool ask) override;

    bool accept = true;
    int polls = 0;
    int disables = 0;
    QStringList enabled;
    QStringList accepted; // "<path>|<caption>"
};

class FakePhotoIntake : public PhotoIntake {
public:
    QStringList addPhotos(const QList<PhotoToAdd>& photos) override;
    QStringList added;
};

} // namespace tarnaxe::test
