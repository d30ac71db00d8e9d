#pragma once
// MIE files: the one file that travels with an estimate or an assignment beside its EMS
// set. MIE data from the server is saved into the delivery folder under a new name; the
// MIE file of a claim is found in the retrieval folder for the upload.

#include "platform/Clock.h"

#include <QByteArray>
#include <QString>
#include <QTime>

namespace tarnaxe {

// What callers report when locateMieFile finds nothing (the trailing blank is part of it).
inline const QString kMieNotLocatedText =
    QStringLiteral("A corresponding MIE file could not be located. ");

// Hundredths of a second since midnight, rounded: the number that names a saved MIE file.
qint64 mieNumber(const QTime& time);

// Writes data unchanged into deliveryFolder as "<n>.mie", n = mieNumber of the clock's
// time, waiting for the clock to move on while that name (in any case) is taken. An
// existing file is never replaced, and the file appears whole or not at all (it is written
// under a hidden temporary name and renamed). On failure error holds
// "Cannot save MIE (<path>): <reason>".
bool saveMieData(const QString& deliveryFolder, const QByteArray& data, Clock& clock,
                 QString& savedPath, QString& error);

// The MIE file of a claim in retrievalFolder: "<last 8 characters of the claim number,
// trimmed, "-" made "_">.mie", else the first name in name order that matches
// "<claim number, "-" and blanks made "_">*.mie"; names matched without regard to case,
// empty files ignored. False when the folder is missing, the claim number is blank (it
// would match every MIE file) or nothing matches.
bool locateMieFile(const QString& retrievalFolder, const QString& claimNumber, QString& foundPath);

} // namespace tarnaxe
