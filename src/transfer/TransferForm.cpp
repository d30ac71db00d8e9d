#include "transfer/TransferForm.h"

#include "automation/FormRegistry.h"
#include "delivery/FormatsDialog.h"
#include "platform/Ui.h"
#include "transfer/UploadTransaction.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QGridLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QTimer>

namespace tarnaxe {

StatusBox::StatusBox(QWidget* parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("picStatus"));
    setMinimumSize(300, 18);
    setAutoFillBackground(true);
    QPalette palette = this->palette();
    palette.setColor(QPalette::Window, Qt::white);
    setPalette(palette);
}

void StatusBox::draw(int percent)
{
    m_filled = qMax(m_filled, qBound(0, percent, 100));
    update();
}

void StatusBox::clear()
{
    m_filled = 0;
    update();
}

void StatusBox::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(QRect(0, 0, width() * m_filled / 100, height()), QColor(0, 0, 255));
}

namespace {

QLabel* label(QWidget* parent, const char* name, const QString& text = {})
{
    auto* l = new QLabel(text, parent);
    l->setObjectName(QLatin1String(name));
    // Claim numbers, company names and messages come from the server: never markup.
    l->setTextFormat(Qt::PlainText);
    return l;
}

} // namespace

TransferForm::TransferForm(TransferFormContext context, QWidget* parent)
    : QWidget(parent), m_context(std::move(context)), m_request(m_context.state.request)
{
    setObjectName(QStringLiteral("frmIO"));
    setWindowTitle(QStringLiteral("Database I/O"));
    auto* grid = new QGridLayout(this);
    m_message = label(this, "lblMessage");
    m_message->setMinimumWidth(360);
    grid->addWidget(m_message, 0, 0, 1, 2);
    m_headerCaptions = {label(this, "Label1", QStringLiteral("Company:")),
                        label(this, "Label2", QStringLiteral("Claim #:")),
                        label(this, "Label3", QStringLiteral("Policy #:"))};
    m_insCo = label(this, "lblInsCo");
    m_claimNumber = label(this, "lblClaimNumber");
    m_policyNumber = label(this, "lblPolicyNumber");
    grid->addWidget(m_insCo, 1, 0, 1, 2);
    grid->addWidget(m_claimNumber, 2, 0, 1, 2);
    grid->addWidget(m_policyNumber, 3, 0, 1, 2);
    for (QLabel* caption : m_headerCaptions)
        caption->hide();
    m_status = new StatusBox(this);
    grid->addWidget(m_status, 4, 0, 1, 2);
    m_cancel = new QPushButton(QStringLiteral("&Cancel"), this);
    m_cancel->setObjectName(QStringLiteral("cmdCancel"));
    m_cancelRequested = label(this, "lblCancel", QStringLiteral("Cancel Requested!"));
    grid->addWidget(m_cancelRequested, 5, 0);
    grid->addWidget(m_cancel, 5, 1, Qt::AlignRight);
    for (QWidget* w : {static_cast<QWidget*>(m_insCo), static_cast<QWidget*>(m_claimNumber),
                       static_cast<QWidget*>(m_policyNumber), static_cast<QWidget*>(m_status),
                       static_cast<QWidget*>(m_cancel), static_cast<QWidget*>(m_cancelRequested)})
        w->hide();
    connect(m_cancel, &QPushButton::clicked, this, &TransferForm::cmdCancel_Click);

    // Load: the server and the secure switch are taken once.
    m_http = std::make_unique<clsComm>(m_context.http);
    m_http->ServerName = m_request.RemoteServer;
    m_http->bSecure = m_context.state.Secure;
    m_http->setYield([this] { processEvents(); });
}

TransferForm::~TransferForm() = default;

void TransferForm::setMessage(const QString& text)
{
    m_message->setText(text);
}

void TransferForm::showAssignmentHeader(const QString& claim, const QString& policy,
                                        const QString& company)
{
    m_claimNumber->setText(claim);
    m_policyNumber->setText(policy);
    m_insCo->setText(company);
    for (QWidget* w : {static_cast<QWidget*>(m_insCo), static_cast<QWidget*>(m_claimNumber),
                       static_cast<QWidget*>(m_policyNumber), static_cast<QWidget*>(m_status)})
        w->show();
    m_status->clear();
}

