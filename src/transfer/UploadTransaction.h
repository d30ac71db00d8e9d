#pragma once
// Sends everything in the four attachment lists to the server in one attachment
// transaction: begin, then each print document, photo, file and estimate as a file (whole
// or in 32 KiB chunks) followed by its insert, then commit. Each step can be repeated
// after a failure; the user is asked from a step's second failure on, and may stop
// between steps.

#include "automation/SharedState.h"
#include "ems/EstimateRecord.h"

#include <QList>
#include <QObject>
#include <QString>

namespace tarnaxe {

class AttachmentLists;
class TransferView;
class Ui;
class clsComm;

class UploadTransaction : public QObject {
    Q_OBJECT

public:
    static constexpr qint64 kChunkSize = 32768;

    enum StepType { BeginStep = 0, PhotoStep, FileStep, PrintStep, EstimateStep, CommitStep };

    // One step, with a copy of what it sends: a page that edits the lists while the upload
    // runs does not change what was accumulated.
    struct Step {
        StepType type = BeginStep;
        QString fileSpec;
        qint64 stepSize = 1;
        int listIndex = 0; // 1-based position in its list when accumulated
        QString caption;
        EstimateRecord estimate;
    };

    // request is copied: the upload sends its own request whatever is stored meanwhile.
    UploadTransaction(const TransferRequest& request, SharedState& state, AttachmentLists& lists,
                      Ui& ui, TransferView& view, clsComm& http);

    bool UploadAttachments();
    qint64 AccumulateUploadInfo(QString& sMessage);
    bool UploadStep(int iStepIndex, QString& sMessage);
    bool TransmitFile(const QString& sRemoteName, int iStepIndex, QString& sMessage,
                      QString& sLocation, const QString& sTransactionGUID);
    bool TransmitFileInChunks(const QString& sRemoteName, int iStepIndex, QString& sMessage,
                              QString& sLocation, const QString& sTransactionGUID);
    QString PrepareChunkFolder();
    static QString WriteChunkFile(const QString& sFolder, const QByteArray& bytes,
                                  const QString& sExtension);

    const QList<Step>& steps() const { return m_steps; }
    const QString& transactionGuid() const { return m_transactionGuid; }
    qint64 totalBytes() const { return m_totalBytes; }
    qint64 bytesDone() const { return m_bytesDone; }

private:
    void onProgress(qint16& percent);
    void drawForBytes(qint64 currentSize, int percentOfCurrent);
    bool postFields(const QString& page, const QString& fields, QString& error);
    bool sendAttachment(Step& step, const QString& stage, QString& message);
    bool sendEstimate(Step& step, QString& message);

    const TransferRequest m_request;
    SharedState& m_state;
    AttachmentLists& m_lists;
    Ui& m_ui;
    TransferView& m_view;
    clsComm& m_http;

    QList<Step> m_steps;
    qint64 m_totalBytes = 0;
    qint64 m_bytesDone = 0;
    qint64 m_currentFileSize = 0;
    QString m_transactionGuid;
};

} // namespace tarnaxe
