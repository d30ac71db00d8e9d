#pragma once
// The per-session scratch folder: "IEUser" + n under "FerroClient" in a shell folder,
// n taken from "Master.dat" and rotated 1..8 so that each session starts empty while the
// previous sessions' files survive a little longer. Also the clean-up of old exports.

#include <QString>
#include <functional>

namespace tarnaxe {

class LocalSettings;

struct SessionSetupResult {
    bool ok = false;
    QString sessionPath;   // empty on failure
    QString commandStatus; // the failure text; empty on success
};

// Prepares the session folder inside the shell folder numbered shellFolderId (negative
// means 32, the cache folder). Every file in it is deleted.
SessionSetupResult setUpSession(int shellFolderId);

// Deletes the files of the five EMS export folders last modified before sDate, yielding
// to the user interface after each file. Nothing happens when sDate is not a date.
void cleanUpEms(const QString& sDate, const LocalSettings& settings,
                const std::function<void()>& yieldToUi);

// A fresh GUID as "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" in upper case.
QString newGuidText();

} // namespace tarnaxe
