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
#include <algorithm>

namespace tarnaxe {

namespace {

// Whether any of the five slots names a folder (blanks alone do not).
bool anyFolderSet(const std::array<QString, 6>& folders)
{
    return std::any_of(folders.begin() + 1, folders.end(),
                       [](const QString& folder) { return !folder.trimmed().isEmpty(); });
}

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

bool IO::HasEMSExport()
{
    m_context.settings.load();
    return anyFolderSet(m_context.settings.EMSExportPath);
}

bool IO::HasEMSImport()
{
    m_context.settings.load();
    return anyFolderSet(m_context.settings.EMSImportPath);
}

bool IO::HasPhotoPath()
{
    m_context.settings.load();
    return !m_context.settings.ImageDirectory.isEmpty();
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
