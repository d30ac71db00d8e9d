#pragma once
// The operations that IO and the manual attachment hand on to the photo, print-capture
// and EMS subsystems. Each is optional: a subsystem that the agent was built without
// leaves its pointer empty, and the members that need it answer "Object doesn't support
// this action" instead of pretending to succeed.

#include "ems/EstimateRecord.h"
#include "platform/Variant.h"

#include <QDate>
#include <QList>
#include <QString>
#include <QStringList>

namespace tarnaxe {

struct PhotoToAdd {
    QString path;
    QString caption;
};

class PhotoIntake {
public:
    virtual ~PhotoIntake() = default;
    // Copies each photo into the session folder (reduced when too wide) and appends the
    // copies to "Photos" in the order given. Answers one text per photo: empty when it was
    // attached, otherwise a message that names the file and says why it was not.
    virtual QStringList addPhotos(const QList<PhotoToAdd>& photos) = 0;
};

class PrintCapture {
public:
    virtual ~PrintCapture() = default;
    virtual bool enable(const QString& printerName) = 0;
    virtual void poll() = 0;
    // Undoes what enable changed (the printer driver redirection).
    virtual void disable() = 0;
    // Checks a document's size, asks when told to, and appends it to "PrintDocs".
    virtual bool acceptDocument(const QString& path, const QString& caption, bool ask) = 0;
};

class EstimateReader {
public:
    virtual ~EstimateReader() = default;
    // Reads the basic facts of the set whose envelope is envelopePath; sets older than
    // cutOff are refused.
    virtual bool readBasicInfo(const QString& envelopePath, const QDate& cutOff,
                               EstimateRecord& record) = 0;
    virtual bool readField(const QString& envelopePath, const QString& fieldName,
                           Variant& value) = 0;
};

struct Services {
    PhotoIntake* photos = nullptr;
    PrintCapture* printCapture = nullptr;
    EstimateReader* estimates = nullptr;
};

} // namespace tarnaxe
