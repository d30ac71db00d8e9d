#include "config/LocalSetupForm.h"

#include "automation/FormRegistry.h"
#include "config/LocalSettings.h"
#include "config/PathHelpers.h"
#include "platform/Logging.h"
#include "platform/Ui.h"

#include <QBoxLayout>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

namespace tarnaxe {

namespace {

namespace names = platform_names;
const QStringList kDrivers = {QStringLiteral("Default Driver"), QStringLiteral("Win2PDF"),
                              QStringLiteral("None!")};
constexpr int kNoDriverIndex = 2;
constexpr qint16 kNoDriver = 99;

QLabel* heading(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setBold(true);
    label->setFont(font);
    return label;
}

// The label of the form's last row, given that it has one.
void setBuddyOfLastRow(QFormLayout* form, QWidget* field)
{
    if (QLayoutItem* item = form->itemAt(form->rowCount() - 1, QFormLayout::LabelRole))
        qobject_cast<QLabel*>(item->widget())->setBuddy(field);
}

// The stored text is shown even when it is none of the names offered.
void selectText(QComboBox* combo, const QString& text)
{
    if (combo->findText(text) < 0)
        combo->addItem(text);
    combo->setCurrentIndex(combo->findText(text));
}

} // namespace

LocalSetupForm::LocalSetupForm(LocalSetupContext context, QWidget* parent)
    : QDialog(parent), m_context(std::move(context))
{
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Setup"));

    // Created in Tab order: row by row, each field before its browse button.
    auto* rows = new QGridLayout;
    rows->addWidget(heading(QStringLiteral("Delivery Format"), this), 0, 0);
    rows->addWidget(heading(QStringLiteral("Assignment delivery locations:"), this), 0, 1, 1, 2);
    rows->addWidget(heading(QStringLiteral("EMS Estimate locations:"), this), 0, 3, 1, 2);
    rows->addWidget(new QLabel(QStringLiteral("Delivery Path"), this), 1, 1);
    for (int n = 1; n <= kRows; ++n) {
        m_format[n] = new QComboBox(this);
        m_format[n]->setObjectName(QStringLiteral("cboFormat%1").arg(n));
        // On Linux a combo box's accessible name is its value; the description says which.
        m_format[n]->setAccessibleName(QStringLiteral("Delivery format %1").arg(n));
        m_format[n]->setAccessibleDescription(QStringLiteral("Delivery format %1").arg(n));
        m_format[n]->addItems({names::audatex, names::ccc, names::mitchell, names::notDefined});
        if (n == kRows)
            m_format[n]->addItem(names::custom1);
        m_importPath[n] = folderField(QStringLiteral("txtImportPath%1").arg(n),
                                      QStringLiteral("Delivery path %1").arg(n));
        QPushButton* find = browseButton(QStringLiteral("cmdFind%1").arg(n), m_importPath[n]);
        m_exportPath[n] = folderField(QStringLiteral("txtExportPath%1").arg(n),
                                      QStringLiteral("EMS estimate location %1").arg(n));
        QPushButton* exFind = browseButton(QStringLiteral("cmdExFind%1").arg(n), m_exportPath[n]);
        rows->addWidget(m_format[n], n + 1, 0);
        rows->addWidget(m_importPath[n], n + 1, 1);
        rows->addWidget(find, n + 1, 2);
        rows->addWidget(m_exportPath[n], n + 1, 3);
        rows->addWidget(exFind, n + 1, 4);
    }
    rows->setColumnStretch(1, 1);
    rows->setColumnStretch(3, 1);

    auto* others = new QFormLayout;
    const auto addFolderRow = [&](const QString& label, const QString& name, QLineEdit*& field) {
        // The row's label names the field for a screen reader.
        field = folderField(name, QString(label).remove(QLatin1Char('&')).chopped(1));
        auto* row = new QHBoxLayout;
        row->addWidget(field, 1);
        row->addWidget(browseButton(QStringLiteral("cmd") + name.mid(3), field));
        others->addRow(label, row);
        setBuddyOfLastRow(others, field);
    };
    addFolderRow(QStringLiteral("MIE &delivery:"), QStringLiteral("txtMIEDelivery"), m_mieDelivery);
    addFolderRow(QStringLiteral("MIE &retrieval:"), QStringLiteral("txtMIERetrieval"),
                 m_mieRetrieval);
    addFolderRow(QStringLiteral("&Workfiles:"), QStringLiteral("txtWorkfiles"), m_workfiles);
    m_pdf = new QComboBox(this);
    m_pdf->setObjectName(QStringLiteral("cboPDF"));
    m_pdf->addItems(kDrivers);
    others->addRow(QStringLiteral("&Print Driver:"), m_pdf);
    for (int n = 1; n <= 2; ++n) {
        m_pdfPath[n] = folderField(QStringLiteral("txtPDFPath%1").arg(n),
                                   QStringLiteral("PDF capture %1").arg(n));
        auto* row = new QHBoxLayout;
        row->addWidget(m_pdfPath[n], 1);
        row->addWidget(browseButton(QStringLiteral("cmdPDF%1").arg(n), m_pdfPath[n]));
        others->addRow(n == 1 ? QStringLiteral("PDF &capture:") : QString(), row);
        setBuddyOfLastRow(others, m_pdfPath[n]);
    }
    m_monitor = new QCheckBox(this);
    m_monitor->setObjectName(QStringLiteral("chkMonitor"));
    others->addRow(QStringLiteral("&Monitor Directories:"), m_monitor);

    m_version = new QLabel(QStringLiteral("LOADING ..."), this);
    m_version->setObjectName(QStringLiteral("lblVersion"));
    auto* save = new QPushButton(QStringLiteral("&Save"), this);
    save->setObjectName(QStringLiteral("cmdSave"));
    save->setDefault(true);
    auto* cancel = new QPushButton(QStringLiteral("&Cancel"), this);
    cancel->setObjectName(QStringLiteral("cmdCancel"));
    cancel->setAutoDefault(false);
    connect(save, &QPushButton::clicked, this, &LocalSetupForm::cmdSave_Click);
    connect(cancel, &QPushButton::clicked, this, &QWidget::close);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_version, 1);
    buttons->addWidget(save);
    buttons->addWidget(cancel);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(rows);
    layout->addSpacing(8);
    layout->addLayout(others);
    layout->addLayout(buttons);
    resize(900, sizeHint().height());
    fill();
}

