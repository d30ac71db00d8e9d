#pragma once
// frmIO, the small window that runs one exchange with the server and shows its progress:
// it takes its own copy of the pending request when it is loaded, the command starts on
// the first showing, "BUSY" / "COMPLETE" / "ERROR" go out through CurrentStatus, the
// window cannot be closed while it works, and it unloads itself a quarter second after it
// finished.

#include "automation/SharedState.h"
#include "platform/Clock.h"
#include "transfer/AssignmentDownload.h"
#include "transfer/TransferView.h"
#include "transfer/clsComm.h"

#include <QWidget>
#include <functional>
#include <memory>

class QLabel;
class QPushButton;

namespace tarnaxe {

class AttachmentLists;
class LocalSettings;
class Ui;

// picStatus: a box that a bar is drawn into from the left; drawing never erases, so the
// bar only grows until the box is cleared.
class StatusBox : public QWidget {
    Q_OBJECT

public:
    explicit StatusBox(QWidget* parent = nullptr);
    void draw(int percent);
    void clear();
    int filledPercent() const { return m_filled; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int m_filled = 0;
};

struct TransferFormContext {
    SharedState& state;
    AttachmentLists& lists;
    const LocalSettings& settings; // loaded by the call that started the transfer
    Ui& ui;
    HttpTransportOptions http;
    std::function<void()> yieldToUi;
    Clock* clock = nullptr; // names of saved MIE files; the system clock when null
    // Asks which of the offered slots an assignment goes to; the format dialog when empty.
    AssignmentDownload::FormatChooser chooseFormats = {};
    std::function<double()> randomFraction = {}; // Mitchell base names; random when empty
};

class TransferForm : public QWidget, public TransferView {
    Q_OBJECT

public:
    explicit TransferForm(TransferFormContext context, QWidget* parent = nullptr);
    ~TransferForm() override;

    // TransferView
    void setMessage(const QString& text) override;
    void showAssignmentHeader(const QString& claim, const QString& policy,
                              const QString& company) override;
    void drawStatus(int percent) override;
    void setCancelVisible(bool visible) override;
    bool abortRequested() const override { return m_abortRequested; }
    void clearAbortRequest() override { m_abortRequested = false; }
    void processEvents() override;

    void DrawStatus(int iPct) { drawStatus(iPct); }
    int lastPercent() const { return m_lastPercent; }
    bool finished() const { return m_finished; }
    // The request this form runs: what was pending when it was loaded.
    const TransferRequest& request() const { return m_request; }

signals:
    void CurrentStatus(const QString& sStatus, const QString& sMessage);

protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void firstActivation();
    void runCommand();
    AssignmentDownload download();
    void cmdCancel_Click();

    TransferFormContext m_context;
    // A page may store another request while this one runs (a second tab, a double
    // click); nothing this form sends may come from it.
    TransferRequest m_request;
    SystemClock m_systemClock;
    std::unique_ptr<clsComm> m_http;
    bool m_activated = false;
    bool m_finished = false;
    bool m_abortRequested = false;
    int m_lastPercent = 0;

    QLabel* m_message;
    QLabel* m_insCo;
    QLabel* m_claimNumber;
    QLabel* m_policyNumber;
    QList<QLabel*> m_headerCaptions;
    StatusBox* m_status;
    QPushButton* m_cancel;
    QLabel* m_cancelRequested;
};

} // namespace tarnaxe
