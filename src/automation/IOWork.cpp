// IO's members that hand work to other subsystems: the pickers, the transfer form and
// the EMS reader.

#include "automation/AttachmentLists.h"
#include "automation/FormRegistry.h"
#include "automation/IO.h"
#include "automation/SharedState.h"
#include "config/LocalSettings.h"
#include "config/PathHelpers.h"
#include "platform/Logging.h"
#include "platform/Ui.h"

namespace tarnaxe {

namespace {
const QString kCannotPerform = QStringLiteral("Cannot perform request");
const QString kCannotProceed = QStringLiteral("Cannot proceed");
const QString kTransferForm = QStringLiteral("frmIO");
} // namespace

QString IO::SelectPhotos()
{
    m_context.settings.load();
    m_context.state.PhotoSelectMode = QStringLiteral("0");
    m_context.forms.show(QStringLiteral("frmImagePicker"));
    return {};
}

QString IO::SelectPhotoByVIN(const QString& sVINMatch)
{
    const QString vin = sVINMatch.trimmed().toUpper();
    if (vin.isEmpty()) {
        m_context.ui.message(QStringLiteral("VIN cannot be empty"), kCannotProceed);
        return {};
    }
    for (const QChar c : vin) {
        const bool alphanumeric = (c >= QLatin1Char('0') && c <= QLatin1Char('9')) ||
                                  (c >= QLatin1Char('A') && c <= QLatin1Char('Z'));
        if (!alphanumeric) {
            m_context.ui.message(
                QStringLiteral("VIN photo matching only works on alphanumeric characters"),
                kCannotProceed);
            return {};
        }
    }
    m_context.settings.load();
    m_context.state.PhotoSelectMode = QStringLiteral("2");
    m_context.state.PhotoVINMatch = vin;
    m_context.forms.show(QStringLiteral("frmImagePicker"));
    return {};
}

QString IO::SelectWorkfilePhotos(const QString&, const QString&)
{
    m_context.settings.load();
    m_context.ui.message(QStringLiteral("Workfile image selection is not enabled"), kCannotPerform,
                         MessageIcon::Critical);
    return {};
}

bool IO::EnablePrintCapture()
{
    m_context.settings.load();
    if (m_context.state.PDFPrinterName.isEmpty())
        m_context.state.PDFPrinterName = QStringLiteral("Ostrova IT");
    if (!m_context.services.printCapture)
        throw AutomationError::actionNotSupported();
    return m_context.services.printCapture->enable(m_context.state.PDFPrinterName);
}

bool IO::DeliverAssignment(const Variant& sAssignmentGUID, const Variant& sRemoteServer)
{
    m_context.settings.load();
    TransferRequest& request = m_context.state.request;
    request.AssignmentGUID = sAssignmentGUID.toText();
    request.IOCommand = QStringLiteral("READ");
    request.RemoteServer = sRemoteServer.toText();
    startTransfer();
    return true;
}

bool IO::MoveFilesToServer(const Variant& sAssignmentGUID, const Variant& sWorkerGUID,
                           const Variant& sWorkerTypeID, const Variant& sFTPIPAddress)
{
    TransferRequest& request = m_context.state.request;
    request.AssignmentGUID = sAssignmentGUID.toText();
    request.IOCommand = QStringLiteral("WRITE");
    request.WorkerGUID = sWorkerGUID.toText();
    request.WorkerTypeID = sWorkerTypeID.toText();
    request.RemoteServer = sFTPIPAddress.toText();
    startTransfer();
    return true;
}

bool IO::DeliverMIEFile(const Variant& sEstimateGUID, const Variant& sRemoteServer)
{
    m_context.settings.load();
    if (!m_context.state.EnableMIE) {
        m_context.ui.message(QStringLiteral("MIE transfer is not enabled"), kCannotPerform,
                             MessageIcon::Critical);
        return false;
    }
    if (!folderExists(m_context.settings.MIEDelivery)) {
        m_context.ui.message(QStringLiteral("MIE destination path is not valid"), kCannotPerform,
                             MessageIcon::Critical);
        return false;
    }
    TransferRequest& request = m_context.state.request;
    request.EstimateGUID = sEstimateGUID.toText();
    request.IOCommand = QStringLiteral("READMIE");
    request.RemoteServer = sRemoteServer.toText();
    startTransfer();
    return false;
}

void IO::startTransfer()
{
    FormRegistry& forms = m_context.forms;
    if (QObject* running = forms.find(kTransferForm)) {
        // The request values have been overwritten all the same; the running form took its
        // own copy when it started, so it goes on with that. Nothing else tells of the call.
        const TransferRequest& request = m_context.state.request;
        qCWarning(lcAutomation).noquote()
            << "a transfer is running; the" << request.IOCommand << "call for"
            << (request.IOCommand == QLatin1String("READMIE") ? request.EstimateGUID
                                                              : request.AssignmentGUID)
            << "on" << request.RemoteServer << "started nothing";
        m_context.ui.bringToFront(running);
        return;
    }
    if (!forms.hasFactory(kTransferForm))
        throw AutomationError::actionNotSupported();
    m_lastIOStatusID = QStringLiteral("BUSY");
    m_lastIOStatusMessage = QStringLiteral("Loading");
    QObject* form = forms.load(kTransferForm);
    if (!form)
        throw AutomationError::actionNotSupported();
    m_transferForm = form;
    if (!connect(form, SIGNAL(CurrentStatus(QString, QString)), this,
                 SLOT(myIO_CurrentStatus(QString, QString))))
        qCWarning(lcAutomation) << "the transfer form has no CurrentStatus signal";
    m_context.ui.showWindow(form);
    m_context.ui.bringToFront(form);
}

bool IO::SelectEstimate()
{
    m_context.state.AutoSelectMode = false;
    m_context.forms.show(QStringLiteral("frmEMSSelect"));
    return false;
}

bool IO::AutoSelectEstimate(const Variant& vClaim, const Variant& vVIN)
{
    m_context.state.AutoSelectMode = true;
    m_context.state.AutoClaim = vClaim.toText();
    m_context.state.AutoVIN = vVIN.toText();
    m_context.forms.show(QStringLiteral("frmEMSSelect"));
    return false;
}

void IO::PerformSetup()
{
    m_context.forms.show(QStringLiteral("frmLocalSetup"));
}

EstimateReader& IO::estimateReader()
{
    if (!m_context.services.estimates)
        throw AutomationError::actionNotSupported();
    return *m_context.services.estimates;
}

bool IO::Get_Estimate_Field(const Variant& vFieldName)
{
    m_estimateField = Variant(QString());
    if (m_context.lists.estimates().isEmpty())
        return false;
    Variant value;
    const bool ok = estimateReader().readField(m_context.lists.estimates().first().envelopeFile,
                                               vFieldName.toText(), value);
    if (ok)
        m_estimateField = value;
    return ok;
}

void IO::GetBasicEstimateInfo(QList<Variant>& args)
{
    const QString error = QStringLiteral("<error>");
    for (int i : {1, 2, 3, 4, 7})
        args[i] = error;
    args[5] = QString();
    args[6] = QString();
    const QString file = args[0].toText();
    if (file.right(4).toUpper() != QLatin1String(".ENV"))
        return;
    EstimateRecord record;
    if (!estimateReader().readBasicInfo(file, QDate(1940, 1, 1), record))
        return;
    args[1] = record.vehicle;
    args[2] = record.claimNumber;
    args[3] = record.policyNumber;
    args[4] = record.insured;
    args[5] = record.estimateFileId;
    args[6] = record.supplementNumber;
    args[7] = record.owner;
}

bool IO::ManualSelectEMS(const Variant& vEnvFile)
{
    const QString path = vEnvFile.toText();
    if (!fileExists(path))
        return false;
    EstimateRecord record;
    if (!estimateReader().readBasicInfo(path, QDate(1950, 1, 1), record))
        return false;
    m_context.lists.appendEstimate(record);
    return true;
}

} // namespace tarnaxe