QLineEdit* LocalSetupForm::folderField(const QString& name, const QString& accessibleName)
{
    auto* field = new QLineEdit(this);
    field->setObjectName(name);
    field->setAccessibleName(accessibleName);
    return field;
}

QPushButton* LocalSetupForm::browseButton(const QString& name, QLineEdit* field)
{
    auto* button = new QPushButton(QStringLiteral("..."), this);
    button->setObjectName(name);
    button->setAutoDefault(false);
    button->setToolTip(QStringLiteral("Choose the folder"));
    button->setFixedWidth(button->fontMetrics().horizontalAdvance(button->text()) + 24);
    connect(button, &QPushButton::clicked, this, [this, field] {
        const QString text = field->text().trimmed();
        field->setText(
            m_context.ui.chooseFolder(QStringLiteral("Select Path"), text).value_or(text));
        field->setFocus();
    });
    button->setAccessibleName(QStringLiteral("Choose folder: ") + field->accessibleName());
    return button;
}

void LocalSetupForm::fill()
{
    LocalSettings& settings = m_context.settings;
    settings.load();
    for (int n = 1; n <= kRows; ++n) {
        selectText(m_format[n], settings.EMSEstPlatform[n == kRows ? 6 : n]);
        m_importPath[n]->setText(settings.EMSImportPath[n]);
        m_exportPath[n]->setText(settings.EMSExportPath[n]);
    }
    m_mieDelivery->setText(settings.MIEDelivery);
    m_mieRetrieval->setText(settings.MIERetrieval);
    m_workfiles->setText(settings.WorkfilePath);
    m_pdf->setCurrentIndex(settings.PDFDriver == kNoDriver ? kNoDriverIndex
                           : settings.PDFDriver == 1       ? 1
                                                           : 0);
    m_pdfPath[1]->setText(settings.PDFSourcePath1);
    m_pdfPath[2]->setText(settings.PDFSourcePath2);
    m_monitor->setChecked(settings.MonitorPDFPath == 1);
    m_version->setText(QStringLiteral("TarnAxe %1").arg(m_context.version));
}

