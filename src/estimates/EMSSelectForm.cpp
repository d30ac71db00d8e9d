#include "estimates/EMSSelectForm.h"

#include "automation/AttachmentLists.h"
#include "automation/FormRegistry.h"
#include "automation/SharedState.h"
#include "config/LocalSettings.h"
#include "ems/MieFiles.h"
#include "estimates/AutoAttachDialog.h"
#include "estimates/EstimateTableModel.h"
#include "platform/Logging.h"
#include "platform/Ui.h"
#include "platform/Variant.h"

#include <QBoxLayout>
#include <QCloseEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPushButton>
#include <QStyledItemDelegate>
#include <QTableView>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>

namespace tarnaxe {

namespace {

constexpr int kAutoAttachDelayMs = 500;

// A click anywhere in a check-box cell toggles it, not only on the box itself.
class CheckCellDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    bool editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                     const QModelIndex& index) override
    {
        if (index.column() != EstimateTableModel::RowSelect)
            return QStyledItemDelegate::editorEvent(event, model, option, index);
        if (event->type() != QEvent::MouseButtonRelease)
            return false;
        const auto* mouse = static_cast<QMouseEvent*>(event);
        if (mouse->button() != Qt::LeftButton || !option.rect.contains(mouse->position().toPoint()))
            return false;
        const bool checked = index.data(Qt::CheckStateRole).toInt() == Qt::Checked;
        return model->setData(index, checked ? Qt::Unchecked : Qt::Checked, Qt::CheckStateRole);
    }
};

// Wide enough together for every column on a 1366-pixel screen.
const int kColumnWidths[EstimateTableModel::ColumnCount] = {28,  128, 70, 160, 110, 90,
                                                            160, 0,   40, 110, 110, 110};

} // namespace

EMSSelectForm::EMSSelectForm(EstimatePickerContext context, QWidget* parent)
    : QDialog(parent), m_context(context), m_model(new EstimateTableModel(this)),
      m_grid(new QTableView(this)),
      m_refresh(new QPushButton(QStringLiteral("Refresh List"), this)),
      m_attach(new QPushButton(QStringLiteral("&Attach Estimate"), this)),
      m_cancel(new QPushButton(QStringLiteral("&Cancel"), this)), m_autoAttach(new QTimer(this))
{
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("EMS Estimates"));
    resize(1170, 440);

    m_grid->setObjectName(QStringLiteral("grdQuotes"));
    m_grid->setAccessibleName(QStringLiteral("Estimates"));
    m_grid->setModel(m_model);
    m_grid->setItemDelegate(new CheckCellDelegate(m_grid));
    // The tick says which estimate is attached; a highlighted row would say it twice.
    // The current cell keeps its focus frame for the keyboard.
    m_grid->setSelectionMode(QAbstractItemView::NoSelection);
    m_grid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_grid->setAlternatingRowColors(true);
    m_grid->setWordWrap(false);
    m_grid->verticalHeader()->hide();
    m_grid->verticalHeader()->setDefaultSectionSize(m_grid->fontMetrics().height() + 8);
    m_grid->horizontalHeader()->setStretchLastSection(true);
    for (int column = 0; column < EstimateTableModel::ColumnCount; ++column)
        m_grid->setColumnWidth(column, kColumnWidths[column]);
    m_grid->setColumnHidden(EstimateTableModel::Filename, true);
    m_grid->installEventFilter(this);

    m_refresh->setObjectName(QStringLiteral("cmdRefresh"));
    m_attach->setObjectName(QStringLiteral("cmdAttach"));
    m_cancel->setObjectName(QStringLiteral("cmdCancel"));
    m_attach->setDefault(true);
    m_refresh->setAutoDefault(false);
    m_cancel->setAutoDefault(false);
    connect(m_refresh, &QPushButton::clicked, this, [this] { RefreshEstPage(false); });
    connect(m_attach, &QPushButton::clicked, this, &EMSSelectForm::cmdAttach_Click);
    connect(m_cancel, &QPushButton::clicked, this, &QWidget::close);

    m_autoAttach->setObjectName(QStringLiteral("tmrAutoAttach"));
    m_autoAttach->setSingleShot(true);
    m_autoAttach->setInterval(kAutoAttachDelayMs);
    connect(m_autoAttach, &QTimer::timeout, this, &EMSSelectForm::tmrAutoAttach_Timer);
    connect(&m_listing, &QFutureWatcherBase::finished, this, &EMSSelectForm::listingFinished);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_refresh);
    buttons->addStretch();
    buttons->addWidget(m_attach);
    buttons->addWidget(m_cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_grid);
    layout->addLayout(buttons);
    setTabOrder(m_grid, m_attach);
    setTabOrder(m_attach, m_cancel);
    setTabOrder(m_cancel, m_refresh);
    m_grid->setFocus();

    m_context.settings.load();
    if (m_context.state.CurrentPolicyClaim == QLatin1String("SELECT"))
        m_attach->setText(QStringLiteral("Select Estimate"));
    RefreshEstPage(m_context.state.AutoSelectMode);
}

