#pragma once
// Documents printed to the office's PDF printer, or saved into a watched folder, offered as
// attachments of "PrintDocs". The printer's documents arrive in the session folder: as
// "File*.xdf" where the redirection recorded in the user's registry file sends them
// (driver 1, the agent's own CUPS backend), or as "File*.pdf" saved there by any program
// (other drivers). Each poll takes in at most one of them, and every new PDF of the watched
// folders, once its writer has finished with it.

#include "automation/Services.h"

#include <QDateTime>
#include <QHash>
#include <QSet>
#include <QString>

namespace tarnaxe {

class AttachmentLists;
class LocalSettings;
class Ui;
struct SharedState;

// Where the redirection for driver 1 is recorded.
inline const QString kRedirectRoot = QStringLiteral("HKEY_CURRENT_USER");
inline const QString kRedirectKey = QStringLiteral("Software\\Dane Prairie Systems\\Win2PDF");
inline const QString kRedirectValue = QStringLiteral("PDFFileName");

class PdfCapture : public PrintCapture {
public:
    PdfCapture(LocalSettings& settings, SharedState& state, AttachmentLists& lists, Ui& ui,
               QString registryPath);

    // The printer's name that the page gave is not needed: every document is captioned
    // "Document".
    bool enable(const QString& printerName) override;
    void poll() override;
    void disable() override;
    bool acceptDocument(const QString& path, const QString& caption, bool ask) override;

private:
    struct Seen {
        qint64 size = -1;
        QDateTime modified;
    };

    void scanWatchedFolder(const QString& folder, QDateTime& lastSeen);
    QString nextDriverDocument();
    // Whether the writer has finished with the file; a file that leases cannot judge must
    // keep its size and time from one poll to the next.
    bool finished(const QString& path);
    bool takeIn(const QString& found);

    LocalSettings& m_settings;
    SharedState& m_state;
    AttachmentLists& m_lists;
    Ui& m_ui;
    QString m_registryPath;
    bool m_monitorOn = false;
    QDateTime m_lastSeen[2];
    bool m_polling = false;
    QHash<QString, Seen> m_pending;
    QSet<QString> m_refused; // logged once each
};

} // namespace tarnaxe