bool LocalSetupForm::foldersAccepted()
{
    QList<std::pair<QString, QLineEdit*>> fields;
    for (int n = 1; n <= kRows; ++n)
        fields.append({QStringLiteral("Import"), m_importPath[n]});
    for (int n = 1; n <= kRows; ++n)
        fields.append({QStringLiteral("Export"), m_exportPath[n]});
    fields.append({QStringLiteral("PDF"), m_pdfPath[1]});
    fields.append({QStringLiteral("PDF"), m_pdfPath[2]});
    for (const auto& [kind, field] : fields) {
        const QString text = field->text();
        if (text.trimmed().isEmpty() || folderExists(text))
            continue;
        const MessageAnswer answer = m_context.ui.messageBox(
            {QStringLiteral("The following %1 path you specified is not valid:\r\n\r\n  Path: %2"
                            "\r\n\r\nContinue saving anyway?")
                 .arg(kind, text),
             QStringLiteral("Invalid Path Detected"), MessageIcon::Exclamation,
             MessageButtons::YesNo});
        if (answer == MessageAnswer::No) {
            field->setFocus();
            field->selectAll();
            return false;
        }
    }
    return true;
}

void LocalSetupForm::store()
{
    LocalSettings& settings = m_context.settings;
    settings.ImageAcqMethod = 0;
    for (int n = 1; n <= kRows; ++n) {
        settings.EMSEstPlatform[n] = m_format[n]->currentText();
        settings.EMSImportPath[n] = m_importPath[n]->text();
        settings.EMSExportPath[n] = m_exportPath[n]->text();
    }
    // The fifth row is the sixth platform slot, which deliveries judge slot 5 by.
    settings.EMSEstPlatform[6] = m_format[kRows]->currentText();
    settings.EMSEstPlatform[kRows] = names::notDefined;
    settings.PDFDriver =
        m_pdf->currentIndex() == kNoDriverIndex ? kNoDriver : qint16(m_pdf->currentIndex());
    settings.MIEDelivery = m_mieDelivery->text();
    settings.MIERetrieval = m_mieRetrieval->text();
    settings.WorkfilePath = m_workfiles->text();
    settings.MonitorPDFPath = m_monitor->isChecked() ? 1 : 0;
    settings.PDFSourcePath1 = m_pdfPath[1]->text();
    settings.PDFSourcePath2 = m_pdfPath[2]->text();
}

void LocalSetupForm::cmdSave_Click()
{
    if (!foldersAccepted())
        return;
    store();
    if (!m_context.settings.save()) {
        m_context.ui.message(
            QStringLiteral("The settings were not saved: %1 could not be written.\r\n\r\nCheck "
                           "that its folder is writable and the disk is not full, then save "
                           "again.")
                .arg(m_context.settings.filePath()),
            QStringLiteral("Setup"), MessageIcon::Critical);
        return;
    }
    qCInfo(lcConfig) << "settings saved from the setup dialog";
    close();
}

void LocalSetupForm::closeEvent(QCloseEvent* event)
{
    setProperty(kFormFinished, true);
    // Not QDialog's: it would reject, which here means close again.
    event->accept();
}

// Escape closes the dialog like "&Cancel".
void LocalSetupForm::reject()
{
    close();
}

} // namespace tarnaxe
