#pragma once
// frmEMSSelect, "EMS Estimates": the newest exported estimates in grdQuotes, one ticked
// and attached to "Estimates". Listing runs on a worker thread so that the window stays
// live over slow export folders; a row's heavier facts are read when it is first shown.
// When the page asked for an automatic attach, the estimate of its claim and VIN is
// offered in frmAutoAtt half a second after the list appears.

#include "estimates/EstimateList.h"

#include <QDialog>
#include <QFutureWatcher>

class QPushButton;
class QTableView;
class QTimer;

namespace tarnaxe {

class AttachmentLists;
class EstimateTableModel;
class LocalSettings;
class Ui;
struct SharedState;

struct EstimatePickerContext {
    LocalSettings& settings;
    SharedState& state;
    AttachmentLists& lists;
    Ui& ui;
};

class EMSSelectForm : public QDialog {
    Q_OBJECT

public:
    explicit EMSSelectForm(EstimatePickerContext context, QWidget* parent = nullptr);
    ~EMSSelectForm() override;

    EstimateTableModel& model() const { return *m_model; }
    QTableView* grid() const { return m_grid; }
    // From a refresh until its rows are in the grid.
    bool isListing() const { return m_listingPending; }

    void cmdAttach_Click();

signals:
    // A listing has been put into the grid.
    void listed();

protected:
    void closeEvent(QCloseEvent* event) override;
    void reject() override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void RefreshEstPage(bool autoLocate);
    void listingFinished();
    void tmrAutoAttach_Timer();
    void attachRow(int row);

    EstimatePickerContext m_context;
    EstimateTableModel* m_model;
    QTableView* m_grid;
    QPushButton* m_refresh;
    QPushButton* m_attach;
    QPushButton* m_cancel;
    QTimer* m_autoAttach;
    QFutureWatcher<EstimateListing> m_listing;
    bool m_listingPending = false;
    bool m_locating = false;
    int m_autoRow = -1;
};

} // namespace tarnaxe
