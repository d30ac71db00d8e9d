#include "transfer/UploadTransaction.h"

#include "automation/AttachmentLists.h"
#include "automation/SharedState.h"
#include "config/PathHelpers.h"
#include "config/SessionWorkspace.h"
#include "ems/EmsReader.h"
#include "ems/EmsRecordTable.h"
#include "platform/Logging.h"
#include "platform/Ui.h"
#include "transfer/AssignmentReads.h"
#include "transfer/ReplyFields.h"
#include "transfer/TransferView.h"
#include "transfer/WireFields.h"
#include "transfer/clsComm.h"

#include <QFileInfo>
#include <cmath>
#include <exception>

namespace tarnaxe {

namespace {

const QString kCrLf = QStringLiteral("\r\n");
const QString kErrorTitle = QStringLiteral("Error Encountered!");

QString failedStep(const QString& stage, const QString& error)
{
    return QStringLiteral("Action: ") + stage + kCrLf + error + kCrLf;
}

qint64 currentLength(const QString& path)
{
    const QFileInfo info(path);
    return info.isFile() ? info.size() : 0;
}

} // namespace

UploadTransaction::UploadTransaction(const TransferRequest& request, SharedState& state,
                                     AttachmentLists& lists, Ui& ui, TransferView& view,
                                     clsComm& http)
    : m_request(request), m_state(state), m_lists(lists), m_ui(ui), m_view(view), m_http(http)
{
    connect(&m_http, &clsComm::Progress, this, &UploadTransaction::onProgress);
}

void UploadTransaction::drawForBytes(qint64 currentSize, int percentOfCurrent)
{
    if (m_totalBytes <= 0)
        return;
    const double done =
        std::nearbyint(double(currentSize) * percentOfCurrent / 100.0 + double(m_bytesDone));
    m_view.drawStatus(int(std::nearbyint(done * 90.0 / double(m_totalBytes) + 5.0)));
}

void UploadTransaction::onProgress(qint16& percent)
{
    drawForBytes(m_currentFileSize, percent);
}

bool UploadTransaction::UploadAttachments()
{
    QString message = requestProblem(m_request);
    if (!message.isEmpty()) {
        m_ui.message(message, kErrorTitle, MessageIcon::Information);
        return false;
    }
    if (!AssignmentReads(m_http, m_view).readHeader(m_request.AssignmentGUID, message)) {
        m_ui.message(message, kErrorTitle, MessageIcon::Information);
        return false;
    }

    message = QStringLiteral("Accumulating Upload Information");
    m_view.drawStatus(2);
    QString accumulated;
    if (AccumulateUploadInfo(accumulated) < 0) {
        m_ui.message(message + kCrLf + kCrLf + QStringLiteral("Error: ") + accumulated + kCrLf,
                     kErrorTitle, MessageIcon::Information);
        return false;
    }

    m_view.drawStatus(3);
    m_view.clearAbortRequest();
    m_view.setCancelVisible(true);
    message = QStringLiteral("Uploading Information");
    m_bytesDone = 0;

    const int count = int(m_steps.size());
    int failureNumber = 0;
    for (int step = 1; step <= count; ++step) {
        m_view.setMessage(QStringLiteral("Uploading Step %1 of %2").arg(step).arg(count));
        int failures = 0;
        for (;;) {
            QString stepMessage;
            if (UploadStep(step - 1, stepMessage))
                break;
            if (++failures < 2)
                continue; // the first failure of a step is retried at once
            ++failureNumber;
            const MessageAnswer answer =
                m_ui.messageBox({message + kCrLf + kCrLf + stepMessage + kCrLf +
                                     QStringLiteral("Failure #") + QString::number(failureNumber) +
                                     kCrLf + QStringLiteral("Do you want to resume sending?"),
                                 QStringLiteral("Failure occurred uploading data"),
                                 MessageIcon::Question, MessageButtons::YesNo, false});
            if (answer != MessageAnswer::Yes)
                return false;
        }
        m_view.processEvents();
        if (m_view.abortRequested() && step < count) {
            const MessageAnswer answer =
                m_ui.messageBox({QStringLiteral("Are you sure?"), QStringLiteral("Cancel Upload"),
                                 MessageIcon::Question, MessageButtons::YesNo, false});
            if (answer == MessageAnswer::Yes)
                return false;
            m_view.clearAbortRequest();
        }
    }
    return true;
}

qint64 UploadTransaction::AccumulateUploadInfo(QString& sMessage)
{
    m_steps.clear();
    m_steps.append(Step{BeginStep, {}, 1, 0, {}, {}});
    const auto addFiles = [this](const QList<AttachedFile>& list, StepType type) {
        for (qsizetype i = 0; i < list.size(); ++i) {
            m_steps.append(Step{
                type, list[i].path, currentLength(list[i].path), int(i + 1), list[i].caption, {}});
            m_view.processEvents();
        }
    };
    // Copies: a page that edits the lists while the steps run cannot pull them away.
    addFiles(QList<AttachedFile>(m_lists.printDocs()), PrintStep);
    addFiles(QList<AttachedFile>(m_lists.photos()), PhotoStep);
    addFiles(QList<AttachedFile>(m_lists.files()), FileStep);
    const QList<EstimateRecord> estimates = m_lists.estimates();
    EmsReader reader;
    for (qsizetype i = 0; i < estimates.size(); ++i) {
        Step step{EstimateStep, {}, 0, int(i + 1), {}, estimates[i]};
        // The preparse fields carry what the set holds now; a member that cannot be read
        // leaves its values empty rather than stopping the upload.
        if (!reader.fillPreparseInfo(step.estimate))
            qCWarning(lcTransfer) << "preparse values of" << step.estimate.envelopeFile
                                  << "incomplete:" << reader.lastError() << reader.lastErrorFile();
        collectEstimateFiles(step.estimate);
        step.stepSize = step.estimate.totalSize;
        m_steps.append(step);
        m_view.processEvents();
    }
    m_steps.append(Step{CommitStep, {}, 1, 0, {}, {}});
    m_totalBytes = 0;
    for (const Step& step : m_steps)
        m_totalBytes += step.stepSize;
    sMessage = QStringLiteral("OK");
    return m_totalBytes;
}

bool UploadTransaction::postFields(const QString& page, const QString& fields, QString& error)
{
    m_http.PostPage = page;
    if (!m_http.SendData(fields, error))
        return false;
    // The upload pages' status is compared as it is written.
    if (GetField(m_http.ResponseData, "Status") != "SUCCESS") {
        error = GetFieldText(m_http.ResponseData, "ErrorMessage");
        return false;
    }
    return true;
}

bool UploadTransaction::UploadStep(int iStepIndex, QString& sMessage)
{
    QString stage = QStringLiteral("Setup");
    if (iStepIndex < 0 || iStepIndex >= m_steps.size()) {
        sMessage = failedStep(stage, QStringLiteral("No such step"));
        return false;
    }
    Step& step = m_steps[iStepIndex];
    if (step.stepSize <= 0)
        return true;
    try {
        QString error;
        switch (step.type) {
        case BeginStep:
            stage = QStringLiteral("Begin Transaction");
            if (!postFields(QStringLiteral("/dataup/BeginAttachmentTransaction.asp"),
                            wireField(QStringLiteral("Code:"), QStringLiteral("BEGINTRANS")),
                            error)) {
                sMessage = failedStep(stage, error);
                return false;
            }
            m_transactionGuid = GetFieldText(m_http.ResponseData, "TransactionGUID");
            m_bytesDone += step.stepSize;
            m_view.drawStatus(5);
            break;
        case PhotoStep:
            return sendAttachment(step, QStringLiteral("Uploading Image"), sMessage);
        case FileStep:
            return sendAttachment(step, QStringLiteral("Uploading File Attachment"), sMessage);
        case PrintStep:
            return sendAttachment(step, QStringLiteral("Uploading Print Document"), sMessage);
        case EstimateStep:
            return sendEstimate(step, sMessage);
        case CommitStep:
            stage = QStringLiteral("Committing Transaction");
            if (!postFields(QStringLiteral("/dataup/CommitAttachmentTransaction.asp"),
                            wireField(QStringLiteral("TransactionGUID:"), m_transactionGuid),
                            error)) {
                sMessage = failedStep(stage, error);
                return false;
            }
            m_bytesDone += step.stepSize;
            m_view.drawStatus(100);
            break;
        }
    } catch (const std::exception& e) {
        sMessage = failedStep(stage, QStringLiteral("Unexpected error: ") +
                                         QString::fromLocal8Bit(e.what()));
        return false;
    }
    sMessage = QStringLiteral("OK");
    return true;
}

bool UploadTransaction::sendAttachment(Step& step, const QString& stage, QString& message)
{
    const QString guid = newGuidText();
    const QString name = fileNameOfPath(step.fileSpec);
    QString remote = guid;
    if (step.type == PhotoStep)
        remote += QStringLiteral(".JPG");
    else if (step.type == PrintStep)
        remote += QStringLiteral(".PDF");
    else
        remote += name;
    const int index = int(&step - m_steps.data());
    QString error;
    QString location;
    if (!TransmitFile(remote, index, error, location, m_transactionGuid)) {
        message = failedStep(stage, QStringLiteral("Error: ") + error);
        if (step.type != FileStep)
            message += kCrLf;
        return false;
    }
    const TransferRequest& request = m_request;
    QString fields = wireField(QStringLiteral("GUID:"), guid) +
                     wireField(QStringLiteral("AssignmentGUID:"), request.AssignmentGUID) +
                     wireField(QStringLiteral("TransactionGUID:"), m_transactionGuid) +
                     wireField(QStringLiteral("WorkerGUID:"), request.WorkerGUID) +
                     wireField(QStringLiteral("WorkerTypeID:"), request.WorkerTypeID);
    QString page;
    switch (step.type) {
    case PhotoStep:
        page = QStringLiteral("/dataup/InsertImage.asp");
        fields += wireField(QStringLiteral("Caption:"), step.caption);
        break;
    case FileStep:
        page = QStringLiteral("/dataup/InsertFileAttachment.asp");
        fields += wireField(QStringLiteral("Description:"), step.caption) +
                  wireField(QStringLiteral("FileName:"), name);
        break;
    default:
        page = QStringLiteral("/dataup/InsertPrintDocument.asp");
        fields += wireField(QStringLiteral("Description:"), step.caption);
        break;
    }
    fields += wireField(QStringLiteral("FileSize:"), QString::number(step.stepSize)) +
              wireField(QStringLiteral("Location:"), location);
    if (!postFields(page, fields, error)) {
        message = failedStep(stage, error);
        return false;
    }
    message = QStringLiteral("OK");
    return true;
}

bool UploadTransaction::sendEstimate(Step& step, QString& message)
{
    const QString stage = QStringLiteral("Uploading EMS Estimate");
    const QString guid = newGuidText();
    const TransferRequest& request = m_request;
    const EstimateRecord& estimate = step.estimate;
    QString fields =
        wireField(QStringLiteral("GUID:"), guid) +
        wireField(QStringLiteral("FileSize:"), QString::number(step.stepSize)) +
        wireField(QStringLiteral("AssignmentGUID:"), request.AssignmentGUID) +
        wireField(QStringLiteral("TransactionGUID:"), m_transactionGuid) +
        wireField(QStringLiteral("WorkerGUID:"), request.WorkerGUID) +
        wireField(QStringLiteral("WorkerTypeID:"), request.WorkerTypeID) +
        wireField(QStringLiteral("PreparseVehicle:"), estimate.vehicleDescription) +
        wireField(QStringLiteral("PreparseClaimNumber:"), estimate.preparsedClaimNumber) +
        wireField(QStringLiteral("PreparseInsured:"), estimate.insuredName) +
        wireField(QStringLiteral("PreparseEstimateNumber:"), estimate.estimateFileId) +
        wireField(QStringLiteral("PreparseSupplementNumber:"), estimate.supplementNumber) +
        wireField(QStringLiteral("PreparsePolicyNumber:"), estimate.preparsedPolicyNumber) +
        wireField(QStringLiteral("EMSEstimatingPlatformCode:"), estimate.platformCode);
    // Each member goes as the step's file; the step keeps its own size for a repeat.
    const qint64 setSize = step.stepSize;
    const auto& table = emsRecordTable();
    const int index = int(&step - m_steps.data());
    for (const EstimateMemberFile& file : estimate.files) {
        if (file.index < 0 || file.index >= kEmsRecordRows)
            continue;
        const QString name = table[size_t(file.index)].uploadFieldName;
        step.fileSpec = file.path;
        step.stepSize = file.size;
        QString error;
        QString location;
        const bool sent =
            TransmitFile(guid + QLatin1Char('_') + name, index, error, location, m_transactionGuid);
        step.fileSpec.clear();
        step.stepSize = setSize;
        if (!sent) {
            message = failedStep(stage, QStringLiteral("Error: ") + error);
            return false;
        }
        fields += wireField(name + QLatin1Char(':'), location);
    }
    QString error;
    if (!postFields(QStringLiteral("/dataup/InsertEMSEstimate.asp"), fields, error)) {
        message = failedStep(stage, error);
        return false;
    }
    message = QStringLiteral("OK");
    return true;
}

bool UploadTransaction::TransmitFile(const QString& sRemoteName, int iStepIndex, QString& sMessage,
                                     QString& sLocation, const QString& sTransactionGUID)
{
    if (m_state.ChunkFiles)
        return TransmitFileInChunks(sRemoteName, iStepIndex, sMessage, sLocation, sTransactionGUID);
    const Step& step = m_steps.at(iStepIndex);
    if (!fileExists(step.fileSpec)) {
        sMessage = QStringLiteral("File Not Found");
        return false;
    }
    m_currentFileSize = step.stepSize;
    m_http.LocalFileSpec = step.fileSpec;
    m_http.PostPage = QStringLiteral("/dataup/WriteFile.asp");
    if (!m_http.SendFile(sRemoteName, sMessage, sTransactionGUID))
        return false;
    if (GetField(m_http.ResponseData, "Status") != "SUCCESS") {
        sMessage = GetFieldText(m_http.ResponseData, "ErrorMessage");
        return false;
    }
    sLocation = GetFieldText(m_http.ResponseData, "Location");
    m_bytesDone += step.stepSize;
    return true;
}

} // namespace tarnaxe
