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
    void report(const QString& id, const QString& text) { emit CurrentStatus(id, text); }

signals:
    void CurrentStatus(const QString& sStatus, const QString& sMessage);
};

class FakePrintCapture : public PrintCapture {
public:
    bool enable(const QString&) override { return true; }
    void poll() override {}
    void disable() override { ++disables; }
    bool acceptDocument(const QString& path, const QString& caption, bool) override
    {
        accepted << path + QLatin1Char('|') + caption;
        return true;
    }

    int disables = 0;
    QStringList accepted; // "<path>|<caption>"
};

class FakePhotoIntake : public PhotoIntake {
public:
    QStringList addPhotos(const QList<PhotoToAdd>& photos) override
    {
        for (const PhotoToAdd& photo : photos)
            added << photo.path;
        return QStringList(photos.size());
    }
    QStringList added;
};

} // namespace tarnaxe::test