// A listing still running finishes on its own; its result is dropped with the watcher.
EMSSelectForm::~EMSSelectForm() = default;

void EMSSelectForm::RefreshEstPage(bool autoLocate)
{
    if (m_listingPending)
        return;
    m_listingPending = true;
    m_autoAttach->stop();
    m_autoRow = -1;
    m_model->setRows({});
    m_refresh->setEnabled(false);
    setCursor(Qt::BusyCursor);
    const auto& paths = m_context.settings.EMSExportPath;
    const QStringList folders(paths.begin() + 1, paths.begin() + 6);
    const AutoLocateRequest locate{autoLocate, m_context.state.AutoClaim, m_context.state.AutoVIN};
    m_locating = autoLocate;
    m_listing.setFuture(
        QtConcurrent::run([folders, locate] { return listEstimates(folders, locate); }));
}

void EMSSelectForm::listingFinished()
{
    m_listingPending = false;
    EstimateListing listing = m_listing.result();
    qCDebug(lcEstimates) << listing.rows.size() << "estimates listed";
    m_model->setRows(std::move(listing.rows));
    unsetCursor();
    m_refresh->setEnabled(true);
    if (m_model->rowCount() > 0)
        m_grid->setCurrentIndex(m_model->index(0, EstimateTableModel::RowSelect));
    if (m_locating && listing.autoRow >= 0) {
        m_autoRow = listing.autoRow;
        m_autoAttach->start();
    }
    m_locating = false;
    emit listed();
}

void EMSSelectForm::tmrAutoAttach_Timer()
{
    m_autoAttach->stop();
    if (m_autoRow < 0 || m_autoRow >= m_model->rowCount())
        return;
    const EstimateEntry& entry = m_model->entry(m_autoRow);
    const AutoAttachTexts texts{QString(), entry.ForClaim, confirmationDateText(entry.FileDate),
                                confirmationAmountText(entry.AmountCents), entry.Description};
    m_context.state.AutoVIN = entry.Vin;
    // Opened, not executed: the agent goes on serving the page while the question waits.
    auto* confirm = new AutoAttachDialog(texts, this);
    confirm->setAttribute(Qt::WA_DeleteOnClose);
    connect(confirm, &QDialog::finished, this, [this](int result) {
        if (result == QDialog::Accepted)
            attachRow(m_autoRow);
    });
    confirm->open();
}

void EMSSelectForm::cmdAttach_Click()
{
    attachRow(m_model->checkedRow());
}

void EMSSelectForm::attachRow(int row)
{
    if (row < 0 || row >= m_model->rowCount()) {
        m_context.ui.message(QStringLiteral("You must select an estimate."),
                             QStringLiteral("No estimate selected"), MessageIcon::Information);
        return;
    }
    const EstimateEntry& entry = m_model->entry(row);
    const bool mieEnabled = m_context.state.EnableMIE;
    QString mieFile;
    if (mieEnabled && entry.EstType == 3 &&
        !locateMieFile(m_context.settings.MIERetrieval, entry.ForClaim, mieFile)) {
        m_context.ui.message(kMieNotLocatedText, QStringLiteral("Cannot Attach Estimate"),
                             MessageIcon::Critical);
        return;
    }
    try {
        m_context.lists.appendEstimate(estimateRecordFor(entry, mieEnabled ? mieFile : QString()));
    } catch (const AutomationError& error) {
        m_context.ui.message(error.description(), QStringLiteral("Cannot Attach Estimate"),
                             MessageIcon::Critical);
        return;
    }
    qCInfo(lcEstimates) << "attached" << entry.FilePath;
    // Shown in select mode too; only the page's "$$$" keeps it quiet.
    if (m_context.state.CurrentPolicyClaim != QLatin1String("$$$"))
        m_context.ui.message(QStringLiteral("Estimate was attached!"), QStringLiteral("Notice"),
                             MessageIcon::Information);
    close();
}

bool EMSSelectForm::eventFilter(QObject* watched, QEvent* event)
{
    // Space ticks the current row whichever of its cells has the focus frame.
    if (watched == m_grid && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Space &&
        static_cast<QKeyEvent*>(event)->modifiers() == Qt::NoModifier) {
        const int row = m_grid->currentIndex().row();
        if (row >= 0)
            m_model->setChecked(row, m_model->checkedRow() != row);
        return true;
    }
    return QDialog::eventFilter(watched, event);
}

void EMSSelectForm::closeEvent(QCloseEvent* event)
{
    setProperty(kFormFinished, true);
    // Not QDialog's: it would reject, which here means close again.
    event->accept();
}

// Escape closes the dialog like "&Cancel".
void EMSSelectForm::reject()
{
    close();
}

} // namespace tarnaxe