void TransferForm::drawStatus(int percent)
{
    m_status->draw(percent);
    processEvents();
    m_lastPercent = percent;
}

void TransferForm::setCancelVisible(bool visible)
{
    m_cancel->setVisible(visible);
}

void TransferForm::processEvents()
{
    if (m_context.yieldToUi)
        m_context.yieldToUi();
    else
        QCoreApplication::processEvents();
}

void TransferForm::cmdCancel_Click()
{
    m_abortRequested = true;
    m_cancelRequested->show();
    processEvents();
}

void TransferForm::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    if (!m_activated) {
        m_activated = true;
        // Run once the window is up, from the event loop rather than inside show().
        QTimer::singleShot(0, this, &TransferForm::firstActivation);
    }
}

void TransferForm::closeEvent(QCloseEvent* event)
{
    if (!m_finished) {
        m_context.ui.beep();
        event->ignore();
        return;
    }
    QWidget::closeEvent(event);
}

void TransferForm::firstActivation()
{
    runCommand();
    processEvents();
    m_finished = true;
    m_http.reset();
    // A quarter second for the page and the user to see the end, then unload. A timer
    // rather than a loop that processes events: a transfer that the page starts meanwhile
    // must not run nested inside this form's wait.
    QTimer::singleShot(250, this, [this] {
        close();
        deleteLater();
    });
}

AssignmentDownload TransferForm::download()
{
    AssignmentDownload::FormatChooser choose = m_context.chooseFormats;
    if (!choose) {
        choose = [this](QString& selection) {
            return FormatsDialog::choose(m_context.settings, selection, this, m_context.ui);
        };
    }
    AssignmentDownload download(m_request, m_context.state, m_context.settings, m_context.ui, *this,
                                *m_http, m_context.clock ? *m_context.clock : m_systemClock,
                                std::move(choose));
    if (m_context.randomFraction)
        download.setRandomFraction(m_context.randomFraction);
    return download;
}

void TransferForm::runCommand()
{
    m_abortRequested = false;
    m_cancelRequested->hide();
    TransferRequest& request = m_request;
    QString caption;
    std::function<bool()> work;
    if (request.IOCommand == QLatin1String("READ")) {
        caption = QStringLiteral("Write Assignment to Local Computer");
        work = [this] {
            return download().ReadAssignment();
        };
    } else if (request.IOCommand == QLatin1String("READMIE")) {
        caption = QStringLiteral("Write MIE estimate to Local Computer");
        work = [this] {
            return download().ReadMie();
        };
    } else if (request.IOCommand == QLatin1String("WRITE")) {
        caption = QStringLiteral("Save Collected Information");
        work = [this] {
            UploadTransaction upload(m_request, m_context.state, m_context.lists, m_context.ui,
                                     *this, *m_http);
            return upload.UploadAttachments();
        };
    }
    if (work) {
        setWindowTitle(caption);
        emit CurrentStatus(QStringLiteral("BUSY"), caption);
        processEvents();
        if (!work())
            request.IOCommand = QStringLiteral("ERROR");
    } else {
        setWindowTitle(QStringLiteral("Interface Error"));
        request.IOCommand = QStringLiteral("ERROR");
        m_context.ui.message(QStringLiteral("Invalid I/O Command"), QStringLiteral("Program Error"),
                             MessageIcon::Critical);
    }
    // From here on a new transfer call opens a form of its own: a page that starts the next
    // transfer on "COMPLETE" must not find this one, which is about to unload.
    setProperty(kFormFinished, true);
    if (request.IOCommand == QLatin1String("ERROR"))
        emit CurrentStatus(QStringLiteral("ERROR"), QStringLiteral("Error Occurred"));
    else
        emit CurrentStatus(QStringLiteral("COMPLETE"), QStringLiteral("No Errors"));
    m_cancel->hide();
}

} // namespace tarnaxe
