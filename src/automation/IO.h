#pragma once
// IO, the one object that a page of the web application drives: 44 members in a fixed
// slot order and two events. Most of its state is shared by every IO object of the
// process (AgentContext); only the status, the initialised flag and EstimateField are
// its own.

#include "automation/AgentContext.h"
#include "bridge/Dispatch.h"

#include <QPointer>

namespace tarnaxe {

class HelperTimer;

inline const QString kAgentVersion = QStringLiteral("4.0.6");

class IO : public Dispatchable {
    Q_OBJECT
public:
    explicit IO(AgentContext& context, QObject* parent = nullptr);
    ~IO() override;

    static const QList<MemberInfo>& memberTable();
    static const QList<EventInfo>& eventTable();
    const QList<MemberInfo>& members() const override { return memberTable(); }
    const QList<EventInfo>& events() const override { return eventTable(); }
    CallResult invoke(int slot, QList<Variant> args) override;

    // The members, named as the page sees them.
    void Init();
    const Variant& EstimateField() const { return m_estimateField; }
    QString CommandStatus() const;
    qint16 TheCountOf(const QString& sOfWhat) const;
    QString TheNameOf(const QString& sOfWhat, const Variant& vNo) const;
    Variant TheCaptionOf(const QString& sOfWhat, const Variant& vNo) const;
    void setTheCaptionOf(const QString& sOfWhat, const Variant& vNo, const Variant& value);
    void setSecure(const Variant& value);
    void setChunkFiles(const Variant& value);
    Variant ScaleFactor() const;
    void setScaleFactor(const Variant& value);
    void ZAP(const QString& sWhat);
    QString SelectPhotos();
    QString SelectPhotoByVIN(const QString& sVINMatch);
    QString SelectWorkfilePhotos(const QString& sEstID, const QString& sFileExtension);
    bool EnablePrintCapture();
    bool DeliverAssignment(const Variant& sAssignmentGUID, const Variant& sRemoteServer);
    bool MoveFilesToServer(const Variant& sAssignmentGUID, const Variant& sWorkerGUID,
                           const Variant& sWorkerTypeID, const Variant& sFTPIPAddress);
    bool Get_Estimate_Field(const Variant& vFieldName);
    bool SelectFile();
    bool ZAPLocalFile(const QString& sOfWhat, const Variant& vNo);
    bool CleanUpEMS(const QString& sDate);
    bool SelectEstimate();
    bool AutoSelectEstimate(const Variant& vClaim, const Variant& vVIN);
    void PerformSetup();
    void setTempFileLocation(const QString& value);
    void setCurrentPolicyClaim(const QString& value);
    void setPDFPrinterName(const QString& value);
    void setEnableMIE(bool value);
    void setEnableWorkfile(bool value);
    void setMaxKperPDF(qint32 value);
    // The eight arguments by reference: vFile, vVehicle, vClaimNo, vPolicyNo, vInsured,
    // vEstimateID, vSuppNo, vOwner.
    void GetBasicEstimateInfo(QList<Variant>& args);
    bool HasEMSExport();
    bool HasEMSImport();
    bool HasPhotoPath();
    QString Version() const { return kAgentVersion; }
    bool DeliverMIEFile(const Variant& sEstimateGUID, const Variant& sRemoteServer);
    bool ManualSelectEMS(const Variant& vEnvFile);
    QString GetFormStatus(const QString& sFormName) const;
    QString LastIOStatusID() const { return m_lastIOStatusID; }
    QString LastIOStatusMessage() const { return m_lastIOStatusMessage; }
    qint32 ProcessID() const;
    bool CleanUp();
    QString EstimatePath(qint16 iWhichOne);

    bool isInitialised() const { return m_initialised; }

signals:
    void PublishInfo();
    void IOStatus(const QString& sStatus, const QString& sMessage);

private slots:
    void myHelper_TimerPulse();
    void myIO_CurrentStatus(const QString& sStatus, const QString& sMessage);

private:
    void startTransfer();
    EstimateReader& estimateReader();

    AgentContext& m_context;
    QString m_lastIOStatusID;
    QString m_lastIOStatusMessage;
    bool m_initialised = false;
    Variant m_estimateField;
    QPointer<HelperTimer> m_helper;
    QPointer<QObject> m_transferForm;
};

} // namespace tarnaxe
