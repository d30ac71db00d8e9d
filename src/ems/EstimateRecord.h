#pragma once
// What the agent knows of one attached estimate: the basic facts read from its EMS file
// set (shown in lists and returned to the page), the preparse values sent with an upload,
// and the member files collected for the upload.

#include <QList>
#include <QString>

namespace tarnaxe {

struct EstimateMemberFile {
    QString path;
    qint64 size = 0;
    int index = 0; // row of the EMS member table
};

struct EstimateRecord {
    // Basic estimate information; envelopeFile is always the first field.
    QString envelopeFile;
    QString estimateFileId;
    QString supplementNumber;
    QString creationStamp;
    QString creationDate;
    QString vehicle;
    QString owner;
    QString insured;
    QString claimant;
    QString claimNumber;
    QString policyNumber;
    QString baseName;
    QString platformCode;
    QString status;

    // Envelope information, filled when the estimate is attached.
    qint64 envelopeSize = 0;
    bool supplement = false;
    int estimateType = 0; // platform code "A" 1, "C" 2, "M" 3, "P" 4, any other 0

    // Preparse information, filled before an upload.
    QString insuranceCompany;
    QString preparsedClaimNumber;
    QString preparsedPolicyNumber;
    QString insuredName;
    QString ownerName;
    QString claimantName;
    QString vehicleDescription;
    QString vin;
    qint32 totalCents = 0;
    bool parsed = false;

    // Files of the set, for the upload.
    QString mieFile;
    QList<EstimateMemberFile> files;
    qint64 totalSize = 0;
};

} // namespace tarnaxe
