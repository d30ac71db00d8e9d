#include "transfer/AssignmentDownload.h"

#include "automation/SharedState.h"
#include "config/LocalSettings.h"
#include "ems/MieFiles.h"
#include "platform/Ui.h"
#include "transfer/TransferView.h"
#include "transfer/WireFields.h"

namespace tarnaxe {

namespace {

const QString kCannotTransfer = QStringLiteral("Cannot Transfer Assignment");
const QString kNotComplete = QStringLiteral("Transfer Not Complete!");

} // namespace

AssignmentDownload::AssignmentDownload(const TransferRequest& request, SharedState& state,
                                       const LocalSettings& settings, Ui& ui, TransferView& view,
                                       clsComm& http, Clock& clock, FormatChooser chooseFormats)
    : m_request(request), m_state(state), m_settings(settings), m_ui(ui), m_view(view),
      m_clock(clock), m_chooseFormats(std::move(chooseFormats)), m_reads(http, view)
{}

bool AssignmentDownload::requestCanBeSent()
{
    const QString problem = requestProblem(m_request);
    if (problem.isEmpty())
        return true;
    m_ui.message(problem, kNotComplete, MessageIcon::Information);
    return false;
}

bool AssignmentDownload::ReadAssignment()
{
    if (!requestCanBeSent())
        return false;
    QString& selection = m_state.FormatSelection;
    selection = QStringLiteral("NNNNN");
    const int destinations = m_settings.platformMask(selection);
    if (destinations == 0) {
        m_ui.message(QStringLiteral("No assignment destinations have been defined in Setup"),
                     kCannotTransfer, MessageIcon::Information);
        return false;
    }
    if (destinations > 1) {
        if (m_chooseFormats)
            m_chooseFormats(selection);
        if (selection.isEmpty())
            return false; // cancelled: the user knows
    }

    const QString& guid = m_request.AssignmentGUID;
    QString message;
    m_view.drawStatus(2);
    bool ok = m_reads.readHeader(guid, message);
    if (ok) {
        m_view.drawStatus(4);
        QByteArray envelope;
        ok = m_reads.GetEMSAssignmentBlob(guid, QStringLiteral("EMSEnvelope"), envelope, message);
        if (ok) {
            m_view.drawStatus(5);
            if (envelope.isEmpty()) {
                m_ui.message(QStringLiteral("No EMS data exists for this assignment."),
                             kCannotTransfer, MessageIcon::Information);
                return false;
            }
            m_view.clearAbortRequest();
            m_view.setCancelVisible(true);
            m_view.processEvents();
            AssignmentDelivery delivery(m_settings, selection, m_state.SessionPath, *this);
            if (m_randomFraction)
                delivery.setRandomFraction(m_randomFraction);
            ok = delivery.DeliverAssignment(message);
        }
    }
    if (!ok)
        m_ui.message(message, kNotComplete, MessageIcon::Information);
    return ok;
}

bool AssignmentDownload::ReadMie()
{
    if (!requestCanBeSent())
        return false;
    m_view.drawStatus(10);
    QByteArray data;
    QString message;
    bool ok = m_reads.GetMIEBlob(m_request.EstimateGUID, data, message);
    if (ok) {
        m_view.drawStatus(50);
        if (data.isEmpty()) {
            m_ui.message(QStringLiteral("No MIE data exists for this assignment."),
                         QStringLiteral("Cannot Download"), MessageIcon::Information);
            return false;
        }
        m_view.clearAbortRequest();
        m_view.setCancelVisible(true);
        m_view.processEvents();
        QString savedPath;
        ok = saveMieData(m_settings.MIEDelivery, data, m_clock, savedPath, message);
        if (ok)
            m_view.drawStatus(99);
    }
    if (!ok)
        m_ui.message(message, kNotComplete, MessageIcon::Information);
    return ok;
}

bool AssignmentDownload::readPiece(const QString& pieceName, QByteArray& data, QString& error)
{
    return m_reads.GetAssignmentEMS(m_request.AssignmentGUID, pieceName, data, error);
}

bool AssignmentDownload::readBasename(QString& message, QString& basename)
{
    return m_reads.ReadAssignmentBasename(m_request.AssignmentGUID, message, basename);
}

void AssignmentDownload::setProgress(int percent)
{
    m_view.drawStatus(percent);
}

bool AssignmentDownload::cancelRequested()
{
    m_view.processEvents();
    return m_view.abortRequested();
}

} // namespace tarnaxe
