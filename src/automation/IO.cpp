#include "automation/IO.h"

#include "automation/AttachmentLists.h"
#include "automation/FormRegistry.h"
#include "automation/HelperTimer.h"
#include "automation/ManualAttach.h"
#include "automation/SharedState.h"
#include "config/LocalSettings.h"
#include "config/PathHelpers.h"
#include "config/SessionWorkspace.h"
#include "platform/Logging.h"
#include "platform/Ui.h"

#include <QCoreApplication>

namespace tarnaxe {

namespace {
const QString kCannotPerform = QStringLiteral("Cannot perform request");
const QString kCannotProceed = QStringLiteral("Cannot proceed");
const QString kTransferForm = QStringLiteral("frmIO");
} // namespace

IO::IO(AgentContext& context, QObject* parent) : Dispatchable(parent), m_context(context)
{
    m_helper = new HelperTimer(this, context.helperIntervalMs);
    connect(m_helper, &HelperTimer::TimerPulse, this, &IO::myHelper_TimerPulse);
    connect(this, &IO::PublishInfo, this,
            [this] { emit eventRaised(QStringLiteral("PublishInfo"), {}); });
    connect(this, &IO::IOStatus, this, [this](const QString& status, const QString& message) {
        emit eventRaised(QStringLiteral("IOStatus"), {status, message});
    });
}

IO::~IO()
{
    if (m_helper)
        m_helper->unload();
    if (m_context.services.printCapture)
        m_context.services.printCapture->disable();
    for (const char* list : {"Photos", "PrintDocs", "Estimates", "Files"})
        m_context.lists.zap(QString::fromLatin1(list));
}

void IO::Init()
{
    SharedState& state = m_context.state;
    if (state.SessionReady) {
        // The session is prepared once per process; a page that connects later is still
        // told about changes to the lists.
        m_initialised = true;
        return;
    }
    state.CommandStatus = QStringLiteral("Failed");
    const SessionSetupResult session = setUpSession(state.ShellFolderID);
    state.SessionReady = session.ok;
    state.SessionPath = session.sessionPath;
    if (!session.ok) {
        state.CommandStatus = session.commandStatus;
        return;
    }
    state.CommandStatus = QStringLiteral("OK");
    state.PrintCaptureActive = false;
    for (const char* list : {"PrintDocs", "Photos", "Files", "Estimates"})
        m_context.lists.zap(QString::fromLatin1(list));
    m_initialised = true;
}

QString IO::CommandStatus() const
{
    return m_context.state.CommandStatus;
}

qint16 IO::TheCountOf(const QString& sOfWhat) const
{
    return m_context.lists.countOf(sOfWhat);
}

QString IO::TheNameOf(const QString& sOfWhat, const Variant& vNo) const
{
    return m_context.lists.nameOf(sOfWhat, vNo.toInt16());
}

Variant IO::TheCaptionOf(const QString& sOfWhat, const Variant& vNo) const
{
    return m_context.lists.captionOf(sOfWhat, vNo.toInt16());
}

void IO::setTheCaptionOf(const QString& sOfWhat, const Variant& vNo, const Variant& value)
{
    m_context.lists.setCaptionOf(sOfWhat, vNo.toInt16(), value.toText());
}

void IO::setSecure(const Variant& value)
{
    bool& secure = m_context.state.Secure;
    if (value.isBoolean()) {
        secure = value.boolValue();
        return;
    }
    secure = false;
    if (value.isNumeric() && value.toDouble() == 1)
        secure = true;
}

void IO::setChunkFiles(const Variant& value)
{
    // A Boolean is numeric but its text ("True"/"False") reads as 0, so any Boolean turns
    // chunking off. Pages rely on this.
    bool& chunk = m_context.state.ChunkFiles;
    chunk = true;
    if (value.isNumeric() && leadingNumber(value.toText()) == 0)
        chunk = false;
}

Variant IO::ScaleFactor() const
{
    return Variant(m_context.state.ScaleFactor);
}

void IO::setScaleFactor(const Variant& value)
{
    if (!value.isNumeric())
        return;
    const double v = value.toDouble();
    if (v > 30000 && v < 200000)
        m_context.state.ScaleFactor = Variant(v).toInt32();
}

void IO::ZAP(const QString& sWhat)
{
    m_context.lists.zap(sWhat);
}

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
        // The request values have been overwritten all the same; the running form reads
        // them only when it starts, so it goes on with its own.
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

bool IO::SelectFile()
{
    if (m_helper)
        m_context.ui.bringToFront(m_helper);
    attachFilesByHand(m_context);
    return true;
}

bool IO::ZAPLocalFile(const QString& sOfWhat, const Variant& vNo)
{
    if (listKindByName(sOfWhat))
        m_context.lists.remove(sOfWhat, vNo.toInt16());
    return false;
}

bool IO::CleanUpEMS(const QString& sDate)
{
    cleanUpEms(sDate, m_context.settings, m_context.yieldToUi);
    return false;
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

void IO::setTempFileLocation(const QString& value)
{
    double number = 0;
    if (isNumericText(value, &number) && number > -2147483648.5 && number < 2147483647.5)
        m_context.state.ShellFolderID = Variant(number).toInt32();
}

void IO::setCurrentPolicyClaim(const QString& value)
{
    m_context.state.CurrentPolicyClaim = value.trimmed();
}

void IO::setPDFPrinterName(const QString& value)
{
    m_context.state.PDFPrinterName = value.trimmed();
}

void IO::setEnableMIE(bool value)
{
    m_context.state.EnableMIE = value;
}

void IO::setEnableWorkfile(bool value)
{
    m_context.state.EnableWorkfile = value;
}

void IO::setMaxKperPDF(qint32 value)
{
    if (value > 100 && value < 26000)
        m_context.state.MaxKperPDF = value;
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

bool IO::HasEMSExport()
{
    m_context.settings.load();
    for (int n = 1; n <= kPlatformSlots; ++n) {
        if (!m_context.settings.EMSExportPath[n].trimmed().isEmpty())
            return true;
    }
    return false;
}

bool IO::HasEMSImport()
{
    m_context.settings.load();
    for (int n = 1; n <= kPlatformSlots; ++n) {
        if (!m_context.settings.EMSImportPath[n].trimmed().isEmpty())
            return true;
    }
    return false;
}

bool IO::HasPhotoPath()
{
    m_context.settings.load();
    return !m_context.settings.ImageDirectory.isEmpty();
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

QString IO::GetFormStatus(const QString& sFormName) const
{
    const QString name = sFormName.toUpper();
    QString form;
    if (name == QLatin1String("IMAGEPICKER"))
        form = QStringLiteral("frmImagePicker");
    else if (name == QLatin1String("LOCALSETUP"))
        form = QStringLiteral("frmLocalSetup");
    else if (name == QLatin1String("ESTIMATEPICKER"))
        form = QStringLiteral("frmEMSSelect");
    else
        return QStringLiteral("BADNAME");
    return m_context.forms.isLoaded(form) ? QStringLiteral("LOADED") : QStringLiteral("UNLOADED");
}

qint32 IO::ProcessID() const
{
    return static_cast<qint32>(QCoreApplication::applicationPid());
}

bool IO::CleanUp()
{
    if (m_helper)
        m_helper->unload();
    m_context.forms.unloadAll();
    return true;
}

QString IO::EstimatePath(qint16 iWhichOne)
{
    m_context.settings.load();
    if (iWhichOne >= 1 && iWhichOne <= kPlatformSlots)
        return m_context.settings.EMSExportPath[iWhichOne];
    return {};
}

void IO::myHelper_TimerPulse()
{
    if (m_context.services.printCapture)
        m_context.services.printCapture->poll();
    if (m_initialised)
        emit PublishInfo();
}

void IO::myIO_CurrentStatus(const QString& sStatus, const QString& sMessage)
{
    m_lastIOStatusID = sStatus;
    m_lastIOStatusMessage = sMessage;
    emit IOStatus(sStatus, sMessage);
}

} // namespace tarnaxe
