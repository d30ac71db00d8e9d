#pragma once
// The values that every IO object of the process shares: the host's property values,
// the session, the selection modes read by the pickers and the pending transfer request.
// Created once per process with these initial values.

#include <QString>

namespace tarnaxe {

// A plain set of values that the transfer form reads when it starts; there is no queue.
struct TransferRequest {
    QString IOCommand; // "READ", "WRITE" or "READMIE"
    QString AssignmentGUID;
    QString EstimateGUID;
    QString WorkerGUID;
    QString WorkerTypeID;
    QString RemoteServer;
};

struct SharedState {
    bool SessionReady = false;
    QString CommandStatus;
    QString SessionPath;

    qint32 ScaleFactor = 52000;
    qint32 ShellFolderID = -1; // negative means 32, the cache folder
    qint32 MaxKperPDF = 500;
    bool Secure = false;
    bool ChunkFiles = true;
    bool EnableMIE = false;
    bool EnableWorkfile = false;
    QString PDFPrinterName;
    QString CurrentPolicyClaim;
    bool PrintCaptureActive = false;

    QString PhotoSelectMode; // "0" all photos, "2" by VIN
    QString PhotoVINMatch;
    qint32 PhotoCounter = 1;    // the number of the next "Img<n>.jpg" in the session folder
    qint32 DocumentCounter = 1; // the number of the next captured "<n>.pdf"
    bool AutoSelectMode = false;
    QString AutoClaim;
    QString AutoVIN;

    QString AttachFolder; // where SelectFile's dialog opens: the folder chosen last

    TransferRequest request;
    // Which delivery slots an assignment goes to: "Y" or "N" per slot; empty for none.
    QString FormatSelection;
};

} // namespace tarnaxe
